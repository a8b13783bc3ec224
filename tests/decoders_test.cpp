// The image decoders on files ImageMagick writes from known pixels: every format's variants,
// declared sizes past the limit, and damaged files.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>

#include "image/decoders.h"
#include "platform/errors.h"
#include "tests/plugin_harness.h"

namespace {

namespace fs = std::filesystem;

// Three by two pixels: red, green, blue over white, black and a brown.
const uint8_t kPixels[6][3] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}, {0, 0, 0}, {128, 64, 32}};

using Decoder = std::function<long(const std::string &, ZbImage &)>;

Decoder Plain(long (*decode)(const uint8_t *, size_t, ZbImage &)) {
    return [decode](const std::string &b, ZbImage &i) {
        return decode(reinterpret_cast<const uint8_t *>(b.data()), b.size(), i);
    };
}
Decoder Scaled(long (*decode)(const uint8_t *, size_t, uint32_t, ZbImage &), uint32_t side = 0) {
    return [decode, side](const std::string &b, ZbImage &i) {
        return decode(reinterpret_cast<const uint8_t *>(b.data()), b.size(), side, i);
    };
}

class DecoderTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::system("command -v convert >/dev/null 2>&1") != 0) GTEST_SKIP() << "ImageMagick is not installed";
        dir = fs::temp_directory_path() / ("zerb-decoders-" + std::to_string(getpid()));
        fs::create_directories(dir);
        std::ofstream ppm(dir / "known.ppm", std::ios::binary);
        ppm << "P6\n3 2\n255\n";
        for (const auto &p : kPixels) ppm.write(reinterpret_cast<const char *>(p), 3);
    }
    void TearDown() override { fs::remove_all(dir); }

    // The known pixels written by ImageMagick with the options, as the file's bytes.
    std::string Make(const std::string &options, const std::string &target) {
        const fs::path out = dir / "out";
        const std::string command = "convert '" + (dir / "known.ppm").string() + "' " + options + " '" + target + ":" +
                                    out.string() + "'";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return zerbtest::Contents(out.string());
    }

    // Each decoded pixel within `tolerance` of the known one, in the order given (row by row).
    void ExpectKnown(const ZbImage &image, int tolerance, const std::string &what, const int order[6] = nullptr) {
        ASSERT_EQ(image.width, 3u) << what;
        ASSERT_EQ(image.height, 2u) << what;
        for (int k = 0; k < 6; ++k)
            for (int c = 0; c < 3; ++c)
                EXPECT_NEAR(image.pixels[k * 4 + c], kPixels[order ? order[k] : k][c], tolerance) << what << " pixel " << k;
    }

    fs::path dir;
};

}  // namespace

TEST_F(DecoderTest, EveryFormatGivesTheKnownPixels) {
    struct Case {
        const char *options, *target;
        Decoder decode;
        int tolerance;
    };
    const Case cases[] = {
        {"", "png", Plain(Zb7_DecodePNG), 0},
        {"-interlace PNG -depth 16", "png", Plain(Zb7_DecodePNG), 0},
        {"-type Palette", "png8", Plain(Zb7_DecodePNG), 0},
        {"", "gif", Plain(Zb7_DecodeGIF), 0},
        {"-interlace GIF", "gif", Plain(Zb7_DecodeGIF), 0},
        {"", "tiff", Plain(Zb7_DecodeTIFF), 0},
        {"-depth 16 -compress lzw", "tiff", Plain(Zb7_DecodeTIFF), 1},
        {"-define webp:lossless=true", "webp", Scaled(Zb7_DecodeWebP), 0},
        {"", "bmp3", Plain(Zb7_DecodeBMP), 0},
        {"", "bmp", Plain(Zb7_DecodeBMP), 0},
        {"-type Palette", "bmp3", Plain(Zb7_DecodeBMP), 0},
        {"-type Palette -compress RLE", "bmp3", Plain(Zb7_DecodeBMP), 0},
        {"-depth 5", "bmp", Plain(Zb7_DecodeBMP), 9},
        {"-quality 100 -sampling-factor 1x1", "jpeg", Scaled(Zb7_DecodeJPEG), 40},
        {"-colorspace CMYK -quality 100 -sampling-factor 1x1", "jpeg", Scaled(Zb7_DecodeJPEG), 40},  // Adobe YCCK
    };
    for (const Case &c : cases) {
        const std::string what = std::string(c.target) + " " + c.options;
        const std::string bytes = Make(c.options, c.target);
        ZbImage image;
        ASSERT_EQ(c.decode(bytes, image), 0) << what;
        ExpectKnown(image, c.tolerance, what);
        EXPECT_NE(Zb7_SniffImageFormat(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()),
                  ZbImageFormat::unknown)
            << what;
    }
}

TEST_F(DecoderTest, TransparencyOrientationAndScaling) {
    // A GIF's transparent colour is transparent; the others opaque.
    ZbImage image;
    ASSERT_EQ(Plain(Zb7_DecodeGIF)(Make("-transparent '#00FF00'", "gif"), image), 0);
    EXPECT_EQ(image.pixels[4 + 3], 0);
    EXPECT_EQ(image.pixels[3], 255);
    // A TIFF stored upside down and mirrored, saying so (orientation 3), comes out the right way up.
    ASSERT_EQ(Plain(Zb7_DecodeTIFF)(Make("-flip -flop -orient BottomRight", "tiff"), image), 0);
    ExpectKnown(image, 0, "tiff bottom-right");
    // WebP scaled while decoding: the longest side as asked, the proportions kept.
    const std::string wide = Make("-scale 300x200!", "webp");
    ASSERT_EQ(Scaled(Zb7_DecodeWebP, 30)(wide, image), 0);
    EXPECT_EQ(image.width, 30u);
    EXPECT_EQ(image.height, 20u);
    ASSERT_EQ(Scaled(Zb7_DecodeWebP, 0)(wide, image), 0);
    EXPECT_EQ(image.width, 300u);
}

