// Search: items found by name through one volume's whole folder tree.
#ifndef ZERB_FILES_SEARCH_H
#define ZERB_FILES_SEARCH_H

#include <cstddef>
#include <string>
#include <vector>

#include "files/file_list.h"
#include "platform/folder_reader.h"
#include "platform/volumes.h"

// The walk of one Search, kept by the call between its batches: depth first, each folder's
// entries in catalog order, a folder's own line before its contents. Symbolic links are items,
// never followed; a folder of another mount is an item, never entered; a folder that cannot be
// read is an item whose contents are skipped. Each level holds its folder open while the walk is
// less than kZbSearchOpenLevels deep; deeper folders are reached again from the deepest one held.
constexpr size_t kZbSearchOpenLevels = 256;

struct ZbSearchIterator {
    struct Level {
        std::string name;  // the folder's name in the one above; empty for the volume's root
        std::string path;  // its absolute path
        ZbFolderHandle folder;
        std::vector<ZbFolderEntry> entries;
        size_t next = 0;
    };
    ZbVolume volume;
    std::vector<Level> levels;
    bool started = false;
    std::string pattern;  // the search name, lowered and decomposed as names are when compared
};

// Whether a name matches the search name (already prepared by ZbSearchPattern): equal with
// exactName, else containing it; ASCII letters without regard to case, and names in either
// Unicode form alike.
std::string ZbSearchPattern(const std::string &searchName);
bool ZbSearchNameMatches(const std::string &name, const std::string &pattern, bool exactName);

// The next matches, at most maxItems, appended to items. 0 while the walk goes on; -43 when it
// has ended (the matches of that last batch are still appended); an error of the volume's root.
long Zb7_Mac_NameFileSearchXBetter(ZbSearchIterator &search, const FLswitchTag &switches,
                                   std::vector<ZbListItem> &items, size_t maxItems);

#endif
