// A file's data fork (the file itself; its resource fork is an extended attribute, see
// file_attributes.h), opened for reading or for reading and writing. Contents follow a symbolic
// link to the file it names. The file is never created here.
#ifndef ZERB_PLATFORM_FORKS_H
#define ZERB_PLATFORM_FORKS_H

#include <cstddef>
#include <cstdint>
#include <string>

// An open fork; closed when it goes out of scope.
struct ZbFork {
    int fd = -1;
    ZbFork() = default;
    ZbFork(const ZbFork &) = delete;
    ZbFork &operator=(const ZbFork &) = delete;
    ~ZbFork();
};

// -43 for a missing file, -1302 for a folder.
long Zb7_PlatformOpenDataFork(const std::string &path, bool write, ZbFork &fork);
long Zb7_PlatformForkSize(const ZbFork &fork, int64_t &size);
long Zb7_PlatformSetForkSize(const ZbFork &fork, int64_t size);
// Reads up to count bytes at offset; `actual` is less only at the end of the fork.
long Zb7_PlatformReadFork(const ZbFork &fork, int64_t offset, void *buffer, size_t count, size_t &actual);
// Writes all count bytes at offset.
long Zb7_PlatformWriteFork(const ZbFork &fork, int64_t offset, const void *data, size_t count);

#endif
