// FileSpecToFullPath, FullPathToFileSpec, FindFolder, GetPathTo and SetDefaultFileSpec: the
// path model as functions of the calculation.
#include <string>

#include "filecore/fsspec.h"
#include "filecore/paths.h"
#include "platform/errors.h"
#include "platform/file_system.h"
#include "platform/system_folders.h"
#include "core/globals.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "text/encoding.h"

namespace {

// Reads the switches (and, as every function does, their encoding switch, which these ignore).
void ReadSwitches(const fmx::DataVect &parameters, char (&switches)[kZbSwitchesCapacity], unsigned long *cursor) {
    XP7_GetNextCStringFromVect(parameters, switches, kZbSwitchesCapacity, cursor, fmx::Text::kEncoding_Native);
    XP7_GetEncodingSwitch(switches, fmx::Text::kEncoding_Native);
}

// The answer for an item: its reference text or its colon path, as text read in `encoding`.
void SetItemResult(const FSSpec &ref, bool referenceText, fmx::Text::Encoding encoding, fmx::Data &result) {
    std::string text;
    long err = 0;
    if (referenceText)
        Zb7_Mac_FSSpecToCStr(ref, text);
    else
        err = Zb7_FSSpecToFullPathCStr(ref, text, kZbPathBufferSize, true);
    if (err)
        XP7_OSErrLToData(err, result);
    else
        XP7_CStrToData(text.c_str(), result, encoding);
}

// The answer for a folder or application the plug-in looked up: the reference text with
// "-ReturnFSSpec", else the colon path, both read as Mac OS Roman bytes as these functions have
// always answered.
void SetFoundItemResult(const FSSpec &ref, const char *switches, fmx::Data &result) {
    SetItemResult(ref, XP_HasSwitch(switches, "-ReturnFSSpec"), fmx::Text::kEncoding_ASCII_Mac, result);
}

// The reference of a folder itself (its id, an empty name), from its path. It answers the
// folder's real path: a folder reached through a symbolic link is still a folder.
long FolderRefOfPath(const std::string &path, FSSpec &ref) {
    short vRefNum = 0;
    int32_t folderId = 0;
    if (const long err = Zb7_FolderIdOfPath(path, vRefNum, folderId)) return err;
    ZbSetFSSpec(ref, vRefNum, folderId, {});
    return 0;
}

// Reads the switches and the path parameter, and resolves the path (names of at most 63 bytes).
long ResolvePathParameter(const fmx::DataVect &parameters, fmx::TextUniquePtr &path, FSSpec &ref) {
    char switches[kZbSwitchesCapacity] = "";
    unsigned long cursor = 0;
    ReadSwitches(parameters, switches, &cursor);
    XP7_GetNextTxtFromVect(parameters, path, &cursor);
    return XP7_TxtToFSSpec(*path, ref, kZbShortNameLength, 0);
}

// FileSpecToFullPath and FullPathToFileSpec: resolve the path parameter, then answer one of its
// texts. An error text given as the path comes back unchanged.
fmx::errcode ConvertPathParameter(const fmx::DataVect &parameters, fmx::Data &result, bool toReferenceText) {
    fmx::TextUniquePtr path;
    FSSpec ref;
    const long err = ResolvePathParameter(parameters, path, ref);
    if (err == kZbErrPathIsErrorText)
        result.SetAsText(*path, parameters.At(0).GetLocale());
    else if (err)
        XP7_OSErrLToData(err, result);
    else
        SetItemResult(ref, toReferenceText, fmx::Text::kEncoding_UTF8, result);
    return 0;
}

struct ZbFolderKeyword {
    const char *word;
    uint32_t kind;
};
// In the order they are tested: the first present wins, wherever it stands in the switches.
constexpr ZbFolderKeyword kFolderKeywords[] = {
    {"desktop", ZbFourCharCode("desk")},       {"system", ZbFourCharCode("macs")},
    {"trash", ZbFourCharCode("trsh")},         {"startup", ZbFourCharCode("strt")},
    {"shutdown", ZbFourCharCode("shdf")},      {"applemenu", ZbFourCharCode("amnu")},
    {"controlpanels", ZbFourCharCode("ctrl")}, {"extensions", ZbFourCharCode("extn")},
    {"preferences", ZbFourCharCode("pref")},   {"temporary", ZbFourCharCode("temp")},
    {"root", ZbFourCharCode("root")},
};

// The name of the file the calculation runs in, from the host; empty when the host has none.
bool HostHasCurrentFile(const fmx::ExprEnv &env) {
    fmx::TextUniquePtr expression;
    expression->Assign("Get ( FileName )", fmx::Text::kEncoding_ASCII_Mac);
    fmx::DataUniquePtr value;
    return env.Evaluate(*expression, *value) == 0 && value->GetAsText().GetSize() > 0;
}

}  // namespace

