// MetaData on JPEG files built here byte by byte (every rule of the text format, the scan's
// markers and errors) and on files from outside the project: the camera JPEGs Debian ships with
// the goexif package, checked against exiftool, and IPTC, comments and XMP written by exiftool.
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <vector>

#include "platform/system_calls.h"
#include "core/functions.h"
#include "tests/plugin_harness.h"

namespace fs = std::filesystem;
using zerbtest::PluginTest;

namespace {

std::string U16(unsigned v, bool le = false) {
    return le ? std::string{char(v), char(v >> 8)} : std::string{char(v >> 8), char(v)};
}
std::string U32(uint32_t v, bool le = false) {
    return le ? std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)}
              : std::string{char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
}

// A segment: FF, the marker, the length, the data.
std::string Segment(unsigned char marker, const std::string &data) {
    return std::string{char(0xFF), char(marker)} + U16(unsigned(data.size() + 2)) + data;
}

struct Entry {
    uint16_t tag, type;
    uint32_t count;
    std::string value;  // the value's bytes in the file's order
};

// TIFF data with one IFD (IFD0 at offset 8); values longer than 4 bytes follow the IFD.
std::string Tiff(bool le, const std::vector<Entry> &entries) {
    std::string head = (le ? "II" : "MM") + U16(42, le) + U32(8, le);
    std::string ifd = U16(unsigned(entries.size()), le), data;
    const size_t dataStart = 8 + 2 + entries.size() * 12 + 4;
    for (const Entry &e : entries) {
        ifd += U16(e.tag, le) + U16(e.type, le) + U32(e.count, le);
        if (e.value.size() <= 4) {
            ifd += e.value + std::string(4 - e.value.size(), '\0');
        } else {
            ifd += U32(uint32_t(dataStart + data.size()), le);
            data += e.value;
        }
    }
    return head + ifd + U32(0, le) + data;
}

std::string ExifSegment(const std::string &tiff) { return Segment(0xE1, std::string("Exif\0\0", 6) + tiff); }

// An APP13 Photoshop block holding one resource.
std::string PhotoshopSegment(uint16_t id, const std::string &data) {
    std::string resource = "8BIM" + U16(id) + std::string(2, '\0') + U32(uint32_t(data.size())) + data;
    if (data.size() % 2) resource += '\0';
    return Segment(0xED, std::string("Photoshop 3.0\0", 14) + resource);
}

std::string Dataset(unsigned record, unsigned number, const std::string &data) {
    return std::string{char(0x1C), char(record), char(number)} + U16(unsigned(data.size())) + data;
}

const std::string kSOI("\xFF\xD8", 2), kEOI("\xFF\xD9", 2);

// The camera JPEGs of Debian's goexif package.
const fs::path kGoexif = "/usr/share/gocode/src/github.com/rwcarlsen/goexif/exif";

// A command's standard output, with "<failed>" appended when it exits with an error.
std::string Output(const std::string &command) { return zerbtest::CommandOutput(command); }
const std::string kFrame = Segment(0xC0, std::string("\x08\x00\x10\x00\x10\x03", 6) + std::string(9, '\x01'));

class MetaData : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        dir = (fs::temp_directory_path() / ("zerb-meta-" + std::to_string(getpid()))).string();
        fs::create_directories(dir);
    }
    void TearDown() override {
        fs::remove_all(dir);
        PluginTest::TearDown();
    }
    std::string Write(const std::string &bytes) {
        const std::string path = dir + "/f" + std::to_string(++serial) + ".jpg";
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    std::string Meta(const std::string &switches, const std::string &bytes) {
        return Call("ZbFile_MetaData", {switches, Write(bytes)});
    }
    std::string dir;
    int serial = 0;
};

}  // namespace

