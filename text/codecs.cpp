// Binary data as text: hex, byte texts, base64 and the container text.
//
// Every routine reads a host text once (XP7_TxtToUnits), works on whole buffers with table
// look-ups, and sets its result with one host call (XP7_UnitsToTxt); no host call is made per
// character or per byte.
#include "text/codecs.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "platform/errors.h"
#include "text/charsets.h"
#include "text/encoding.h"

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kHexDigits[] = "0123456789ABCDEF";

constexpr std::u16string_view kHeader = u"<ZERB_BINARY_CONTAINER10>";
constexpr std::u16string_view kTrailer = u"</ZERB_BINARY_CONTAINER10>";
constexpr std::u16string_view kSeparator = u"\r<- ->\r";
constexpr size_t kHexFieldLength = 8;
constexpr unsigned long kContainerLineLength = 72;
constexpr size_t kMaxBase64TxtLength = 0x7FFFFFFA;

// ---- tables ----

// Two base64 characters for each 12-bit value: a group of 3 bytes is two look-ups.
template <typename O>
struct Pair {
    O first, second;
};
template <typename O>
constexpr std::array<Pair<O>, 4096> MakeBase64Pairs() {
    std::array<Pair<O>, 4096> t{};
    for (unsigned v = 0; v < 4096; ++v) t[v] = {O(kAlphabet[v >> 6]), O(kAlphabet[v & 63])};
    return t;
}
template <typename O>
constexpr std::array<Pair<O>, 4096> kBase64Pairs = MakeBase64Pairs<O>();

// Character classes of the base64 decoder: 0..63 the digit's value, then padding, blanks, others.
constexpr uint8_t kPadClass = 64, kBlankClass = 65, kBadClass = 66;
constexpr std::array<uint8_t, 256> MakeBase64Classes() {
    std::array<uint8_t, 256> t{};
    for (auto &c : t) c = kBadClass;
    for (unsigned v = 0; v < 64; ++v) t[uint8_t(kAlphabet[v])] = uint8_t(v);
    t['='] = kPadClass;
    t['\r'] = t['\n'] = t['\t'] = t[' '] = kBlankClass;
    return t;
}
constexpr std::array<uint8_t, 256> kBase64Classes = MakeBase64Classes();

// The four characters of a group, each already shifted to its place in the 24-bit value; any
// character outside the alphabet sets the top bit, so one test covers the whole group.
constexpr uint32_t kNotDigit = 0x80000000u;
constexpr std::array<uint32_t, 256> MakeBase64Shifted(int shift) {
    std::array<uint32_t, 256> t{};
    for (unsigned c = 0; c < 256; ++c)
        t[c] = kBase64Classes[c] < 64 ? uint32_t(kBase64Classes[c]) << shift : kNotDigit;
    return t;
}
constexpr std::array<uint32_t, 256> kBase64Digit0 = MakeBase64Shifted(18), kBase64Digit1 = MakeBase64Shifted(12),
                                    kBase64Digit2 = MakeBase64Shifted(6), kBase64Digit3 = MakeBase64Shifted(0);

// Hex digits: value 0..15, or one of the two markers.
constexpr uint8_t kHexBlank = 0xFE, kHexBad = 0xFF;
constexpr std::array<uint8_t, 256> MakeHexValues() {
    std::array<uint8_t, 256> t{};
    for (auto &c : t) c = kHexBad;
    for (unsigned v = 0; v < 10; ++v) t['0' + v] = uint8_t(v);
    for (unsigned v = 0; v < 6; ++v) t['A' + v] = t['a' + v] = uint8_t(10 + v);
    t['\r'] = t['\n'] = t['\t'] = t[' '] = kHexBlank;
    return t;
}
constexpr std::array<uint8_t, 256> kHexValues = MakeHexValues();

template <typename C>
uint8_t HexValue(C c) {
    return uint32_t(c) < 256 ? kHexValues[uint32_t(c)] : kHexBad;
}

// Mac OS Roman: byte -> UTF-16 unit (every Mac OS Roman character is in the basic plane).
std::array<char16_t, 256> MakeMacRomanUnits() {
    std::array<char16_t, 256> t{};
    for (unsigned b = 0; b < 128; ++b) t[b] = char16_t(b);
    for (unsigned b = 128; b < 256; ++b) t[b] = char16_t(XP7_FMP6MacAsciiToUnicodeChars[b - 128]);
    return t;
}
const std::array<char16_t, 256> &MacRomanUnits() {
    static const std::array<char16_t, 256> table = MakeMacRomanUnits();
    return table;
}

