// ZbFile_ListFolderJSON( switches ; path ): the entries of a folder as JSON, in ListFolder's order
// and with its filters, each described by files/item_json.h (name, path, kind, size, modified;
// everything with "-Info"). "-Recursive" walks the tree depth first, a folder's entry before its
// contents, never through a symbolic link and never into another mount; a folder that cannot be
// read becomes one object of "errors" and the walk goes on.
//
//   {"folder": "/the/folder", "entries": [...], "errors": [...], "truncated": false}
#include <cerrno>
#include <string>
#include <vector>

#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "filecore/paths.h"
#include "files/file_list.h"
#include "files/item_json.h"
#include "platform/errors.h"
#include "platform/folder_reader.h"
#include "platform/volumes.h"

namespace {

constexpr long kDefaultLimit = 1000000;
// Folders of the walk deeper than this are read and closed again: a deep tree must not use up the
// process's descriptors. Their entries are looked at through their paths.
constexpr size_t kOpenLevels = 128;

struct ListOptions {
    FLswitchTag filters;   // which kinds are listed, and whether invisible items and aliases are
    FLswitchTag anyKind;   // the same with both kinds: whether an entry is shown at all
    bool info = false;
    size_t depth = 1;      // levels listed: 1 is the folder's own entries
    size_t limit = kDefaultLimit;
};

struct Level {
    std::string name;  // in the folder above; empty for the folder listed
    std::string path;
    ZbVolume volume;
    ZbFolderHandle folder;
    std::vector<ZbFolderEntry> entries;
    size_t next = 0;
};

struct Walk {
    const ListOptions &options;
    ZbJson &json;    // the answer, its "entries" array open
    ZbJson errors;   // the "errors" array, put in the answer at the end
    ZbItemJsonContext context;
    std::vector<Level> levels;
    size_t listed = 0, failed = 0;
    bool truncated = false;
    Walk(const ListOptions &o, ZbJson &j) : options(o), json(j) {}
};

long ReadOptions(const char *switches, ListOptions &options) {
    options.filters = Zb7_ReadListSwitches(switches);
    if (!options.filters.files && !options.filters.folders) options.filters.files = options.filters.folders = true;
    options.anyKind = options.filters;
    options.anyKind.files = options.anyKind.folders = true;
    options.info = XP_HasSwitch(switches, "-Info");
    long value = 0;
    // -Depth alone asks for a walk as deep as it says.
    const bool hasDepth = XP_GetTaggedLong(switches, "-Depth=", &value);
    if (hasDepth && value < 1) return kParamErr;
    if (hasDepth)
        options.depth = size_t(value);
    else if (XP_HasSwitch(switches, "-Recursive"))
        options.depth = SIZE_MAX;
    if (XP_GetTaggedLong(switches, "-Limit=", &value)) options.limit = size_t(value);
    else if (XP_HasSwitch(switches, "-Limit=")) return kParamErr;  // a limit without a number
    return 0;
}

std::string Joined(const std::string &folder, const std::string &name) {
    std::string path;
    path.reserve(folder.size() + 1 + name.size());
    path = folder;
    if (path.empty() || path.back() != '/') path += '/';
    path += name;
    return path;
}

// A folder of the walk that cannot be opened or read: one object of "errors". The error number
// comes with the errno behind it when the call just made left it (and it says the same).
void Failed(Walk &walk, const std::string &path, long error, int systemError) {
    if (walk.failed >= walk.options.limit) {
        walk.truncated = true;
        return;
    }
    ++walk.failed;
    walk.errors.Failure(path, error, Zb7_ErrnoToOSErr(systemError) == error ? systemError : 0);
}

// Opens and reads the folder of an entry of the deepest level, and makes it the next level. A
// folder of another mount is not entered (and is no failure).
void Enter(Walk &walk, const ZbFolderEntry &entry, const std::string &path, const ZbVolume &volume) {
    std::vector<Level> &levels = walk.levels;
    Level level;
    level.name = entry.name;
    level.path = path;
    level.volume = volume;
    // From the deepest level still open, through the names of those below it.
    size_t base = levels.size();
    while (base > 0 && levels[base - 1].folder.fd < 0) --base;
    std::vector<const std::string *> names;
    for (size_t k = base; k < levels.size(); ++k) names.push_back(&levels[k].name);
    names.push_back(&level.name);
    errno = 0;
    long err = base > 0 ? Zb7_PlatformOpenFolderBelow(levels[base - 1].folder, names, level.folder) : long(kDirNFErr);
    if (err == kDirNFErr) return;  // another mount, or gone since its folder was read
    if (err == 0) {
        errno = 0;
        err = Zb7_PlatformReadFolder(level.folder, level.entries);
    }
    if (err) {
        Failed(walk, path, err, errno);
        return;
    }
    ZbSortEntries(level.entries);
    if (levels.size() + 1 >= kOpenLevels) level.folder.Close();
    levels.push_back(std::move(level));
}

// One entry of the deepest level: listed when the filters keep it, entered when it is a folder
// the walk goes into.
void Meet(Walk &walk, const ZbFolderEntry &entry) {
    const ListOptions &options = walk.options;
    const Level &level = walk.levels.back();
    ZbItemFacts facts;
    facts.name = entry.name;
    facts.path = Joined(level.path, entry.name);
    facts.volume = level.volume;
    facts.full = options.info;
    const bool mayEnter = entry.kind == kZbEntryFolder && walk.levels.size() < options.depth;
    if (!ZbListsEntry(entry, options.anyKind, 0) && !ZbEntryNeedsFlags(entry, options.anyKind)) return;  // hidden
    bool read = false;
    uint16_t flags = 0;
    if (ZbEntryNeedsFlags(entry, options.anyKind)) {
        // Whether it is shown depends on its Finder flags: read them (in full, when all is wanted).
        if (options.info) {
            read = true;
            if (Zb7_ReadItemFacts(&level.folder, facts) == ENOENT) return;  // gone since the folder was read
            flags = Zb7_FinderFlagsOf(facts.attributes);
        } else if (level.folder.fd >= 0) {
            flags = Zb7_PlatformFinderFlagsAt(level.folder, entry.name);
        } else {
            ZbItemAttributes attributes;  // a folder deep in the walk, no longer open: through the path
            Zb7_PlatformReadItemAttributes(facts.path, false, attributes);
            flags = Zb7_FinderFlagsOf(attributes);
        }
        if (!ZbListsEntry(entry, options.anyKind, flags)) return;  // hidden, and so is what it holds
    }
    if (ZbListsEntry(entry, options.filters, flags)) {
        if (walk.listed >= options.limit) {
            walk.truncated = true;
            return;
        }
        if (!read && Zb7_ReadItemFacts(&level.folder, facts) == ENOENT) return;
        if (facts.statusError == 0 && facts.status.mountRoot && entry.kind == kZbEntryFolder)
            Zb7_PlatformVolumeOfPath(facts.path, facts.volume);  // perhaps a volume of its own
        Zb7_WriteItemJSON(walk.json, facts, entry.kind, walk.context);
        ++walk.listed;
    }
    if (mayEnter) Enter(walk, entry, facts.path, level.volume);
}

long ListFolder(const fmx::DataVect &parameters, ZbJson &json) {
    char switches[kZbSwitchesCapacity + 1] = "";
    fmx::TextUniquePtr pathText;
    if (!Zb7_ReadSwitchesAndPath(parameters, switches, pathText)) return kParamErr;
    ListOptions options;
    if (const long err = ReadOptions(switches, options)) return err;
    Zb7_CheckAndRemoveEndSeparatorTxt(pathText);
    FSSpec ref;
    if (const long err = XP7_TxtToItem(*pathText, ref, kZbMaxNameLength)) return err;
    std::string path;
    if (const long err = Zb7_FSSpecToPOSIXPath(ref, path)) return err;

    Walk walk(options, json);
    Level &top = walk.levels.emplace_back();
    top.path = path;
    Zb7_PlatformVolumeOfPath(path, top.volume);
    if (const long err = Zb7_PlatformOpenFolder(path, top.folder)) return err;
    if (const long err = Zb7_PlatformReadFolder(top.folder, top.entries)) return err;
    ZbSortEntries(top.entries);

    json.BeginObject();
    json.Name("folder", path);
    json.Key("entries");
    json.BeginArray();
    walk.errors.BeginArray();
    while (!walk.levels.empty() && !walk.truncated) {
        Level &level = walk.levels.back();
        if (level.next == level.entries.size()) {
            walk.levels.pop_back();
            continue;
        }
        Meet(walk, level.entries[level.next++]);
    }
    json.EndArray();
    walk.errors.EndArray();
    json.Key("errors");
    json.out.RawValue(walk.errors.buffer.GetString(), walk.errors.buffer.GetSize(), rapidjson::kArrayType);
    json.Key("truncated");
    json.Bool(walk.truncated);
    json.EndObject();
    return 0;
}

}  // namespace

fmx::errcode ZbFile7_DoListFolderJSON(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                      const fmx::DataVect &parameters, fmx::Data &result) {
    return XP7_JsonAnswerToData(ListFolder, parameters, result);
}
