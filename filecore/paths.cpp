#include "filecore/paths.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/errors.h"
#include "platform/file_system.h"
#include "platform/finder_info.h"
#include "core/globals.h"
#include "core/params.h"
#include "text/charsets.h"
#include "text/encoding.h"
#include "text/unicode_forms.h"

namespace {

std::string StartupNameAndColon() {
    ZbFrameLock lock(gFrameMutex);
    return gStartupDiskNameAndColon;
}

bool AliasWorkAroundOn() {
    ZbFrameLock lock(gFrameMutex);
    return gAliasBugWorkAround;
}

bool HasNonASCII(std::string_view s) {
    return std::any_of(s.begin(), s.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

bool StartsWithIgnoringCase(std::string_view s, std::string_view prefix) {
    return s.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), s.begin(), [](char a, char b) {
               return XP_LowerChar(static_cast<unsigned char>(a)) == XP_LowerChar(static_cast<unsigned char>(b));
           });
}

// Reads the host's path forms: "filemac:/Volume/folder/name" is the colon path it spells; a POSIX
// path, alone or behind "file:" or "filelinux:", is answered in `posix`; anything else is a colon
// path, answered in `colon`.
void ReadPathForm(std::string_view text, std::string &colon, std::string_view &posix) {
    colon.clear();
    posix = {};
    if (StartsWithIgnoringCase(text, "filemac:/"))
        colon = ZbSwapColonsAndSlashes(text.substr(9));
    else if (StartsWithIgnoringCase(text, "filelinux:/"))
        posix = text.substr(10);
    else if (StartsWithIgnoringCase(text, "file:/"))
        posix = text.substr(5);
    else if (!text.empty() && text[0] == '/')
        posix = text;
    else
        colon.assign(text);
}

// An absolute path without "//", "." and "..": ".." takes back the component before it, as the
// path reads (a symbolic link before it is not followed first). folderMarked tells whether the
// text ended in a way that asks for a folder ("/", "/." or "/..").
void CleanPOSIXPath(std::string_view in, std::string &out, bool &folderMarked) {
    out.assign("/");
    folderMarked = false;
    size_t i = 0;
    while (i < in.size()) {
        while (i < in.size() && in[i] == '/') ++i;
        if (i == in.size()) {
            folderMarked = in.size() > 1;
            break;
        }
        const size_t end = std::min(in.find('/', i), in.size());
        const std::string_view component = in.substr(i, end - i);
        i = end;
        if (component == "." || component == "..") {
            if (component == ".." && out.size() > 1) out.erase(std::max<size_t>(out.rfind('/'), 1));
            folderMarked = i == in.size();
            continue;
        }
        if (out.size() > 1) out += '/';
        out += component;
        folderMarked = false;
    }
}

// The POSIX path a colon path maps to through the volume table. The colon path's first component
// names the volume; "::" goes up one folder, as it does in colon paths.
long ColonPathToPOSIX(std::string_view colon, short preferredVolume, std::string &posix, bool &folderMarked) {
    const size_t firstColon = colon.find(':');
    ZbVolume volume;
    if (!Zb7_PlatformVolumeByName(colon.substr(0, firstColon), volume, preferredVolume)) return kNsvErr;
    std::string raw = volume.mountPoint;
    if (firstColon != std::string_view::npos) {
        std::string_view rest = colon.substr(firstColon + 1);
        if (!rest.empty() && rest.back() == ':') rest.remove_suffix(1);  // the folder mark
        size_t i = 0;
        while (!rest.empty() && i <= rest.size()) {
            const size_t end = std::min(rest.find(':', i), rest.size());
            const std::string_view component = rest.substr(i, end - i);
            raw += '/';
            raw += component.empty() ? std::string("..") : ZbSwapColonsAndSlashes(component);
            i = end + 1;
        }
    }
    bool marked;
    CleanPOSIXPath(raw, posix, marked);
    folderMarked = marked || firstColon == std::string_view::npos || colon.back() == ':';
    return 0;
}

// The name in a folder that spells `name` with the same characters in the other Unicode form
// (composed or decomposed), or "" when there is none.
std::string NameInOtherForm(const std::string &folder, std::string_view name) {
    std::vector<std::string> names;
    if (Zb7_PlatformListNames(folder, names) != 0) return {};
    const std::string wanted = ZbUTF8ToNFD(name);
    for (const std::string &candidate : names)
        if (candidate != name && HasNonASCII(candidate) && ZbUTF8ToNFD(candidate) == wanted) return candidate;
    return {};
}

// Looks a name up in a folder (a symbolic link itself, not what it points to); a non-ASCII name
// that is missing is looked for in the other Unicode form. Answers the path of what was found,
// else the path asked for, with the look-up's error in `err`.
std::string LookUpInFolder(const std::string &folder, std::string_view name, long &err) {
    ZbNodeInfo info;
    std::string path = ZbJoinPath(folder, name);
    err = Zb7_PlatformGetNodeInfo(path, false, info);
    if (err != 0 && HasNonASCII(name)) {
        if (const std::string other = NameInOtherForm(folder, name); !other.empty()) {
            path = ZbJoinPath(folder, other);
            err = Zb7_PlatformGetNodeInfo(path, false, info);
        }
    }
    return path;
}

// A path that was not found, with each non-ASCII component replaced, from the top down, by the
// name on disk that spells it in the other Unicode form. False when nothing was replaced.
bool MatchNameForms(std::string &posix) {
    std::string fixed = "/";
    size_t i = 1;
    while (i < posix.size()) {
        const size_t end = std::min(posix.find('/', i), posix.size());
        const std::string_view component = std::string_view(posix).substr(i, end - i);
        i = end + 1;
        long err;
        fixed = HasNonASCII(component) ? LookUpInFolder(fixed, component, err) : ZbJoinPath(fixed, component);
    }
    if (fixed == posix) return false;
    posix = std::move(fixed);
    return true;
}

// Looks an item up at a clean POSIX path (the link itself, for a symbolic link). 0 with the
// reference filled; -43 with the reference filled when only the item is missing; any other
// failure leaves the reference cleared.
// With `itemOnly`, the reference gets the item's path, name and what it is, without its folder's
// id: for functions that act on the item and never show the reference.
long ResolvePOSIX(std::string posix, bool folderMarked, FSSpec &ref, bool itemOnly = false) {
    ZbClearFSSpec(ref);
    ZbItemInfo info;
    // A path marked as a folder's ("/" at the end) leads through a link to a folder: what is found
    // then is not the item the reference names, and is not kept with it.
    const bool throughLink = folderMarked && posix != "/";
    const auto lookUp = [&] { return Zb7_PlatformGetItemInfo(throughLink ? posix + "/" : posix, info); };
    long err = lookUp();
    if ((err == kFnfErr || err == kDirNFErr) && HasNonASCII(posix) && MatchNameForms(posix))
        err = lookUp();
    if (err != 0 && err != kFnfErr) return err;
    // A volume's root is named by the volume, which takes the folder table.
    if (itemOnly && posix != "/" && (err != 0 || !info.mountRoot)) {
        ref.name = ZbSwapColonsAndSlashes(std::string_view(posix).substr(posix.rfind('/') + 1));
        ref.path = posix;
        if (err == 0 && !throughLink) ref.info = info;
        return err;
    }
    if (const long made = Zb7_POSIXPathToFSSpec(posix, ref, err == 0 && !throughLink ? &info : nullptr)) {
        ZbClearFSSpec(ref);
        return made;
    }
    return err;
}

long ResolveText(std::string_view text, size_t maxNameLength, FSSpec *ref, short preferredVolume,
                 bool itemOnly = false);

// The component walk: from the volume down, each folder's reference made from its parent's, each
// name checked against the caller's maximum (all of them before anything is looked up) and each
// parent checked to be a folder. A missing last item leaves its reference filled, as the parser's
// first look-up does.
long FSpLocationFromFullPathViaParents(std::string_view text, size_t maxNameLength, FSSpec *ref,
                                       short preferredVolume) {
    ZbClearFSSpec(*ref);
    if (!text.empty() && text.back() == ':') text.remove_suffix(1);
    const size_t firstColon = text.find(':');
    std::string volumeName;
    Zb7_GetVolumeName(text, volumeName);
    std::vector<std::string_view> names;
    for (size_t i = firstColon; i != std::string_view::npos && i < text.size();) {
        const size_t end = std::min(text.find(':', i + 1), text.size());
        names.push_back(text.substr(i + 1, end - i - 1));
        i = end;
    }
    for (const std::string_view name : names)
        if (name.size() > maxNameLength) return kNameOrSegmentErr;

    FSSpec current;
    if (const long err = Zb7_VolumeNameToFSpec(volumeName, &current, preferredVolume)) return err;
    for (size_t k = 0; k < names.size(); ++k) {
        std::string folder;
        if (const long err = Zb7_FSSpecToPOSIXPath(current, folder)) return err;
        ZbNodeInfo info;
        if (const long err = Zb7_PlatformGetNodeInfo(folder, true, info)) return err;
        if (!info.isFolder) return kNotAFolderErr;
        if (names[k].empty()) return kFnfErr;

        long err;
        const std::string path = LookUpInFolder(folder, ZbSwapColonsAndSlashes(names[k]), err);
        if (const long made = Zb7_POSIXPathToFSSpec(path, current)) return made;
        if (err != 0) {
            if (k + 1 == names.size()) *ref = std::move(current);
            return err == kDirNFErr ? kFnfErr : err;
        }
    }
    *ref = std::move(current);
    return 0;
}

// A reference text: the path of the folder it names with the name appended, parsed again. The
// volume number goes along, so that of two volumes of one name the right one is found.
long ResolveReferenceText(std::string_view text, size_t maxNameLength, FSSpec *ref) {
    // Volume, folder id, and the name: everything after the third ":", colons included (they
    // separate folders when the name is appended to the folder's path).
    std::string fields[3];
    size_t at = 1;
    for (int k = 0; k < 3 && at <= text.size(); ++k) {
        const size_t end = k == 2 ? text.size() : std::min(text.find(':', at), text.size());
        fields[k].assign(text.substr(at, end - at));
        at = end + 1;
    }
    const auto vRefNum = static_cast<short>(std::strtol(fields[0].c_str(), nullptr, 10) & 0xFFFF);
    const auto parID = static_cast<int32_t>(std::strtoll(fields[1].c_str(), nullptr, 10));
    const std::string_view name = std::string_view(fields[2]).substr(0, kZbMaxNameLength);

    std::string path;
    if (parID == kZbRootParentID) {
        // The folder that holds a volume's root has no path: the name is the volume's.
        ZbVolume volume;
        if (!Zb7_PlatformVolumeByNumber(vRefNum, volume)) return kNsvErr;
        if (name.empty()) return kDirNFErr;
        path = std::string(name) + ":";
    } else {
        FSSpec folder;
        ZbSetFSSpec(folder, vRefNum, parID, {});
        if (const long err = Zb7_FSSpecToFullPathCStr(folder, path, kZbPathBufferSize, true)) return err;
        if (!name.empty() && path.size() + name.size() <= kZbRefTextPathLimit) path += name;
    }
    return ResolveText(path, maxNameLength, ref, vRefNum);
}

// Whether the path begins with the whole name of the volume it was resolved on, followed by ":".
bool PathNamesVolume(std::string_view colon, short vRefNum) {
    ZbVolume volume;
    if (!Zb7_PlatformVolumeByNumber(vRefNum, volume)) return false;
    return colon.size() > volume.name.size() && colon.compare(0, volume.name.size(), volume.name) == 0 &&
           colon[volume.name.size()] == ':';
}

// Whether the item a clean path names has a name longer than the caller allows. Checked before the
// file system is asked, which would refuse a name past its own limit with another error. A
// volume's name is not held to the maximum.
bool LastNameTooLong(const std::string &posix, size_t maxNameLength) {
    if (posix.size() - posix.rfind('/') - 1 <= maxNameLength) return false;
    ZbVolume volume;
    Zb7_PlatformVolumeOfPath(posix, volume);
    return posix != volume.mountPoint;
}

// The parser behind ZbPi_CStrToFSpec, on UTF-8 text.
long ResolveText(std::string_view text, size_t maxNameLength, FSSpec *ref, short preferredVolume, bool itemOnly) {
    ZbClearFSSpec(*ref);
    if (!text.empty() && text[0] == ':') return ResolveReferenceText(text, maxNameLength, ref);

    std::string colon;
    std::string_view posixText;
    ReadPathForm(text, colon, posixText);

    std::string posix;
    bool folderMarked = false;
    bool doubtful = false;
    long err;
    if (!posixText.empty()) {
        CleanPOSIXPath(posixText, posix, folderMarked);
        if (LastNameTooLong(posix, maxNameLength)) return kNameOrSegmentErr;
        err = ResolvePOSIX(posix, folderMarked, *ref, itemOnly);
    } else {
        err = ColonPathToPOSIX(colon, preferredVolume, posix, folderMarked);
        if (err == 0 && LastNameTooLong(posix, maxNameLength)) return kNameOrSegmentErr;
        if (err == 0) err = ResolvePOSIX(posix, folderMarked, *ref);
        if (err == 0 && AliasWorkAroundOn()) doubtful = !PathNamesVolume(colon, ref->vRefNum);
        if (err != 0) {
            // The colon path read byte for byte as a POSIX path.
            std::string slash, clean;
            Zb7_POSIXPathFromFullPath(colon, slash, preferredVolume);
            bool marked;
            CleanPOSIXPath(slash, clean, marked);
            if (clean != posix) {
                FSSpec found;
                err = ResolvePOSIX(clean, marked || folderMarked, found);
                if (err == 0)
                    *ref = std::move(found);
                else if (err != kFnfErr)
                    ZbClearFSSpec(*ref);  // only a missing item leaves a reference behind
            }
        }
    }

    // A folder missing on the way, a doubtful volume, or a folder name past the file system's
    // limit (-37, which the walk answers as the caller's -92): resolve component by component.
    if (err == kDirNFErr || err == kBdNamErr || doubtful) {
        if (colon.empty()) {
            ZbVolume volume;
            Zb7_PlatformVolumeOfPath(posix, volume);
            if (ZbMoreX_ConvertUnixPathToHFSPath(posix, kZbPathUTF8, StartupNameAndColon(), volume, colon,
                                                 kZbFullPathLimit) != 0)
                return err;
            preferredVolume = volume.vRefNum;
        }
        err = FSpLocationFromFullPathViaParents(colon, maxNameLength, ref, preferredVolume);
    }
    if ((err == 0 || err == kFnfErr) && ref->parID != kZbRootParentID && ref->name.size() > maxNameLength) {
        ZbClearFSSpec(*ref);
        return kNameOrSegmentErr;
    }
    return err;
}

// A path text too short to name anything: fewer than 2 bytes ("", "A", ":"), except "/", the
// root folder, the one POSIX path of one byte.
bool TooShortForAPath(std::string_view path) { return path.size() < 2 && path != "/"; }

void AddEndSeparator(std::string &path, char separator) {
    if (!path.empty() && path.back() != separator) path += separator;
}

void RemoveEndSeparator(std::string &path, char separator) {
    if (!path.empty() && path.back() == separator) path.pop_back();
}

}  // namespace

