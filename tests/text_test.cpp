// Encodings, character sets, UTF-8 and line ends, on the plug-in's routines linked into the test;
// the text functions through the loaded plug-in.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "tests/plugin_harness.h"
#include "text/charsets.h"
#include "text/encoding.h"
#include "text/line_ends.h"

namespace {

fmx::TextUniquePtr Units(const std::u16string &s) {
    fmx::TextUniquePtr t;
    XP7_UnitsToTxt(s, t);
    return t;
}

std::u16string UnitsOf(const fmx::TextUniquePtr &t) { return XP7_TxtToUnits(*t); }

std::u16string Bytes(std::initializer_list<int> bytes) {
    std::u16string s;
    for (int b : bytes) s.push_back(char16_t(b));
    return s;
}

// The literal line-end algorithm: find, then insert or delete, one line end at a time.
std::u16string LineEndsOracle(std::u16string s, short mode) {
    if (mode == kZbLineEndsToHost) return LineEndsOracle(LineEndsOracle(s, kZbLineEndsCRLFtoCR), kZbLineEndsLFtoCR);
    const std::u16string search = mode == kZbLineEndsCRLFtoCR ? u"\r\n" : mode == kZbLineEndsLFtoCR ? u"\n" : u"\r";
    size_t pos = 0;
    while (pos + search.size() <= s.size()) {
        const size_t p = s.find(search, pos);
        if (p == std::u16string::npos) break;
        if (mode == kZbLineEndsCRLFtoCR)
            s.erase(p + 1, 1);
        else if (mode == kZbLineEndsLFtoCR)
            s[p] = u'\r';
        else
            s.insert(s.begin() + std::ptrdiff_t(p) + 1, u'\n');
        pos = p + 1;
    }
    return s;
}

}  // namespace

TEST(EncodingSwitch, TableOrderDecides) {
    using E = fmx::Text;
    EXPECT_EQ(XP7_GetEncodingSwitch("-Encoding=ISO_8859_15", E::kEncoding_Native), E::kEncoding_ISO_8859_1);
    EXPECT_EQ(XP7_GetEncodingSwitch("-Encoding=UTF8 -Encoding=Native", E::kEncoding_UTF8), E::kEncoding_Native);
    EXPECT_EQ(XP7_GetEncodingSwitch("-encoding=hebrew_win", E::kEncoding_Native), E::kEncoding_Hebrew_Win);
    EXPECT_EQ(XP7_GetEncodingSwitch("-Encoding=Klingon", E::kEncoding_UTF8), E::kEncoding_UTF8);
    EXPECT_EQ(XP7_GetEncodingSwitch("-ReturnAtEnd", E::kEncoding_Native), E::kEncoding_Native);
    EXPECT_EQ(XP7_GetEncodingSwitch("", E::kEncoding_UTF8), E::kEncoding_UTF8);
    EXPECT_TRUE(XP7_IsOneCharIsOneByteEncoding(kZbEncodingBytesOnly));
    EXPECT_TRUE(XP7_IsOneCharIsOneByteEncoding(E::kEncoding_ASCII_DOS));
    EXPECT_FALSE(XP7_IsOneCharIsOneByteEncoding(E::kEncoding_ISO_8859_1));
    EXPECT_FALSE(XP7_IsOneCharIsOneByteEncoding(E::kEncoding_Native));
}

TEST(TextToBytes, BytesOnlyAndHostEncodings) {
    auto t = Units(u"0123456789");
    char buf[16];
    std::memset(buf, 'x', sizeof buf);
    XP7_TxtToCStr(t, 0, 0xFFFFFFFF, 4, buf, kZbEncodingBytesOnly);
    EXPECT_EQ(std::string(buf, 5), std::string("0123\0", 5));
    XP7_TxtToCStr(t, 8, 5, 10, buf, kZbEncodingBytesOnly);  // a range past the end runs to the end
    EXPECT_STREQ(buf, "89");
    XP7_TxtToCStr(t, 2, 3, 10, buf, fmx::Text::kEncoding_UTF8);
    EXPECT_STREQ(buf, "234");

    auto e = Units(std::u16string(u"\u00E9\u20AC\0z", 4));
    unsigned char block[8];
    unsigned long len = 0;
    ZbTextEncoding bytesOnly = kZbEncodingBytesOnly;
    XP7_TxtToBlock(e, bytesOnly, sizeof block, block, &len);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(block), len), std::string("\xE9?\0z", 4));
    EXPECT_EQ(XP7_GetOneByte(e, 4, 1), '?');
    EXPECT_EQ(XP7_GetOneByte(e, 4, 9), '?');
    EXPECT_EQ(XP7_GetOneByte(e, 4, 0), 0xE9);
}