// The Mac OS Roman byte of every basic-plane code point, "*" where the set has none: one look-up
// per character.
std::vector<uint8_t> MakeMacRomanBytes() {
    std::vector<uint8_t> t(0x10000, uint8_t('*'));
    for (unsigned u = 0; u < 128; ++u) t[u] = uint8_t(u);
    for (unsigned b = 128; b < 256; ++b) {
        const uint32_t code = XP7_FMP6MacAsciiToUnicodeChars[b - 128];
        if (code < t.size()) t[code] = uint8_t(b);
    }
    return t;
}
const std::vector<uint8_t> &MacRomanBytes() {
    static const std::vector<uint8_t> table = MakeMacRomanBytes();
    return table;
}

// Each character of a text as its Mac OS Roman byte, reading surrogate pairs as one character
// (a malformed one reads as the error character) and, when asked, "\0" as a zero byte and "\\" as
// one backslash. A backslash before anything else, or at the end, stands for itself.
void UnitsToMacRoman(std::u16string_view units, bool escapes, std::vector<unsigned char> &out) {
    const std::vector<uint8_t> &table = MacRomanBytes();
    out.resize(units.size());
    size_t o = 0;
    const unsigned long n = units.size();
    for (unsigned long i = 0; i < n; ++i) {
        const char16_t u = units[i];
        if (escapes && u == u'\\' && i + 1 < n && (units[i + 1] == u'0' || units[i + 1] == u'\\')) {
            out[o++] = units[i + 1] == u'0' ? 0 : '\\';
            ++i;
        } else if (u >= 0xD800 && u <= 0xDFFF) {
            const unsigned long c = XP7_UnitsUTF32Char(units.data(), n, &i);
            out[o++] = c < table.size() ? table[c] : uint8_t('*');
        } else {
            out[o++] = table[u];
        }
    }
    out.resize(o);
}

// ---- base64 ----

// The encoder behind XP7_Base64_EncodeBlock. A group is written only while `reserve` more than its
// 4 characters fit; a CR LF ends a line after groupsPerLine groups and before a group whose first
// byte is zero.
template <typename O>
long EncodeBase64Lines(const unsigned char *in, size_t inLen, O *out, size_t outCap, size_t reserve, size_t *outLen,
                       int lineLen) {
    const auto &pairs = kBase64Pairs<O>;
    const long groupsPerLine = lineLen / 4;
    long count = 0;
    size_t pos = 0, i = 0;
    while (i < inLen) {
        if (pos + 4 + reserve > outCap) {
            *outLen = pos;
            return kLengthErr;
        }
        const size_t left = inLen - i;
        if (left >= 3) {
            const uint32_t v = uint32_t(in[i]) << 16 | uint32_t(in[i + 1]) << 8 | in[i + 2];
            std::memcpy(out + pos, &pairs[v >> 12], sizeof(Pair<O>));
            std::memcpy(out + pos + 2, &pairs[v & 0xFFF], sizeof(Pair<O>));
            i += 3;
        } else {
            const uint32_t v = uint32_t(in[i]) << 16 | (left == 2 ? uint32_t(in[i + 1]) << 8 : 0);
            out[pos] = O(kAlphabet[v >> 18]);
            out[pos + 1] = O(kAlphabet[(v >> 12) & 63]);
            out[pos + 2] = left == 2 ? O(kAlphabet[(v >> 6) & 63]) : O('=');
            out[pos + 3] = O('=');
            i = inLen;
        }
        pos += 4;
        if (++count == groupsPerLine || (i < inLen && in[i] == 0)) {
            if (pos + 2 > outCap) {
                *outLen = pos;
                return kLengthErr;
            }
            out[pos] = O('\r');
            out[pos + 1] = O('\n');
            pos += 2;
            count = 0;
        }
    }
    *outLen = pos;
    return 0;
}

