// MetaDataJSON on files built here byte by byte (every IFD, every value type, GPS, IPTC character
// sets, XMP, comments, PNG and WebP, and hostile files: loops, values past the end, the bounds),
// and on files from outside the project checked against exiftool: the camera JPEGs of Debian's
// goexif package, the test images of its imaging package, and IPTC written by exiftool.
#include <rapidjson/document.h>
#include <unistd.h>

#include <cerrno>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "core/functions.h"
#include "platform/system_calls.h"
#include "tests/item_json_test_util.h"
#include "tests/plugin_harness.h"

namespace fs = std::filesystem;
using namespace std::string_literals;

namespace {

std::string U16(unsigned v, bool le) { return le ? std::string{char(v), char(v >> 8)} : std::string{char(v >> 8), char(v)}; }
std::string U32(uint32_t v, bool le) {
    return le ? std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)}
              : std::string{char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
}
std::string Rational(uint32_t n, uint32_t d, bool le) { return U32(n, le) + U32(d, le); }

struct E {
    uint16_t tag, type;
    uint32_t count;
    std::string value;  // in the file's byte order
    int ifd = -1;       // a pointer to that IFD instead of a value
};
struct Ifd {
    std::vector<E> entries;
    int next = -1;
};

// TIFF data with the IFDs laid out one after the other, each followed by its long values.
std::string Tiff(bool le, const std::vector<Ifd> &ifds) {
    std::vector<uint32_t> at;
    uint32_t offset = 8;
    for (const Ifd &d : ifds) {
        at.push_back(offset);
        offset += uint32_t(2 + d.entries.size() * 12 + 4);
        for (const E &e : d.entries)
            if (e.value.size() > 4) offset += uint32_t(e.value.size());
    }
    std::string out = (le ? "II" : "MM") + U16(42, le) + U32(8, le);
    for (size_t k = 0; k < ifds.size(); ++k) {
        const Ifd &d = ifds[k];
        std::string table = U16(unsigned(d.entries.size()), le), data;
        uint32_t dataAt = at[k] + uint32_t(2 + d.entries.size() * 12 + 4);
        for (const E &e : d.entries) {
            table += U16(e.tag, le) + U16(e.type, le) + U32(e.count, le);
            if (e.ifd >= 0) {
                table += U32(at[size_t(e.ifd)], le);
            } else if (e.value.size() <= 4) {
                table += e.value + std::string(4 - e.value.size(), '\0');
            } else {
                table += U32(dataAt + uint32_t(data.size()), le);
                data += e.value;
            }
        }
        out += table + U32(d.next >= 0 ? at[size_t(d.next)] : 0, le) + data;
    }
    return out;
}

std::string Segment(unsigned char marker, const std::string &data) {
    return std::string{char(0xFF), char(marker)} + U16(unsigned(data.size() + 2), false) + data;
}
std::string Exif(const std::string &tiff) { return Segment(0xE1, std::string("Exif\0\0", 6) + tiff); }
std::string Dataset(unsigned record, unsigned number, const std::string &data) {
    return std::string{char(0x1C), char(record), char(number)} + U16(unsigned(data.size()), false) + data;
}
std::string Photoshop(const std::string &iptc) {
    std::string resource = "8BIM" + U16(0x0404, false) + std::string(2, '\0') + U32(uint32_t(iptc.size()), false) + iptc;
    if (iptc.size() % 2) resource += '\0';
    return Segment(0xED, std::string("Photoshop 3.0\0", 14) + resource);
}
const std::string kSOI("\xFF\xD8", 2), kEOI("\xFF\xD9", 2);
// A frame header: 8 bits, 300 rows, 400 columns, one component.
const std::string kFrame = Segment(0xC0, std::string("\x08\x01\x2C\x01\x90\x01\x01\x11\x00", 9));

// A PNG chunk (the CRC is not checked by the reader and left zero).
std::string Chunk(const std::string &type, const std::string &data) { return U32(uint32_t(data.size()), false) + type + data + U32(0, false); }
// A WebP chunk.
std::string Riff(const std::string &type, const std::string &data) {
    return type + U32(uint32_t(data.size()), true) + data + (data.size() % 2 ? std::string(1, '\0') : "");
}

const fs::path kGoexif = "/usr/share/gocode/src/github.com/rwcarlsen/goexif/exif";
const fs::path kImaging = "/usr/share/gocode/src/github.com/disintegration/imaging/testdata";

