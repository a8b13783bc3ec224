#include <stdio.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "platform/system_calls.h"

#include <string>

#include "platform/confinement.h"

namespace {

thread_local long tCountdown = 0;  // > 0: the call that brings it to 0 fails
thread_local int tError = 0;
thread_local long tCalls = 0;

thread_local long tActionCountdown = 0;
thread_local void (*tAction)(void *) = nullptr;
thread_local void *tActionContext = nullptr;

// Set once a test uses a hook. Until then no call touches the per-thread state, so a host that
// never tests the plug-in gives its threads none of it (thread-local storage of a module loaded
// at run time is allocated on first use, and LeakSanitizer cannot follow it once the module is
// unloaded).
std::atomic<bool> gHooksUsed{false};

// True when this call is the one a test asked to fail; errno is then set.
bool Injected() {
    if (!gHooksUsed.load(std::memory_order_relaxed)) return false;
    ++tCalls;
    if (tActionCountdown > 0 && --tActionCountdown == 0 && tAction) tAction(tActionContext);
    if (tCountdown <= 0 || --tCountdown > 0) return false;
    errno = tError;
    return true;
}

// An item named by a path alone (the calls on extended attributes and mounts have no *at form),
// resolved under the thread's confinement: the path to give the call, through its parent's open
// descriptor when it was opened beneath an allowed folder. The last name is never followed.
struct ItemPath {
    ZbConfinedItem item;
    std::string through;
    const char *path = nullptr;
    bool Resolve(const char *given, ZbAccess access) {
        if (!item.Resolve(AT_FDCWD, given, access, false)) return false;
        if (item.dirFd == AT_FDCWD) {
            path = item.path;
        } else {
            through = "/proc/self/fd/" + std::to_string(item.dirFd) + "/" + item.path;
            path = through.c_str();
        }
        return true;
    }
};

}  // namespace

void ZbSysFailCall(long n, int error) {
    gHooksUsed = true;
    tCountdown = n;
    tError = error;
}

long ZbSysCallCount() {
    gHooksUsed = true;
    return tCalls;
}

void ZbSysRunBeforeCall(long n, void (*action)(void *), void *context) {
    gHooksUsed = true;
    tActionCountdown = n;
    tAction = action;
    tActionContext = context;
}