TEST(TextToBytes, AppendingBytesAndSimpleCopies) {
    fmx::TextUniquePtr t;
    XP7_AppendCharToTxt(char(0xBD), t, fmx::Text::kEncoding_ASCII_Mac);
    XP7_AppendCharToTxt(char(0xF0), t, fmx::Text::kEncoding_ASCII_Mac);
    XP7_AppendCharToTxt(char(0xE9), t, fmx::Text::kEncoding_ISO_8859_1);
    XP7_AppendCharToTxt(0, t, fmx::Text::kEncoding_UTF8);
    EXPECT_EQ(UnitsOf(t), std::u16string(u"\u03A9\uF8FF\u00E9\0", 4));
    EXPECT_EQ(XP7_AppendBlockToTxt("\xFF", 1, t, fmx::Text::kEncoding_UTF8, 0), 0);  // decodes to U+FFFD
    XP7_BlockToTxt("a\0b", 3, t, kZbEncodingBytesOnly, 0);
    EXPECT_EQ(UnitsOf(t), std::u16string(u"a\0b", 3));

    char out[4];
    const unsigned short uni[] = {u'a', 0xE9, u'b', u'c', 0};
    XP7_UniStrToCStrSimple(uni, out, sizeof out);
    EXPECT_STREQ(out, "a*b");
    unsigned short back[8];
    EXPECT_EQ(XP7_CStrToUniStrSimple("x\xE9", back, 8), 4);
    EXPECT_EQ(back[1], u'*');
    EXPECT_TRUE(XP7_HasOnlyLowerASCIIinTxt(Units(u"plain")));
    EXPECT_FALSE(XP7_HasOnlyLowerASCIIinTxt(Units(u"caf\u00E9")));
}

TEST(Charsets, MacWindowsTablesAreInversePermutations) {
    for (short table : {1, 2}) {
        char all[257];
        for (int b = 1; b < 256; ++b) all[b - 1] = char(b);
        all[255] = 0;
        std::string mac(all, 255);
        XP_MacToWinStr(all, table);
        std::string seen(all, 255);
        std::sort(seen.begin(), seen.end());
        std::string sorted = mac;
        std::sort(sorted.begin(), sorted.end());
        EXPECT_EQ(seen, sorted) << "not a permutation, table " << table;
        XP_WinToMacStr(all, table);
        EXPECT_EQ(std::string(all, 255), mac) << table;
        for (int b = 0; b < 128; ++b) EXPECT_EQ(XP7_WinToMacChars[XP7_macToWinChars[b] - 0x80], 0x80 + b);
    }
    char euro[] = "\xDB\xAD\xBD\xE9";
    XP_MacToWinStr(euro, 2);
    EXPECT_EQ(std::string(euro), "\x80\xA4\x9D\xC8");
    char plain[] = "\xDB\xAD";
    XP_MacToWinStr(plain, 1);
    EXPECT_EQ(std::string(plain), "\xA4\x80");
    char withZero[] = {'\xDB', 0, '\xBD'};
    XP_MacToWinStrN(withZero, 3, 2);
    EXPECT_EQ(std::string(withZero, 3), std::string("\x80\0\x9D", 3));
}