// The exif entry of that IFD and tag, or nullptr.
const rapidjson::Value *Entry(const rapidjson::Document &d, const char *ifd, unsigned tag) {
    if (!d.IsObject() || !d.HasMember("exif")) return nullptr;
    for (const auto &e : d["exif"].GetArray())
        if (std::string(e["ifd"].GetString()) == ifd && e["tag"].GetUint() == tag) return &e;
    return nullptr;
}

class MetaDataJSON : public zerbtest::PluginFolderTest {
protected:
    MetaDataJSON() : PluginFolderTest("metajson") {}
    std::string Write(const std::string &bytes, const std::string &extension = ".jpg") {
        const std::string path = dir + "/f" + std::to_string(++serial) + extension;
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    // The answer for a file, parsed; a failure of the test when it does not parse.
    rapidjson::Document Json(const std::string &switches, const std::string &path) {
        answer = Call("ZbFile_MetaDataJSON", {switches, path});
        rapidjson::Document d;
        d.Parse(answer.c_str(), answer.size());
        EXPECT_FALSE(d.HasParseError()) << path << ": " << answer.substr(0, 300);
        if (d.HasParseError()) d.SetObject();
        return d;
    }
    const std::string &dir = root;  // the test's own folder
    std::string answer;
    int serial = 0;
};

// A camera-like file in either byte order: IFD0 with pointers to the Exif and GPS IFDs and a link
// to IFD1, the Exif IFD with one to the Interoperability IFD.
std::string CameraTiff(bool le) {
    std::vector<Ifd> ifds(5);
    ifds[0].entries = {{271, 2, 6, std::string("Canon\0", 6)},
                       {274, 3, 1, U16(6, le)},
                       {282, 5, 1, Rational(300, 1, le)},
                       {0x8769, 4, 1, "", 1},
                       {0x8825, 4, 1, "", 2}};
    ifds[0].next = 4;
    ifds[1].entries = {{0x829A, 5, 1, Rational(1, 250, le)},
                       {0x9000, 7, 4, "0232"},
                       {0x9204, 10, 1, U32(uint32_t(-1), le) + U32(3, le)},
                       {0x9214, 3, 4, U16(10, le) + U16(20, le) + U16(30, le) + U16(40, le)},
                       {0xA005, 4, 1, "", 3},
                       {0xA432, 5, 4, Rational(24, 1, le) + Rational(70, 1, le) + Rational(28, 10, le) + Rational(0, 0, le)},
                       {0xEEEE, 11, 1, U32(0x3FC00000, le)}};  // an unknown tag: FLOAT 1.5
    ifds[2].entries = {{0, 1, 4, std::string("\x02\x03\x00\x00", 4)},
                       {1, 2, 2, std::string("S\0", 2)},
                       {2, 5, 3, Rational(33, 1, le) + Rational(51, 1, le) + Rational(3600, 100, le)},
                       {3, 2, 2, std::string("W\0", 2)},
                       {4, 5, 3, Rational(151, 1, le) + Rational(12, 1, le) + Rational(0, 1, le)},
                       {5, 1, 1, std::string("\x01", 1)},
                       {6, 5, 1, Rational(125, 10, le)},
                       {7, 5, 3, Rational(23, 1, le) + Rational(59, 1, le) + Rational(305, 10, le)},
                       {29, 2, 11, std::string("2024:02:29\0", 11)}};
    ifds[3].entries = {{1, 2, 4, std::string("R98\0", 4)}};
    ifds[4].entries = {{0x0201, 4, 1, U32(1234, le)}};
    return Tiff(le, ifds);
}

}  // namespace

