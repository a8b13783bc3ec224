// CreateFile, CreateFolder, DeleteFile and DeleteFolder.
#include <string>

#include "filecore/fsspec.h"
#include "filecore/paths.h"
#include "platform/dialogs.h"
#include "platform/errors.h"
#include "platform/file_attributes.h"
#include "platform/file_tree.h"
#include "platform/finder_info.h"
#include "core/globals.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"

namespace {

// The new item's folder as a POSIX path, and its name.
long NewItemPlace(const fmx::TextUniquePtr &path, std::string &folder, std::string &name) {
    FSSpec parent;
    if (const long err = Zb7_NewItemFolderAndName(*path, parent, name)) return err;
    return Zb7_FSSpecToPOSIXPath(parent, folder);
}

// The item a path names, as a POSIX path, and what it is.
long ExistingItem(const fmx::TextUniquePtr &path, std::string &posix, ZbItemInfo &info) {
    FSSpec ref;
    if (const long err = XP7_TxtToItem(*path, ref, kZbMaxNameLength)) return err;
    return Zb7_FSSpecToItemInfo(ref, posix, info);
}

long CreateFile(const fmx::DataVect &parameters) {
    char switches[kZbSwitchesCapacity + 1] = "";
    fmx::TextUniquePtr path;
    if (!Zb7_ReadSwitchesAndPath(parameters, switches, path)) return kParamErr;
    ZbFinderInfo info;
    {
        ZbFrameLock lock(gFrameMutex);
        if (!XP_HasSwitch(switches, "-NoFileType") && gDefaultFTypeListPtr && gNumTypes != 0)
            info.SetType((*gDefaultFTypeListPtr)[0]);
        if (!XP_HasSwitch(switches, "-NoCreator")) info.SetCreator(gDefaultCreator);
    }
    std::string folder, name;
    if (const long err = NewItemPlace(path, folder, name)) return err;
    return Zb7_PlatformCreateFile(folder, name, info);
}

long CreateFolder(const fmx::DataVect &parameters) {
    char switches[kZbSwitchesCapacity + 1] = "";
    fmx::TextUniquePtr path;
    if (!Zb7_ReadSwitchesAndPath(parameters, switches, path)) return kParamErr;
    Zb7_CheckAndRemoveEndSeparatorTxt(path);  // a folder's path may end in its separator
    std::string folder, name;
    if (const long err = NewItemPlace(path, folder, name)) return err;
    return Zb7_PlatformCreateFolder(folder, name);
}

long DeleteFile(const fmx::DataVect &parameters) {
    char switches[kZbSwitchesCapacity + 1] = "";
    fmx::TextUniquePtr path;
    if (!Zb7_ReadSwitchesAndPath(parameters, switches, path)) return kParamErr;
    std::string posix;
    ZbItemInfo info;
    if (const long err = ExistingItem(path, posix, info)) return err;
    return Zb7_PlatformDeleteItem(posix);
}

long DeleteFolder(const fmx::DataVect &parameters) {
    char switches[kZbSwitchesCapacity + 1] = "";
    fmx::TextUniquePtr path;
    if (!Zb7_ReadSwitchesAndPath(parameters, switches, path)) return kParamErr;
    const bool deleteAll = XP_HasSwitch(switches, "-deleteAllSubFoldersAndAllContents");
    const bool warn = !XP_HasSwitch(switches, "noWarning");
    if (path->GetSize() == 0) return kParamErr;
    std::string posix;
    ZbItemInfo info;
    if (const long err = ExistingItem(path, posix, info)) return err == kFnfErr ? kBdNamErr : err;
    if (!info.isFolder) return kDirNFErr;  // a file, or a link to a folder
    if (!deleteAll) return Zb7_PlatformDeleteItem(posix);
    if (warn) {
        const std::string name = posix.substr(posix.rfind('/') + 1);
        const std::string message = "Do you really want to delete the folder \"" + name +
                                    "\" and its contents? All its files and subdirectories will be deleted. "
                                    "This can not be undone.";
        if (!Zb7_PlatformConfirmDelete(message)) return kGeneralErr;
    }
    return Zb7_PlatformDeleteTree(posix);
}

}  // namespace

fmx::errcode ZbFile7_DoCreateFile(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                  fmx::Data &result) {
    XP7_OSErrLToData(CreateFile(parameters), result);
    return 0;
}

fmx::errcode ZbFile7_DoCreateFolder(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                    const fmx::DataVect &parameters, fmx::Data &result) {
    XP7_OSErrLToData(CreateFolder(parameters), result);
    return 0;
}

fmx::errcode ZbFile7_DoDeleteFile(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                  fmx::Data &result) {
    XP7_OSErrLToData(DeleteFile(parameters), result);
    return 0;
}

fmx::errcode ZbFile7_DoDeleteFolder(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                    const fmx::DataVect &parameters, fmx::Data &result) {
    XP7_OSErrLToData(DeleteFolder(parameters), result);
    return 0;
}
