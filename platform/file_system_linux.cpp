#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <linux/fs.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <memory>

#include "platform/confinement.h"
#include "platform/errors.h"
#include "platform/file_system.h"
#include "platform/system_calls.h"
#include "platform/unique_fd.h"

namespace {

// ENOENT means the item is missing, or a folder on the way to it: the two get different numbers.
long MissingItemError(const std::string &path) {
    const auto slash = path.find_last_of('/', path.size() > 1 ? path.size() - 2 : 0);
    if (slash == std::string::npos) return kFnfErr;
    struct stat st;
    const std::string folder = slash == 0 ? std::string("/") : path.substr(0, slash);
    return stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode) ? kFnfErr : kDirNFErr;
}

// The inode generation of a folder, read through a descriptor of its own (an O_PATH descriptor
// cannot be asked); 0 when the file system keeps none or the folder cannot be opened.
uint64_t FolderGeneration(int dirFd, const char *path, int extraFlags) {
    const ZbUniqueFd folder(openat(dirFd, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | extraFlags));
    int generation = 0;
    if (folder.fd < 0 || ioctl(folder.fd, FS_IOC_GETVERSION, &generation) != 0) return 0;
    return uint64_t(uint32_t(generation));
}

// statx of dirFd/path into info, with the birth time or, for a folder without one, the generation.
int StatNode(int dirFd, const char *path, int flags, ZbNodeInfo &info) {
    struct statx sx;
    if (statx(dirFd, path, flags | AT_STATX_SYNC_AS_STAT, STATX_TYPE | STATX_INO | STATX_BTIME, &sx) != 0)
        return errno;
    info.isFolder = S_ISDIR(sx.stx_mode);
    info.isLink = S_ISLNK(sx.stx_mode);
    info.device = makedev(sx.stx_dev_major, sx.stx_dev_minor);
    info.inode = sx.stx_ino;
    if (sx.stx_mask & STATX_BTIME)
        info.birth = uint64_t(sx.stx_btime.tv_sec) * 1000000000u + sx.stx_btime.tv_nsec;
    else if (info.isFolder)
        info.birth = FolderGeneration(dirFd, path, flags & AT_SYMLINK_NOFOLLOW ? O_NOFOLLOW : 0);
    return 0;
}

}  // namespace

long Zb7_PlatformGetNodeInfo(const std::string &path, bool follow, ZbNodeInfo &info) {
    info = {};
    ZbConfinedItem item;
    if (!item.Resolve(AT_FDCWD, path.c_str(), ZbAccess::look, follow)) return Zb7_ErrnoToOSErr(errno);
    if (const int error = StatNode(item.dirFd, item.path, follow && !item.followed ? 0 : AT_SYMLINK_NOFOLLOW, info))
        return error == ENOENT ? MissingItemError(path) : Zb7_ErrnoToOSErr(error);
    return 0;
}

long Zb7_PlatformFolderInfo(const std::string &path, ZbNodeInfo &info, std::string &realPath) {
    info = {};
    ZbConfinedItem item;
    if (!item.Resolve(AT_FDCWD, path.c_str(), ZbAccess::look, true)) return Zb7_ErrnoToOSErr(errno);
    const ZbUniqueFd folder(
        openat(item.dirFd, item.path, O_PATH | O_DIRECTORY | O_CLOEXEC | (item.followed ? O_NOFOLLOW : 0)));
    if (folder.fd < 0) return errno == ENOENT || errno == ENOTDIR ? kDirNFErr : Zb7_ErrnoToOSErr(errno);
    if (const int error = StatNode(folder.fd, "", AT_EMPTY_PATH, info)) return Zb7_ErrnoToOSErr(error);
    // The kernel knows the path the descriptor was opened at; without /proc, resolve it again.
    char link[PATH_MAX];
    const std::string self = "/proc/self/fd/" + std::to_string(folder.fd);
    const ssize_t n = readlink(self.c_str(), link, sizeof link);
    if (n > 0 && size_t(n) < sizeof link && link[0] == '/') {
        realPath.assign(link, size_t(n));
        // A folder removed after it was opened has no path any more.
        if (realPath.ends_with(" (deleted)")) {
            ZbNodeInfo now;
            if (Zb7_PlatformGetNodeInfo(realPath, true, now) != 0 || !now.SameItem(info)) return kDirNFErr;
        }
        return 0;
    }
    if (const long err = Zb7_PlatformRealPath(path, realPath)) return err == kFnfErr ? kDirNFErr : err;
    return 0;
}

long Zb7_PlatformRealPath(const std::string &path, std::string &resolved) {
    std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), &free);
    if (!real) return errno == ENOENT ? MissingItemError(path) : Zb7_ErrnoToOSErr(errno);
    resolved = real.get();
    return 0;
}

long Zb7_PlatformListNames(const std::string &folder, std::vector<std::string> &names) {
    names.clear();
    ZbUniqueFd fd(Zb7_ConfinedOpen(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::unique_ptr<DIR, int (*)(DIR *)> dir(fd.fd < 0 ? nullptr : fdopendir(fd.fd), closedir);
    if (dir) fd.Release();
    if (!dir) return errno == ENOENT ? MissingItemError(folder) : Zb7_ErrnoToOSErr(errno);
    for (;;) {
        errno = 0;
        const dirent *e = readdir(dir.get());
        if (!e) return errno ? Zb7_ErrnoToOSErr(errno) : 0;
        const std::string_view name = e->d_name;
        if (name != "." && name != "..") names.emplace_back(name);
    }
}

long Zb7_PlatformCreateNewFile(const std::string &path) {
    const ZbUniqueFd file(ZbSys_openat(AT_FDCWD, path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (file.fd < 0) return errno == ENOENT ? MissingItemError(path) : Zb7_ErrnoToOSErr(errno);
    return 0;
}

long Zb7_PlatformAppendToFile(const std::string &path, std::string_view bytes) {
    const ZbUniqueFd file(ZbSys_openat(AT_FDCWD, path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    if (file.fd < 0) return Zb7_ErrnoToOSErr(errno);
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t n = ZbSys_write(file.fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return n < 0 ? Zb7_ErrnoToOSErr(errno) : kIoErr;
        done += size_t(n);
    }
    return 0;
}

long Zb7_PlatformApplicationPath(std::string &path) {
    char buffer[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer);
    if (n <= 0 || size_t(n) >= sizeof buffer || buffer[0] != '/') return kFnfErr;
    path.assign(buffer, size_t(n));
    return 0;
}

uint32_t Zb7_PlatformCurrentDateTime() { return Zb7_PlatformLocalDateOfTime(time(nullptr)); }

uint32_t Zb7_PlatformLocalDateOfTime(int64_t seconds) {
    const time_t moment = time_t(seconds);
    struct tm local {};
    if (!localtime_r(&moment, &local)) return seconds < 0 ? 0 : UINT32_MAX;
    const int64_t date = seconds + local.tm_gmtoff + kZbSeconds1904To1970;
    return uint32_t(std::clamp<int64_t>(date, 0, UINT32_MAX));
}

int64_t Zb7_PlatformTimeOfLocalDate(int64_t localDate) {
    // The local calendar fields, worked out as if the date were UTC, then read as local time.
    const time_t asUTC = time_t(localDate - kZbSeconds1904To1970);
    struct tm fields {};
    gmtime_r(&asUTC, &fields);
    fields.tm_isdst = -1;
    return int64_t(mktime(&fields));
}
