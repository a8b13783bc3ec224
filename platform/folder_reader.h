// Reading folders for listings and searches: every entry of a folder in large directory reads,
// its kind taken from the entry itself where the file system gives it, and walks that stay on
// one mount and never follow a symbolic link.
#ifndef ZERB_PLATFORM_FOLDER_READER_H
#define ZERB_PLATFORM_FOLDER_READER_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/unique_fd.h"

enum ZbEntryKind : unsigned char {
    kZbEntryFile,    // a file, or a device, pipe or socket
    kZbEntryFolder,
    kZbEntryLink,    // a symbolic link, whatever it points to
};

struct ZbFolderEntry {
    std::string name;
    ZbEntryKind kind = kZbEntryFile;
    uint64_t inode = 0;  // reading attributes in inode order touches the file system's tables in order
};

// An open folder, closed when it goes out of scope.
struct ZbFolderHandle : ZbUniqueFd {
    uint64_t mountId = 0;  // the mount it lies on
    void Close() { Reset(); }
};

// The folder at an absolute path (symbolic links on the way followed). -120 when the path leads
// to no folder; -5000 when it may not be read.
[[nodiscard]] long Zb7_PlatformOpenFolder(const std::string &path, ZbFolderHandle &folder);
// The same for a walk that leaves out by itself what a confined call may not see: the folder is
// opened whatever the confinement says (a folder above the allowed ones, to reach them).
[[nodiscard]] long Zb7_PlatformOpenFolderToWalk(const std::string &path, ZbFolderHandle &folder);

// A folder below an open one, reached through `names` (one or more names, each a folder in the
// one before), never through a symbolic link and never into another mount: -120 when one of them
// is not a folder of the same mount, -5000 when it may not be read.
[[nodiscard]] long Zb7_PlatformOpenFolderBelow(const ZbFolderHandle &base,
                                               const std::vector<const std::string *> &names, ZbFolderHandle &folder);

// A second handle of the same folder, opened anew for another thread (threads that share one open
// folder contend for it on every call).
[[nodiscard]] long Zb7_PlatformDuplicateFolder(const ZbFolderHandle &folder, ZbFolderHandle &copy);

// Every entry of the folder except "." and "..", in the order the file system keeps them.
[[nodiscard]] long Zb7_PlatformReadFolder(const ZbFolderHandle &folder, std::vector<ZbFolderEntry> &entries);

// The Finder flags of an entry of the folder (the link itself for a symbolic link): 0 when it has
// no Finder information, or the file system keeps none.
uint16_t Zb7_PlatformFinderFlagsAt(const ZbFolderHandle &folder, const std::string &name);

#endif
