// The comment's property list: the exact bytes macOS writes, round trips at the length steps of
// the format, malformed lists refused, and both directions against an independent implementation
// (Python's plistlib).
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "files/binary_plist.h"
#include "tests/process_util.h"

namespace fs = std::filesystem;

namespace {

std::string Read(const std::string &list) {
    std::string text;
    return ZbStringOfBinaryPlist(list, text) ? text : "<refused>";
}

std::string Trailer(char offsetSize, uint64_t tableOffset) {
    std::string t(6, '\0');
    t += offsetSize;
    t += '\1';
    t += std::string("\0\0\0\0\0\0\0\1", 8) + std::string(8, '\0');
    for (int k = 7; k >= 0; --k) t += char(tableOffset >> (8 * k));
    return t;
}

const std::vector<std::string> kTexts = {
    "", "Note", std::string(14, 'a'), std::string(15, 'b'), std::string(16, 'c'), std::string(300, 'd'),
    std::string(70000, 'e'), "Grüße\rzweite Zeile", "日本語のコメント", "folder \xF0\x9F\x93\x81 emoji",
    "\xC3\xA9" + std::string(20, 'x')};

// Runs a Python program and answers what it printed, or nothing when Python is not there.
bool RunPython(const std::string &program, std::string &output) {
    if (std::system("python3 -c 'import plistlib' >/dev/null 2>&1") != 0) return false;
    const std::string dir = (fs::temp_directory_path() / ("zerb-plist-" + std::to_string(getpid()))).string();
    std::ofstream(dir + ".py") << program;
    bool ok;
    output = zerbtest::RunForOutput("python3 '" + dir + ".py'", ok);
    fs::remove(dir + ".py");
    return ok;
}

std::string Hex(const std::string &bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (const unsigned char c : bytes) out += std::string{digits[c >> 4], digits[c & 15]};
    return out;
}

}  // namespace

TEST(Plist, WritesTheBytesMacOSWrites) {
    // "Note": header, ASCII string of 4, offset table (8), trailer.
    EXPECT_EQ(ZbBinaryPlistOfString("Note"), "bplist00" + std::string("\x54Note\x08", 6) + Trailer(1, 13));
    // "é": a UTF-16 string of one unit.
    EXPECT_EQ(ZbBinaryPlistOfString("\xC3\xA9"), "bplist00" + std::string("\x61\x00\xE9\x08", 4) + Trailer(1, 11));
    // 15 characters take the long count form.
    EXPECT_EQ(ZbBinaryPlistOfString(std::string(15, 'a')).substr(8, 3), "\x5F\x10\x0F");
    // Bytes that are not UTF-8 stand for U+FFFD.
    EXPECT_EQ(Read(ZbBinaryPlistOfString("a\xFF" "b")), "a\xEF\xBF\xBD" "b");
}

TEST(Plist, EveryLengthAndAlphabetRoundTrips) {
    for (const std::string &text : kTexts) EXPECT_EQ(Read(ZbBinaryPlistOfString(text)), text) << text.substr(0, 20);
}

TEST(Plist, PlainTextIsTakenAsItIsAndMalformedListsAreRefused) {
    EXPECT_EQ(Read("just text"), "just text");
    const std::string good = ZbBinaryPlistOfString("Hello world, a comment");
    for (size_t cut = 6; cut < good.size(); ++cut) EXPECT_EQ(Read(good.substr(0, cut)), "<refused>") << cut;
    std::string badTable = good;
    badTable[badTable.size() - 1] = char(0xF0);  // the table past the end
    EXPECT_EQ(Read(badTable), "<refused>");
    std::string hugeCount = good;
    hugeCount[8] = char(0x5F);
    hugeCount.replace(9, 9, std::string("\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 9));  // a count of 2^63
    EXPECT_EQ(Read(hugeCount), "<refused>");
    std::string notString = good;
    notString[8] = char(0x10);  // an integer object
    EXPECT_EQ(Read(notString), "<refused>");
    // An unpaired surrogate reads as U+FFFD.
    EXPECT_EQ(Read("bplist00" + std::string("\x61\xD8\x00\x08", 4) + Trailer(1, 11)), "\xEF\xBF\xBD");
}

TEST(Plist, PythonsPlistlibReadsWhatWeWriteAndWeReadWhatItWrites) {
    std::string program = "import plistlib, sys\nok = True\n";
    for (const std::string &text : kTexts)
        program += "ok &= plistlib.loads(bytes.fromhex('" + Hex(ZbBinaryPlistOfString(text)) +
                   "')) == bytes.fromhex('" + Hex(text) + "').decode('utf-8')\n";
    program += "print('ok' if ok else 'differs')\n";
    for (const std::string &text : kTexts)
        program += "print(plistlib.dumps(bytes.fromhex('" + Hex(text) +
                   "').decode('utf-8'), fmt=plistlib.FMT_BINARY).hex())\n";
    std::string output;
    if (!RunPython(program, output)) GTEST_SKIP() << "python3 with plistlib is not installed";
    std::istringstream lines(output);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "ok");
    for (const std::string &text : kTexts) {
        ASSERT_TRUE(std::getline(lines, line));
        std::string bytes;
        for (size_t k = 0; k + 1 < line.size(); k += 2) bytes += char(std::stoi(line.substr(k, 2), nullptr, 16));
        EXPECT_EQ(Read(bytes), text) << text.substr(0, 20);
        EXPECT_EQ(bytes, ZbBinaryPlistOfString(text)) << text.substr(0, 20);  // byte for byte the same
    }
}
