#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <memory>

#include "platform/errors.h"
#include "platform/file_system.h"

namespace {

// ENOENT means the item is missing, or a folder on the way to it: the two get different numbers.
long MissingItemError(const std::string &path) {
    const auto slash = path.find_last_of('/', path.size() > 1 ? path.size() - 2 : 0);
    if (slash == std::string::npos) return -43;
    struct stat st;
    const std::string folder = slash == 0 ? std::string("/") : path.substr(0, slash);
    return stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode) ? -43 : -120;
}

}  // namespace

long Zb7_PlatformGetNodeInfo(const std::string &path, bool follow, ZbNodeInfo &info) {
    info = {};
    struct stat st;
    if ((follow ? stat(path.c_str(), &st) : lstat(path.c_str(), &st)) != 0)
        return errno == ENOENT ? MissingItemError(path) : Zb7_ErrnoToOSErr(errno);
    info.isFolder = S_ISDIR(st.st_mode);
    info.isLink = S_ISLNK(st.st_mode);
    info.device = uint64_t(st.st_dev);
    info.inode = uint64_t(st.st_ino);
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
    std::unique_ptr<DIR, int (*)(DIR *)> dir(opendir(folder.c_str()), closedir);
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
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0) return errno == ENOENT ? MissingItemError(path) : Zb7_ErrnoToOSErr(errno);
    close(fd);
    return 0;
}

long Zb7_PlatformApplicationPath(std::string &path) {
    char buffer[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer);
    if (n <= 0 || size_t(n) >= sizeof buffer || buffer[0] != '/') return -43;
    path.assign(buffer, size_t(n));
    return 0;
}

uint32_t Zb7_PlatformCurrentDateTime() {
    constexpr int64_t kSeconds1904To1970 = 2082844800;
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    return uint32_t(int64_t(now) + local.tm_gmtoff + kSeconds1904To1970);
}
