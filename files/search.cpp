#include "files/search.h"

#include <algorithm>
#include <cstring>

#include "filecore/fsspec.h"
#include "filecore/paths.h"
#include "platform/errors.h"
#include "platform/finder_info.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "text/charsets.h"
#include "text/unicode_forms.h"

namespace {

// A name as names are compared: ASCII letters lowered, and, where it has characters beyond ASCII,
// decomposed (a name stored precomposed matches a search name typed decomposed, and back).
void PrepareName(std::string_view name, std::string &out) {
    const bool ascii = std::none_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
    out = ascii ? std::string(name) : ZbUTF8ToNFD(name);
    for (char &c : out) c = char(ZbLowerAscii(static_cast<unsigned char>(c)));
}

}  // namespace

std::string ZbSearchPattern(const std::string &searchName) {
    std::string pattern;
    PrepareName(searchName, pattern);
    return pattern;
}

bool ZbSearchNameMatches(const std::string &name, const std::string &pattern, bool exactName) {
    thread_local std::string prepared;
    PrepareName(name, prepared);
    if (exactName) return prepared == pattern;
    return pattern.empty() || memmem(prepared.data(), prepared.size(), pattern.data(), pattern.size()) != nullptr;
}

namespace {

// For a confined walk through a folder outside the allowed ones: keeps only the entries inside an
// allowed folder and the folders above one (to reach it), marking those inside.
void Confine(const ZbSearchIterator &search, ZbSearchLevel &level) {
    if (!search.confinement || level.inside) return;
    std::vector<ZbFolderEntry> kept;
    level.shown.clear();
    for (ZbFolderEntry &entry : level.entries) {
        const ZbPlace place = Zb7_ConfinementPlace(*search.confinement, ZbJoinPath(level.path, entry.name));
        if (place == ZbPlace::outside || (place == ZbPlace::above && entry.kind != kZbEntryFolder)) continue;
        level.shown.push_back(place == ZbPlace::inside);
        kept.push_back(std::move(entry));
    }
    level.entries = std::move(kept);
}

// Opens and reads the folder of the level just pushed, from the deepest level above that holds
// its folder open (the volume's root at the bottom); an unreadable folder keeps no entries.
void EnterLevel(const ZbSearchIterator &search, std::vector<ZbSearchLevel> &levels) {
    ZbSearchLevel &level = levels.back();
    size_t base = levels.size() - 1;
    while (base > 0 && levels[base - 1].folder.fd < 0) --base;
    std::vector<const std::string *> names;
    for (size_t k = base; k < levels.size(); ++k) names.push_back(&levels[k].name);
    if (Zb7_PlatformOpenFolderBelow(base > 0 ? levels[base - 1].folder : search.root.folder, names, level.folder) != 0)
        return;
    if (Zb7_PlatformReadFolder(level.folder, level.entries) != 0) level.entries.clear();
    ZbSortEntries(level.entries);
    Confine(search, level);
    if (levels.size() >= kZbSearchOpenLevels) level.folder.Close();
}

// One entry met by the walk: listed or counted when it matches.
void Meet(const ZbSearchIterator &search, const ZbSearchLevel &level, size_t index,
          std::vector<ZbListItem> &items, uint64_t &files, uint64_t &folders) {
    const ZbFolderEntry &entry = level.entries[index];
    if (!level.Shows(index) || !ZbSearchNameMatches(entry.name, search.pattern, search.switches.exactName)) return;
    uint16_t flags = 0;
    if (ZbEntryNeedsFlags(entry, search.switches)) {
        if (level.folder.fd >= 0) {
            flags = Zb7_PlatformFinderFlagsAt(level.folder, entry.name);
        } else {
            // A folder deeper than the levels held open: by path.
            ZbFinderInfo info;
            // An item without Finder information reads as zeros.
            (void)Zb7_PlatformGetFinderInfo(ZbJoinPath(level.path, entry.name), info);
            flags = info.Flags();
        }
    }
    if (!ZbListsEntry(entry, search.switches, flags)) return;
    const bool isFolder = entry.kind == kZbEntryFolder;
    if (search.countOnly)
        ++(isFolder ? folders : files);
    else
        items.push_back({entry.name, ZbJoinPath(level.path, entry.name), isFolder});
}

// The whole walk below one folder at the top of the volume.
void RunTask(const ZbSearchIterator &search, size_t index, ZbSearchIterator::Task &task) {
    std::vector<ZbSearchLevel> levels;
    ZbSearchLevel &top = levels.emplace_back();
    top.name = search.root.entries[index].name;
    top.path = ZbJoinPath(search.root.path, top.name);
    top.inside = search.root.Shows(index);
    EnterLevel(search, levels);
    while (!levels.empty() && !search.stop) {
        ZbSearchLevel &level = levels.back();
        if (level.next == level.entries.size()) {
            levels.pop_back();
            continue;
        }
        const size_t at = level.next++;
        const ZbFolderEntry &entry = level.entries[at];
        Meet(search, level, at, task.items, task.files, task.folders);
        if (entry.kind == kZbEntryFolder) {
            ZbSearchLevel child;
            child.name = entry.name;
            child.path = ZbJoinPath(level.path, entry.name);
            child.inside = level.Shows(at);
            levels.push_back(std::move(child));
            EnterLevel(search, levels);
        }
    }
}

// Runs the task at index, unless it is not a folder's, and marks it done.
void Complete(ZbSearchIterator &search, size_t index) {
    ZbSearchIterator::Task &task = search.tasks[index];
    if (search.root.entries[index].kind == kZbEntryFolder) {
        try {
            RunTask(search, index, task);
        } catch (...) {
            task.failed = true;  // walked again by the thread that needs it
        }
    }
    {
        std::lock_guard<std::mutex> lock(search.mutex);
        task.done = true;
    }
    search.finished.notify_all();
}

// The helper: takes the next task nobody has taken until none is left or the walk is stopped.
void HelpWith(ZbSearchIterator &search) {
    for (size_t index; (index = search.claimed.fetch_add(1)) < search.tasks.size() && !search.stop;)
        Complete(search, index);
}

// The task of a folder at the top, complete. While the helper is still on it, this thread takes
// the next tasks nobody has taken, so that both keep working.
ZbSearchIterator::Task &TaskOf(ZbSearchIterator &search, size_t index) {
    ZbSearchIterator::Task &task = search.tasks[index];
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(search.mutex);
            if (task.done) break;
        }
        const size_t next = search.claimed.fetch_add(1);
        if (next < search.tasks.size()) {
            Complete(search, next);
            continue;
        }
        std::unique_lock<std::mutex> lock(search.mutex);
        search.finished.wait(lock, [&] { return task.done; });
        break;
    }
    if (task.failed) {
        task = {};
        RunTask(search, index, task);
    }
    return task;
}

