// The plug-in's own character conversions: Mac OS Roman and Windows-1252 bytes, the older host's
// Mac character set, UTF-16/UTF-32 characters, UTF-8 held as byte texts, and UTF-8 <-> Mac OS
// Roman C strings.
#ifndef ZERB_TEXT_CHARSETS_H
#define ZERB_TEXT_CHARSETS_H

#include <cstdint>
#include <string>
#include <string_view>

#include "fmx/fmx.h"

// A byte with the ASCII capitals A to Z lowered, as names and the scanners compare them.
inline unsigned char ZbLowerAscii(unsigned char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; }

// Replaces a malformed surrogate.
extern unsigned char gMyErrorChar;

// Upper halves (0x80..0xFF) of the byte sets mapped one to the other.
extern const unsigned char XP7_macToWinChars[128];
extern const unsigned char XP7_WinToMacChars[128];
extern const unsigned char XP7_macToWinCharsEuro[128];
extern const unsigned char XP7_WinToMacCharsEuro[128];
extern const uint32_t XP7_FMP6MacAsciiToUnicodeChars[128];

// Table 2 selects the euro tables, any other value the plain ones.
void XP_MacToWinStr(char *s, short table);
void XP_WinToMacStr(char *s, short table);
void XP_MacToWinStrN(char *p, long n, short table);
void XP_WinToMacStrN(char *p, long n, short table);

// Mac OS Roman byte -> code point (0xFFFFFFFF above 255), and back (0xFFFFFFFF when none).
unsigned long XP7_FMP6MacAsciiToUni(unsigned long b);
unsigned long XP7_UniToFMP6MacAscii(unsigned long u, unsigned char ohm);
// One character at *pos as its Mac OS Roman byte, with backslash escapes when asked; mode 20 maps
// the ohm sign to omega's byte.
unsigned long XP7_TxtCharToAscii(const fmx::TextUniquePtr &t, unsigned char escapes, unsigned long size,
                                 unsigned long *pos, short mode);

unsigned short XP7_Get1UTF16Char(const fmx::TextUniquePtr &t, unsigned long pos);
// The character at *pos, consuming a surrogate pair (*pos ends on the last unit consumed).
unsigned long XP7_Get1UTF32Char(const fmx::TextUniquePtr &t, unsigned long size, unsigned long *pos);
// Same, over units already read.
unsigned long XP7_UnitsUTF32Char(const char16_t *units, unsigned long size, unsigned long *pos);
long XP7_UTF32CharToUniStr(unsigned long c, unsigned short *out);
void XP7_AppendUTF32CharToTxt(unsigned long c, fmx::TextUniquePtr &t);
void XP7_AppendUniStrToTxt(const unsigned short *s, fmx::TextUniquePtr &t);
void XP7_AppendUnicodeStrToTxt(const unsigned short *s, unsigned long n, fmx::TextUniquePtr &t);

// UTF-8 as byte texts (one character per byte).
void XP7_TxtToUTF8Txt(const fmx::TextUniquePtr &src, fmx::TextUniquePtr &dst);
void XP7_UTF8TxtToTxt(const fmx::TextUniquePtr &src, fmx::TextUniquePtr &dst);
void XP7_UTF8TxtToUTF8CStr(const fmx::TextUniquePtr &src, char *buf, unsigned long max);
// The lenient decoder over raw bytes, appending UTF-16 units; used by XP7_UTF8TxtToTxt.
void ZbUTF8BytesToUnits(const unsigned char *bytes, size_t n, std::u16string &out);

// UTF-8 <-> Mac OS Roman C strings in place: at most max characters, "^" for a character the
// target lacks. 0, or -4238 when the conversion fails.
[[nodiscard]] long ZbMoreX_UTF8StrToMacRomanCStr(char *s, long max);
[[nodiscard]] long ZbMoreX_MacRomanToUTF8CStr(char *s, long max);
// Mac OS Roman bytes as UTF-8, up to the first zero byte.
std::string ZbMacRomanToUTF8(std::string_view bytes);

#endif
