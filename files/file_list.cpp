#include "files/file_list.h"

#include <algorithm>
#include <cstring>
#include <system_error>
#include <thread>

#include "filecore/paths.h"
#include "files/search.h"
#include "platform/errors.h"
#include "platform/finder_info.h"
#include "platform/volumes.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "text/charsets.h"
#include "text/encoding.h"
#include "text/unicode_forms.h"

FLswitchTag Zb7_ReadListSwitches(const char *switches) {
    FLswitchTag s;
    s.files = XP_HasSwitch(switches, "files");
    s.folders = XP_HasSwitch(switches, "folders");
    s.showpointdirs = XP_HasSwitch(switches, "showpointdirs");
    s.showinvisibles = XP_HasSwitch(switches, "showinvisibles");
    s.showaliases = XP_HasSwitch(switches, "showaliases") || XP_HasSwitch(switches, "showshortcuts");
    s.longnames = XP_HasSwitch(switches, "longnames");
    return s;
}

namespace {

// A name or path as the line shows it: UTF-8 with longnames (bytes that are not UTF-8 are read
// as Mac OS Roman), else Mac OS Roman ("^" for a character it lacks). Mac OS Roman has composed
// letters only, so a name stored decomposed (as names copied from a Mac often are: "e" and a
// combining acute accent) is composed first and keeps its accents.
void AppendInLineEncoding(std::string_view text, bool longnames, std::string &bytes) {
    const bool utf8 = ZbIsUTF8(text);
    if (longnames && utf8) {
        bytes.append(text);
        return;
    }
    if (longnames) {
        bytes += ZbMacRomanToUTF8(text);
        return;
    }
    std::string s(utf8 ? ZbUTF8ToNFC(text) : std::string(text));
    if (utf8) {
        s.push_back('\0');
        (void)ZbMoreX_UTF8StrToMacRomanCStr(s.data(), long(s.size()));  // a name that does not convert stays as it is
    }
    bytes.append(s.c_str());
}

}  // namespace

bool ZbCatalogOrder(const ZbFolderEntry &a, const ZbFolderEntry &b) {
    const size_t n = std::min(a.name.size(), b.name.size());
    const auto *x = reinterpret_cast<const unsigned char *>(a.name.data());
    const auto *y = reinterpret_cast<const unsigned char *>(b.name.data());
    size_t i = 0;
    while (i < n && x[i] == y[i]) ++i;  // equal bytes are equal letters: most names part here
    for (; i < n; ++i) {
        const unsigned char p = ZbLowerAscii(x[i]), q = ZbLowerAscii(y[i]);
        if (p != q) return p < q;
    }
    if (a.name.size() != b.name.size()) return a.name.size() < b.name.size();
    return a.name < b.name;
}

bool ZbEntryNeedsFlags(const ZbFolderEntry &entry, const FLswitchTag &switches) {
    if (entry.kind == kZbEntryFolder ? !switches.folders : !switches.files) return false;
    const bool invisible = entry.name[0] == '.', alias = entry.kind == kZbEntryLink;
    if ((invisible && !switches.showinvisibles) || (alias && !switches.showaliases)) return false;
    return !switches.showinvisibles || !switches.showaliases;
}

bool ZbListsEntry(const ZbFolderEntry &entry, const FLswitchTag &switches, uint16_t finderFlags) {
    if (entry.kind == kZbEntryFolder ? !switches.folders : !switches.files) return false;
    const bool invisible = entry.name[0] == '.' || (finderFlags & kZbFinderFlagInvisible);
    const bool alias = entry.kind == kZbEntryLink || (finderFlags & kZbFinderFlagAlias);
    return (switches.showinvisibles || !invisible) && (switches.showaliases || !alias);
}

std::vector<uint32_t> ZbCatalogPermutation(const std::vector<ZbFolderEntry> &entries) {
    // Each name's first sixteen folded bytes as two numbers (zeros after a shorter name, which no
    // name contains) order the names as the folded bytes do: most comparisons end there.
    struct Keyed {
        uint64_t high, low;
        uint32_t index;
    };
    std::vector<Keyed> keyed(entries.size());
    for (uint32_t i = 0; i < keyed.size(); ++i) {
        const std::string &name = entries[i].name;
        uint64_t key[2] = {0, 0};
        for (size_t b = 0; b < 16; ++b)
            key[b / 8] = key[b / 8] << 8 | (b < name.size() ? ZbLowerAscii(static_cast<unsigned char>(name[b])) : 0);
        keyed[i] = {key[0], key[1], i};
    }
    std::sort(keyed.begin(), keyed.end(), [&](const Keyed &a, const Keyed &b) {
        if (a.high != b.high) return a.high < b.high;
        if (a.low != b.low) return a.low < b.low;
        return ZbCatalogOrder(entries[a.index], entries[b.index]);
    });
    std::vector<uint32_t> order(keyed.size());
    for (size_t i = 0; i < keyed.size(); ++i) order[i] = keyed[i].index;
    return order;
}

