// Reading ranges of a file's data, and the forks behind them.
#ifndef ZERB_FILES_FORK_IO_H
#define ZERB_FILES_FORK_IO_H

#include <cstdint>
#include <string>

#include "files/fsspec.h"
#include "plugin/fmx.h"
#include "text/encoding.h"

constexpr long kZbErrEndOfFile = -39;
constexpr uint32_t kZbToTheEnd = 0xFFFFFFFF;
constexpr uint32_t kZbLongestRange = 0x7FFFFFFF;

// The bytes of a range of the file: from offset, length bytes (0 or 0xFFFFFFFF: to the end; a
// range past the end is cut there; at most 0x7FFFFFFF bytes). An offset past the end is -39, or,
// with startOverIfPastEnd, reads from the start instead. -108 when the bytes do not fit in memory.
long XP7_ReadFileToBuf(const FSSpec &ref, uint32_t offset, uint32_t length, bool startOverIfPastEnd,
                       std::string &bytes);
// The same range as host text, the bytes read in the encoding.
long XP7_ReadFileToTxt(const FSSpec &ref, uint32_t offset, uint32_t length, ZbTextEncoding encoding,
                       fmx::TextUniquePtr &text);

#endif
