// The emulator's Text, its encodings, and the small QuadChar object.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "FMWrapper/FMXText.h"
#include "FMWrapper/FMXTextStyle.h"
#include "FMWrapper/FMXTypes.h"
#include "host/objects.h"

namespace {

using Enc = fmx::Text::Encoding;
constexpr fmx::uint32 kEnd = fmx::Text::kSize_End;
constexpr fmx::uint32 kNotFound = 0xFFFFFFFF;

std::u16string Units(const fmx::Text &t) {
    std::u16string s(t.GetSize(), u'\0');
    t.GetUnicode(reinterpret_cast<fmx::uint16 *>(s.data()), 0, fmx::uint32(s.size()));
    return s;
}

void SetUnits(fmx::Text &t, const std::u16string &s) {
    t.AssignUnicodeWithLength(reinterpret_cast<const fmx::uint16 *>(s.data()), fmx::uint32(s.size()));
}

std::string Bytes(const fmx::Text &t, Enc enc, fmx::uint32 position = 0, fmx::uint32 size = kEnd) {
    std::string buf(t.GetSize() * 4 + 8, '\0');
    buf.resize(t.GetBytesEx(buf.data(), fmx::uint32(buf.size()), position, size, enc));
    return buf;
}

std::u16string Decode(const std::string &bytes, Enc enc) {
    fmx::TextUniquePtr t;
    t->AssignWithLength(bytes.data(), fmx::uint32(bytes.size()), enc);
    return Units(*t);
}

fmx::TextUniquePtr Utf8Text(const char *s) {
    fmx::TextUniquePtr t;
    t->Assign(s, fmx::Text::kEncoding_UTF8);
    return t;
}

// ---- Encodings ----

constexpr int kOneByteSets[] = {0,  2,  3,  4,  5,  15, 16, 17, 18, 19, 20, 21, 22, 23,
                                24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36};

TEST(HostEncodings, OneByteSetsRoundTripTheirRepertoire) {
    for (int e : kOneByteSets) {
        SCOPED_TRACE("encoding " + std::to_string(e));
        Enc enc = Enc(e);
        std::string all;
        std::u16string decoded;
        for (int b = 0x20; b <= 0xFF; ++b) {
            const std::u16string one = Decode(std::string(1, char(b)), enc);
            if (one.size() != 1) {
                // A byte that stands for a sequence (three of Mac Hebrew's) comes back from it.
                fmx::TextUniquePtr t;
                SetUnits(*t, one);
                EXPECT_EQ(Bytes(*t, enc), std::string(1, char(b)));
                continue;
            }
            all.push_back(char(b));
            decoded += one;
        }
        EXPECT_EQ(Decode(all, enc), decoded);
        // Keep the bytes that stand for a character; a character two bytes share encodes to the first.
        std::string kept, expected;
        std::map<char16_t, char> first;
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (decoded[i] == 0xFFFD) continue;
            kept.push_back(all[i]);
            first.emplace(decoded[i], all[i]);
            expected.push_back(first[decoded[i]]);
        }
        EXPECT_GT(kept.size(), 90u);
        fmx::TextUniquePtr t;
        t->AssignWithLength(kept.data(), fmx::uint32(kept.size()), enc);
        EXPECT_EQ(Bytes(*t, enc), expected);
    }
}

