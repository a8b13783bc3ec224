#include "files/binary_plist.h"

#include <cstdint>

namespace {

constexpr std::string_view kMagic = "bplist00";
constexpr size_t kTrailerSize = 32;

// ---- UTF-8 and UTF-16 ----

// The code points of UTF-8 text; a byte that does not start a well-formed sequence is U+FFFD.
std::u32string DecodeUTF8(std::string_view s) {
    std::u32string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size();) {
        const uint8_t b = uint8_t(s[i]);
        const int length = b < 0x80 ? 1 : (b >> 5) == 6 ? 2 : (b >> 4) == 14 ? 3 : (b >> 3) == 30 ? 4 : 0;
        char32_t c = length == 1 ? b : length == 2 ? b & 0x1F : length == 3 ? b & 0x0F : b & 0x07;
        bool ok = length > 0 && i + size_t(length) <= s.size();
        for (int k = 1; ok && k < length; ++k) {
            const uint8_t next = uint8_t(s[i + size_t(k)]);
            ok = (next & 0xC0) == 0x80;
            c = c << 6 | (next & 0x3F);
        }
        // Overlong forms, surrogates and values past U+10FFFF are not characters.
        static constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
        ok = ok && c >= kLeast[length] && c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
        out += ok ? c : U'\uFFFD';
        i += ok ? size_t(length) : 1;
    }
    return out;
}

void AppendUTF8(char32_t c, std::string &out) {
    if (c < 0x80) {
        out += char(c);
    } else if (c < 0x800) {
        out += char(0xC0 | c >> 6);
        out += char(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += char(0xE0 | c >> 12);
        out += char(0x80 | (c >> 6 & 0x3F));
        out += char(0x80 | (c & 0x3F));
    } else {
        out += char(0xF0 | c >> 18);
        out += char(0x80 | (c >> 12 & 0x3F));
        out += char(0x80 | (c >> 6 & 0x3F));
        out += char(0x80 | (c & 0x3F));
    }
}

// Big-endian UTF-16 units to UTF-8; an unpaired surrogate is U+FFFD.
std::string UTF16BEToUTF8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size() * 3 / 2);
    const size_t units = bytes.size() / 2;
    const auto unit = [&](size_t k) { return char32_t(uint8_t(bytes[2 * k]) << 8 | uint8_t(bytes[2 * k + 1])); };
    for (size_t k = 0; k < units; ++k) {
        char32_t c = unit(k);
        if (c >= 0xD800 && c <= 0xDBFF && k + 1 < units && unit(k + 1) >= 0xDC00 && unit(k + 1) <= 0xDFFF)
            c = 0x10000 + ((c - 0xD800) << 10) + (unit(++k) - 0xDC00);
        else if (c >= 0xD800 && c <= 0xDFFF)
            c = 0xFFFD;
        AppendUTF8(c, out);
    }
    return out;
}

// ---- writing ----

void PutBigEndian(std::string &out, uint64_t value, int size) {
    for (int k = size - 1; k >= 0; --k) out += char(value >> (8 * k));
}

// An object marker with its count: the count in the low nibble when under 15, else 0xF and an
// integer object that holds it.
void PutMarker(std::string &out, uint8_t kind, uint64_t count) {
    if (count < 15) {
        out += char(kind | count);
        return;
    }
    out += char(kind | 0x0F);
    const int power = count <= 0xFF ? 0 : count <= 0xFFFF ? 1 : count <= 0xFFFFFFFF ? 2 : 3;
    out += char(0x10 | power);
    PutBigEndian(out, count, 1 << power);
}

// ---- reading ----

uint64_t GetBigEndian(std::string_view data, uint64_t at, int size) {
    uint64_t value = 0;
    for (int k = 0; k < size; ++k) value = value << 8 | uint8_t(data[size_t(at) + size_t(k)]);
    return value;
}

}  // namespace