// Every IFD, every value of a multi-value tag, rationals with their fractions, text without its
// terminator, UNDEFINED as hex, GPS in decimal degrees, comments, XMP (extended XMP put back
// together) and the frame's size: the same in both byte orders.
TEST_F(MetaDataJSON, EveryDirectoryAndValueInBothByteOrders) {
    const std::string xmp = "<x:xmpmeta xmpNote:HasExtendedXMP=\"0123456789ABCDEF0123456789ABCDEF\"/>";
    const std::string extension = "<extended>" + std::string(100, 'x') + "</extended>";
    const auto extended = [&](size_t from, size_t n) {
        return Segment(0xE1, std::string("http://ns.adobe.com/xmp/extension/\0", 35) + "0123456789ABCDEF0123456789ABCDEF" +
                                  U32(uint32_t(extension.size()), false) + U32(uint32_t(from), false) + extension.substr(from, n));
    };
    for (const bool le : {true, false}) {
        SCOPED_TRACE(le ? "little-endian" : "big-endian");
        // The second chunk of the extension comes first: chunks are put in place by offset.
        const std::string file = kSOI + Exif(CameraTiff(le)) + Segment(0xFE, "first comment") +
                                 Segment(0xE1, std::string("http://ns.adobe.com/xap/1.0/\0", 29) + xmp) +
                                 extended(50, 200) + extended(0, 50) + Segment(0xFE, "second \xC3\xA9") + kFrame +
                                 Segment(0xDA, std::string(10, '\0')) + kEOI;
        const auto d = Json("", Write(file));
        ASSERT_TRUE(d.HasMember("exif")) << answer;
        EXPECT_EQ(std::string(d["image"]["format"].GetString()), "jpeg");
        EXPECT_EQ(d["image"]["width"].GetUint(), 400u);
        EXPECT_EQ(d["image"]["height"].GetUint(), 300u);
        EXPECT_EQ(d["image"]["orientation"].GetUint(), 6u);
        // IFD0, Exif, Interoperability, GPS, IFD1: 5 + 7 + 1 + 9 + 1 entries.
        EXPECT_EQ(d["exif"].Size(), 23u);
        const auto *make = Entry(d, "IFD0", 271);
        ASSERT_NE(make, nullptr);
        EXPECT_EQ(std::string((*make)["value"].GetString()), "Canon");
        EXPECT_EQ(std::string((*make)["name"].GetString()), "Make");
        EXPECT_EQ(std::string((*make)["type"].GetString()), "ASCII");
        EXPECT_EQ((*make)["count"].GetUint(), 6u);
        const auto *exposure = Entry(d, "Exif", 0x829A);
        ASSERT_NE(exposure, nullptr);
        EXPECT_DOUBLE_EQ((*exposure)["value"].GetDouble(), 0.004);
        EXPECT_EQ((*exposure)["rational"][0].GetUint(), 1u);
        EXPECT_EQ((*exposure)["rational"][1].GetUint(), 250u);
        EXPECT_EQ(std::string((*Entry(d, "Exif", 0x9000))["value"].GetString()), "30323332");
        const auto *bias = Entry(d, "Exif", 0x9204);
        EXPECT_NEAR((*bias)["value"].GetDouble(), -1.0 / 3, 1e-12);
        EXPECT_EQ((*bias)["rational"][0].GetInt(), -1);
        const auto &area = (*Entry(d, "Exif", 0x9214))["value"];
        ASSERT_TRUE(area.IsArray());
        EXPECT_EQ(area.Size(), 4u);
        EXPECT_EQ(area[3].GetUint(), 40u);
        // A fraction with denominator 0 is null, its fraction still there.
        const auto *lens = Entry(d, "Exif", 0xA432);
        EXPECT_TRUE((*lens)["value"][3].IsNull());
        EXPECT_DOUBLE_EQ((*lens)["value"][2].GetDouble(), 2.8);
        EXPECT_EQ((*lens)["rational"][2][1].GetUint(), 10u);
        const auto *unknown = Entry(d, "Exif", 0xEEEE);
        EXPECT_FALSE(unknown->HasMember("name"));
        EXPECT_DOUBLE_EQ((*unknown)["value"].GetDouble(), 1.5);
        EXPECT_EQ(std::string((*Entry(d, "Interoperability", 1))["value"].GetString()), "R98");
        EXPECT_EQ((*Entry(d, "IFD1", 0x0201))["value"].GetUint(), 1234u);
        const auto &version = (*Entry(d, "GPS", 0))["value"];
        EXPECT_EQ(version.Size(), 4u);
        EXPECT_EQ(version[1].GetUint(), 3u);
        EXPECT_NEAR(d["gps"]["latitude"].GetDouble(), -(33 + 51 / 60.0 + 36 / 3600.0), 1e-9);
        EXPECT_NEAR(d["gps"]["longitude"].GetDouble(), -(151 + 12 / 60.0), 1e-9);
        EXPECT_DOUBLE_EQ(d["gps"]["altitude"].GetDouble(), -12.5);
        EXPECT_EQ(std::string(d["gps"]["timestamp"].GetString()), "2024-02-29T23:59:30.500Z");
        ASSERT_EQ(d["comments"].Size(), 2u);
        EXPECT_EQ(std::string(d["comments"][1].GetString()), "second \xC3\xA9");
        EXPECT_EQ(std::string(d["xmp"].GetString()), xmp);
        EXPECT_EQ(std::string(d["xmpExtended"].GetString()), extension);
        EXPECT_FALSE(d.HasMember("errors"));
        EXPECT_FALSE(d.HasMember("iptc"));  // absent parts are absent keys
    }
}

