#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

#include "platform/confinement.h"
#include "platform/errors.h"
#include "platform/file_attributes.h"
#include "platform/file_system.h"
#include "platform/system_calls.h"

namespace {

// The error number of a failed attribute write: a file system without extended attributes, or a
// symbolic link (Linux refuses user attributes on links with EPERM), cannot keep one.
long WriteError(const std::string &path, int error) {
    if (error == ENOTSUP) return kNotSupportedErr;
    if (error == EPERM) {
        struct stat st;
        if (lstat(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode)) return kNotSupportedErr;
    }
    return error == ENOENT ? kFnfErr : Zb7_ErrnoToOSErr(error);
}

// A missing item (or one whose folder went away) as the path code answers it.
long ReadError(const std::string &path, int error) {
    if (error != ENOENT) return Zb7_ErrnoToOSErr(error);
    ZbNodeInfo node;
    const long err = Zb7_PlatformGetNodeInfo(path, false, node);
    return err ? err : kFnfErr;
}

}  // namespace

long Zb7_PlatformGetItemInfo(const std::string &path, ZbItemInfo &info) {
    info = {};
    struct statx sx;
    ZbConfinedItem item;
    if (!item.Resolve(AT_FDCWD, path.c_str(), ZbAccess::look, false)) return Zb7_ErrnoToOSErr(errno);
    if (statx(item.dirFd, item.path, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &sx) != 0)
        return ReadError(path, errno);
    info.mountRoot = (sx.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) ? (sx.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0
                                                                        : true;  // unknown: maybe
    info.isFolder = S_ISDIR(sx.stx_mode);
    info.isLink = S_ISLNK(sx.stx_mode);
    info.locked = !info.isLink && !(sx.stx_mode & S_IWUSR);
    info.dataSize = sx.stx_size;
    info.allocatedBytes = sx.stx_blocks * 512;
    info.modified = sx.stx_mtime.tv_sec;
    info.accessed = sx.stx_atime.tv_sec;
    info.changed = sx.stx_ctime.tv_sec;
    info.hasBirth = (sx.stx_mask & STATX_BTIME) && sx.stx_btime.tv_sec != 0;
    info.born = info.hasBirth ? sx.stx_btime.tv_sec : 0;
    return 0;
}

long Zb7_PlatformReadAttribute(const std::string &path, const char *name, std::string &value, bool &found) {
    value.clear();
    found = false;
    // Ask for the size, then read; the value may change in between, so retry while it grows.
    for (int attempt = 0; attempt < 8; ++attempt) {
        const ssize_t size = ZbSys_lgetxattr(path.c_str(), name, nullptr, 0);
        if (size < 0) {
            if (errno == ENODATA || errno == ENOTSUP) return 0;
            return ReadError(path, errno);
        }
        value.resize(size_t(size));
        const ssize_t n = ZbSys_lgetxattr(path.c_str(), name, value.data(), value.size());
        if (n >= 0) {
            value.resize(size_t(n));
            found = true;
            return 0;
        }
        if (errno == ENODATA || errno == ENOTSUP) {
            value.clear();
            return 0;
        }
        if (errno != ERANGE) return ReadError(path, errno);
    }
    value.clear();
    return kIoErr;
}

long Zb7_PlatformAttributeSize(const std::string &path, const char *name, uint64_t &size) {
    size = 0;
    const ssize_t n = lgetxattr(path.c_str(), name, nullptr, 0);
    if (n >= 0) size = uint64_t(n);
    else if (errno != ENODATA && errno != ENOTSUP) return ReadError(path, errno);
    return 0;
}

long Zb7_PlatformWriteAttribute(const std::string &path, const char *name, std::string_view value) {
    if (ZbSys_lsetxattr(path.c_str(), name, value.data(), value.size(), 0) != 0) return WriteError(path, errno);
    return 0;
}

long Zb7_PlatformRemoveAttribute(const std::string &path, const char *name) {
    if (ZbSys_lremovexattr(path.c_str(), name) != 0 && errno != ENODATA) {
        if (errno == ENOTSUP) return 0;  // nothing kept, so nothing to remove
        return WriteError(path, errno);
    }
    return 0;
}

long Zb7_PlatformSetLocked(const std::string &path, bool locked) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) return ReadError(path, errno);
    if (S_ISLNK(st.st_mode)) return kNotSupportedErr;
    const mode_t mode = locked ? st.st_mode & ~mode_t(S_IWUSR | S_IWGRP | S_IWOTH) : st.st_mode | S_IWUSR;
    if (ZbSys_fchmodat(AT_FDCWD, path.c_str(), mode & 07777, 0) != 0) return Zb7_ErrnoToOSErr(errno);
    return 0;
}

long Zb7_PlatformSetModificationTime(const std::string &path, int64_t seconds) {
    const struct timespec times[2] = {{0, UTIME_OMIT}, {time_t(seconds), 0}};
    if (ZbSys_utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0) return ReadError(path, errno);
    return 0;
}

long Zb7_PlatformCreationTime(const std::string &path, const ZbItemInfo &info, int64_t &seconds) {
    seconds = 0;
    std::string text;
    bool found = false;
    // A date that was set and cannot be read now is an error, not a cue for another date.
    if (const long err = Zb7_PlatformReadAttribute(path, kZbCreatedAttribute, text, found)) return err;
    if (found && Zb7_ParseSetCreationTime(text, seconds)) return 0;
    seconds = info.hasBirth ? info.born : std::min(info.modified, info.changed);
    return 0;
}

bool Zb7_ParseSetCreationTime(std::string_view value, int64_t &seconds) {
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), seconds);
    return error == std::errc() && end == value.data() + value.size();
}

long Zb7_PlatformTouchFolderOf(const std::string &path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos || path == "/") return 0;  // the root has no folder above it
    const std::string folder = slash == 0 ? "/" : path.substr(0, slash);
    const struct timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_NOW}};
    if (ZbSys_utimensat(AT_FDCWD, folder.c_str(), times, 0) != 0) return ReadError(folder, errno);
    return 0;
}

long Zb7_PlatformSetCreationTime(const std::string &path, int64_t seconds) {
    return Zb7_PlatformWriteAttribute(path, kZbCreatedAttribute, std::to_string(seconds));
}
