// SelectFileDialog, SelectFolderDialog, SaveFileDialog and ContentsDialog: the user picks an item.
#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "filecore/fork_io.h"
#include "filecore/fsspec.h"
#include "filecore/paths.h"
#include "platform/dialogs.h"
#include "platform/errors.h"
#include "platform/finder_info.h"
#include "platform/forks.h"
#include "core/globals.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "text/encoding.h"
#include "text/line_ends.h"

namespace {

constexpr const char *kDefaultPrompt = "Select a file.";
// The chosen items' texts are gathered in a buffer of this size and handed to the result text
// whenever the gathered length passes kCollectionFlush.
constexpr size_t kCollectionLimit = 29999;
constexpr size_t kCollectionFlush = 28000;
// How much of a file without a type is read to tell whether it looks like text.
constexpr size_t kTextSniffBytes = 4096;

// Whether the start of the file reads as text: no zero byte, and control characters other than tab,
// line ends, form feed and escape are rare. An empty file counts as text.
bool LooksLikeText(const std::string &path) {
    ZbFork fork;
    if (Zb7_PlatformOpenDataFork(path, false, fork) != 0) return false;
    unsigned char bytes[kTextSniffBytes];
    size_t count = 0;
    if (Zb7_PlatformReadFork(fork, 0, bytes, sizeof bytes, count) != 0) return false;
    if (std::memchr(bytes, 0, count)) return false;
    const size_t controls = size_t(std::count_if(bytes, bytes + count, [](unsigned char c) {
        return (c < 0x20 && c != '\t' && c != '\n' && c != '\r' && c != '\f' && c != 0x1B) || c == 0x7F;
    }));
    return controls * 20 <= count;  // at most 5 %
}

// Whether the default type list lets the user choose the file: its type (from its Finder
// information) is in the list, or it has none, the list holds "TEXT" and the file looks like text.
bool PassesTypeFilter(const std::string &path, const std::vector<uint32_t> &types) {
    ZbFinderInfo info;
    (void)Zb7_PlatformGetFinderInfo(path, info);  // an item without Finder information reads as zeros
    if (info.Type() != 0) return std::find(types.begin(), types.end(), info.Type()) != types.end();
    return std::find(types.begin(), types.end(), ZbFourCharCode("TEXT")) != types.end() && LooksLikeText(path);
}

// The default type list; empty when it filters nothing (no list, or a count below 1).
std::vector<uint32_t> DefaultTypeFilter() {
    ZbFrameLock lock(gFrameMutex);
    if (!gDefaultFTypeListPtr || gNumTypes < 1) return {};
    return {gDefaultFTypeListPtr->begin(), gDefaultFTypeListPtr->begin() + std::min<int>(gNumTypes, kMaxDefaultTypes)};
}

std::string FolderOf(const std::string &path) {
    const size_t slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Runs a dialog of the kind: applies the implied switches, the options and the default location,
// shows it and answers the POSIX paths chosen. A choose-file dialog only takes files the default
// type list allows: chosen files it refuses are left out, and when none is left the dialog opens
// again where the user was.
long Zb7_DoNavDialog(std::string switches, int kind, const std::string &location, const std::string &prompt,
                     const std::string &defaultName, std::vector<std::string> &chosen) {
    const std::vector<uint32_t> types = kind == kZbDialogChooseFile ? DefaultTypeFilter() : std::vector<uint32_t>{};
    if (kind == kZbDialogChooseFile && types.empty() && !XP_HasSwitch(switches.c_str(), "-HideInvisibles"))
        switches += "-ShowInvisibles";
    if (kind == kZbDialogChooseFolder) switches += "-selectDefault";

    ZbFileDialogRequest request;
    request.kind = kind;
    request.showInvisibles = XP_HasSwitch(switches.c_str(), "-ShowInvisibles");
    request.multiple = XP_HasSwitch(switches.c_str(), "-AllowMultipleFiles");
    request.defaultName = defaultName;
    {
        ZbFrameLock lock(gFrameMutex);
        request.title = prompt;
    }
    // A default location that does not parse is ignored. A file as the location opens its folder,
    // with the file selected when "-selectDefault" asks for the location itself; a save dialog
    // opens in the file's folder.
    FSSpec ref;
    std::string locationPath;
    ZbItemInfo info;
    if (!location.empty() && ZbPi_CStrToFSpec(location, kZbPathUTF8, kZbShortNameLength, &ref) == 0 &&
        Zb7_FSSpecToItemInfo(ref, locationPath, info) == 0) {
        const bool selectFile = !info.isFolder && kind != kZbDialogPutFile && XP_HasSwitch(switches.c_str(), "-selectDefault");
        request.location = info.isFolder || selectFile ? locationPath : FolderOf(locationPath);
        request.locationIsFile = selectFile;
    }
    for (;;) {
        if (const long err = Zb7_PlatformFileDialog(request, chosen)) return err;
        if (types.empty()) return 0;
        const std::string where = FolderOf(chosen.front());
        std::erase_if(chosen, [&](const std::string &path) { return !PassesTypeFilter(path, types); });
        if (!chosen.empty()) return 0;
        request.location = where;
        request.locationIsFile = false;
    }
}

// The text of a chosen item: its reference text with "-ReturnFSSpec", else its colon path.
long ItemText(const std::string &posixPath, bool referenceText, std::string &text) {
    FSSpec ref;
    if (const long err = Zb7_POSIXPathToFSSpec(posixPath, ref)) return err;
    if (!referenceText) return Zb7_FSSpecToFullPathCStr(ref, text, kZbPathBufferSize, true);
    Zb7_Mac_FSSpecToCStr(ref, text);
    return 0;
}

// The open-file dialog: the chosen files' texts joined by returns (only the first unless
// "-AllowMultipleFiles"), appended to the result text in the encoding.
long XP7_FileSpecDialogToTxt(const std::string &switches, const std::string &prompt, const std::string &location,
                             ZbTextEncoding encoding, fmx::TextUniquePtr &result) {
    std::vector<std::string> chosen;
    if (const long err = Zb7_DoNavDialog(switches, kZbDialogChooseFile, location, prompt, {}, chosen)) return err;
    if (chosen.size() > 1 && !XP_HasSwitch(switches.c_str(), "-AllowMultipleFiles")) chosen.resize(1);
    const bool referenceText = XP_HasSwitch(switches.c_str(), "-ReturnFSSpec");
    std::string buffer, item;
    size_t total = 0;
    for (size_t k = 0; k < chosen.size(); ++k) {
        if (const long err = ItemText(chosen[k], referenceText, item)) return err;
        // An item that would not fit is dropped; its length counts all the same.
        if (total + item.size() + 1 < kCollectionLimit) {
            if (k > 0) buffer += '\r';
            buffer += item;
        }
        total += item.size() + 1;
        if (total > kCollectionFlush || k + 1 == chosen.size()) {
            XP7_AppendCStrToTxt(buffer.c_str(), result, encoding);
            buffer.clear();
            total = 0;
        }
    }
    return 0;
}

// Switches, prompt and default location as the dialogs read them: 8-bit strings of at most 2000
// bytes in the host's Native encoding.
std::string NextNativeString(const fmx::DataVect &parameters, unsigned long &cursor,
                             fmx::Text::Encoding encoding = fmx::Text::kEncoding_Native) {
    char buffer[kZbSwitchesCapacity + 1] = "";
    XP7_GetNextCStringFromVect(parameters, buffer, sizeof buffer, &cursor, encoding);
    return buffer;
}

long SelectFileDialog(const fmx::DataVect &parameters, fmx::TextUniquePtr &text) {
    if (parameters.Size() < 2) return kParamErr;
    unsigned long cursor = 0;
    const std::string switches = NextNativeString(parameters, cursor);
    std::string prompt = NextNativeString(parameters, cursor);
    const std::string location = NextNativeString(parameters, cursor);
    if (prompt.empty()) prompt = kDefaultPrompt;
    return XP7_FileSpecDialogToTxt(switches, prompt, location, fmx::Text::kEncoding_UTF8, text);
}

long SelectFolderDialog(const fmx::DataVect &parameters, std::string &answer) {
    if (parameters.Size() < 2) return kParamErr;
    unsigned long cursor = 0;
    const std::string switches = NextNativeString(parameters, cursor);
    const std::string prompt = NextNativeString(parameters, cursor);
    const std::string location = NextNativeString(parameters, cursor);
    std::vector<std::string> chosen;
    if (const long err = Zb7_DoNavDialog(switches, kZbDialogChooseFolder, location, prompt, {}, chosen)) return err;
    return ItemText(chosen.front(), XP_HasSwitch(switches.c_str(), "-ReturnFSSpec"), answer);
}

// The folder chosen to save in and the name typed: the folder's colon path (ending in ":") or, with
// "-ReturnFSSpec", the reference text of the folder itself, followed by the name. Nothing is
// created, and an existing item of that name is not looked at.
long SaveFileDialog(const fmx::DataVect &parameters, std::string &answer) {
    if (parameters.Size() < 2) return kParamErr;
    unsigned long cursor = 0;
    const std::string switches = NextNativeString(parameters, cursor);
    std::string prompt = NextNativeString(parameters, cursor, fmx::Text::kEncoding_UTF8);
    const std::string defaultName = NextNativeString(parameters, cursor, fmx::Text::kEncoding_UTF8);
    const std::string location = NextNativeString(parameters, cursor);
    if (prompt.empty()) prompt = kDefaultPrompt;
    std::vector<std::string> chosen;
    if (const long err = Zb7_DoNavDialog(switches, kZbDialogPutFile, location, prompt, defaultName, chosen)) return err;
    const std::string &path = chosen.front();
    const std::string folder = FolderOf(path);
    std::string name = path.substr(path.rfind('/') + 1).substr(0, kZbSwitchesCapacity);
    FSSpec ref;
    if (XP_HasSwitch(switches.c_str(), "-ReturnFSSpec")) {
        short vRefNum = 0;
        int32_t folderId = 0;
        if (const long err = Zb7_FolderIdOfPath(folder, vRefNum, folderId)) return err;
        ZbSetFSSpec(ref, vRefNum, folderId, {});
        Zb7_Mac_FSSpecToCStr(ref, answer);
    } else {
        if (const long err = Zb7_POSIXPathToFSSpec(folder, ref)) return err;
        if (const long err = Zb7_FSSpecToFullPathCStr(ref, answer, kZbPathBufferSize, true)) return err;
        // In a colon path a ":" of a name on disk is written "/".
        std::replace(name.begin(), name.end(), ':', '/');
    }
    answer += name;
    return 0;
}

// The chosen file's whole contents in the encoding.
long ContentsDialog(const fmx::DataVect &parameters, fmx::TextUniquePtr &text) {
    unsigned long cursor = 0;
    const std::string switches = NextNativeString(parameters, cursor);
    const ZbTextEncoding encoding = XP7_GetEncodingSwitch(switches.c_str(), fmx::Text::kEncoding_Native);
    std::string prompt = NextNativeString(parameters, cursor);
    const std::string location = NextNativeString(parameters, cursor);
    if (prompt.empty()) prompt = kDefaultPrompt;
    std::vector<std::string> chosen;
    if (const long err = Zb7_DoNavDialog(switches, kZbDialogChooseFile, location, prompt, {}, chosen)) return err;
    std::string colonPath;
    if (const long err = ItemText(chosen.front(), false, colonPath)) return err;
    FSSpec ref;
    if (const long err = ZbPi_CStrToFSpec(colonPath, kZbPathUTF8, kZbShortNameLength, &ref)) return err;
    if (const long err = XP7_ReadFileToTxt(ref, 0, kZbToTheEnd, encoding, text)) return err;
    if (XP_HasSwitch(switches.c_str(), "-ConvertToFMPLinebreaks")) XP7_ChangeLineEndsTxt(text, kZbLineEndsToHost);
    return 0;
}

// A path answer (UTF-8), or the error text.
void PathOrErrorToData(long err, const std::string &answer, fmx::Data &result) {
    if (err)
        XP7_OSErrLToData(err, result);
    else
        XP7_CStrToData(answer.c_str(), result, fmx::Text::kEncoding_UTF8);
}

}  // namespace

fmx::errcode ZbFile7_DoSelectFileDialog(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                        const fmx::DataVect &parameters, fmx::Data &result) {
    fmx::TextUniquePtr text;
    XP7_TxtOrErrorToData(SelectFileDialog(parameters, text), text, parameters, result);
    return 0;
}

fmx::errcode ZbFile7_DoSelectFolderDialog(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                          const fmx::DataVect &parameters, fmx::Data &result) {
    std::string answer;
    PathOrErrorToData(SelectFolderDialog(parameters, answer), answer, result);
    return 0;
}

fmx::errcode ZbFile7_DoSaveFileDialog(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                      const fmx::DataVect &parameters, fmx::Data &result) {
    std::string answer;
    PathOrErrorToData(SaveFileDialog(parameters, answer), answer, result);
    return 0;
}

fmx::errcode ZbFile7_DoContentsDialog(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                      const fmx::DataVect &parameters, fmx::Data &result) {
    fmx::TextUniquePtr text;
    XP7_TxtOrErrorToData(ContentsDialog(parameters, text), text, parameters, result);
    return 0;
}
