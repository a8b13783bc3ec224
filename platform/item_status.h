// Everything the file system keeps about one item, read for answers that describe items in full
// (FileInfoJSON, ListFolderJSON): its status from one statx with nanosecond times, the extended
// attributes that carry the Mac notions (one listxattr first, so an item without attributes
// costs nothing more), the target of a symbolic link, and the names of user and group ids.
//
// Every reading names what it could not read instead of failing: a listing goes on past an item
// whose attribute the caller may not read.
#ifndef ZERB_PLATFORM_ITEM_STATUS_H
#define ZERB_PLATFORM_ITEM_STATUS_H

#include <cstdint>
#include <string>
#include <unordered_map>

#include "platform/folder_reader.h"

struct ZbInstant {
    int64_t seconds = 0;  // since 1970, UTC
    uint32_t nanoseconds = 0;
};

enum ZbItemKind : unsigned char { kZbKindFile, kZbKindFolder, kZbKindLink, kZbKindFifo, kZbKindSocket, kZbKindDevice };

struct ZbItemStatus {
    ZbItemKind kind = kZbKindFile;
    uint32_t mode = 0;  // the file type and permission bits, as st_mode
    uint32_t uid = 0, gid = 0;
    uint64_t size = 0;          // bytes of data (of a link: the length of its target text)
    uint64_t blocks = 0;        // 512-byte blocks allocated
    uint64_t inode = 0, links = 0;
    ZbInstant accessed, modified, changed, born;
    bool hasBirth = false;   // the file system keeps a birth time and gave it
    bool mountRoot = false;  // the root folder of a mounted file system (false where the kernel cannot tell)
};

// The item named `name` in an open folder, or at an absolute path; the link itself unless
// `follow`. 0, or the errno of the failure (ENOENT for an item that is not there).
[[nodiscard]] int Zb7_PlatformItemStatusAt(const ZbFolderHandle &folder, const std::string &name, bool follow,
                                           ZbItemStatus &status);
[[nodiscard]] int Zb7_PlatformItemStatus(const std::string &path, bool follow, ZbItemStatus &status);

// One extended attribute as an item's description needs it: absent, read (its value, or only its
// size where that is all that is wanted), or not readable (the errno that refused it).
struct ZbAttributeValue {
    bool found = false;
    int error = 0;
    uint64_t size = 0;
    std::string value;
};

// The attributes that carry the Mac notions (platform/file_attributes.h names them).
struct ZbItemAttributes {
    int listError = 0;  // the names could not be listed: every value below is unknown
    ZbAttributeValue finderInfo, comment, resourceFork, created;
};

// The item's attributes at an absolute path (the link itself unless `follow`): the names listed
// once, then only the values present read; the resource fork's size, never its contents. A file
// system without extended attributes reads as an item without any.
void Zb7_PlatformReadItemAttributes(const std::string &path, bool follow, ZbItemAttributes &attributes);

// The target text of the symbolic link named `name` in an open folder (or at an absolute path):
// 0, or the errno of the failure. `sizeHint` is the length statx gave, read in one call when right.
[[nodiscard]] int Zb7_PlatformLinkTargetAt(const ZbFolderHandle &folder, const std::string &name, uint64_t sizeHint,
                                           std::string &target);
[[nodiscard]] int Zb7_PlatformLinkTarget(const std::string &path, uint64_t sizeHint, std::string &target);

// The names of user and group ids, each looked up once for the life of the cache: one call's. Behind
// it the process keeps the names it looked up in the last few seconds, shared by all calls.
struct ZbIdNames {
    std::unordered_map<uint32_t, std::string> users, groups;  // an empty name: the id has none
};
// The user's or group's name; false when the system knows no name for the id.
bool Zb7_PlatformUserName(ZbIdNames &cache, uint32_t uid, std::string &name);
bool Zb7_PlatformGroupName(ZbIdNames &cache, uint32_t gid, std::string &name);

#endif