long StartSearch(ZbSearchIterator &search, const FLswitchTag &switches) {
    search.started = true;
    search.switches = switches;
    search.pattern = ZbSearchPattern(switches.searchName);
    search.root.path = search.volume.mountPoint;
    search.confinement = Zb7_CurrentConfinement();
    if (search.confinement) {
        // A volume that holds none of the call's folders has nothing to show.
        const ZbPlace place = Zb7_ConfinementPlace(*search.confinement, search.root.path);
        if (place == ZbPlace::outside) return 0;
        search.root.inside = place == ZbPlace::inside;
    }
    if (const long err = Zb7_PlatformOpenFolderToWalk(search.root.path, search.root.folder)) return err;
    if (const long err = Zb7_PlatformReadFolder(search.root.folder, search.root.entries)) return err;
    ZbSortEntries(search.root.entries);
    Confine(search, search.root);
    search.tasks.resize(search.root.entries.size());
    const auto folders = std::count_if(search.root.entries.begin(), search.root.entries.end(),
                                       [](const ZbFolderEntry &e) { return e.kind == kZbEntryFolder; });
    if (folders > 1 && std::thread::hardware_concurrency() > 1) {
        try {
            search.helper = std::thread(HelpWith, std::ref(search));
        } catch (...) {
            // No helper: the calling thread walks every task.
        }
    }
    return 0;
}

}  // namespace

ZbSearchIterator::~ZbSearchIterator() {
    stop = true;
    if (helper.joinable()) helper.join();
}

long Zb7_Mac_NameFileSearchXBetter(ZbSearchIterator &search, const FLswitchTag &switches,
                                   std::vector<ZbListItem> &items, size_t maxItems) {
    if (!search.started)
        if (const long err = StartSearch(search, switches)) return err;
    const size_t wanted = items.size() + maxItems;
    while (items.size() < wanted) {
        if (search.serving != SIZE_MAX) {
            ZbSearchIterator::Task &task = search.tasks[search.serving];
            const size_t n = std::min(wanted - items.size(), task.items.size() - search.served);
            std::move(task.items.begin() + long(search.served), task.items.begin() + long(search.served + n),
                      std::back_inserter(items));
            search.served += n;
            if (search.served < task.items.size()) continue;
            search.files += task.files;
            search.folders += task.folders;
            task = {};  // its memory goes back at once
            task.done = true;
            search.serving = SIZE_MAX;
            continue;
        }
        if (search.rootNext == search.root.entries.size()) return kFnfErr;
        const size_t index = search.rootNext++;
        const ZbFolderEntry &entry = search.root.entries[index];
        Meet(search, search.root, index, items, search.files, search.folders);
        if (entry.kind == kZbEntryFolder) {
            TaskOf(search, index);
            search.serving = index;
            search.served = 0;
        }
    }
    return 0;
}

namespace {

long Search(const fmx::DataVect &parameters, fmx::TextUniquePtr &text) {
    if (parameters.Size() < 3) return kParamErr;
    char switches[kZbSwitchesCapacity + 1] = "", name[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 0;
    XP7_GetNextCStringFromVect(parameters, switches, kZbSwitchesCapacity, &cursor, fmx::Text::kEncoding_Native);
    fmx::TextUniquePtr volumeText;
    XP7_GetNextTxtFromVect(parameters, volumeText, &cursor);
    XP7_GetNextCStringFromVect(parameters, name, kZbSwitchesCapacity, &cursor, fmx::Text::kEncoding_UTF8);
    FLswitchTag list = Zb7_ReadListSwitches(switches);
    list.mode = kZbListSearch;
    list.exactName = XP_HasSwitch(switches, "exactname");
    list.searchName.assign(name, std::min<size_t>(std::strlen(name), 255));  // a Pascal string
    short vRefNum = kZbStartupVRefNum;
    if (volumeText->GetSize() > 0) {
        // A bare volume name becomes the volume's path; any path on a volume names the volume.
        Zb7_CheckForEndColonOrBackSlashTxt(volumeText);
        FSSpec ref;
        if (const long err = XP7_TxtToFSSpec(*volumeText, ref, kZbShortNameLength, 0); err != 0 && err != kFnfErr) return err;
        vRefNum = ref.vRefNum;
    }
    if (!list.files && !list.folders) return kParamErr;
    if (const long err = Zb7_BuildFileList({}, vRefNum, list, text)) return err;
    Zb7_DropFinalReturn(switches, text);
    return 0;
}

}  // namespace

fmx::errcode ZbFile7_DoSearch(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                              fmx::Data &result) {
    fmx::TextUniquePtr text;
    XP7_TxtOrErrorToData(Search(parameters, text), text, parameters, result);
    return 0;
}
