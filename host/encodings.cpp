// Conversions between the emulator's UTF-16 text and the host encodings 0..36.
//
// Three paths: UTF-8 by hand, the one-byte Mac sets through the built-in tables of mac_tables.cpp,
// everything else (DOS, Windows and ISO code pages, the CJK sets) through glibc iconv. The first
// two are single passes over the input; the iconv path keeps its descriptors per thread.
#include <iconv.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <memory>
#include <stdexcept>
#include <string>

#include "host/objects.h"

namespace zhost {
namespace {

constexpr char16_t kReplacement = 0xFFFD;
constexpr int kNoTable = -1;

struct EncodingInfo {
    const char *iconvName;  // nullptr: UTF-8 or a built-in table
    int macTable;           // index into kMacCharsetTable, or kNoTable
};

// Indexed by Text::Encoding. Native (0) is resolved before the lookup.
constexpr std::array<EncodingInfo, kEncodingCount> kEncodings = {{
    {nullptr, kNoTable},            // 0 Native
    {nullptr, kNoTable},            // 1 UTF-8
    {"CP437", kNoTable},            // 2 DOS
    {"CP1252", kNoTable},           // 3 Windows Latin 1
    {nullptr, kMacRoman},           // 4 Mac OS Roman
    {"ISO-8859-1", kNoTable},       // 5
    {"SHIFT_JIS", kNoTable},        // 6 Shift-JIS (Mac)
    {"CP932", kNoTable},            // 7 Shift-JIS (Windows)
    {"EUC-KR", kNoTable},           // 8 Korean (Mac)
    {"CP949", kNoTable},            // 9 Korean (Windows)
    {"JOHAB", kNoTable},            // 10
    {"BIG5", kNoTable},             // 11 Traditional Chinese (Mac)
    {"CP950", kNoTable},            // 12 Traditional Chinese (Windows)
    {"EUC-CN", kNoTable},           // 13 Simplified Chinese (Mac), GB 2312
    {"CP936", kNoTable},            // 14 Simplified Chinese (Windows)
    {nullptr, kMacCyrillic},        // 15
    {"CP1251", kNoTable},           // 16
    {"ISO-8859-5", kNoTable},       // 17
    {nullptr, kMacCentralEurope},   // 18
    {"CP1250", kNoTable},           // 19
    {"ISO-8859-2", kNoTable},       // 20
    {nullptr, kMacTurkish},         // 21
    {"CP1254", kNoTable},           // 22
    {"ISO-8859-3", kNoTable},       // 23
    {"ISO-8859-9", kNoTable},       // 24
    {"CP1257", kNoTable},           // 25
    {"ISO-8859-4", kNoTable},       // 26
    {nullptr, kMacArabic},          // 27
    {"CP1256", kNoTable},           // 28
    {"ISO-8859-6", kNoTable},       // 29
    {nullptr, kMacGreek},           // 30
    {"CP1253", kNoTable},           // 31
    {"ISO-8859-7", kNoTable},       // 32
    {nullptr, kMacHebrew},          // 33
    {nullptr, kWinHebrew},          // 34 (a table: glibc's CP1255 composes letters with marks)
    {"ISO-8859-8", kNoTable},       // 35
    {"ISO-8859-15", kNoTable},      // 36
}};

constexpr int kEncodingUtf8 = 1;
constexpr int kEncodingMacRoman = 4;

std::atomic<int> gNativeEncoding{kEncodingMacRoman};

// Resolves Native and rejects numbers outside 0..36 (the caller's error block reports it).
int Resolve(int encoding) {
    if (encoding == 0) return gNativeEncoding.load(std::memory_order_relaxed);
    if (encoding < 0 || encoding >= kEncodingCount) throw std::invalid_argument("unknown text encoding");
    return encoding;
}

bool IsHigh(char16_t u) { return u >= 0xD800 && u <= 0xDBFF; }
bool IsLow(char16_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

// ---- UTF-8 ----

// Bytes of the UTF-8 form of the character starting at text[i]; `units` receives its length in
// UTF-16 units. A lone surrogate counts as U+FFFD (three bytes).
inline std::size_t Utf8Length(std::u16string_view text, std::size_t i, std::size_t &units) {
    char16_t u = text[i];
    units = 1;
    if (u < 0x80) return 1;
    if (u < 0x800) return 2;
    if (IsHigh(u) && i + 1 < text.size() && IsLow(text[i + 1])) {
        units = 2;
        return 4;
    }
    return 3;
}

inline char *PutUtf8(std::u16string_view text, std::size_t i, std::size_t units, char *o) {
    char32_t c = text[i];
    if (units == 2) c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
    else if (c >= 0xD800 && c <= 0xDFFF) c = kReplacement;
    if (c < 0x80) {
        *o++ = char(c);
    } else if (c < 0x800) {
        *o++ = char(0xC0 | (c >> 6));
        *o++ = char(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        *o++ = char(0xE0 | (c >> 12));
        *o++ = char(0x80 | ((c >> 6) & 0x3F));
        *o++ = char(0x80 | (c & 0x3F));
    } else {
        *o++ = char(0xF0 | (c >> 18));
        *o++ = char(0x80 | ((c >> 12) & 0x3F));
        *o++ = char(0x80 | ((c >> 6) & 0x3F));
        *o++ = char(0x80 | (c & 0x3F));
    }
    return o;
}

std::size_t Utf8Into(std::u16string_view text, char *out, std::size_t capacity) {
    char *o = out;
    std::size_t left = capacity;
    for (std::size_t i = 0; i < text.size();) {
        std::size_t units;
        std::size_t n = Utf8Length(text, i, units);
        if (n > left) break;
        o = PutUtf8(text, i, units, o);
        left -= n;
        i += units;
    }
    return std::size_t(o - out);
}

// ---- Built-in one-byte tables ----

// Code point -> byte for one Mac set, in pages of 256 so that only the handful of pages a set
// uses take memory. 0 in a page means "not in the set" (only U+0000 maps to byte 0).
class InverseTable {
public:
    explicit InverseTable(const char16_t (&table)[256]) {
        for (int b = 255; b >= 1; --b) {  // descending, so the first byte of a duplicate wins
            char16_t c = table[b];
            if (c == kReplacement) continue;
            auto &page = pages_[c >> 8];
            if (!page) page = std::make_unique<Page>();
            (*page)[c & 0xFF] = uint8_t(b);
        }
    }
    // The byte for a BMP code point, or -1.
    int Lookup(char16_t c) const {
        if (c == 0) return 0;
        const auto &page = pages_[c >> 8];
        if (!page) return -1;
        uint8_t b = (*page)[c & 0xFF];
        return b ? b : -1;
    }

private:
    using Page = std::array<uint8_t, 256>;
    std::array<std::unique_ptr<Page>, 256> pages_;
};

const InverseTable &Inverse(int macTable) {
    static const auto tables = [] {
        std::array<std::unique_ptr<InverseTable>, kMacCharsetCount> t;
        for (int i = 0; i < kMacCharsetCount; ++i) t[i] = std::make_unique<InverseTable>(kMacCharsetTable[i]);
        return t;
    }();
    return *tables[macTable];
}

// The byte of a character sequence of the set that the text holds at `at`, or -1; `length` is
// set to the sequence's length.
int SequenceAt(std::u16string_view text, std::size_t at, int macTable, std::size_t &length) {
    for (std::size_t k = 0; k < kMacCharsetSequenceCount; ++k) {
        const MacCharsetSequence &s = kMacCharsetSequences[k];
        const std::u16string_view characters = s.characters;
        if (s.charset == macTable && text.substr(at).starts_with(characters)) {
            length = characters.size();
            return s.byte;
        }
    }
    return -1;
}

std::size_t TableInto(std::u16string_view text, int macTable, char *out, std::size_t capacity) {
    const InverseTable &inv = Inverse(macTable);
    const bool hasSequences = std::any_of(kMacCharsetSequences, kMacCharsetSequences + kMacCharsetSequenceCount,
                                          [&](const MacCharsetSequence &s) { return s.charset == macTable; });
    std::size_t n = 0;
    for (std::size_t i = 0; i < text.size() && n < capacity; ++i) {
        char16_t u = text[i];
        std::size_t length = 0;
        if (const int b = hasSequences ? SequenceAt(text, i, macTable, length) : -1; b >= 0) {
            out[n++] = char(b);
            i += length - 1;
            continue;
        }
        if (IsHigh(u) && i + 1 < text.size() && IsLow(text[i + 1])) {
            ++i;  // no Mac one-byte set has characters outside the BMP
            out[n++] = '?';
            continue;
        }
        int b = inv.Lookup(u);
        out[n++] = b < 0 ? '?' : char(b);
    }
    return n;
}

// ---- iconv ----

constexpr const char *kUtf16Native = std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";
const iconv_t kNoDescriptor = reinterpret_cast<iconv_t>(-1);

// This thread's open descriptors, per encoding and direction; closed when the thread ends.
class IconvCache {
public:
    IconvCache() {
        encoders_.fill(kNoDescriptor);
        decoders_.fill(kNoDescriptor);
    }
    ~IconvCache() {
        for (iconv_t cd : encoders_)
            if (cd != kNoDescriptor) iconv_close(cd);
        for (iconv_t cd : decoders_)
            if (cd != kNoDescriptor) iconv_close(cd);
    }
    IconvCache(const IconvCache &) = delete;
    IconvCache &operator=(const IconvCache &) = delete;

    // UTF-16 -> encoding, in its initial state.
    iconv_t Encoder(int encoding) { return Get(encoders_[encoding], kEncodings[encoding].iconvName, kUtf16Native); }
    // Encoding -> UTF-16, in its initial state.
    iconv_t Decoder(int encoding) { return Get(decoders_[encoding], kUtf16Native, kEncodings[encoding].iconvName); }

private:
    static iconv_t Get(iconv_t &slot, const char *to, const char *from) {
        if (slot == kNoDescriptor) {
            slot = iconv_open(to, from);
            if (slot == kNoDescriptor) throw std::runtime_error(std::string("iconv lacks ") + from + " -> " + to);
        } else {
            iconv(slot, nullptr, nullptr, nullptr, nullptr);  // back to the initial state
        }
        return slot;
    }
    std::array<iconv_t, kEncodingCount> encoders_;
    std::array<iconv_t, kEncodingCount> decoders_;
};

IconvCache &Cache() {
    thread_local IconvCache cache;
    return cache;
}

// Writes out what the converter still holds (some decoders keep the last character back to
// combine it with a following mark) and returns it to the initial state. False if it does not fit.
bool Flush(iconv_t cd, char *&out, std::size_t &left) {
    return iconv(cd, nullptr, nullptr, &out, &left) != std::size_t(-1);
}

// Input is handed to iconv in windows of this many bytes: after an invalid or unencodable
// character glibc converts the rest of the current call's input again, which would make text
// full of such characters quadratic.
constexpr std::size_t kIconvWindow = 1024;

// Encodes through iconv into out[0, capacity), whole characters only; `consumed` receives the
// UTF-16 units converted. Characters the encoding lacks (and lone surrogates) become '?'.
std::size_t IconvInto(std::u16string_view text, int encoding, char *out, std::size_t capacity,
                      std::size_t &consumed) {
    iconv_t cd = Cache().Encoder(encoding);
    std::size_t pos = 0;  // UTF-16 units done
    char *o = out;
    std::size_t left = capacity;
    while (pos < text.size()) {
        std::size_t end = std::min(text.size(), pos + kIconvWindow / sizeof(char16_t));
        if (end < text.size() && IsHigh(text[end - 1])) ++end;  // keep a surrogate pair together
        char *in = const_cast<char *>(reinterpret_cast<const char *>(text.data() + pos));
        std::size_t inLeft = (end - pos) * sizeof(char16_t);
        std::size_t r = iconv(cd, &in, &inLeft, &o, &left);
        int err = errno;
        pos = end - inLeft / sizeof(char16_t);
        if (r != std::size_t(-1)) continue;
        if (err == E2BIG) break;
        if (err != EILSEQ && err != EINVAL) throw std::runtime_error("iconv failed");
        // Unencodable character, lone surrogate, or a high surrogate ending the text.
        if (!Flush(cd, o, left) || left == 0) break;
        *o++ = '?';
        --left;
        bool pair = pos + 1 < text.size() && IsHigh(text[pos]) && IsLow(text[pos + 1]);
        pos += pair ? 2 : 1;
    }
    if (pos == text.size()) Flush(cd, o, left);
    consumed = pos;
    return std::size_t(o - out);
}

std::u16string IconvDecode(std::string_view bytes, int encoding) {
    iconv_t cd = Cache().Decoder(encoding);
    std::u16string result(bytes.size() + 8, u'\0');
    std::size_t used = 0;  // UTF-16 units written
    auto room = [&](char *&o, std::size_t &left) {
        o = reinterpret_cast<char *>(result.data() + used);
        left = (result.size() - used) * sizeof(char16_t);
    };
    auto grow = [&] { result.resize(result.size() * 2); };
    auto flush = [&] {
        char *o;
        std::size_t left;
        room(o, left);
        while (!Flush(cd, o, left)) {
            grow();
            room(o, left);
        }
        used = result.size() - left / sizeof(char16_t);
    };
    const char *in = bytes.data();
    const char *end = in + bytes.size();
    while (in < end) {
        char *inPtr = const_cast<char *>(in);
        std::size_t inLeft = std::min<std::size_t>(std::size_t(end - in), kIconvWindow);
        char *o;
        std::size_t left;
        room(o, left);
        std::size_t r = iconv(cd, &inPtr, &inLeft, &o, &left);
        int err = errno;
        in = inPtr;
        used = result.size() - left / sizeof(char16_t);
        if (r != std::size_t(-1)) continue;
        if (err == E2BIG) {
            grow();
            continue;
        }
        if (err == EINVAL && in + inLeft < end) continue;  // a sequence cut by the window
        if (err != EILSEQ && err != EINVAL) throw std::runtime_error("iconv failed");
        // An invalid byte becomes U+FFFD and decoding goes on after it; an incomplete sequence
        // at the end becomes one U+FFFD.
        flush();
        if (used == result.size()) grow();
        result[used++] = kReplacement;
        in = err == EINVAL ? end : in + 1;
    }
    flush();
    result.resize(used);
    return result;
}

}  // namespace

void SetNativeEncoding(int encoding) {
    if (encoding == 0) encoding = kEncodingMacRoman;
    if (encoding < 0 || encoding >= kEncodingCount) return;
    gNativeEncoding.store(encoding, std::memory_order_relaxed);
}

int NativeEncoding() { return gNativeEncoding.load(std::memory_order_relaxed); }

std::string ToUtf8(std::u16string_view text) {
    std::string out(text.size() * 3, '\0');  // at most three bytes per UTF-16 unit
    out.resize(Utf8Into(text, out.data(), out.size()));
    return out;
}

std::u16string FromUtf8(std::string_view utf8) {
    std::u16string out(utf8.size(), u'\0');  // never more UTF-16 units than bytes
    char16_t *o = out.data();
    const auto *p = reinterpret_cast<const unsigned char *>(utf8.data());
    const auto *end = p + utf8.size();
    while (p < end) {
        unsigned c = *p++;
        if (c < 0x80) {
            *o++ = char16_t(c);
            continue;
        }
        // Lead byte: number of continuation bytes and the allowed range of the first one, which
        // excludes overlong forms, surrogates and code points above U+10FFFF.
        int need;
        unsigned lo = 0x80, hi = 0xBF;
        char32_t cp;
        if (c >= 0xC2 && c <= 0xDF) {
            need = 1;
            cp = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            need = 2;
            cp = c & 0x0F;
            if (c == 0xE0) lo = 0xA0;
            if (c == 0xED) hi = 0x9F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            need = 3;
            cp = c & 0x07;
            if (c == 0xF0) lo = 0x90;
            if (c == 0xF4) hi = 0x8F;
        } else {
            *o++ = kReplacement;
            continue;
        }
        int got = 0;
        for (; got < need && p < end; ++got, ++p) {
            unsigned b = *p;
            if (b < lo || b > hi) break;
            cp = (cp << 6) | (b & 0x3F);
            lo = 0x80;
            hi = 0xBF;
        }
        if (got < need) {
            *o++ = kReplacement;  // one U+FFFD for the valid beginning of a broken sequence
        } else if (cp >= 0x10000) {
            cp -= 0x10000;
            *o++ = char16_t(0xD800 + (cp >> 10));
            *o++ = char16_t(0xDC00 + (cp & 0x3FF));
        } else {
            *o++ = char16_t(cp);
        }
    }
    out.resize(std::size_t(o - out.data()));
    return out;
}

std::size_t EncodeTextInto(std::u16string_view text, int encoding, char *out, std::size_t capacity) {
    encoding = Resolve(encoding);
    if (encoding == kEncodingUtf8) return Utf8Into(text, out, capacity);
    const EncodingInfo &info = kEncodings[encoding];
    if (info.macTable != kNoTable) return TableInto(text, info.macTable, out, capacity);
    std::size_t consumed;
    return IconvInto(text, encoding, out, capacity, consumed);
}

std::string EncodeText(std::u16string_view text, int encoding) {
    encoding = Resolve(encoding);
    if (encoding == kEncodingUtf8) return ToUtf8(text);
    const EncodingInfo &info = kEncodings[encoding];
    std::string out;
    if (info.macTable != kNoTable) {
        out.resize(text.size());
        out.resize(TableInto(text, info.macTable, out.data(), out.size()));
        return out;
    }
    // Two bytes per unit suffice for every set here but rare decompositions; grow when short.
    out.resize(text.size() * 2 + 16);
    std::size_t used = 0;
    while (true) {
        std::size_t consumed;
        used += IconvInto(text, encoding, out.data() + used, out.size() - used, consumed);
        text.remove_prefix(consumed);
        if (text.empty()) break;
        out.resize(out.size() * 2);
    }
    out.resize(used);
    return out;
}

std::u16string DecodeBytes(std::string_view bytes, int encoding) {
    encoding = Resolve(encoding);
    if (encoding == kEncodingUtf8) return FromUtf8(bytes);
    const EncodingInfo &info = kEncodings[encoding];
    if (info.macTable != kNoTable) {
        const char16_t *table = kMacCharsetTable[info.macTable];
        std::u16string out(bytes.size(), u'\0');
        std::size_t n = 0;
        for (const char byte : bytes) {
            const char16_t c = table[static_cast<unsigned char>(byte)];
            if (c == kReplacement) {
                // A byte that stands for several characters.
                const auto *s = std::find_if(kMacCharsetSequences, kMacCharsetSequences + kMacCharsetSequenceCount,
                                             [&](const MacCharsetSequence &q) {
                                                 return q.charset == info.macTable && q.byte == static_cast<unsigned char>(byte);
                                             });
                if (s != kMacCharsetSequences + kMacCharsetSequenceCount) {
                    const std::u16string_view characters = s->characters;
                    out.resize(out.size() + characters.size() - 1);
                    out.replace(n, characters.size(), characters);
                    n += characters.size();
                    continue;
                }
            }
            out[n++] = c;
        }
        return out;
    }
    return IconvDecode(bytes, encoding);
}

}  // namespace zhost
