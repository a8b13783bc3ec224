// The system's system folders, found by their four-character folder kind.
#ifndef ZERB_PLATFORM_SYSTEM_FOLDERS_H
#define ZERB_PLATFORM_SYSTEM_FOLDERS_H

#include <cstdint>
#include <string>

// Answers 0 and the folder's absolute path, or -43 when the system has no such folder or it does
// not exist (no folder is created). Kinds: "desk", "macs", "trsh", "strt", "shdf", "amnu",
// "ctrl", "extn", "pref", "temp", "root".
[[nodiscard]] long Zb7_PlatformFindFolder(uint32_t kind, std::string &path);

#endif
