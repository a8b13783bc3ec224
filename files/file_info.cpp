// Exists, GetFileSize, the date functions, GetFileAttribute and GetFileCreator/GetFileType: the
// read-only facts about one file or folder.
#include "files/file_info.h"

#include <string_view>

#include "files/binary_plist.h"
#include "filecore/paths.h"
#include "platform/errors.h"
#include "platform/file_attributes.h"
#include "platform/file_system.h"
#include "platform/finder_info.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"

namespace {

// The item of a handler that reads nothing but its switches and a path of short names.
long ReadShortItem(const fmx::DataVect &parameters, FSSpec &ref) {
    char switches[kZbSwitchesCapacity + 1] = "";
    fmx::TextUniquePtr path;
    if (!Zb7_ReadSwitchesAndPath(parameters, switches, path)) return kParamErr;
    return XP7_TxtToItem(*path, ref, kZbShortNameLength);
}

// The item a handler works on: the switches read, the path resolved, the item looked at.
long ResolveItem(const fmx::DataVect &parameters, size_t maxNameLength, char (&switches)[kZbSwitchesCapacity + 1],
                 std::string &posix, ZbItemInfo &info) {
    fmx::TextUniquePtr path;
    if (!Zb7_ReadSwitchesAndPath(parameters, switches, path)) return kParamErr;
    FSSpec ref;
    if (const long err = XP7_TxtToItem(*path, ref, maxNameLength)) return err;
    return Zb7_FSSpecToItemInfo(ref, posix, info);
}

void SetNumber(fmx::Data &result, int64_t value) {
    fmx::FixPtUniquePtr number;
    number->AssignInt64(value);
    result.SetAsNumber(*number);
}

// Whether a path text ends in a folder's separator: ":" (or "\"), and "/" in a POSIX path.
bool EndsInSeparator(const fmx::TextUniquePtr &path) {
    fmx::TextUniquePtr copy;
    copy->SetText(*path);
    Zb7_CheckAndRemoveEndSeparatorTxt(copy);
    return copy->GetSize() != path->GetSize();
}

bool ItemExists(const fmx::DataVect &parameters) {
    char switches[kZbSwitchesCapacity + 1] = "";
    fmx::TextUniquePtr path;
    if (!Zb7_ReadSwitchesAndPath(parameters, switches, path) || path->GetSize() == 0) return false;
    FSSpec ref;
    if (XP7_TxtToItem(*path, ref, kZbMaxNameLength) == 0) {
        if (XP7_IsDirectory(ref)) return true;
        // A file named with a folder's trailing separator does not count.
        return XP7_FileExists(ref) == 0 && !EndsInSeparator(path);
    }
    Zb7_CheckAndRemoveEndSeparatorTxt(path);
    return XP7_TxtToItem(*path, ref, kZbMaxNameLength) == 0 && XP7_IsDirectory(ref);
}

// The date functions by id: which date they read and what they answer.
enum class ZbDateKind { created, modified, accessed };
enum class ZbDatePart { date, time, timestamp };
struct ZbDateFunction {
    short id;
    ZbDateKind kind;
    ZbDatePart part;
};
constexpr ZbDateFunction kDateFunctions[] = {
    {kZbFnGetDateCreated, ZbDateKind::created, ZbDatePart::date},
    {kZbFnGetDateModified, ZbDateKind::modified, ZbDatePart::date},
    {kZbFnGetTimestampCreated, ZbDateKind::created, ZbDatePart::timestamp},
    {kZbFnGetTimestampModified, ZbDateKind::modified, ZbDatePart::timestamp},
    {kZbFnGetTimeCreated, ZbDateKind::created, ZbDatePart::time},
    {kZbFnGetTimeModified, ZbDateKind::modified, ZbDatePart::time},
    {kZbFnGetDateLastAccessed, ZbDateKind::accessed, ZbDatePart::date},
    {kZbFnGetTimeLastAccessed, ZbDateKind::accessed, ZbDatePart::time},
    {kZbFnGetTimestampLastAccessed, ZbDateKind::accessed, ZbDatePart::timestamp},
};

// Any other id that reaches the date handler answers the modification date.
ZbDateFunction DateFunction(short id) {
    for (const ZbDateFunction &f : kDateFunctions)
        if (f.id == id) return f;
    return {id, ZbDateKind::modified, ZbDatePart::date};
}

// The attribute switches of GetFileAttribute.
constexpr const char *kAttributeSwitches[] = {"-lockAttr", "-archiveAttr", "-hiddenAttr", "-labelNumAttr",
                                              "-findercommentAttr"};

long ReadAttribute(const FSSpec &ref, const char *which, fmx::Data &result, const fmx::Locale &locale) {
    const std::string_view attribute = which;
    std::string path;
    ZbItemInfo info;
    if (const long err = Zb7_FSSpecToItemInfo(ref, path, info)) return err;
    if (attribute == "-findercommentAttr") {
        std::string comment;
        if (const long err = Zb7_Mac_GetFinderComment(ref, comment)) return err;
        fmx::TextUniquePtr text;
        text->Assign(comment.c_str(), fmx::Text::kEncoding_UTF8);
        result.SetAsText(*text, locale);
        return 0;
    }
    int64_t value = 0;
    if (attribute == "-lockAttr") {
        value = info.locked;
    } else if (attribute == "-hiddenAttr" || attribute == "-labelNumAttr") {
        ZbFinderInfo finder;
        if (const long err = Zb7_PlatformGetFinderInfo(path, finder)) return err;
        if (attribute == "-labelNumAttr")
            value = (finder.Flags() >> 1) & 7;
        else
            value = (finder.Flags() & kZbFinderFlagInvisible) || path[path.rfind('/') + 1] == '.';
    }
    SetNumber(result, value);  // "-archiveAttr": the file system keeps no archive bit
    return 0;
}

}  // namespace

