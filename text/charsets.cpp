#include "text/charsets.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

#include "text/encoding.h"

unsigned char gMyErrorChar = '~';

// Upper halves of Mac OS Roman and Windows-1252: each byte goes to the byte of the same character
// where both sets have it; the rest are paired among themselves so that every table is a
// permutation and its inverse restores every byte. The euro tables differ in two rows: Mac 0xDB
// (euro) <-> Win 0x80 and Mac 0xAD <-> Win 0xA4.
const unsigned char XP7_macToWinChars[128] = {
    0xC4, 0xC5, 0xC7, 0xC9, 0xD1, 0xD6, 0xDC, 0xE1, 0xE0, 0xE2, 0xE4, 0xE3, 0xE5, 0xE7, 0xE9, 0xE8,
    0xEA, 0xEB, 0xED, 0xEC, 0xEE, 0xEF, 0xF1, 0xF3, 0xF2, 0xF4, 0xF6, 0xF5, 0xFA, 0xF9, 0xFB, 0xFC,
    0x86, 0xB0, 0xA2, 0xA3, 0xA7, 0x95, 0xB6, 0xDF, 0xAE, 0xA9, 0x99, 0xB4, 0xA8, 0x80, 0xC6, 0xD8,
    0x81, 0xB1, 0x8A, 0x8D, 0xA5, 0xB5, 0xF0, 0x8E, 0x8F, 0x90, 0x9A, 0xAA, 0xBA, 0x9D, 0xE6, 0xF8,
    0xBF, 0xA1, 0xAC, 0x9E, 0x83, 0xA6, 0xAD, 0xAB, 0xBB, 0x85, 0xA0, 0xC0, 0xC3, 0xD5, 0x8C, 0x9C,
    0x96, 0x97, 0x93, 0x94, 0x91, 0x92, 0xF7, 0xB2, 0xFF, 0x9F, 0xB3, 0xA4, 0x8B, 0x9B, 0xB9, 0xBC,
    0x87, 0xB7, 0x82, 0x84, 0x89, 0xC2, 0xCA, 0xC1, 0xCB, 0xC8, 0xCD, 0xCE, 0xCF, 0xCC, 0xD3, 0xD4,
    0xBD, 0xD2, 0xDA, 0xDB, 0xD9, 0xBE, 0x88, 0x98, 0xAF, 0xD0, 0xD7, 0xDD, 0xB8, 0xDE, 0xFD, 0xFE,
};
const unsigned char XP7_WinToMacChars[128] = {
    0xAD, 0xB0, 0xE2, 0xC4, 0xE3, 0xC9, 0xA0, 0xE0, 0xF6, 0xE4, 0xB2, 0xDC, 0xCE, 0xB3, 0xB7, 0xB8,
    0xB9, 0xD4, 0xD5, 0xD2, 0xD3, 0xA5, 0xD0, 0xD1, 0xF7, 0xAA, 0xBA, 0xDD, 0xCF, 0xBD, 0xC3, 0xD9,
    0xCA, 0xC1, 0xA2, 0xA3, 0xDB, 0xB4, 0xC5, 0xA4, 0xAC, 0xA9, 0xBB, 0xC7, 0xC2, 0xC6, 0xA8, 0xF8,
    0xA1, 0xB1, 0xD7, 0xDA, 0xAB, 0xB5, 0xA6, 0xE1, 0xFC, 0xDE, 0xBC, 0xC8, 0xDF, 0xF0, 0xF5, 0xC0,
    0xCB, 0xE7, 0xE5, 0xCC, 0x80, 0x81, 0xAE, 0x82, 0xE9, 0x83, 0xE6, 0xE8, 0xED, 0xEA, 0xEB, 0xEC,
    0xF9, 0x84, 0xF1, 0xEE, 0xEF, 0xCD, 0x85, 0xFA, 0xAF, 0xF4, 0xF2, 0xF3, 0x86, 0xFB, 0xFD, 0xA7,
    0x88, 0x87, 0x89, 0x8B, 0x8A, 0x8C, 0xBE, 0x8D, 0x8F, 0x8E, 0x90, 0x91, 0x93, 0x92, 0x94, 0x95,
    0xB6, 0x96, 0x98, 0x97, 0x99, 0x9B, 0x9A, 0xD6, 0xBF, 0x9D, 0x9C, 0x9E, 0x9F, 0xFE, 0xFF, 0xD8,
};
const unsigned char XP7_macToWinCharsEuro[128] = {
    0xC4, 0xC5, 0xC7, 0xC9, 0xD1, 0xD6, 0xDC, 0xE1, 0xE0, 0xE2, 0xE4, 0xE3, 0xE5, 0xE7, 0xE9, 0xE8,
    0xEA, 0xEB, 0xED, 0xEC, 0xEE, 0xEF, 0xF1, 0xF3, 0xF2, 0xF4, 0xF6, 0xF5, 0xFA, 0xF9, 0xFB, 0xFC,
    0x86, 0xB0, 0xA2, 0xA3, 0xA7, 0x95, 0xB6, 0xDF, 0xAE, 0xA9, 0x99, 0xB4, 0xA8, 0xA4, 0xC6, 0xD8,
    0x81, 0xB1, 0x8A, 0x8D, 0xA5, 0xB5, 0xF0, 0x8E, 0x8F, 0x90, 0x9A, 0xAA, 0xBA, 0x9D, 0xE6, 0xF8,
    0xBF, 0xA1, 0xAC, 0x9E, 0x83, 0xA6, 0xAD, 0xAB, 0xBB, 0x85, 0xA0, 0xC0, 0xC3, 0xD5, 0x8C, 0x9C,
    0x96, 0x97, 0x93, 0x94, 0x91, 0x92, 0xF7, 0xB2, 0xFF, 0x9F, 0xB3, 0x80, 0x8B, 0x9B, 0xB9, 0xBC,
    0x87, 0xB7, 0x82, 0x84, 0x89, 0xC2, 0xCA, 0xC1, 0xCB, 0xC8, 0xCD, 0xCE, 0xCF, 0xCC, 0xD3, 0xD4,
    0xBD, 0xD2, 0xDA, 0xDB, 0xD9, 0xBE, 0x88, 0x98, 0xAF, 0xD0, 0xD7, 0xDD, 0xB8, 0xDE, 0xFD, 0xFE,
};
const unsigned char XP7_WinToMacCharsEuro[128] = {
    0xDB, 0xB0, 0xE2, 0xC4, 0xE3, 0xC9, 0xA0, 0xE0, 0xF6, 0xE4, 0xB2, 0xDC, 0xCE, 0xB3, 0xB7, 0xB8,
    0xB9, 0xD4, 0xD5, 0xD2, 0xD3, 0xA5, 0xD0, 0xD1, 0xF7, 0xAA, 0xBA, 0xDD, 0xCF, 0xBD, 0xC3, 0xD9,
    0xCA, 0xC1, 0xA2, 0xA3, 0xAD, 0xB4, 0xC5, 0xA4, 0xAC, 0xA9, 0xBB, 0xC7, 0xC2, 0xC6, 0xA8, 0xF8,
    0xA1, 0xB1, 0xD7, 0xDA, 0xAB, 0xB5, 0xA6, 0xE1, 0xFC, 0xDE, 0xBC, 0xC8, 0xDF, 0xF0, 0xF5, 0xC0,
    0xCB, 0xE7, 0xE5, 0xCC, 0x80, 0x81, 0xAE, 0x82, 0xE9, 0x83, 0xE6, 0xE8, 0xED, 0xEA, 0xEB, 0xEC,
    0xF9, 0x84, 0xF1, 0xEE, 0xEF, 0xCD, 0x85, 0xFA, 0xAF, 0xF4, 0xF2, 0xF3, 0x86, 0xFB, 0xFD, 0xA7,
    0x88, 0x87, 0x89, 0x8B, 0x8A, 0x8C, 0xBE, 0x8D, 0x8F, 0x8E, 0x90, 0x91, 0x93, 0x92, 0x94, 0x95,
    0xB6, 0x96, 0x98, 0x97, 0x99, 0x9B, 0x9A, 0xD6, 0xBF, 0x9D, 0x9C, 0x9E, 0x9F, 0xFE, 0xFF, 0xD8,
};
const uint32_t XP7_FMP6MacAsciiToUnicodeChars[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1,
    0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5, 0x00E7, 0x00E9, 0x00E8,
    0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC,
    0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6, 0x00DF,
    0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211,
    0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8,
    0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153,
    0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA,
    0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1,
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4,
    0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7,
};

