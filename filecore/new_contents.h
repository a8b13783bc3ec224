// New contents for a file, made in a new file beside their place and put there only when whole:
// in place (the new file takes the old one's place in one exchange, keeping its permissions,
// ownership and extended attributes) or under a new name that must not exist yet.
#ifndef ZERB_FILECORE_NEW_CONTENTS_H
#define ZERB_FILECORE_NEW_CONTENTS_H

#include <string>

#include "filecore/fsspec.h"
#include "platform/finder_info.h"
#include "platform/forks.h"
#include "fmx/fmx.h"

struct ZbNewContents {
    bool inPlace = true;
    std::string sourcePath;
    std::string folder, name;  // where a separate destination goes
    std::string temporaryName;
    ZbFork fork;               // the new file, open for writing
    bool finished = false;     // put in place or discarded by Zb7_FinishNewContents

    ZbNewContents() = default;
    ZbNewContents(const ZbNewContents &) = delete;
    ZbNewContents &operator=(const ZbNewContents &) = delete;
    // Contents never finished (an exception between the beginning and the end, such as the
    // host's failing allocation) are discarded: the file made for them does not stay, named or not.
    ~ZbNewContents();
};

// Opens the file whose contents are to be read and rewritten. Contents follow a symbolic link: a
// link is resolved here, once, and `path` becomes the path of the file it leads to, which is read
// from and, in place, replaced, so that the link stays a link. -1302 for a folder or anything else
// that is not a file.
[[nodiscard]] long Zb7_OpenContentsSource(const FSSpec &ref, std::string &path, ZbFork &source);

// Starts new contents for the file at sourcePath (as Zb7_OpenContentsSource gave it): in place
// when destination is empty or the source's own text, else at the path the destination text
// names (-48 when something is there).
[[nodiscard]] long Zb7_BeginNewContents(const std::string &sourcePath, const fmx::Text &sourceText,
                                        const fmx::Text &destination, ZbNewContents &contents);
// Puts the new contents in place after a step that answered err (0: success), or removes them.
// A separate destination gets `info` as its Finder information. The answer is err or the error
// of putting them in place.
[[nodiscard]] long Zb7_FinishNewContents(ZbNewContents &contents, long err, const ZbFinderInfo &info);

#endif