TEST(HostEncodings, OneByteSetsAreTheRightCharacterSets) {
    struct Probe {
        int enc;
        unsigned char byte;
        char16_t ch;
    } probes[] = {
        {0, 0xA5, u'\u2022'},  {2, 0x80, u'\u00C7'},  {3, 0x80, u'\u20AC'},  {4, 0xDB, u'\u20AC'},
        {5, 0xA4, u'\u00A4'},  {15, 0x80, u'\u0410'}, {16, 0xC0, u'\u0410'}, {17, 0xB0, u'\u0410'},
        {18, 0x81, u'\u0100'}, {19, 0x8A, u'\u0160'}, {20, 0xA9, u'\u0160'}, {21, 0xDA, u'\u011E'},
        {22, 0xD0, u'\u011E'}, {23, 0xA1, u'\u0126'}, {24, 0xDD, u'\u0130'}, {25, 0xC0, u'\u0104'},
        {26, 0xA1, u'\u0104'}, {27, 0xC7, u'\u0627'}, {28, 0xC7, u'\u0627'}, {29, 0xC7, u'\u0627'},
        {30, 0xE1, u'\u03B1'}, {31, 0xE1, u'\u03B1'}, {32, 0xE1, u'\u03B1'}, {33, 0xE0, u'\u05D0'},
        {34, 0xE0, u'\u05D0'}, {35, 0xE0, u'\u05D0'}, {36, 0xA4, u'\u20AC'},
    };
    for (const Probe &p : probes) {
        SCOPED_TRACE("encoding " + std::to_string(p.enc));
        EXPECT_EQ(Decode(std::string(1, char(p.byte)), Enc(p.enc)), std::u16string(1, p.ch));
    }
    // Hebrew as Windows and Apple define it: one character a byte on Windows, letters never
    // composed with their marks; Apple's bytes that stand for sequences, both ways.
    EXPECT_EQ(Decode("\xE0\xC8", Enc(34)), u"\u05D0\u05B8");
    EXPECT_EQ(Decode("\x81\xC0\xDE", Enc(33)), u"\u05F2\u05B7\uF86A\u05DC\u05B9\u05B8\uF87F");
    fmx::TextUniquePtr hebrew;
    SetUnits(*hebrew, u"\u05D0\u05F2\u05B7x\uF86A\u05DC\u05B9\u05B8\uF87F\u05B8");
    EXPECT_EQ(Bytes(*hebrew, Enc(33)), "\xE0\x81x\xC0\xDE\xCB");
    SetUnits(*hebrew, u"\u05D0\u05B8\uFB2F");
    EXPECT_EQ(Bytes(*hebrew, Enc(34)), "\xE0\xC8?");
    // Mac Arabic and Hebrew: ASCII stays ASCII although the sets repeat it in the upper half.
    EXPECT_EQ(Bytes(*Utf8Text("(1)"), Enc(27)), "(1)");
    EXPECT_EQ(Bytes(*Utf8Text("(1)"), Enc(33)), "(1)");
}

