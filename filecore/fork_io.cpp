#include "filecore/fork_io.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/errors.h"
#include "platform/file_attributes.h"
#include "platform/file_system.h"
#include "platform/forks.h"

long XP7_ReadFileToBuf(const FSSpec &ref, uint32_t offset, uint32_t length, bool startOverIfPastEnd,
                       std::string &bytes) {
    bytes.clear();
    std::string path;
    if (const long err = Zb7_FSSpecToPOSIXPath(ref, path)) return err;
    ZbFork fork;
    if (const long err = Zb7_PlatformOpenDataFork(path, false, fork)) return err;
    int64_t size = 0;
    if (const long err = Zb7_PlatformForkSize(fork, size)) return err;
    if (size < 0) return kEofErr;
    if (int64_t(offset) > size) {
        if (!startOverIfPastEnd) return kEofErr;
        offset = 0;
    }
    uint64_t count = length == kZbToTheEnd ? 0 : length;
    if (count == 0 || int64_t(offset) + int64_t(count) > size) count = uint64_t(size - int64_t(offset));
    if (count > kZbLongestRange) count = kZbLongestRange;
    try {
        bytes.resize(size_t(count));
    } catch (const std::bad_alloc &) {
        return kMemFullErr;
    }
    size_t actual = 0;
    if (const long err = Zb7_PlatformReadFork(fork, offset, bytes.data(), bytes.size(), actual)) {
        bytes.clear();
        return err;
    }
    bytes.resize(actual);  // the file may have shrunk since its size was read
    return 0;
}

long XP7_ReadFileToTxt(const FSSpec &ref, uint32_t offset, uint32_t length, ZbTextEncoding encoding,
                       fmx::TextUniquePtr &text) {
    std::string bytes;
    if (const long err = XP7_ReadFileToBuf(ref, offset, length, false, bytes)) return err;
    fmx::TextUniquePtr empty;
    text->SetText(*empty);
    XP7_BlockToTxt(bytes.data(), bytes.size(), text, encoding, 0);
    return 0;
}

namespace {
// The path of the file a reference leads to: a symbolic link is followed, as contents are.
long FilePath(const FSSpec &ref, std::string &path) {
    std::string item;
    if (const long err = Zb7_FSSpecToPOSIXPath(ref, item)) return err;
    return Zb7_PlatformRealPath(item, path);
}
}  // namespace

long XP7_ReadResourceFork(const FSSpec &ref, std::string &bytes) {
    std::string path;
    if (const long err = FilePath(ref, path)) return err;
    bool found = false;
    return Zb7_PlatformReadAttribute(path, kZbResourceForkAttribute, bytes, found);
}

long XP7_WriteResourceFork(const FSSpec &ref, std::string_view bytes) {
    std::string path;
    if (const long err = FilePath(ref, path)) return err;
    return Zb7_PlatformWriteAttribute(path, kZbResourceForkAttribute, bytes);
}