int ZbSys_openat(int dirFd, const char *path, int flags, mode_t mode) {
    return Injected() ? -1 : Zb7_ConfinedOpen(dirFd, path, flags, mode);
}
ssize_t ZbSys_pread(int fd, void *buffer, size_t size, off_t offset) {
    return Injected() ? -1 : pread(fd, buffer, size, offset);
}
int ZbSys_fstat(int fd, struct stat *st) { return Injected() ? -1 : fstat(fd, st); }
ssize_t ZbSys_lgetxattr(const char *path, const char *name, void *value, size_t size) {
    ItemPath item;
    return Injected() || !item.Resolve(path, ZbAccess::look) ? -1 : lgetxattr(item.path, name, value, size);
}
ssize_t ZbSys_fgetxattr(int fd, const char *name, void *value, size_t size) {
    return Injected() ? -1 : fgetxattr(fd, name, value, size);
}
ssize_t ZbSys_flistxattr(int fd, char *names, size_t size) { return Injected() ? -1 : flistxattr(fd, names, size); }
long ZbSys_getdents64(int fd, void *buffer, size_t size) {
    return Injected() ? -1 : syscall(SYS_getdents64, fd, buffer, size);
}
ssize_t ZbSys_write(int fd, const void *buffer, size_t size) { return Injected() ? -1 : write(fd, buffer, size); }
ssize_t ZbSys_pwrite(int fd, const void *buffer, size_t size, off_t offset) {
    return Injected() ? -1 : pwrite(fd, buffer, size, offset);
}
int ZbSys_fsync(int fd) { return Injected() ? -1 : fsync(fd); }
int ZbSys_ftruncate(int fd, off_t size) { return Injected() ? -1 : ftruncate(fd, size); }
int ZbSys_renameat2(int fromDir, const char *from, int toDir, const char *to, unsigned flags) {
    if (Injected()) return -1;
    // An exchange changes both names' contents; otherwise the source's name goes away.
    ZbConfinedItem source, target;
    if (!source.Resolve(fromDir, from, flags & RENAME_EXCHANGE ? ZbAccess::write : ZbAccess::remove, false) ||
        !target.Resolve(toDir, to, ZbAccess::write, false))
        return -1;
    return renameat2(source.dirFd, source.path, target.dirFd, target.path, flags);
}
int ZbSys_linkat(int fromDir, const char *from, int toDir, const char *to, int flags) {
    if (Injected()) return -1;
    // Following a link, the plug-in links only a file it made and holds open (/proc/self/fd/N),
    // which was checked when it was opened.
    ZbConfinedItem source, target;
    if (!(flags & AT_SYMLINK_FOLLOW) && !source.Resolve(fromDir, from, ZbAccess::read, false)) return -1;
    if (!target.Resolve(toDir, to, ZbAccess::write, false)) return -1;
    return flags & AT_SYMLINK_FOLLOW ? linkat(fromDir, from, target.dirFd, target.path, flags)
                                     : linkat(source.dirFd, source.path, target.dirFd, target.path, flags);
}
int ZbSys_unlinkat(int dirFd, const char *path, int flags) {
    ZbConfinedItem item;
    return Injected() || !item.Resolve(dirFd, path, ZbAccess::remove, false) ? -1
                                                                              : unlinkat(item.dirFd, item.path, flags);
}
int ZbSys_mkdirat(int dirFd, const char *path, mode_t mode) {
    ZbConfinedItem item;
    return Injected() || !item.Resolve(dirFd, path, ZbAccess::write, false) ? -1
                                                                             : mkdirat(item.dirFd, item.path, mode);
}
int ZbSys_umount2(const char *target, int flags) {
    ItemPath item;
    return Injected() || !item.Resolve(target, ZbAccess::remove) ? -1 : umount2(item.path, flags);
}
int ZbSys_symlinkat(const char *target, int dirFd, const char *path) {
    ZbConfinedItem item;
    return Injected() || !item.Resolve(dirFd, path, ZbAccess::write, false) ? -1
                                                                             : symlinkat(target, item.dirFd, item.path);
}
int ZbSys_lsetxattr(const char *path, const char *name, const void *value, size_t size, int flags) {
    ItemPath item;
    return Injected() || !item.Resolve(path, ZbAccess::write) ? -1 : lsetxattr(item.path, name, value, size, flags);
}
int ZbSys_fsetxattr(int fd, const char *name, const void *value, size_t size, int flags) {
    return Injected() ? -1 : fsetxattr(fd, name, value, size, flags);
}
int ZbSys_lremovexattr(const char *path, const char *name) {
    ItemPath item;
    return Injected() || !item.Resolve(path, ZbAccess::write) ? -1 : lremovexattr(item.path, name);
}
int ZbSys_fremovexattr(int fd, const char *name) { return Injected() ? -1 : fremovexattr(fd, name); }
int ZbSys_fchmodat(int dirFd, const char *path, mode_t mode, int flags) {
    ZbConfinedItem item;
    if (Injected() || !item.Resolve(dirFd, path, ZbAccess::write, !(flags & AT_SYMLINK_NOFOLLOW))) return -1;
    return fchmodat(item.dirFd, item.path, mode, flags | (item.followed ? AT_SYMLINK_NOFOLLOW : 0));
}
int ZbSys_fchmod(int fd, mode_t mode) { return Injected() ? -1 : fchmod(fd, mode); }
int ZbSys_fchownat(int dirFd, const char *path, uid_t owner, gid_t group, int flags) {
    if (Injected()) return -1;
    if (path[0] == '\0' && (flags & AT_EMPTY_PATH)) return fchownat(dirFd, path, owner, group, flags);  // an open item
    ZbConfinedItem item;
    if (!item.Resolve(dirFd, path, ZbAccess::write, !(flags & AT_SYMLINK_NOFOLLOW))) return -1;
    return fchownat(item.dirFd, item.path, owner, group, flags | (item.followed ? AT_SYMLINK_NOFOLLOW : 0));
}
int ZbSys_utimensat(int dirFd, const char *path, const struct timespec times[2], int flags) {
    ZbConfinedItem item;
    if (Injected() || !item.Resolve(dirFd, path, ZbAccess::write, !(flags & AT_SYMLINK_NOFOLLOW))) return -1;
    return utimensat(item.dirFd, item.path, times, flags | (item.followed ? AT_SYMLINK_NOFOLLOW : 0));
}
int ZbSys_futimens(int fd, const struct timespec times[2]) { return Injected() ? -1 : futimens(fd, times); }
ssize_t ZbSys_copy_file_range(int in, off_t *inOffset, int out, off_t *outOffset, size_t size, unsigned flags) {
    return Injected() ? -1 : copy_file_range(in, inOffset, out, outOffset, size, flags);
}