TEST(Charsets, MacRomanAndUnicode) {
    EXPECT_EQ(XP7_FMP6MacAsciiToUni(0xDB), 0x20ACu);
    EXPECT_EQ(XP7_FMP6MacAsciiToUni(0xF0), 0xF8FFu);
    EXPECT_EQ(XP7_FMP6MacAsciiToUni(0x41), 0x41u);
    EXPECT_EQ(XP7_FMP6MacAsciiToUni(256), 0xFFFFFFFFu);
    for (unsigned b = 0; b < 256; ++b) EXPECT_EQ(XP7_UniToFMP6MacAscii(XP7_FMP6MacAsciiToUni(b), 0), b);
    EXPECT_EQ(XP7_UniToFMP6MacAscii(0x2126, 0), 0xFFFFFFFFu);
    EXPECT_EQ(XP7_UniToFMP6MacAscii(0x2126, 1), 0xBDu);
    EXPECT_EQ(XP7_UniToFMP6MacAscii(0x4E2D, 1), 0xFFFFFFFFu);

    auto t = Units(u"a\\0\\\\\\x\u2126");
    std::vector<unsigned long> got;
    const unsigned long size = t->GetSize();
    for (unsigned long pos = 0; pos < size; ++pos) got.push_back(XP7_TxtCharToAscii(t, 1, size, &pos, 20));
    EXPECT_EQ(got, (std::vector<unsigned long>{'a', 0, '\\', '\\', 'x', 0xBD}));
}

TEST(Charsets, SurrogatesReadAndWrite) {
    auto t = Units(u"\xD83D\xDE00|\xD83D" u"A|\xDE00|\xD83D");
    const unsigned long size = t->GetSize();
    std::vector<unsigned long> got;
    for (unsigned long pos = 0; pos < size; ++pos) got.push_back(XP7_Get1UTF32Char(t, size, &pos));
    EXPECT_EQ(got, (std::vector<unsigned long>{0x1F600, '|', '~', '|', '~', '|', 0xD83D}));

    unsigned short out[3];
    EXPECT_EQ(XP7_UTF32CharToUniStr(0x1F600, out), 2);
    EXPECT_EQ(out[0], 0xD83D);
    EXPECT_EQ(out[1], 0xDE00);
    EXPECT_EQ(out[2], 0);
    XP7_UTF32CharToUniStr(0xDC00, out);
    EXPECT_EQ(out[0], 0xFFFD);  // a low surrogate value is replaced...
    XP7_UTF32CharToUniStr(0xD800, out);
    EXPECT_EQ(out[0], 0xD800);  // ...a high one passes
    XP7_UTF32CharToUniStr(0x110000, out);
    EXPECT_EQ(out[0], 0xFFFD);
}

TEST(Utf8, LenientDecoderOffsetsAndTruncation) {
    auto decode = [](std::initializer_list<int> bytes) {
        fmx::TextUniquePtr dst;
        XP7_UTF8TxtToTxt(Units(Bytes(bytes)), dst);
        return UnitsOf(dst);
    };
    EXPECT_EQ(decode({0xC3, 0xA9}), u"\u00E9");
    EXPECT_EQ(decode({0xE2, 0x82}), u"");               // incomplete: dropped
    EXPECT_EQ(decode({0x41, 0xE2, 0x82}), u"A");
    EXPECT_EQ(decode({0xC3, 0x41}), u"\u0081");         // no continuation check
    EXPECT_EQ(decode({0xE2, 0x82, 0xAC}), u"\u20AC");
    EXPECT_EQ(decode({0xF0, 0x9F, 0x98, 0x80}), u"\xD83D\xDE00");
    EXPECT_EQ(decode({0xED, 0xA0, 0x80}), u"\uFFFD");   // an encoded surrogate
    EXPECT_EQ(decode({0xF4, 0x90, 0x80, 0x80}), u"\uFFFD");  // past U+10FFFF
    EXPECT_EQ(decode({0xF8, 0x88, 0x80, 0x80, 0x80}), u"\uFFFD");
    EXPECT_EQ(decode({0xFC, 0x84, 0x80, 0x80, 0x80, 0x80}), u"\uFFFD");
    EXPECT_EQ(decode({0x80, 0xBF}), u"\u0080\u00BF");   // stray continuation bytes pass as themselves
    EXPECT_EQ(decode({0x61, 0x00, 0x62}), std::u16string(u"a\0b", 3));

    fmx::TextUniquePtr bytes, back;
    const std::u16string text = u"a\u00E9\u20AC\xD83D\xDE00z";
    XP7_TxtToUTF8Txt(Units(text), bytes);
    EXPECT_EQ(UnitsOf(bytes), Bytes({'a', 0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0xF0, 0x9F, 0x98, 0x80, 'z'}));
    XP7_UTF8TxtToTxt(bytes, back);
    EXPECT_EQ(UnitsOf(back), text);
    XP7_TxtToUTF8Txt(Units(u"\xDE00"), bytes);  // a lone surrogate is "~"
    EXPECT_EQ(UnitsOf(bytes), u"~");
}