TEST_F(MetaData, IPTCAndExifComeOutInTheTextFormat) {
    const std::string iptc = Dataset(1, 90, "\x1B%G") + Dataset(2, 5, "Title") + Dataset(2, 120, "Caption") +
                             Dataset(3, 1, "other record");
    const std::string file = kSOI + ExifSegment(Tiff(false, {{271, 2, 5, std::string("Make\0", 5)}})) +
                             PhotoshopSegment(0x0404, iptc) + kFrame + kEOI;
    EXPECT_EQ(Meta("-GetIPTC GetExif", file),
              "\r##IPTC 5\rTitle\r##END 5\r##IPTC 120\rCaption\r##END 120\r##EXIF 271\rMake\r##END 271");
    EXPECT_EQ(Meta("GetIPTC GetImageURL", file), "\r##IPTC 5\rTitle\r##END 5\r##IPTC 120\rCaption\r##END 120");
    // An empty dataset keeps its markers; a file whose IPTC has no record-2 dataset answers nothing.
    EXPECT_EQ(Meta("GetIPTC", kSOI + PhotoshopSegment(0x0404, Dataset(2, 25, "")) + kEOI), "\r##IPTC 25\r\r##END 25");
    EXPECT_EQ(Meta("GetIPTC", kSOI + PhotoshopSegment(0x0404, Dataset(1, 90, "x")) + kEOI), "");
    EXPECT_EQ(Meta("GetIPTC", kSOI + kEOI), "$$-2026");
    EXPECT_EQ(Meta("GetImageURL", kSOI + PhotoshopSegment(0x040B, "http://example.com/a.jpg") + kEOI),
              "http://example.com/a.jpg");
    // Bytes are read in the chosen encoding; SourceWinCharset wins over -Encoding.
    const std::string latin = kSOI + PhotoshopSegment(0x0404, Dataset(2, 5, "caf\xE9")) + kEOI;
    EXPECT_EQ(Meta("GetIPTC -Encoding=ISO_8859_1", latin), "\r##IPTC 5\rcaf\xC3\xA9\r##END 5");
    EXPECT_EQ(Meta("GetIPTC SourceWinCharset -Encoding=UTF8", latin), "\r##IPTC 5\rcaf\xC3\xA9\r##END 5");
    EXPECT_EQ(Meta("GetIPTC -Encoding=UTF8", kSOI + PhotoshopSegment(0x0404, Dataset(2, 5, "caf\xC3\xA9")) + kEOI),
              "\r##IPTC 5\rcaf\xC3\xA9\r##END 5");
    EXPECT_EQ(Meta("GetSomethingElse", file), "$$-50");
}

TEST_F(MetaData, ExifValuesFollowTheirTypes) {
    const auto exif = [&](bool le, const std::vector<Entry> &entries) {
        return Meta("GetExif", kSOI + ExifSegment(Tiff(le, entries)) + kEOI);
    };
    EXPECT_EQ(exif(false, {{274, 3, 1, U16(1)}}), "\r##EXIF 274\r1\r##END 274");
    EXPECT_EQ(exif(true, {{274, 3, 1, U16(6, true)}}), "\r##EXIF 274\r6\r##END 274");
    EXPECT_EQ(exif(false, {{270, 2, 1, std::string(1, '\0')}}), "\r##EXIF 270\r\r##END 270");
    EXPECT_EQ(exif(false, {{270, 2, 3, std::string("ab\0", 3)}}), "\r##EXIF 270\rab\r##END 270");
    // Inline text in little-endian data comes out in the value field's reversed order.
    EXPECT_EQ(exif(true, {{270, 2, 4, "abc"}}), "\r##EXIF 270\r" + std::string("\0cb", 3) + "\r##END 270");
    EXPECT_EQ(exif(false, {{282, 5, 1, U32(300) + U32(4)}}), "\r##EXIF 282\r75\r##END 282");
    EXPECT_EQ(exif(true, {{37380, 10, 1, U32(uint32_t(-1), true) + U32(3, true)}}),
              "\r##EXIF 37380\r-0.3333333333333333\r##END 37380");
    EXPECT_EQ(exif(false, {{256, 4, 1, U32(0x80000000u)}}), "\r##EXIF 256\r-2147483648\r##END 256");
    EXPECT_EQ(exif(false, {{1, 1, 4, "\x01\x02\x03\x04"}}), "\r##EXIF 1\r4\r##END 1");  // the fourth byte
    EXPECT_EQ(exif(true, {{1, 1, 4, "\x01\x02\x03\x04"}}), "\r##EXIF 1\r1\r##END 1");
    EXPECT_EQ(exif(false, {{1, 6, 1, "\xFF"}}), "\r##EXIF 1\r0\r##END 1");  // inline: the fourth byte
    EXPECT_EQ(exif(false, {{2, 13, 1, "x"}}), "\r##EXIF 2\r???unknown???\r##END 2");
    // A value whose offset lies past the data.
    std::string tiff = Tiff(false, {{270, 2, 10, "0123456789"}});
    tiff.resize(tiff.size() - 10);
    EXPECT_EQ(Meta("GetExif", kSOI + ExifSegment(tiff) + kEOI), "\r##EXIF 270\r<CORRUPT EXIF TAG>\r##END 270");
    // The Exif sub-IFD is walked after IFD0; an IFD without entries is malformed.
    std::string withSub = Tiff(false, {{34665, 4, 1, U32(26)}});  // 8 + 2 + 12 + 4 = 26
    withSub += U16(1) + U16(33434) + U16(3) + U32(1) + U16(7) + U16(0) + U32(0);
    EXPECT_EQ(Meta("GetExif", kSOI + ExifSegment(withSub) + kEOI),
              "\r##EXIF 34665\r26\r##END 34665\r##EXIF 33434\r7\r##END 33434");
    EXPECT_EQ(exif(false, {}), "$$-302");
    EXPECT_EQ(Meta("GetExif", kSOI + ExifSegment("XX" + U16(42) + U32(8) + U16(0)) + kEOI), "$$-302");
    EXPECT_EQ(Meta("GetExif", kSOI + ExifSegment("MM" + U16(41) + U32(8) + U16(0)) + kEOI), "$$-302");
}

