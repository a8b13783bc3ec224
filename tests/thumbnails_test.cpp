// CreateThumbnail through fmxhost: sizes and their caps, the streams of the container, the JPEG
// as djpeg reads it, EXIF orientation, likeness to ImageMagick's thumbnails, hostile sizes, and
// the plug-in without its codec libraries.
#include <gtest/gtest.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>
#include <vector>

#include "tests/plugin_harness.h"

namespace {

namespace fs = std::filesystem;

const std::string kImaging = "/usr/share/gocode/src/github.com/disintegration/imaging/testdata/";

bool OnPath(const char *program) {
    return std::system(("command -v " + std::string(program) + " >/dev/null 2>&1").c_str()) == 0;
}

std::string Quote(const std::string &s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

using zerbtest::Output;

struct Thumbnail {
    std::string answer;  // fmxhost's line: the container's listing or the error text
    std::string jpeg, pict;
    int width = 0, height = 0;  // from the SIZE stream
};

// A P6 image as djpeg or ImageMagick writes it.
struct Pixmap {
    int width = 0, height = 0;
    std::string rgb;
};

Pixmap ReadPPM(const std::string &bytes) {
    Pixmap p;
    std::istringstream in(bytes);
    std::string magic;
    int maxValue = 0;
    in >> magic >> p.width >> p.height >> maxValue;
    in.get();
    if (magic != "P6" || maxValue != 255) return {};
    p.rgb.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return p;
}

// Mean absolute difference per channel value.
double MeanDifference(const Pixmap &a, const Pixmap &b) {
    if (a.rgb.size() != b.rgb.size() || a.rgb.empty()) return 1e9;
    double sum = 0;
    for (size_t i = 0; i < a.rgb.size(); ++i) sum += std::abs(int(uint8_t(a.rgb[i])) - int(uint8_t(b.rgb[i])));
    return sum / double(a.rgb.size());
}

class ThumbnailTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("zerb-thumbs-" + std::to_string(getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir / "out");
    }
    void TearDown() override { fs::remove_all(dir); }

    Thumbnail Make(const std::string &switches, const std::string &path) {
        fs::remove_all(dir / "out");
        fs::create_directories(dir / "out");
        const std::string calculation = "ZbFile_CreateThumbnail( \"" + switches + "\" ; \"" + path + "\" )";
        Thumbnail t;
        t.answer = Output(std::string(ZERB_RUN_PREFIX) + " " + ZERB_FMXHOST_PATH + " --plugin " + ZERB_PLUGIN_PATH + " --save " +
                          Quote((dir / "out").string()) + " " + Quote(calculation) + " 2>&1");
        while (!t.answer.empty() && t.answer.back() == '\n') t.answer.pop_back();
        for (const auto &entry : fs::directory_iterator(dir / "out")) {
            const std::string type = entry.path().extension().string();
            const std::string bytes = zerbtest::Contents(entry.path().string());
            if (type == ".JPEG") t.jpeg = bytes;
            if (type == ".PICT") t.pict = bytes;
            if (type == ".SIZE" && bytes.size() == 4) {
                t.height = uint8_t(bytes[0]) << 8 | uint8_t(bytes[1]);
                t.width = uint8_t(bytes[2]) << 8 | uint8_t(bytes[3]);
            }
        }
        return t;
    }

    Pixmap Decode(const std::string &jpeg) {
        std::ofstream(dir / "t.jpg", std::ios::binary) << jpeg;
        return ReadPPM(Output("djpeg -pnm " + Quote((dir / "t.jpg").string())));
    }

    // ImageMagick's thumbnail of the file at exactly the given size, turned upright.
    Pixmap Reference(const std::string &path, int width, int height) {
        return ReadPPM(Output("convert " + Quote(path) + " -auto-orient -background white -flatten -thumbnail " +
                              std::to_string(width) + "x" + std::to_string(height) + "! -depth 8 ppm:-"));
    }

    fs::path dir;
};

}  // namespace