long ZbPi_CStrToFSpec(std::string_view path, short encodingMode, size_t maxNameLength, FSSpec *ref) {
    if (!ref) return kParamErr;
    ZbClearFSSpec(*ref);
    if (TooShortForAPath(path)) return kBdNamErr;
    if (encodingMode != kZbPathUTF8) return ResolveText(ZbMacRomanToUTF8(path), maxNameLength, ref, 0);
    return ResolveText(path, maxNameLength, ref, 0);
}

long Zb7_CStrToParentFSSpecAndFileName(std::string_view path, short encodingMode, size_t maxNameLength,
                                       FSSpec *parent, std::string &name) {
    name.clear();
    if (!parent) return kParamErr;
    ZbClearFSSpec(*parent);
    if (TooShortForAPath(path)) return kBdNamErr;
    const std::string text = encodingMode != kZbPathUTF8 ? ZbMacRomanToUTF8(path) : std::string(path);

    if (text[0] == ':') {
        FSSpec item;
        const long err = ResolveText(text, maxNameLength, &item, 0);
        if (err != 0 && (err != kFnfErr || ZbIsClearedFSSpec(item))) return err;
        ZbSetFSSpec(*parent, item.vRefNum, item.parID, {});
        name = item.name;
        return 0;
    }
    // POSIX paths split at their last "/", colon paths at their last ":".
    std::string colonText, posix, folder;
    std::string_view posixText, last;
    ReadPathForm(text, colonText, posixText);
    if (!posixText.empty()) {
        bool marked;
        CleanPOSIXPath(posixText, posix, marked);
        if (posix.size() == 1) return kDirNFErr;
        folder = ZbFolderOfPath(posix);
        last = std::string_view(posix).substr(posix.rfind('/') + 1);
    } else {
        std::string_view colon = colonText;
        if (colon.size() > 1 && colon.back() == ':') colon.remove_suffix(1);
        const size_t split = colon.rfind(':');
        if (split == std::string_view::npos) return kDirNFErr;
        folder = colon.substr(0, split);
        last = colon.substr(split + 1);
    }
    if (last.empty()) return kBdNamErr;
    if (last.size() > maxNameLength) return kNameOrSegmentErr;
    if (const long err = ResolveText(folder, maxNameLength, parent, 0)) {
        ZbClearFSSpec(*parent);
        return err;
    }
    name = posix.empty() ? std::string(last) : ZbSwapColonsAndSlashes(last);
    return 0;
}