// Long runs of ASCII (read sixteen bytes at a time) between sequences of every length, and a
// sequence cut by the end: the whole decodes as its pieces do one by one.
TEST(Utf8, RunsOfAsciiBetweenSequences) {
    const std::vector<std::pair<std::string, std::u16string>> pieces = {
        {"\xC3\xA9", u"\u00E9"},          {"\xE2\x82\xAC", u"\u20AC"},
        {"\xF0\x9F\x98\x80", u"\xD83D\xDE00"}, {"\xED\xA0\x80", u"\uFFFD"},
        {"\x80", u"\u0080"},               {std::string("\0", 1), std::u16string(1, u'\0')}};
    std::mt19937 random(5);
    for (int round = 0; round < 300; ++round) {
        std::string bytes;
        std::u16string expected;
        for (int k = std::uniform_int_distribution<int>(0, 12)(random); k > 0; --k) {
            for (int run = std::uniform_int_distribution<int>(0, 40)(random); run > 0; --run) {
                const char c = char(std::uniform_int_distribution<int>(1, 127)(random));
                bytes += c;
                expected += char16_t(c);
            }
            const auto &piece = pieces[std::uniform_int_distribution<size_t>(0, pieces.size() - 1)(random)];
            bytes += piece.first;
            expected += piece.second;
        }
        bytes += "\xE2\x82";  // cut by the end: dropped
        std::u16string decoded = u"kept";
        ZbUTF8BytesToUnits(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size(), decoded);
        ASSERT_EQ(decoded, u"kept" + expected) << "round " << round;
    }
}

TEST(Utf8, MacRomanCStrings) {
    char s[32] = "caf\xC3\xA9 \xE2\x82\xAC \xE4\xB8\xAD";
    EXPECT_EQ(ZbMoreX_UTF8StrToMacRomanCStr(s, 31), 0);
    EXPECT_STREQ(s, "caf\x8E \xDB ^");
    EXPECT_EQ(ZbMoreX_MacRomanToUTF8CStr(s, sizeof s), 0);
    EXPECT_STREQ(s, "caf\xC3\xA9 \xE2\x82\xAC ^");
    char notUtf8[] = "a\xE9z";
    EXPECT_EQ(ZbMoreX_UTF8StrToMacRomanCStr(notUtf8, 10), 0);
    EXPECT_STREQ(notUtf8, "a\xE9z");
    char tight[5] = "\x8E\x8E";
    (void)ZbMoreX_MacRomanToUTF8CStr(tight, sizeof tight);  // room for two 2-byte characters only
    EXPECT_STREQ(tight, "\xC3\xA9\xC3\xA9");
    char cut[] = "\xC3\xA9\xC3\xA9\xC3\xA9";
    (void)ZbMoreX_UTF8StrToMacRomanCStr(cut, 2);
    EXPECT_STREQ(cut, "\x8E\x8E");
}