TEST_F(ThumbnailTest, SizesAndTheirCaps) {
    const std::string photo = kImaging + "branches.jpg";  // 600 x 400
    if (!fs::exists(photo)) GTEST_SKIP() << "the imaging package's test images are not installed";
    Thumbnail t = Make("", photo);
    EXPECT_EQ(t.width, 80);
    EXPECT_EQ(t.height, 53);
    EXPECT_EQ(Make("-size=100", photo).width, 80);  // not a standard size
    EXPECT_EQ(Make("-size=350", photo).width, 350);
    EXPECT_EQ(Make("-size=100 -AllowAllThumbnailSizes", photo).width, 100);
    // Enlarging is drawing too; the cap holds, and a drawing past the memory limit is refused.
    ASSERT_EQ(std::system(("convert -size 1024x8 gradient:red-blue " + Quote((dir / "strip.jpg").string())).c_str()), 0);
    t = Make("-size=40000 -AllowAllThumbnailSizes", (dir / "strip.jpg").string());
    EXPECT_EQ(t.width, 32767) << t.answer;
    EXPECT_EQ(t.height, 256);
    EXPECT_EQ(Make("-size=40000 -AllowAllThumbnailSizes", photo).answer, "$$-108");
}

TEST_F(ThumbnailTest, StreamsAndWhatDjpegAndImageMagickMakeOfThem) {
    const std::string photo = kImaging + "branches.jpg";
    if (!fs::exists(photo) || !OnPath("djpeg") || !OnPath("convert"))
        GTEST_SKIP() << "needs the imaging test images, djpeg (libjpeg-turbo-progs) and ImageMagick";
    Thumbnail t = Make("", photo);
    EXPECT_TRUE(t.pict.empty());
    EXPECT_EQ(t.answer.find("PICT"), std::string::npos);
    const Pixmap mine = Decode(t.jpeg);
    EXPECT_EQ(mine.width, t.width);
    EXPECT_EQ(mine.height, t.height);
    // Quality 75 alone differs by about 10 on this detailed photo at 80 pixels.
    EXPECT_LT(MeanDifference(mine, Reference(photo, t.width, t.height)), 16.0);

    // The picture stream, read by ImageMagick (behind the 512-byte file header a PICT file has),
    // shows the same pixels; in 8 bits a pixel too.
    for (const std::string switches : {"-IncludePictFormat", "-IncludePictFormat bitdepth=8"}) {
        t = Make(switches, kImaging + "flowers.png");
        ASSERT_FALSE(t.pict.empty()) << t.answer;
        std::ofstream(dir / "t.pict", std::ios::binary) << std::string(512, '\0') << t.pict;
        const Pixmap picture = ReadPPM(Output("convert " + Quote("pict:" + (dir / "t.pict").string()) + " -depth 8 ppm:-"));
        EXPECT_EQ(picture.width, t.width) << switches;
        EXPECT_EQ(picture.height, t.height);
        // 256 colours differ more from the picture, and their JPEG more from them.
        const bool colours256 = switches.find("=8") != std::string::npos;
        EXPECT_LT(MeanDifference(picture, Decode(t.jpeg)), colours256 ? 12.0 : 7.0) << switches;
        EXPECT_LT(MeanDifference(picture, Reference(kImaging + "flowers.png", t.width, t.height)),
                  colours256 ? 18.0 : 6.0);
    }
}