TEST_F(MetaData, TheScanFindsSegmentsAndStopsWhereItMust) {
    const std::string exif = ExifSegment(Tiff(false, {{274, 3, 1, U16(1)}}));
    const std::string xmp = Segment(0xE1, std::string("http://ns.adobe.com/xap/1.0/\0<x:xmpmeta/>", 41));
    const std::string comment = Segment(0xFE, "Hello");
    EXPECT_EQ(Meta("GetExif", "\xFF\xD9" + exif), "$$-71");
    EXPECT_EQ(Meta("GetExif", "\xFF"), "$$-39");
    // Fill bytes before a marker.
    EXPECT_EQ(Meta("GetExif", kSOI + "\xFF\xFF" + exif + kEOI), "\r##EXIF 274\r1\r##END 274");
    // A second APP1 is skipped; with EXIF and XMP both asked for only EXIF is taken from APP1.
    EXPECT_EQ(Meta("GetExif GetXMP", kSOI + exif + xmp + kEOI), "\r##EXIF 274\r1\r##END 274");
    EXPECT_EQ(Meta("GetXMP", kSOI + exif + xmp + kEOI), "http://ns.adobe.com/xap/1.0/\r<x:xmpmeta/>");
    EXPECT_EQ(Meta("GetXMP", kSOI + Segment(0xE1, "no zero byte") + kEOI), "$$-2158");
    EXPECT_EQ(Meta("GetJPEGComment", kSOI + comment + kEOI), "\r##JCOM\rHello\r##END ");
    // APP12 is read as a comment whatever was asked, without counting as found.
    EXPECT_EQ(Meta("GetExif", kSOI + Segment(0xEC, "Ducky") + exif + kEOI),
              "\r##JCOM\rDucky\r##END \r##EXIF 274\r1\r##END 274");
    EXPECT_EQ(Meta("GetJPEGComment", kSOI + exif + kFrame + kEOI), "$$-2026");
    EXPECT_EQ(Meta("GetJPEGComment", kSOI + exif + "\xFF\xDA" + comment), "$$-2026");  // nothing after SOS
    EXPECT_EQ(Meta("GetJPEGComment", kSOI + Segment(0xFE, "") + kEOI), "$$-92");
    // A frame header of 3 components fits a length of 17 only.
    std::string frame18 = kFrame;
    frame18[3] = 18;
    EXPECT_EQ(Meta("GetJPEGComment", kSOI + kFrame + comment + kEOI), "\r##JCOM\rHello\r##END ");
    EXPECT_EQ(Meta("GetJPEGComment", kSOI + frame18 + std::string(1, '\0') + comment + kEOI), "$$-92");
    // An APP1 of more than 64000 bytes of EXIF data.
    EXPECT_EQ(Meta("GetExif", kSOI + ExifSegment("MM" + std::string(64001, '\0')) + kEOI), "$$-207");
    EXPECT_EQ(Call("ZbFile_MetaData", {"GetExif", dir + "/missing.jpg"}), "$$-43");
}

