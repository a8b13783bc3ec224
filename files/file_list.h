// The file-list builder shared by ListFolder, Search and ListDisks: items fetched 100 at a time
// and written one line each, ended by a return.
#ifndef ZERB_FILES_FILE_LIST_H
#define ZERB_FILES_FILE_LIST_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "filecore/fsspec.h"
#include "platform/folder_reader.h"
#include "fmx/fmx.h"

// The list switches, filled by the handler from its switch text.
struct FLswitchTag {
    bool files = false;
    bool folders = false;
    bool showpointdirs = false;  // accepted; it changes nothing
    bool showinvisibles = false;
    bool showaliases = false;
    short mode = 1;  // 0 search, 1 folder listing, 2 mounted volumes
    // Search only: the whole name must equal the search name, and the name looked for.
    bool exactName = false;
    std::string searchName;
    bool longnames = false;
};
constexpr short kZbListSearch = 0, kZbListFolder = 1, kZbListVolumes = 2;
constexpr size_t kZbListBatch = 100;

// The switch words every list function reads (each a case-blind substring of the switch text).
FLswitchTag Zb7_ReadListSwitches(const char *switches);

// One item of a batch: its name as it is on disk (a volume's: its volume name, with a ":" of the
// mount point's name already shown as "/"), and for Search its absolute path.
struct ZbListItem {
    std::string name;
    std::string path;
    bool isFolder = false;
};

// The order of entries in a listing: letters A to Z compared without regard to case, then bytes.
bool ZbCatalogOrder(const ZbFolderEntry &a, const ZbFolderEntry &b);
// The positions of the entries in catalog order, and the entries put in that order: the same
// order as ZbCatalogOrder, found faster.
std::vector<uint32_t> ZbCatalogPermutation(const std::vector<ZbFolderEntry> &entries);
void ZbSortEntries(std::vector<ZbFolderEntry> &entries);

// Whether the switches list an entry: a folder with "folders", a file (a symbolic link is an
// alias file) with "files"; invisible items (a name beginning with "." or the invisible Finder
// flag) only with "showinvisibles", alias files (links, or the alias Finder flag) only with
// "showaliases". ZbEntryNeedsFlags tells whether the answer depends on the entry's Finder flags,
// which are read only then.
bool ZbEntryNeedsFlags(const ZbFolderEntry &entry, const FLswitchTag &switches);
bool ZbListsEntry(const ZbFolderEntry &entry, const FLswitchTag &switches, uint16_t finderFlags);

// One folder's entries as a listing reads them, in catalog order: read and sorted once, at the
// first fetch, then served by index.
struct ZbFolderCatalog {
    std::string path;  // the folder's absolute path
    ZbFolderHandle folder;
    std::vector<ZbFolderEntry> entries;
    std::vector<uint16_t> finderFlags;  // by entry, where the switches need them
    bool read = false;
};

// The next entries of the folder from *index on (1 is the first), kept by the switches until
// maxItems are kept; the index moves past every entry read. -43 once the folder has no more
// entries; -50 for an index below 1; -120 when the path is not a folder.
[[nodiscard]] long Zb7_Mac_GetDirItems(ZbFolderCatalog &catalog, const FLswitchTag &switches,
                                       std::vector<ZbListItem> &items, size_t maxItems, size_t *index);

// Appends the item's line: its name (mode 1 and 2) or its full path (mode 0), and a return (0x0D).
// Lines go into `bytes`, UTF-8 with "longnames" and Mac OS Roman without; totalLength counts the
// names' bytes.
[[nodiscard]] long Zb7_AddFileLine(const ZbListItem &item, const FLswitchTag &switches, std::string &bytes,
                                   size_t *totalLength);

// Builds the whole list for the switches' mode: the folder at `folderPath` (mode 1), the search
// of the volume `vRefNum` (mode 0), or the mounted volumes (mode 2). The first error ends the
// build and is the answer; the list is then not set.
[[nodiscard]] long Zb7_BuildFileList(const std::string &folderPath, short vRefNum, const FLswitchTag &switches,
                                     fmx::TextUniquePtr &text);

// Removes the list's last character, the return after its last line, unless the switches hold
// "-ReturnAtEnd".
void Zb7_DropFinalReturn(const char *switches, fmx::TextUniquePtr &text);

#endif
