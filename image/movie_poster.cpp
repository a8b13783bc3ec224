#include "image/movie_poster.h"

#include <cerrno>
#include <vector>

#include "platform/errors.h"
#include "platform/processes.h"

namespace {

// Room for ffmpeg's header ("P6\n<width> <height>\n255\n") before the pixels.
constexpr size_t kMaxHeaderBytes = 64;
// The output of the largest frame the decoders accept; more is a frame that would be refused.
constexpr size_t kMaxOutputBytes = kMaxHeaderBytes + size_t(kZbMaxDecodedPixels) * 3;

// ffmpeg's arguments for the first key frame of the file as one 8-bit RGB pixmap on its standard
// output. The input is read only through the file protocol and named as "file:<path>", so no path
// is taken for a network address, another protocol or an option; the decoder skips every frame
// that is not a key frame; -pix_fmt rgb24 keeps a movie of more than 8 bits a channel from giving
// a 16-bit pixmap. ffmpeg picks the video stream itself (the one of most pixels); sound, subtitle
// and data streams are left out.
std::vector<std::string> Arguments(const std::string &program, const std::string &path) {
    return {program, "-nostdin", "-hide_banner", "-nostats", "-loglevel", "quiet",
            "-protocol_whitelist", "file", "-skip_frame", "nokey", "-i", "file:" + path,
            "-an", "-sn", "-dn", "-frames:v", "1", "-pix_fmt", "rgb24",
            "-c:v", "ppm", "-f", "image2pipe", "pipe:1"};
}

}  // namespace

long Zb7_MoviePosterFrame(const std::string &path, ZbImage &image, long timeLimitMilliseconds) {
    // Looked for on each call, so an ffmpeg installed while the host runs is used from then on.
    const std::string program = Zb7_PlatformFindProgram("ffmpeg");
    if (program.empty()) return kNoImporterErr;
    std::string output;
    ZbProgramOutcome outcome;
    const int error =
        Zb7_PlatformRunProgram(Arguments(program, path), timeLimitMilliseconds, kMaxOutputBytes, output, outcome);
    if (!outcome.started) return kNoImporterErr;
    if (error == ENOMEM || outcome.outputTooLong) return kMemFullErr;
    if (error) return kBadImageDataErr;
    // A whole frame is taken whatever happened after it was written.
    if (output.empty())
        return outcome.status != 0 && !outcome.timedOut ? kNoImporterErr : kBadImageDataErr;
    return Zb7_DecodePPM(reinterpret_cast<const uint8_t *>(output.data()), output.size(), image);
}
