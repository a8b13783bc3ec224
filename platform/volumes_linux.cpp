// The volume table, built from /proc/self/mountinfo. The file stays open: the kernel flags it
// (POLLPRI | POLLERR) whenever the mount table of its namespace changes, so a look-up costs two
// cheap system call (poll) and the file is read again only after a change.
#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "platform/unique_fd.h"
#include "platform/kernel_calls_linux.h"
#include "platform/volumes.h"

namespace {


int OpenMountInfo() { return open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC); }

// The whole file, from offset 0. False when reading fails.
bool ReadAll(int fd, std::string &text) {
    text.resize(size_t(1) << 16);
    size_t used = 0;
    for (;;) {
        if (used == text.size()) text.resize(text.size() * 2);
        const ssize_t n = pread(fd, text.data() + used, text.size() - used, off_t(used));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        if (n == 0) break;
        used += size_t(n);
    }
    text.resize(used);
    return true;
}

// mountinfo writes space, tab, newline and backslash in paths as octal escapes ("\040").
std::string UnescapeOctal(std::string_view s) {
    std::string out;
    out.reserve(s.size());
    const auto octal = [&](size_t k) { return s[k] >= '0' && s[k] <= '7'; };
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '\\' && i + 3 < s.size() && octal(i + 1) && octal(i + 2) && octal(i + 3)) {
            out += char((s[i + 1] - '0') * 64 + (s[i + 2] - '0') * 8 + (s[i + 3] - '0'));
            i += 3;
        } else {
            out += s[i];
        }
    }
    return out;
}

// The text up to the next separator (or the end); `s` keeps what follows the separator.
std::string_view Cut(std::string_view &s, char separator) {
    const size_t at = s.find(separator);
    const std::string_view head = s.substr(0, at);
    s.remove_prefix(at == std::string_view::npos ? s.size() : at + 1);
    return head;
}

bool ParseInt(std::string_view s, int &value) {
    const auto [end, error] = std::from_chars(s.data(), s.data() + s.size(), value);
    return error == std::errc() && end == s.data() + s.size();
}

struct Mount {
    int id = 0;
    int parent = 0;
    std::string device;  // "major:minor"
    std::string mountPoint;
    std::string type;
    std::string source;
};

// Lines: id parent major:minor root mount-point options [optional fields...] - type source options.
std::vector<Mount> ParseMountInfo(std::string_view text) {
    std::vector<Mount> mounts;
    while (!text.empty()) {
        std::string_view line = Cut(text, '\n');
        Mount m;
        const bool numbers = ParseInt(Cut(line, ' '), m.id) && ParseInt(Cut(line, ' '), m.parent);
        m.device = Cut(line, ' ');
        Cut(line, ' ');  // root of the mount within its file system
        const std::string_view mountPoint = Cut(line, ' ');
        std::string_view field;
        do field = Cut(line, ' ');
        while (field != "-" && !line.empty());
        if (!numbers || field != "-" || mountPoint.empty() || mountPoint[0] != '/') continue;
        m.type = UnescapeOctal(Cut(line, ' '));
        m.mountPoint = UnescapeOctal(mountPoint);
        m.source = UnescapeOctal(Cut(line, ' '));
        mounts.push_back(std::move(m));
    }
    return mounts;
}

// Whole components: "/media/USB2" is not at or below "/media/USB".
bool AtOrBelow(std::string_view path, std::string_view top) {
    if (top == "/") return true;
    return path.starts_with(top) && (path.size() == top.size() || path[top.size()] == '/');
}

// Directly inside /Volumes, /media or /mnt, or inside /media/<user> or /run/media/<user>.
bool IsVolumeMountPoint(std::string_view mountPoint) {
    const size_t slash = mountPoint.rfind('/');
    if (slash == std::string_view::npos || slash + 1 == mountPoint.size()) return false;
    const std::string_view folder = mountPoint.substr(0, slash);
    if (folder == "/Volumes" || folder == "/media" || folder == "/mnt") return true;
    const size_t user = folder.rfind('/');
    if (user == std::string_view::npos || user + 1 == folder.size()) return false;
    const std::string_view above = folder.substr(0, user);
    return above == "/media" || above == "/run/media";
}

// A mount is hidden when a later entry of the table sits on the same mount point, or on a folder
// above it without being one of its ancestors: that entry was mounted over it.
bool IsHidden(const std::vector<Mount> &mounts, size_t index) {
    const Mount &m = mounts[index];
    const auto isAncestor = [&](int id) {
        int parent = m.parent;
        for (size_t steps = 0; steps < mounts.size() && parent != id; ++steps) {  // bounded: ids may loop
            const auto it = std::find_if(mounts.begin(), mounts.end(), [&](const Mount &p) { return p.id == parent; });
            if (it == mounts.end()) return false;
            parent = it->parent;
        }
        return parent == id;
    };
    for (size_t j = index + 1; j < mounts.size(); ++j) {
        const Mount &later = mounts[j];
        if (AtOrBelow(m.mountPoint, later.mountPoint) && (later.mountPoint == m.mountPoint || !isAncestor(later.id)))
            return true;
    }
    return false;
}