namespace {

void MapUpperHalf(char *p, long n, const unsigned char *table) {
    for (long k = 0; k < n; ++k) {
        const auto byte = static_cast<unsigned char>(p[k]);
        if (byte >= 0x80) p[k] = static_cast<char>(table[byte - 0x80]);
    }
}

// Code point -> Mac OS Roman byte for the upper half, built once from the forward table.
struct ZbMacRomanReverse {
    std::array<std::pair<uint32_t, unsigned char>, 128> sorted;
    ZbMacRomanReverse() {
        for (unsigned k = 0; k < 128; ++k) sorted[k] = {XP7_FMP6MacAsciiToUnicodeChars[k], uint8_t(0x80 + k)};
        std::sort(sorted.begin(), sorted.end());
    }
    long Find(uint32_t u) const {
        auto it = std::lower_bound(sorted.begin(), sorted.end(), std::pair<uint32_t, unsigned char>{u, 0});
        return it != sorted.end() && it->first == u ? it->second : -1;
    }
};
const ZbMacRomanReverse gMacRomanReverse;

// UTF-8 byte count and offset of a lead byte, for the lenient decoder.
constexpr uint32_t kUTF8Offsets[6] = {0x00000000u, 0x00003080u, 0x000E2080u,
                                      0x03C82080u, 0xFA082080u, 0x82082080u};
constexpr int TrailingCount(unsigned char lead) {
    return lead < 0xC0 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : lead < 0xF8 ? 3 : lead < 0xFC ? 4 : 5;
}

// Appends the UTF-8 bytes of one code point; values past U+10FFFF are written as U+FFFD.
template <typename Out>
void AppendUTF8(unsigned long c, Out &out) {
    if (c >= 0x110000) c = 0xFFFD;
    if (c < 0x80) {
        out.push_back(static_cast<typename Out::value_type>(c));
    } else if (c < 0x800) {
        out.push_back(static_cast<typename Out::value_type>(0xC0 | (c >> 6)));
        out.push_back(static_cast<typename Out::value_type>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out.push_back(static_cast<typename Out::value_type>(0xE0 | (c >> 12)));
        out.push_back(static_cast<typename Out::value_type>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<typename Out::value_type>(0x80 | (c & 0x3F)));
    } else {
        out.push_back(static_cast<typename Out::value_type>(0xF0 | (c >> 18)));
        out.push_back(static_cast<typename Out::value_type>(0x80 | ((c >> 12) & 0x3F)));
        out.push_back(static_cast<typename Out::value_type>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<typename Out::value_type>(0x80 | (c & 0x3F)));
    }
}

// Strict UTF-8 reading for the C-string conversions: false on a malformed sequence.
bool NextStrictUTF8(const unsigned char *s, size_t n, size_t &i, uint32_t &c) {
    const unsigned char lead = s[i];
    int count;
    if (lead < 0x80) {
        c = lead;
        count = 0;
    } else if (lead >= 0xC2 && lead < 0xE0) {
        c = lead & 0x1F;
        count = 1;
    } else if (lead >= 0xE0 && lead < 0xF0) {
        c = lead & 0x0F;
        count = 2;
    } else if (lead >= 0xF0 && lead < 0xF5) {
        c = lead & 0x07;
        count = 3;
    } else {
        return false;
    }
    if (n - i - 1 < size_t(count)) return false;
    for (int k = 1; k <= count; ++k) {
        if ((s[i + k] & 0xC0) != 0x80) return false;
        c = (c << 6) | (s[i + k] & 0x3F);
    }
    static constexpr uint32_t kMin[4] = {0, 0x80, 0x800, 0x10000};
    if (c < kMin[count] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return false;
    i += size_t(count) + 1;
    return true;
}

}  // namespace

void XP_MacToWinStr(char *s, short table) { XP_MacToWinStrN(s, long(std::strlen(s)), table); }
void XP_WinToMacStr(char *s, short table) { XP_WinToMacStrN(s, long(std::strlen(s)), table); }
void XP_MacToWinStrN(char *p, long n, short table) {
    MapUpperHalf(p, n, table == 2 ? XP7_macToWinCharsEuro : XP7_macToWinChars);
}
void XP_WinToMacStrN(char *p, long n, short table) {
    MapUpperHalf(p, n, table == 2 ? XP7_WinToMacCharsEuro : XP7_WinToMacChars);
}

unsigned long XP7_FMP6MacAsciiToUni(unsigned long b) {
    if (b < 128) return b;
    if (b < 256) return XP7_FMP6MacAsciiToUnicodeChars[b - 128];
    return 0xFFFFFFFFul;
}

unsigned long XP7_UniToFMP6MacAscii(unsigned long u, unsigned char ohm) {
    if (u < 128) return u;
    if (ohm && u == 0x2126) return 0xBD;
    const long byte = u <= 0xFFFFFFFFul ? gMacRomanReverse.Find(uint32_t(u)) : -1;
    return byte < 0 ? 0xFFFFFFFFul : static_cast<unsigned long>(byte);
}

unsigned long XP7_TxtCharToAscii(const fmx::TextUniquePtr &t, unsigned char escapes, unsigned long size,
                                 unsigned long *pos, short mode) {
    unsigned long c = XP7_Get1UTF32Char(t, size, pos);
    if (escapes && c == '\\' && *pos + 1 < size) {
        const unsigned short next = XP7_Get1UTF16Char(t, *pos + 1);
        if (next == '0' || next == '\\') {
            ++*pos;
            c = next == '0' ? 0 : '\\';
        }
    }
    return XP7_UniToFMP6MacAscii(c, mode == 20);
}

unsigned short XP7_Get1UTF16Char(const fmx::TextUniquePtr &t, unsigned long pos) {
    fmx::uint16 unit = 0;
    if (pos < t->GetSize()) t->GetUnicode(&unit, fmx::uint32(pos), 1);
    return unit;
}

unsigned long XP7_UnitsUTF32Char(const char16_t *units, unsigned long size, unsigned long *pos) {
    const char16_t h = units[*pos];
    if (h >= 0xD800 && h <= 0xDBFF) {
        if (*pos + 1 >= size) return h;  // a high surrogate at the very end passes as it is
        const char16_t l = units[++*pos];
        if (l >= 0xDC00 && l <= 0xDFFF) return (unsigned long)(h - 0xD800) * 1024 + (l - 0xDC00) + 0x10000;
        return gMyErrorChar;
    }
    if (h >= 0xDC00 && h <= 0xDFFF) return gMyErrorChar;
    return h;
}

unsigned long XP7_Get1UTF32Char(const fmx::TextUniquePtr &t, unsigned long size, unsigned long *pos) {
    char16_t units[2] = {0, 0};
    const unsigned long available = std::min<unsigned long>(2, size > *pos ? size - *pos : 0);
    if (available == 0) return 0;
    t->GetUnicode(reinterpret_cast<fmx::uint16 *>(units), fmx::uint32(*pos), fmx::uint32(available));
    unsigned long local = 0;
    const unsigned long c = XP7_UnitsUTF32Char(units, available, &local);
    *pos += local;
    return c;
}

long XP7_UTF32CharToUniStr(unsigned long c, unsigned short *out) {
    long n = 1;
    if (c < 0x10000) {
        out[0] = (c >= 0xDC00 && c <= 0xDFFF) ? 0xFFFD : static_cast<unsigned short>(c);
    } else if (c <= 0x10FFFF) {
        c -= 0x10000;
        out[0] = static_cast<unsigned short>(0xD800 + (c >> 10));
        out[1] = static_cast<unsigned short>(0xDC00 + (c & 0x3FF));
        n = 2;
    } else {
        out[0] = 0xFFFD;
    }
    out[n] = 0;
    return n;
}

void XP7_AppendUTF32CharToTxt(unsigned long c, fmx::TextUniquePtr &t) {
    unsigned short units[3];
    XP7_AppendUnicodeStrToTxt(units, static_cast<unsigned long>(XP7_UTF32CharToUniStr(c, units)), t);
}

void XP7_AppendUniStrToTxt(const unsigned short *s, fmx::TextUniquePtr &t) {
    unsigned long n = 0;
    while (s[n]) ++n;
    XP7_AppendUnicodeStrToTxt(s, n, t);
}

void XP7_AppendUnicodeStrToTxt(const unsigned short *s, unsigned long n, fmx::TextUniquePtr &t) {
    if (n == 0) return;
    fmx::TextUniquePtr tail;
    tail->AssignUnicodeWithLength(s, fmx::uint32(n));
    t->AppendText(*tail);
}

void XP7_TxtToUTF8Txt(const fmx::TextUniquePtr &src, fmx::TextUniquePtr &dst) {
    const std::u16string units = XP7_TxtToUnits(*src);
    std::u16string bytes;
    bytes.reserve(units.size() + units.size() / 2);
    for (unsigned long pos = 0; pos < units.size(); ++pos) {
        const char16_t u = units[pos];
        if (u < 0x80) {
            bytes.push_back(u);  // code 0 included: one character of code 0
            continue;
        }
        AppendUTF8(XP7_UnitsUTF32Char(units.data(), units.size(), &pos), bytes);
    }
    XP7_UnitsToTxt(bytes, dst);
}

void ZbUTF8BytesToUnits(const unsigned char *bytes, size_t n, std::u16string &out) {
    // Never more units than bytes: the room is made once and cut to what was written.
    const size_t start = out.size();
    out.resize(start + n);
    char16_t *to = out.data() + start;
    size_t i = 0;
    while (i < n) {
        // Runs of ASCII bytes, the common case, go straight through: sixteen at a time where
        // none of them has its top bit set.
#if defined(__SSE2__)
        const __m128i zero = _mm_setzero_si128();
        for (; i + 16 <= n; i += 16, to += 16) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes + i));
            if (_mm_movemask_epi8(v)) break;
            _mm_storeu_si128(reinterpret_cast<__m128i *>(to), _mm_unpacklo_epi8(v, zero));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(to + 8), _mm_unpackhi_epi8(v, zero));
        }
