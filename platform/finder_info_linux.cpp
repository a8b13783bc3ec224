#include <sys/xattr.h>

#include <cerrno>
#include <cstring>

#include "platform/errors.h"
#include "platform/finder_info.h"

namespace {
constexpr char kFinderInfo[] = "user.com.apple.FinderInfo";

void PutBigEndian(unsigned char *p, uint32_t v) {
    p[0] = uint8_t(v >> 24);
    p[1] = uint8_t(v >> 16);
    p[2] = uint8_t(v >> 8);
    p[3] = uint8_t(v);
}
}  // namespace

long Zb7_PlatformSetTypeAndCreator(const std::string &path, uint32_t type, uint32_t creator) {
    unsigned char info[32] = {};
    const ssize_t n = lgetxattr(path.c_str(), kFinderInfo, info, sizeof info);
    if (n < 0 && errno != ENODATA) return errno == ENOTSUP ? -1426 : Zb7_ErrnoToOSErr(errno);
    if (n >= 0 && n != ssize_t(sizeof info)) std::memset(info, 0, sizeof info);
    PutBigEndian(info, type);
    PutBigEndian(info + 4, creator);
    if (lsetxattr(path.c_str(), kFinderInfo, info, sizeof info, 0) != 0)
        return errno == ENOTSUP ? -1426 : Zb7_ErrnoToOSErr(errno);
    return 0;
}