// Encodes whole lines ended by a single CR: one after every groupsPerLine groups and one at the
// end. out holds exactly the length Base64CRLength gives.
size_t Base64CRLength(size_t inLen, size_t groupsPerLine) {
    const size_t groups = (inLen + 2) / 3;
    return groups * 4 + (groups + groupsPerLine - 1) / groupsPerLine;
}
void EncodeBase64CR(const unsigned char *in, size_t inLen, size_t groupsPerLine, char16_t *out) {
    const auto &pairs = kBase64Pairs<char16_t>;
    size_t pos = 0, count = 0, i = 0;
    for (; i + 3 <= inLen; i += 3) {
        const uint32_t v = uint32_t(in[i]) << 16 | uint32_t(in[i + 1]) << 8 | in[i + 2];
        std::memcpy(out + pos, &pairs[v >> 12], sizeof(Pair<char16_t>));
        std::memcpy(out + pos + 2, &pairs[v & 0xFFF], sizeof(Pair<char16_t>));
        pos += 4;
        if (++count == groupsPerLine) {
            out[pos++] = u'\r';
            count = 0;
        }
    }
    if (i < inLen) {
        const size_t left = inLen - i;
        const uint32_t v = uint32_t(in[i]) << 16 | (left == 2 ? uint32_t(in[i + 1]) << 8 : 0);
        out[pos] = char16_t(kAlphabet[v >> 18]);
        out[pos + 1] = char16_t(kAlphabet[(v >> 12) & 63]);
        out[pos + 2] = left == 2 ? char16_t(kAlphabet[(v >> 6) & 63]) : u'=';
        out[pos + 3] = u'=';
        pos += 4;
        ++count;
    }
    if (count != 0) out[pos] = u'\r';
}

template <typename C>
uint8_t Base64Class(C c) {
    return uint32_t(c) < 256 ? kBase64Classes[uint32_t(c)] : kBadClass;
}

// The decoder: whole groups of four alphabet characters go through the fast loop; blanks, padding
// and errors are handled one group at a time by the slow path, which then returns to the fast loop.
template <typename C>
long DecodeBase64(const C *in, size_t n, unsigned char *out, size_t outCap, size_t *outLen) {
    size_t i = 0, o = 0;
    *outLen = 0;
    for (;;) {
        while (i + 4 <= n && o + 3 <= outCap) {
            const uint32_t a = in[i], b = in[i + 1], c = in[i + 2], d = in[i + 3];
            if constexpr (sizeof(C) > 1) {
                if ((a | b | c | d) > 0xFF) break;
            }
            const uint32_t v = kBase64Digit0[a] | kBase64Digit1[b] | kBase64Digit2[c] | kBase64Digit3[d];
            if (v & kNotDigit) break;
            out[o] = uint8_t(v >> 16);
            out[o + 1] = uint8_t(v >> 8);
            out[o + 2] = uint8_t(v);
            o += 3;
            i += 4;
        }
        uint8_t digits[4];
        int k = 0;
        while (k < 4 && i < n) {
            const uint8_t cls = Base64Class(in[i]);
            if (cls == kBlankClass) {
                ++i;
                continue;
            }
            if (cls == kBadClass) return kParamErr;
            if (cls == kPadClass) break;
            digits[k++] = cls;
            ++i;
        }
        if (k == 4) {
            if (o + 3 > outCap) return kLengthErr;
            const uint32_t v = uint32_t(digits[0]) << 18 | uint32_t(digits[1]) << 12 | uint32_t(digits[2]) << 6 | digits[3];
            out[o] = uint8_t(v >> 16);
            out[o + 1] = uint8_t(v >> 8);
            out[o + 2] = uint8_t(v);
            o += 3;
            continue;
        }
        if (i >= n) {
            if (k != 0) return kParamErr;  // a group cut short
            *outLen = o;
            return 0;
        }
        // Padding: "xx==" or "xxx=", then nothing but blanks.
        if (k < 2) return kParamErr;
        int pads = 0;
        for (; i < n; ++i) {
            const uint8_t cls = Base64Class(in[i]);
            if (cls == kBlankClass) continue;
            if (cls != kPadClass || ++pads > 4 - k) return kParamErr;
        }
        if (pads != 4 - k) return kParamErr;
        if (o + size_t(k - 1) > outCap) return kLengthErr;
        const uint32_t v = uint32_t(digits[0]) << 18 | uint32_t(digits[1]) << 12 | (k == 3 ? uint32_t(digits[2]) << 6 : 0);
        out[o++] = uint8_t(v >> 16);
        if (k == 3) out[o++] = uint8_t(v >> 8);
        *outLen = o;
        return 0;
    }
}

// ---- hex ----