std::string ZbBinaryPlistOfString(std::string_view utf8) {
    const std::u32string text = DecodeUTF8(utf8);
    bool ascii = true;
    for (const char32_t c : text) ascii = ascii && c < 0x80;
    std::string out(kMagic);
    if (ascii) {
        PutMarker(out, 0x50, text.size());
        for (const char32_t c : text) out += char(c);
    } else {
        std::string units;
        for (const char32_t c : text) {
            if (c >= 0x10000) {
                PutBigEndian(units, 0xD800 + ((c - 0x10000) >> 10), 2);
                PutBigEndian(units, 0xDC00 + ((c - 0x10000) & 0x3FF), 2);
            } else {
                PutBigEndian(units, c, 2);
            }
        }
        PutMarker(out, 0x60, units.size() / 2);
        out += units;
    }
    // The offset table holds the one object's offset, 8; the trailer describes the table.
    const uint64_t tableOffset = out.size();
    const int offsetSize = tableOffset <= 0xFF ? 1 : tableOffset <= 0xFFFF ? 2 : tableOffset <= 0xFFFFFFFF ? 4 : 8;
    PutBigEndian(out, kMagic.size(), offsetSize);
    out.append(6, '\0');
    out += char(offsetSize);
    out += char(1);  // object reference size
    PutBigEndian(out, 1, 8);  // one object
    PutBigEndian(out, 0, 8);  // the top object is object 0
    PutBigEndian(out, tableOffset, 8);
    return out;
}

bool ZbStringOfBinaryPlist(std::string_view data, std::string &utf8) {
    utf8.clear();
    if (!data.starts_with("bplist")) {
        utf8.assign(data);
        return true;
    }
    if (data.size() < kMagic.size() + kTrailerSize) return false;
    const uint64_t size = data.size();
    const uint64_t trailer = size - kTrailerSize;
    const int offsetSize = uint8_t(data[size_t(trailer) + 6]);
    const int refSize = uint8_t(data[size_t(trailer) + 7]);
    const uint64_t objects = GetBigEndian(data, trailer + 8, 8);
    const uint64_t top = GetBigEndian(data, trailer + 16, 8);
    const uint64_t table = GetBigEndian(data, trailer + 24, 8);
    if (offsetSize < 1 || offsetSize > 8 || refSize < 1 || refSize > 8 || top >= objects) return false;
    // The table must lie between the header and the trailer: every count is checked against the
    // size before it is multiplied, so nothing overflows.
    if (table < kMagic.size() || table > trailer || objects > (trailer - table) / uint64_t(offsetSize)) return false;
    const uint64_t object = GetBigEndian(data, table + top * uint64_t(offsetSize), offsetSize);
    if (object < kMagic.size() || object >= table) return false;

    const uint8_t marker = uint8_t(data[size_t(object)]);
    const uint8_t kind = marker & 0xF0;
    if (kind != 0x50 && kind != 0x60 && kind != 0x70) return false;
    uint64_t count = marker & 0x0F;
    uint64_t at = object + 1;
    if (count == 0x0F) {
        if (at >= table) return false;
        const uint8_t intMarker = uint8_t(data[size_t(at)]);
        const int intSize = 1 << (intMarker & 0x0F);
        if ((intMarker & 0xF0) != 0x10 || intSize > 8 || at + 1 + uint64_t(intSize) > table) return false;
        count = GetBigEndian(data, at + 1, intSize);
        at += 1 + uint64_t(intSize);
    }
    const uint64_t unitSize = kind == 0x60 ? 2 : 1;
    if (count > (table - at) / unitSize) return false;
    const std::string_view bytes = data.substr(size_t(at), size_t(count * unitSize));
    if (kind == 0x60) {
        utf8 = UTF16BEToUTF8(bytes);
    } else {
        // ASCII and UTF-8 string objects: checked, so that the answer is always UTF-8.
        for (const char32_t c : DecodeUTF8(bytes)) AppendUTF8(kind == 0x50 && c >= 0x80 ? U'\uFFFD' : c, utf8);
    }
    return true;
}
