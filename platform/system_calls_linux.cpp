#include <stdio.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "platform/system_calls.h"

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
    return Injected() ? -1 : openat(dirFd, path, flags, mode);
}
ssize_t ZbSys_pread(int fd, void *buffer, size_t size, off_t offset) {
    return Injected() ? -1 : pread(fd, buffer, size, offset);
}
int ZbSys_fstat(int fd, struct stat *st) { return Injected() ? -1 : fstat(fd, st); }
ssize_t ZbSys_lgetxattr(const char *path, const char *name, void *value, size_t size) {
    return Injected() ? -1 : lgetxattr(path, name, value, size);
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
    return Injected() ? -1 : renameat2(fromDir, from, toDir, to, flags);
}
int ZbSys_linkat(int fromDir, const char *from, int toDir, const char *to, int flags) {
    return Injected() ? -1 : linkat(fromDir, from, toDir, to, flags);
}
int ZbSys_unlinkat(int dirFd, const char *path, int flags) { return Injected() ? -1 : unlinkat(dirFd, path, flags); }
int ZbSys_mkdirat(int dirFd, const char *path, mode_t mode) { return Injected() ? -1 : mkdirat(dirFd, path, mode); }
int ZbSys_umount2(const char *target, int flags) { return Injected() ? -1 : umount2(target, flags); }
int ZbSys_symlinkat(const char *target, int dirFd, const char *path) {
    return Injected() ? -1 : symlinkat(target, dirFd, path);
}
int ZbSys_lsetxattr(const char *path, const char *name, const void *value, size_t size, int flags) {
    return Injected() ? -1 : lsetxattr(path, name, value, size, flags);
}
int ZbSys_fsetxattr(int fd, const char *name, const void *value, size_t size, int flags) {
    return Injected() ? -1 : fsetxattr(fd, name, value, size, flags);
}
int ZbSys_lremovexattr(const char *path, const char *name) { return Injected() ? -1 : lremovexattr(path, name); }
int ZbSys_fremovexattr(int fd, const char *name) { return Injected() ? -1 : fremovexattr(fd, name); }
int ZbSys_fchmodat(int dirFd, const char *path, mode_t mode, int flags) {
    return Injected() ? -1 : fchmodat(dirFd, path, mode, flags);
}
int ZbSys_fchmod(int fd, mode_t mode) { return Injected() ? -1 : fchmod(fd, mode); }
int ZbSys_fchownat(int dirFd, const char *path, uid_t owner, gid_t group, int flags) {
    return Injected() ? -1 : fchownat(dirFd, path, owner, group, flags);
}
int ZbSys_utimensat(int dirFd, const char *path, const struct timespec times[2], int flags) {
    return Injected() ? -1 : utimensat(dirFd, path, times, flags);
}
int ZbSys_futimens(int fd, const struct timespec times[2]) { return Injected() ? -1 : futimens(fd, times); }
ssize_t ZbSys_copy_file_range(int in, off_t *inOffset, int out, off_t *outOffset, size_t size, unsigned flags) {
    return Injected() ? -1 : copy_file_range(in, inOffset, out, outOffset, size, flags);
}