TEST_F(ThumbnailTest, PrintJPEGsInCMYKAndYCCKShowTheirColours) {
    if (!OnPath("djpeg") || !OnPath("convert")) GTEST_SKIP() << "needs djpeg and ImageMagick";
    // ImageMagick writes CMYK as Adobe's inverted YCCK (APP14 transform 2).
    const std::string ycck = (dir / "ycck.jpg").string();
    ASSERT_EQ(std::system(("convert -size 160x120 gradient:red-blue -fill '#30C060' -draw 'rectangle 20,20 90,70' "
                           "-fill '#F0E020' -draw 'circle 120,80 140,100' -colorspace CMYK -quality 95 " +
                           Quote(ycck))
                              .c_str()),
              0);
    std::vector<std::pair<std::string, std::string>> cases = {{ycck, ycck}};  // file, ImageMagick's equal
    if (OnPath("gs")) {
        // Ghostscript writes Adobe's inverted CMYK without a transform (transform 0). The same page
        // drawn in the opposite inks is stored as the page's own inks; without the Adobe marker
        // those are read as they stand, ink amounts from 0 to 255.
        const auto page = [&](const std::string &name, bool opposite) {
            std::string draw;
            const double inks[3][4] = {{0.2, 0.7, 0.1, 0.05}, {0.9, 0.1, 0.3, 0.0}, {0.0, 0.3, 0.9, 0.4}};
            for (int k = 0; k < 3; ++k) {
                for (double ink : inks[k]) draw += std::to_string(opposite ? 1 - ink : ink) + " ";
                draw += "setcmykcolor " + std::to_string(k * 40) + " 0 " + std::to_string(160 - k * 40) + " 120 rectfill ";
            }
            const std::string path = (dir / name).string();
            EXPECT_EQ(std::system(("gs -q -dSAFER -dNOPAUSE -dBATCH -sDEVICE=jpegcmyk -r72 -dJPEGQ=95 -sOutputFile=" +
                                   Quote(path) + " -c '<< /PageSize [160 120] >> setpagedevice " + draw + "showpage'")
                                      .c_str()),
                      0);
            return path;
        };
        const std::string adobe = page("adobe.jpg", false);
        std::string plain = zerbtest::Contents(page("opposite.jpg", true));
        const size_t app14 = plain.find("\xFF\xEE");
        ASSERT_NE(app14, std::string::npos);
        plain.erase(app14, 2 + (uint8_t(plain[app14 + 2]) << 8 | uint8_t(plain[app14 + 3])));
        std::ofstream(dir / "plain.jpg", std::ios::binary) << plain;
        cases.insert(cases.end(), {{adobe, adobe}, {(dir / "plain.jpg").string(), adobe}});
    }
    for (const auto &[file, equal] : cases) {
        const Thumbnail t = Make("", file);
        ASSERT_EQ(t.width, 80) << file << ": " << t.answer;
        EXPECT_EQ(t.height, 60) << file;
        // The same picture as an RGB JPEG comes to about 6 (quality 75 at 80 pixels); colours
        // read the wrong way round differ by a hundred.
        EXPECT_LT(MeanDifference(Decode(t.jpeg), Reference(equal, t.width, t.height)), 8.0) << file;
    }
}

TEST_F(ThumbnailTest, PhotosStandAsTheirOrientationSays) {
    if (!fs::exists(kImaging + "orientation_0.jpg") || !OnPath("djpeg"))
        GTEST_SKIP() << "needs the imaging package's orientation images and djpeg";
    const Pixmap upright = Decode(Make("", kImaging + "orientation_0.jpg").jpeg);
    ASSERT_GT(upright.width, 0);
    for (int k = 1; k <= 8; ++k) {
        const Thumbnail t = Make("", kImaging + "orientation_" + std::to_string(k) + ".jpg");
        EXPECT_EQ(t.width, upright.width) << k;
        EXPECT_EQ(t.height, upright.height) << k;
        EXPECT_LT(MeanDifference(Decode(t.jpeg), upright), 10.0) << "orientation " << k;
    }
    EXPECT_GT(upright.height, upright.width);  // the images are portraits when upright
}

TEST_F(ThumbnailTest, HostileAndUnknownFilesAnswerErrors) {
    // A PNG that declares 100000 x 100000 pixels: refused from its header, at once.
    ASSERT_EQ(std::system(("convert -size 1x1 xc:red " + Quote((dir / "huge.png").string())).c_str()), 0);
    std::string png = zerbtest::Contents((dir / "huge.png").string());
    ASSERT_GT(png.size(), 33u);
    for (int at : {16, 20}) png[at] = 0, png[at + 1] = 1, png[at + 2] = char(0x86), png[at + 3] = char(0xA0);
    uint32_t crc = 0xFFFFFFFF;  // the header chunk's CRC over its type and data
    for (int i = 12; i < 29; ++i) {
        crc ^= uint8_t(png[i]);
        for (int b = 0; b < 8; ++b) crc = crc & 1 ? (crc >> 1) ^ 0xEDB88320 : crc >> 1;
    }
    crc ^= 0xFFFFFFFF;
    for (int i = 0; i < 4; ++i) png[29 + i] = char(crc >> (24 - 8 * i));
    std::ofstream(dir / "huge.png", std::ios::binary) << png;
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(Make("", (dir / "huge.png").string()).answer, "$$-108");
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(2));

    std::ofstream(dir / "movie.mp4", std::ios::binary) << std::string("\0\0\0\x18" "ftypmp42", 12) << std::string(100, 'x');
    EXPECT_EQ(Make("", (dir / "movie.mp4").string()).answer, "$$-2003");
    std::ofstream(dir / "cut.jpg", std::ios::binary) << std::string("\xFF\xD8\xFF\xE0\0\x10JFIF", 10);
    EXPECT_EQ(Make("", (dir / "cut.jpg").string()).answer, "$$-8969");
    EXPECT_EQ(Make("", (dir / "missing.jpg").string()).answer, "$$-43");
    EXPECT_EQ(Make("-size=0 -AllowAllThumbnailSizes", kImaging + "branches.jpg").answer, "$$-50");
}

