// The one owner of a file descriptor: closes it when it goes out of scope or is given another.
// Records that hold a descriptor and more (a fork, a folder handle) are built on it.
#ifndef ZERB_PLATFORM_UNIQUE_FD_H
#define ZERB_PLATFORM_UNIQUE_FD_H

#include <unistd.h>

struct ZbUniqueFd {
    int fd = -1;

    ZbUniqueFd() = default;
    explicit ZbUniqueFd(int f) : fd(f) {}
    ZbUniqueFd(ZbUniqueFd &&other) noexcept : fd(other.Release()) {}
    ZbUniqueFd &operator=(ZbUniqueFd &&other) noexcept {
        if (this != &other) Reset(other.Release());
        return *this;
    }
    ZbUniqueFd(const ZbUniqueFd &) = delete;
    ZbUniqueFd &operator=(const ZbUniqueFd &) = delete;
    ~ZbUniqueFd() { Reset(); }

    // Closes the descriptor held and takes f.
    void Reset(int f = -1) {
        if (fd >= 0) close(fd);
        fd = f;
    }
    // Gives up the descriptor without closing it.
    int Release() {
        const int f = fd;
        fd = -1;
        return f;
    }
};

#endif
