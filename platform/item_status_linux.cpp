#include "platform/item_status.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <cerrno>
#include <string_view>
#include <type_traits>

#include "platform/file_attributes.h"
#include "platform/system_calls.h"

namespace {

ZbInstant InstantOf(const struct statx_timestamp &t) { return {int64_t(t.tv_sec), t.tv_nsec}; }

ZbItemKind KindOf(uint32_t mode) {
    switch (mode & S_IFMT) {
    case S_IFDIR: return kZbKindFolder;
    case S_IFLNK: return kZbKindLink;
    case S_IFIFO: return kZbKindFifo;
    case S_IFSOCK: return kZbKindSocket;
    case S_IFCHR:
    case S_IFBLK: return kZbKindDevice;
    default: return kZbKindFile;
    }
}

int StatusAt(int dirFd, const char *name, bool follow, ZbItemStatus &status) {
    status = {};
    struct statx sx;
    const int flags = (follow ? 0 : AT_SYMLINK_NOFOLLOW) | AT_STATX_SYNC_AS_STAT;
    if (statx(dirFd, name, flags, STATX_BASIC_STATS | STATX_BTIME, &sx) != 0) return errno;
    status.kind = KindOf(sx.stx_mode);
    status.mode = sx.stx_mode;
    status.uid = sx.stx_uid;
    status.gid = sx.stx_gid;
    status.size = sx.stx_size;
    status.blocks = sx.stx_blocks;
    status.inode = sx.stx_ino;
    status.links = sx.stx_nlink;
    status.accessed = InstantOf(sx.stx_atime);
    status.modified = InstantOf(sx.stx_mtime);
    status.changed = InstantOf(sx.stx_ctime);
    status.hasBirth = (sx.stx_mask & STATX_BTIME) && (sx.stx_btime.tv_sec != 0 || sx.stx_btime.tv_nsec != 0);
    if (status.hasBirth) status.born = InstantOf(sx.stx_btime);
    status.mountRoot = (sx.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) && (sx.stx_attributes & STATX_ATTR_MOUNT_ROOT);
    return 0;
}

// The errno of an attribute call that means "this item has no such attribute" (or the file
// system keeps none): the attribute is absent, not unreadable.
bool MeansAbsent(int error) { return error == ENODATA || error == ENOTSUP; }

ssize_t GetAttribute(const std::string &path, bool follow, const char *name, void *value, size_t size) {
    return follow ? getxattr(path.c_str(), name, value, size) : ZbSys_lgetxattr(path.c_str(), name, value, size);
}

// Reads one attribute's value (or, with sizeOnly, its size), retrying while it grows between the
// size and the read.
void ReadValue(const std::string &path, bool follow, const char *name, bool sizeOnly, ZbAttributeValue &out) {
    out = {};
    for (int attempt = 0; attempt < 8; ++attempt) {
        const ssize_t size = GetAttribute(path, follow, name, nullptr, 0);
        if (size < 0) {
            if (!MeansAbsent(errno)) out.error = errno;
            return;
        }
        out.size = uint64_t(size);
        if (sizeOnly) {
            out.found = true;
            return;
        }
        out.value.resize(size_t(size));
        const ssize_t n = GetAttribute(path, follow, name, out.value.data(), out.value.size());
        if (n >= 0) {
            out.value.resize(size_t(n));
            out.size = uint64_t(n);
            out.found = true;
            return;
        }
        out.value.clear();
        if (MeansAbsent(errno)) return;
        if (errno != ERANGE) {
            out.error = errno;
            return;
        }
    }
    out.error = EIO;
}

bool Listed(std::string_view names, std::string_view wanted) {
    for (size_t at = 0; at < names.size();) {
        const size_t end = std::min(names.find('\0', at), names.size());
        if (names.substr(at, end - at) == wanted) return true;
        at = end + 1;
    }
    return false;
}

int LinkTarget(int dirFd, const char *name, uint64_t sizeHint, std::string &target) {
    target.clear();
    // A link's target is at most PATH_MAX bytes on Linux; a size beyond that is a file system's
    // own idea (or 0 under /proc), so start from a page and grow while the text fills the buffer.
    size_t capacity = sizeHint > 0 && sizeHint < 65536 ? size_t(sizeHint) + 1 : 4096;
    for (int attempt = 0; attempt < 6; ++attempt, capacity *= 4) {
        target.resize(capacity);
        const ssize_t n = readlinkat(dirFd, name, target.data(), capacity);
        if (n < 0) {
            target.clear();
            return errno;
        }
        if (size_t(n) < capacity) {
            target.resize(size_t(n));
            return 0;
        }
    }
    target.clear();
    return ENAMETOOLONG;
}

// getpwuid_r and getgrgid_r ask for a buffer of a size the system chooses; grow it while they
// answer ERANGE (a group with many members needs more), up to a bound.
template <typename Record, typename Lookup>
bool NameOf(uint32_t id, Lookup lookup, std::string &name) {
    std::string buffer(1024, '\0');
    for (;;) {
        Record record;
        Record *found = nullptr;
        const int error = lookup(id, &record, buffer.data(), buffer.size(), &found);
        if (error == ERANGE && buffer.size() < (size_t(1) << 20)) {
            buffer.resize(buffer.size() * 4);
            continue;
        }
        if (error != 0 || !found) return false;
        if constexpr (std::is_same_v<Record, struct passwd>)
            name = found->pw_name ? found->pw_name : "";
        else
            name = found->gr_name ? found->gr_name : "";
        return !name.empty();
    }
}

// Names looked up lately, shared by every call of the process: a lookup reads /etc/passwd or
// /etc/group anew (or asks a directory service), which costs more than everything else a
// FileInfoJSON call does. A name is kept for a few seconds, so a renamed user shows soon.
struct SharedNames {
    std::mutex mutex;
    std::unordered_map<uint32_t, std::pair<std::string, std::chrono::steady_clock::time_point>> users, groups;
};
constexpr auto kSharedNameLife = std::chrono::seconds(5);
constexpr size_t kSharedNamesMax = 4096;

// A static object, not one on the heap: an unloaded plug-in leaves nothing behind (the host calls
// no function once it has told the plug-in to shut down).
SharedNames &Shared() {
    static SharedNames names;
    return names;
}

bool Cached(std::unordered_map<uint32_t, std::string> &cache, bool users, uint32_t id, std::string &name,
            bool (*look)(uint32_t, std::string &)) {
    auto it = cache.find(id);
    if (it == cache.end()) {
        SharedNames &shared = Shared();
        auto &table = users ? shared.users : shared.groups;
        const auto now = std::chrono::steady_clock::now();
        std::string found;
        bool known = false;
        {
            const std::lock_guard lock(shared.mutex);
            const auto at = table.find(id);
            if (at != table.end() && now - at->second.second < kSharedNameLife) {
                found = at->second.first;
                known = true;
            }
        }
        if (!known) {
            if (!look(id, found)) found.clear();
            const std::lock_guard lock(shared.mutex);
            if (table.size() >= kSharedNamesMax) table.clear();
            table[id] = {found, now};
        }
        it = cache.emplace(id, std::move(found)).first;
    }
    name = it->second;
    return !name.empty();
}

}  // namespace

