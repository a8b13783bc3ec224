#include "files/search.h"

#include <algorithm>
#include <cstring>

#include "files/fsspec.h"
#include "files/paths.h"
#include "plugin/handlers.h"
#include "plugin/params.h"
#include "plugin/results.h"
#include "text/unicode_forms.h"

namespace {

// A name as names are compared: ASCII letters lowered, and, where it has characters beyond ASCII,
// decomposed (a name stored precomposed matches a search name typed decomposed, and back).
void PrepareName(std::string_view name, std::string &out) {
    const bool ascii = std::none_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
    out = ascii ? std::string(name) : ZbUTF8ToNFD(name);
    for (char &c : out)
        if (c >= 'A' && c <= 'Z') c = char(c + 32);
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

// Opens and reads the folder of the level just pushed; an unreadable one keeps no entries.
void EnterLevel(ZbSearchIterator &search) {
    auto &levels = search.levels;
    ZbSearchIterator::Level &level = levels.back();
    const size_t depth = levels.size() - 1;
    // The deepest level above that still holds its folder open, and the names from it down.
    size_t base = depth - 1;
    while (levels[base].folder.fd < 0) --base;
    std::vector<const std::string *> names;
    for (size_t k = base + 1; k <= depth; ++k) names.push_back(&levels[k].name);
    if (Zb7_PlatformOpenFolderBelow(levels[base].folder, names, level.folder) != 0) return;
    if (Zb7_PlatformReadFolder(level.folder, level.entries) != 0) level.entries.clear();
    std::sort(level.entries.begin(), level.entries.end(), ZbCatalogOrder);
    if (depth >= kZbSearchOpenLevels) level.folder.Close();
}

}  // namespace

long Zb7_Mac_NameFileSearchXBetter(ZbSearchIterator &search, const FLswitchTag &switches,
                                   std::vector<ZbListItem> &items, size_t maxItems) {
    auto &levels = search.levels;
    if (!search.started) {
        search.started = true;
        search.pattern = ZbSearchPattern(switches.searchName);
        ZbSearchIterator::Level &root = levels.emplace_back();
        root.path = search.volume.mountPoint;
        if (const long err = Zb7_PlatformOpenFolder(root.path, root.folder)) {
            levels.clear();
            return err;
        }
        if (const long err = Zb7_PlatformReadFolder(root.folder, root.entries)) {
            levels.clear();
            return err;
        }
        std::sort(root.entries.begin(), root.entries.end(), ZbCatalogOrder);
    }
    const size_t wanted = items.size() + maxItems;
    while (items.size() < wanted) {
        if (levels.empty()) return -43;
        ZbSearchIterator::Level &level = levels.back();
        if (level.next == level.entries.size()) {
            levels.pop_back();
            continue;
        }
        const ZbFolderEntry &entry = level.entries[level.next++];
        const bool isFolder = entry.kind == kZbEntryFolder;
        if (ZbSearchNameMatches(entry.name, search.pattern, switches.exactName) &&
            ZbListsEntry(level.folder.fd >= 0 ? &level.folder : nullptr, entry, switches))
            items.push_back({entry.name, ZbJoinPath(level.path, entry.name), isFolder});
        if (isFolder) {
            ZbSearchIterator::Level &child = levels.emplace_back();
            const ZbSearchIterator::Level &parent = levels[levels.size() - 2];
            child.name = parent.entries[parent.next - 1].name;
            child.path = ZbJoinPath(parent.path, child.name);
            EnterLevel(search);
        }
    }
    return 0;
}

namespace {

long Search(const fmx::DataVect &parameters, fmx::TextUniquePtr &text) {
    if (parameters.Size() < 3) return -50;
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
        if (const long err = XP7_TxtToFSSpec(*volumeText, ref, 63, 0); err != 0 && err != -43) return err;
        vRefNum = ref.vRefNum;
    }
    if (!list.files && !list.folders) return -50;
    return Zb7_BuildFileList({}, vRefNum, list, text);
}

}  // namespace

fmx::errcode ZbFile7_DoSearch(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                              fmx::Data &result) {
    fmx::TextUniquePtr text;
    if (const long err = Search(parameters, text)) {
        XP7_OSErrLToData(err, result);
        return 0;
    }
    char switches[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 0;
    XP7_GetNextCStringFromVect(parameters, switches, kZbSwitchesCapacity, &cursor, fmx::Text::kEncoding_Native);
    const unsigned long size = text->GetSize();
    if (size > 0 && !XP_HasSwitch(switches, "-ReturnAtEnd")) text->DeleteText(size - 1, 1);
    result.SetAsText(*text, parameters.At(0).GetLocale());
    return 0;
}