TEST_F(ThumbnailTest, WorksWithoutTheOptionalCodecLibraries) {
    const std::string photo = kImaging + "branches.jpg";
    if (!fs::exists(photo)) GTEST_SKIP() << "the imaging package's test images are not installed";
    // Each library file is hidden behind an empty one in a private mount namespace: those the
    // loader's cache names, and those of every architecture's library folder (the cache of this
    // machine's architecture does not list the others, which a cross build's tests load).
    auto hide = [](std::initializer_list<const char *> names) {
        std::string script;
        for (const char *name : names)
            script += "for f in $(ldconfig -p | awk '/" + std::string(name) + "/ {print $NF}') /usr/lib/*-linux-gnu/" +
                      name + "*; do if [ -e \"$f\" ]; then mount --bind /dev/null \"$(readlink -f \"$f\")\"; fi; done\n";
        return script;
    };
    const std::string png = "ZbFile_CreateThumbnail( \"\" ; \"" + kImaging + "flowers.png\" )";
    const std::string jpeg = "ZbFile_CreateThumbnail( \"\" ; \"" + photo + "\" )";
    auto lines = zerbtest::RunInPrivateMounts(hide({"libpng16.so", "libgif.so", "libtiff.so", "libwebp.so"}),
                                              {png, jpeg});
    if (lines.empty()) GTEST_SKIP() << "no private mount namespace here (needs root and unshare)";
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "$$-2003");
    EXPECT_EQ(lines[1].rfind("<container: 2 streams: SIZE", 0), 0u) << lines[1];
    // Nor the ffmpeg program, wherever it would be looked for (it reads PNG too).
    const std::string noFFmpeg = "for d in $(echo \"$PATH\" | tr : ' ') /usr/sbin /sbin /usr/bin /bin; do\n"
                                 "  if [ -e \"$d/ffmpeg\" ]; then mount --bind /dev/null \"$(readlink -f \"$d/ffmpeg\")\"; fi\n"
                                 "done\n";
    lines = zerbtest::RunInPrivateMounts(
        hide({"libpng16.so", "libgif.so", "libtiff.so", "libwebp.so", "libturbojpeg.so"}) + noFFmpeg,
        {jpeg, "ZbFile_CreateThumbnail( \"-TryMoviePict\" ; \"" + kImaging + "flowers.png\" )",
         "ZbFile_Version(\"-getversionnumber\")"});
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "$$-2003");
    EXPECT_EQ(lines[1], "$$-2003");
    EXPECT_EQ(lines[2], "3610");
    // Only the program missing: a movie it would read has no reader.
    if (!OnPath("ffmpeg")) return;
    const std::string movie = (dir / "clip.mp4").string();
    ASSERT_EQ(std::system(("ffmpeg -loglevel error -f lavfi -i testsrc=size=64x48 -t 0.5 " + Quote(movie)).c_str()), 0);
    lines = zerbtest::RunInPrivateMounts(noFFmpeg, {"ZbFile_CreateThumbnail( \"-TryMoviePict\" ; \"" + movie + "\" )"});
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "$$-2003");
}

