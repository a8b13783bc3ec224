#include "platform/confinement.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

#include "platform/kernel_calls_linux.h"

namespace {

struct ThreadState {
    const ZbConfinement *confinement = nullptr;
    bool refused = false;
};

// Set once a call runs confined. Until then no check touches the per-thread state, so a host
// without a policy gives its threads none of it (see system_calls_linux.cpp on thread-local
// storage in a module loaded at run time).
std::atomic<bool> gUsed{false};
thread_local ThreadState tState;

ZbKernelCall gOpenat2{.filteredCountsAsMissing = true};

const ZbConfinement *Current() {
    return gUsed.load(std::memory_order_relaxed) ? tState.confinement : nullptr;
}

bool Refuse() {
    tState.refused = true;
    errno = EACCES;
    return false;
}

// The folder of `folders` that holds `path` (the longest), or null.
const std::string *Holder(const std::vector<std::string> &folders, const std::string &path) {
    const std::string *best = nullptr;
    for (const std::string &f : folders)
        if (Zb7_PathWithin(path, f) && (!best || f.size() > best->size())) best = &f;
    return best;
}

std::string RealPathOf(const std::string &path) {
    std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), &free);
    return real ? std::string(real.get()) : std::string();
}

// The path of the folder open at fd.
std::string PathOfFd(int fd) {
    char link[PATH_MAX];
    const std::string self = "/proc/self/fd/" + std::to_string(fd);
    const ssize_t n = readlink(self.c_str(), link, sizeof link);
    return n > 0 && size_t(n) < sizeof link && link[0] == '/' ? std::string(link, size_t(n)) : std::string();
}

// Where the item at an absolute path really is: links and ".." resolved as the kernel would,
// the last name left as it is unless `followLast`. Names that do not exist yet are kept as
// written after the real path of the part that does; "" when that cannot be told (a ".." after
// a missing name, a path too long).
std::string RealLocation(const std::string &path, bool followLast) {
    std::string head = path;
    while (head.size() > 1 && head.back() == '/') head.pop_back();
    std::vector<std::string> tail;  // missing names, last first
    if (!followLast) {
        const size_t slash = head.rfind('/');
        const std::string last = head.substr(slash + 1);
        if (!last.empty() && last != "." && last != "..") {
            tail.push_back(last);
            head = slash == 0 ? "/" : head.substr(0, slash);
        }
    }
    for (int guard = 0; guard < 4096; ++guard) {
        const std::string real = RealPathOf(head);
        if (!real.empty()) {
            std::string out = real;
            for (auto it = tail.rbegin(); it != tail.rend(); ++it) {
                if (*it == "..") return "";
                if (*it == "." || it->empty()) continue;
                if (out.back() != '/') out += '/';
                out += *it;
            }
            return out;
        }
        if (errno != ENOENT && errno != ENOTDIR) return "";
        const size_t slash = head.rfind('/');
        if (slash == std::string::npos || head == "/") return "";
        tail.push_back(head.substr(slash + 1));
        head = slash == 0 ? "/" : head.substr(0, slash);
    }
    return "";
}

// The folder the call may touch the real location in this way, or null.
const std::string *AllowingFolder(const ZbConfinement &c, const std::string &real, ZbAccess access) {
    if (real.empty()) return nullptr;
    if (access == ZbAccess::write || access == ZbAccess::remove) {
        const std::string *f = Holder(c.write, real);
        // A write folder itself is never removed or renamed away.
        return f && access == ZbAccess::remove && *f == real ? nullptr : f;
    }
    if (const std::string *f = Holder(c.write, real)) return f;
    return Holder(c.read, real);
}

// Whether the real location is a folder above one of the call's folders.
bool AboveAFolder(const ZbConfinement &c, const std::string &real) {
    for (const auto *list : {&c.read, &c.write})
        for (const std::string &f : *list)
            if (Zb7_PathWithin(f, real)) return true;
    return false;
}

long Openat2(int dirFd, const char *path, int flags, unsigned mode, unsigned long long resolve) {
    open_how how{};
    how.flags = unsigned(flags) | O_CLOEXEC;
    how.mode = how.flags & (O_CREAT | O_TMPFILE) ? mode : 0;
    how.resolve = resolve;
    return syscall(SYS_openat2, dirFd, path, &how, sizeof how);
}

// The absolute path that (dirFd, path) names; "" when the folder's path cannot be told.
std::string Absolute(int dirFd, const char *path) {
    if (path[0] == '/') return path;
    std::string folder = dirFd == AT_FDCWD ? RealPathOf(".") : PathOfFd(dirFd);
    if (folder.empty()) return "";
    if (path[0] == '\0') return folder;
    if (folder.back() != '/') folder += '/';
    return folder + path;
}

// The real location of (dirFd, path) when the call may touch it this way; "" (refused) otherwise.
// `folder` gets the folder that allows it, null for a look above a folder.
std::string Check(const ZbConfinement &c, int dirFd, const char *path, ZbAccess access, bool followLast,
                  const std::string *&folder) {
    folder = nullptr;
    const std::string real = RealLocation(Absolute(dirFd, path), followLast);
    folder = AllowingFolder(c, real, access);
    if (!folder && !(access == ZbAccess::look && !real.empty() && AboveAFolder(c, real))) {
        Refuse();
        return "";
    }
    return real;
}