// IPTC: every dataset of every record, repeated datasets apart, numbers as numbers; text as UTF-8
// when 1:90 says so, else Latin-1 or the -Encoding= given.
TEST_F(MetaDataJSON, IptcDatasetsInTheirCharacterSet) {
    const std::string latin1 = Dataset(2, 0, std::string("\x00\x04", 2)) + Dataset(2, 5, "Caf\xE9") +
                               Dataset(2, 25, "one") + Dataset(2, 25, "two") + Dataset(2, 240, "custom");
    auto d = Json("", Write(kSOI + Photoshop(latin1) + kEOI));
    ASSERT_TRUE(d.HasMember("iptc")) << answer;
    ASSERT_EQ(d["iptc"].Size(), 5u);
    EXPECT_EQ(d["iptc"][0]["value"].GetUint(), 4u);
    EXPECT_EQ(std::string(d["iptc"][0]["name"].GetString()), "ApplicationRecordVersion");
    EXPECT_EQ(std::string(d["iptc"][1]["value"].GetString()), "Caf\xC3\xA9");
    EXPECT_EQ(std::string(d["iptc"][2]["value"].GetString()) + std::string(d["iptc"][3]["value"].GetString()), "onetwo");
    EXPECT_EQ(std::string(d["iptc"][3]["name"].GetString()), "Keywords");
    EXPECT_FALSE(d["iptc"][4].HasMember("name"));
    EXPECT_EQ(d["iptc"][4]["dataset"].GetUint(), 240u);
    // Windows Latin 1 has the euro sign at 0x80.
    d = Json("-Encoding=ASCII_Windows", Write(kSOI + Photoshop(Dataset(2, 5, "\x80 5")) + kEOI));
    EXPECT_EQ(std::string(d["iptc"][0]["value"].GetString()), "\xE2\x82\xAC 5");
    // 1:90 says UTF-8: the switch does not matter, and broken bytes become U+FFFD.
    const std::string utf8 = Dataset(1, 90, "\x1B%G") + Dataset(2, 5, "Caf\xC3\xA9 \xFF");
    d = Json("-Encoding=ASCII_Windows", Write(kSOI + Photoshop(utf8) + kEOI));
    ASSERT_EQ(d["iptc"].Size(), 2u);
    EXPECT_EQ(d["iptc"][0]["record"].GetUint(), 1u);
    EXPECT_EQ(std::string(d["iptc"][1]["value"].GetString()), "Caf\xC3\xA9 \xEF\xBF\xBD");
    // A stream that ends inside a dataset: the datasets before it, and the error.
    d = Json("", Write(kSOI + Photoshop(Dataset(2, 5, "whole") + std::string("\x1C\x02\x78\x00\x50short", 10)) + kEOI));
    EXPECT_EQ(d["iptc"].Size(), 1u);
    EXPECT_EQ(std::string(d["errors"][0]["part"].GetString()), "iptc");
    EXPECT_EQ(d["errors"][0]["error"].GetInt(), -39);
}

