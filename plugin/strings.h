// The plug-in's compiled-in string table "File7": its name, description, options and the name
// and prototype of every function, each under the key "Zerb File <id>".
#ifndef ZERB_PLUGIN_STRINGS_H
#define ZERB_PLUGIN_STRINGS_H

#include "fmx/fmx.h"

constexpr char kZbStringTable[] = "File7";
constexpr char kZbStringKeyFormat[] = "Zerb File %d";

// Copies the string of `id` into buffer (UTF-16 units, zero-terminated) and answers its length;
// answers 0 and leaves the buffer untouched when the string is missing or does not fit.
long ZbSub_OSXLoadString(const char *table, const char *keyFormat, unsigned long id, unsigned short *buffer,
                         long capacity);
// As above for the host's string requests: id 131 (options) is kept under 1.
long XP7_Do_GetStringUni(const char *table, const char *keyFormat, unsigned long id, unsigned long language,
                         long capacity, unsigned short *buffer);
// The string as host text; with nameOnly everything from the first "(" on is removed.
void XP7_Do_GetString(const char *table, const char *keyFormat, unsigned long id, fmx::TextUniquePtr &text,
                      bool nameOnly);

#endif
