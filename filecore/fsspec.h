// The file reference every function works with, and the folder ids behind it.
//
// A reference names an item by its volume, the id of the folder that holds it, and its name. An
// empty name makes it denote that folder itself. A volume's root folder has id 2 and is held by
// the folder of id 1, so a volume itself is (volume, 1, volume name). Any other folder's id is its
// inode number when that lies in 3 .. 2^31-1 and the folder is on the same file system as its
// volume's root (inode numbers are unique there), else a negative number given out here. A
// process-wide table maps (volume, folder id) to the folder's real path (no symbolic link on the
// way) and to what identifies the folder: device, inode and birth. Every reference made or
// resolved enters its folder; a folder reached through a link is entered as itself, on its own
// volume. Resolving an id checks that the folder at the path is still that folder, so a folder
// moved away, or deleted and followed by another under the same inode number, answers -120. The
// table is bounded: the folders used longest ago are forgotten first, and a reference naming a
// forgotten or unknown folder gives -120; a forgotten folder's id is given to no other folder.
//
// Names are held as colon paths show them: a ":" in a file name appears as "/" (and a "/" of a
// name in a colon path stands for ":" on disk).
#ifndef ZERB_FILECORE_FSSPEC_H
#define ZERB_FILECORE_FSSPEC_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/file_attributes.h"

constexpr int32_t kZbRootParentID = 1;  // the folder that holds a volume's root folder
constexpr int32_t kZbRootFolderID = 2;  // a volume's root folder
constexpr size_t kZbMaxNameLength = 255;
// The longest name the functions that keep the original's short names take (Exists, the sizes,
// dates and attributes, GetContents, the path functions, the dialogs, Search's volume).
constexpr size_t kZbShortNameLength = 63;

struct FSSpec {
    short vRefNum = 0;
    int32_t parID = 0;
    std::string name;  // up to 255 bytes, never shortened
    // The item's absolute path when the reference was made from one; empty otherwise. Whoever
    // changes the three fields above clears it (ZbSetFSSpec does).
    std::string path;
    // What the item was when the reference was resolved from that path, if it was looked at: the
    // functions of one call use it instead of asking the file system again.
    std::optional<ZbItemInfo> info;
};

// The reference chosen by SetDefaultFileSpec; read and written under gFrameMutex.
extern FSSpec gDefaultFSSpec;

// Copies volume, parent and name (and the cached path, which belongs to them).
void XP7_FSSpecToFSSpec(const FSSpec &from, FSSpec &to);
void ZbSetFSSpec(FSSpec &ref, short vRefNum, int32_t parID, std::string_view name);
void ZbClearFSSpec(FSSpec &ref);
bool ZbIsClearedFSSpec(const FSSpec &ref);

// The reference text: ":" volume ":" parent id ":" name, numbers in signed decimal.
void Zb7_Mac_FSSpecToCStr(const FSSpec &ref, std::string &out);

// The folder that holds the item at an absolute path ("/" for an item at the top), and a path
// made of a folder's and a name.
std::string ZbFolderOfPath(const std::string &path);
std::string ZbJoinPath(const std::string &folder, std::string_view name);

// A name as it is on disk and as colon paths show it: ":" and "/" change places.
std::string ZbSwapColonsAndSlashes(std::string_view name);

// The reference of the item at an absolute path that is already free of "//", "." and ".." and
// has no trailing "/". The item need not exist; the folder holding it must (-120 otherwise).
// `info`, when given, is what the item at the path was just found to be; the reference keeps it.
[[nodiscard]] long Zb7_POSIXPathToFSSpec(const std::string &path, FSSpec &ref, const ZbItemInfo *info = nullptr);

// The item's path and what it is: from the reference's resolution when it looked at the item,
// else from the file system now.
[[nodiscard]] long Zb7_FSSpecToItemInfo(const FSSpec &ref, std::string &path, ZbItemInfo &info);

// The absolute path of the item a reference denotes; the item need not exist. -35 for a volume
// that is not mounted, -120 for an unknown folder id or a folder that is no longer where it was.
[[nodiscard]] long Zb7_FSSpecToPOSIXPath(const FSSpec &ref, std::string &path);

// The volume and id of the folder at an absolute, clean path (entering it into the table), and
// the other way round. -120 when the folder does not exist.
[[nodiscard]] long Zb7_FolderIdOfPath(const std::string &path, short &vRefNum, int32_t &folderId);
[[nodiscard]] long Zb7_PathOfFolderId(short vRefNum, int32_t folderId, std::string &path);

// Test hooks: how many folders the table holds, and a smaller bound for it (0: the default).
size_t ZbFolderTableSize();
void ZbSetFolderTableLimit(size_t limit);

#endif