#elif defined(__aarch64__)
        for (; i + 16 <= n; i += 16, to += 16) {
            const uint8x16_t v = vld1q_u8(bytes + i);
            if (vmaxvq_u8(v) >= 0x80) break;
            vst1q_u16(reinterpret_cast<uint16_t *>(to), vmovl_u8(vget_low_u8(v)));
            vst1q_u16(reinterpret_cast<uint16_t *>(to + 8), vmovl_high_u8(v));
        }
#endif
        while (i < n && bytes[i] < 0x80) *to++ = bytes[i++];
        if (i == n) break;
        const int count = TrailingCount(bytes[i]);
        if (n - i - 1 < size_t(count)) break;  // an incomplete last sequence is dropped
        uint32_t value = 0;
        for (int k = 0; k <= count; ++k) value = value * 64 + bytes[i + size_t(k)];
        value -= kUTF8Offsets[count];
        i += size_t(count) + 1;
        if (value >= 0x110000 || (value >= 0xD800 && value <= 0xDFFF)) value = 0xFFFD;
        unsigned short units[3];
        for (long k = 0, m = XP7_UTF32CharToUniStr(value, units); k < m; ++k) *to++ = char16_t(units[k]);
    }
    out.resize(size_t(to - out.data()));
}

void XP7_UTF8TxtToTxt(const fmx::TextUniquePtr &src, fmx::TextUniquePtr &dst) {
    std::string bytes;
    {
        // The byte text's units are let go before the decoded text is made.
        const std::u16string units = XP7_TxtToUnits(*src);
        bytes.resize(units.size());
        for (size_t k = 0; k < units.size(); ++k) bytes[k] = units[k] < 256 ? char(units[k]) : '?';
    }
    std::u16string decoded;  // sized once, to the byte count, by the decoder
    ZbUTF8BytesToUnits(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size(), decoded);
    XP7_UnitsToTxt(decoded, dst);
}

