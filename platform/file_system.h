// The few facts about items of the file system that references and paths need.
#ifndef ZERB_PLATFORM_FILE_SYSTEM_H
#define ZERB_PLATFORM_FILE_SYSTEM_H

#include <cstdint>
#include <string>
#include <vector>

struct ZbNodeInfo {
    bool isFolder = false;  // a folder; a symbolic link, when not followed, is not one
    bool isLink = false;    // a symbolic link (only when not followed)
    uint64_t device = 0;
    uint64_t inode = 0;
    // What tells an item apart from a later one that the file system gave the same inode number:
    // its birth time in nanoseconds, or for a folder on a file system that keeps no birth time its
    // inode generation; 0 when neither can be read.
    uint64_t birth = 0;
    bool SameItem(const ZbNodeInfo &other) const {
        return device == other.device && inode == other.inode && birth == other.birth;
    }
};

// The item at path, the link itself (follow false) or what it points to (follow true). 0, or the
// error number: a missing item is -43 when its folder exists and -120 when a folder of the path
// is missing; a path through something that is not a folder is -120.
[[nodiscard]] long Zb7_PlatformGetNodeInfo(const std::string &path, bool follow, ZbNodeInfo &info);

// The folder a path leads to (symbolic links followed), and its real path: absolute, with every
// symbolic link, "." and ".." resolved. The two are read from one open descriptor, so they belong
// to the same folder even while others rename things. -120 when the path leads to no folder.
[[nodiscard]] long Zb7_PlatformFolderInfo(const std::string &path, ZbNodeInfo &info, std::string &realPath);

// The absolute path of an existing item with every symbolic link, "." and ".." resolved.
[[nodiscard]] long Zb7_PlatformRealPath(const std::string &path, std::string &resolved);

// Every name in a folder except "." and "..", in the order the file system keeps them.
[[nodiscard]] long Zb7_PlatformListNames(const std::string &folder, std::vector<std::string> &names);

// Creates an empty file that must not exist yet (-48 when something of that name exists).
[[nodiscard]] long Zb7_PlatformCreateNewFile(const std::string &path);
// Appends the bytes to the end of an existing file.
[[nodiscard]] long Zb7_PlatformAppendToFile(const std::string &path, std::string_view bytes);

// The absolute path of the program this process runs (the host application).
[[nodiscard]] long Zb7_PlatformApplicationPath(std::string &path);

// The current date and time as the file system's dates count it: seconds since 1 January 1904,
// local time.
uint32_t Zb7_PlatformCurrentDateTime();

// Seconds between 1 January 1904 and 1 January 1970.
constexpr int64_t kZbSeconds1904To1970 = 2082844800;

// A moment (seconds since 1970, UTC) as a local date-time in seconds since 1904, with the zone's
// rules in force at that moment. Moments before 1904 or past the 32-bit range (early 2040) are
// held at its ends.
uint32_t Zb7_PlatformLocalDateOfTime(int64_t seconds);
// The moment of a local date-time given in seconds since 1904 (any 64-bit count). A local time
// that a daylight-saving change skips or repeats is taken as mktime(3) takes it with the zone's
// rules left to decide (tm_isdst -1): a skipped time moves on by the change, a repeated one is
// read in one of its two meanings.
int64_t Zb7_PlatformTimeOfLocalDate(int64_t localDate);

#endif