// TIFF files are their own EXIF; PNG (IHDR, eXIf, text chunks, XMP in iTXt) and WebP (VP8X, EXIF,
// XMP) give the same keys.
TEST_F(MetaDataJSON, TiffPngAndWebp) {
    for (const bool le : {true, false}) {
        std::vector<Ifd> ifds(1);
        ifds[0].entries = {{256, 3, 1, U16(640, le)}, {257, 4, 1, U32(480, le)}, {274, 3, 1, U16(3, le)},
                           {700, 1, 7, "<x:x/>\n"}};
        const auto d = Json("", Write(Tiff(le, ifds), ".tif"));
        EXPECT_EQ(std::string(d["image"]["format"].GetString()), "tiff");
        EXPECT_EQ(d["image"]["width"].GetUint(), 640u);
        EXPECT_EQ(d["image"]["height"].GetUint(), 480u);
        EXPECT_EQ(d["image"]["orientation"].GetUint(), 3u);
        EXPECT_EQ(std::string(d["xmp"].GetString()), "<x:x/>\n");
    }
    const std::string tiff = CameraTiff(true);
    const std::string png = std::string("\x89PNG\r\n\x1A\n", 8) + Chunk("IHDR", U32(33, false) + U32(44, false) + std::string(5, '\0')) +
                            Chunk("eXIf", tiff) + Chunk("tEXt", "Title\0Gr\xFCn"s) +
                            Chunk("iTXt", "XML:com.adobe.xmp\0\0\0\0\0<x:png/>"s) +
                            Chunk("iTXt", "Author\0\0\0de\0Autor\0J\xC3\xBCrgen"s) +
                            Chunk("zTXt", "Comment\0\0\x78\x9C"s) + Chunk("IEND", "");
    auto d = Json("", Write(png, ".png"));
    EXPECT_EQ(std::string(d["image"]["format"].GetString()), "png");
    EXPECT_EQ(d["image"]["width"].GetUint(), 33u);
    EXPECT_EQ(d["image"]["orientation"].GetUint(), 6u);
    EXPECT_EQ(d["exif"].Size(), 23u);
    EXPECT_EQ(std::string(d["xmp"].GetString()), "<x:png/>");
    ASSERT_EQ(d["text"].Size(), 3u) << answer;
    EXPECT_EQ(std::string(d["text"][0]["value"].GetString()), "Gr\xC3\xBCn");
    EXPECT_EQ(std::string(d["text"][1]["language"].GetString()), "de");
    EXPECT_EQ(std::string(d["text"][1]["value"].GetString()), "J\xC3\xBCrgen");
    EXPECT_TRUE(d["text"][2]["compressed"].GetBool());
    const std::string vp8x = std::string("\x2C\0\0\0", 4) + std::string("\x3F\x00\x00\x1F\x00\x00", 6);
    const std::string body = "WEBP" + Riff("VP8X", vp8x) + Riff("EXIF", std::string("Exif\0\0", 6) + tiff) + Riff("XMP ", "<x:webp/>");
    d = Json("", Write("RIFF" + U32(uint32_t(body.size()), true) + body, ".webp"));
    EXPECT_EQ(std::string(d["image"]["format"].GetString()), "webp");
    EXPECT_EQ(d["image"]["width"].GetUint(), 64u);
    EXPECT_EQ(d["image"]["height"].GetUint(), 32u);
    EXPECT_EQ(d["exif"].Size(), 23u);
    EXPECT_EQ(std::string(d["xmp"].GetString()), "<x:webp/>");
}