void XP7_UTF8TxtToUTF8CStr(const fmx::TextUniquePtr &src, char *buf, unsigned long max) {
    const std::u16string units = XP7_TxtToUnits(*src);
    const unsigned long n = std::min<unsigned long>(max, units.size());
    for (unsigned long k = 0; k < n; ++k) buf[k] = units[k] < 256 ? char(units[k]) : '?';
    buf[n] = 0;
}

long ZbMoreX_UTF8StrToMacRomanCStr(char *s, long max) {
    const auto *bytes = reinterpret_cast<const unsigned char *>(s);
    const size_t n = std::strlen(s);
    if (n == 0) return 0;
    std::string out;
    for (size_t i = 0; i < n && long(out.size()) < max;) {
        uint32_t c;
        if (!NextStrictUTF8(bytes, n, i, c)) return 0;  // not UTF-8: left as it is
        const unsigned long byte = XP7_UniToFMP6MacAscii(c, 0);
        out.push_back(byte == 0xFFFFFFFFul ? '^' : char(byte));
    }
    // Mac OS Roman never needs more bytes than UTF-8, so the result fits where the source was.
    std::memcpy(s, out.data(), out.size());
    s[out.size()] = 0;
    return 0;
}

long ZbMoreX_MacRomanToUTF8CStr(char *s, long max) {
    const size_t n = std::strlen(s);
    if (n == 0 || max <= 0) return 0;
    // max is the room at s in bytes, terminator included: whole characters that fit are kept.
    std::string out;
    for (size_t i = 0; i < n; ++i) {
        std::string one;
        AppendUTF8(XP7_FMP6MacAsciiToUni(static_cast<unsigned char>(s[i])), one);
        if (long(out.size() + one.size()) > max - 1) break;
        out += one;
    }
    std::memcpy(s, out.data(), out.size());
    s[out.size()] = 0;
    return 0;
}

std::string ZbMacRomanToUTF8(std::string_view bytes) {
    std::string s(bytes);
    s.resize(bytes.size() * 3 + 1, '\0');  // every Mac OS Roman character takes at most 3 bytes
    (void)ZbMoreX_MacRomanToUTF8CStr(s.data(), long(s.size()));  // the room is the worst case, so it cannot fail
    s.resize(std::strlen(s.c_str()));
    return s;
}
