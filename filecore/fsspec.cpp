#include "filecore/fsspec.h"

#include <deque>
#include <list>
#include <unordered_map>

#include "platform/errors.h"
#include "platform/file_system.h"
#include "platform/volumes.h"
#include "core/globals.h"

FSSpec gDefaultFSSpec;

namespace {

// ---- the folder-id table (read and written under gFrameMutex) ----

constexpr size_t kDefaultFolderTableLimit = 32768;
constexpr int32_t kFirstAllocatedID = -2;  // ids given out here are negative: no inode has one

uint64_t IdKey(short vRefNum, int32_t id) { return uint64_t(uint16_t(vRefNum)) << 32 | uint32_t(id); }

// A folder is known by its node, birth included: a folder made later under a reused inode number
// is another folder, and never answers for an id given to the one that was deleted.
struct ZbNodeKey {
    short vRefNum;
    uint64_t device;
    uint64_t inode;
    uint64_t birth;
    bool operator==(const ZbNodeKey &) const = default;
};
struct ZbNodeKeyHash {
    size_t operator()(const ZbNodeKey &k) const {
        return std::hash<uint64_t>()(k.inode * 0x9E3779B97F4A7C15ull ^ k.device ^ k.birth * 0xC2B2AE3D27D4EB4Full ^
                                     uint64_t(uint16_t(k.vRefNum)) << 48);
    }
};

struct ZbFolderEntry {
    std::string path;  // the folder's real path: no symbolic link on the way
    ZbNodeKey node;
    std::list<uint64_t>::iterator age;  // position in ZbFolderTable::ages
};

struct ZbFolderTable {
    std::unordered_map<uint64_t, ZbFolderEntry> byId;
    std::unordered_map<ZbNodeKey, int32_t, ZbNodeKeyHash> byNode;
    // Real paths to id keys: a path seen before is checked with one look-up instead of being
    // resolved again. An entry may be stale (its folder moved away); the check tells.
    std::unordered_map<std::string, uint64_t> byPath;
    std::list<uint64_t> ages;  // id keys, most recently used first
    // Ids of folders forgotten to keep the table small, without their paths. A retired id is
    // never given to another folder, so that an old reference text cannot come to name a
    // stranger, and the folder itself gets its id back when it is used again. Kept for
    // kRetiredFactor times as many folders as the table holds, the oldest dropped first.
    std::unordered_map<uint64_t, ZbNodeKey> retiredById;
    std::unordered_map<ZbNodeKey, int32_t, ZbNodeKeyHash> retiredByNode;
    std::deque<uint64_t> retiredOrder;
    int32_t nextAllocated = kFirstAllocatedID;
    size_t limit = kDefaultFolderTableLimit;
};

constexpr size_t kRetiredFactor = 4;

ZbFolderTable &Table() {
    static ZbFolderTable table;
    return table;
}

void Touch(ZbFolderTable &t, ZbFolderEntry &e) { t.ages.splice(t.ages.begin(), t.ages, e.age); }

// Whether a path leads to the folder of that node (the same folder, not a later one that has its
// inode number).
bool LeadsTo(const std::string &path, const ZbNodeKey &node) {
    ZbNodeInfo info;
    return Zb7_PlatformGetNodeInfo(path, true, info) == 0 &&
           info.SameItem(ZbNodeInfo{true, false, node.device, node.inode, node.birth});
}

void ForgetPath(ZbFolderTable &t, const std::string &path, uint64_t key) {
    if (const auto it = t.byPath.find(path); it != t.byPath.end() && it->second == key) t.byPath.erase(it);
}

// A folder's real path, as it is now.
void SetPath(ZbFolderTable &t, uint64_t key, ZbFolderEntry &e, const std::string &path) {
    if (e.path == path) return;
    ForgetPath(t, e.path, key);
    e.path = path;
    t.byPath[path] = key;
}

void Unretire(ZbFolderTable &t, uint64_t key) {
    const auto it = t.retiredById.find(key);
    if (it == t.retiredById.end()) return;
    t.retiredByNode.erase(it->second);
    t.retiredById.erase(it);
}

void Forget(ZbFolderTable &t, uint64_t key) {
    const auto it = t.byId.find(key);
    if (it == t.byId.end()) return;
    const ZbNodeKey node = it->second.node;
    t.byNode.erase(node);
    ForgetPath(t, it->second.path, key);
    t.ages.erase(it->second.age);
    t.byId.erase(it);
    t.retiredById.emplace(key, node);
    t.retiredByNode.emplace(node, int32_t(uint32_t(key)));
    t.retiredOrder.push_back(key);
    while (t.retiredOrder.size() > t.limit * kRetiredFactor) {
        Unretire(t, t.retiredOrder.front());
        t.retiredOrder.pop_front();
    }
}

// Whether an id is held by a folder, known or retired.
bool IdTaken(const ZbFolderTable &t, uint64_t key) { return t.byId.count(key) || t.retiredById.count(key); }

int32_t AllocateID(ZbFolderTable &t, short vRefNum) {
    while (IdTaken(t, IdKey(vRefNum, t.nextAllocated)))
        t.nextAllocated = t.nextAllocated == INT32_MIN ? kFirstAllocatedID : t.nextAllocated - 1;
    const int32_t id = t.nextAllocated;
    t.nextAllocated = id == INT32_MIN ? kFirstAllocatedID : id - 1;
    return id;
}

// The id of a folder (not a volume's root) known by its real path and node, entering it when new.
// A folder keeps its inode number as id when it lies on the same file system as its volume's root
// (inode numbers are unique there); folders of file systems mounted elsewhere inside a volume get
// an id given out here, so that two folders of one volume never share an id.
int32_t EnterFolder(const ZbVolume &volume, const std::string &path, const ZbNodeInfo &info) {
    const ZbNodeKey node{volume.vRefNum, info.device, info.inode, info.birth};
    {
        ZbFrameLock lock(gFrameMutex);
        ZbFolderTable &t = Table();
        if (const auto found = t.byNode.find(node); found != t.byNode.end()) {
            const uint64_t key = IdKey(volume.vRefNum, found->second);
            ZbFolderEntry &e = t.byId.at(key);
            SetPath(t, key, e, path);  // the folder may have moved since
            Touch(t, e);
            return found->second;
        }
    }
    ZbNodeInfo root;
    const bool onRootDevice = Zb7_PlatformGetNodeInfo(volume.mountPoint, true, root) == 0 &&
                              root.device == info.device;

    ZbFrameLock lock(gFrameMutex);
    ZbFolderTable &t = Table();
    if (const auto found = t.byNode.find(node); found != t.byNode.end()) return found->second;  // entered meanwhile
    int32_t id;
    if (const auto retired = t.retiredByNode.find(node); retired != t.retiredByNode.end())
        id = retired->second;
    else if (onRootDevice && info.inode >= 3 && info.inode <= 0x7FFFFFFF &&
             !IdTaken(t, IdKey(volume.vRefNum, int32_t(info.inode))))
        id = int32_t(info.inode);
    else
        id = AllocateID(t, volume.vRefNum);
    const uint64_t key = IdKey(volume.vRefNum, id);
    Unretire(t, key);
    t.ages.push_front(key);
    t.byId.emplace(key, ZbFolderEntry{path, node, t.ages.begin()});
    t.byNode.emplace(node, id);
    t.byPath[path] = key;
    while (t.byId.size() > t.limit) Forget(t, t.ages.back());
    return id;
}

// The volume and id of the folder a path leads to. The folder is entered by its real path, so that
// its id names that folder whichever path, through whichever symbolic link, found it; a link to a
// folder of another volume leads to that volume.
long FolderIdOfAnyPath(const std::string &path, short &vRefNum, int32_t &folderId) {
    // A known folder's real path: one look-up tells whether it still leads to that folder.
    ZbNodeKey known{};
    uint64_t knownKey = 0;
    {
        ZbFrameLock lock(gFrameMutex);
        ZbFolderTable &t = Table();
        if (const auto it = t.byPath.find(path); it != t.byPath.end()) {
            knownKey = it->second;
            known = t.byId.at(knownKey).node;
        }
    }
    // The volume must be the one the folder was entered on: a volume mounted anew has a new number.
    ZbVolume volume;
    if (knownKey) Zb7_PlatformVolumeOfPath(path, volume);
    if (knownKey && volume.vRefNum == known.vRefNum && LeadsTo(path, known)) {
        ZbFrameLock lock(gFrameMutex);
        ZbFolderTable &t = Table();
        if (const auto it = t.byId.find(knownKey); it != t.byId.end() && it->second.node == known) {
            Touch(t, it->second);
            vRefNum = short(uint16_t(knownKey >> 32));
            folderId = int32_t(uint32_t(knownKey));
            return 0;
        }
    }
    ZbNodeInfo info;
    std::string real;
    if (const long err = Zb7_PlatformFolderInfo(path, info, real)) return err;
    Zb7_PlatformVolumeOfPath(real, volume);
    vRefNum = volume.vRefNum;
    folderId = real == volume.mountPoint ? kZbRootFolderID : EnterFolder(volume, real, info);
    return 0;
}

}  // namespace