fmx::errcode ZbFile7_DoFileSpecToFullPath(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                          const fmx::DataVect &parameters, fmx::Data &result) {
    return ConvertPathParameter(parameters, result, false);
}

fmx::errcode ZbFile7_DoFullPathToFileSpec(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                          const fmx::DataVect &parameters, fmx::Data &result) {
    return ConvertPathParameter(parameters, result, true);
}

fmx::errcode ZbFile7_DoFindFolder(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                  fmx::Data &result) {
    char switches[kZbSwitchesCapacity] = "";
    unsigned long cursor = 0;
    ReadSwitches(parameters, switches, &cursor);
    const ZbFolderKeyword *keyword = nullptr;
    for (const auto &k : kFolderKeywords) {
        if (XP_HasSwitch(switches, k.word)) {
            keyword = &k;
            break;
        }
    }
    if (!keyword) {
        XP7_OSErrLToData(-1, result);
        return 0;
    }
    std::string found, path;
    FSSpec ref;
    long err = Zb7_PlatformFindFolder(keyword->kind, found);
    if (err == 0) err = Zb7_PlatformRealPath(found, path);  // settings may name it in any form
    if (err == 0) {
        // The root folder is named through the folder that holds it: the volume itself.
        err = keyword->kind == ZbFourCharCode("root") ? Zb7_POSIXPathToFSSpec(path, ref) : FolderRefOfPath(path, ref);
    }
    if (err)
        XP7_OSErrLToData(err, result);
    else
        SetFoundItemResult(ref, switches, result);
    return 0;
}

fmx::errcode ZbFile7_DoGetPathTo(short /*functionId*/, const fmx::ExprEnv &env, const fmx::DataVect &parameters,
                                 fmx::Data &result) {
    if (parameters.Size() == 0) {
        XP7_OSErrLToData(kParamErr, result);
        return 0;
    }
    char switches[kZbSwitchesCapacity] = "";
    unsigned long cursor = 0;
    ReadSwitches(parameters, switches, &cursor);
    const bool fileName = XP_HasSwitch(switches, "currentFileName");
    const bool application = XP_HasSwitch(switches, "currentApplication");
    const bool appFolder = XP_HasSwitch(switches, "currentAppFolder");
    if (fileName + application + appFolder != 1) {
        XP7_OSErrLToData(kParamErr, result);
        return 0;
    }
    if (fileName) {
        // The plug-in holds no database handle, so the host must know the current file.
        long err = kZbErrNotAvailable;
        if (HostHasCurrentFile(env)) {
            char name[kZbSwitchesCapacity] = "";
            char number[kZbSwitchesCapacity] = "";
            XP7_GetNextCStringFromVect(parameters, name, sizeof name, &cursor, fmx::Text::kEncoding_Native);
            XP7_GetNextCStringFromVect(parameters, number, sizeof number, &cursor, fmx::Text::kEncoding_Native);
            err = name[0] == 0 || number[0] == 0 ? kParamErr : kZbErrNoPathForFileName;
        }
        XP7_OSErrLToData(err, result);
        return 0;
    }
    std::string path;
    FSSpec ref;
    long err = Zb7_PlatformApplicationPath(path);
    if (err == 0) {
        err = appFolder ? FolderRefOfPath(ZbFolderOfPath(path), ref)
                        : Zb7_POSIXPathToFSSpec(path, ref);
    }
    if (err)
        XP7_OSErrLToData(err == kDirNFErr ? kFnfErr : err, result);
    else
        SetFoundItemResult(ref, switches, result);
    return 0;
}

fmx::errcode ZbFile7_DoSetDefaultFileSpec(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                          const fmx::DataVect &parameters, fmx::Data &result) {
    if (parameters.Size() == 0) {
        XP7_OSErrLToData(kParamErr, result);
        return 0;
    }
    fmx::TextUniquePtr path;
    FSSpec ref;
    const long err = ResolvePathParameter(parameters, path, ref);
    {
        // Kept whatever the outcome: a failed call replaces the earlier default file too.
        ZbFrameLock lock(gFrameMutex);
        gDefaultFSSpec = std::move(ref);
    }
    XP7_OSErrLToData(err, result);
    return 0;
}
