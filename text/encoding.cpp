#include "text/encoding.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "core/params.h"
#include "platform/errors.h"
#include "text/charsets.h"

namespace {

// Switch words in the order they are tested; the first found decides. Native comes before UTF8,
// and "-Encoding=ISO_8859_1" is found inside "-Encoding=ISO_8859_15", so 36 is never chosen.
constexpr const char *kEncodingSwitches[] = {
    "-Encoding=Native",          "-Encoding=UTF8",           "-Encoding=ASCII_DOS",
    "-Encoding=ASCII_Windows",   "-Encoding=ASCII_Mac",      "-Encoding=ISO_8859_1",
    "-Encoding=ShiftJIS_Mac",    "-Encoding=ShiftJIS_Win",   "-Encoding=Korean_Mac",
    "-Encoding=Korean_Win",      "-Encoding=Korean_Johab",   "-Encoding=ChineseTrad_Mac",
    "-Encoding=ChineseTrad_Win", "-Encoding=ChineseSimp_Mac", "-Encoding=ChineseSimp_Win",
    "-Encoding=Cyrillic_Mac",    "-Encoding=Cyrillic_Win",   "-Encoding=ISO_8859_5",
    "-Encoding=CentralEurope_Mac", "-Encoding=EasternEurope_Win", "-Encoding=ISO_8859_2",
    "-Encoding=Turkish_Mac",     "-Encoding=Turkish_Win",    "-Encoding=ISO_8859_3",
    "-Encoding=ISO_8859_9",      "-Encoding=Baltic_Win",     "-Encoding=ISO_8859_4",
    "-Encoding=Arabic_Mac",      "-Encoding=Arabic_Win",     "-Encoding=ISO_8859_6",
    "-Encoding=Greek_Mac",       "-Encoding=Greek_Win",      "-Encoding=ISO_8859_7",
    "-Encoding=Hebrew_Mac",      "-Encoding=Hebrew_Win",     "-Encoding=ISO_8859_8",
    "-Encoding=ISO_8859_15"};

// Decodes bytes into t (replacing it); BytesOnly is ours, the host never sees it.
void DecodeInto(const char *p, unsigned long n, fmx::TextUniquePtr &t, ZbTextEncoding e) {
    if (e == kZbEncodingBytesOnly) {
        std::u16string units(n, u'\0');
        for (size_t k = 0; k < n; ++k) units[k] = static_cast<unsigned char>(p[k]);
        XP7_UnitsToTxt(units, t);
    } else {
        t->AssignWithLength(p, fmx::uint32(n), static_cast<fmx::Text::Encoding>(e));
    }
}

}  // namespace

ZbTextEncoding XP7_GetEncodingSwitch(const char *switches, ZbTextEncoding defaultEncoding) {
    if (!XP_HasSwitch(switches, "-Encoding=")) return defaultEncoding;
    for (size_t k = 0; k < std::size(kEncodingSwitches); ++k)
        if (XP_HasSwitch(switches, kEncodingSwitches[k])) return static_cast<ZbTextEncoding>(k);
    return defaultEncoding;
}

bool XP7_IsOneCharIsOneByteEncoding(ZbTextEncoding encoding) {
    return encoding == fmx::Text::kEncoding_ASCII_DOS || encoding == fmx::Text::kEncoding_ASCII_Windows ||
           encoding == fmx::Text::kEncoding_ASCII_Mac || encoding == kZbEncodingBytesOnly;
}

std::u16string XP7_TxtToUnits(const fmx::Text &t) {
    std::u16string units(t.GetSize(), u'\0');
    if (!units.empty()) t.GetUnicode(reinterpret_cast<fmx::uint16 *>(units.data()), 0, fmx::uint32(units.size()));
    return units;
}

void XP7_UnitsToTxt(const std::u16string &units, fmx::TextUniquePtr &t, bool append) {
    const auto *p = reinterpret_cast<const fmx::uint16 *>(units.data());
    if (!append) {
        t->AssignUnicodeWithLength(p, fmx::uint32(units.size()));
    } else if (!units.empty()) {
        fmx::TextUniquePtr tail;
        tail->AssignUnicodeWithLength(p, fmx::uint32(units.size()));
        t->AppendText(*tail);
    }
}

void XP7_CStrToTxt(const char *s, fmx::TextUniquePtr &t, ZbTextEncoding e) {
    DecodeInto(s, std::strlen(s), t, e);
}

void XP7_AppendCStrToTxt(const char *s, fmx::TextUniquePtr &t, ZbTextEncoding e) {
    fmx::TextUniquePtr decoded;
    XP7_CStrToTxt(s, decoded, e);
    t->AppendText(*decoded);
}

