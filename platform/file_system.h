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
};

// The item at path, the link itself (follow false) or what it points to (follow true). 0, or the
// error number: a missing item is -43 when its folder exists and -120 when a folder of the path
// is missing; a path through something that is not a folder is -120.
long Zb7_PlatformGetNodeInfo(const std::string &path, bool follow, ZbNodeInfo &info);

// The absolute path of an existing item with every symbolic link, "." and ".." resolved.
long Zb7_PlatformRealPath(const std::string &path, std::string &resolved);

// Every name in a folder except "." and "..", in the order the file system keeps them.
long Zb7_PlatformListNames(const std::string &folder, std::vector<std::string> &names);

// Creates an empty file that must not exist yet (-48 when something of that name exists).
long Zb7_PlatformCreateNewFile(const std::string &path);

// The absolute path of the program this process runs (the host application).
long Zb7_PlatformApplicationPath(std::string &path);

// The current date and time as the file system's dates count it: seconds since 1 January 1904,
// local time.
uint32_t Zb7_PlatformCurrentDateTime();

#endif