// Hostile files end, read nothing outside the file, and answer what can be read; the bounds cut
// values and answers and say so; only an unreadable file or one of no known kind fails the call.
TEST_F(MetaDataJSON, HostileFilesAndBounds) {
    const bool le = true;
    // IFD1 links back to IFD0, and the Exif pointer points at IFD0 too: each is read once.
    std::vector<Ifd> loop(1);
    loop[0].entries = {{271, 2, 4, std::string("abc\0", 4)}, {0x8769, 4, 1, "", 0}};
    loop[0].next = 0;
    auto d = Json("", Write(kSOI + Exif(Tiff(le, loop)) + kEOI));
    EXPECT_EQ(d["exif"].Size(), 2u) << answer;
    EXPECT_EQ(std::string(d["errors"][0]["part"].GetString()), "exif");
    EXPECT_EQ(d["errors"][0]["error"].GetInt(), -302);
    // A value past the end of the data and a count of 2^32-1: entries with an error, the rest read.
    std::vector<Ifd> outside(1);
    outside[0].entries = {{271, 2, 100, "xxxxx"}, {272, 4, 0xFFFFFFFF, U32(8, le)}, {274, 3, 1, U16(1, le)}};
    std::string tiff = Tiff(le, outside);
    tiff.resize(tiff.size() - 5);  // the Make value is cut off
    d = Json("", Write(kSOI + Exif(tiff) + kEOI));
    ASSERT_EQ(d["exif"].Size(), 3u) << answer;
    EXPECT_EQ(d["exif"][0]["error"].GetInt(), -302);
    EXPECT_EQ(d["exif"][1]["error"].GetInt(), -302);
    EXPECT_EQ(d["exif"][2]["value"].GetUint(), 1u);
    // An IFD whose entry count runs past the data: the entries inside it.
    std::string cut = Tiff(le, {Ifd{{{274, 3, 1, U16(8, le)}, {271, 2, 3, "ab"}}}});
    cut[8] = char(200);
    d = Json("", Write(kSOI + Exif(cut.substr(0, 8 + 2 + 12 + 6)) + kEOI));
    EXPECT_EQ(d["exif"].Size(), 1u) << answer;
    EXPECT_EQ(d["image"]["orientation"].GetUint(), 8u);
    // EXIF that is not TIFF at all, and a file cut inside a segment.
    d = Json("", Write(kSOI + Exif("XX*\0garbage") + Segment(0xFE, "c") + kEOI));
    EXPECT_FALSE(d.HasMember("exif"));
    EXPECT_EQ(d["comments"].Size(), 1u);
    d = Json("", Write(kSOI + Segment(0xFE, "whole") + Segment(0xFE, "cut off").substr(0, 6)));
    EXPECT_EQ(d["comments"].Size(), 1u);
    EXPECT_EQ(d["errors"][0]["error"].GetInt(), -39);
    // The value bound cuts a value to whole elements; the answer bound stops adding entries.
    std::vector<Ifd> big(1);
    big[0].entries = {{0x927C, 7, 1000, std::string(1000, 'm')}, {0x0111, 4, 100, std::string(400, '\1')}};
    for (int k = 0; k < 200; ++k) big[0].entries.push_back({uint16_t(0x9000 + k), 2, 4, "abc"});
    const std::string bigFile = Write(kSOI + Exif(Tiff(le, big)) + kEOI);
    d = Json("-MaxValueBytes=10", bigFile);
    EXPECT_EQ(std::string(d["exif"][0]["value"].GetString()), "6d6d6d6d6d6d6d6d6d6d");
    EXPECT_TRUE(d["exif"][0]["truncated"].GetBool());
    EXPECT_EQ(d["exif"][1]["value"].Size(), 2u);
    EXPECT_FALSE(d.HasMember("truncated"));
    d = Json("-MaxAnswerBytes=2000", bigFile);
    EXPECT_TRUE(d["truncated"].GetBool());
    EXPECT_LT(d["exif"].Size(), 100u);
    EXPECT_LT(answer.size(), 3000u);
    // Whole failures: no file, a folder, no image of a kind read here (also an empty file).
    EXPECT_EQ(Call("ZbFile_MetaDataJSON", {"", dir + "/missing.jpg"}), "$$-43");
    EXPECT_EQ(Call("ZbFile_MetaDataJSON", {"", dir}), "$$-1302");
    EXPECT_EQ(Call("ZbFile_MetaDataJSON", {"", Write("just text", ".txt")}), "$$-71");
    EXPECT_EQ(Call("ZbFile_MetaDataJSON", {"", Write("", ".jpg")}), "$$-71");
    EXPECT_EQ(Call("ZbFile_MetaDataJSON", {"", Write(std::string("GIF89a\1\0\1\0\0\0\0;", 14), ".gif")}), "$$-71");
    // A JPEG without any metadata is an answer, not a failure.
    d = Json("", Write(kSOI + kFrame + kEOI));
    EXPECT_EQ(d.MemberCount(), 1u) << answer;
}

