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

namespace {
// Blocks are read several at a time; the stream still sees them one by one.
constexpr size_t kBlocksPerRead = 16;
}  // namespace

ZbStreamReader::ZbStreamReader(const ZbFork &f) : fork(f), chunkBlock(kBlocksPerRead) {
    // A small file gets a buffer its size: most files searched for a key are a few kilobytes.
    int64_t size = 0;
    size_t blocks = kBlocksPerRead;
    if (Zb7_PlatformForkSize(fork, size) == 0)
        blocks = std::clamp<size_t>((uint64_t(size) + kZbStreamBlock - 1) / kZbStreamBlock, 1, kBlocksPerRead);
    chunkSize = blocks * kZbStreamBlock;
    chunk.reset(new unsigned char[chunkSize]);  // not cleared: only bytes read are used
}

long ZbStreamReader::NextBlock() {
    if (++chunkBlock * kZbStreamBlock >= chunkValid) {
        if (const long err = Zb7_PlatformReadFork(fork, mark, chunk.get(), chunkSize, chunkValid)) return err;
        mark += int64_t(chunkValid);
        chunkBlock = 0;
    }
    block = chunk.get() + chunkBlock * kZbStreamBlock;
    ++blockNumber;
    valid = uint32_t(std::min(kZbStreamBlock, chunkValid - std::min(chunkValid, chunkBlock * kZbStreamBlock)));
    position = 0;
    return valid == 0 ? kEofErr : kNoErr;
}

long ZbStreamReader::Unread(size_t count) {
    if (count > kZbUnreadLimit) return kNameOrSegmentErr;
    position -= uint32_t(count);  // may wrap: then the next read takes the next block
    return 0;
}

ZbForkWriter::ZbForkWriter(const ZbFork &f, size_t size)
    : fork(f), blockSize(size), block(new unsigned char[size]) {}

long ZbForkWriter::WriteThrough(const void *data, size_t n) {
    if (const long err = Flush()) return err;
    const auto *bytes = static_cast<const unsigned char *>(data);
    if (n >= blockSize && !handoff) {
        if (const long err = Zb7_PlatformWriteFork(fork, mark, bytes, n)) return err;
        mark += int64_t(n);
        return 0;
    }
    // Handed over, a long piece goes a block at a time.
    for (; n >= blockSize; bytes += blockSize, n -= blockSize) {
        std::memcpy(block.get(), bytes, blockSize);
        used = blockSize;
        if (const long err = Flush()) return err;
    }
    if (n > 0) std::memcpy(block.get() + used, bytes, n);
    used += n;
    return 0;
}

long ZbForkWriter::Flush() {
    if (used == 0) return 0;
    const long err = handoff ? handoff->Hand(block, used, mark, sourceRead ? *sourceRead : 0)
                             : Zb7_PlatformWriteFork(fork, mark, block.get(), used);
    if (err) return err;
    mark += int64_t(used);
    used = 0;
    return 0;
}

ZbBlockHandoff::ZbBlockHandoff(size_t blockSize, const ZbFork *replaced) : replaced_(replaced) {
    full_.reserve(3);
    empty_.reserve(3);
    for (int k = 0; k < 2; ++k) empty_.emplace_back(new unsigned char[blockSize]);  // the maker has the third
}

long ZbBlockHandoff::Hand(std::unique_ptr<unsigned char[]> &block, size_t count, int64_t offset,
                          int64_t sourceRead) {
    std::unique_lock lock(mutex_);
    full_.push_back({std::move(block), count, offset, sourceRead});
    changed_.notify_all();
    // The writer gives every block back, written or not, so one comes.
    changed_.wait(lock, [&] { return !empty_.empty(); });
    block = std::move(empty_.back());
    empty_.pop_back();
    return writeErr_;
}

void ZbBlockHandoff::Finish() {
    {
        std::lock_guard lock(mutex_);
        finished_ = true;
    }
    changed_.notify_all();
}

long ZbBlockHandoff::WriteAll(const ZbFork &fork) {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [&] { return finished_ || !full_.empty(); });
        if (full_.empty()) return writeErr_;
        Full block = std::move(full_.front());
        full_.erase(full_.begin());
        const bool failed = writeErr_ != 0;
        lock.unlock();
        const long err = failed ? 0 : Zb7_PlatformWriteFork(fork, block.offset, block.bytes.get(), block.count);
        if (err == 0 && !failed && replaced_ && block.sourceRead > released_) {
            Zb7_PlatformReleaseForkCache(*replaced_, released_, size_t(block.sourceRead - released_));
            released_ = block.sourceRead;
        }
        lock.lock();
        if (err) writeErr_ = err;
        empty_.push_back(std::move(block.bytes));
        changed_.notify_all();
    }
}

ZbCandidates::ZbCandidates(unsigned char first, bool ignoreCase)
    : first_(first), both_(ignoreCase && first >= 'a' && first <= 'z') {}

uint32_t ZbCandidates::Next(const ZbStreamReader &in) {
    if (block_ == in.blockNumber && in.position >= from_ && in.position <= candidate_) return candidate_;
    const auto find = [&](unsigned char c) {
        const void *at = std::memchr(in.block + in.position, c, in.valid - in.position);
        return at ? uint32_t(static_cast<const unsigned char *>(at) - in.block) : in.valid;
    };
    candidate_ = find(first_);
    if (both_) candidate_ = std::min(candidate_, find(static_cast<unsigned char>(first_ - 32)));
    block_ = in.blockNumber;
    from_ = in.position;
    return candidate_;
}

long Zb7_FindStringInFile(const ZbFork &fork, std::string_view pattern, bool caseSensitive, int64_t &offset) {
    offset = 0;
    if (pattern.empty()) return kParamErr;
    ZbStreamReader in(fork);
    ZbCandidates candidates(static_cast<unsigned char>(pattern[0]), !caseSensitive);
    int64_t count = 0;  // bytes read so far, as the stream counts them
    for (;;) {
        if (in.position >= in.valid) {
            if (const long err = in.NextBlock()) return err == kEofErr ? 0 : err;
        }
        // Where the whole pattern fits in the block, an attempt that fails fails inside it: the
        // first whole match is found at once (as in Substitute).
        const uint32_t fits = in.valid >= pattern.size() ? in.valid - uint32_t(pattern.size()) + 1 : 0;
        if (caseSensitive && in.position < fits) {
            const unsigned char *from = in.block + in.position;
            bool found = false;
            ZbForEachMatch(from, in.valid - in.position, pattern, [&](size_t at) {
                offset = count + int64_t(at);
                found = true;
                return false;
            });
            if (found) return 0;
            count += fits - in.position;
            in.position = fits;
            continue;
        }
        const uint32_t candidate = candidates.Next(in);
        if (candidate > in.position) {
            count += candidate - in.position;
            in.position = candidate;
            continue;
        }
        ++in.position;
        ++count;
        size_t matched = 1;
        for (; matched < pattern.size(); ++matched) {
            unsigned char d;
            if (const long err = in.Read(d)) return err == kEofErr ? 0 : err;
            ++count;
            if ((caseSensitive ? d : ZbLowerAscii(d)) != static_cast<unsigned char>(pattern[matched])) break;
        }
        if (matched == pattern.size()) {
            offset = count - int64_t(pattern.size());
            return 0;
        }
        count -= int64_t(matched);
        if (const long err = in.Unread(matched)) return err;
    }
}