template <typename C>
long DecodeHex(const C *in, size_t n, bool skipBlanks, std::vector<unsigned char> &out) {
    out.resize(n / 2);
    size_t o = 0;
    int high = -1;
    for (size_t i = 0; i < n; ++i) {
        const uint8_t v = HexValue(in[i]);
        if (v == kHexBlank && skipBlanks) continue;
        if (v > 15) {
            out.clear();
            return kParamErr;
        }
        if (high < 0) {
            high = v;
        } else {
            out[o++] = uint8_t(high << 4 | v);
            high = -1;
        }
    }
    if (high >= 0) {
        out.clear();
        return kParamErr;
    }
    out.resize(o);
    return 0;
}

void AppendHex32(std::u16string &out, uint32_t v) {
    for (int shift = 28; shift >= 0; shift -= 4) out.push_back(char16_t(kHexDigits[(v >> shift) & 15]));
}

// Exactly 8 hex digits at *pos of text.
bool ReadHex32(std::u16string_view text, size_t *pos, uint32_t *value) {
    if (text.size() < *pos || text.size() - *pos < kHexFieldLength) return false;
    uint32_t v = 0;
    for (size_t k = 0; k < kHexFieldLength; ++k) {
        const uint8_t d = HexValue(text[*pos + k]);
        if (d > 15) return false;
        v = v << 4 | d;
    }
    *pos += kHexFieldLength;
    *value = v;
    return true;
}

std::u16string ByteUnits(const unsigned char *p, size_t n) {
    std::u16string units(n, u'\0');
    for (size_t i = 0; i < n; ++i) units[i] = p[i];
    return units;
}

bool IsBlank(char16_t c) { return c == u'\r' || c == u'\n' || c == u'\t' || c == u' '; }

// ---- containers ----

// Appends one stream's data to text: as hex digits, or as base64 in CR LF lines of lineLen. The
// stream index and size have been checked by the caller.
long AppendStreamData(const fmx::BinaryData &data, int stream, uint32_t size, bool hex, int lineLen,
                      std::u16string &text, size_t *appended) {
    std::vector<unsigned char> bytes(size);
    if (size != 0 && data.GetData(stream, 0, size, bytes.data()) != 0) return kParamErr;
    const size_t start = text.size();
    if (hex) {
        ZbHexEncode(bytes.data(), bytes.size(), text);
    } else {
        const size_t length = ZbBase64EncodedLength(bytes.data(), bytes.size(), lineLen);
        text.resize(start + length);
        size_t written = 0;
        const long err = EncodeBase64Lines(bytes.data(), bytes.size(), text.data() + start, length, 0, &written, lineLen);
        if (err != 0) return err;
    }
    *appended = text.size() - start;
    return 0;
}

long WriteContainerText(const fmx::DataVect &parms, fmx::TextUniquePtr &out, unsigned long *index, bool hex) {
    if (index == nullptr || *index >= parms.Size()) return kParamErr;
    const fmx::BinaryData &data = parms.AtAsBinaryData(fmx::uint32(*index));
    const fmx::int32 count = data.GetCount();
    if (count <= 0) return kNoDataErr;
    std::u16string text(kHeader);
    AppendHex32(text, uint32_t(count));
    fmx::QuadCharUniquePtr type;
    std::u16string streamText;
    for (fmx::int32 s = 0; s < count; ++s) {
        data.GetType(s, *type);
        const uint32_t size = data.GetSize(s);
        streamText.clear();
        size_t length = 0;
        const long err = AppendStreamData(data, s, size, hex, int(kContainerLineLength), streamText, &length);
        if (err != 0) return err;
        if (length > 0xFFFFFFFFu) return kLengthErr;  // the length field has 8 digits
        text += kSeparator;
        AppendHex32(text, type->GetMacType());
        AppendHex32(text, size);
        AppendHex32(text, uint32_t(length));
        text += streamText;
    }
    text += kTrailer;
    XP7_UnitsToTxt(text, out, false);
    ++*index;
    return 0;
}