// The camera JPEGs of Debian's goexif package and the test images of its imaging package against
// exiftool: the tags whose reading is plain (text, single numbers) agree, and so do most tags
// overall; a file without EXIF is one for exiftool too.
TEST_F(MetaData, CameraFilesAgreeWithExiftool) {
    const fs::path imaging = "/usr/share/gocode/src/github.com/disintegration/imaging/testdata";
    if (!fs::exists(kGoexif / "samples") || !fs::exists(imaging) || std::system("command -v exiftool >/dev/null") != 0)
        GTEST_SKIP() << "needs golang-github-rwcarlsen-goexif-dev, golang-github-disintegration-imaging-dev and "
                        "libimage-exiftool-perl (scripts/test.sh installs them)";
    std::vector<fs::path> jpegs;
    for (const fs::path &folder : {kGoexif / "samples", imaging})
        for (const auto &entry : fs::directory_iterator(folder))
            if (entry.path().extension() == ".jpg") jpegs.push_back(entry.path());
    size_t files = 0, compared = 0, agreed = 0;
    for (const fs::path &jpeg : jpegs) {
        ++files;
        const std::string text = Call("ZbFile_MetaData", {"GetExif -Encoding=ISO_8859_1", jpeg.string()});
        const std::string theirTags = Output("exiftool -q -q -IFD0:all -ExifIFD:all '" + jpeg.string() + "' 2>/dev/null");
        if (text == "$$-2026") {
            EXPECT_EQ(theirTags, "") << jpeg;
            continue;
        }
        ASSERT_NE(text.substr(0, 2), "$$") << jpeg << ": " << text;
        // Ours: tag -> values (a tag may stand in both IFDs).
        std::map<unsigned, std::vector<std::string>> ours;
        for (size_t at = 0; (at = text.find("\r##EXIF ", at)) != std::string::npos;) {
            const size_t numberEnd = text.find('\r', at + 8);
            const unsigned tag = unsigned(std::stoul(text.substr(at + 8, numberEnd - at - 8)));
            const size_t end = text.find("\r##END ", numberEnd);
            std::string value = text.substr(numberEnd + 1, end - numberEnd - 1);
            while (!value.empty() && (value.back() == ' ' || value.back() == '\0')) value.pop_back();
            ours[tag].push_back(value);
            at = end;
        }
        const std::string name = jpeg.filename().string();
        if (name.rfind("orientation_", 0) == 0 && name != "orientation_0.jpg") {
            EXPECT_EQ(ours[274], std::vector<std::string>{name.substr(12, 1)}) << jpeg;
        }
        // exiftool's: "[IFD0]  271 Make  : NIKON CORPORATION"
        FILE *p = popen(("exiftool -q -q -n -D -G1 -a -u -IFD0:all -ExifIFD:all '" + jpeg.string() + "' 2>/dev/null").c_str(), "r");
        ASSERT_NE(p, nullptr);
        char line[4096];
        while (fgets(line, sizeof line, p)) {
            std::string s(line);
            if (!s.empty() && s.back() == '\n') s.pop_back();
            std::istringstream fields(s.substr(s.find(']') + 1));
            unsigned tag = 0;
            // exiftool converts the APEX values (37377, 37378) even with -n; inline UNDEFINED values
            // of little-endian files (37121, 41728, 41729) come out reversed by rule.
            if (!(fields >> tag) || !ours.count(tag) || tag == 37377 || tag == 37378 || tag == 37121 ||
                tag == 41728 || tag == 41729)
                continue;
            const size_t colon = s.find(" : ");
            if (colon == std::string::npos) continue;
            const std::string theirs = s.substr(colon + 3);
            ++compared;
            const auto number = [](const std::string &t, double &v) {
                char *end = nullptr;
                v = std::strtod(t.c_str(), &end);
                return !t.empty() && end && *end == 0;
            };
            const std::string first = theirs.substr(0, theirs.find(' '));  // several values: the first
            const auto agrees = [&](const std::string &mine) {
                double a = 0, b = 0;
                return mine == theirs ||
                       (number(mine, a) && (number(theirs, b) || number(first, b)) &&
                        std::fabs(a - b) <= 1e-6 * std::max(1.0, std::fabs(b))) ||
                       // Text ends one byte early where the file counted no terminator (the rule:
                       // all but the last byte).
                       (theirs.size() == mine.size() + 1 && theirs.compare(0, mine.size(), mine) == 0);
            };
            const bool same = std::any_of(ours[tag].begin(), ours[tag].end(), agrees);
            const std::string mine = ours[tag].front();
            if (same) ++agreed;
            // Text and single values of the common tags must agree.
            if (tag == 271 || tag == 272 || tag == 274 || tag == 306 || tag == 33434 || tag == 33437 || tag == 36867) {
                EXPECT_TRUE(same) << jpeg << " tag " << tag << ": ours '" << mine << "', exiftool '" << theirs << "'";
            }
        }
        pclose(p);
    }
    EXPECT_GT(files, 20u);
    EXPECT_GT(double(agreed), 0.95 * double(compared)) << agreed << " of " << compared;
}

