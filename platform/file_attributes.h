// What the file system keeps about an item beyond its contents: sizes, dates, permissions and the
// extended attributes that carry the Mac notions (Finder information, comment, resource fork, a
// creation date that was set). Every call acts on the item itself: a symbolic link is an item of
// its own and is never followed.
//
// A file system without extended attributes reads as if every attribute were absent, and answers
// -1426 when one must be written (so does a symbolic link, which Linux gives no user attributes).
#ifndef ZERB_PLATFORM_FILE_ATTRIBUTES_H
#define ZERB_PLATFORM_FILE_ATTRIBUTES_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>

// Names of the extended attributes, as macOS names them where it has the notion.
inline constexpr char kZbFinderInfoAttribute[] = "user.com.apple.FinderInfo";
inline constexpr char kZbCommentAttribute[] = "user.com.apple.metadata:kMDItemFinderComment";
inline constexpr char kZbResourceForkAttribute[] = "user.com.apple.ResourceFork";
inline constexpr char kZbCreatedAttribute[] = "user.zerb.created";

struct ZbItemInfo {
    bool isFolder = false;
    bool isLink = false;
    bool locked = false;          // the owner may not write it (never a symbolic link)
    uint64_t dataSize = 0;        // bytes of data (of a link: the length of its target text)
    uint64_t allocatedBytes = 0;  // blocks the data takes, in bytes
    int64_t modified = 0;         // seconds since 1970, UTC
    int64_t accessed = 0;
    int64_t changed = 0;
    int64_t born = 0;
    bool hasBirth = false;        // the file system keeps a birth time and gave it
    bool mountRoot = false;       // the root folder of a mounted file system
};

// The item at path (not followed). -43 when it is missing, -120 when a folder on the way is.
[[nodiscard]] long Zb7_PlatformGetItemInfo(const std::string &path, ZbItemInfo &info);

// The value of an extended attribute of the item. `found` is false, with an empty value, when the
// item has no such attribute or the file system keeps none.
[[nodiscard]] long Zb7_PlatformReadAttribute(const std::string &path, const char *name, std::string &value,
                                             bool &found);
// The size of an attribute's value; 0 when absent.
[[nodiscard]] long Zb7_PlatformAttributeSize(const std::string &path, const char *name, uint64_t &size);
[[nodiscard]] long Zb7_PlatformWriteAttribute(const std::string &path, const char *name, std::string_view value);
// Removing an attribute the item does not have succeeds.
[[nodiscard]] long Zb7_PlatformRemoveAttribute(const std::string &path, const char *name);

// Locks the item (takes away every write permission) or unlocks it (gives its owner write
// permission). -1426 for a symbolic link, whose permissions mean nothing.
[[nodiscard]] long Zb7_PlatformSetLocked(const std::string &path, bool locked);

// Sets the modification time of the folder that holds the item at path to now, so that programs
// watching the folder see that something in it changed.
[[nodiscard]] long Zb7_PlatformTouchFolderOf(const std::string &path);

// The modification time, seconds since 1970 UTC; the access time is left as it is.
[[nodiscard]] long Zb7_PlatformSetModificationTime(const std::string &path, int64_t seconds);

// The creation date, seconds since 1970 UTC: the one that was set (kept in kZbCreatedAttribute),
// else the birth time, else the earlier of the modification and status-change times. An error
// when the attribute cannot be read (-5000 for an item the caller may not read): another date
// would be a wrong one.
[[nodiscard]] long Zb7_PlatformCreationTime(const std::string &path, const ZbItemInfo &info, int64_t &seconds);
// The date a value of kZbCreatedAttribute holds (decimal seconds since 1970 UTC); false for a
// value that is not one, which then counts as no date set.
bool Zb7_ParseSetCreationTime(std::string_view value, int64_t &seconds);
[[nodiscard]] long Zb7_PlatformSetCreationTime(const std::string &path, int64_t seconds);

#endif
