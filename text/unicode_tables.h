// The Unicode data behind text/unicode_forms.cpp. text/gen_unicode_tables.pl writes the tables into
// text/unicode_tables.cpp; this header fixes their shape, which the generated file checks.
//
// Every code point below kZbUniTableLimit has a 16-bit value, found in three steps:
//     mid  = kZbUniTop[cp >> 8]
//     leaf = kZbUniMid[mid << 4 | (cp >> 4 & 15)]
//     v    = kZbUniLeaf[leaf << 4 | (cp & 15)]
// Identical blocks of 16 values (and of 16 leaf numbers) are stored once, which keeps the tables
// small: most of the code space shares the all-zero blocks.
//   v < 256   the character has no canonical decomposition; v is its canonical combining class
//             (0 for a starter)
//   v >= 256  the character decomposes; its full canonical decomposition, already in canonical
//             order, starts at kZbUniDecompositions[v - 256] as UTF-8 ended by a zero byte, and
//             holds no character that decomposes further
// Code points from kZbUniTableLimit up have value 0. Hangul syllables have value 0 too: they
// decompose by arithmetic, not by table.
#ifndef ZERB_TEXT_UNICODE_TABLES_H
#define ZERB_TEXT_UNICODE_TABLES_H

#include <cstdint>

constexpr char32_t kZbUniTableLimit = 0x30000;
constexpr unsigned kZbUniLeafBits = 4;
constexpr unsigned kZbUniMidBits = 4;

extern const uint8_t kZbUniTop[kZbUniTableLimit >> (kZbUniLeafBits + kZbUniMidBits)];
extern const uint16_t kZbUniMid[];
extern const uint16_t kZbUniLeaf[];
extern const unsigned char kZbUniDecompositions[];
// The primary composites: {first, second, composite} for every character whose one-step canonical
// decomposition is the pair first + second and that is not excluded from composition, sorted by
// first, then second. Hangul syllables are not listed: they compose by arithmetic.
extern const char32_t kZbUniCompositions[][3];
extern const unsigned kZbUniCompositionCount;
// The Unicode version the tables come from, e.g. "14.0.0".
extern const char kZbUniVersion[];

#endif