// ---- lower-level operations ----

int64_t XP_DateToFMDate(uint32_t seconds) { return seconds / 86400 + kZbHostDayOf1904; }
int64_t XP_DateToFMTime(uint32_t seconds) { return seconds % 86400; }

void XP7_DayPartOfDateToFMXDateTime(uint32_t seconds, fmx::DateTime &dateTime) {
    dateTime.SetDaysSinceEpoch(XP_DateToFMDate(seconds));
}

void XP7_TimePartOfDateToFMXDateTime(uint32_t seconds, fmx::DateTime &dateTime) {
    fmx::FixPtUniquePtr time;
    time->AssignInt64(XP_DateToFMTime(seconds));
    dateTime.SetSecsSinceMidnight(*time);
}

void XP7_DateToFMXDateTime(uint32_t seconds, fmx::DateTime &dateTime) {
    XP7_DayPartOfDateToFMXDateTime(seconds, dateTime);
    XP7_TimePartOfDateToFMXDateTime(seconds, dateTime);
}

int64_t XP7_FMXDateTimeToDate(const fmx::DateTime &dateTime) {
    fmx::FixPtUniquePtr time;
    dateTime.GetSecsSinceMidnight(*time);
    return (int64_t(dateTime.GetDaysSinceEpoch()) - kZbHostDayOf1904) * 86400 + time->AsLong64();
}

bool XP7_IsDirectory(const FSSpec &ref) {
    std::string path;
    ZbItemInfo info;
    return Zb7_FSSpecToItemInfo(ref, path, info) == 0 && info.isFolder;
}

long XP7_FileExists(const FSSpec &ref) {
    std::string path;
    ZbItemInfo info;
    return Zb7_FSSpecToItemInfo(ref, path, info);
}

long XP7_FSGetFileSizes(const FSSpec &ref, int64_t *dataSize, int64_t *rsrcSize, int64_t *totalSize) {
    for (int64_t *size : {dataSize, rsrcSize, totalSize})
        if (size) *size = 0;
    std::string path;
    ZbItemInfo info;
    if (const long err = Zb7_FSSpecToItemInfo(ref, path, info)) return err;
    if (info.isFolder) return 0;  // a folder has no forks
    if (dataSize) *dataSize = int64_t(info.dataSize);
    if (!rsrcSize && !totalSize) return 0;
    uint64_t rsrc = 0;
    if (const long err = Zb7_PlatformAttributeSize(path, kZbResourceForkAttribute, rsrc)) {
        if (dataSize) *dataSize = 0;
        return err;
    }
    if (rsrcSize) *rsrcSize = int64_t(rsrc);
    if (totalSize) *totalSize = int64_t(info.allocatedBytes + rsrc);
    return 0;
}

long XP7_FSpGetFileDate(const FSSpec &ref, uint32_t *created, uint32_t *modified) {
    if (created) *created = 0;
    if (modified) *modified = 0;
    std::string path;
    ZbItemInfo info;
    if (const long err = Zb7_FSSpecToItemInfo(ref, path, info)) return err;
    if (created) {
        int64_t seconds = 0;
        if (const long err = Zb7_PlatformCreationTime(path, info, seconds)) return err;
        *created = Zb7_PlatformLocalDateOfTime(seconds);
    }
    if (modified) *modified = Zb7_PlatformLocalDateOfTime(info.modified);
    return 0;
}

long XP7_FSpGetLastAccessDate(const FSSpec &ref, uint32_t &accessed) {
    accessed = 0;
    std::string path;
    ZbItemInfo info;
    if (const long err = Zb7_FSSpecToItemInfo(ref, path, info)) return err;
    accessed = Zb7_PlatformLocalDateOfTime(info.accessed);
    return 0;
}

std::string Zb7_Mac_OSTypeToTxt(uint32_t code) {
    if (code == 0) return "0000";
    std::string text(4, '\0');
    for (int k = 0; k < 4; ++k) text[size_t(k)] = char(code >> (24 - 8 * k));
    return text;
}