void XP7_AppendCharToTxt(char c, fmx::TextUniquePtr &t, ZbTextEncoding e, bool macOmega) {
    const auto byte = static_cast<unsigned char>(c);
    if (e == fmx::Text::kEncoding_ASCII_Mac) {
        if (byte == 0xF0) return XP7_AppendUTF32CharToTxt(0xF8FF, t);  // the Apple logo
        if (macOmega && byte == 0xBD) return XP7_AppendUTF32CharToTxt(0x03A9, t);  // omega
    }
    fmx::TextUniquePtr decoded;
    DecodeInto(&c, 1, decoded, e);  // a zero byte stays one character of code 0
    t->AppendText(*decoded);
}

void XP7_AppendMacASCIICharToTxt(unsigned char c, fmx::TextUniquePtr &t) {
    XP7_AppendUTF32CharToTxt(XP7_FMP6MacAsciiToUni(c), t);
}

void XP7_BlockToTxt(const char *p, unsigned long n, fmx::TextUniquePtr &t, ZbTextEncoding e,
                    unsigned char append) {
    if (n == 0) return;
    if (!append) return DecodeInto(p, n, t, e);
    fmx::TextUniquePtr decoded;
    DecodeInto(p, n, decoded, e);
    t->AppendText(*decoded);
}

long XP7_AppendBlockToTxt(const char *p, unsigned long n, fmx::TextUniquePtr &t, ZbTextEncoding e,
                          unsigned char /*flag*/) {
    if (n == 0) return 0;
    fmx::TextUniquePtr decoded;
    DecodeInto(p, n, decoded, e);
    if (decoded->GetSize() == 0) return kBadExifErr;
    t->AppendText(*decoded);
    return 0;
}

unsigned char XP7_GetOneByte(const fmx::TextUniquePtr &t, unsigned long size, unsigned long pos) {
    if (pos >= size) return '?';
    fmx::uint16 unit = 0;
    t->GetUnicode(&unit, fmx::uint32(pos), 1);
    return unit < 256 ? static_cast<unsigned char>(unit) : '?';
}

void XP7_TxtToCStr(const fmx::TextUniquePtr &t, unsigned long start, unsigned long count, unsigned long size,
                   char *buf, ZbTextEncoding e) {
    if (e != kZbEncodingBytesOnly) {
        if (size == 0) return;
        t->GetBytes(buf, fmx::uint32(size), fmx::uint32(start),
                    count >= 0xFFFFFFFFul ? fmx::uint32(fmx::Text::kSize_End) : fmx::uint32(count),
                    static_cast<fmx::Text::Encoding>(e));
        return;
    }
    const std::u16string units = XP7_TxtToUnits(*t);
    unsigned long end = units.size();
    if (count < 0xFFFFFFFFul && start + count <= end) end = start + count;
    unsigned long written = 0;
    for (unsigned long pos = start; pos < end && written < size; ++pos)
        buf[written++] = units[pos] < 256 ? char(units[pos]) : '?';
    buf[written] = 0;
}

void XP7_TxtToBlock_ASCII(const fmx::TextUniquePtr &t, unsigned long max, unsigned char *buf, unsigned long *len) {
    const std::u16string units = XP7_TxtToUnits(*t);
    const unsigned long n = std::min<unsigned long>(max, units.size());
    for (unsigned long k = 0; k < n; ++k) buf[k] = units[k] < 256 ? static_cast<unsigned char>(units[k]) : '?';
    *len = n;
}

void XP7_TxtToBlock(const fmx::TextUniquePtr &t, ZbTextEncoding &e, unsigned long size, unsigned char *buf,
                    unsigned long *len) {
    if (e == kZbEncodingBytesOnly) return XP7_TxtToBlock_ASCII(t, size, buf, len);
    *len = t->GetBytesEx(reinterpret_cast<char *>(buf), fmx::uint32(size), 0, fmx::Text::kSize_End,
                         static_cast<fmx::Text::Encoding>(e));
}

long XP7_UniStrToCStrSimple(const unsigned short *s, char *out, unsigned long max) {
    if (max == 0) return 0;
    unsigned long n = 0;
    for (; s[n] && n < max - 1; ++n) out[n] = s[n] < 128 ? char(s[n]) : '*';
    out[n] = 0;
    return 0;
}

long XP7_CStrToUniStrSimple(const char *s, unsigned short *out, unsigned long max) {
    if (max == 0) return 0;
    unsigned long n = 0;
    for (; s[n] && n < max - 1; ++n) {
        const auto byte = static_cast<unsigned char>(s[n]);
        out[n] = byte < 128 ? byte : u'*';
    }
    out[n] = 0;
    return long(n * 2);
}

bool XP7_HasOnlyLowerASCIIinTxt(const fmx::TextUniquePtr &t) {
    const std::u16string units = XP7_TxtToUnits(*t);
    for (unsigned long pos = 0; pos < units.size(); ++pos)
        if (XP7_UnitsUTF32Char(units.data(), units.size(), &pos) > 127) return false;
    return true;
}

void XP7_CopyDefaultStyle(const fmx::Text &src, fmx::TextUniquePtr &dst) {
    if (src.GetSize() == 0) return;
    dst->SetText(src, 0, 1);
    dst->DeleteText(0, 1);
}
