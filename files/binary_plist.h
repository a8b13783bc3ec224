// The Finder comment as macOS keeps it: a binary property list ("bplist00") whose one object is
// the comment's string. Writing gives the bytes macOS writes (an ASCII string object when every
// character is ASCII, else UTF-16 big-endian), so comments survive copies to and from a Mac.
#ifndef ZERB_FILES_BINARY_PLIST_H
#define ZERB_FILES_BINARY_PLIST_H

#include <string>
#include <string_view>

// A property list holding the string. Bytes that are not UTF-8 stand for U+FFFD.
std::string ZbBinaryPlistOfString(std::string_view utf8);

// The string a property list holds, as UTF-8: its top object may be an ASCII, UTF-16 or UTF-8
// string object. A value that is not a binary property list is taken as plain UTF-8 text, as some
// tools write it. False, with an empty string, for a malformed list or one whose top object is
// not a string.
bool ZbStringOfBinaryPlist(std::string_view data, std::string &utf8);

#endif