int Zb7_PlatformItemStatusAt(const ZbFolderHandle &folder, const std::string &name, bool follow,
                             ZbItemStatus &status) {
    return StatusAt(folder.fd, name.c_str(), follow, status);
}

int Zb7_PlatformItemStatus(const std::string &path, bool follow, ZbItemStatus &status) {
    return StatusAt(AT_FDCWD, path.c_str(), follow, status);
}

void Zb7_PlatformReadItemAttributes(const std::string &path, bool follow, ZbItemAttributes &attributes) {
    attributes = {};
    // Most items have no attributes, or a few short names: one call on the stack settles them.
    char small[1024];
    std::string large;
    ssize_t n = follow ? listxattr(path.c_str(), small, sizeof small) : llistxattr(path.c_str(), small, sizeof small);
    std::string_view names;
    if (n >= 0) {
        names = std::string_view(small, size_t(n));
    } else if (errno == ERANGE) {
        for (int attempt = 0; attempt < 8; ++attempt) {
            n = follow ? listxattr(path.c_str(), nullptr, 0) : llistxattr(path.c_str(), nullptr, 0);
            if (n < 0) break;
            large.resize(size_t(n));
            n = follow ? listxattr(path.c_str(), large.data(), large.size())
                       : llistxattr(path.c_str(), large.data(), large.size());
            if (n >= 0 || errno != ERANGE) break;
        }
        if (n >= 0) names = std::string_view(large.data(), size_t(n));
    }
    if (n < 0) {
        if (!MeansAbsent(errno)) attributes.listError = errno;
        return;
    }
    if (names.empty()) return;
    if (Listed(names, kZbFinderInfoAttribute)) ReadValue(path, follow, kZbFinderInfoAttribute, false, attributes.finderInfo);
    if (Listed(names, kZbCommentAttribute)) ReadValue(path, follow, kZbCommentAttribute, false, attributes.comment);
    if (Listed(names, kZbResourceForkAttribute))
        ReadValue(path, follow, kZbResourceForkAttribute, true, attributes.resourceFork);
    if (Listed(names, kZbCreatedAttribute)) ReadValue(path, follow, kZbCreatedAttribute, false, attributes.created);
}

int Zb7_PlatformLinkTargetAt(const ZbFolderHandle &folder, const std::string &name, uint64_t sizeHint,
                             std::string &target) {
    return LinkTarget(folder.fd, name.c_str(), sizeHint, target);
}

int Zb7_PlatformLinkTarget(const std::string &path, uint64_t sizeHint, std::string &target) {
    return LinkTarget(AT_FDCWD, path.c_str(), sizeHint, target);
}

bool Zb7_PlatformUserName(ZbIdNames &cache, uint32_t uid, std::string &name) {
    return Cached(cache.users, true, uid, name, [](uint32_t id, std::string &found) {
        return NameOf<struct passwd>(id, [](uint32_t i, struct passwd *r, char *b, size_t s, struct passwd **f) {
            return getpwuid_r(uid_t(i), r, b, s, f);
        }, found);
    });
}

bool Zb7_PlatformGroupName(ZbIdNames &cache, uint32_t gid, std::string &name) {
    return Cached(cache.groups, false, gid, name, [](uint32_t id, std::string &found) {
        return NameOf<struct group>(id, [](uint32_t i, struct group *r, char *b, size_t s, struct group **f) {
            return getgrgid_r(gid_t(i), r, b, s, f);
        }, found);
    });
}