// Whether a name that could not be opened without following links is a link: one swapped in
// since the check, as a real path holds none.
bool SwappedLink(int dirFd, const char *name, int error) {
    struct stat st;
    return (error == ELOOP || error == ENOTDIR) && fstatat(dirFd, name, &st, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISLNK(st.st_mode);
}

// Without openat2: the same walk one name at a time from the root, none of them followed if it
// is a link. On a path without links that holds as RESOLVE_BENEATH does.
int WalkBeneath(const std::string &folder, const std::string &relative, int flags, unsigned mode) {
    const std::string whole = folder.substr(1) + (relative.empty() || folder == "/" ? "" : "/") + relative;
    ZbUniqueFd at{open("/", O_PATH | O_DIRECTORY | O_CLOEXEC)};
    size_t start = 0;
    for (size_t slash; at.fd >= 0 && (slash = whole.find('/', start)) != std::string::npos; start = slash + 1) {
        const std::string name = whole.substr(start, slash - start);
        const int next = openat(at.fd, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (next < 0) {
            const int error = errno;
            if (SwappedLink(at.fd, name.c_str(), error)) return Refuse(), -1;
            errno = error;
            return -1;
        }
        at.Reset(next);
    }
    if (at.fd < 0) return -1;
    const std::string last = start < whole.size() ? whole.substr(start) : ".";
    const int fd = openat(at.fd, last.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, mode);
    if (fd < 0) {
        const int error = errno;
        if (SwappedLink(at.fd, last.c_str(), error)) return Refuse(), -1;
        errno = error;
    }
    return fd;
}

// Opens `relative` (a part of a real path: no link, "." or ".."; "" for the folder itself)
// beneath `folder`: -1 with errno, and EACCES (the call refused) when a link on the way leads out.
int OpenBeneath(const std::string &folder, const std::string &relative, int flags, unsigned mode) {
    if (!gOpenat2.IsMissing()) {
        // The folder's path is real: a link met on it was swapped in since the policy was read.
        const long top = Openat2(AT_FDCWD, folder.c_str(), O_PATH | O_DIRECTORY, 0, RESOLVE_NO_SYMLINKS);
        if (top >= 0) {
            const ZbUniqueFd topFd{static_cast<int>(top)};
            const long fd = Openat2(topFd.fd, relative.empty() ? "." : relative.c_str(), flags, mode,
                                    RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS);
            if (fd < 0 && errno == EXDEV) Refuse();
            return int(fd);
        }
        if (errno == ELOOP) return Refuse(), -1;
        if (!gOpenat2.Lacks(errno)) return -1;
    }
    return WalkBeneath(folder, relative, flags, mode);
}

}  // namespace

ZbConfinedCall::ZbConfinedCall(const ZbConfinement *confinement) : active_(confinement != nullptr) {
    if (!active_) return;
    gUsed.store(true, std::memory_order_relaxed);
    tState = {confinement, false};
}

ZbConfinedCall::~ZbConfinedCall() {
    if (active_) tState = {};
}

bool ZbConfinedCall::Refused() const { return active_ && tState.refused; }

bool Zb7_PathWithin(const std::string &path, const std::string &folder) {
    if (folder == "/") return true;
    return path.size() >= folder.size() && path.compare(0, folder.size(), folder) == 0 &&
           (path.size() == folder.size() || path[folder.size()] == '/');
}

bool ZbConfinedItem::Resolve(int dirFd, const char *path, ZbAccess access, bool followLast) {
    this->dirFd = dirFd;
    this->path = path;
    followed = false;
    const ZbConfinement *c = Current();
    if (!c) return true;
    const std::string *folder;
    const std::string real = Check(*c, dirFd, path, access, followLast, folder);
    if (real.empty()) return false;
    // A look above the folders, or at a folder itself: by path (no link lies on a real path).
    if (!folder || real == *folder) {
        name_ = real;
        this->dirFd = AT_FDCWD;
        this->path = name_.c_str();
        followed = followLast;
        return true;
    }
    const std::string relative = real.substr(folder->size() + (*folder == "/" ? 0 : 1));
    const size_t slash = relative.rfind('/');
    const int fd = OpenBeneath(*folder, slash == std::string::npos ? "" : relative.substr(0, slash),
                               O_PATH | O_DIRECTORY, 0);
    if (fd < 0) return false;
    parent_.Reset(fd);
    name_ = relative.substr(slash == std::string::npos ? 0 : slash + 1);
    this->dirFd = parent_.fd;
    this->path = name_.c_str();
    followed = followLast;
    return true;
}

int Zb7_ConfinedOpen(int dirFd, const char *path, int flags, unsigned mode) {
    const ZbConfinement *c = Current();
    if (!c) return openat(dirFd, path, flags, mode);
    const bool nameless = (flags & O_TMPFILE) == O_TMPFILE;
    const bool writes = (flags & O_ACCMODE) != O_RDONLY || (flags & (O_CREAT | O_TRUNC)) != 0 || nameless;
    const bool follow = !(flags & O_NOFOLLOW) || nameless;
    const std::string *folder;
    const std::string real = Check(*c, dirFd, path, writes ? ZbAccess::write : ZbAccess::read, follow, folder);
    if (real.empty()) return -1;
    return OpenBeneath(*folder, real.substr(std::min(real.size(), folder->size() + (*folder == "/" ? 0 : 1))), flags,
                       mode);
}

ZbPlace Zb7_ConfinementPlace(const ZbConfinement &confinement, const std::string &path) {
    const std::string real = RealLocation(path, false);
    if (AllowingFolder(confinement, real, ZbAccess::read)) return ZbPlace::inside;
    return !real.empty() && AboveAFolder(confinement, real) ? ZbPlace::above : ZbPlace::outside;
}

const ZbConfinement *Zb7_CurrentConfinement() { return Current(); }