void ZbSortEntries(std::vector<ZbFolderEntry> &entries) {
    const std::vector<uint32_t> order = ZbCatalogPermutation(entries);
    std::vector<ZbFolderEntry> sorted(entries.size());
    for (size_t i = 0; i < order.size(); ++i) sorted[i] = std::move(entries[order[i]]);
    entries = std::move(sorted);
}

namespace {

// Reads the folder and puts it in catalog order, with the Finder flags of the entries the
// switches need them for. Each flag read is a system call of its own: in a large folder a second
// thread reads a share of them while this one sorts the names, then reads the rest.
long ReadCatalog(ZbFolderCatalog &catalog, const FLswitchTag &switches) {
    if (const long err = Zb7_PlatformOpenFolder(catalog.path, catalog.folder)) return err;
    std::vector<ZbFolderEntry> entries;
    if (const long err = Zb7_PlatformReadFolder(catalog.folder, entries)) return err;
    std::vector<std::pair<uint64_t, uint32_t>> wanted;  // inode and entry
    for (uint32_t i = 0; i < entries.size(); ++i)
        if (ZbEntryNeedsFlags(entries[i], switches)) wanted.emplace_back(entries[i].inode, i);
    std::sort(wanted.begin(), wanted.end());
    std::vector<uint16_t> flags(entries.size(), 0);
    const auto read = [&](const ZbFolderHandle &folder, size_t from, size_t to) {
        for (size_t k = from; k < to; ++k)
            flags[wanted[k].second] = Zb7_PlatformFinderFlagsAt(folder, entries[wanted[k].second].name);
    };
    constexpr size_t kShared = 2000;  // below this a second thread costs more than it saves
    std::thread helper;
    ZbFolderHandle second;
    size_t share = 0;  // the helper's: more than half, as this thread sorts first
    if (wanted.size() >= kShared && std::thread::hardware_concurrency() > 1 &&
        Zb7_PlatformDuplicateFolder(catalog.folder, second) == 0) {
        try {
            share = wanted.size() * 3 / 5;
            helper = std::thread(read, std::cref(second), 0, share);
        } catch (const std::system_error &) {
            share = 0;  // no thread: all read here
        }
    }
    std::vector<uint32_t> order;
    try {
        order = ZbCatalogPermutation(entries);
        read(catalog.folder, share, wanted.size());
    } catch (...) {
        if (helper.joinable()) helper.join();
        throw;
    }
    if (helper.joinable()) helper.join();
    catalog.entries.resize(entries.size());
    catalog.finderFlags.resize(entries.size());
    for (size_t i = 0; i < order.size(); ++i) {
        catalog.entries[i] = std::move(entries[order[i]]);
        catalog.finderFlags[i] = flags[order[i]];
    }
    return 0;
}

}  // namespace

long Zb7_Mac_GetDirItems(ZbFolderCatalog &catalog, const FLswitchTag &switches, std::vector<ZbListItem> &items,
                         size_t maxItems, size_t *index) {
    if (*index < 1) return kParamErr;
    if (!catalog.read) {
        if (const long err = ReadCatalog(catalog, switches)) return err;
        catalog.read = true;
    }
    size_t kept = 0;
    for (; kept < maxItems; ++*index) {
        if (*index > catalog.entries.size()) return kFnfErr;
        const ZbFolderEntry &entry = catalog.entries[*index - 1];
        if (!ZbListsEntry(entry, switches, catalog.finderFlags[*index - 1])) continue;
        items.push_back({entry.name, {}, entry.kind == kZbEntryFolder});
        ++kept;
    }
    return 0;
}

long Zb7_AddFileLine(const ZbListItem &item, const FLswitchTag &switches, std::string &bytes, size_t *totalLength) {
    const size_t start = bytes.size();
    if (switches.mode == kZbListSearch) {
        // The item's colon path; a folder's ends in ":".
        ZbVolume volume;
        Zb7_PlatformVolumeOfPath(item.path, volume);
        std::string path;
        if (const long err = ZbMoreX_ConvertUnixPathToHFSPath(item.path, kZbPathUTF8,
                                                              Zb7_PlatformStartupVolumeName() + ":", volume, path,
                                                              switches.longnames ? kZbPathBufferSize : kZbFullPathLimit))
            return err;
        if (item.isFolder) path += ':';
        AppendInLineEncoding(path, switches.longnames, bytes);
        if (!switches.longnames && bytes.size() - start >= 2 && bytes.compare(bytes.size() - 2, 2, "::") == 0)
            bytes.pop_back();
    } else if (switches.mode == kZbListVolumes) {
        AppendInLineEncoding(item.name, switches.longnames, bytes);  // already as colon paths show it
    } else {
        AppendInLineEncoding(ZbSwapColonsAndSlashes(item.name), switches.longnames, bytes);
    }
    *totalLength += bytes.size() - start;
    bytes.push_back('\r');
    return 0;
}