long Zb7_NewItemFolderAndName(const fmx::Text &pathText, FSSpec &folder, std::string &name) {
    ZbClearFSSpec(folder);
    name.clear();
    std::string utf8;
    if (const long err = Zb7_ReadPathText(pathText, fmx::Text::kEncoding_UTF8, utf8)) return err;
    const std::string_view path = utf8;
    std::string_view last;
    std::string colon;
    std::string_view posix;
    if (!path.empty() && path[0] == ':') {
        // The name field is everything after the third ":", colons included.
        const size_t split = path.find(':', path.find(':', 1) + 1);
        last = split == std::string_view::npos ? std::string_view() : path.substr(split + 1);
    } else {
        ReadPathForm(path, colon, posix);
        const std::string_view text = posix.empty() ? std::string_view(colon) : posix;
        const size_t split = text.rfind(posix.empty() ? ':' : '/');
        if (split == std::string_view::npos) return kParamErr;
        last = text.substr(split + 1);
    }
    if (last.empty() || last == "." || last == ".." || last.size() > kZbMaxNameLength) return kParamErr;
    const long err = Zb7_CStrToParentFSSpecAndFileName(path, kZbPathUTF8, kZbMaxNameLength, &folder, name);
    name = ZbSwapColonsAndSlashes(name);  // references hold names as colon paths show them
    return err;
}

