#include "platform/item_metadata_linux.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/errors.h"
#include "platform/file_attributes.h"
#include "platform/system_calls.h"

// Every extended attribute of one open item onto another. A destination file system that keeps
// none takes the item without them; names this process may not write (trusted.*, or security.*
// without privilege) are left out.
long ZbCopyAttributes(int in, int out) {
    ssize_t size = ZbSys_flistxattr(in, nullptr, 0);
    if (size < 0) return errno == ENOTSUP ? 0 : Zb7_ErrnoToOSErr(errno);
    std::string names(size_t(size), '\0');
    size = ZbSys_flistxattr(in, names.data(), names.size());
    if (size < 0) return Zb7_ErrnoToOSErr(errno);
    names.resize(size_t(size));
    std::string value;
    for (size_t at = 0; at < names.size();) {
        const std::string name = names.c_str() + at;
        at += name.size() + 1;
        const ssize_t length = ZbSys_fgetxattr(in, name.c_str(), nullptr, 0);
        if (length < 0) {
            if (errno == ENODATA) continue;
            return Zb7_ErrnoToOSErr(errno);
        }
        value.resize(size_t(length));
        const ssize_t got = ZbSys_fgetxattr(in, name.c_str(), value.data(), value.size());
        if (got < 0) return Zb7_ErrnoToOSErr(errno);
        if (ZbSys_fsetxattr(out, name.c_str(), value.data(), size_t(got), 0) != 0) {
            if (errno == ENOTSUP) return 0;
            if (errno == EPERM && !name.starts_with("user.")) continue;
            return Zb7_ErrnoToOSErr(errno);
        }
    }
    return 0;
}

// The creation date of the original on the copy: the one that was set travels with the other
// attributes; otherwise the original's birth time is kept as a set date.
long ZbCopyCreationDate(int in, int out) {
    if (fgetxattr(in, kZbCreatedAttribute, nullptr, 0) >= 0) return 0;
    struct statx sx;
    if (statx(in, "", AT_EMPTY_PATH, STATX_BTIME, &sx) != 0 || !(sx.stx_mask & STATX_BTIME) || sx.stx_btime.tv_sec == 0)
        return 0;
    const std::string seconds = std::to_string(sx.stx_btime.tv_sec);
    if (ZbSys_fsetxattr(out, kZbCreatedAttribute, seconds.data(), seconds.size(), 0) != 0 && errno != ENOTSUP)
        return Zb7_ErrnoToOSErr(errno);
    return 0;
}

// Ownership (where this process may give it), permissions and times of an open item.
long ZbCopyOwnerModeAndTimes(int out, const struct stat &st) {
    if (ZbSys_fchownat(out, "", geteuid() == 0 ? st.st_uid : uid_t(-1), st.st_gid, AT_EMPTY_PATH) != 0 &&
        errno != EPERM)
        return Zb7_ErrnoToOSErr(errno);
    if (ZbSys_fchmod(out, st.st_mode & 07777) != 0) return Zb7_ErrnoToOSErr(errno);
    const struct timespec times[2] = {st.st_atim, st.st_mtim};
    if (ZbSys_futimens(out, times) != 0) return Zb7_ErrnoToOSErr(errno);
    return 0;
}