// IPTC (UTF-8), a comment and XMP written by exiftool into a camera file, read back; exiv2 reads
// the same IPTC values.
TEST_F(MetaData, WhatExiftoolWritesReadsBack) {
    const fs::path sample = kGoexif / "sample1.jpg";
    if (!fs::exists(sample) || std::system("command -v exiftool >/dev/null") != 0)
        GTEST_SKIP() << "needs golang-github-rwcarlsen-goexif-dev and libimage-exiftool-perl (scripts/test.sh installs them)";
    const std::string file = dir + "/tagged.jpg";
    fs::copy_file(sample, file);
    ASSERT_EQ(std::system(("exiftool -q -overwrite_original -charset iptc=UTF8 -IPTC:CodedCharacterSet=UTF8 "
                           "'-IPTC:ObjectName=Caf\xC3\xA9 title' '-IPTC:Caption-Abstract=A caption' -IPTC:Keywords=one "
                           "-IPTC:Keywords=two '-Comment=A comment' '-XMP-dc:Title=XMP title' '" + file + "'")
                              .c_str()),
              0);
    const std::string iptc = Call("ZbFile_MetaData", {"GetIPTC -Encoding=UTF8", file});
    EXPECT_EQ(iptc.substr(0, iptc.find("\r##IPTC 0")),
              "\r##IPTC 5\rCaf\xC3\xA9 title\r##END 5\r##IPTC 25\rone\r##END 25\r##IPTC 25\rtwo\r##END 25"
              "\r##IPTC 120\rA caption\r##END 120");
    EXPECT_EQ(Call("ZbFile_MetaData", {"GetJPEGComment", file}), "\r##JCOM\rA comment\r##END ");
    const std::string xmp = Call("ZbFile_MetaData", {"GetXMP -Encoding=UTF8", file});
    EXPECT_EQ(xmp.substr(0, 29), "http://ns.adobe.com/xap/1.0/\r");
    EXPECT_NE(xmp.find("XMP title"), std::string::npos);
    // IPTC in Latin 1, read in that encoding.
    const std::string latin = dir + "/latin.jpg";
    fs::copy_file(sample, latin);
    ASSERT_EQ(std::system(("exiftool -q -overwrite_original -charset iptc=Latin '-IPTC:City=Z\xC3\xBCrich' '" + latin + "'")
                              .c_str()),
              0);
    const std::string city = "\r##IPTC 90\rZ\xC3\xBCrich\r##END 90";
    EXPECT_NE(Call("ZbFile_MetaData", {"GetIPTC -Encoding=ISO_8859_1", latin}).find(city), std::string::npos);
    EXPECT_NE(Call("ZbFile_MetaData", {"GetIPTC SourceWinCharset", latin}).find(city), std::string::npos);
    if (std::system("command -v exiv2 >/dev/null") == 0) {
        const std::string out = Output("exiv2 -pi '" + file + "'");
        EXPECT_NE(out.find("Iptc.Application2.ObjectName                 String     11  Caf\xC3\xA9 title"),
                  std::string::npos)
            << out;
        EXPECT_NE(out.find("Iptc.Application2.Caption                    String      9  A caption"), std::string::npos);
    }
}

// ---- SetMetaData ----