bool Zb7_ReadSwitchesAndPath(const fmx::DataVect &parameters, char (&switches)[kZbSwitchesCapacity + 1],
                             fmx::TextUniquePtr &path, unsigned long &cursor) {
    if (parameters.Size() < 2) return false;
    cursor = 0;
    XP7_GetNextCStringFromVect(parameters, switches, sizeof switches, &cursor, fmx::Text::kEncoding_Native);
    XP7_GetEncodingSwitch(switches, fmx::Text::kEncoding_Native);
    XP7_GetNextTxtFromVect(parameters, path, &cursor);
    return true;
}

long Zb7_ReadPathText(const fmx::Text &text, fmx::Text::Encoding encoding, std::string &out) {
    // Room for one character (up to 4 bytes) past the limit, so that a longer text shows as longer
    // however the host cuts it.
    char bytes[kZbPathBufferSize + 5];
    text.GetBytes(bytes, sizeof bytes, 0, fmx::Text::kSize_End, encoding);
    out.assign(bytes);
    if (out.size() <= kZbPathBufferSize) return 0;
    out.clear();
    return kBdNamErr;
}

namespace {
long TxtToReference(const fmx::Text &text, FSSpec &ref, size_t maxNameLength, bool itemOnly) {
    ZbClearFSSpec(ref);
    if (text.GetSize() >= 2) {
        fmx::uint16 head[2] = {};
        text.GetUnicode(head, 0, 2);
        if (head[0] == '$' && head[1] == '$') return kZbErrPathIsErrorText;
    }
    std::string utf8;
    if (const long err = Zb7_ReadPathText(text, fmx::Text::kEncoding_UTF8, utf8)) return err;
    const auto parse = [&](const std::string &path) {
        ZbClearFSSpec(ref);
        return TooShortForAPath(path) ? kBdNamErr : ResolveText(path, maxNameLength, &ref, 0, itemOnly);
    };
    long err = parse(utf8);
    if (err == kFnfErr && ZbIsClearedFSSpec(ref)) {
        std::string macRoman;
        if (Zb7_ReadPathText(text, fmx::Text::kEncoding_ASCII_Mac, macRoman) == 0 && macRoman != utf8)
            err = parse(macRoman);
    }
    return err;
}
}  // namespace

