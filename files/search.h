// Search: items found by name through one volume's whole folder tree.
#ifndef ZERB_FILES_SEARCH_H
#define ZERB_FILES_SEARCH_H

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>
#include <string>
#include <vector>

#include "files/file_list.h"
#include "platform/confinement.h"
#include "platform/folder_reader.h"
#include "platform/volumes.h"

// The walk of one Search, kept by the call between its batches: depth first, each folder's
// entries in catalog order, a folder's own line before its contents. Symbolic links are items,
// never followed; a folder of another mount is an item, never entered; a folder that cannot be
// read is an item whose contents are skipped. A confined call's walk leaves out what lies outside
// its folders. A level holds its folder open while the walk is
// less than kZbSearchOpenLevels deep; deeper folders are reached again from the deepest one held.
//
// The folders at the top of the volume are walked as tasks, in order, by the calling thread and
// one helper thread, each taking the next task nobody has taken; their matches are handed out in
// the volume's order, so the answer is the one a single thread gives.
constexpr size_t kZbSearchOpenLevels = 256;

struct ZbSearchLevel {
    std::string name;  // the folder's name in the one above; empty for the volume's root
    std::string path;  // its absolute path
    ZbFolderHandle folder;
    std::vector<ZbFolderEntry> entries;
    size_t next = 0;
    // For a confined call: whether the folder lies inside an allowed one; if not, its entries are
    // only those inside one or folders above one, and `shown` says which are inside.
    bool inside = true;
    std::vector<bool> shown;
    bool Shows(size_t index) const { return inside || shown[index]; }
};

struct ZbSearchIterator {
    ZbVolume volume;
    // A confined call's search sees only what lies inside its folders, and walks the folders above
    // them only to reach them (taken from the calling thread when the walk starts).
    const ZbConfinement *confinement = nullptr;
    bool countOnly = false;  // count matches (files, folders) instead of listing them
    uint64_t files = 0, folders = 0;

    // The rest is the walk's own.
    struct Task {
        std::vector<ZbListItem> items;
        uint64_t files = 0, folders = 0;
        bool done = false, failed = false;
    };
    bool started = false;
    FLswitchTag switches;
    std::string pattern;  // the search name, prepared as names are when compared
    ZbSearchLevel root;
    size_t rootNext = 0;
    std::vector<Task> tasks;         // one per entry of the root (used for its folders)
    std::atomic<size_t> claimed{0};  // tasks below this index have been taken
    std::atomic<bool> stop{false};
    std::mutex mutex;
    std::condition_variable finished;
    std::thread helper;
    size_t serving = SIZE_MAX, served = 0;  // the task whose items are being handed out
    ~ZbSearchIterator();
};

// Whether a name matches the search name (already prepared by ZbSearchPattern): equal with
// exactName, else containing it; ASCII letters without regard to case, and names in either
// Unicode form alike.
std::string ZbSearchPattern(const std::string &searchName);
bool ZbSearchNameMatches(const std::string &name, const std::string &pattern, bool exactName);

// The next matches, at most maxItems, appended to items (with countOnly: counted instead). 0 while
// the walk goes on; -43 when it has ended (the matches of that last batch are still appended); an
// error of the volume's root.
[[nodiscard]] long Zb7_Mac_NameFileSearchXBetter(ZbSearchIterator &search, const FLswitchTag &switches,
                                                 std::vector<ZbListItem> &items, size_t maxItems);

#endif
