// Reading parameters in order, splitting lists and testing switch words.
#ifndef ZERB_CORE_PARAMS_H
#define ZERB_CORE_PARAMS_H

#include "fmx/fmx.h"

// Size of the 8-bit buffers switches and most short texts are read into; longer input is cut.
constexpr unsigned long kZbSwitchesCapacity = 2000;

// Parameter cursor operations: each reads the parameter at *cursor and advances the cursor,
// also when the parameter is missing, in which case the output is left as it was.
void XP7_GetNextCStringFromVect(const fmx::DataVect &parameters, char *buffer, unsigned long capacity,
                                unsigned long *cursor, fmx::Text::Encoding encoding);
void XP7_GetNextUniStrFromVect(const fmx::DataVect &parameters, unsigned short *buffer, unsigned long capacity,
                               unsigned long *cursor);
void XP7_GetNextTxtFromVect(const fmx::DataVect &parameters, fmx::TextUniquePtr &text, unsigned long *cursor);
void XP7_GetNextDateTimeFromVect(const fmx::DataVect &parameters, fmx::DateTimeUniquePtr &dateTime,
                                 unsigned long *cursor);
long XP7_GetNextlongFromVect(const fmx::DataVect &parameters, unsigned long *cursor);

// Delimited lists. The position starts at 0 and becomes -1 once the list is exhausted.
constexpr unsigned long kZbListExhausted = static_cast<unsigned long>(-1);
void XP7_GetNextTxtFromTxt(fmx::TextUniquePtr &source, fmx::TextUniquePtr &delimiter, fmx::TextUniquePtr &item,
                           unsigned long *position);
// An item is cut to `capacity` bytes; the item buffer holds capacity + 1 (the terminator).
void XP_GetNextCString(const char *source, const char *delimiter, char *item, long capacity, long *position);

// Switch words: present when they occur anywhere, ignoring case.
bool XP_HasSwitch(const char *switches, const char *word);
bool XP7_HasSwitch(const fmx::TextUniquePtr &switches, const char *word);
bool XP_GetTaggedLong(const char *switches, const char *tag, long *value);
long XP_GetTaggedStr(const char *source, long length, const char *tag, long tagLength, char endCharacter, long start,
                     long occurrence, unsigned char caseSensitive, char *value, long capacity);

// Index of the occurrence-th match of pattern in source at or after start, or -1.
long XP_Position(const char *source, long sourceLength, const char *pattern, long patternLength, long start,
                 long occurrence, bool caseSensitive);
// The plug-in's lower-case mapping for 8-bit text: ASCII and the Mac OS Roman letters.
unsigned char XP_LowerChar(unsigned char c);

#endif
