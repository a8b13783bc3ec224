// Confinement of a call to folders: while a call runs confined, every item its thread reads,
// looks at or changes must lie in one of the call's folders, after links and ".." are resolved.
// The checks sit where the items are touched: in the system-call wrappers and the few reads made
// beside them. A refused touch fails with EACCES and marks the call, which then answers the
// policy error as a whole.
//
// A touch is made beneath the allowed folder: the parent of the item is opened from the folder's
// descriptor with openat2 (RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS), or without openat2 one name
// at a time with O_NOFOLLOW (the checked path is real, so it holds no link), and the operation
// acts on the item's name in that parent. A link swapped in after the check cannot lead outside.
// Only looks at the status of the folders above an allowed one are made by path.
#ifndef ZERB_PLATFORM_CONFINEMENT_H
#define ZERB_PLATFORM_CONFINEMENT_H

#include <string>
#include <vector>

#include "platform/unique_fd.h"

// The folders of one call, as real paths (no link on the way, no trailing "/").
struct ZbConfinement {
    std::vector<std::string> read;   // may be read; the write folders may be read too
    std::vector<std::string> write;  // may be changed: items made, written, renamed or removed in them
};

// How an item is touched.
enum class ZbAccess {
    look,    // its status only: allowed inside a folder, and on the folders above one
    read,    // its contents or entries
    write,   // its contents or attributes, or a new item
    remove,  // removed or renamed away: only strictly inside a write folder
};

// Confines the calling thread for the lifetime of the object (one call). A null confinement leaves
// the thread free. Scopes do not nest.
class ZbConfinedCall {
public:
    explicit ZbConfinedCall(const ZbConfinement *confinement);
    ~ZbConfinedCall();
    ZbConfinedCall(const ZbConfinedCall &) = delete;
    ZbConfinedCall &operator=(const ZbConfinedCall &) = delete;
    // Whether the call touched, or tried to touch, something outside its folders.
    bool Refused() const;

private:
    bool active_;
};

// Whether the path lies in the folder or is the folder (both real paths).
bool Zb7_PathWithin(const std::string &path, const std::string &folder);

// The item at `path` (absolute, or relative to the folder open at dirFd) resolved and checked for
// the calling thread's call. Without confinement it names the item as given. Otherwise it names
// the item's last name in its parent opened beneath the allowed folder, and `followed` says that
// a link at the end was already resolved, so the operation must not follow one (one swapped in
// since is then acted on as itself).
class ZbConfinedItem {
public:
    // False when the touch is refused (errno EACCES, the call marked) or the parent cannot be
    // opened (errno from the kernel; EACCES when a link on the way leads out).
    bool Resolve(int dirFd, const char *path, ZbAccess access, bool followLast);
    int dirFd = -1;
    const char *path = nullptr;
    bool followed = false;

private:
    ZbUniqueFd parent_;
    std::string name_;
};

// Opens `path` as openat(dirFd, path, flags, mode) would, under the thread's confinement: read
// access, or write access for flags that write, truncate or create. The item is opened beneath
// the allowed folder, never through a link at its end that was swapped in after the check. -1
// with errno on failure or refusal.
int Zb7_ConfinedOpen(int dirFd, const char *path, int flags, unsigned mode = 0);

// For walks, which leave out what the call may not see instead of being refused: where the item
// at an absolute path lies for a confinement (its last name not followed).
enum class ZbPlace { outside, above, inside };
ZbPlace Zb7_ConfinementPlace(const ZbConfinement &confinement, const std::string &path);
// The calling thread's confinement, null when it runs free: for a walk to hand to its helpers.
const ZbConfinement *Zb7_CurrentConfinement();

#endif
