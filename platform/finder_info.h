// Finder information (type, creator, flags) kept in the extended attribute
// "user.com.apple.FinderInfo": 32 bytes, type in bytes 0-3, creator in 4-7, flags in 8-9.
#ifndef ZERB_PLATFORM_FINDER_INFO_H
#define ZERB_PLATFORM_FINDER_INFO_H

#include <cstdint>
#include <string>

// Sets type and creator of the item at path, keeping the other bytes. Answers 0, or -1426 when
// the file system has no extended attributes.
long Zb7_PlatformSetTypeAndCreator(const std::string &path, uint32_t type, uint32_t creator);

#endif