// Volume names show ":" as "/", as colon paths do.
std::string VolumeName(std::string_view component) {
    std::string name(component);
    std::replace(name.begin(), name.end(), ':', '/');
    return name;
}

// Labels in /dev/disk/by-label are escaped as \xNN.
std::string UnescapeLabel(const std::string &s) {
    std::string out;
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '\\' && i + 3 < s.size() && s[i + 1] == 'x' && isxdigit((unsigned char)s[i + 2]) &&
            isxdigit((unsigned char)s[i + 3])) {
            out += char(std::strtol(s.substr(i + 2, 2).c_str(), nullptr, 16));
            i += 3;
        } else {
            out += s[i];
        }
    }
    return out;
}

// The device the root file system is mounted from (the visible, i.e. last, entry for "/").
std::string RootDevice() {
    ZbUniqueFd file;
    file.Reset(OpenMountInfo());
    std::string text;
    if (file.fd < 0 || !ReadAll(file.fd, text)) return {};
    std::string device;
    for (const Mount &m : ParseMountInfo(text))
        if (m.mountPoint == "/") device = m.source;
    return device;
}

std::string ReadStartupVolumeName() {
    const std::string device = RootDevice();
    char resolved[PATH_MAX];
    if (!device.empty() && device[0] == '/' && realpath(device.c_str(), resolved)) {
        const std::string target = resolved;
        std::unique_ptr<DIR, int (*)(DIR *)> dir(opendir("/dev/disk/by-label"), closedir);
        while (dir) {
            const dirent *e = readdir(dir.get());
            if (!e) break;
            if (e->d_name[0] == '.') continue;
            const std::string link = std::string("/dev/disk/by-label/") + e->d_name;
            char linked[PATH_MAX];
            if (realpath(link.c_str(), linked) && target == linked) {
                const std::string label = UnescapeLabel(e->d_name);
                if (!label.empty()) return VolumeName(label);
            }
        }
    }
    return "Startup Disk";
}

// What tells one mount from another at the same mount point. The kernel hands out mount ids and
// anonymous device numbers again (the lowest free ones), so a file system mounted anew where
// another was unmounted may show the same two. Where the kernel has them (Linux 6.8 and later),
// its 64-bit mount ids are never reused; elsewhere the birth time of the mounted file system's
// root folder tells a new file system apart.
struct MountIdentity {
    uint64_t uniqueId = 0;  // 0 where the kernel gives none
    int mountId = 0;
    std::string device;
    uint64_t rootBirth = 0;
    bool operator==(const MountIdentity &) const = default;
};

#ifndef SYS_statmount
#define SYS_statmount 457
#endif
#ifndef SYS_listmount
#define SYS_listmount 458
#endif

// The request of listmount(2) and statmount(2), and the fields of the answer read here.
struct MountIdRequest {
    uint32_t size = 24;
    uint32_t spare = 0;
    uint64_t mountId = 0;
    uint64_t param = 0;
};
constexpr uint64_t kListFromRoot = ~uint64_t(0);
constexpr uint64_t kStatmountBasic = 0x2;
constexpr size_t kStatmountUniqueId = 40;  // offsets in struct statmount
constexpr size_t kStatmountOldId = 56;

// How the unique mount ids were read.
enum class ZbUniqueIds {
    read,         // the map holds them
    unavailable,  // the kernel lacks listmount/statmount (before Linux 6.8): birth times tell mounts apart
    failed,       // the calls exist but failed this time: the table cannot be told apart now
};

// listmount and statmount (Linux 6.8): the choice between unique ids and birth times follows
// their remembered answer, so that one table never mixes the two kinds of identity. A filter that
// does not know them answers EPERM, which counts as missing too.
ZbKernelCall gListmount{true};

