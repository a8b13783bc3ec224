// Host text to bytes and back, in the encoding a call chooses with "-Encoding=".
#ifndef ZERB_TEXT_ENCODING_H
#define ZERB_TEXT_ENCODING_H

#include <string>

#include "fmx/fmx.h"

// The encoding of a call: a host encoding (fmx::Text::Encoding, 0 to 36) or the plug-in's own
// BytesOnly, which the host's enumeration cannot hold.
using ZbTextEncoding = int;
// One character is one byte (its low 8 bits), no conversion.
constexpr ZbTextEncoding kZbEncodingBytesOnly = 4200;

// The encoding chosen by "-Encoding=<name>" in the switches, or the default.
ZbTextEncoding XP7_GetEncodingSwitch(const char *switches, ZbTextEncoding defaultEncoding);
// True for ASCII_DOS, ASCII_Windows, ASCII_Mac and BytesOnly.
bool XP7_IsOneCharIsOneByteEncoding(ZbTextEncoding encoding);

void XP7_CStrToTxt(const char *s, fmx::TextUniquePtr &t, ZbTextEncoding e);
void XP7_AppendCStrToTxt(const char *s, fmx::TextUniquePtr &t, ZbTextEncoding e);
// Appends one byte decoded in the encoding. In ASCII_Mac 0xF0 is the Apple logo (U+F8FF), and 0xBD
// the Greek capital omega (U+03A9) unless `macOmega` is false, when it decodes as the host has it.
void XP7_AppendCharToTxt(char c, fmx::TextUniquePtr &t, ZbTextEncoding e, bool macOmega = true);
void XP7_AppendMacASCIICharToTxt(unsigned char c, fmx::TextUniquePtr &t);
// Decodes exactly n bytes (zero bytes included); append 0 replaces t. n of 0 leaves t untouched.
void XP7_BlockToTxt(const char *p, unsigned long n, fmx::TextUniquePtr &t, ZbTextEncoding e,
                    unsigned char append);
// Appends n decoded bytes; -302 when n is not 0 but nothing decodes.
[[nodiscard]] long XP7_AppendBlockToTxt(const char *p, unsigned long n, fmx::TextUniquePtr &t, ZbTextEncoding e,
                                        unsigned char flag);
// Characters start .. start+count-1 (count 0xFFFFFFFF: to the end) as a zero-terminated byte string
// in buf. BytesOnly writes at most size bytes and a zero (buf holds size + 1); other encodings
// write at most size - 1 bytes and a zero.
void XP7_TxtToCStr(const fmx::TextUniquePtr &t, unsigned long start, unsigned long count, unsigned long size,
                   char *buf, ZbTextEncoding e);
// The character at pos as one byte: its code below 256, else "?" (also when pos >= size).
unsigned char XP7_GetOneByte(const fmx::TextUniquePtr &t, unsigned long size, unsigned long pos);
// One XP7_GetOneByte byte per character, at most max, no terminator.
void XP7_TxtToBlock_ASCII(const fmx::TextUniquePtr &t, unsigned long max, unsigned char *buf, unsigned long *len);
// The whole text through the host's conversion in e, at most size bytes.
void XP7_TxtToBlock(const fmx::TextUniquePtr &t, ZbTextEncoding &e, unsigned long size, unsigned char *buf,
                    unsigned long *len);
// 7-bit copies; other characters become "*".
long XP7_UniStrToCStrSimple(const unsigned short *s, char *out, unsigned long max);
[[nodiscard]] long XP7_CStrToUniStrSimple(const char *s, unsigned short *out, unsigned long max);
bool XP7_HasOnlyLowerASCIIinTxt(const fmx::TextUniquePtr &t);
void XP7_CopyDefaultStyle(const fmx::Text &src, fmx::TextUniquePtr &dst);

// Bulk access used by the converters: all UTF-16 units of a text in one read, and a text set from
// units in one write.
std::u16string XP7_TxtToUnits(const fmx::Text &t);
void XP7_UnitsToTxt(const std::u16string &units, fmx::TextUniquePtr &t, bool append = false);

#endif