TEST_F(DecoderTest, HugeDeclaredSizesAndDamagedFilesAnswerErrors) {
    auto expectTooLarge = [&](std::string bytes, const std::vector<std::pair<size_t, std::string>> &patches,
                              const Decoder &decode, const char *what) {
        for (const auto &[at, value] : patches) bytes.replace(at, value.size(), value);
        ZbImage image;
        EXPECT_EQ(decode(bytes, image), kMemFullErr) << what;
        EXPECT_TRUE(image.pixels.empty()) << what;
    };
    const std::string big16("\xFF\xFF", 2), big32("\xA0\x86\x01\x00", 4);  // 65535; 100000 little-endian
    // GIF: the logical screen and the frame both 65535 square.
    std::string gif = Make("", "gif");
    const size_t frame = gif.find('\x2C');  // the image separator
    ASSERT_NE(frame, std::string::npos);
    expectTooLarge(gif, {{6, big16}, {8, big16}, {frame + 5, big16}, {frame + 7, big16}}, Plain(Zb7_DecodeGIF), "gif");
    expectTooLarge(Make("", "bmp3"), {{18, big32}, {22, big32}}, Plain(Zb7_DecodeBMP), "bmp");
    // A progressive JPEG holds every coefficient at full size even for a thumbnail: 30000 square
    // would take gigabytes, though its eighth fits.
    const std::string progressive = Make("-interlace Plane", "jpeg"), big30k("\x75\x30", 2);
    const size_t sof = progressive.find("\xFF\xC2");
    ASSERT_NE(sof, std::string::npos);
    expectTooLarge(progressive, {{sof + 5, big30k}, {sof + 7, big30k}}, Scaled(Zb7_DecodeJPEG, 100),
                   "progressive jpeg");
    // Markers without a length (a restart marker, TEM) before the frame do not hide it.
    for (const std::string &parameterless : {std::string("\xFF\xD0", 2), std::string("\xFF\x01", 2)})
        expectTooLarge(progressive.substr(0, 2) + parameterless + progressive.substr(2),
                       {{sof + 7, big30k}, {sof + 9, big30k}}, Scaled(Zb7_DecodeJPEG, 100),
                       "progressive jpeg behind a marker without a length");

    // Cut files and noise behind a right signature: errors, never a crash.
    const std::pair<const char *, Decoder> formats[] = {{"png", Plain(Zb7_DecodePNG)},   {"gif", Plain(Zb7_DecodeGIF)},
                                                        {"tiff", Plain(Zb7_DecodeTIFF)}, {"webp", Scaled(Zb7_DecodeWebP)},
                                                        {"bmp3", Plain(Zb7_DecodeBMP)},  {"jpeg", Scaled(Zb7_DecodeJPEG)}};
    for (const auto &[target, decode] : formats) {
        const std::string whole = Make("-scale 64x64!", target);
        for (size_t cut : {size_t(8), size_t(30), whole.size() / 2}) {
            ZbImage image;
            const long err = decode(whole.substr(0, cut), image);
            EXPECT_TRUE(err == kBadImageDataErr || err == 0) << target << " cut at " << cut << ": " << err;
        }
        std::string noise = whole.substr(0, 16);
        for (int k = 0; k < 4000; ++k) noise += char(k * 7919 % 251);
        ZbImage image;
        const long err = decode(noise, image);
        EXPECT_TRUE(err == kBadImageDataErr || err == kMemFullErr || err == 0) << target << ": " << err;
    }
}

TEST_F(DecoderTest, PixmapsAreReadStrictly) {
    // ImageMagick's pixmap of the known pixels: each pixel as it is, and opaque.
    ZbImage image;
    ASSERT_EQ(Plain(Zb7_DecodePPM)(Make("", "ppm"), image), 0);
    ExpectKnown(image, 0, "ppm");
    for (int k = 0; k < 6; ++k) EXPECT_EQ(image.pixels[k * 4 + 3], 255);

    const std::string pixels(18, 'x');  // 3 x 2
    const std::pair<std::string, long> cases[] = {
        {"P6 3\t2\r\n255\n" + pixels, 0},                   // any whitespace between the fields
        {"P6\n3 2\n255\n" + pixels.substr(1), kBadImageDataErr},  // short data
        {"P6\n3 2\n255\n" + pixels + "x", kBadImageDataErr},     // a byte too many
        {"P3\n3 2\n255\n" + pixels, kBadImageDataErr},
        {"P6\n3 2\n65535\n" + pixels + pixels, kBadImageDataErr},
        {"P6\n# made by\n3 2\n255\n" + pixels, kBadImageDataErr},
        {"P6\n0 2\n255\n", kBadImageDataErr},
        {"P6\n3 2\n255" + pixels, kBadImageDataErr},          // no whitespace after the maximum
        {"P6\n3 -2\n255\n" + pixels, kBadImageDataErr},
        {"P6\n0000000003 2\n255\n" + pixels, kBadImageDataErr},  // ten digits
        {"P6\n3 2\n", kBadImageDataErr},
        {"", kBadImageDataErr},
        {"P6\n100000 100000\n255\n" + pixels, kMemFullErr},  // refused before the data are looked at
        {"P6\n999999999 999999999\n255\n", kMemFullErr},
    };
    for (const auto &[bytes, expected] : cases) {
        ZbImage decoded;
        EXPECT_EQ(Plain(Zb7_DecodePPM)(bytes, decoded), expected) << bytes.substr(0, 24);
        EXPECT_EQ(decoded.pixels.empty(), expected != 0);
    }
}