namespace {

std::string Bytes(const std::string &path) { return zerbtest::Contents(path); }

// The data of the first APP13 segment of a JPEG, empty when it has none.
std::string FirstAPP13(const std::string &jpeg) {
    for (size_t at = 2; at + 4 <= jpeg.size() && uint8_t(jpeg[at]) == 0xFF;) {
        const size_t length = size_t(uint8_t(jpeg[at + 2])) << 8 | uint8_t(jpeg[at + 3]);
        if (uint8_t(jpeg[at + 1]) == 0xED) return jpeg.substr(at + 4, length - 2);
        if (uint8_t(jpeg[at + 1]) == 0xDA) break;
        at += 2 + length;
    }
    return {};
}

class SetMetaData : public MetaData {
protected:
    void SetUp() override {
        MetaData::SetUp();
        Call("ZbFile_Version", {"-RegisterSetMetaDataFunction"});
    }
    std::string Set(const std::string &switches, const std::string &source, const std::string &destination,
                    const std::string &text) {
        return Call("ZbFile_SetMetaData", {switches, source, destination, text});
    }
};

const std::string kTwoItems = "\r##IPTC 5\rTitle\r##END 5\r##IPTC 120\rCaption\r##END 120";

}  // namespace

TEST_F(SetMetaData, WritesTheIPTCBlockIntoANewOrTheOldAPP13) {
    const std::string plain = Write(kSOI + Segment(0xE0, std::string("JFIF\0\1\1", 7)) + kFrame + kEOI);
    const std::string out = dir + "/out.jpg";
    ASSERT_EQ(Set("-SetIPTC", plain, out, kTwoItems), "0");
    const std::string block = std::string("\x1C\x02\x00\x00\x02\x00\x04", 7) + Dataset(2, 5, "Title") +
                              Dataset(2, 120, "Caption");
    EXPECT_EQ(FirstAPP13(Bytes(out)), std::string("Photoshop 3.0\0", 14) + "8BIM\x04\x04" + std::string(2, '\0') +
                                          U32(uint32_t(block.size())) + block + std::string(1, '\0'));
    EXPECT_EQ(Call("ZbFile_MetaData", {"GetIPTC", out}), std::string("\r##IPTC 0\r\0\x04\r##END 0", 20) + kTwoItems);
    // The rest of the file is copied as it was.
    EXPECT_EQ(Bytes(out).substr(0, 2 + 2 + 9), Bytes(plain).substr(0, 13));
    EXPECT_EQ(Bytes(out).substr(Bytes(out).size() - kFrame.size() - 2), kFrame + kEOI);

    // An existing Photoshop block keeps its other resources; an empty text removes the IPTC.
    const std::string url = "8BIM" + U16(0x040B) + std::string(2, '\0') + U32(8) + "http://x";
    std::string app13 = std::string("Photoshop 3.0\0", 14) + "8BIM" + U16(0x0404) + std::string(2, '\0') + U32(8) +
                        Dataset(2, 5, "Old") + url;
    const std::string both = Write(kSOI + Segment(0xED, app13) + kFrame + kEOI);
    ASSERT_EQ(Set("-SetIPTC", both, out + "2", ""), "0");
    EXPECT_EQ(FirstAPP13(Bytes(out + "2")), std::string("Photoshop 3.0\0", 14) + url);
    ASSERT_EQ(Set("-SetIPTC", both, out + "3", "\r##IPTC 25\rnew\r##END 25"), "0");
    EXPECT_EQ(Call("ZbFile_MetaData", {"GetIPTC GetImageURL", out + "3"}), std::string("\r##IPTC 0\r\0\x04\r##END 0", 20) + "\r##IPTC 25\rnew\r##END 25");
    EXPECT_NE(FirstAPP13(Bytes(out + "3")).find(url), std::string::npos);
    // Without another resource the segment goes.
    const std::string only = Write(kSOI + PhotoshopSegment(0x0404, Dataset(2, 5, "Old")) + kFrame + kEOI);
    ASSERT_EQ(Set("-SetIPTC", only, out + "4", ""), "0");
    EXPECT_EQ(Bytes(out + "4"), kSOI + kFrame + kEOI);
    // A first APP13 that is not a Photoshop block is copied, and no IPTC is written.
    const std::string other = kSOI + Segment(0xED, "not photoshop") + kFrame + kEOI;
    ASSERT_EQ(Set("-SetIPTC", Write(other), out + "5", kTwoItems), "0");
    EXPECT_EQ(Bytes(out + "5"), other);
}