long XP7_TxtToFSSpec(const fmx::Text &text, FSSpec &ref, size_t maxNameLength, short /*flag*/) {
    return TxtToReference(text, ref, maxNameLength, false);
}

long XP7_TxtToItem(const fmx::Text &text, FSSpec &ref, size_t maxNameLength) {
    return TxtToReference(text, ref, maxNameLength, true);
}

long Zb7_FSSpecToFullPathCStr(const FSSpec &ref, std::string &out, size_t maxLength, bool direct) {
    out.clear();
    const std::string startup = StartupNameAndColon();
    if (direct) return ZbMoreX_FSSpecToFullPath(ref, kZbPathUTF8, startup, out, maxLength);
    FSSpec folder;
    ZbSetFSSpec(folder, ref.vRefNum, ref.parID, {});
    if (const long err = ZbMoreX_FSSpecToFullPath(folder, kZbPathUTF8, startup, out, maxLength)) return err;
    if (out.size() + ref.name.size() > maxLength) {
        out.clear();
        return kTooLargeErr;
    }
    out += ref.name;
    return 0;
}

long ZbMoreX_FSSpecToFullPath(const FSSpec &ref, short encodingMode, const std::string &startupNameAndColon,
                              std::string &out, size_t maxLength) {
    out.clear();
    const size_t limit = std::min(maxLength, kZbFullPathLimit);
    std::string posix;
    if (const long err = Zb7_FSSpecToPOSIXPath(ref, posix)) return err;
    ZbNodeInfo info;
    if (const long err = Zb7_PlatformGetNodeInfo(posix, false, info)) return err;
    ZbVolume volume;
    Zb7_PlatformVolumeOfPath(posix, volume);
    if (const long err = ZbMoreX_ConvertUnixPathToHFSPath(posix, encodingMode, startupNameAndColon, volume, out, limit))
        return err;
    if (info.isFolder && !out.empty() && out.back() != ':') {
        if (out.size() + 1 > limit) {
            out.clear();
            return kTooLargeErr;
        }
        out += ':';
    }
    return 0;
}

