// The poster frame of a movie through the ffmpeg program: a known first frame pixel for pixel
// from a folder whose name a shell would act on, files ffmpeg cannot read, and stand-in ffmpeg
// programs that fail, write damaged or endless pixmaps, or never finish.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "image/movie_poster.h"
#include "platform/errors.h"
#include "platform/processes.h"
#include "tests/plugin_harness.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using zerbtest::ProcessWithArgumentExists;

std::string Quote(const std::string &s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

class ThumbnailMovieTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("zerb-movie-" + std::to_string(getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir / "bin");
        savedPath = std::getenv("PATH") ? std::getenv("PATH") : "";
    }
    void TearDown() override {
        setenv("PATH", savedPath.c_str(), 1);
        fs::remove_all(dir);
    }

    // A stand-in ffmpeg, first on the PATH, that runs the shell commands.
    void StandIn(const std::string &body) {
        const fs::path script = dir / "bin" / "ffmpeg";
        std::ofstream(script) << "#!/bin/sh\n" << body << "\n";
        fs::permissions(script, fs::perms::owner_all);
        setenv("PATH", ((dir / "bin").string() + ":" + savedPath).c_str(), 1);
    }

    fs::path dir;
    std::string savedPath;
};

}  // namespace

TEST_F(ThumbnailMovieTest, FirstFrameComesOutPixelForPixel) {
    if (Zb7_PlatformFindProgram("ffmpeg").empty()) GTEST_SKIP() << "needs ffmpeg";
    // Two frames of 7 x 5 pixels (rows of an odd length), kept exactly by a lossless codec, in a
    // folder whose name a shell would split, unquote and run a command from.
    const fs::path folder = dir / "it's a $(touch made) clip;";
    fs::create_directories(folder);
    std::string first;
    for (int k = 1; k <= 2; ++k) {
        std::string rgb;
        for (int i = 0; i < 7 * 5 * 3; ++i) rgb += char((i * 37 + k * 101) % 256);
        std::ofstream(folder / ("f" + std::to_string(k) + ".ppm"), std::ios::binary) << "P6\n7 5\n255\n" << rgb;
        if (k == 1) first = rgb;
    }
    const fs::path movie = folder / "clip.mkv";
    ASSERT_EQ(std::system(("cd " + Quote(folder.string()) +
                           " && ffmpeg -loglevel error -framerate 2 -i f%d.ppm -c:v ffv1 clip.mkv")
                              .c_str()),
              0);
    ZbImage image;
    ASSERT_EQ(Zb7_MoviePosterFrame(movie.string(), image), 0);
    ASSERT_EQ(image.width, 7u);
    ASSERT_EQ(image.height, 5u);
    for (size_t p = 0; p < 35; ++p) {
        for (size_t c = 0; c < 3; ++c) ASSERT_EQ(image.pixels[p * 4 + c], uint8_t(first[p * 3 + c])) << "pixel " << p;
        ASSERT_EQ(image.pixels[p * 4 + 3], 255);
    }
    EXPECT_FALSE(fs::exists("made"));
    EXPECT_FALSE(fs::exists(folder / "made"));

    // Sound without pictures, and text, are nothing ffmpeg makes a picture of.
    ASSERT_EQ(std::system(("ffmpeg -loglevel error -f lavfi -i sine=d=0.2 " + Quote((dir / "tone.wav").string())).c_str()), 0);
    std::ofstream(dir / "notes.txt") << "not a movie\n";
    EXPECT_EQ(Zb7_MoviePosterFrame((dir / "tone.wav").string(), image), kNoImporterErr);
    EXPECT_EQ(Zb7_MoviePosterFrame((dir / "notes.txt").string(), image), kNoImporterErr);
}

TEST_F(ThumbnailMovieTest, FailingAndDamagedOutputOfFFmpegAnswersErrors) {
    const std::pair<const char *, long> cases[] = {
        {"exit 1", kNoImporterErr},                                                // cannot read the file
        {"exit 0", kBadImageDataErr},                                              // read it, no picture
        {"printf 'P6\\n4 4\\n255\\n'; head -c 20 /dev/zero", kBadImageDataErr},      // cut short
        {"printf 'P6\\n4 4\\n255\\n'; head -c 20 /dev/zero; kill -SEGV $$", kBadImageDataErr},
        {"printf 'P6\\n4\\n255\\n'; head -c 48 /dev/zero", kBadImageDataErr},          // a field missing
        {"printf 'P6\\n100000 100000\\n255\\n'", kMemFullErr},                 // refused from its header
        {"exec cat /dev/zero", kMemFullErr},                                 // stopped at the bound
    };
    for (const auto &[body, expected] : cases) {
        StandIn(body);
        ZbImage image;
        const auto started = Clock::now();
        EXPECT_EQ(Zb7_MoviePosterFrame((dir / "any.mp4").string(), image, 10000), expected) << body;
        EXPECT_LT(Clock::now() - started, std::chrono::seconds(5)) << body;
        EXPECT_TRUE(image.pixels.empty()) << body;
    }
}

TEST_F(ThumbnailMovieTest, AnFFmpegThatNeverFinishesIsEndedWithItsChildren) {
    const std::string marker = "60.0" + std::to_string(getpid());
    StandIn("printf 'P6\\n4 4\\n255\\n'; sleep " + marker + " & sleep " + marker + "; wait");
    ZbImage image;
    const auto started = Clock::now();
    EXPECT_EQ(Zb7_MoviePosterFrame((dir / "any.mp4").string(), image, 1000), kBadImageDataErr);
    const auto took = Clock::now() - started;
    EXPECT_GE(took, std::chrono::milliseconds(950));
    EXPECT_LT(took, std::chrono::milliseconds(2000));
    EXPECT_FALSE(ProcessWithArgumentExists(marker));
}
