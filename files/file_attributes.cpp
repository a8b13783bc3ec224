// SetFileAttribute, SetTimestampCreated/Modified, SetDefaultCreator and SetDefaultType.
#include "files/file_attributes.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "files/binary_plist.h"
#include "files/file_info.h"
#include "filecore/paths.h"
#include "platform/errors.h"
#include "platform/file_attributes.h"
#include "platform/file_system.h"
#include "platform/finder_info.h"
#include "core/globals.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"

namespace {

constexpr size_t kLongNames = 255;

// A four-character code from the bytes of a text of 4 bytes; "0000" and "" stand for zero.
uint32_t CodeOfText(std::string_view text) {
    if (text.size() != 4 || text == "0000") return 0;
    uint32_t code = 0;
    for (const char c : text) code = code << 8 | uint8_t(c);
    return code;
}

// Reads the Finder information of an item, lets `change` alter it, and writes it back when it
// changed; with `advanceFolderDate` the modification date of the item's folder is then set to
// now. The folder's date is set before the item is written: should that fail, the item is left
// as it was.
template <class Change>
long ChangeFinderInfo(const std::string &path, Change change, bool advanceFolderDate = false) {
    ZbFinderInfo info;
    if (const long err = Zb7_PlatformGetFinderInfo(path, info)) return err;
    ZbFinderInfo changed = info;
    change(changed);
    if (changed.bytes == info.bytes) return 0;
    if (advanceFolderDate)
        if (const long err = Zb7_PlatformTouchFolderOf(path)) return err;
    return Zb7_PlatformSetFinderInfo(path, changed);
}

// The parameters of SetFileAttribute after the conflict checks.
struct ZbAttributeRequest {
    bool lock = false, unlock = false, hide = false, unhide = false;
    bool creator = false, fileType = false, comment = false, label = false;
    std::string code;         // for -creator and -filetype
    std::string commentText;  // UTF-8, for -findercomment
    long labelNumber = 0;
};

long ReadAttributeRequest(const fmx::DataVect &parameters, ZbAttributeRequest &request, fmx::TextUniquePtr &path) {
    char switches[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 0;
    if (!Zb7_ReadSwitchesAndPath(parameters, switches, path, cursor)) return kParamErr;
    const auto has = [&](const char *word) { return XP_HasSwitch(switches, word); };
    request.lock = has("-lock");
    request.unlock = has("-unlock");
    request.hide = has("-hide");
    request.unhide = has("-unhide");
    request.creator = has("-creator");
    request.fileType = has("-filetype");
    request.comment = has("-findercomment");
    request.label = has("-labelNum");
    // Conflicting pairs are refused before anything is touched. The archive pair is accepted and
    // does nothing: the file system keeps no archive bit.
    if ((request.lock && request.unlock) || (has("-SetArchive") && has("-ResetArchive")) ||
        (request.hide && request.unhide) || (request.creator && request.fileType))
        return kParamErr;
    if (request.creator || request.fileType) {
        char code[kZbSwitchesCapacity + 1] = "";
        XP7_GetNextCStringFromVect(parameters, code, sizeof code, &cursor, fmx::Text::kEncoding_Native);
        request.code = code;
        if (!request.code.empty() && request.code.size() != 4) return kParamErr;
    }
    if (request.comment) {
        fmx::TextUniquePtr text;
        XP7_GetNextTxtFromVect(parameters, text, &cursor);
        // Each UTF-16 unit takes at most 3 bytes of UTF-8 (a pair of them 4).
        std::string utf8(size_t(text->GetSize()) * 3 + 1, '\0');
        text->GetBytes(utf8.data(), fmx::uint32(utf8.size()), 0, fmx::Text::kSize_End, fmx::Text::kEncoding_UTF8);
        utf8.resize(std::strlen(utf8.c_str()));
        request.commentText = std::move(utf8);
    }
    if (request.label) {
        XP_GetTaggedLong(switches, "-labelNum", &request.labelNumber);
        request.labelNumber = std::clamp(request.labelNumber, 0L, 7L);
    }
    return 0;
}

// Steps that run in order, each whatever the earlier ones gave; the answer is the last one's.
long ChangeAttributes(const ZbAttributeRequest &request, const FSSpec &ref, const std::string &path,
                      const ZbItemInfo &info) {
    long answer = 0;
    if ((request.lock && !info.locked) || (request.unlock && info.locked))
        answer = Zb7_PlatformSetLocked(path, request.lock);

    if (request.hide || request.unhide) {
        ZbFinderInfo finder;
        answer = Zb7_PlatformGetFinderInfo(path, finder);
        const bool invisible = finder.Flags() & kZbFinderFlagInvisible;
        if (answer == 0 && request.hide != invisible)
            answer = ChangeFinderInfo(path, [&](ZbFinderInfo &f) {
                f.SetFlags(request.hide ? f.Flags() | kZbFinderFlagInvisible : f.Flags() & ~kZbFinderFlagInvisible);
            });
    }

    if (request.creator || request.fileType) {
        const uint32_t code = CodeOfText(request.code);
        answer = FSpChangeCreatorType(ref, request.creator ? kZbChangeCreator : kZbChangeType, code, code);
    } else if (request.comment) {
        answer = Zb7_Mac_SetFinderComment(ref, request.commentText);
    } else if (request.label) {
        answer = Zb7_SetFinderLabelNo(ref, int(request.labelNumber));
    }
    return answer;
}

// The codes text of SetDefaultCreator and SetDefaultType (the second parameter): four
// characters a code, in the host's native encoding.
std::string ReadCodesText(const fmx::DataVect &parameters) {
    char text[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 1;
    XP7_GetNextCStringFromVect(parameters, text, sizeof text, &cursor, fmx::Text::kEncoding_Native);
    return text;
}

// The code of four characters from `at` on, most significant first.
uint32_t CodeAt(const std::string &text, size_t at) {
    uint32_t code = 0;
    for (size_t b = at; b < at + 4; ++b) code = code << 8 | uint8_t(text[b]);
    return code;
}

}  // namespace

// ---- lower-level operations ----

long FSpChangeCreatorType(const FSSpec &ref, short selector, uint32_t creator, uint32_t type) {
    std::string path;
    ZbItemInfo info;
    if (const long err = Zb7_FSSpecToItemInfo(ref, path, info)) return err;
    if (info.isFolder) return kNotAFileErr;
    // The folder's modification date advances, so that programs showing the folder notice the new
    // codes.
    return ChangeFinderInfo(
        path,
        [&](ZbFinderInfo &f) {
            if (selector != kZbChangeType) f.SetCreator(creator);
            if (selector != kZbChangeCreator) f.SetType(type);
        },
        true);
}

long Zb7_SetFinderLabelNo(const FSSpec &ref, int label) {
    std::string path;
    if (const long err = Zb7_FSSpecToPOSIXPath(ref, path)) return err;
    return ChangeFinderInfo(path, [&](ZbFinderInfo &f) {
        f.SetFlags(uint16_t((f.Flags() & ~kZbFinderLabelMask) | ((label << 1) & kZbFinderLabelMask)));
    });
}

long Zb7_SetCreationOrModificationDate(short functionId, const FSSpec &ref, int64_t localSeconds) {
    std::string path;
    if (const long err = Zb7_FSSpecToPOSIXPath(ref, path)) return err;
    // The file system's dates run from 1904 to early 2040; a date outside that is refused rather
    // than stored as some other date.
    if (localSeconds < 0 || localSeconds > int64_t(UINT32_MAX)) return kParamErr;
    const int64_t moment = Zb7_PlatformTimeOfLocalDate(localSeconds);
    if (functionId == kZbFnSetTimestampModified) return Zb7_PlatformSetModificationTime(path, moment);
    return Zb7_PlatformSetCreationTime(path, moment);
}

long Zb7_Mac_SetFinderComment(const FSSpec &ref, const std::string &comment) {
    std::string path;
    ZbItemInfo info;
    if (const long err = Zb7_FSSpecToItemInfo(ref, path, info)) return err;
    if (comment.empty()) return Zb7_PlatformRemoveAttribute(path, kZbCommentAttribute);
    return Zb7_PlatformWriteAttribute(path, kZbCommentAttribute, ZbBinaryPlistOfString(comment));
}

// ---- the handlers ----

fmx::errcode ZbFile7_DoSetFileAttribute(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                        const fmx::DataVect &parameters, fmx::Data &result) {
    ZbAttributeRequest request;
    fmx::TextUniquePtr pathText;
    FSSpec ref;
    std::string path;
    ZbItemInfo info;
    long err = ReadAttributeRequest(parameters, request, pathText);
    if (err == 0) err = XP7_TxtToItem(*pathText, ref, kZbShortNameLength);
    if (err == 0) err = Zb7_FSSpecToItemInfo(ref, path, info);
    if (err == 0) err = ChangeAttributes(request, ref, path, info);
    XP7_OSErrLToData(err, result);
    return 0;
}

fmx::errcode ZbFile7_DoSetTimestampCreatedOrModified(short functionId, const fmx::ExprEnv & /*env*/,
                                                     const fmx::DataVect &parameters, fmx::Data &result) {
    long err = kParamErr;
    char switches[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 0;
    fmx::TextUniquePtr path;
    if (Zb7_ReadSwitchesAndPath(parameters, switches, path, cursor)) {
        fmx::DateTimeUniquePtr timestamp;
        XP7_GetNextDateTimeFromVect(parameters, timestamp, &cursor);
        FSSpec ref;
        err = XP7_TxtToItem(*path, ref, kLongNames);
        if (err == 0) err = Zb7_SetCreationOrModificationDate(functionId, ref, XP7_FMXDateTimeToDate(*timestamp));
    }
    XP7_OSErrLToData(err, result);
    return 0;
}

fmx::errcode ZbFile7_DoSetDefaultCreator(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                         const fmx::DataVect &parameters, fmx::Data &result) {
    const std::string text = ReadCodesText(parameters);
    if (text.empty() || text.size() >= 4) {
        const uint32_t code = text.empty() ? 0 : CodeAt(text, 0);
        ZbFrameLock lock(gFrameMutex);
        gDefaultCreator = code;
    }
    XP7_OSErrLToData(0, result);
    return 0;
}

fmx::errcode ZbFile7_DoSetDefaultType(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                      const fmx::DataVect &parameters, fmx::Data &result) {
    const std::string text = ReadCodesText(parameters);
    const size_t length = std::min<size_t>(text.size(), kMaxDefaultTypes * 4);
    {
        ZbFrameLock lock(gFrameMutex);
        if (gDefaultFTypeListPtr && length == 0) {
            gNumTypes = -1;  // no filter; new files get no type
            (*gDefaultFTypeListPtr)[0] = 0;
        } else if (gDefaultFTypeListPtr && length >= 4) {
            gNumTypes = short(length / 4);
            for (short k = 0; k < gNumTypes; ++k) (*gDefaultFTypeListPtr)[size_t(k)] = CodeAt(text, size_t(k) * 4);
        }
    }
    XP7_OSErrLToData(0, result);
    return 0;
}
