#include "filecore/new_contents.h"

#include "filecore/fsspec.h"
#include "filecore/paths.h"
#include "platform/errors.h"
#include "platform/file_attributes.h"
#include "platform/file_system.h"

long Zb7_OpenContentsSource(const FSSpec &ref, std::string &path, ZbFork &source) {
    ZbItemInfo info;
    if (const long err = Zb7_FSSpecToItemInfo(ref, path, info)) return err;
    if (info.isLink) {
        std::string target;
        if (const long err = Zb7_PlatformRealPath(path, target)) return err == kDirNFErr ? kFnfErr : err;  // a dangling link
        path = std::move(target);
    }
    return Zb7_PlatformOpenDataFork(path, false, source);
}

long Zb7_BeginNewContents(const std::string &sourcePath, const fmx::Text &sourceText, const fmx::Text &destination,
                          ZbNewContents &contents) {
    contents.sourcePath = sourcePath;
    contents.inPlace = destination.GetSize() == 0 || destination == sourceText;
    contents.temporaryName = "ZERBTMP" + std::to_string(Zb7_PlatformCurrentDateTime());
    if (contents.inPlace) {
        contents.folder = ZbFolderOfPath(sourcePath);
    } else {
        FSSpec folderRef;
        if (const long err = Zb7_NewItemFolderAndName(destination, folderRef, contents.name))
            return err;
        if (const long err = Zb7_FSSpecToPOSIXPath(folderRef, contents.folder)) return err;
        ZbItemInfo existing;
        if (Zb7_PlatformGetItemInfo(ZbJoinPath(contents.folder, contents.name), existing) == 0) return kDupFNErr;
    }
    return Zb7_PlatformOpenNewFile(contents.folder, contents.temporaryName, contents.fork);
}

ZbNewContents::~ZbNewContents() {
    if (!finished) Zb7_PlatformDiscardNewFile(fork);
}

long Zb7_FinishNewContents(ZbNewContents &contents, long err, const ZbFinderInfo &info) {
    if (err == 0 && contents.inPlace) err = Zb7_PlatformReplaceWith(contents.fork, contents.sourcePath, contents.temporaryName);
    if (err == 0 && !contents.inPlace) err = Zb7_PlatformNameNewFile(contents.fork, contents.folder, contents.name, info);
    if (err) Zb7_PlatformDiscardNewFile(contents.fork);
    contents.finished = true;
    return err;
}
