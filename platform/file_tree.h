// Items made, deleted, copied and moved, whole trees included. Everything works on folder
// descriptors: a symbolic link inside a tree is an item of its own and is never followed, no walk
// enters another mount, and no walk is limited in depth (a few descriptors stay open, whatever the
// depth).
//
// The promises: nothing is ever overwritten (a name is claimed atomically, and an existing item
// of that name answers -48 untouched); a copy is whole or absent (it is built under a temporary
// name beside the destination and renamed into place only when complete, and anything made is
// removed again on failure).
#ifndef ZERB_PLATFORM_FILE_TREE_H
#define ZERB_PLATFORM_FILE_TREE_H

#include <string>

#include "platform/finder_info.h"

// A new empty file `name` in the folder at `folder`. With Finder information that is not all
// zero, the file appears with it or not at all; a file system without extended attributes makes
// the file without it.
[[nodiscard]] long Zb7_PlatformCreateFile(const std::string &folder, const std::string &name, const ZbFinderInfo &info);
// A new empty folder `name` in the folder at `folder`.
[[nodiscard]] long Zb7_PlatformCreateFolder(const std::string &folder, const std::string &name);

// Deletes one item: a file, a symbolic link, or an empty folder (-47 for a folder with items).
[[nodiscard]] long Zb7_PlatformDeleteItem(const std::string &path);
// Deletes a folder and everything in it, depth first. A folder on which another file system is
// mounted is left, with what leads to it, and answers -47; what was deleted before a failure
// stays deleted.
[[nodiscard]] long Zb7_PlatformDeleteTree(const std::string &path);

// Copies the item at `source` (a file, a symbolic link as a link, or a folder with everything in
// it) to a new item `name` in the folder at `folder`: data (sparse files stay sparse), every
// extended attribute, permissions, ownership where allowed, modification and access times and the
// creation date.
[[nodiscard]] long Zb7_PlatformCopyItem(const std::string &source, const std::string &folder, const std::string &name);

// Moves and renames the item within its file system (-1303 to another one).
[[nodiscard]] long Zb7_PlatformMoveItem(const std::string &source, const std::string &folder, const std::string &name);

#endif
