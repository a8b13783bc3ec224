#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include "platform/confinement.h"
#include "platform/errors.h"
#include "platform/unique_fd.h"
#include "platform/file_attributes.h"
#include "platform/file_tree.h"
#include "platform/item_metadata_linux.h"
#include "platform/system_calls.h"

namespace {


long ErrorOf(int error) { return Zb7_ErrnoToOSErr(error); }

// Opens an item to read it, without moving its access time where this process may ask that (it
// owns the item, or has the privilege): a copy reads the original and must leave it as it was.
int OpenToRead(int dirFd, const char *name, int flags) {
    const int fd = Zb7_ConfinedOpen(dirFd, name, flags | O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NOATIME);
    if (fd >= 0 || errno != EPERM) return fd;
    return Zb7_ConfinedOpen(dirFd, name, flags | O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
}

int OpenFolderAt(int dirFd, const char *name) { return OpenToRead(dirFd, name, O_DIRECTORY); }

struct ZbEntry {
    std::string name;
    unsigned char type;  // DT_ value; DT_UNKNOWN where the file system does not say
};

// Every entry of an open folder but "." and "..".
long ReadEntries(int folderFd, std::vector<ZbEntry> &entries) {
    entries.clear();
    const int own = OpenToRead(folderFd, ".", O_DIRECTORY);
    if (own < 0) return ErrorOf(errno);
    DIR *dir = fdopendir(own);
    if (!dir) {
        const int error = errno;
        close(own);
        return ErrorOf(error);
    }
    long err = 0;
    for (;;) {
        errno = 0;
        const dirent *e = readdir(dir);
        if (!e) {
            err = errno ? ErrorOf(errno) : 0;
            break;
        }
        const std::string_view name = e->d_name;
        if (name != "." && name != "..") entries.push_back({std::string(name), e->d_type});
    }
    closedir(dir);
    return err;
}

bool IsFolderEntry(int folderFd, const ZbEntry &e) {
    if (e.type != DT_UNKNOWN) return e.type == DT_DIR;
    struct stat st;
    return fstatat(folderFd, e.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(st.st_mode);
}

// ---- walking a tree with a few descriptors open, whatever its depth ----

// Descriptors of the folders nearest the walk's position stay open; those further up are closed
// and opened again through ".." of their child when the walk returns to them, checked to be the
// same folder.
constexpr size_t kOpenFolders = 32;

struct ZbSide {
    ZbUniqueFd fd;
    dev_t device = 0;
    ino_t inode = 0;
};

long Identify(ZbSide &side) {
    struct stat st;
    if (ZbSys_fstat(side.fd.fd, &st) != 0) return ErrorOf(errno);
    side.device = st.st_dev;
    side.inode = st.st_ino;
    return 0;
}

// Opens the parent again from its child's descriptor, unless it is still open.
long Reopen(ZbSide &parent, const ZbSide &child) {
    if (parent.fd.fd >= 0) return 0;
    ZbUniqueFd fd(openat(child.fd.fd, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.fd < 0) return ErrorOf(errno);
    struct stat st;
    if (ZbSys_fstat(fd.fd, &st) != 0) return ErrorOf(errno);
    if (st.st_dev != parent.device || st.st_ino != parent.inode) return kFBsyErr;  // the tree was moved meanwhile
    parent.fd = std::move(fd);
    return 0;
}

// ---- delete ----

struct ZbDeleteFrame {
    ZbSide folder;
    std::string name;  // in its parent
    std::vector<ZbEntry> entries;
    size_t next = 0;
};

// Deletes everything inside the open folder, and the folder itself from `parentFd` by `name`.
long DeleteTreeAt(int parentFd, const std::string &name) {
    std::vector<ZbDeleteFrame> stack(1);
    stack[0].folder.fd = ZbUniqueFd(OpenFolderAt(parentFd, name.c_str()));
    if (stack[0].folder.fd.fd < 0) return errno == ENOTDIR || errno == ELOOP ? kDirNFErr : ErrorOf(errno);
    if (const long err = Identify(stack[0].folder)) return err;
    if (const long err = ReadEntries(stack[0].folder.fd.fd, stack[0].entries)) return err;
    const dev_t device = stack[0].folder.device;

    while (!stack.empty()) {
        ZbDeleteFrame &top = stack.back();
        if (top.next < top.entries.size()) {
            const ZbEntry &e = top.entries[top.next++];
            if (!IsFolderEntry(top.folder.fd.fd, e)) {
                if (ZbSys_unlinkat(top.folder.fd.fd, e.name.c_str(), 0) != 0 && errno != ENOENT) return ErrorOf(errno);
                continue;
            }
            ZbDeleteFrame child;
            child.name = e.name;
            child.folder.fd = ZbUniqueFd(OpenFolderAt(top.folder.fd.fd, e.name.c_str()));
            if (child.folder.fd.fd < 0) {
                if (errno == ENOENT) continue;
                return ErrorOf(errno);
            }
            if (const long err = Identify(child.folder)) return err;
            if (child.folder.device != device) return kFBsyErr;  // another file system is mounted there
            if (const long err = ReadEntries(child.folder.fd.fd, child.entries)) return err;
            stack.push_back(std::move(child));
            if (stack.size() > kOpenFolders) stack[stack.size() - 1 - kOpenFolders].folder.fd.Reset();
            continue;
        }
        // The folder is empty now: remove it from its parent.
        if (stack.size() == 1) break;
        ZbDeleteFrame &parent = stack[stack.size() - 2];
        if (const long err = Reopen(parent.folder, top.folder)) return err;
        const std::string emptied = top.name;
        stack.pop_back();
        if (ZbSys_unlinkat(stack.back().folder.fd.fd, emptied.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT)
            return ErrorOf(errno);
    }
    stack.clear();
    if (ZbSys_unlinkat(parentFd, name.c_str(), AT_REMOVEDIR) != 0) return ErrorOf(errno);
    return 0;
}

// The folder that holds a path, and the path's last name.
void SplitPath(const std::string &path, std::string &folder, std::string &name) {
    const size_t slash = path.rfind('/');
    folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    name = slash == std::string::npos ? path : path.substr(slash + 1);
}

// ---- copy ----

// Copies the bytes from `position` up to `limit` (to the end of the file where limit is -1)
// through a buffer, each at its own offset; `position` ends after the last byte copied. An open
// end is first looked at through a small buffer of the stack's: after the size read first there
// is almost always nothing, and a copy of many small files should not make a large buffer each.
long CopyThroughBuffer(int in, int out, off_t &position, off_t limit, std::vector<char> &buffer) {
    char probe[8192];
    bool probing = limit < 0 && buffer.empty();
    while (limit < 0 || position < limit) {
        if (!probing && buffer.empty()) buffer.resize(size_t(1) << 20);
        char *data = probing ? probe : buffer.data();
        const size_t room = probing ? sizeof probe : buffer.size();
        const size_t want = limit < 0 ? room : size_t(std::min<off_t>(limit - position, off_t(room)));
        const ssize_t n = ZbSys_pread(in, data, want, position);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return ErrorOf(errno);
        if (n == 0) break;  // the end of the file
        for (ssize_t done = 0; done < n;) {
            const ssize_t w = ZbSys_pwrite(out, data + done, size_t(n - done), position + done);
            if (w < 0 && errno == EINTR) continue;
            if (w < 0) return ErrorOf(errno);
            done += w;
        }
        position += n;
        probing = false;
    }
    return 0;
}

// Data of an open file into another, region by region: holes are skipped (and stay holes), data
// goes through copy_file_range where the file systems allow it, else through a buffer. The size
// read first is not trusted as the end: whatever follows it is copied too (a file that grew
// meanwhile, or one of the kernel's files in /proc and /sys, whose size reads 0).
long CopyData(int in, int out, off_t size) {
    std::vector<char> buffer;
    bool plain = false;
    off_t position = 0;
    while (position < size) {
        off_t data = lseek(in, position, SEEK_DATA);
        if (data < 0 && errno == ENXIO) break;  // only a hole is left
        if (data < 0) data = position;          // the file system does not tell holes
        off_t hole = lseek(in, data, SEEK_HOLE);
        if (hole < 0 || hole > size) hole = size;
        off_t from = data, to = data;
        while (!plain && from < hole) {
            const size_t chunk = size_t(std::min<off_t>(hole - from, off_t(1) << 30));
            const ssize_t n = ZbSys_copy_file_range(in, &from, out, &to, chunk, 0);
            if (n < 0 && (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP)) plain = true;
            else if (n < 0 && errno != EINTR) return ErrorOf(errno);
            else if (n == 0) break;  // the file shrank meanwhile
        }
        if (plain)
            if (const long err = CopyThroughBuffer(in, out, from, hole, buffer)) return err;
        position = hole;
    }
    off_t end = size;
    if (const long err = CopyThroughBuffer(in, out, end, -1, buffer)) return err;
    if (ZbSys_ftruncate(out, end) != 0) return ErrorOf(errno);  // the size, with any hole at the end
    return 0;
}

// Everything of an open file onto an open new file.
long CopyFileContents(int in, int out, const struct stat &st) {
    if (const long err = CopyData(in, out, st.st_size)) return err;
    if (const long err = ZbCopyAttributes(in, out)) return err;
    if (const long err = ZbCopyCreationDate(in, out)) return err;
    return ZbCopyOwnerModeAndTimes(out, st);
}

// A copy of one item that is not a folder as `name` in the open folder `outDir` (which must not
// have it): a file, a symbolic link, or a special file.
long CopyLeaf(int inDir, const char *inName, const struct stat &st, int outDir, const char *name) {
    if (S_ISREG(st.st_mode)) {
        ZbUniqueFd in(OpenToRead(inDir, inName, 0));
        if (in.fd < 0) return ErrorOf(errno);
        ZbUniqueFd out(ZbSys_openat(outDir, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (out.fd < 0) return ErrorOf(errno);
        return CopyFileContents(in.fd, out.fd, st);
    }
    if (S_ISLNK(st.st_mode)) {
        std::string target(size_t(st.st_size) + 1, '\0');
        const ssize_t n = readlinkat(inDir, inName, target.data(), target.size());
        if (n < 0) return ErrorOf(errno);
        target.resize(size_t(n));
        if (ZbSys_symlinkat(target.c_str(), outDir, name) != 0) return ErrorOf(errno);
        if (geteuid() == 0 && ZbSys_fchownat(outDir, name, st.st_uid, st.st_gid, AT_SYMLINK_NOFOLLOW) != 0)
            return ErrorOf(errno);
        const struct timespec times[2] = {st.st_atim, st.st_mtim};
        if (ZbSys_utimensat(outDir, name, times, AT_SYMLINK_NOFOLLOW) != 0) return ErrorOf(errno);
        return 0;
    }
    // A named pipe, device or socket: made anew, as cp -a does.
    if (mknodat(outDir, name, st.st_mode & (S_IFMT | 07777), st.st_rdev) != 0) return ErrorOf(errno);
    return 0;
}

struct ZbCopyFrame {
    ZbSide in, out;
    std::string name;  // in both parents
    struct stat st {};  // the original folder's, given to the copy once its items are in
    std::vector<ZbEntry> entries;
    size_t next = 0;
};

// Finishes a copied folder: its attributes, permissions and times, once nothing more goes in.
long FinishFolder(ZbCopyFrame &frame) {
    if (const long err = ZbCopyAttributes(frame.in.fd.fd, frame.out.fd.fd)) return err;
    if (const long err = ZbCopyCreationDate(frame.in.fd.fd, frame.out.fd.fd)) return err;
    return ZbCopyOwnerModeAndTimes(frame.out.fd.fd, frame.st);
}

// Copies everything in the folder `in` into the new, empty folder `out`, then the folder's own
// attributes.
long CopyTreeInto(ZbUniqueFd in, ZbUniqueFd out, const struct stat &st) {
    std::vector<ZbCopyFrame> stack(1);
    stack[0].in.fd = std::move(in);
    stack[0].out.fd = std::move(out);
    stack[0].st = st;
    if (const long err = Identify(stack[0].in)) return err;
    if (const long err = Identify(stack[0].out)) return err;
    if (const long err = ReadEntries(stack[0].in.fd.fd, stack[0].entries)) return err;
    while (!stack.empty()) {
        ZbCopyFrame &top = stack.back();
        if (top.next < top.entries.size()) {
            const std::string &name = top.entries[top.next++].name;
            struct stat child;
            if (fstatat(top.in.fd.fd, name.c_str(), &child, AT_SYMLINK_NOFOLLOW) != 0) return ErrorOf(errno);
            if (!S_ISDIR(child.st_mode)) {
                if (const long err = CopyLeaf(top.in.fd.fd, name.c_str(), child, top.out.fd.fd, name.c_str()))
                    return err;
                continue;
            }
            ZbCopyFrame frame;
            frame.name = name;
            frame.st = child;
            frame.in.fd = ZbUniqueFd(OpenFolderAt(top.in.fd.fd, name.c_str()));
            if (frame.in.fd.fd < 0) return ErrorOf(errno);
            if (ZbSys_mkdirat(top.out.fd.fd, name.c_str(), 0700) != 0) return ErrorOf(errno);
            frame.out.fd = ZbUniqueFd(OpenFolderAt(top.out.fd.fd, name.c_str()));
            if (frame.out.fd.fd < 0) return ErrorOf(errno);
            if (const long err = Identify(frame.in)) return err;
            if (const long err = Identify(frame.out)) return err;
            if (const long err = ReadEntries(frame.in.fd.fd, frame.entries)) return err;
            stack.push_back(std::move(frame));
            if (stack.size() > kOpenFolders) {
                ZbCopyFrame &far = stack[stack.size() - 1 - kOpenFolders];
                far.in.fd.Reset();
                far.out.fd.Reset();
            }
            continue;
        }
        if (const long err = FinishFolder(top)) return err;
        if (stack.size() > 1) {
            ZbCopyFrame &parent = stack[stack.size() - 2];
            if (const long err = Reopen(parent.in, top.in)) return err;
            if (const long err = Reopen(parent.out, top.out)) return err;
        }
        stack.pop_back();
    }
    return 0;
}

// ---- items under construction ----
//
// A copy is built beside its destination under the name ".zerb-copy-p<pid>-s<start>-n<namespace>-<serial>":
// the process that builds it, that process's start (clock ticks after boot, so that a later
// process given the same number is not taken for it) and its process-id namespace (numbers of
// another namespace say nothing here). A copy killed part way leaves its item behind; the next
// copy into that folder removes it once its process is gone.
constexpr std::string_view kTemporaryPrefix = ".zerb-copy-p";

struct ZbOwner {
    unsigned long long pid = 0, start = 0, space = 0;
};

// The start of a process (field 22 of its stat file), or false when there is no such process.
bool ProcessStart(unsigned long long pid, unsigned long long &start) {
    char path[64];
    snprintf(path, sizeof path, "/proc/%llu/stat", pid);
    const ZbUniqueFd fd(open(path, O_RDONLY | O_CLOEXEC));
    if (fd.fd < 0) return false;
    char text[1024];
    const ssize_t n = read(fd.fd, text, sizeof text - 1);
    if (n <= 0) return false;
    text[n] = 0;
    const char *p = strrchr(text, ')');  // the command name may hold anything but ends here
    return p && sscanf(p + 1, " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %*d %*d %llu",
                       &start) == 1;
}

// Read anew on each use: a forked child is another process.
ZbOwner ThisProcess() {
    ZbOwner self;
    self.pid = static_cast<unsigned long long>(getpid());
    ProcessStart(self.pid, self.start);
    struct stat st;
    if (stat("/proc/self/ns/pid", &st) == 0) self.space = st.st_ino;
    return self;
}

std::string TemporaryName() {
    static std::atomic<unsigned> serial{0};
    const ZbOwner self = ThisProcess();
    return std::string(kTemporaryPrefix) + std::to_string(self.pid) + "-s" + std::to_string(self.start) + "-n" +
           std::to_string(self.space) + "-" + std::to_string(serial++);
}

// Whether a name is that of an item under construction whose process is gone.
bool IsLeftover(std::string_view name) {
    if (!name.starts_with(kTemporaryPrefix)) return false;
    ZbOwner owner;
    unsigned serial = 0;
    const std::string text(name.substr(kTemporaryPrefix.size()));
    int used = 0;
    if (sscanf(text.c_str(), "%llu-s%llu-n%llu-%u%n", &owner.pid, &owner.start, &owner.space, &serial, &used) != 4 ||
        size_t(used) != text.size())
        return false;
    const ZbOwner self = ThisProcess();
    if (owner.space != self.space || self.space == 0) return false;  // another namespace's: cannot tell
    unsigned long long start = 0;
    return !ProcessStart(owner.pid, start) || start != owner.start;
}

// Removes from an open folder the items that copies killed part way left there.
void RemoveLeftovers(int dirFd) {
    std::vector<ZbEntry> entries;
    if (ReadEntries(dirFd, entries) != 0) return;
    for (const ZbEntry &e : entries) {
        if (!IsLeftover(e.name)) continue;
        if (IsFolderEntry(dirFd, e))
            DeleteTreeAt(dirFd, e.name);
        else
            ZbSys_unlinkat(dirFd, e.name.c_str(), 0);
    }
}

// Whether the open folder `dirFd` is the folder (device, inode) or lies anywhere inside it, as
// its chain of ".." up to the root shows (links were resolved in opening it; a mount is climbed
// out of like any folder).
long IsSameOrInside(int dirFd, dev_t device, ino_t inode, bool &inside) {
    inside = false;
    ZbUniqueFd current(openat(dirFd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (current.fd < 0) return ErrorOf(errno);
    struct stat st;
    if (fstat(current.fd, &st) != 0) return ErrorOf(errno);
    for (;;) {
        if (st.st_dev == device && st.st_ino == inode) {
            inside = true;
            return 0;
        }
        ZbUniqueFd parent(openat(current.fd, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (parent.fd < 0) return ErrorOf(errno);
        struct stat up;
        if (fstat(parent.fd, &up) != 0) return ErrorOf(errno);
        if (up.st_dev == st.st_dev && up.st_ino == st.st_ino) return 0;  // the root
        current = std::move(parent);
        st = up;
    }
}

// -50 when the item is a folder and `dirFd`, the folder it is to go into, is that folder or lies
// inside it: as a move of a folder into itself answers.
long RefuseInsideItself(int dirFd, const struct stat &item) {
    if (!S_ISDIR(item.st_mode)) return 0;
    bool inside = false;
    if (const long err = IsSameOrInside(dirFd, item.st_dev, item.st_ino, inside)) return err;
    return inside ? kParamErr : kNoErr;
}

// Gives the finished item at `temp` its final name, unless an item of that name exists. Where
// the file system cannot rename without replacing, a folder claims the name with an empty folder
// that the rename then replaces, and anything else with a hard link.
long ClaimName(int dirFd, const std::string &temp, const std::string &name, bool folder) {
    if (ZbSys_renameat2(dirFd, temp.c_str(), dirFd, name.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return ErrorOf(errno);
    if (folder) {
        if (ZbSys_mkdirat(dirFd, name.c_str(), 0700) != 0) return ErrorOf(errno);
        if (ZbSys_renameat2(dirFd, temp.c_str(), dirFd, name.c_str(), 0) == 0) return 0;
        const int error = errno;
        unlinkat(dirFd, name.c_str(), AT_REMOVEDIR);
        return ErrorOf(error);
    }
    if (ZbSys_linkat(dirFd, temp.c_str(), dirFd, name.c_str(), 0) != 0) return ErrorOf(errno);
    unlinkat(dirFd, temp.c_str(), 0);
    return 0;
}

// Removes what a failed copy made under its temporary name.
void RemoveTemporary(int dirFd, const std::string &temp, bool folder) {
    if (folder)
        DeleteTreeAt(dirFd, temp);
    else
        unlinkat(dirFd, temp.c_str(), 0);
}

// A file copied into an unnamed file that is linked into place only once complete, so that no
// name ever shows a part of it. False when the file system has no unnamed files.
bool CopyFileUnnamed(int in, const struct stat &st, int dirFd, const std::string &name, long &err) {
    ZbUniqueFd out(ZbSys_openat(dirFd, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600));
    if (out.fd < 0) {
        if (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL) return false;
        err = ErrorOf(errno);
        return true;
    }
    err = CopyFileContents(in, out.fd, st);
    if (err) return true;
    const std::string self = "/proc/self/fd/" + std::to_string(out.fd);
    if (ZbSys_linkat(AT_FDCWD, self.c_str(), dirFd, name.c_str(), AT_SYMLINK_FOLLOW) != 0) {
        if (errno == ENOENT && access("/proc/self/fd", F_OK) != 0) return false;  // no /proc
        err = ErrorOf(errno);
    }
    return true;
}

}  // namespace

long Zb7_PlatformCreateFile(const std::string &folder, const std::string &name, const ZbFinderInfo &info) {
    ZbUniqueFd dir(Zb7_ConfinedOpen(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dir.fd < 0) return errno == ENOENT || errno == ENOTDIR ? kDirNFErr : ErrorOf(errno);
    const bool withInfo = info.bytes != ZbFinderInfo{}.bytes;
    const auto setInfo = [&](int fd) {
        if (!withInfo || ZbSys_fsetxattr(fd, kZbFinderInfoAttribute, info.bytes.data(), info.bytes.size(), 0) == 0 ||
            errno == ENOTSUP)
            return 0L;  // a file system without extended attributes makes the file without them
        return ErrorOf(errno);
    };
    if (withInfo) {
        ZbUniqueFd file(ZbSys_openat(dir.fd, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666));
        if (file.fd >= 0) {
            if (const long err = setInfo(file.fd)) return err;
            const std::string self = "/proc/self/fd/" + std::to_string(file.fd);
            if (ZbSys_linkat(AT_FDCWD, self.c_str(), dir.fd, name.c_str(), AT_SYMLINK_FOLLOW) == 0) return 0;
            if (errno != ENOENT || access("/proc/self/fd", F_OK) == 0) return ErrorOf(errno);
        } else if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) {
            return ErrorOf(errno);
        }
    }
    // Without unnamed files: made by name, and removed again if its information cannot be set.
    ZbUniqueFd file(ZbSys_openat(dir.fd, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (file.fd < 0) return ErrorOf(errno);
    if (const long err = setInfo(file.fd)) {
        unlinkat(dir.fd, name.c_str(), 0);
        return err;
    }
    return 0;
}

long Zb7_PlatformCreateFolder(const std::string &folder, const std::string &name) {
    ZbUniqueFd dir(Zb7_ConfinedOpen(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dir.fd < 0) return errno == ENOENT || errno == ENOTDIR ? kDirNFErr : ErrorOf(errno);
    if (ZbSys_mkdirat(dir.fd, name.c_str(), 0777) != 0) return ErrorOf(errno);
    return 0;
}

long Zb7_PlatformDeleteItem(const std::string &path) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) return ErrorOf(errno);
    if (ZbSys_unlinkat(AT_FDCWD, path.c_str(), S_ISDIR(st.st_mode) ? AT_REMOVEDIR : 0) != 0) return ErrorOf(errno);
    return 0;
}

long Zb7_PlatformDeleteTree(const std::string &path) {
    std::string folder, name;
    SplitPath(path, folder, name);
    ZbUniqueFd parent(Zb7_ConfinedOpen(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (parent.fd < 0) return ErrorOf(errno);
    return DeleteTreeAt(parent.fd, name);
}

long Zb7_PlatformCopyItem(const std::string &source, const std::string &folder, const std::string &name) {
    struct stat st;
    if (lstat(source.c_str(), &st) != 0) return ErrorOf(errno);
    ZbUniqueFd dir(Zb7_ConfinedOpen(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dir.fd < 0) return errno == ENOENT || errno == ENOTDIR ? kDirNFErr : ErrorOf(errno);
    std::string sourceFolder, sourceName;
    SplitPath(source, sourceFolder, sourceName);
    ZbUniqueFd inDir(Zb7_ConfinedOpen(AT_FDCWD, sourceFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (inDir.fd < 0) return ErrorOf(errno);
    // A copy inside its own folder would walk into itself without end.
    if (const long err = RefuseInsideItself(dir.fd, st)) return err;
    RemoveLeftovers(dir.fd);

    if (S_ISREG(st.st_mode)) {
        ZbUniqueFd in(OpenToRead(inDir.fd, sourceName.c_str(), 0));
        if (in.fd < 0) return ErrorOf(errno);
        long err = 0;
        if (CopyFileUnnamed(in.fd, st, dir.fd, name, err)) return err;
    }
    // Built under a temporary name: an empty folder to fill, or the whole item.
    const bool folderCopy = S_ISDIR(st.st_mode);
    std::string temp;
    long err = kDupFNErr;
    for (int attempt = 0; attempt < 100 && err == kDupFNErr; ++attempt) {
        temp = TemporaryName();
        if (folderCopy)
            err = ZbSys_mkdirat(dir.fd, temp.c_str(), 0700) == 0 ? 0 : ErrorOf(errno);
        else if ((err = CopyLeaf(inDir.fd, sourceName.c_str(), st, dir.fd, temp.c_str())) != 0 && err != kDupFNErr)
            unlinkat(dir.fd, temp.c_str(), 0);
    }
    if (err) return err;
    if (folderCopy) {
        ZbUniqueFd in(OpenFolderAt(inDir.fd, sourceName.c_str()));
        ZbUniqueFd out(OpenFolderAt(dir.fd, temp.c_str()));
        err = in.fd < 0 || out.fd < 0 ? ErrorOf(errno) : CopyTreeInto(std::move(in), std::move(out), st);
    }
    if (err == 0) err = ClaimName(dir.fd, temp, name, folderCopy);
    if (err) RemoveTemporary(dir.fd, temp, folderCopy);
    return err;
}

long Zb7_PlatformMoveItem(const std::string &source, const std::string &folder, const std::string &name) {
    ZbUniqueFd dir(Zb7_ConfinedOpen(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dir.fd < 0) return errno == ENOENT || errno == ENOTDIR ? kDirNFErr : ErrorOf(errno);
    struct stat st;
    if (lstat(source.c_str(), &st) != 0) return ErrorOf(errno);
    // Refused before the name is claimed below, which would show in the folder's dates.
    if (const long err = RefuseInsideItself(dir.fd, st)) return err;
    if (ZbSys_renameat2(AT_FDCWD, source.c_str(), dir.fd, name.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return ErrorOf(errno);
    // A file system that cannot rename without replacing: claim the name first.
    if (S_ISDIR(st.st_mode)) {
        if (ZbSys_mkdirat(dir.fd, name.c_str(), 0700) != 0) return ErrorOf(errno);
        if (ZbSys_renameat2(AT_FDCWD, source.c_str(), dir.fd, name.c_str(), 0) == 0) return 0;
        const int error = errno;
        unlinkat(dir.fd, name.c_str(), AT_REMOVEDIR);
        return ErrorOf(error);
    }
    if (ZbSys_linkat(AT_FDCWD, source.c_str(), dir.fd, name.c_str(), 0) != 0) return ErrorOf(errno);
    if (ZbSys_unlinkat(AT_FDCWD, source.c_str(), 0) != 0) {
        const int error = errno;
        unlinkat(dir.fd, name.c_str(), 0);
        return ErrorOf(error);
    }
    return 0;
}
