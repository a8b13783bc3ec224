#include "files/fsspec.h"

#include <list>
#include <unordered_map>

#include "platform/file_system.h"
#include "platform/volumes.h"
#include "plugin/globals.h"

FSSpec gDefaultFSSpec;

namespace {

// ---- the folder-id table (read and written under gFrameMutex) ----

constexpr size_t kDefaultFolderTableLimit = 32768;
constexpr int32_t kFirstAllocatedID = -2;  // ids given out here are negative: no inode has one

uint64_t IdKey(short vRefNum, int32_t id) { return uint64_t(uint16_t(vRefNum)) << 32 | uint32_t(id); }

struct ZbNodeKey {
    short vRefNum;
    uint64_t device;
    uint64_t inode;
    bool operator==(const ZbNodeKey &) const = default;
};
struct ZbNodeKeyHash {
    size_t operator()(const ZbNodeKey &k) const {
        return std::hash<uint64_t>()(k.inode * 0x9E3779B97F4A7C15ull ^ k.device ^ uint64_t(uint16_t(k.vRefNum)) << 48);
    }
};

struct ZbFolderEntry {
    std::string path;
    ZbNodeKey node;
    std::list<uint64_t>::iterator age;  // position in ZbFolderTable::ages
};

struct ZbFolderTable {
    std::unordered_map<uint64_t, ZbFolderEntry> byId;
    std::unordered_map<ZbNodeKey, int32_t, ZbNodeKeyHash> byNode;
    std::list<uint64_t> ages;  // id keys, most recently used first
    int32_t nextAllocated = kFirstAllocatedID;
    size_t limit = kDefaultFolderTableLimit;
};

ZbFolderTable &Table() {
    static ZbFolderTable table;
    return table;
}

void Touch(ZbFolderTable &t, ZbFolderEntry &e) { t.ages.splice(t.ages.begin(), t.ages, e.age); }

void Forget(ZbFolderTable &t, uint64_t key) {
    const auto it = t.byId.find(key);
    if (it == t.byId.end()) return;
    t.byNode.erase(it->second.node);
    t.ages.erase(it->second.age);
    t.byId.erase(it);
}

int32_t AllocateID(ZbFolderTable &t, short vRefNum) {
    while (t.byId.count(IdKey(vRefNum, t.nextAllocated)))
        t.nextAllocated = t.nextAllocated == INT32_MIN ? kFirstAllocatedID : t.nextAllocated - 1;
    const int32_t id = t.nextAllocated;
    t.nextAllocated = id == INT32_MIN ? kFirstAllocatedID : id - 1;
    return id;
}

// The id of a folder (not a volume's root) known by its path and node, entering it when new.
// A folder keeps its inode number as id when it lies on the same file system as its volume's root
// (inode numbers are unique there); folders of file systems mounted elsewhere inside a volume get
// an id given out here, so that two folders of one volume never share an id.
int32_t EnterFolder(const ZbVolume &volume, const std::string &path, const ZbNodeInfo &info) {
    const ZbNodeKey node{volume.vRefNum, info.device, info.inode};
    {
        ZbFrameLock lock(gFrameMutex);
        ZbFolderTable &t = Table();
        if (const auto found = t.byNode.find(node); found != t.byNode.end()) {
            ZbFolderEntry &e = t.byId.at(IdKey(volume.vRefNum, found->second));
            if (e.path != path) e.path = path;  // the folder was reached another way, or has moved
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
    if (onRootDevice && info.inode >= 3 && info.inode <= 0x7FFFFFFF &&
        !t.byId.count(IdKey(volume.vRefNum, int32_t(info.inode))))
        id = int32_t(info.inode);
    else
        id = AllocateID(t, volume.vRefNum);
    const uint64_t key = IdKey(volume.vRefNum, id);
    t.ages.push_front(key);
    t.byId.emplace(key, ZbFolderEntry{path, node, t.ages.begin()});
    t.byNode.emplace(node, id);
    while (t.byId.size() > t.limit) Forget(t, t.ages.back());
    return id;
}

long FolderIdOnVolume(const ZbVolume &volume, const std::string &path, int32_t &folderId) {
    if (path == volume.mountPoint) {
        folderId = kZbRootFolderID;
        return 0;
    }
    ZbNodeInfo info;
    const long err = Zb7_PlatformGetNodeInfo(path, true, info);
    if (err == -43 || (err == 0 && !info.isFolder)) return -120;
    if (err) return err;
    folderId = EnterFolder(volume, path, info);
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
    ZbVolume volume;
    Zb7_PlatformVolumeOfPath(path, volume);
    vRefNum = volume.vRefNum;
    return FolderIdOnVolume(volume, path, folderId);
}

long Zb7_PathOfFolderId(short vRefNum, int32_t folderId, std::string &path) {
    ZbVolume volume;
    if (!Zb7_PlatformVolumeByNumber(vRefNum, volume)) return -35;
    if (folderId == kZbRootFolderID) {
        path = volume.mountPoint;
        return 0;
    }
    ZbNodeKey node;
    {
        ZbFrameLock lock(gFrameMutex);
        ZbFolderTable &t = Table();
        const auto it = t.byId.find(IdKey(vRefNum, folderId));
        if (it == t.byId.end()) return -120;
        Touch(t, it->second);
        path = it->second.path;
        node = it->second.node;
    }
    // The id stands for that folder, not for its path: a folder moved away or replaced is not found.
    ZbNodeInfo info;
    if (Zb7_PlatformGetNodeInfo(path, true, info) != 0 || info.device != node.device || info.inode != node.inode)
        return -120;
    return 0;
}

long Zb7_POSIXPathToFSSpec(const std::string &path, FSSpec &ref) {
    ZbVolume volume;
    Zb7_PlatformVolumeOfPath(path, volume);
    if (path == volume.mountPoint) {
        ZbSetFSSpec(ref, volume.vRefNum, kZbRootParentID, volume.name);
    } else {
        int32_t folderId = 0;
        if (const long err = FolderIdOnVolume(volume, ZbFolderOfPath(path), folderId)) return err;
        const std::string_view name = std::string_view(path).substr(path.rfind('/') + 1);
        ZbSetFSSpec(ref, volume.vRefNum, folderId, ZbSwapColonsAndSlashes(name));
    }
    ref.path = path;
    return 0;
}

long Zb7_FSSpecToPOSIXPath(const FSSpec &ref, std::string &path) {
    if (!ref.path.empty()) {
        path = ref.path;
        return 0;
    }
    if (ref.parID == kZbRootParentID) {
        ZbVolume volume;
        if (!Zb7_PlatformVolumeByNumber(ref.vRefNum, volume)) return -35;
        if (ref.name.empty()) return -120;
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