// The kernel's unique ids of the mounts of this namespace, by the ids mountinfo shows. Read
// without a path walk, so no mount point is touched (touching one can make an unmount that runs at
// that moment fail as busy).
ZbUniqueIds UniqueMountIds(std::unordered_map<int, uint64_t> &ids) {
    ids.clear();
    if (gListmount.IsMissing()) return ZbUniqueIds::unavailable;
    std::vector<uint64_t> list(256);
    MountIdRequest request;
    request.mountId = kListFromRoot;
    for (;;) {
        const long n = syscall(SYS_listmount, &request, list.data(), list.size(), 0);
        if (n < 0) return gListmount.Lacks(errno) ? ZbUniqueIds::unavailable : ZbUniqueIds::failed;
        for (long k = 0; k < n; ++k) {
            alignas(8) unsigned char answer[1024] = {};
            MountIdRequest stat;
            stat.mountId = list[size_t(k)];
            stat.param = kStatmountBasic;
            if (syscall(SYS_statmount, &stat, answer, sizeof answer, 0) != 0) {
                if (gListmount.Lacks(errno)) return ZbUniqueIds::unavailable;
                continue;  // unmounted meanwhile: the look-up finds it missing and reads again
            }
            uint32_t oldId = 0;
            std::memcpy(&oldId, answer + kStatmountOldId, sizeof oldId);
            uint64_t uniqueId = 0;
            std::memcpy(&uniqueId, answer + kStatmountUniqueId, sizeof uniqueId);
            ids[int(oldId)] = uniqueId;
        }
        if (size_t(n) < list.size()) break;
        request.param = list.back();  // continue after the last one
    }
    return ZbUniqueIds::read;
}

// A mount's identity. With the kernel's unique ids at hand, a mount missing from them (mounted or
// unmounted between the two reads) is not looked at: `complete` turns false and the table is read
// again at the next look-up.
MountIdentity IdentityOf(const Mount &m, const std::unordered_map<int, uint64_t> &uniqueIds, bool haveUniqueIds,
                         bool &complete) {
    MountIdentity identity{0, m.id, m.device, 0};
    if (haveUniqueIds) {
        if (const auto it = uniqueIds.find(m.id); it != uniqueIds.end())
            identity.uniqueId = it->second;
        else
            complete = false;
        return identity;
    }
    struct statx sx;
    // Cached attributes only: a network volume whose server is away must not hold up the table.
    if (statx(AT_FDCWD, m.mountPoint.c_str(), AT_STATX_DONT_SYNC | AT_NO_AUTOMOUNT, STATX_BTIME, &sx) == 0 &&
        (sx.stx_mask & STATX_BTIME))
        identity.rootBirth = uint64_t(sx.stx_btime.tv_sec) * 1000000000u + sx.stx_btime.tv_nsec;
    return identity;
}

struct Entry {
    ZbVolume volume;
    MountIdentity identity;
};

struct Table {
    std::mutex mutex;
    ZbUniqueFd mountInfo;
    unsigned openedIn = ~0u;  // the process generation that opened mountInfo
    bool stale = true;         // the mount table changed since it was last read
    bool mountsKnown = false;  // false when /proc could not be read: only the startup volume
    ZbVolume startup{kZbStartupVRefNum, Zb7_PlatformStartupVolumeName(), "/"};
    std::vector<Entry> volumes;  // by number: -101, -102, ...
    int nextMagnitude = 101;     // -nextMagnitude is the next number never given
};

Table &TheTable() {
    static Table table;
    return table;
}

constexpr int kLastMagnitude = 32768;

// A number for a newly seen volume: the next one never given, or once all down to -32768 have
// been given, the lowest one no volume in `current` holds. 0 when every number is held.
short NewNumber(Table &t, const std::vector<Entry> &current) {
    if (t.nextMagnitude <= kLastMagnitude) return short(-t.nextMagnitude++);
    std::vector<int> held;
    for (const Entry &e : current)
        if (e.volume.vRefNum != 0) held.push_back(-e.volume.vRefNum);
    std::sort(held.begin(), held.end());
    int magnitude = 101;
    for (const int h : held)
        if (h == magnitude) ++magnitude;
    return magnitude <= kLastMagnitude ? short(-magnitude) : 0;
}

// Answers false when the table may be out of date and must be read again.
bool Rebuild(Table &t, std::string_view text, const std::unordered_map<int, uint64_t> &uniqueIds,
             bool haveUniqueIds) {
    bool complete = true;
    const std::vector<Mount> mounts = ParseMountInfo(text);
    std::vector<Entry> current;
    for (size_t i = 0; i < mounts.size(); ++i) {
        const Mount &m = mounts[i];
        if (!IsVolumeMountPoint(m.mountPoint) || IsHidden(mounts, i)) continue;
        Entry e{{0, VolumeName(m.mountPoint.substr(m.mountPoint.rfind('/') + 1)), m.mountPoint, m.type},
                IdentityOf(m, uniqueIds, haveUniqueIds, complete)};
        for (const Entry &old : t.volumes)
            if (old.identity == e.identity && old.volume.mountPoint == e.volume.mountPoint)
                e.volume.vRefNum = old.volume.vRefNum;
        current.push_back(std::move(e));
    }
    // New volumes are numbered in mount-table order, after the kept ones have claimed theirs.
    for (Entry &e : current)
        if (e.volume.vRefNum == 0) e.volume.vRefNum = NewNumber(t, current);
    std::erase_if(current, [](const Entry &e) { return e.volume.vRefNum == 0; });
    std::sort(current.begin(), current.end(),
              [](const Entry &a, const Entry &b) { return a.volume.vRefNum > b.volume.vRefNum; });
    t.volumes = std::move(current);
    return complete;
}

