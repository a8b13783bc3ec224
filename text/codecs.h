// Binary data as text: hexadecimal digits, byte texts, base64, and the framed container text that
// carries every stream of a host container value.
//
// Forms shared by the routines below:
//   hex text      two digits per byte, high nibble first, written in upper case, read in either case
//   byte text     one character per byte, the character's code is the byte (see text/encoding.h)
//   base64        the standard alphabet with "=" padding, 4 characters per 3 bytes
//   container     "<ZERB_BINARY_CONTAINER10>", the stream count as 8 hex digits, then per stream
//                 CR "<- ->" CR, its type, size and data length (8 hex digits each) and its data as
//                 base64 (line length 72) or as hex text, then "</ZERB_BINARY_CONTAINER10>"
//
// Every decoder checks its input completely and answers -50 (paramErr) when it is malformed; it
// never reads outside its input and never allocates a size read from the input before checking
// that the input is long enough to hold that much data. The rules:
//   hex       an odd number of digits or a character that is not a hex digit is -50 (blanks and line
//             ends are skipped, anywhere, only where a routine says so)
//   base64    CR, LF, tab and space are skipped anywhere; any other character outside the alphabet
//             is -50; the data must come in whole groups of 4 characters, so a group cut short is
//             -50; "=" may only pad the last group ("xx==" or "xxx="), and nothing but blanks may
//             follow it
//   container the header, the separators and the trailer must be exactly where the counts put
//             them; every count, type, size and length is exactly 8 hex digits; a count of 0, a
//             data length that runs past the trailer, data that does not decode to exactly the
//             stated size, a stream of size 0 or a type the container already holds are -50; blanks
//             and line ends before the header and after the trailer are ignored
// A decoder that fails leaves its output as it was.
#ifndef ZERB_TEXT_CODECS_H
#define ZERB_TEXT_CODECS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "fmx/fmx.h"
#include "text/encoding.h"

// Source and destination forms of the text <-> base64 routines and of the container's data.
enum : short {
    kZbFormChars = 0,        // characters as their Mac OS Roman bytes
    kZbFormHex = 2,          // hex text, two digits per byte
    kZbFormCharsEscaped = 4  // characters, with "\0" for a zero byte and "\\" for a backslash
};

// ---- hex text ----

// Appends the hex text of n bytes to out.
void XP7_BlockToHexTxt(const char *p, unsigned long n, fmx::TextUniquePtr &out);
// The byte of the two hex digits at *pos (either case), advancing *pos by 2; -50 when either is not
// a hex digit or the text ends first (*pos is not moved then).
[[nodiscard]] long XP7_Get1HexTxtChar(const fmx::TextUniquePtr &t, unsigned long *pos);
// Decodes the whole hex text t into out (replacing it). 0, or -50 under the hex rules above.
[[nodiscard]] long XP7_HexTxtToBlock(const fmx::TextUniquePtr &t, std::vector<unsigned char> &out);
// Replaces a hex text, in place, by the byte text of the bytes it holds. With skipBlanks non-zero,
// CR, LF, tab and space are skipped (hex text broken into lines or groups). 0, or -50 with t
// unchanged.
[[nodiscard]] long XP7_RemoveHexTxt(fmx::TextUniquePtr &t, unsigned char skipBlanks);

// ---- byte texts ----

// Appends n bytes to out: with BytesOnly each byte becomes the character of that code (a byte
// text); any other encoding decodes the bytes in that encoding (text/encoding.h).
void XP7_BlockToBinTxt(const char *p, unsigned long n, fmx::TextUniquePtr &out, ZbTextEncoding e);
// Reads max bytes of the byte text t from *pos into buf, one per character (XP7_GetOneByte: a
// character above 255 reads as "?"); positions past the end of the text give zero bytes. *pos
// advances by the number of characters consumed. Answers that number.
unsigned long XP7_BinTxtToBlock(const fmx::TextUniquePtr &t, unsigned long *pos, unsigned long max,
                                unsigned char *buf);
// Turns t, in place, into a clean byte text: every character that cannot stand for a byte (code
// above 255) becomes "?", as XP7_GetOneByte reads it. Answers the number of characters replaced.
unsigned long XP7_RemoveBinTxt(fmx::TextUniquePtr &t);

// ---- base64 ----

// Encodes inLen bytes into out (capacity outCap bytes), starting a new line with CR LF after every
// lineLen / 4 groups and before a group that starts with a zero byte (never after the last group
// unless it fills its line; nothing past the input is read). -416, with *outLen at the bytes
// written so far, when out is too small: ZbBase64EncodedLength + 1 bytes always suffice.
[[nodiscard]] long XP7_Base64_EncodeBlock(const unsigned char *in, unsigned long inLen, unsigned char *out,
                                          unsigned long outCap, unsigned long *outLen, int lineLen);
