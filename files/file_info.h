// Facts about one item: whether it exists, its sizes, dates, attributes and codes, and the
// conversions between the file system's dates and the host's date values.
#ifndef ZERB_FILES_FILE_INFO_H
#define ZERB_FILES_FILE_INFO_H

#include <cstdint>
#include <string>

#include "filecore/fsspec.h"
#include "fmx/fmx.h"

// The host's day number of 1 January 1904 (day 1 is 1 January 0001).
constexpr int64_t kZbHostDayOf1904 = 695056;

// A file-system date (local seconds since 1904) as the host's day number and as the seconds since
// midnight of its local clock time.
int64_t XP_DateToFMDate(uint32_t seconds);
int64_t XP_DateToFMTime(uint32_t seconds);
// The day part, the time part, or both, set on a host date-time.
void XP7_DayPartOfDateToFMXDateTime(uint32_t seconds, fmx::DateTime &dateTime);
void XP7_TimePartOfDateToFMXDateTime(uint32_t seconds, fmx::DateTime &dateTime);
void XP7_DateToFMXDateTime(uint32_t seconds, fmx::DateTime &dateTime);
// The other way: (day number - 695056) * 86400 + seconds since midnight, in 64 bits (a host date
// may lie outside the file system's 1904-2040 range; the caller decides).
int64_t XP7_FMXDateTimeToDate(const fmx::DateTime &dateTime);

// Whether the reference names an existing folder (a symbolic link to one is not a folder).
bool XP7_IsDirectory(const FSSpec &ref);
// 0 when the item exists, else the error number.
[[nodiscard]] long XP7_FileExists(const FSSpec &ref);
// The data size, the resource-fork size and the total allocated size of both. Only what is asked
// for (a pointer that is not null) is read: the data size needs only the item's folder to be
// searchable, while the resource fork, an extended attribute, needs permission to read the file.
[[nodiscard]] long XP7_FSGetFileSizes(const FSSpec &ref, int64_t *dataSize, int64_t *rsrcSize, int64_t *totalSize);
// Creation and modification dates, and the last-access date, as local seconds since 1904. Only
// the dates asked for are read (a creation date that was set needs permission to read the item).
[[nodiscard]] long XP7_FSpGetFileDate(const FSSpec &ref, uint32_t *created, uint32_t *modified);
[[nodiscard]] long XP7_FSpGetLastAccessDate(const FSSpec &ref, uint32_t &accessed);
// The four characters of a code, most significant byte first; "0000" for a zero code.
std::string Zb7_Mac_OSTypeToTxt(uint32_t code);
// The item's Finder comment as UTF-8 (empty when it has none).
[[nodiscard]] long Zb7_Mac_GetFinderComment(const FSSpec &ref, std::string &comment);

#endif
