#include "platform/forks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/confinement.h"
#include "platform/errors.h"
#include "platform/file_attributes.h"
#include "platform/item_metadata_linux.h"
#include "platform/system_calls.h"

long Zb7_PlatformOpenDataFork(const std::string &path, bool write, ZbFork &fork) {
    // Opened without waiting: a named pipe would hold the call until a writer came, and a device
    // may never end. Only a regular file has contents to read or write here.
    const int flags = (write ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NONBLOCK;
    fork.fd = write ? ZbSys_openat(AT_FDCWD, path.c_str(), flags) : Zb7_ConfinedOpen(AT_FDCWD, path.c_str(), flags);
    if (fork.fd < 0) return errno == ENXIO ? kNotAFileErr : Zb7_ErrnoToOSErr(errno);  // a socket
    struct stat st;
    if (ZbSys_fstat(fork.fd, &st) != 0) return Zb7_ErrnoToOSErr(errno);
    if (!S_ISREG(st.st_mode)) return kNotAFileErr;
    if (fcntl(fork.fd, F_SETFL, 0) != 0) return Zb7_ErrnoToOSErr(errno);  // reads of a file wait as usual
    return 0;
}

long Zb7_PlatformForkSize(const ZbFork &fork, int64_t &size) {
    struct stat st;
    if (ZbSys_fstat(fork.fd, &st) != 0) return Zb7_ErrnoToOSErr(errno);
    size = st.st_size;
    return 0;
}

long Zb7_PlatformSetForkSize(const ZbFork &fork, int64_t size) {
    if (ZbSys_ftruncate(fork.fd, off_t(size)) != 0) return Zb7_ErrnoToOSErr(errno);
    return 0;
}

long Zb7_PlatformReadFork(const ZbFork &fork, int64_t offset, void *buffer, size_t count, size_t &actual) {
    actual = 0;
    while (actual < count) {
        const ssize_t n = ZbSys_pread(fork.fd, static_cast<char *>(buffer) + actual, count - actual, off_t(offset + int64_t(actual)));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return Zb7_ErrnoToOSErr(errno);
        if (n == 0) break;
        actual += size_t(n);
    }
    return 0;
}

long Zb7_PlatformWriteFork(const ZbFork &fork, int64_t offset, const void *data, size_t count) {
    for (size_t done = 0; done < count;) {
        const ssize_t n = ZbSys_pwrite(fork.fd, static_cast<const char *>(data) + done, count - done,
                                       off_t(offset + int64_t(done)));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return Zb7_ErrnoToOSErr(errno);
        done += size_t(n);
    }
    return 0;
}

void Zb7_PlatformReleaseForkCache(const ZbFork &fork, int64_t offset, size_t count) {
    posix_fadvise(fork.fd, off_t(offset), off_t(count), POSIX_FADV_DONTNEED);
}

namespace {

std::string Join(const std::string &folder, const std::string &name) {
    return folder == "/" ? "/" + name : folder + "/" + name;
}

// Names an unnamed file at `path`, never replacing anything.
long LinkUnnamed(const ZbFork &fork, const std::string &path) {
    const std::string self = "/proc/self/fd/" + std::to_string(fork.fd);
    if (ZbSys_linkat(AT_FDCWD, self.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) != 0)
        return Zb7_ErrnoToOSErr(errno);
    return 0;
}

}  // namespace

long Zb7_PlatformOpenNewFile(const std::string &folder, const std::string &temporaryName, ZbFork &fork) {
    fork.fd = ZbSys_openat(AT_FDCWD, folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (fork.fd >= 0) return 0;
    if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) return Zb7_ErrnoToOSErr(errno);
    const std::string path = Join(folder, temporaryName);
    fork.fd = ZbSys_openat(AT_FDCWD, path.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600);
    if (fork.fd < 0) return Zb7_ErrnoToOSErr(errno);
    fork.temporaryPath = path;
    return 0;
}

long Zb7_PlatformReplaceWith(ZbFork &fork, const std::string &path, const std::string &temporaryName) {
    const int original = Zb7_ConfinedOpen(AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC);
    if (original < 0) return Zb7_ErrnoToOSErr(errno);
    struct stat st;
    long err = ZbSys_fstat(original, &st) == 0 ? 0 : Zb7_ErrnoToOSErr(errno);
    if (err == 0) err = ZbCopyAttributes(original, fork.fd);
    if (err == 0) err = ZbCopyCreationDate(original, fork.fd);
    close(original);
    if (err) return err;
    // Permissions and owner, but the new contents' own modification time.
    if (ZbSys_fchownat(fork.fd, "", geteuid() == 0 ? st.st_uid : uid_t(-1), st.st_gid, AT_EMPTY_PATH) != 0 &&
        errno != EPERM)
        return Zb7_ErrnoToOSErr(errno);
    if (ZbSys_fchmod(fork.fd, st.st_mode & 07777) != 0) return Zb7_ErrnoToOSErr(errno);

    const size_t slash = path.rfind('/');
    const std::string temporary = fork.temporaryPath.empty()
                                      ? Join(slash == 0 ? "/" : path.substr(0, slash), temporaryName)
                                      : fork.temporaryPath;
    if (fork.temporaryPath.empty()) {
        if (const long linked = LinkUnnamed(fork, temporary)) return linked;
        fork.temporaryPath = temporary;
    }
    if (ZbSys_renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_EXCHANGE) == 0) {
        // The new contents are in place, whole: the call has succeeded. The temporary name holds
        // the old contents now; should it not go, it stays as a leftover, not as a failure.
        fork.temporaryPath.clear();
        if (ZbSys_unlinkat(AT_FDCWD, temporary.c_str(), 0) != 0 && errno == EINTR)
            ZbSys_unlinkat(AT_FDCWD, temporary.c_str(), 0);
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) return Zb7_ErrnoToOSErr(errno);
    if (ZbSys_renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), 0) != 0) return Zb7_ErrnoToOSErr(errno);
    fork.temporaryPath.clear();
    return 0;
}