long ReadContainerText(const fmx::TextUniquePtr &t, fmx::BinaryDataUniquePtr &data, short dataForm) {
    const std::u16string units = XP7_TxtToUnits(*t);
    std::u16string_view v(units);
    while (!v.empty() && IsBlank(v.front())) v.remove_prefix(1);
    while (!v.empty() && IsBlank(v.back())) v.remove_suffix(1);
    if (v.size() < kHeader.size() + kTrailer.size() || v.substr(0, kHeader.size()) != kHeader ||
        v.substr(v.size() - kTrailer.size()) != kTrailer)
        return kParamErr;
    // The records are read from the text between header and trailer, so no length can reach into
    // the trailer.
    const std::u16string_view body = v.substr(0, v.size() - kTrailer.size());
    size_t pos = kHeader.size();
    uint32_t count = 0;
    if (!ReadHex32(body, &pos, &count) || count == 0) return kParamErr;
    // The shortest record: separator, three fields and at least two characters of data.
    const size_t shortestRecord = kSeparator.size() + 3 * kHexFieldLength + 2;
    if (count > (body.size() - pos) / shortestRecord) return kParamErr;
    fmx::BinaryDataUniquePtr fresh;
    for (uint32_t k = 0; k < count; ++k) {
        unsigned long at = pos;
        const long err = XP7_AddOneFMBinaryData(body, &at, dataForm, *fresh);
        if (err != 0) return err;
        pos = at;
    }
    if (pos != body.size()) return kParamErr;
    data = std::move(fresh);
    return 0;
}

}  // namespace

// ---- hex text ----

void ZbHexEncode(const unsigned char *p, size_t n, std::u16string &out) {
    const size_t start = out.size();
    out.resize(start + 2 * n);
    char16_t *o = out.data() + start;
    for (size_t i = 0; i < n; ++i) {
        o[2 * i] = char16_t(kHexDigits[p[i] >> 4]);
        o[2 * i + 1] = char16_t(kHexDigits[p[i] & 15]);
    }
}

long ZbHexDecode(std::u16string_view in, bool skipBlanks, std::vector<unsigned char> &out) {
    return DecodeHex(in.data(), in.size(), skipBlanks, out);
}

void XP7_BlockToHexTxt(const char *p, unsigned long n, fmx::TextUniquePtr &out) {
    if (n == 0) return;
    std::u16string units;
    ZbHexEncode(reinterpret_cast<const unsigned char *>(p), n, units);
    XP7_UnitsToTxt(units, out, true);
}

long XP7_Get1HexTxtChar(const fmx::TextUniquePtr &t, unsigned long *pos) {
    const unsigned long size = t->GetSize();
    if (*pos >= size || size - *pos < 2) return kParamErr;
    fmx::uint16 digits[2];
    t->GetUnicode(digits, fmx::uint32(*pos), 2);
    const uint8_t high = HexValue(digits[0]), low = HexValue(digits[1]);
    if (high > 15 || low > 15) return kParamErr;
    *pos += 2;
    return long(high << 4 | low);
}

long XP7_HexTxtToBlock(const fmx::TextUniquePtr &t, std::vector<unsigned char> &out) {
    std::vector<unsigned char> bytes;
    const long err = ZbHexDecode(XP7_TxtToUnits(*t), false, bytes);
    if (err == 0) out.swap(bytes);
    return err;
}

long XP7_RemoveHexTxt(fmx::TextUniquePtr &t, unsigned char skipBlanks) {
    std::vector<unsigned char> bytes;
    const long err = ZbHexDecode(XP7_TxtToUnits(*t), skipBlanks != 0, bytes);
    if (err == 0) XP7_UnitsToTxt(ByteUnits(bytes.data(), bytes.size()), t, false);
    return err;
}

// ---- byte texts ----

void XP7_BlockToBinTxt(const char *p, unsigned long n, fmx::TextUniquePtr &out, ZbTextEncoding e) {
    if (n == 0) return;
    if (e == kZbEncodingBytesOnly)
        XP7_UnitsToTxt(ByteUnits(reinterpret_cast<const unsigned char *>(p), n), out, true);
    else
        XP7_BlockToTxt(p, n, out, e, 1);
}

unsigned long XP7_BinTxtToBlock(const fmx::TextUniquePtr &t, unsigned long *pos, unsigned long max,
                                unsigned char *buf) {
    const unsigned long size = t->GetSize();
    const unsigned long start = std::min(*pos, size);
    const unsigned long count = std::min(max, size - start);
    if (count != 0) {
        std::u16string units(count, u'\0');
        t->GetUnicode(reinterpret_cast<fmx::uint16 *>(units.data()), fmx::uint32(start), fmx::uint32(count));
        for (unsigned long k = 0; k < count; ++k) buf[k] = units[k] < 256 ? uint8_t(units[k]) : uint8_t('?');
    }
    if (max > count) std::memset(buf + count, 0, max - count);
    *pos += count;
    return count;
}

