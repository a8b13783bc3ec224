// A file's data fork (the file itself; its resource fork is an extended attribute, see
// file_attributes.h), opened for reading or for reading and writing. Contents follow a symbolic
// link to the file it names. The file is never created here.
#ifndef ZERB_PLATFORM_FORKS_H
#define ZERB_PLATFORM_FORKS_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/finder_info.h"
#include "platform/unique_fd.h"

// An open fork; closed when it goes out of scope.
struct ZbFork : ZbUniqueFd {
    // A file made by Zb7_PlatformOpenNewFile where the file system has no unnamed files: the
    // name it already has, removed again if it is never put in place.
    std::string temporaryPath;
};

// -43 for a missing file, -1302 for a folder or anything else that is not a regular file (a
// named pipe, a device, a socket), which is never waited for.
[[nodiscard]] long Zb7_PlatformOpenDataFork(const std::string &path, bool write, ZbFork &fork);
[[nodiscard]] long Zb7_PlatformForkSize(const ZbFork &fork, int64_t &size);
[[nodiscard]] long Zb7_PlatformSetForkSize(const ZbFork &fork, int64_t size);
// Reads up to count bytes at offset; `actual` is less only at the end of the fork.
[[nodiscard]] long Zb7_PlatformReadFork(const ZbFork &fork, int64_t offset, void *buffer, size_t count, size_t &actual);
// Writes all count bytes at offset.
[[nodiscard]] long Zb7_PlatformWriteFork(const ZbFork &fork, int64_t offset, const void *data, size_t count);
// Tells the system that the cached pages of a range will not be read again, so that their memory
// goes back at once: for contents that are being replaced. The file is unchanged.
void Zb7_PlatformReleaseForkCache(const ZbFork &fork, int64_t offset, size_t count);

// New contents are built in a new file and put in place only when complete, so that a failure or
// a crash at any moment leaves the old contents or the new ones whole, never a mix.
//
// A new file in `folder` (the same file system as what it will replace), open for writing and
// without a name while the system allows it; else named `temporaryName` (-48 when that is taken).
[[nodiscard]] long Zb7_PlatformOpenNewFile(const std::string &folder, const std::string &temporaryName, ZbFork &fork);
// Puts the new file in the place of the file at `path`: it takes that file's permissions,
// ownership where allowed, extended attributes and creation date, is named `temporaryName`
// beside it and exchanged with it in one step, and the old contents go with the temporary name.
// Where the file system cannot exchange, the new file is renamed over the old one.
[[nodiscard]] long Zb7_PlatformReplaceWith(ZbFork &fork, const std::string &path, const std::string &temporaryName);
// Gives the new file the permissions of a newly created file, its Finder information (unless all
// zero; a file system without extended attributes does without) and the name `name` in `folder`,
// never replacing anything (-48).
[[nodiscard]] long Zb7_PlatformNameNewFile(ZbFork &fork, const std::string &folder, const std::string &name,
                                           const ZbFinderInfo &info);
// Gives the new file an extended attribute (a file system without them does without).
[[nodiscard]] long Zb7_PlatformSetNewFileAttribute(ZbFork &fork, const char *name, const std::string &value);
// Removes a new file that is not to be put in place (nothing to do for one without a name).
void Zb7_PlatformDiscardNewFile(ZbFork &fork);

// Closes the fork of contents that have just been replaced and lost their last name. Closing a
// large one frees all its blocks, which can wait on the file system's journal for a fifth of a
// second a gigabyte; such a fork goes to a thread that closes it in the background, so that the
// call answers without that wait. Nothing of the file is reachable by then.
void Zb7_PlatformCloseReplaced(ZbFork &fork);
// Waits until every fork handed to the background is closed, and ends its thread: at shut-down,
// before the plug-in's code may go away.
void Zb7_PlatformFinishBackgroundCloses();

#endif