TEST_F(SetMetaData, LongValuesCommentsAndEncodings) {
    const std::string plain = Write(kSOI + Segment(0xFE, "old one") + Segment(0xFE, "old two") + kFrame +
                                    Segment(0xFE, "after the frame") + kEOI);
    const std::string out = dir + "/out.jpg";
    // A value of 0x8000 characters takes the extended length.
    const std::string longValue(0x8000, 'v');
    ASSERT_EQ(Set("-SetIPTC", plain, out, "\r##IPTC 120\r" + longValue + "\r##END 120"), "0");
    const std::string block = FirstAPP13(Bytes(out));
    EXPECT_NE(block.find(std::string("\x1C\x02\x78\x80\x04\x00\x00\x80\x00", 9) + longValue), std::string::npos);
    // A comment replaces the comments before the frame header; an empty one only removes them.
    ASSERT_EQ(Set("-SetIPTC JPEGComment", plain, out + "c", "new comment"), "0");
    EXPECT_EQ(Bytes(out + "c"), kSOI + Segment(0xFE, "new comment") + kFrame + Segment(0xFE, "after the frame") + kEOI);
    ASSERT_EQ(Set("-SetIPTC JPEGComment", plain, out + "e", ""), "0");
    EXPECT_EQ(Bytes(out + "e"), kSOI + kFrame + Segment(0xFE, "after the frame") + kEOI);
    // The text is written in Mac OS Roman (or Windows Latin 1); -Encoding= changes nothing.
    ASSERT_EQ(Set("-SetIPTC JPEGComment -Encoding=UTF8", plain, out + "m", "caf\xC3\xA9"), "0");
    EXPECT_NE(Bytes(out + "m").find("caf\x8E"), std::string::npos);
    ASSERT_EQ(Set("-SetIPTC JPEGComment -WinCharset -MacCharset", plain, out + "w", "caf\xC3\xA9"), "0");
    EXPECT_NE(Bytes(out + "w").find("caf\xE9"), std::string::npos);
}

