// Reading ranges of a file's data, and its resource fork.
#ifndef ZERB_FILECORE_FORK_IO_H
#define ZERB_FILECORE_FORK_IO_H

#include <cstdint>
#include <string>
#include <string_view>

#include "filecore/fsspec.h"
#include "fmx/fmx.h"
#include "text/encoding.h"

constexpr uint32_t kZbToTheEnd = 0xFFFFFFFF;
constexpr uint32_t kZbLongestRange = 0x7FFFFFFF;

// The bytes of a range of the file: from offset, length bytes (0 or 0xFFFFFFFF: to the end; a
// range past the end is cut there; at most 0x7FFFFFFF bytes). An offset past the end is -39, or,
// with startOverIfPastEnd, reads from the start instead. -108 when the bytes do not fit in memory.
[[nodiscard]] long XP7_ReadFileToBuf(const FSSpec &ref, uint32_t offset, uint32_t length, bool startOverIfPastEnd,
                                     std::string &bytes);
// The same range as host text, the bytes read in the encoding.
[[nodiscard]] long XP7_ReadFileToTxt(const FSSpec &ref, uint32_t offset, uint32_t length, ZbTextEncoding encoding,
                                     fmx::TextUniquePtr &text);

// The resource fork: the extended attribute user.com.apple.ResourceFork of the file (a link is
// followed, as for the data). Reading a file without one gives no bytes; writing where the file
// system keeps no extended attributes answers -1426.
[[nodiscard]] long XP7_ReadResourceFork(const FSSpec &ref, std::string &bytes);
[[nodiscard]] long XP7_WriteResourceFork(const FSSpec &ref, std::string_view bytes);

#endif
