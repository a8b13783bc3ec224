#include "platform/forks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/errors.h"
#include "platform/system_calls.h"

ZbFork::~ZbFork() {
    if (fd >= 0) close(fd);
}

long Zb7_PlatformOpenDataFork(const std::string &path, bool write, ZbFork &fork) {
    const int flags = (write ? O_RDWR : O_RDONLY) | O_CLOEXEC;
    fork.fd = write ? ZbSys_openat(AT_FDCWD, path.c_str(), flags) : open(path.c_str(), flags);
    if (fork.fd < 0) return Zb7_ErrnoToOSErr(errno);
    struct stat st;
    if (fstat(fork.fd, &st) != 0) return Zb7_ErrnoToOSErr(errno);
    if (S_ISDIR(st.st_mode)) return -1302;
    return 0;
}

long Zb7_PlatformForkSize(const ZbFork &fork, int64_t &size) {
    struct stat st;
    if (fstat(fork.fd, &st) != 0) return Zb7_ErrnoToOSErr(errno);
    size = st.st_size;
    return 0;
}

long Zb7_PlatformSetForkSize(const ZbFork &fork, int64_t size) {
    if (ZbSys_ftruncate(fork.fd, off_t(size)) != 0) return Zb7_ErrnoToOSErr(errno);
    return 0;
}

long Zb7_PlatformReadFork(const ZbFork &fork, int64_t offset, void *buffer, size_t count, size_t &actual) {
    actual = 0;
    while (actual < count) {
        const ssize_t n = pread(fork.fd, static_cast<char *>(buffer) + actual, count - actual, off_t(offset + int64_t(actual)));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return Zb7_ErrnoToOSErr(errno);
        if (n == 0) break;
        actual += size_t(n);
    }
    return 0;
}

long Zb7_PlatformWriteFork(const ZbFork &fork, int64_t offset, const void *data, size_t count) {
    for (size_t done = 0; done < count;) {
        const ssize_t n = ZbSys_pwrite(fork.fd, static_cast<const char *>(data) + done, count - done,
                                       off_t(offset + int64_t(done)));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return Zb7_ErrnoToOSErr(errno);
        done += size_t(n);
    }
    return 0;
}
