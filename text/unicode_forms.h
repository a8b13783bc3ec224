// Canonical decomposition (NFD) and composition (NFC) of UTF-8 names, and canonical equivalence.
//
// Linux stores a file name as the bytes it was given, so one visible name can exist composed
// ("é" as U+00E9) or decomposed ("e" U+0301, as files copied from a Mac usually are), while the
// host always hands us composed text. Two names are the same name to a user when their NFD forms
// are equal.
//
// The data is Unicode's canonical Decomposition_Mapping and Canonical_Combining_Class (no
// compatibility mappings), generated from Perl's Unicode database into text/unicode_tables.cpp;
// kZbUniVersion there names the Unicode version. No library beyond the C++ standard library is
// used.
//
// Bytes that are not well-formed UTF-8 (a bad lead byte, a truncated or overlong sequence, a
// surrogate, a value above U+10FFFF) are kept as they are, one byte at a time, and count as
// starters: nothing moves across them. So every byte string has an NFD form, the routine is
// idempotent on its own output, and a name that is not UTF-8 at all stays byte-exact.
//
// These routines throw nothing but std::bad_alloc.
#ifndef ZERB_TEXT_UNICODE_FORMS_H
#define ZERB_TEXT_UNICODE_FORMS_H

#include <string>
#include <string_view>

// True when the bytes are well-formed UTF-8: no overlong form, no surrogate, nothing past U+10FFFF.
bool ZbIsUTF8(std::string_view bytes);
// The bytes as well-formed UTF-8: each maximal ill-formed subsequence becomes U+FFFD, as the
// Unicode standard recommends (so one bad byte is one replacement character).
std::string ZbUTF8Repaired(std::string_view bytes);

// Full canonical decomposition followed by canonical ordering. Text without a byte of 0xC3 or
// above (ASCII, and characters below U+00C0) comes back unchanged without table work.
std::string ZbUTF8ToNFD(std::string_view utf8);

// Canonical composition (NFC): the NFD form with every pair that has a primary composite joined,
// as Unicode's composition algorithm does (Hangul syllables included). Bytes that are not
// well-formed UTF-8 stay as they are and block composition across them. Text without a byte of
// 0xC3 or above comes back unchanged.
std::string ZbUTF8ToNFC(std::string_view utf8);

// True when both texts have the same NFD form. A caller comparing one name with many should
// decompose that name once and compare it with ZbUTF8ToNFD of each candidate.
bool ZbUTF8CanonicallyEqual(std::string_view a, std::string_view b);

// The Canonical_Combining_Class of a character without a canonical decomposition, which covers
// every character ZbUTF8ToNFD produces; 0 for a value that is not a code point. For a character
// that decomposes it answers the class of the first character of its decomposition (the tables
// keep no other), which differs from the character's own class only for U+0F73, U+0F75, U+0F81.
unsigned ZbUnicodeCombiningClass(char32_t cp);

#endif