TEST_F(SetMetaData, NothingIsOverwrittenAndInPlaceKeepsTheFile) {
    const std::string source = Write(kSOI + kFrame + kEOI);
    const std::string before = Bytes(source);
    EXPECT_EQ(Set("", source, dir + "/new.jpg", kTwoItems), "$$-50");  // no -SetIPTC
    EXPECT_FALSE(fs::exists(dir + "/new.jpg"));
    EXPECT_EQ(Set("-SetIPTC", "", dir + "/new.jpg", kTwoItems), "$$-50");
    const std::string taken = Write("taken");
    EXPECT_EQ(Set("-SetIPTC", source, taken, kTwoItems), "$$-48");
    EXPECT_EQ(Bytes(taken), "taken");
    EXPECT_EQ(Set("-SetIPTC", Write("\xFF\xD9 not a jpeg"), dir + "/bad.jpg", kTwoItems), "$$-71");
    EXPECT_FALSE(fs::exists(dir + "/bad.jpg"));
    EXPECT_EQ(Set("-SetIPTC", Write(kSOI + "\xFF\xDA"), dir + "/sos.jpg", kTwoItems), "$$-4247");
    EXPECT_FALSE(fs::exists(dir + "/sos.jpg"));

    // In place: same permissions, extended attributes kept, no temporary file left.
    fs::permissions(source, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    ASSERT_EQ(setxattr(source.c_str(), "user.com.apple.ResourceFork", "rsrc", 4, 0), 0);
    const size_t items = size_t(std::distance(fs::directory_iterator(dir), fs::directory_iterator()));
    ASSERT_EQ(Set("-SetIPTC", source, source, kTwoItems), "0");
    EXPECT_EQ(Call("ZbFile_MetaData", {"GetIPTC", source}), std::string("\r##IPTC 0\r\0\x04\r##END 0", 20) + kTwoItems);
    EXPECT_EQ(fs::status(source).permissions(), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    char value[8] = {};
    EXPECT_EQ(getxattr(source.c_str(), "user.com.apple.ResourceFork", value, sizeof value), 4);
    EXPECT_EQ(size_t(std::distance(fs::directory_iterator(dir), fs::directory_iterator())), items);
    EXPECT_NE(Bytes(source), before);
    // A new destination carries the resource fork too.
    ASSERT_EQ(Set("-SetIPTC", source, dir + "/copy.jpg", ""), "0");
    EXPECT_EQ(getxattr((dir + "/copy.jpg").c_str(), "user.com.apple.ResourceFork", value, sizeof value), 4);
    // In place through a symbolic link: the file changes, the link stays.
    fs::create_symlink(source, dir + "/link.jpg");
    ASSERT_EQ(Set("-SetIPTC JPEGComment", dir + "/link.jpg", "", "through the link"), "0");
    EXPECT_TRUE(fs::is_symlink(dir + "/link.jpg"));
    EXPECT_NE(Bytes(source).find("through the link"), std::string::npos);
}

// What SetMetaData writes into camera files is read back by exiftool and exiv2, which still read
// the image.
TEST_F(SetMetaData, ExiftoolAndExiv2ReadWhatIsWritten) {
    const fs::path sample = kGoexif / "sample1.jpg";
    if (!fs::exists(sample) || std::system("command -v exiftool >/dev/null && command -v exiv2 >/dev/null") != 0)
        GTEST_SKIP() << "needs golang-github-rwcarlsen-goexif-dev, exiftool and exiv2 (scripts/test.sh installs them)";
    const std::string file = dir + "/photo.jpg";
    fs::copy_file(sample, file);
    ASSERT_EQ(Set("-SetIPTC", file, "", "\r##IPTC 5\rHarbour\r##END 5\r##IPTC 25\rboats\r##END 25\r##IPTC 25\rsea\r##END 25"),
              "0");
    ASSERT_EQ(Set("-SetIPTC JPEGComment", file, "", "Taken at dawn"), "0");
    EXPECT_EQ(Output("exiftool -q -q -s3 -IPTC:ObjectName -IPTC:Keywords -Comment -ImageWidth '" + file + "'"),
              "Harbour\nboats, sea\nTaken at dawn\n500\n");
    const std::string exiv2 = Output("exiv2 -q -pi '" + file + "'") + Output("exiv2 -q -pc '" + file + "'");
    EXPECT_NE(exiv2.find("Iptc.Application2.ObjectName                 String      7  Harbour"), std::string::npos) << exiv2;
    EXPECT_NE(exiv2.find("Taken at dawn"), std::string::npos) << exiv2;
    EXPECT_EQ(exiv2.find("<failed>"), std::string::npos) << exiv2;
    EXPECT_EQ(Output("exiv2 -q -pt '" + file + "' | grep -c Exif.Image.Make"), "1\n");  // EXIF untouched
}

// In place and to a new destination, once for every system call made with that one failing: the
// answer is an error and the source is as it was with nothing else left, or the call went through.
TEST_F(SetMetaData, AFailedSystemCallLeavesTheSourceAsItWas) {
    const std::string original = kSOI + PhotoshopSegment(0x0404, Dataset(2, 5, "Old")) + kFrame + kEOI;
    const std::string f = dir + "/f.jpg", g = dir + "/g.jpg";
    const std::string link = dir + "/l.jpg";
    for (const int way : {0, 1, 2}) {  // in place, to a destination, in place through a link
        const bool inPlace = way != 1, viaLink = way == 2;
        SCOPED_TRACE(std::string(inPlace ? "in place" : "to a destination") + (viaLink ? " through a link" : ""));
        zerbtest::SweepFailingCalls(
            {EIO, ENOSPC},
            [&] {
                fs::remove_all(dir);
                fs::create_directories(dir);
                std::ofstream(f, std::ios::binary) << original;
                if (viaLink) fs::create_symlink("f.jpg", link);
            },
            [&] { return zerbtest::CallHandler(ZbFile7_DoSetMetaData, {"-SetIPTC", viaLink ? link : f, inPlace ? "" : g, kTwoItems}, 4287); },
            [&](const std::string &answer, bool reached) {
                const size_t items = size_t(std::distance(fs::directory_iterator(dir), fs::directory_iterator()));
                if (viaLink) {
                    EXPECT_TRUE(fs::is_symlink(link));
                }
                if (answer == "0") {
                    EXPECT_NE(Call("ZbFile_MetaData", {"GetIPTC", inPlace ? f : g}).find("Caption"), std::string::npos);
                } else {
                    EXPECT_EQ(answer.substr(0, 3), "$$-");
                    EXPECT_EQ(Bytes(f), original);
                    EXPECT_EQ(items, viaLink ? 2u : 1u);
                }
                if (!reached) {
                    EXPECT_EQ(answer, "0");
                }
            });
    }
}
