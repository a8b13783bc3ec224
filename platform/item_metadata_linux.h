// What a copy of an item takes from the original besides its data, between open descriptors:
// shared by the copies of file_tree and the replacements of forks.
#ifndef ZERB_PLATFORM_ITEM_METADATA_LINUX_H
#define ZERB_PLATFORM_ITEM_METADATA_LINUX_H

struct stat;

// Every extended attribute. A destination file system that keeps none takes the item without
// them; names this process may not write (trusted.*, or security.* without privilege) are left out.
[[nodiscard]] long ZbCopyAttributes(int in, int out);
// The creation date: the one that was set travels with the attributes; otherwise the original's
// birth time is kept as a set date.
[[nodiscard]] long ZbCopyCreationDate(int in, int out);
// Ownership (where this process may give it), permissions and times.
[[nodiscard]] long ZbCopyOwnerModeAndTimes(int out, const struct stat &st);

#endif