namespace {

// A resource fork holding one "PICT" resource, in the original resource file layout.
std::string ResourceForkWithPicture(const std::string &pict) {
    auto u32 = [](uint32_t v) { return std::string{char(v >> 24), char(v >> 16), char(v >> 8), char(v)}; };
    auto u16 = [](uint32_t v) { return std::string{char(v >> 8), char(v)}; };
    const std::string data = u32(uint32_t(pict.size())) + pict;
    const uint32_t dataStart = 256, mapStart = dataStart + uint32_t(data.size());
    std::string map = std::string(16, '\0') + u32(0) + u16(0) + u16(0) + u16(28) + u16(50);
    map += u16(0) + "PICT" + u16(0) + u16(10);               // one type, one resource
    map += u16(128) + u16(0xFFFF) + u32(0) + u32(0);          // id 128, no name, data at 0
    const std::string header = u32(dataStart) + u32(mapStart) + u32(uint32_t(data.size())) + u32(uint32_t(map.size()));
    return header + std::string(dataStart - header.size(), '\0') + data + map;
}

}  // namespace

TEST_F(ThumbnailTest, PictureResourcesInTheSwitchesOrder) {
    if (!OnPath("convert") || !OnPath("djpeg") || !fs::exists(kImaging + "branches.jpg"))
        GTEST_SKIP() << "needs ImageMagick, djpeg and the imaging test images";
    // ImageMagick's picture of a red 40 x 30 rectangle, without its 512-byte file header.
    ASSERT_EQ(std::system(("convert -size 40x30 xc:red " + Quote("pict:" + (dir / "red.pict").string())).c_str()), 0);
    const std::string pict = zerbtest::Contents((dir / "red.pict").string()).substr(512);
    const std::string fork = ResourceForkWithPicture(pict);
    const fs::path photo = dir / "photo.jpg", text = dir / "notes.txt";
    fs::copy_file(kImaging + "branches.jpg", photo);
    std::ofstream(text) << "not a picture";
    for (const fs::path &p : {photo, text})
        if (setxattr(p.c_str(), "user.com.apple.ResourceFork", fork.data(), fork.size(), 0) != 0)
            GTEST_SKIP() << "this file system keeps no extended attributes";
    auto isRed = [&](const Thumbnail &t) {
        const Pixmap p = Decode(t.jpeg);
        return p.rgb.size() >= 3 && uint8_t(p.rgb[0]) > 200 && uint8_t(p.rgb[1]) < 60 && uint8_t(p.rgb[2]) < 60;
    };
    // As it is: its own size, and its own bytes as the picture stream.
    Thumbnail t = Make("GetResourcePict -IncludePictFormat", photo.string());
    EXPECT_EQ(t.width, 40) << t.answer;
    EXPECT_EQ(t.height, 30);
    EXPECT_EQ(t.pict, pict);
    EXPECT_TRUE(isRed(t));
    t = Make("preferResourceFork", photo.string());
    EXPECT_EQ(t.width, 80);
    EXPECT_TRUE(isRed(t));
    EXPECT_FALSE(isRed(Make("tryResourceFork", photo.string())));  // the photo itself comes first
    EXPECT_TRUE(isRed(Make("tryResourceFork", text.string())));
    EXPECT_EQ(Make("", text.string()).answer, "$$-2003");
    EXPECT_EQ(Make("GetResourcePict", (dir / "red.pict").string()).answer, "$$-192");  // no resource fork
}

TEST_F(ThumbnailTest, MoviesGiveTheirFirstKeyFrameWhenAsked) {
    if (!OnPath("ffmpeg") || !OnPath("djpeg") || !OnPath("convert")) GTEST_SKIP() << "needs ffmpeg, djpeg and ImageMagick";
    const fs::path movie = dir / "clip.mp4";
    ASSERT_EQ(std::system(("ffmpeg -loglevel error -f lavfi -i testsrc=size=320x240:rate=10 -t 1 -c:v mpeg4 " +
                           Quote(movie.string()))
                              .c_str()),
              0);
    EXPECT_EQ(Make("", movie.string()).answer, "$$-2003");
    const Thumbnail t = Make("-TryMoviePict", movie.string());
    ASSERT_EQ(t.width, 80) << t.answer;
    EXPECT_EQ(t.height, 60);
    ASSERT_EQ(std::system(("ffmpeg -loglevel error -i " + Quote(movie.string()) + " -frames:v 1 " +
                           Quote((dir / "first.png").string()))
                              .c_str()),
              0);
    EXPECT_LT(MeanDifference(Decode(t.jpeg), Reference((dir / "first.png").string(), 80, 60)), 16.0);
}