namespace {

// The process's file-mode creation mask, read without changing it (umask(2) can only set it).
mode_t CreationMask() {
    FILE *status = std::fopen("/proc/self/status", "re");
    unsigned mask = 022;
    if (status) {
        char line[256];
        while (std::fgets(line, sizeof line, status))
            if (std::sscanf(line, "Umask: %o", &mask) == 1) break;
        std::fclose(status);
    }
    return mode_t(mask);
}

}  // namespace

long Zb7_PlatformNameNewFile(ZbFork &fork, const std::string &folder, const std::string &name,
                             const ZbFinderInfo &info) {
    // A new file under its own name gets the permissions any new file gets (it was made private
    // while it was being written).
    if (ZbSys_fchmod(fork.fd, 0666 & ~CreationMask()) != 0) return Zb7_ErrnoToOSErr(errno);
    if (info.bytes != ZbFinderInfo{}.bytes &&
        ZbSys_fsetxattr(fork.fd, kZbFinderInfoAttribute, info.bytes.data(), info.bytes.size(), 0) != 0 &&
        errno != ENOTSUP)
        return Zb7_ErrnoToOSErr(errno);
    const std::string path = Join(folder, name);
    if (fork.temporaryPath.empty()) return LinkUnnamed(fork, path);
    if (ZbSys_renameat2(AT_FDCWD, fork.temporaryPath.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) != 0)
        return Zb7_ErrnoToOSErr(errno);
    fork.temporaryPath.clear();
    return 0;
}

long Zb7_PlatformSetNewFileAttribute(ZbFork &fork, const char *name, const std::string &value) {
    if (ZbSys_fsetxattr(fork.fd, name, value.data(), value.size(), 0) != 0 && errno != ENOTSUP)
        return Zb7_ErrnoToOSErr(errno);
    return 0;
}

void Zb7_PlatformDiscardNewFile(ZbFork &fork) {
    if (!fork.temporaryPath.empty()) unlinkat(AT_FDCWD, fork.temporaryPath.c_str(), 0);
    fork.temporaryPath.clear();
}

namespace {

// From this size on, a replaced file is closed in the background.
constexpr off_t kCloseInBackgroundFrom = off_t(64) << 20;

// One thread, started when first needed, closes the descriptors handed to it; shut-down ends it.
// At a process exit without shut-down the kernel closes what is left.
struct BackgroundCloser {
    std::mutex mutex;
    std::condition_variable wake;
    std::vector<int> pending;
    bool stop = false;
    std::thread thread;

    void Run() {
        std::unique_lock lock(mutex);
        for (;;) {
            wake.wait(lock, [&] { return stop || !pending.empty(); });
            if (pending.empty()) return;  // stopped, and nothing left
            const std::vector<int> fds = std::move(pending);
            pending.clear();
            lock.unlock();
            for (const int fd : fds) close(fd);
            lock.lock();
        }
    }
};

std::mutex gCloserMutex;  // guards gCloser, which exists only while its thread runs
BackgroundCloser *gCloser = nullptr;

}  // namespace

void Zb7_PlatformCloseReplaced(ZbFork &fork) {
    struct stat st;
    if (fork.fd < 0 || fstat(fork.fd, &st) != 0 || st.st_nlink != 0 || st.st_size < kCloseInBackgroundFrom) return;
    std::lock_guard guard(gCloserMutex);
    try {
        if (!gCloser) {
            auto closer = std::make_unique<BackgroundCloser>();
            closer->thread = std::thread(&BackgroundCloser::Run, closer.get());
            gCloser = closer.release();
        }
        std::lock_guard lock(gCloser->mutex);
        gCloser->pending.push_back(fork.fd);
    } catch (const std::exception &) {
        return;  // closed by the fork itself, here
    }
    fork.fd = -1;
    gCloser->wake.notify_one();
}

void Zb7_PlatformFinishBackgroundCloses() {
    std::unique_ptr<BackgroundCloser> closer;
    {
        std::lock_guard guard(gCloserMutex);
        closer.reset(gCloser);
        gCloser = nullptr;
    }
    if (!closer) return;
    {
        std::lock_guard lock(closer->mutex);
        closer->stop = true;
    }
    closer->wake.notify_one();
    closer->thread.join();
}
