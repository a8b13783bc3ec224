// Path texts to file references and back.
//
// Three syntaxes name an item:
//   colon path      Volume:folder:sub:name, volume first; a folder's path ends in ":". A "/" in a
//                   component stands for a ":" in the name on disk, and "::" goes up one folder.
//   POSIX path      /home/ann/name; also behind the host's prefixes "file:" and "filelinux:". The
//                   host's "filemac:/Volume/folder/name" is read as the colon path it spells.
//   reference text  ":" volume ":" parent folder id ":" name, as Zb7_Mac_FSSpecToCStr writes it.
// Paths the plug-in produces are colon paths in UTF-8, starting with the volume's name.
#ifndef ZERB_FILECORE_PATHS_H
#define ZERB_FILECORE_PATHS_H

#include <string>
#include <string_view>

#include "filecore/fsspec.h"
#include "platform/volumes.h"
#include "fmx/fmx.h"
#include "core/params.h"

// Encoding modes of the path routines: kZbPathUTF8 takes and gives UTF-8; any other mode takes
// and gives Mac OS Roman bytes.
constexpr short kZbPathUTF8 = 2;
// Size of the buffers paths are read into and produced in.
constexpr size_t kZbPathBufferSize = 2000;
// Reference text: the name is appended to its folder's path only while the whole stays within this.
constexpr size_t kZbRefTextPathLimit = 1998;
// Longest path ZbMoreX_FSSpecToFullPath produces, whatever the caller allows.
constexpr size_t kZbFullPathLimit = 5000;

// Parses a path text (any of the three syntaxes) into a reference. The last name may be at most
// maxNameLength bytes. 0 on success. A missing item whose folder exists answers -43 with the
// reference filled in (the reference of an item yet to be made); other failures leave it cleared.
[[nodiscard]] long ZbPi_CStrToFSpec(std::string_view path, short encodingMode, size_t maxNameLength, FSSpec *ref);

// The reference of the folder that is to hold an item, and the item's name (which need not
// exist), for paths of items to be made.
[[nodiscard]] long Zb7_CStrToParentFSSpecAndFileName(std::string_view path, short encodingMode, size_t maxNameLength,
                                                     FSSpec *parent, std::string &name);

// The folder that is to hold a new item and the new item's name (as it is on disk), from a path
// in any syntax: the name is the last component in the path's own syntax (after the last ":" of a
// colon path, the last "/" of a POSIX path or one of the host's forms, the name field of
// reference text). -37 for a path text longer than 2000 bytes; -50 when the path has no folder
// part, or the name is empty, "." or "..", or longer than 255 bytes; the folder's own errors
// otherwise.
[[nodiscard]] long Zb7_NewItemFolderAndName(const fmx::Text &path, FSSpec &folder, std::string &name);

// A host text to a reference: the text as UTF-8 (at most 2000 bytes: -37 for a longer one), or,
// when that names nothing at all, as Mac OS Roman bytes. -4299 for a text that begins "$$" (an
// error result of another function), with no file-system call. `flag` is not used.
[[nodiscard]] long XP7_TxtToFSSpec(const fmx::Text &text, FSSpec &ref, size_t maxNameLength, short flag);

// The same, for functions that act on the item and never show the reference: the reference holds
// the item's path, name and what the item is, but its volume and folder id only where the path's
// syntax needed them (a POSIX path is looked up without the folder table). Errors as above.
[[nodiscard]] long XP7_TxtToItem(const fmx::Text &text, FSSpec &ref, size_t maxNameLength);

// The start the file functions share: the switches (up to 2000 bytes, their encoding switch read
// and, by these functions, ignored) and the path parameter; the cursor is left after the path.
// False when the call has fewer than two parameters.
bool Zb7_ReadSwitchesAndPath(const fmx::DataVect &parameters, char (&switches)[kZbSwitchesCapacity + 1],
                             fmx::TextUniquePtr &path, unsigned long &cursor);
// The same for a handler that reads no further parameter.
inline bool Zb7_ReadSwitchesAndPath(const fmx::DataVect &parameters, char (&switches)[kZbSwitchesCapacity + 1],
                                    fmx::TextUniquePtr &path) {
    unsigned long cursor = 0;
    return Zb7_ReadSwitchesAndPath(parameters, switches, path, cursor);
}
// A path parameter's text as bytes in `encoding` (UTF-8 or Mac OS Roman). A path is read as at
// most 2000 bytes, and a longer one is refused with -37 rather than cut: the cut text would name
// another item (a folder above the one meant, say).
[[nodiscard]] long Zb7_ReadPathText(const fmx::Text &text, fmx::Text::Encoding encoding, std::string &out);

// The colon path of the item (direct) or of the item's folder with the item's name appended (not
// direct: the item need not exist). -207 when it would pass maxLength bytes.
[[nodiscard]] long Zb7_FSSpecToFullPathCStr(const FSSpec &ref, std::string &out, size_t maxLength, bool direct);
// The colon path of an existing item; a folder's ends in ":".
[[nodiscard]] long ZbMoreX_FSSpecToFullPath(const FSSpec &ref, short encodingMode,
                                            const std::string &startupNameAndColon, std::string &out, size_t maxLength);
// An absolute path on the given volume as a colon path.
[[nodiscard]] long ZbMoreX_ConvertUnixPathToHFSPath(const std::string &posix, short encodingMode,
                                                    const std::string &startupNameAndColon, const ZbVolume &volume,
                                                    std::string &out, size_t maxLength);
// A colon path as a POSIX path, byte for byte: the volume's name becomes its mount point, and ":"
// and "/" change places. A volume of that name that is not mounted is looked for in /Volumes.
void Zb7_POSIXPathFromFullPath(std::string_view colonPath, std::string &out, short preferredVolume = 0);

// The first component of a colon path with ":" appended.
void Zb7_GetVolumeName(std::string_view path, std::string &volumeName);
// The reference of a volume given by its name (with or without the ":"); -35 when none is mounted.
[[nodiscard]] long Zb7_VolumeNameToFSpec(std::string_view volumeName, FSSpec *ref, short preferredVolume = 0);

// One trailing separator added or removed: an empty text is left alone, an existing separator is
// not doubled, and only one is removed. On host texts a POSIX path (beginning "/") takes "/" as
// its separator; a colon path takes ":" (a "\" ends a path of the other platform).
void Zb7_CheckAndAddEndColon(std::string &path);
void Zb7_CheckAndRemoveEndColon(std::string &path);
void Zb7_CheckAndAddEndBackSlash(std::string &path);
void Zb7_CheckAndRemoveEndSeparatorTxt(fmx::TextUniquePtr &path);
void Zb7_CheckForEndColonOrBackSlashTxt(fmx::TextUniquePtr &path);

// Makes the reference denote what the symbolic link it names points to (followed to the end).
[[nodiscard]] long Zb7_MyResolveAliasFile(FSSpec *ref);

// Makes a new empty file "ZERBTMP" and the current date-time in seconds, beside the item `near`
// (so on the same file system), typed and created "trsh". -48 when that name is taken.
[[nodiscard]] long Zb7_PrepareTempFile(const FSSpec *near, FSSpec *temp);

#endif