// The exact number of bytes XP7_Base64_EncodeBlock writes for this input and line length.
unsigned long ZbBase64EncodedLength(const unsigned char *in, unsigned long inLen, int lineLen);
// Plain base64 in one line, as JSON answers carry binary values (no line ends, "=" padding).
std::string ZbBase64Text(std::string_view bytes);

// The text src as base64 text in out (replaced), lines ended by CR after lineLen / 4 groups (every
// group when lineLen is below 4) and at the end. The source bytes: srcForm kZbFormHex reads src as
// hex text (-50 when it is not); other forms take each character's Mac OS Roman byte ("*" when it
// has none), kZbFormCharsEscaped with "\0" and "\\" escapes. An empty source gives an empty text.
// -50 for any encoding other than ASCII_Mac; -416 when the result would pass 0x7FFFFFFA characters.
[[nodiscard]] long XP7_TxtToBase64Txt(const fmx::TextUniquePtr &src, short srcForm, ZbTextEncoding e,
                                      unsigned long lineLen, fmx::TextUniquePtr &out);
// Reverses XP7_TxtToBase64Txt: decodes the base64 text src and writes the bytes into out (replaced)
// as hex text when dstForm is kZbFormHex, otherwise as Mac OS Roman characters; with escapes
// non-zero a zero byte is written as "\0" and a backslash as "\\" (the escapes that
// kZbFormCharsEscaped reads). -50 for any encoding other than ASCII_Mac or for malformed base64.
[[nodiscard]] long XP7_Base64TxtToTxt(const fmx::TextUniquePtr &src, unsigned char escapes, ZbTextEncoding e,
                                      short dstForm, fmx::TextUniquePtr &out);

// Decodes base64 (the rules above) into out (capacity outCap). 0; -50 for malformed input; -416
// when out is too small (n / 4 * 3 bytes always suffice).
[[nodiscard]] long ZbBase64DecodeBlock(const unsigned char *in, size_t n, unsigned char *out, size_t outCap,
                                       size_t *outLen);
[[nodiscard]] long ZbBase64DecodeBlock(const char16_t *in, size_t n, unsigned char *out, size_t outCap, size_t *outLen);
// The same into a vector (replaced; cleared on failure).
[[nodiscard]] long ZbBase64Decode(std::u16string_view in, std::vector<unsigned char> &out);
// Hex digits to bytes (out replaced; cleared on failure); blanks and line ends skipped when asked.
[[nodiscard]] long ZbHexDecode(std::u16string_view in, bool skipBlanks, std::vector<unsigned char> &out);
// Appends the hex digits of n bytes.
void ZbHexEncode(const unsigned char *p, size_t n, std::u16string &out);

// ---- container values ----

// Appends the first size bytes of stream number `stream` of data to out as base64 (CR LF lines of
// lineLen, XP7_Base64_EncodeBlock); *outLen is the number of characters appended. -50 when the
// stream does not exist or holds fewer than size bytes.
[[nodiscard]] long XP7_FMBinaryDataToBase64Txt(const fmx::BinaryData &data, int stream, unsigned long size, int lineLen,
                                               fmx::TextUniquePtr &out, unsigned long *outLen);
// The container text of the container parameter at *index of parms, in out (replaced), with the
// streams' data as base64; *index then moves past that parameter. -50 when *index is past the last
// parameter; -2026 when the value holds no stream (also when it is no container).
[[nodiscard]] long XP7_GetFMBinaryDataAsBase64TxtFromVect(const fmx::DataVect &parms, fmx::TextUniquePtr &out,
                                                          unsigned long *index);
// The same container text with the streams' data as hex text (no line breaks).
[[nodiscard]] long XP7_GetBinaryAsHxtTxtFromVect(const fmx::DataVect &parms, fmx::TextUniquePtr &out,
                                                 unsigned long *index);
// Reads a container text (base64 or hex data) back into a new container value in data (replaced
// only on success). 0, or -50 under the container rules above.
[[nodiscard]] long XP7_Base64TxtToFMBinaryData(const fmx::TextUniquePtr &text, fmx::BinaryDataUniquePtr &data);
[[nodiscard]] long XP7_HxtTxtToBinary(const fmx::TextUniquePtr &text, fmx::BinaryDataUniquePtr &data);
// Reads one stream record (separator, type, size, length, data in dataForm kZbFormHex or base64)
// at *pos of a container text and adds the stream to data; *pos moves past the record. 0, or -50
// (*pos is not moved then).
[[nodiscard]] long XP7_AddOneFMBinaryData(std::u16string_view text, unsigned long *pos, short dataForm,
                                          fmx::BinaryData &data);

#endif
