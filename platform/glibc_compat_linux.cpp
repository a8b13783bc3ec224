// The plug-in must load on glibc 2.35 (Ubuntu 22.04). The C++ runtime linked into it refers to
// arc4random, which glibc only has from 2.36 on; this definition satisfies that reference inside
// the module (it is not exported), so the module needs no newer glibc.
#include <sys/random.h>

#include <cerrno>
#include <cstdint>

extern "C" uint32_t arc4random(void) noexcept {
    uint32_t value = 0;
    unsigned char *p = reinterpret_cast<unsigned char *>(&value);
    size_t done = 0;
    while (done < sizeof value) {
        const ssize_t n = getrandom(p + done, sizeof value - done, 0);
        if (n > 0)
            done += size_t(n);
        else if (errno != EINTR)
            break;
    }
    return value;
}