void XP7_FSSpecToFSSpec(const FSSpec &from, FSSpec &to) {
    if (&from != &to) to = from;
}

void ZbSetFSSpec(FSSpec &ref, short vRefNum, int32_t parID, std::string_view name) {
    ref.vRefNum = vRefNum;
    ref.parID = parID;
    ref.name.assign(name);
    ref.path.clear();
    ref.info.reset();
}

void ZbClearFSSpec(FSSpec &ref) { ZbSetFSSpec(ref, 0, 0, {}); }

bool ZbIsClearedFSSpec(const FSSpec &ref) { return ref.vRefNum == 0 && ref.parID == 0 && ref.name.empty(); }

void Zb7_Mac_FSSpecToCStr(const FSSpec &ref, std::string &out) {
    out = ":" + std::to_string(ref.vRefNum) + ":" + std::to_string(ref.parID) + ":" + ref.name;
}

std::string ZbFolderOfPath(const std::string &path) {
    const size_t slash = path.rfind('/');
    return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

std::string ZbJoinPath(const std::string &folder, std::string_view name) {
    std::string path = folder;
    if (path != "/") path += '/';
    path += name;
    return path;
}

std::string ZbSwapColonsAndSlashes(std::string_view name) {
    std::string out(name);
    for (char &c : out) {
        if (c == ':')
            c = '/';
        else if (c == '/')
            c = ':';
    }
    return out;
}

long Zb7_FolderIdOfPath(const std::string &path, short &vRefNum, int32_t &folderId) {
    return FolderIdOfAnyPath(path, vRefNum, folderId);
}

long Zb7_PathOfFolderId(short vRefNum, int32_t folderId, std::string &path) {
    ZbVolume volume;
    if (!Zb7_PlatformVolumeByNumber(vRefNum, volume)) return kNsvErr;
    if (folderId == kZbRootFolderID) {
        path = volume.mountPoint;
        return 0;
    }
    ZbNodeKey node;
    {
        ZbFrameLock lock(gFrameMutex);
        ZbFolderTable &t = Table();
        const auto it = t.byId.find(IdKey(vRefNum, folderId));
        if (it == t.byId.end()) return kDirNFErr;
        Touch(t, it->second);
        path = it->second.path;
        node = it->second.node;
    }
    // The id stands for that folder, not for its path: a folder moved away or replaced is not found.
    if (!LeadsTo(path, node)) return kDirNFErr;
    return 0;
}

long Zb7_POSIXPathToFSSpec(const std::string &path, FSSpec &ref, const ZbItemInfo *info) {
    // Only a mount point can be a volume: an item known not to be one skips the volume table.
    ZbVolume volume;
    if (!info || info->mountRoot) Zb7_PlatformVolumeOfPath(path, volume);
    if ((!info || info->mountRoot) && path == volume.mountPoint) {
        ZbSetFSSpec(ref, volume.vRefNum, kZbRootParentID, volume.name);
    } else {
        short vRefNum = 0;
        int32_t folderId = 0;
        if (const long err = FolderIdOfAnyPath(ZbFolderOfPath(path), vRefNum, folderId)) return err;
        const std::string_view name = std::string_view(path).substr(path.rfind('/') + 1);
        ZbSetFSSpec(ref, vRefNum, folderId, ZbSwapColonsAndSlashes(name));
    }
    ref.path = path;
    if (info) ref.info = *info;
    return 0;
}

long Zb7_FSSpecToItemInfo(const FSSpec &ref, std::string &path, ZbItemInfo &info) {
    if (const long err = Zb7_FSSpecToPOSIXPath(ref, path)) return err;
    if (ref.info && path == ref.path) {
        info = *ref.info;
        return 0;
    }
    return Zb7_PlatformGetItemInfo(path, info);
}

long Zb7_FSSpecToPOSIXPath(const FSSpec &ref, std::string &path) {
    if (!ref.path.empty()) {
        path = ref.path;
        return 0;
    }
    if (ref.parID == kZbRootParentID) {
        ZbVolume volume;
        if (!Zb7_PlatformVolumeByNumber(ref.vRefNum, volume)) return kNsvErr;
        if (ref.name.empty()) return kDirNFErr;
        path = volume.mountPoint;
        return 0;
    }
    if (const long err = Zb7_PathOfFolderId(ref.vRefNum, ref.parID, path)) return err;
    if (!ref.name.empty()) path = ZbJoinPath(path, ZbSwapColonsAndSlashes(ref.name));
    return 0;
}

size_t ZbFolderTableSize() {
    ZbFrameLock lock(gFrameMutex);
    return Table().byId.size();
}

void ZbSetFolderTableLimit(size_t limit) {
    ZbFrameLock lock(gFrameMutex);
    ZbFolderTable &t = Table();
    t.limit = limit ? limit : kDefaultFolderTableLimit;
    while (t.byId.size() > t.limit) Forget(t, t.ages.back());
}