TEST(LineEnds, EveryModeAgainstTheLiteralAlgorithm) {
    auto convert = [](const std::u16string &s, short mode) {
        auto t = Units(s);
        XP7_ChangeLineEndsTxt(t, mode);
        return UnitsOf(t);
    };
    EXPECT_EQ(convert(u"a\rb", 1), u"a\r\nb");
    EXPECT_EQ(convert(u"a\r\nb", 1), u"a\r\n\nb");
    EXPECT_EQ(convert(u"a\r\nb\nc\rd", 9), u"a\rb\rc\rd");
    EXPECT_EQ(convert(u"a\r", 2), u"a\r");
    EXPECT_EQ(convert(u"a\r\n\n", 2), u"a\r\n");
    EXPECT_EQ(convert(u"\n\n", 3), u"\r\r");
    EXPECT_EQ(convert(u"a\rb", 7), u"a\r\nb");  // unknown modes work as mode 1
    for (short mode : {1, 2, 3, 9}) EXPECT_EQ(convert(u"", mode), u"");

    std::mt19937 rng(42);
    const char16_t alphabet[] = {u'a', u'\r', u'\n', u'\r', u'\n', u'b'};
    for (int round = 0; round < 300; ++round) {
        std::u16string s(rng() % 40, u' ');
        for (auto &c : s) c = alphabet[rng() % 6];
        for (short mode : {1, 2, 3, 9}) EXPECT_EQ(convert(s, mode), LineEndsOracle(s, mode)) << mode;
    }
}

TEST(LineEnds, ByteBuffers) {
    char buf[] = "a\r\nb\r\r\n\r";
    long len = long(std::strlen(buf));
    XP_CRLFToCR(buf, &len);
    EXPECT_EQ(std::string(buf, size_t(len)), "a\rb\r\r\r");
    len = -3;
    XP_CRLFToCR(buf, &len);
    EXPECT_EQ(len, 0);

    char dst[8];
    len = 3;
    XP_CRToCRLF("a\rb", dst, &len, 3);
    EXPECT_EQ(std::string(dst, size_t(len)), "a\r\n");
    len = 3;
    XP_CRToCRLF("ab\r", dst, &len, 3);
    EXPECT_EQ(std::string(dst, size_t(len)), "ab\r");  // no room for the LF
    len = 2;
    XP_CRToCRLF("\r\r", dst, &len, 8);
    EXPECT_EQ(std::string(dst, size_t(len)), "\r\n\r\n");
}

using zerbtest::PluginTest;

TEST_F(PluginTest, AsciiValueToTextAndTheConvertPair) {
    EXPECT_EQ(Call("ZbFile_AsciiValueToText", {"", "65"}), "<call status 1>");
    EXPECT_EQ(Call("ZbFile_Version", {"-RegisterAsciiValueToTextFunction"}), "0");
    EXPECT_EQ(Call("ZbFile_AsciiValueToText", {"", "72 101 108 108 111"}), "Hello");
    EXPECT_EQ(Call("ZbFile_AsciiValueToText", {"", "65|66 67"}), "ABC");
    EXPECT_EQ(Call("ZbFile_AsciiValueToText", {"", "65,66|67", ","}), "ABC");
    EXPECT_EQ(Call("ZbFile_AsciiValueToText", {"", "65 x 66  67", "X"}), "AB");  // pieces "65 " and " 66  67"
    EXPECT_EQ(Call("ZbFile_AsciiValueToText", {"", " 0x41 256 -1 010 ||"}), "A\b");
    EXPECT_EQ(Call("ZbFile_AsciiValueToText", {"", "233"}), "\u00E9");
    EXPECT_EQ(Call("ZbFile_AsciiValueToText", {"-Encoding=ASCII_Mac", "233 189 240"}), "\u00C8\u03A9\uF8FF");
    EXPECT_EQ(Call("ZbFile_AsciiValueToText", {"", ""}), "");
    // Long lists, with and without the separator or "|": each is read once, not once a value.
    for (const auto &[joint, separator] : {std::pair{" ", " "}, {"|", " "}, {"x", "X"}}) {
        std::string list;
        for (int k = 0; k < 100000; ++k) list += (k ? joint : "") + std::string("65");
        const auto started = std::chrono::steady_clock::now();
        EXPECT_EQ(Call("ZbFile_AsciiValueToText", {"", list, separator}).size(), 100000u) << joint;
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5)) << joint;
    }
    EXPECT_EQ(Call("ZbFile_ConvertToFMText", {"-Encoding=ASCII_Mac", "caf\u00E9 \u20AC"}), "caf\u00E9 \u20AC");
    EXPECT_EQ(Call("ZbFile_ConvertFromFMText", {"", "line\rtwo"}), "line\rtwo");
}