// The camera files and the imaging test images against exiftool -j -n -G1 -D: every tag both
// print in IFD0, the Exif, GPS and Interoperability IFDs and IFD1 has the same value (numbers
// within 1e-6 relative, text equal), matched by group and tag number.
TEST_F(MetaDataJSON, AgreesWithExiftool) {
    if (!fs::exists(kGoexif / "samples") || !fs::exists(kImaging) || !zerbtest::HasProgram("exiftool"))
        GTEST_SKIP() << "needs golang-github-rwcarlsen-goexif-dev, golang-github-disintegration-imaging-dev and "
                        "libimage-exiftool-perl (scripts/test.sh installs them)";
    std::vector<std::string> files;
    for (const fs::path &folder : {kGoexif / "samples", kImaging, kGoexif})
        for (const auto &entry : fs::directory_iterator(folder))
            if (entry.path().extension() == ".jpg" || entry.path().extension() == ".png") files.push_back(entry.path().string());
    std::string list;
    for (const auto &f : files) list += " '" + f + "'";
    const std::string theirText = zerbtest::CommandOutput("exiftool -j -n -G1 -D -a" + list + " 2>/dev/null");
    rapidjson::Document theirs;
    theirs.Parse(theirText.c_str());
    ASSERT_TRUE(theirs.IsArray()) << theirText.substr(0, 200);
    const std::map<std::string, std::string> groups = {
        {"IFD0", "IFD0"}, {"ExifIFD", "Exif"}, {"GPS", "GPS"}, {"InteropIFD", "Interoperability"}, {"IFD1", "IFD1"}};
    // exiftool converts these even with -n: APEX values (shutter speed, apertures), and the
    // offsets of the thumbnail and of strips, which it makes offsets in the file; degrees of
    // latitude and longitude are compared with the answer's decimal position, the GPS time of day
    // not at all. It decodes UNDEFINED values it knows (user comment, scene type, ...) and shows
    // binary data as a placeholder.
    const std::vector<unsigned> converted = {37377, 37378, 37381, 273, 513};
    size_t compared = 0, exifFiles = 0;
    for (const auto &file : theirs.GetArray()) {
        const std::string path = file["SourceFile"].GetString();
        const auto ours = Json("", path);
        if (!ours.HasMember("exif")) continue;
        ++exifFiles;
        for (const auto &m : file.GetObject()) {
            const std::string key = m.name.GetString();
            const auto group = groups.find(key.substr(0, key.find(':')));
            if (group == groups.end() || !m.value.IsObject() || !m.value.HasMember("id") || !m.value["id"].IsUint()) continue;
            const unsigned tag = m.value["id"].GetUint();
            const auto &val = m.value["val"];
            const rapidjson::Value *entry = Entry(ours, group->second.c_str(), tag);
            if (!entry) {
                ADD_FAILURE() << path << " " << key << " (" << tag << ") is missing";
                continue;
            }
            if (!entry->HasMember("value") || std::find(converted.begin(), converted.end(), tag) != converted.end())
                continue;
            const std::string type = (*entry)["type"].GetString();
            const auto &mine = (*entry)["value"];
            if (group->second == "GPS" && (tag == 2 || tag == 4 || tag == 7)) {
                if (tag != 7) {  // degrees: the answer's decimal position
                    const double position = std::fabs(ours["gps"][tag == 2 ? "latitude" : "longitude"].GetDouble());
                    EXPECT_NEAR(position, std::fabs(val.GetDouble()), 1e-6) << path << " " << key;
                    ++compared;
                }
                continue;
            }
            std::vector<double> mineNumbers;
            if (mine.IsNumber()) mineNumbers.push_back(mine.GetDouble());
            if (mine.IsArray())
                for (const auto &v : mine.GetArray()) mineNumbers.push_back(v.IsNumber() ? v.GetDouble() : NAN);
            if (type == "UNDEFINED") {
                // Only where exiftool prints the bytes themselves (the version tags).
                if (!val.IsString() || (tag != 36864 && tag != 40960 && tag != 2)) continue;
                std::string hex;
                for (const unsigned char c : std::string(val.GetString())) {
                    char two[3];
                    std::snprintf(two, sizeof two, "%02x", c);
                    hex += two;
                }
                EXPECT_EQ(std::string(mine.GetString()), hex) << path << " " << key;
            } else if (mine.IsString()) {
                std::string a = mine.GetString(), b = val.IsString() ? val.GetString() : "";
                if (!val.IsString()) {
                    std::ostringstream s;
                    s << val.GetDouble();
                    b = s.str();
                }
                while (!a.empty() && a.back() == ' ') a.pop_back();
                while (!b.empty() && b.back() == ' ') b.pop_back();
                EXPECT_EQ(a, b) << path << " " << key;
            } else {
                std::vector<double> theirNumbers;
                if (val.IsNumber()) {
                    theirNumbers.push_back(val.GetDouble());
                } else if (val.IsString()) {
                    if (std::string(val.GetString()).rfind("(Binary data", 0) == 0) continue;
                    std::istringstream s(val.GetString());
                    for (double v; s >> v;) theirNumbers.push_back(v);
                }
                ASSERT_EQ(mineNumbers.size(), theirNumbers.size()) << path << " " << key;
                for (size_t k = 0; k < mineNumbers.size(); ++k)
                    EXPECT_NEAR(mineNumbers[k], theirNumbers[k], 1e-6 * std::max(1.0, std::fabs(theirNumbers[k])))
                        << path << " " << key << " value " << k;
            }
            ++compared;
        }
    }
    EXPECT_GT(exifFiles, 30u);
    EXPECT_GT(compared, 200u);
}

