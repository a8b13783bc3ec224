// NFD and canonical equivalence of UTF-8 names: chosen cases, every code point, and random strings
// against a literal decompose-then-bubble-sort implementation.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "text/unicode_forms.h"

namespace {

std::string U8(std::u32string_view s) {
    std::string out;
    for (const char32_t c : s) {
        if (c < 0x80) {
            out += char(c);
        } else if (c < 0x800) {
            out += {char(0xC0 | c >> 6), char(0x80 | (c & 0x3F))};
        } else if (c < 0x10000) {
            out += {char(0xE0 | c >> 12), char(0x80 | (c >> 6 & 0x3F)), char(0x80 | (c & 0x3F))};
        } else {
            out += {char(0xF0 | c >> 18), char(0x80 | (c >> 12 & 0x3F)), char(0x80 | (c >> 6 & 0x3F)),
                    char(0x80 | (c & 0x3F))};
        }
    }
    return out;
}

// Splits well-formed UTF-8 into code points.
std::u32string Decode(const std::string &s) {
    std::u32string out;
    for (size_t i = 0; i < s.size();) {
        const auto b = static_cast<unsigned char>(s[i]);
        const size_t n = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
        char32_t c = n == 1 ? b : b & (0x7F >> n);
        for (size_t k = 1; k < n; ++k) c = c << 6 | (static_cast<unsigned char>(s[i + k]) & 0x3F);
        out += c;
        i += n;
    }
    return out;
}

bool InCanonicalOrder(const std::u32string &s) {
    for (size_t i = 1; i < s.size(); ++i) {
        const unsigned c = ZbUnicodeCombiningClass(s[i]);
        if (c != 0 && ZbUnicodeCombiningClass(s[i - 1]) > c) return false;
    }
    return true;
}

}  // namespace

TEST(UnicodeForms, DecomposesAndReorders) {
    const struct {
        std::u32string in, nfd;
    } cases[] = {
        {U"Cr\u00E8me br\u00FBl\u00E9e.txt", U"Cre\u0300me bru\u0302le\u0301e.txt"},
        {U"\u01D5", U"U\u0308\u0304"},                  // recursive: U+01D5 -> U+00DC U+0304
        {U"\u1E69", U"s\u0323\u0307"},                  // 220 before 230
        {U"a\u0301\u0323", U"a\u0323\u0301"},
        {U"\u00E9\u0323", U"e\u0323\u0301"},            // a decomposition meets a following mark
        {U"\u0301\u0323x", U"\u0323\u0301x"},           // a run at the very start
        {U"a\u0301\u0300\u0323\u0302", U"a\u0323\u0301\u0300\u0302"},  // stable among equal classes
        {U"a\u0301b\u0323", U"a\u0301b\u0323"},         // nothing moves across a starter
        {U"\u212B", U"A\u030A"},                        // singletons
        {U"\u2126", U"\u03A9"},
        {U"\u0344", U"\u0308\u0301"},
        {U"\uAC00", U"\u1100\u1161"},                   // Hangul LV, LVT, and the next code point
        {U"\uAC01", U"\u1100\u1161\u11A8"},
        {U"\uD7A3", U"\u1112\u1175\u11C2"},
        {U"\uD7A4\u1100\u1161", U"\uD7A4\u1100\u1161"},
        {U"\U0001D15E", U"\U0001D157\U0001D165"},       // beyond the BMP
        {U"\U0001D160", U"\U0001D158\U0001D165\U0001D16E"},
        {U"\U0002F800", U"\u4E3D"},
        {U"\u00A8\u00B4\u00BD\uFB01", U"\u00A8\u00B4\u00BD\uFB01"},  // compatibility forms stay
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ZbUTF8ToNFD(U8(c.in)), U8(c.nfd)) << U8(c.in);
        EXPECT_EQ(ZbUTF8ToNFD(U8(c.nfd)), U8(c.nfd)) << U8(c.in);
    }
    const std::string ascii = "plain/ascii name.txt with no marks at all";
    EXPECT_EQ(ZbUTF8ToNFD(ascii), ascii);
    EXPECT_EQ(ZbUTF8ToNFD(""), "");
}

