// The system calls that change files, and those that read a file's contents, its attributes and
// its folder's entries, in one place. Every routine of the plug-in that writes, renames, removes
// or changes an item, or reads what it copies or rewrites, calls through these wrappers, so that
// the tests can make any one of them fail (as a full disk, an I/O error or an interrupted call
// would) and check that the user's files are as the plug-in promises after every such failure.
//
// Calls that only clean up after a failure (removing a temporary file, closing a descriptor) and
// the reads of /proc that tell a live process from a dead one are made directly: they are not
// counted, and never failed, since a failure there cannot break a promise the tests check.
//
// The wrappers take the arguments of the calls they stand for and answer as they do: -1 (or a
// null pointer) with errno set on failure. In a confined call (platform/confinement.h) those that
// name an item check it first and act on it beneath the allowed folder; a refused one fails with
// EACCES.
#ifndef ZERB_PLATFORM_SYSTEM_CALLS_H
#define ZERB_PLATFORM_SYSTEM_CALLS_H

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>

int ZbSys_openat(int dirFd, const char *path, int flags, mode_t mode = 0);
ssize_t ZbSys_pread(int fd, void *buffer, size_t size, off_t offset);
int ZbSys_fstat(int fd, struct stat *st);
ssize_t ZbSys_lgetxattr(const char *path, const char *name, void *value, size_t size);
ssize_t ZbSys_fgetxattr(int fd, const char *name, void *value, size_t size);
ssize_t ZbSys_flistxattr(int fd, char *names, size_t size);
long ZbSys_getdents64(int fd, void *buffer, size_t size);
ssize_t ZbSys_write(int fd, const void *buffer, size_t size);
ssize_t ZbSys_pwrite(int fd, const void *buffer, size_t size, off_t offset);
int ZbSys_fsync(int fd);
int ZbSys_ftruncate(int fd, off_t size);
int ZbSys_renameat2(int fromDir, const char *from, int toDir, const char *to, unsigned flags);
int ZbSys_linkat(int fromDir, const char *from, int toDir, const char *to, int flags);
int ZbSys_unlinkat(int dirFd, const char *path, int flags);
int ZbSys_mkdirat(int dirFd, const char *path, mode_t mode);
int ZbSys_umount2(const char *target, int flags);
int ZbSys_symlinkat(const char *target, int dirFd, const char *path);
int ZbSys_lsetxattr(const char *path, const char *name, const void *value, size_t size, int flags);
int ZbSys_fsetxattr(int fd, const char *name, const void *value, size_t size, int flags);
int ZbSys_lremovexattr(const char *path, const char *name);
int ZbSys_fremovexattr(int fd, const char *name);
int ZbSys_fchmodat(int dirFd, const char *path, mode_t mode, int flags);
int ZbSys_fchmod(int fd, mode_t mode);
int ZbSys_fchownat(int dirFd, const char *path, uid_t owner, gid_t group, int flags);
int ZbSys_utimensat(int dirFd, const char *path, const struct timespec times[2], int flags);
int ZbSys_futimens(int fd, const struct timespec times[2]);
ssize_t ZbSys_copy_file_range(int in, off_t *inOffset, int out, off_t *outOffset, size_t size, unsigned flags);

// Test hooks, per thread: after ZbSysFailCall(n, error), the n-th wrapper call of this thread
// from now on fails with that errno (n >= 1; 0 disarms). ZbSysCallCount() counts the wrapper
// calls this thread has made.
void ZbSysFailCall(long n, int error);
[[nodiscard]] long ZbSysCallCount();
// Runs `action` just before the n-th wrapper call of this thread from now on, which then goes
// ahead (n >= 1; 0 disarms): a test's way to change the file system at an exact point of a call.
void ZbSysRunBeforeCall(long n, void (*action)(void *context), void *context);

#endif