// IPTC that exiftool writes in UTF-8 (and says so in 1:90) and in Latin-1, read back; every
// answer also parses with Python's json module through fmxhost.
TEST_F(MetaDataJSON, ExiftoolIptcAndPythonParses) {
    const fs::path sample = kGoexif / "sample1.jpg";
    if (!fs::exists(sample) || !zerbtest::HasProgram("exiftool"))
        GTEST_SKIP() << "needs golang-github-rwcarlsen-goexif-dev and libimage-exiftool-perl (scripts/test.sh installs them)";
    const std::string utf8 = dir + "/utf8.jpg", latin1 = dir + "/latin1.jpg";
    fs::copy_file(sample, utf8);
    fs::copy_file(sample, latin1);
    ASSERT_EQ(std::system(("exiftool -q -overwrite_original -charset iptc=UTF8 -IPTC:CodedCharacterSet=UTF8 "
                           "'-IPTC:Keywords=Caf\xC3\xA9' '-IPTC:Keywords=Stra\xC3\x9F" "e' '-IPTC:City=K\xC3\xB6ln' '" + utf8 + "'").c_str()), 0);
    ASSERT_EQ(std::system(("exiftool -q -overwrite_original -charset iptc=Latin "
                           "'-IPTC:Keywords=Caf\xC3\xA9' '-IPTC:Keywords=Stra\xC3\x9F" "e' '-IPTC:City=K\xC3\xB6ln' '" + latin1 + "'").c_str()), 0);
    ASSERT_NE(zerbtest::CommandOutput("xxd -p '" + latin1 + "' | tr -d '\\n'").find("436166e9"), std::string::npos) << "exiftool wrote no Latin-1";
    for (const std::string &file : {utf8, latin1}) {
        SCOPED_TRACE(file);
        const auto d = Json("", file);
        ASSERT_TRUE(d.HasMember("iptc")) << answer;
        std::vector<std::string> keywords;
        std::string city;
        for (const auto &e : d["iptc"].GetArray()) {
            if (e["record"].GetUint() == 2 && e["dataset"].GetUint() == 25) keywords.push_back(e["value"].GetString());
            if (e["record"].GetUint() == 2 && e["dataset"].GetUint() == 90) city = e["value"].GetString();
        }
        EXPECT_EQ(keywords, (std::vector<std::string>{"Caf\xC3\xA9", "Stra\xC3\x9F" "e"}));
        EXPECT_EQ(city, "K\xC3\xB6ln");
        // exiftool reads the same keywords back.
        const std::string listed = zerbtest::CommandOutput("exiftool -q -j -IPTC:Keywords '" + file + "'");
        EXPECT_NE(listed.find("Stra\xC3\x9F" "e"), std::string::npos) << listed;
    }
    // fmxhost's answer through Python's json module.
    EXPECT_EQ(zerbtest::AnswersPythonCannotRead({"ZbFile_MetaDataJSON(\"\" ; \"" + utf8 + "\")"}), "");
}

// Each system call of the read failing in turn (open, size, every read of a file larger than one
// read block, in JPEG and TIFF): the answer is that error, never an answer with parts missing; past
// the last call, the whole answer.
TEST_F(MetaDataJSON, AFailedReadFailsTheCall) {
    std::vector<Ifd> ifds(1);
    ifds[0].entries = {{271, 2, 6, std::string("Canon\0", 6)}, {0x927C, 7, 90000, std::string(90000, 'n')}};
    const std::string jpeg = Write(kSOI + Exif(CameraTiff(true)) + Segment(0xFE, std::string(60000, 'c')) +
                                   Segment(0xFE, std::string(60000, 'd')) + Segment(0xFE, "last") + kEOI);
    const std::string tiff = Write(Tiff(true, ifds), ".tif");
    for (const std::string &file : {jpeg, tiff}) {
        SCOPED_TRACE(file);
        const std::string whole = Call("ZbFile_MetaDataJSON", {"", file});
        ASSERT_EQ(whole.front(), '{') << whole.substr(0, 100);
        long calls = 0;
        zerbtest::SweepFailingCalls(
            {EIO}, [&] { ++calls; },
            [&] { return zerbtest::CallHandler(ZbFile7_DoMetaDataJSON, {"", file}, kZbFnMetaDataJSON); },
            [&](const std::string &answer, bool reached) { EXPECT_EQ(answer, reached ? "$$-36" : whole); });
        EXPECT_GT(calls, 3);  // open, size and more than one read
    }
}
