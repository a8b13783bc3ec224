#include "files/fork_io.h"

#include <new>

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
    if (size < 0) return kZbErrEndOfFile;
    if (int64_t(offset) > size) {
        if (!startOverIfPastEnd) return kZbErrEndOfFile;
        offset = 0;
    }
    uint64_t count = length == kZbToTheEnd ? 0 : length;
    if (count == 0 || int64_t(offset) + int64_t(count) > size) count = uint64_t(size - int64_t(offset));
    if (count > kZbLongestRange) count = kZbLongestRange;
    try {
        bytes.resize(size_t(count));
    } catch (const std::bad_alloc &) {
        return -108;
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