TEST(UnicodeForms, MalformedBytesStayInPlace) {
    const char *bad[] = {"\x80", "\xC0\xAF", "\xC1\x81", "\xC3", "\xE0\x83\xA9", "\xED\xA0\x80", "\xE2\x84",
                         "\xF0\x80\x8C\x81", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF8\x88\x80\x80\x80", "\xFF"};
    for (const std::string b : bad) {
        // Around composed letters, and between two marks that would otherwise swap (overlong forms
        // of U+00E9 and U+0301 among them).
        EXPECT_EQ(ZbUTF8ToNFD(U8(U"\u00E9") + b + U8(U"\u00E9")), U8(U"e\u0301") + b + U8(U"e\u0301")) << b;
        const std::string marks = U8(U"a\u0301") + b + U8(U"\u0323");
        EXPECT_EQ(ZbUTF8ToNFD(marks), marks) << b;
        EXPECT_EQ(ZbUTF8ToNFD(b), b);
    }
}

TEST(UnicodeForms, EveryCodePointIsFinalAndOrdered) {
    for (char32_t c = 0; c <= 0x10FFFF; ++c) {
        if (c == 0xD800) c = 0xE000;
        const std::string one = U8(std::u32string(1, c)), nfd = ZbUTF8ToNFD(one);
        if (nfd == one) continue;
        ASSERT_EQ(ZbUTF8ToNFD(nfd), nfd) << std::hex << unsigned(c);
        ASSERT_TRUE(InCanonicalOrder(Decode(nfd))) << std::hex << unsigned(c);
    }
    EXPECT_EQ(ZbUnicodeCombiningClass(0x0301), 230u);
    EXPECT_EQ(ZbUnicodeCombiningClass(0x0323), 220u);
    EXPECT_EQ(ZbUnicodeCombiningClass(0x05B0), 10u);
    EXPECT_EQ(ZbUnicodeCombiningClass(0x1D165), 216u);
    EXPECT_EQ(ZbUnicodeCombiningClass(0x1E94A), 7u);
    EXPECT_EQ(ZbUnicodeCombiningClass(0x0041), 0u);
    EXPECT_EQ(ZbUnicodeCombiningClass(0x110000), 0u);
}

// Random mixes of starters, composed letters, marks of several classes and malformed bytes,
// against decomposing each piece on its own and then bubble-sorting adjacent marks.
TEST(UnicodeForms, MatchesLiteralAlgorithm) {
    const std::vector<std::string> pieces = {
        "a", "/", "\xFF", "\xE2\x84", U8(U"\u00E9"), U8(U"\u1E69"), U8(U"\u0301"), U8(U"\u0323"),
        U8(U"\u0345"), U8(U"\u05B0"), U8(U"\u0F73"), U8(U"\u0344"), U8(U"\uAC01"), U8(U"\U0001D160"),
        U8(U"\U0001D16D"), U8(U"\u0315"), U8(U"\u1DCE")};
    std::mt19937 rng(7);
    constexpr char32_t kByte = 0x110000;  // the oracle holds a malformed byte b as kByte + b, a starter
    auto ccc = [](char32_t u) { return u >= kByte ? 0u : ZbUnicodeCombiningClass(u); };
    for (int round = 0; round < 20000; ++round) {
        std::string in;
        std::u32string units;
        for (int k = rng() % 12; k > 0; --k) {
            const std::string &p = pieces[rng() % pieces.size()];
            in += p;
            if (static_cast<unsigned char>(p[0]) >= 0xF5 || p == "\xE2\x84") {
                for (const char b : p) units += kByte + static_cast<unsigned char>(b);
            } else {
                units += Decode(ZbUTF8ToNFD(p));
            }
        }
        for (bool swapped = true; swapped;) {
            swapped = false;
            for (size_t i = 1; i < units.size(); ++i) {
                if (ccc(units[i]) != 0 && ccc(units[i - 1]) > ccc(units[i])) {
                    std::swap(units[i - 1], units[i]);
                    swapped = true;
                }
            }
        }
        std::string expected;
        for (const char32_t u : units) expected += u >= kByte ? std::string(1, char(u - kByte)) : U8({&u, 1});
        ASSERT_EQ(ZbUTF8ToNFD(in), expected) << round;
    }
}

TEST(UnicodeForms, CanonicallyEqual) {
    EXPECT_TRUE(ZbUTF8CanonicallyEqual(U8(U"R\u00E9sum\u00E9.pdf"), U8(U"Re\u0301sume\u0301.pdf")));
    EXPECT_TRUE(ZbUTF8CanonicallyEqual(U8(U"\u00C5ngstr\u00F6m"), U8(U"\u212Bngstro\u0308m")));
    EXPECT_TRUE(ZbUTF8CanonicallyEqual(U8(U"\uD55C\uAE00"), U8(U"\u1112\u1161\u11AB\u1100\u1173\u11AF")));
    EXPECT_TRUE(ZbUTF8CanonicallyEqual(U8(U"q\u0307\u0323"), U8(U"q\u0323\u0307")));
    EXPECT_TRUE(ZbUTF8CanonicallyEqual("same", "same"));
    EXPECT_FALSE(ZbUTF8CanonicallyEqual(U8(U"a\u0301\u0300"), U8(U"a\u0300\u0301")));  // equal classes keep order
    EXPECT_FALSE(ZbUTF8CanonicallyEqual(U8(U"\u00E9"), U8(U"e")));
    EXPECT_FALSE(ZbUTF8CanonicallyEqual("name.txt", "Name.txt"));
    EXPECT_FALSE(ZbUTF8CanonicallyEqual("e\xCC", U8(U"e\u0301")));
}

// Composition: pairs joined across marks that do not block them, Hangul by arithmetic, excluded
// composites left decomposed, and NFC of a text's NFD equal to NFC of the text.
TEST(UnicodeForms, Composes) {
    const std::vector<std::pair<std::u32string, std::u32string>> cases = {
        {U"Cafe\u0301", U"Caf\u00E9"},
        {U"u\u0308\u0304", U"\u01D6"},                  // twice: ü, then ǖ
        {U"a\u0323\u0302", U"\u1EAD"},                   // ạ then ậ
        {U"a\u0302\u0323", U"\u1EAD"},                   // the same after canonical ordering
        {U"e\u0301\u0301", U"\u00E9\u0301"},             // the second acute is blocked by the first
        {U"\u1100\u1161\u11A8", U"\uAC01"},              // Hangul L V T
        {U"\u0915\u093C", U"\u0915\u093C"},              // U+0958 is excluded from composition
        {U"\u212B", U"\u00C5"},                          // a singleton composes to its target
        {U"\u0301e", U"\u0301e"},                        // a leading mark has nothing to join
        {U"<\u0338", U"\u226E"},
    };
    for (const auto &[in, out] : cases) {
        EXPECT_EQ(ZbUTF8ToNFC(U8(in)), U8(out)) << U8(in);
        EXPECT_EQ(ZbUTF8ToNFC(ZbUTF8ToNFD(U8(in))), U8(out)) << U8(in);
    }
    // Malformed bytes stay, and nothing joins across them.
    EXPECT_EQ(ZbUTF8ToNFC("e\xFF\xCC\x81x\xC3"), "e\xFF\xCC\x81x\xC3");
    EXPECT_EQ(ZbUTF8ToNFC("plain ascii"), "plain ascii");
}
