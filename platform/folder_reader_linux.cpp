#include "platform/folder_reader.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "platform/confinement.h"
#include "platform/errors.h"
#include "platform/file_attributes.h"
#include "platform/kernel_calls_linux.h"
#include "platform/system_calls.h"

#ifndef SYS_getxattrat
#define SYS_getxattrat 464  // the same number on every architecture that has it
#endif

namespace {

// What getxattrat(2) takes for the value.
struct XattrArgs {
    uint64_t value;
    uint32_t size;
    uint32_t flags;
};

// The mount an open item lies on: its mount id, or where the kernel gives none its device (with
// the top bit set, so the two kinds never meet).
long MountOf(int fd, uint64_t &mountId) {
    struct statx sx;
    if (statx(fd, "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC, STATX_TYPE | STATX_MNT_ID, &sx) != 0)
        return Zb7_ErrnoToOSErr(errno);
    if (!S_ISDIR(sx.stx_mode)) return kDirNFErr;
    mountId = (sx.stx_mask & STATX_MNT_ID) ? sx.stx_mnt_id
                                           : (uint64_t(1) << 63) | (uint64_t(sx.stx_dev_major) << 32) | sx.stx_dev_minor;
    return 0;
}

long FolderError(int error) { return error == ENOENT || error == ENOTDIR || error == ELOOP ? kDirNFErr : Zb7_ErrnoToOSErr(error); }

ZbKernelCall gOpenat2;     // Linux 5.6
ZbKernelCall gGetxattrat;  // Linux 6.13

// openat2 where the kernel has it: one call resolves the whole relative path without links or
// mount crossings. -2 when the kernel lacks it; else the descriptor, or -1 with errno set.
int OpenBeneath(int base, const std::string &relative) {
    if (gOpenat2.IsMissing()) return -2;
    open_how how{};
    how.flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW;
    how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_NO_XDEV | RESOLVE_NO_MAGICLINKS | RESOLVE_BENEATH;
    const long fd = syscall(SYS_openat2, base, relative.c_str(), &how, sizeof how);
    if (fd < 0 && gOpenat2.Lacks(errno)) return -2;
    return int(fd);
}

}  // namespace

long Zb7_PlatformOpenFolder(const std::string &path, ZbFolderHandle &folder) {
    folder.Close();
    const int fd = Zb7_ConfinedOpen(AT_FDCWD, path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return FolderError(errno);
    folder.fd = fd;
    return MountOf(fd, folder.mountId);
}

long Zb7_PlatformOpenFolderToWalk(const std::string &path, ZbFolderHandle &folder) {
    folder.Close();
    const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return FolderError(errno);
    folder.fd = fd;
    return MountOf(fd, folder.mountId);
}

long Zb7_PlatformOpenFolderBelow(const ZbFolderHandle &base, const std::vector<const std::string *> &names,
                                 ZbFolderHandle &folder) {
    folder.Close();
    if (names.empty()) return kParamErr;
    int fd = -2;
    if (names.size() > 1) {
        std::string relative;
        for (const std::string *name : names) relative.append(relative.empty() ? "" : "/").append(*name);
        if (relative.size() < 4000) fd = OpenBeneath(base.fd, relative);
        if (fd == -1) return errno == EXDEV ? kDirNFErr : FolderError(errno);
    }
    if (fd == -2) {
        // One name at a time, each checked to be a folder of the same mount.
        ZbFolderHandle step;
        int from = base.fd;
        for (const std::string *name : names) {
            const int next = openat(from, name->c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
            if (next < 0) return FolderError(errno);
            step.Close();
            step.fd = next;
            if (const long err = MountOf(next, step.mountId)) return err;
            if (step.mountId != base.mountId) return kDirNFErr;
            from = next;
        }
        folder = std::move(step);
        return 0;
    }
    folder.fd = fd;
    if (const long err = MountOf(fd, folder.mountId)) return err;
    return folder.mountId == base.mountId ? kNoErr : kDirNFErr;
}

long Zb7_PlatformDuplicateFolder(const ZbFolderHandle &folder, ZbFolderHandle &copy) {
    copy.Close();
    // Opened anew, not duplicated: two threads working through one open folder would share its
    // reference count, and every call of each would take the other's cache line.
    copy.fd = openat(folder.fd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (copy.fd < 0) return Zb7_ErrnoToOSErr(errno);
    copy.mountId = folder.mountId;
    return 0;
}

long Zb7_PlatformReadFolder(const ZbFolderHandle &folder, std::vector<ZbFolderEntry> &entries) {
    entries.clear();
    struct LinuxDirent64 {
        uint64_t d_ino;
        int64_t d_off;
        unsigned short d_reclen;
        unsigned char d_type;
        char d_name[1];
    };
    // One buffer per thread, kept: a walk reads thousands of folders, and a fresh buffer of this
    // size would be mapped and unmapped for each.
    constexpr size_t kBufferSize = 64 * 1024;
    thread_local std::unique_ptr<char[]> buffer(new char[kBufferSize]);
    if (lseek(folder.fd, 0, SEEK_SET) < 0) return Zb7_ErrnoToOSErr(errno);
    for (;;) {
        const long n = ZbSys_getdents64(folder.fd, buffer.get(), kBufferSize);
        if (n < 0) return Zb7_ErrnoToOSErr(errno);
        if (n == 0) return 0;
        for (long at = 0; at < n;) {
            const auto *e = reinterpret_cast<const LinuxDirent64 *>(buffer.get() + at);
            at += e->d_reclen;
            const char *name = e->d_name;
            if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0))) continue;
            ZbFolderEntry &entry = entries.emplace_back();
            entry.name = name;
            entry.inode = e->d_ino;
            unsigned char type = e->d_type;
            if (type == DT_UNKNOWN) {
                struct stat st;
                if (fstatat(folder.fd, name, &st, AT_SYMLINK_NOFOLLOW) == 0)
                    type = S_ISDIR(st.st_mode) ? DT_DIR : S_ISLNK(st.st_mode) ? DT_LNK : DT_REG;
            }
            entry.kind = type == DT_DIR ? kZbEntryFolder : type == DT_LNK ? kZbEntryLink : kZbEntryFile;
        }
    }
}

uint16_t Zb7_PlatformFinderFlagsAt(const ZbFolderHandle &folder, const std::string &name) {
    unsigned char info[32];
    long n = -1;
    bool fallback = gGetxattrat.IsMissing();
    if (!fallback) {
        XattrArgs args{reinterpret_cast<uintptr_t>(info), sizeof info, 0};
        n = syscall(SYS_getxattrat, folder.fd, name.c_str(), AT_SYMLINK_NOFOLLOW, kZbFinderInfoAttribute, &args,
                    sizeof args);
        fallback = n < 0 && gGetxattrat.Lacks(errno);
    }
    if (fallback) {
        // The entry through the folder's descriptor, as the kernel shows it under /proc.
        const std::string path = "/proc/self/fd/" + std::to_string(folder.fd) + "/" + name;
        n = lgetxattr(path.c_str(), kZbFinderInfoAttribute, info, sizeof info);
    }
    if (n != long(sizeof info)) return 0;  // none, or not Finder information
    return uint16_t(info[8] << 8 | info[9]);
}