long ZbMoreX_ConvertUnixPathToHFSPath(const std::string &posix, short encodingMode,
                                      const std::string &startupNameAndColon, const ZbVolume &volume,
                                      std::string &out, size_t maxLength) {
    if (volume.vRefNum == kZbStartupVRefNum)
        out = startupNameAndColon + ZbSwapColonsAndSlashes(std::string_view(posix).substr(1));
    else
        out = volume.name + ZbSwapColonsAndSlashes(std::string_view(posix).substr(volume.mountPoint.size()));
    if (encodingMode != kZbPathUTF8) {
        out.push_back('\0');
        // A name that does not convert stays as it is.
        (void)ZbMoreX_UTF8StrToMacRomanCStr(out.data(), long(out.size()));
        out.resize(std::strlen(out.c_str()));
    }
    if (out.size() > maxLength) {
        out.clear();
        return kTooLargeErr;
    }
    return 0;
}

void Zb7_POSIXPathFromFullPath(std::string_view colonPath, std::string &out, short preferredVolume) {
    const std::string startup = StartupNameAndColon();
    if (colonPath.compare(0, startup.size(), startup) == 0) {
        out = ZbSwapColonsAndSlashes(colonPath.substr(startup.size() - 1));
        return;
    }
    const size_t colon = std::min(colonPath.find(':'), colonPath.size());
    ZbVolume volume;
    if (Zb7_PlatformVolumeByName(colonPath.substr(0, colon), volume, preferredVolume))
        out = (volume.mountPoint == "/" ? "" : volume.mountPoint) + ZbSwapColonsAndSlashes(colonPath.substr(colon));
    else
        out = "/Volumes/" + ZbSwapColonsAndSlashes(colonPath);
    if (out.empty()) out = "/";
}