unsigned long XP7_RemoveBinTxt(fmx::TextUniquePtr &t) {
    std::u16string units = XP7_TxtToUnits(*t);
    unsigned long replaced = 0;
    for (char16_t &u : units) {
        if (u > 255) {
            u = u'?';
            ++replaced;
        }
    }
    if (replaced != 0) XP7_UnitsToTxt(units, t, false);
    return replaced;
}

// ---- base64 ----

unsigned long ZbBase64EncodedLength(const unsigned char *in, unsigned long inLen, int lineLen) {
    const long groupsPerLine = lineLen / 4;
    unsigned long length = 0;
    long count = 0;
    for (unsigned long i = 0; i < inLen;) {
        i = inLen - i > 3 ? i + 3 : inLen;
        length += 4;
        if (++count == groupsPerLine || (i < inLen && in[i] == 0)) {
            length += 2;
            count = 0;
        }
    }
    return length;
}

// The output position is checked before each group: while it is no more than outCap - 5, the group
// is written; a line break is written only when both of its bytes fit.
long XP7_Base64_EncodeBlock(const unsigned char *in, unsigned long inLen, unsigned char *out, unsigned long outCap,
                            unsigned long *outLen, int lineLen) {
    size_t written = 0;
    const long err = EncodeBase64Lines(in, inLen, out, outCap, 1, &written, lineLen);
    *outLen = written;
    return err;
}

long ZbBase64DecodeBlock(const unsigned char *in, size_t n, unsigned char *out, size_t outCap, size_t *outLen) {
    return DecodeBase64(in, n, out, outCap, outLen);
}

long ZbBase64DecodeBlock(const char16_t *in, size_t n, unsigned char *out, size_t outCap, size_t *outLen) {
    return DecodeBase64(in, n, out, outCap, outLen);
}

long ZbBase64Decode(std::u16string_view in, std::vector<unsigned char> &out) {
    out.resize(in.size() / 4 * 3);
    size_t length = 0;
    const long err = DecodeBase64(in.data(), in.size(), out.data(), out.size(), &length);
    out.resize(err == 0 ? length : 0);
    return err;
}

long XP7_TxtToBase64Txt(const fmx::TextUniquePtr &src, short srcForm, ZbTextEncoding e, unsigned long lineLen,
                        fmx::TextUniquePtr &out) {
    if (e != fmx::Text::kEncoding_ASCII_Mac) return kParamErr;
    const std::u16string units = XP7_TxtToUnits(*src);
    std::vector<unsigned char> bytes;
    if (srcForm == kZbFormHex) {
        if (ZbHexDecode(units, false, bytes) != 0) return kParamErr;
    } else {
        UnitsToMacRoman(units, srcForm == kZbFormCharsEscaped, bytes);
    }
    const size_t groupsPerLine = std::max<unsigned long>(lineLen / 4, 1);
    const size_t length = Base64CRLength(bytes.size(), groupsPerLine);
    if (length > kMaxBase64TxtLength) return kLengthErr;
    std::u16string text(length, u'\0');
    EncodeBase64CR(bytes.data(), bytes.size(), groupsPerLine, text.data());
    XP7_UnitsToTxt(text, out, false);
    return 0;
}

long XP7_Base64TxtToTxt(const fmx::TextUniquePtr &src, unsigned char escapes, ZbTextEncoding e, short dstForm,
                        fmx::TextUniquePtr &out) {
    if (e != fmx::Text::kEncoding_ASCII_Mac) return kParamErr;
    std::vector<unsigned char> bytes;
    if (ZbBase64Decode(XP7_TxtToUnits(*src), bytes) != 0) return kParamErr;
    std::u16string text;
    if (dstForm == kZbFormHex) {
        ZbHexEncode(bytes.data(), bytes.size(), text);
    } else {
        const auto &units = MacRomanUnits();
        if (escapes == 0) {
            text.resize(bytes.size());
            for (size_t i = 0; i < bytes.size(); ++i) text[i] = units[bytes[i]];
        } else {
            text.reserve(bytes.size());
            for (const unsigned char b : bytes) {
                if (b == 0 || b == '\\') {
                    text.push_back(u'\\');
                    text.push_back(b == 0 ? u'0' : u'\\');
                } else {
                    text.push_back(units[b]);
                }
            }
        }
    }
    XP7_UnitsToTxt(text, out, false);
    return 0;
}