long Zb7_Mac_GetFinderComment(const FSSpec &ref, std::string &comment) {
    comment.clear();
    std::string path, value;
    if (const long err = Zb7_FSSpecToPOSIXPath(ref, path)) return err;
    bool found = false;
    if (const long err = Zb7_PlatformReadAttribute(path, kZbCommentAttribute, value, found)) return err;
    if (found && !ZbStringOfBinaryPlist(value, comment)) comment.clear();  // unreadable: no comment
    return 0;
}

// ---- the handlers ----

fmx::errcode ZbFile7_DoExists(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                              fmx::Data &result) {
    SetNumber(result, ItemExists(parameters) ? 1 : 0);
    return 0;
}

fmx::errcode ZbFile7_DoGetFileSize(short functionId, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                   fmx::Data &result) {
    FSSpec ref;
    int64_t data = 0, rsrc = 0, total = 0;
    long err = ReadShortItem(parameters, ref);
    // Each function reads only its own size.
    const bool wantsTotal = functionId == kZbFnGetFileSizeTotal, wantsResource = functionId == kZbFnGetResourceForkSize;
    if (err == 0)
        err = XP7_FSGetFileSizes(ref, wantsTotal || wantsResource ? nullptr : &data, wantsResource ? &rsrc : nullptr,
                                 wantsTotal ? &total : nullptr);
    if (err)
        XP7_OSErrLToData(err, result);
    else
        SetNumber(result, wantsTotal ? total : wantsResource ? rsrc : data);
    return 0;
}

fmx::errcode ZbFile7_DoGetDateCreatedModifiedAccessed(short functionId, const fmx::ExprEnv & /*env*/,
                                                      const fmx::DataVect &parameters, fmx::Data &result) {
    const ZbDateFunction function = DateFunction(functionId);
    FSSpec ref;
    uint32_t created = 0, modified = 0, accessed = 0;
    long err = ReadShortItem(parameters, ref);
    if (err == 0)
        err = function.kind == ZbDateKind::accessed ? XP7_FSpGetLastAccessDate(ref, accessed)
              : XP7_FSpGetFileDate(ref, function.kind == ZbDateKind::created ? &created : nullptr,
                                   function.kind == ZbDateKind::modified ? &modified : nullptr);
    if (err) {
        XP7_OSErrLToData(err, result);
        return 0;
    }
    const uint32_t seconds = function.kind == ZbDateKind::created    ? created
                             : function.kind == ZbDateKind::modified ? modified
                                                                     : accessed;
    fmx::DateTimeUniquePtr value;
    switch (function.part) {
    case ZbDatePart::date:
        XP7_DayPartOfDateToFMXDateTime(seconds, *value);
        result.SetAsDate(*value);
        break;
    case ZbDatePart::time:
        XP7_TimePartOfDateToFMXDateTime(seconds, *value);
        result.SetAsTime(*value);
        break;
    case ZbDatePart::timestamp:
        XP7_DateToFMXDateTime(seconds, *value);
        result.SetAsTimeStamp(*value);
        break;
    }
    return 0;
}

fmx::errcode ZbFile7_DoGetFileAttribute(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                        const fmx::DataVect &parameters, fmx::Data &result) {
    char switches[kZbSwitchesCapacity + 1] = "";
    fmx::TextUniquePtr path;
    long err = Zb7_ReadSwitchesAndPath(parameters, switches, path) ? 0 : long(kParamErr);
    const char *which = nullptr;
    int count = 0;
    for (const char *word : kAttributeSwitches)
        if (XP_HasSwitch(switches, word)) {
            which = word;
            ++count;
        }
    if (err == 0 && count != 1) err = kParamErr;
    FSSpec ref;
    if (err == 0) err = XP7_TxtToItem(*path, ref, kZbMaxNameLength);
    if (err == 0) err = ReadAttribute(ref, which, result, parameters.At(0).GetLocale());
    if (err) XP7_OSErrLToData(err, result);
    return 0;
}

fmx::errcode ZbFile7_DoGetFileCreatorOrType(short functionId, const fmx::ExprEnv & /*env*/,
                                            const fmx::DataVect &parameters, fmx::Data &result) {
    char switches[kZbSwitchesCapacity + 1] = "";
    std::string posix;
    ZbItemInfo info;
    ZbFinderInfo finder;
    long err = ResolveItem(parameters, kZbShortNameLength, switches, posix, info);
    if (err == 0) err = Zb7_PlatformGetFinderInfo(posix, finder);
    if (err) {
        XP7_OSErrLToData(err, result);
        return 0;
    }
    const std::string code = Zb7_Mac_OSTypeToTxt(functionId == kZbFnGetFileCreator ? finder.Creator() : finder.Type());
    fmx::TextUniquePtr text;
    text->AssignWithLength(code.data(), fmx::uint32(code.size()), fmx::Text::kEncoding_ASCII_Mac);
    result.SetAsText(*text, parameters.At(0).GetLocale());
    return 0;
}
