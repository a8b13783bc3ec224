// Files that only the system's administrator may change, such as the plug-in's policy: their
// identity for noticing a change, and their contents read together with the facts that make them
// trustworthy (owner and permissions, of the file and of its folder).
#ifndef ZERB_PLATFORM_PROTECTED_FILE_H
#define ZERB_PLATFORM_PROTECTED_FILE_H

#include <cstdint>
#include <string>

// What changes when a file is replaced, rewritten, or has its owner or permissions changed.
struct ZbFileStamp {
    uint64_t device = 0, inode = 0, size = 0;
    int64_t modified = 0, changed = 0;  // nanoseconds since 1970
    bool operator==(const ZbFileStamp &) const = default;
};

// The stamp of the item at path (the link itself, not followed). 0, or the errno (ENOENT when
// there is nothing at path).
[[nodiscard]] int Zb7_PlatformFileStamp(const std::string &path, ZbFileStamp &stamp);

// Reads a small file (at most maxBytes) that must be a regular file, not a symbolic link, owned by
// root and not writable by group or others, in a folder that is owned by root and not writable by
// group or others. The checks are made on the opened file, so that what is read is what was
// checked. Answers 0 and the contents; otherwise an errno (ENOENT when the file is missing) or
// -1 for a file that fails the checks, with the reason in `problem`.
[[nodiscard]] int Zb7_PlatformReadProtectedFile(const std::string &path, size_t maxBytes, std::string &contents,
                                                ZbFileStamp &stamp, std::string &problem);

#endif