TEST(HostEncodings, MultiByteSetsRoundTrip) {
    struct Case {
        int enc;
        const char *utf8;
        std::string bytes;
    } cases[] = {
        {6, "日本語", "\x93\xFA\x96\x7B\x8C\xEA"},  {7, "日本語", "\x93\xFA\x96\x7B\x8C\xEA"},
        {8, "한국어", "\xC7\xD1\xB1\xB9\xBE\xEE"},  {9, "한국어", "\xC7\xD1\xB1\xB9\xBE\xEE"},
        {10, "한국어", ""},                         {11, "中文", "\xA4\xA4\xA4\xE5"},
        {12, "中文", "\xA4\xA4\xA4\xE5"},           {13, "中文", "\xD6\xD0\xCE\xC4"},
        {14, "中文", "\xD6\xD0\xCE\xC4"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE("encoding " + std::to_string(c.enc));
        auto t = Utf8Text(c.utf8);
        std::string bytes = Bytes(*t, Enc(c.enc));
        if (!c.bytes.empty()) {
            EXPECT_EQ(bytes, c.bytes);
        }
        EXPECT_EQ(bytes.size(), 2 * t->GetSize());
        EXPECT_EQ(Decode(bytes, Enc(c.enc)), Units(*t));
    }
}

TEST(HostEncodings, LongTextsKeepCharactersWhole) {
    // Long enough for the converter to take the input in several pieces; the odd lengths put a
    // surrogate pair and a two-byte sequence across the piece boundaries.
    fmx::TextUniquePtr t;
    std::u16string text = std::u16string(511, u'a') + u"\U0001F600";
    for (int i = 0; i < 1000; ++i) text += u"\u65E5";
    SetUnits(*t, text);
    std::string sjis(511, 'a');
    sjis += '?';
    for (int i = 0; i < 1000; ++i) sjis += "\x93\xFA";
    EXPECT_EQ(Bytes(*t, fmx::Text::kEncoding_ShiftJIS_Win), sjis);
    std::u16string back = text;
    back.replace(511, 2, u"?");
    EXPECT_EQ(Decode(sjis, fmx::Text::kEncoding_ShiftJIS_Win), back);
    EXPECT_EQ(Decode(sjis.substr(511), fmx::Text::kEncoding_ShiftJIS_Win), back.substr(511));
}

TEST(HostEncodings, Utf8) {
    auto t = Utf8Text("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");  // a é € 😀
    EXPECT_EQ(Units(*t), u"a\u00E9\u20AC\U0001F600");
    // Ill-formed input: one U+FFFD per maximal broken piece, and decoding resumes right after it.
    EXPECT_EQ(Decode("\xC0\xAF" "x", Enc(1)), u"\uFFFD\uFFFDx");           // overlong
    EXPECT_EQ(Decode("\xED\xA0\x80", Enc(1)), u"\uFFFD\uFFFD\uFFFD");        // encoded surrogate
    EXPECT_EQ(Decode("\xF4\x90\x80\x80", Enc(1)), u"\uFFFD\uFFFD\uFFFD\uFFFD");  // above U+10FFFF
    EXPECT_EQ(Decode("\xE2\x82x", Enc(1)), u"\uFFFDx");
    EXPECT_EQ(Decode("ab\xF0\x9F\x98", Enc(1)), u"ab\uFFFD");
    // Lone surrogates leave as U+FFFD.
    fmx::TextUniquePtr lone;
    SetUnits(*lone, u"\xD800" "a\xDC00");
    EXPECT_EQ(Bytes(*lone, Enc(1)), "\xEF\xBF\xBD" "a\xEF\xBF\xBD");
}

TEST(HostEncodings, MissingCharactersBecomeQuestionMarks) {
    auto t = Utf8Text("\xE6\x97\xA5\xE2\x82\xAC\xF0\x9F\x98\x80!");  // 日 € 😀 !
    EXPECT_EQ(Bytes(*t, Enc(5)), "??" "?!");
    EXPECT_EQ(Bytes(*t, Enc(4)), "?\xDB?!");
    EXPECT_EQ(Bytes(*t, Enc(3)), "?\x80?!");
    // A character outside the BMP is one '?', not one per UTF-16 unit.
    EXPECT_EQ(Bytes(*Utf8Text("日😀!"), Enc(7)), "\x93\xFA?!");
    fmx::TextUniquePtr lone;
    SetUnits(*lone, u"x\xDC00y\xD800");
    EXPECT_EQ(Bytes(*lone, Enc(3)), "x?y?");
    EXPECT_EQ(Bytes(*lone, Enc(6)), "x?y?");
    EXPECT_EQ(Bytes(*lone, Enc(4)), "x?y?");
}

TEST(HostEncodings, InvalidBytesBecomeReplacementCharacters) {
    EXPECT_EQ(Decode("a\x81z", Enc(3)), u"a\uFFFDz");           // undefined in CP1252
    EXPECT_EQ(Decode("\x81\x20" "b", Enc(6)), u"\uFFFD b");     // bad trail byte in Shift-JIS
    EXPECT_EQ(Decode("A\x93", Enc(6)), u"A\uFFFD");             // lead byte at the end
    EXPECT_EQ(Decode("\xC7", Enc(8)), u"\uFFFD");
    EXPECT_EQ(Decode(std::string("a\0b", 3), Enc(7)), std::u16string(u"a\0b", 3));
}

TEST(HostEncodings, NativeIsMacRomanUnlessChanged) {
    fmx::TextUniquePtr t;
    t->Assign("\xA5\x80");
    EXPECT_EQ(Units(*t), u"\u2022\u00C4");
    zhost::SetNativeEncoding(fmx::Text::kEncoding_ASCII_Windows);
    t->Assign("\x80");
    std::string back = Bytes(*t, fmx::Text::kEncoding_Native);
    zhost::SetNativeEncoding(fmx::Text::kEncoding_Native);
    EXPECT_EQ(Units(*t), u"\u20AC");
    EXPECT_EQ(back, "\x80");
    EXPECT_EQ(zhost::NativeEncoding(), fmx::Text::kEncoding_ASCII_Mac);
}

TEST(HostEncodings, UnknownEncodingReportsAnError) {
    fmx::TextUniquePtr t;
    t->Assign("keep", fmx::Text::kEncoding_UTF8);
    fmx::_fmxcpt x;
    FM_Text_Assign(t.get(), "new", 37, x);
    EXPECT_EQ(x.m_code, 2);
    EXPECT_EQ(Units(*t), u"keep");
    char buf[8] = "zzzzzzz";
    fmx::_fmxcpt y;
    EXPECT_EQ(FM_Text_GetBytesEx(t.get(), buf, sizeof buf, 0, kEnd, -1, y), 0u);
    EXPECT_EQ(y.m_code, 2);
}

TEST(HostEncodings, ConcurrentConversions) {
    auto worker = [](int e, const char *utf8, bool &ok) {
        auto t = Utf8Text(utf8);
        std::u16string want = Units(*t);
        for (int i = 0; i < 300 && ok; ++i) ok = Decode(Bytes(*t, Enc(e)), Enc(e)) == want;
    };
    bool ok[4] = {true, true, true, true};
    std::vector<std::thread> threads;
    threads.emplace_back(worker, 6, "日本語テキスト", std::ref(ok[0]));
    threads.emplace_back(worker, 9, "한국어 텍스트", std::ref(ok[1]));
    threads.emplace_back(worker, 14, "中文文本", std::ref(ok[2]));
    threads.emplace_back(worker, 16, "Текст", std::ref(ok[3]));
    for (auto &th : threads) th.join();
    for (bool b : ok) EXPECT_TRUE(b);
}

// ---- GetBytes ----

TEST(HostText, GetBytesStopsBeforeACharacterThatDoesNotFit) {
    auto t = Utf8Text("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");  // 1 + 2 + 3 + 4 bytes
    const std::string all = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
    auto fit = [](std::size_t room) -> std::size_t {
        std::size_t best = 0;
        for (std::size_t b : {1u, 3u, 6u, 10u})
            if (b <= room) best = b;
        return best;
    };
    for (fmx::uint32 size = 1; size <= 12; ++size) {
        SCOPED_TRACE("buffer " + std::to_string(size));
        std::string buf(16, '#');
        t->GetBytes(buf.data(), size, 0, kEnd, fmx::Text::kEncoding_UTF8);
        std::size_t n = fit(size - 1);
        EXPECT_EQ(buf.substr(0, n), all.substr(0, n));
        EXPECT_EQ(buf[n], '\0');
        EXPECT_EQ(buf[n + 1], '#');

        std::string ex(16, '#');
        EXPECT_EQ(t->GetBytesEx(ex.data(), size, 0, kEnd, fmx::Text::kEncoding_UTF8), fit(size));
        EXPECT_EQ(ex.substr(0, fit(size)), all.substr(0, fit(size)));
        EXPECT_EQ(ex[fit(size)], '#');
    }
    char untouched = '#';
    t->GetBytes(&untouched, 0);
    EXPECT_EQ(untouched, '#');

    // The same through iconv: a, then two-byte characters.
    auto sj = Utf8Text("a日本");
    char buf[8];
    EXPECT_EQ(sj->GetBytesEx(buf, 2, 0, kEnd, fmx::Text::kEncoding_ShiftJIS_Win), 1u);
    EXPECT_EQ(sj->GetBytesEx(buf, 4, 0, kEnd, fmx::Text::kEncoding_ShiftJIS_Win), 3u);
    EXPECT_EQ(std::string(buf, 3), "a\x93\xFA");
}

TEST(HostText, GetBytesRanges) {
    auto t = Utf8Text("Grüße");
    EXPECT_EQ(Bytes(*t, fmx::Text::kEncoding_ISO_8859_1, 2, 2), "\xFC\xDF");
    EXPECT_EQ(Bytes(*t, fmx::Text::kEncoding_ASCII_Mac, 3), "\xA7" "e");
    EXPECT_EQ(Bytes(*t, fmx::Text::kEncoding_UTF8, 9, 2), "");
    char buf[4] = "xyz";
    t->GetBytes(buf, sizeof buf, 100, 1);
    EXPECT_EQ(buf[0], '\0');
    std::u16string part(3, u'#');
    t->GetUnicode(reinterpret_cast<fmx::uint16 *>(part.data()), 3, 10);  // clamped to 2 units
    EXPECT_EQ(part, u"ße#");
}

// ---- Assigning and editing ----

TEST(HostText, AssignVariants) {
    fmx::TextUniquePtr t;
    t->AssignWide(L"a\U0001F600b");
    EXPECT_EQ(Units(*t), u"a\U0001F600b");
    EXPECT_EQ(t->GetSize(), 4u);
    t->AssignWideWithLength(L"x\U00010400yz", 2);
    EXPECT_EQ(Units(*t), u"x\U00010400");
    const fmx::uint16 u16[] = {0x41, 0xD83D, 0xDE00, 0, 0x42};
    t->AssignUnicode(u16);
    EXPECT_EQ(Units(*t), u"A\U0001F600");
    t->AssignUnicodeWithLength(u16, 5);
    EXPECT_EQ(t->GetSize(), 5u);
    t->AssignWithLength("abc", 2, fmx::Text::kEncoding_UTF8);
    EXPECT_EQ(Units(*t), u"ab");
}

TEST(HostText, EditingClampsRangesAndAcceptsItself) {
    auto t = Utf8Text("Hello");
    t->AppendText(*t);
    EXPECT_EQ(Units(*t), u"HelloHello");
    t->SetText(*t, 1, 3);
    EXPECT_EQ(Units(*t), u"ell");
    t->InsertText(*t, 1);
    EXPECT_EQ(Units(*t), u"eellll");
    t->InsertText(*Utf8Text("!"), 1000);
    EXPECT_EQ(Units(*t), u"eellll!");
    t->DeleteText(2, 3);
    EXPECT_EQ(Units(*t), u"eel!");
    t->DeleteText(3);
    EXPECT_EQ(Units(*t), u"eel");
    t->DeleteText(50, 2);
    EXPECT_EQ(Units(*t), u"eel");
    auto other = Utf8Text("abcdef");
    t->AppendText(*other, 4, 100);
    EXPECT_EQ(Units(*t), u"eelef");
    t->AppendText(*other, 100, 1);
    EXPECT_EQ(Units(*t), u"eelef");
    t->SetText(*other, 7);
    EXPECT_EQ(Units(*t), u"");
}

// ---- Searching ----

TEST(HostText, Find) {
    auto t = Utf8Text("abcabcab");
    auto abc = Utf8Text("abc");
    auto empty = Utf8Text("");
    EXPECT_EQ(t->Find(*abc, 0), 0u);
    EXPECT_EQ(t->Find(*abc, 1), 3u);
    EXPECT_EQ(t->Find(*abc, 3), 3u);
    EXPECT_EQ(t->Find(*abc, 4), kNotFound);  // "ab" at the end is too short
    EXPECT_EQ(t->Find(*abc, kEnd), kNotFound);
    EXPECT_EQ(t->FindPrev(*abc, kEnd), 3u);
    EXPECT_EQ(t->FindPrev(*abc, 3), 3u);
    EXPECT_EQ(t->FindPrev(*abc, 2), 0u);
    EXPECT_EQ(abc->FindPrev(*t, kEnd), kNotFound);
    EXPECT_EQ(t->Find(*empty, 8), 8u);
    EXPECT_EQ(t->Find(*empty, 9), kNotFound);
    EXPECT_EQ(t->FindPrev(*empty, 5), 5u);
    EXPECT_EQ(empty->Find(*empty, 0), 0u);
}

TEST(HostText, FindLongPatternsInLargeText) {
    std::u16string big(200000, u'a');
    big.replace(10, 5, u"xyzzy");
    big.replace(150000, 5, u"xyzzy");
    fmx::TextUniquePtr t;
    SetUnits(*t, big);
    fmx::TextUniquePtr pat;
    SetUnits(*pat, u"xyzzy");
    EXPECT_EQ(t->Find(*pat, 0), 10u);
    EXPECT_EQ(t->Find(*pat, 11), 150000u);
    EXPECT_EQ(t->Find(*pat, 150001), kNotFound);
    EXPECT_EQ(t->FindPrev(*pat, kEnd), 150000u);
    EXPECT_EQ(t->FindPrev(*pat, 149999), 10u);
    EXPECT_EQ(t->FindPrev(*pat, 9), kNotFound);
    EXPECT_EQ(t->FindIgnoringCase(*Utf8Text("XYZZY"), 11), 150000u);
    EXPECT_EQ(t->FindPrevIgnoringCase(*Utf8Text("AXYZZYA"), kEnd), 149999u);
}

TEST(HostText, FindIgnoringCase) {
    auto t = Utf8Text("Größe ΣΟΦΙΑ 𐐀x");  // ends with U+10400 (Deseret capital)
    EXPECT_EQ(t->FindIgnoringCase(*Utf8Text("GRÖSSE"), 0), kNotFound);  // simple mapping: ß stays
    EXPECT_EQ(t->FindIgnoringCase(*Utf8Text("GRÖßE"), 0), 0u);
    EXPECT_EQ(t->FindIgnoringCase(*Utf8Text("σοφια"), 0), 6u);
    EXPECT_EQ(t->FindIgnoringCase(*Utf8Text("𐐨X"), 0), 12u);  // U+10428, its small form
    EXPECT_EQ(t->FindPrevIgnoringCase(*Utf8Text("Ö"), kEnd), 2u);
    EXPECT_EQ(t->FindPrevIgnoringCase(*Utf8Text("ö"), 1), kNotFound);
    EXPECT_EQ(t->Find(*Utf8Text("σοφια"), 0), kNotFound);
}

TEST(HostText, CaseBlindFindsAgreeWithAPlainSearchAtEveryPosition) {
    // Matches across the windows the search folds the text in, and next to surrogate pairs (the
    // Deseret capitals U+10400.. fold to U+10428..), in both directions.
    std::u16string text;
    for (int k = 0; text.size() < 9000; ++k)
        text += k % 7 == 0 ? u"AbC\U00010400" : k % 5 == 0 ? u"xx\U00010428aBc" : u"qqqqqqqqqqqqq";
    const auto fold = [](std::u16string s) {
        for (size_t i = 0; i < s.size(); ++i) {
            if (s[i] < 0x80) s[i] = char16_t(std::tolower(s[i]));
            if (s[i] == 0xD801 && i + 1 < s.size() && s[i + 1] >= 0xDC00 && s[i + 1] < 0xDC28) s[i + 1] += 0x28;
        }
        return s;
    };
    fmx::TextUniquePtr t;
    SetUnits(*t, text);
    const std::u16string folded = fold(text);
    for (const std::u16string &pattern :
         {std::u16string(u"abc"), std::u16string(u"ABC\U00010428"), u"Q" + std::u16string(70, u'q'),
          std::u16string(u"c\U00010400aBC"), std::u16string(u"\U00010428ABCQ")}) {
        fmx::TextUniquePtr p;
        SetUnits(*p, pattern);
        const std::u16string wanted = fold(pattern);
        for (size_t from = 0; from <= text.size(); from += 37) {
            const size_t f = folded.find(wanted, from), b = folded.rfind(wanted, from);
            EXPECT_EQ(t->FindIgnoringCase(*p, fmx::uint32(from)), f == std::u16string::npos ? kNotFound : f);
            EXPECT_EQ(t->FindPrevIgnoringCase(*p, fmx::uint32(from)), b == std::u16string::npos ? kNotFound : b);
        }
    }
}

// ---- Case, comparison ----

TEST(HostText, UpperAndLowercaseKeepPositions) {
    auto t = Utf8Text("straße İx 𐐨ǅ");
    t->Uppercase();
    EXPECT_EQ(Units(*t), u"STRAßE İX \U00010400Ǆ");
    t->Lowercase();
    EXPECT_EQ(Units(*t), u"straße ix \U00010428ǆ");
}

TEST(HostText, ComparisonIsByCodeUnit) {
    auto a = Utf8Text("\xF0\x9F\x98\x80");  // U+1F600: units D83D DE00
    auto b = Utf8Text("\xEF\xBC\xA1");      // U+FF21
    EXPECT_TRUE(*a < *b);  // by code point it would be the other way round
    EXPECT_TRUE(*b >= *a);
    EXPECT_TRUE(*Utf8Text("ab") < *Utf8Text("abc"));
    EXPECT_TRUE(*Utf8Text("x") != *Utf8Text("X"));
}

// ---- QuadChar ----

TEST(HostText, QuadChar) {
    fmx::QuadCharUniquePtr q('T', 'E', 'X', 'T');
    EXPECT_EQ(q->GetMacType(), 0x54455854u);
    fmx::QuadCharUniquePtr r;
    r->SetMacType(0x8BADF00Du);
    EXPECT_EQ((*r)[0], 0x8B);
    EXPECT_EQ((*r)[3], 0x0D);
    EXPECT_THROW((*r)[4], std::exception);
    EXPECT_THROW((*r)[-1], std::exception);
    EXPECT_TRUE(*q != *r);
    *r = *q;
    EXPECT_TRUE(*q == *r);
}

}  // namespace