long Zb7_BuildFileList(const std::string &folderPath, short vRefNum, const FLswitchTag &switches,
                       fmx::TextUniquePtr &text) {
    std::vector<ZbListItem> batch;
    batch.reserve(kZbListBatch);
    std::string bytes;
    size_t totalLength = 0;
    ZbFolderCatalog catalog;
    catalog.path = folderPath;
    size_t index = 1;
    ZbSearchIterator search;
    if (switches.mode == kZbListSearch && !Zb7_PlatformVolumeByNumber(vRefNum, search.volume)) return kNsvErr;
    std::vector<ZbVolume> volumes;
    if (switches.mode == kZbListVolumes) volumes = Zb7_PlatformListVolumes();
    size_t nextVolume = 0;
    long fetched = 0;
    do {
        batch.clear();
        if (switches.mode == kZbListFolder) {
            fetched = Zb7_Mac_GetDirItems(catalog, switches, batch, kZbListBatch, &index);
        } else if (switches.mode == kZbListSearch) {
            fetched = Zb7_Mac_NameFileSearchXBetter(search, switches, batch, kZbListBatch);
        } else {
            for (; batch.size() < kZbListBatch && nextVolume < volumes.size(); ++nextVolume)
                batch.push_back({volumes[nextVolume].name, volumes[nextVolume].mountPoint, true});
            fetched = nextVolume < volumes.size() ? kNoErr : kFnfErr;
        }
        if (fetched != 0 && fetched != kFnfErr) return fetched;
        for (const ZbListItem &item : batch)
            if (const long err = Zb7_AddFileLine(item, switches, bytes, &totalLength)) return err;
    } while (fetched == 0);
    fmx::TextUniquePtr empty;
    text->SetText(*empty);
    XP7_BlockToTxt(bytes.data(), bytes.size(), text, switches.longnames ? fmx::Text::kEncoding_UTF8
                                                                        : fmx::Text::kEncoding_ASCII_Mac, 0);
    return 0;
}

void Zb7_DropFinalReturn(const char *switches, fmx::TextUniquePtr &text) {
    const unsigned long size = text->GetSize();
    if (size > 0 && !XP_HasSwitch(switches, "-ReturnAtEnd")) text->DeleteText(size - 1, 1);
}

namespace {

long ListFolder(const fmx::DataVect &parameters, fmx::TextUniquePtr &text) {
    char switches[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 0;
    fmx::TextUniquePtr folderText;
    if (!Zb7_ReadSwitchesAndPath(parameters, switches, folderText, cursor)) return kParamErr;
    Zb7_CheckForEndColonOrBackSlashTxt(folderText);
    FSSpec ref;
    if (const long err = XP7_TxtToFSSpec(*folderText, ref, kZbMaxNameLength, 0)) return err;
    FLswitchTag list = Zb7_ReadListSwitches(switches);
    list.mode = kZbListFolder;
    if (!list.files && !list.folders) return kParamErr;
    std::string path;
    if (const long err = Zb7_FSSpecToPOSIXPath(ref, path)) return err;
    if (const long err = Zb7_BuildFileList(path, 0, list, text)) return err;
    Zb7_DropFinalReturn(switches, text);
    return 0;
}

}  // namespace

fmx::errcode ZbFile7_DoListFolder(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                  fmx::Data &result) {
    fmx::TextUniquePtr text;
    XP7_TxtOrErrorToData(ListFolder(parameters, text), text, parameters, result);
    return 0;
}

fmx::errcode ZbFile7_DoListDisks(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                 fmx::Data &result) {
    char switches[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 0;
    XP7_GetNextCStringFromVect(parameters, switches, sizeof switches, &cursor, fmx::Text::kEncoding_Native);
    FLswitchTag list;
    list.mode = kZbListVolumes;
    fmx::TextUniquePtr text;
    if (const long err = Zb7_BuildFileList({}, 0, list, text)) {
        XP7_OSErrLToData(err, result);
        return 0;
    }
    Zb7_DropFinalReturn(switches, text);
    result.SetAsText(*text, parameters.At(0).GetLocale());
    return 0;
}
