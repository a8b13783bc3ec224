// CopyFile, MoveFile and CopyFolder: an item copied or moved to a new place under a name given in
// full by the caller. Nothing is ever overwritten, and a copy is whole or absent.
#include <string>

#include "filecore/fsspec.h"
#include "filecore/paths.h"
#include "platform/errors.h"
#include "platform/file_attributes.h"
#include "platform/file_tree.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"

namespace {

// Both handlers: resolve the source, find the destination's folder and name, then copy or move.
long CopyOrMove(short functionId, const fmx::DataVect &parameters, bool folderHandler) {
    if (parameters.Size() < 3) return kParamErr;
    char switches[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 0;
    fmx::TextUniquePtr sourceText, destinationText;
    Zb7_ReadSwitchesAndPath(parameters, switches, sourceText, cursor);
    XP7_GetNextTxtFromVect(parameters, destinationText, &cursor);

    FSSpec sourceRef;
    std::string source;
    if (const long err = XP7_TxtToItem(*sourceText, sourceRef, kZbMaxNameLength)) return err;
    ZbItemInfo info;
    if (const long err = Zb7_FSSpecToItemInfo(sourceRef, source, info)) return err;
    if (folderHandler) {
        if (!info.isFolder) return kNotAFolderErr;
        Zb7_CheckAndRemoveEndSeparatorTxt(destinationText);
    }
    FSSpec folderRef;
    std::string folder, name;
    if (const long err = Zb7_NewItemFolderAndName(*destinationText, folderRef, name)) return err;
    if (const long err = Zb7_FSSpecToPOSIXPath(folderRef, folder)) return err;

    const bool copy = folderHandler ? functionId == kZbFnCopyFolder : functionId == kZbFnCopyFile;
    if (!copy) return Zb7_PlatformMoveItem(source, folder, name);
    // The classic copy takes single files only; the copy is made the same safe way.
    if (!folderHandler && XP_HasSwitch(switches, "-UseClassicCopyFunction") && info.isFolder) return kNotAFileErr;
    return Zb7_PlatformCopyItem(source, folder, name);
}

}  // namespace

fmx::errcode ZbFile7_DoCopyFile_DoMoveFile(short functionId, const fmx::ExprEnv & /*env*/,
                                           const fmx::DataVect &parameters, fmx::Data &result) {
    XP7_OSErrLToData(CopyOrMove(functionId, parameters, false), result);
    return 0;
}

fmx::errcode ZbFile7_DoCopyFolder_DoMoveFolder(short functionId, const fmx::ExprEnv & /*env*/,
                                               const fmx::DataVect &parameters, fmx::Data &result) {
    XP7_OSErrLToData(CopyOrMove(functionId, parameters, true), result);
    return 0;
}