// Counts the forks this process has made children by; a child sees its own count.
std::atomic<unsigned> gProcessGeneration{0};

// Brings the table up to date. The descriptor belongs to the mount namespace of the process that
// opened it, so a forked child (perhaps in a namespace of its own) opens its own.

void Refresh(Table &t) try {
    static const bool watchingForks = [] {
        return pthread_atfork(nullptr, nullptr, [] { gProcessGeneration.fetch_add(1); }) == 0;
    }();
    const unsigned generation = gProcessGeneration.load();
    if (t.mountInfo.fd < 0 || t.openedIn != generation || !watchingForks) {
        t.mountInfo.Reset(OpenMountInfo());
        t.openedIn = generation;
        t.stale = true;
    }
    if (t.mountInfo.fd < 0) {
        t.mountsKnown = false;
        return;
    }
    pollfd changed{t.mountInfo.fd, POLLPRI | POLLERR, 0};
    if (poll(&changed, 1, 0) != 0) t.stale = true;
    if (!t.stale) return;
    // The kernel's unique ids are read before and after the table: when they differ, mounts
    // changed in between and an id of the table may belong to another mount by now.
    std::unordered_map<int, uint64_t> uniqueIds, after;
    const ZbUniqueIds idsBefore = UniqueMountIds(uniqueIds);
    if (idsBefore == ZbUniqueIds::failed) return;  // the table as it was; the next look-up retries
    std::string text;
    bool read = ReadAll(t.mountInfo.fd, text);
    if (!read) {
        t.mountInfo.Reset(OpenMountInfo());
        read = t.mountInfo.fd >= 0 && ReadAll(t.mountInfo.fd, text);
    }
    if (!read) {
        t.mountInfo.Reset();
        t.mountsKnown = false;
        return;
    }
    const bool haveUniqueIds = idsBefore == ZbUniqueIds::read;
    t.stale = !Rebuild(t, text, uniqueIds, haveUniqueIds) || UniqueMountIds(after) != idsBefore || after != uniqueIds;
    t.mountsKnown = true;
} catch (...) {
    // Out of memory while re-reading: answer from the table as it was; the next look-up retries.
}

// The first volume, in list order, for which `match` is true; nullptr when none.
template <class Match>
const ZbVolume *Find(const Table &t, Match match) {
    if (match(t.startup)) return &t.startup;
    if (t.mountsKnown)
        for (const Entry &e : t.volumes)
            if (match(e.volume)) return &e.volume;
    return nullptr;
}

}  // namespace

std::string Zb7_PlatformStartupVolumeName() {
    static const std::string name = ReadStartupVolumeName();
    return name;
}

std::vector<ZbVolume> Zb7_PlatformListVolumes() {
    Table &t = TheTable();
    const std::lock_guard lock(t.mutex);
    Refresh(t);
    std::vector<ZbVolume> list{t.startup};
    if (t.mountsKnown)
        for (const Entry &e : t.volumes) list.push_back(e.volume);
    return list;
}

bool Zb7_PlatformVolumeByNumber(short vRefNum, ZbVolume &volume) {
    Table &t = TheTable();
    const std::lock_guard lock(t.mutex);
    Refresh(t);
    const ZbVolume *found = Find(t, [&](const ZbVolume &v) { return v.vRefNum == vRefNum; });
    if (found) volume = *found;
    return found != nullptr;
}

bool Zb7_PlatformVolumeByName(std::string_view name, ZbVolume &volume, short preferred) {
    Table &t = TheTable();
    const std::lock_guard lock(t.mutex);
    Refresh(t);
    const ZbVolume *first = nullptr;
    const ZbVolume *found = Find(t, [&](const ZbVolume &v) {
        if (v.name != name) return false;
        if (!first) first = &v;
        return v.vRefNum == preferred;
    });
    if (!found) found = first;
    if (found) volume = *found;
    return found != nullptr;
}

void Zb7_PlatformVolumeOfPath(std::string_view path, ZbVolume &volume) {
    Table &t = TheTable();
    const std::lock_guard lock(t.mutex);
    Refresh(t);
    const ZbVolume *best = &t.startup;
    Find(t, [&](const ZbVolume &v) {
        if (v.mountPoint.size() > best->mountPoint.size() && AtOrBelow(path, v.mountPoint)) best = &v;
        return false;
    });
    volume = *best;
}