// ---- container values ----

long XP7_FMBinaryDataToBase64Txt(const fmx::BinaryData &data, int stream, unsigned long size, int lineLen,
                                 fmx::TextUniquePtr &out, unsigned long *outLen) {
    if (stream < 0 || stream >= data.GetCount() || size > data.GetSize(stream)) return kParamErr;
    std::u16string text;
    size_t appended = 0;
    const long err = AppendStreamData(data, stream, uint32_t(size), false, lineLen, text, &appended);
    if (err != 0) return err;
    if (!text.empty()) XP7_UnitsToTxt(text, out, true);
    if (outLen != nullptr) *outLen = appended;
    return 0;
}

long XP7_GetFMBinaryDataAsBase64TxtFromVect(const fmx::DataVect &parms, fmx::TextUniquePtr &out,
                                            unsigned long *index) {
    return WriteContainerText(parms, out, index, false);
}

long XP7_GetBinaryAsHxtTxtFromVect(const fmx::DataVect &parms, fmx::TextUniquePtr &out, unsigned long *index) {
    return WriteContainerText(parms, out, index, true);
}

long XP7_Base64TxtToFMBinaryData(const fmx::TextUniquePtr &text, fmx::BinaryDataUniquePtr &data) {
    return ReadContainerText(text, data, 0);
}

long XP7_HxtTxtToBinary(const fmx::TextUniquePtr &text, fmx::BinaryDataUniquePtr &data) {
    return ReadContainerText(text, data, kZbFormHex);
}

long XP7_AddOneFMBinaryData(std::u16string_view text, unsigned long *pos, short dataForm, fmx::BinaryData &data) {
    size_t p = *pos;
    if (p > text.size() || text.substr(p, kSeparator.size()) != kSeparator) return kParamErr;
    p += kSeparator.size();
    uint32_t type = 0, size = 0, length = 0;
    if (!ReadHex32(text, &p, &type) || !ReadHex32(text, &p, &size) || !ReadHex32(text, &p, &length))
        return kParamErr;
    if (size == 0 || length > text.size() - p) return kParamErr;
    const std::u16string_view encoded = text.substr(p, length);
    std::vector<unsigned char> bytes;
    if (dataForm == kZbFormHex) {
        if (uint64_t(size) * 2 != length || ZbHexDecode(encoded, false, bytes) != 0) return kParamErr;
    } else {
        // At most 3 bytes per 4 characters: a size the data cannot hold is refused before the
        // buffer is made.
        if (size > length / 4 * 3) return kParamErr;
        bytes.resize(size);
        size_t decoded = 0;
        if (DecodeBase64(encoded.data(), encoded.size(), bytes.data(), bytes.size(), &decoded) != 0 ||
            decoded != size)
            return kParamErr;
    }
    fmx::QuadCharUniquePtr quad;
    quad->SetMacType(type);
    if (data.Add(*quad, size, bytes.data()) != 0) return kParamErr;
    *pos = p + length;
    return 0;
}

std::string ZbBase64Text(std::string_view bytes) {
    const auto &pairs = kBase64Pairs<char>;
    const auto *in = reinterpret_cast<const unsigned char *>(bytes.data());
    const size_t n = bytes.size();
    std::string out((n + 2) / 3 * 4, '=');
    size_t pos = 0, i = 0;
    for (; i + 3 <= n; i += 3, pos += 4) {
        const uint32_t v = uint32_t(in[i]) << 16 | uint32_t(in[i + 1]) << 8 | in[i + 2];
        std::memcpy(&out[pos], &pairs[v >> 12], sizeof(Pair<char>));
        std::memcpy(&out[pos + 2], &pairs[v & 0xFFF], sizeof(Pair<char>));
    }
    if (i < n) {
        const bool two = n - i == 2;
        const uint32_t v = uint32_t(in[i]) << 16 | (two ? uint32_t(in[i + 1]) << 8 : 0);
        out[pos] = kAlphabet[v >> 18];
        out[pos + 1] = kAlphabet[(v >> 12) & 63];
        if (two) out[pos + 2] = kAlphabet[(v >> 6) & 63];
    }
    return out;
}
