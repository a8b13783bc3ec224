// The poster frame of a movie (its first key frame), decoded by the system's `ffmpeg` program run
// as a child process: the program reads any FFmpeg version's formats without the plug-in depending
// on its libraries, and a movie that crashes or hangs it cannot take the host down with it.
// Without the program every movie answers kNoImporterErr, as a file no importer reads.
#ifndef ZERB_IMAGE_MOVIE_POSTER_H
#define ZERB_IMAGE_MOVIE_POSTER_H

#include <string>

#include "image/decoders.h"
#include "platform/errors.h"

// How long ffmpeg is given to hand over the frame. Opening a movie reads at most a few megabytes
// to find its streams and decoding one key frame, even of an 8K movie, takes well under a second;
// 15 seconds leave room for a slow network share or a busy server, while a movie that makes ffmpeg
// hang holds the calling script no longer than that.
constexpr long kZbMoviePosterMilliseconds = 15000;

// 0 and the frame as RGBA; kNoImporterErr when there is no ffmpeg or it cannot read the file;
// kBadImageDataErr when it gives no picture, a malformed one or none within the time limit;
// kMemFullErr for a frame past kZbMaxDecodedPixels.
[[nodiscard]] long Zb7_MoviePosterFrame(const std::string &path, ZbImage &image,
                                        long timeLimitMilliseconds = kZbMoviePosterMilliseconds);

#endif