void Zb7_GetVolumeName(std::string_view path, std::string &volumeName) {
    volumeName.assign(path.substr(0, path.find(':')));
    volumeName += ':';
}

long Zb7_VolumeNameToFSpec(std::string_view volumeName, FSSpec *ref, short preferredVolume) {
    if (!ref) return kParamErr;
    ZbClearFSSpec(*ref);
    if (!volumeName.empty() && volumeName.back() == ':') volumeName.remove_suffix(1);
    ZbVolume volume;
    if (!Zb7_PlatformVolumeByName(volumeName, volume, preferredVolume)) return kNsvErr;
    ZbSetFSSpec(*ref, volume.vRefNum, kZbRootParentID, volume.name);
    ref->path = volume.mountPoint;
    return 0;
}

void Zb7_CheckAndAddEndColon(std::string &path) { AddEndSeparator(path, ':'); }
void Zb7_CheckAndRemoveEndColon(std::string &path) { RemoveEndSeparator(path, ':'); }
void Zb7_CheckAndAddEndBackSlash(std::string &path) { AddEndSeparator(path, '\\'); }

namespace {
// The separator that ends a folder's path in this host text: "/" for a POSIX path, else ":".
char SeparatorOf(const fmx::TextUniquePtr &path) {
    const fmx::uint32 size = path->GetSize();
    char head[16] = "";
    path->GetBytes(head, sizeof head, 0, std::min<fmx::uint32>(size, 15), fmx::Text::kEncoding_UTF8);
    std::string colon;
    std::string_view posix;
    ReadPathForm(head, colon, posix);
    return posix.empty() && !StartsWithIgnoringCase(head, "filemac:/") ? ':' : '/';
}

fmx::uint16 LastUnit(const fmx::TextUniquePtr &path) {
    fmx::uint16 unit = 0;
    path->GetUnicode(&unit, path->GetSize() - 1, 1);
    return unit;
}
}  // namespace

void Zb7_CheckAndRemoveEndSeparatorTxt(fmx::TextUniquePtr &path) {
    const fmx::uint32 size = path->GetSize();
    if (size == 0) return;
    const fmx::uint16 last = LastUnit(path);
    if (last == ':' || last == '\\' || (last == '/' && size > 1 && SeparatorOf(path) == '/'))
        path->DeleteText(size - 1, 1);
}

void Zb7_CheckForEndColonOrBackSlashTxt(fmx::TextUniquePtr &path) {
    if (path->GetSize() == 0) return;
    const fmx::uint16 last = LastUnit(path);
    const char separator = SeparatorOf(path);
    if (last == ':' || last == '\\' || last == fmx::uint16(separator)) return;
    fmx::TextUniquePtr end;
    end->Assign(separator == '/' ? "/" : ":", fmx::Text::kEncoding_ASCII_Mac);
    path->AppendText(*end);
}

long Zb7_MyResolveAliasFile(FSSpec *ref) {
    if (!ref) return kParamErr;
    std::string path;
    if (const long err = Zb7_FSSpecToPOSIXPath(*ref, path)) return err;
    ZbNodeInfo info;
    if (const long err = Zb7_PlatformGetNodeInfo(path, false, info)) return err;
    if (!info.isLink) return 0;
    std::string target;
    if (const long err = Zb7_PlatformRealPath(path, target)) return err == kDirNFErr ? kFnfErr : err;
    return Zb7_POSIXPathToFSSpec(target, *ref);
}

long Zb7_PrepareTempFile(const FSSpec *near, FSSpec *temp) {
    if (!near || !temp) return kParamErr;
    ZbClearFSSpec(*temp);
    std::string path;
    if (const long err = Zb7_FSSpecToPOSIXPath(*near, path)) return err;
    const std::string tempName = "ZERBTMP" + std::to_string(Zb7_PlatformCurrentDateTime());
    const std::string tempPath = ZbJoinPath(ZbFolderOfPath(path), tempName);
    if (const long err = Zb7_PlatformCreateNewFile(tempPath)) return err;
    // The type and creator only mark the file as scratch; a file system without extended
    // attributes does without them.
    (void)Zb7_PlatformSetTypeAndCreator(tempPath, ZbFourCharCode("trsh"), ZbFourCharCode("trsh"));
    return Zb7_POSIXPathToFSSpec(tempPath, *temp);
}
