#include "filecore/stream_scan.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "filecore/byte_search.h"
#include "platform/errors.h"
#include "text/charsets.h"

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

namespace {

// The in-file search as a scanner: it counts the bytes before the first match.
struct ZbFirstMatch {
    std::string_view pattern;
    int64_t passed = 0;  // bytes before the match, as the stream counts them
    int64_t *offset;

    long Pass(const unsigned char *, size_t n) {
        passed += int64_t(n);
        return 0;
    }
    long Match() {
        *offset = passed;
        return kZbScanStop;
    }
    long WholeMatchesInBlock(ZbStreamReader &in, uint32_t fits) {
        bool found = false;
        ZbForEachMatch(in.block + in.position, in.valid - in.position, pattern, [&](size_t at) {
            *offset = passed + int64_t(at);
            found = true;
            return false;
        });
        if (found) return kZbScanStop;
        passed += fits - in.position;
        in.position = fits;
        return 0;
    }
};

}  // namespace

long Zb7_FindStringInFile(const ZbFork &fork, std::string_view pattern, bool caseSensitive, int64_t &offset) {
    offset = 0;
    if (pattern.empty()) return kParamErr;
    ZbStreamReader in(fork);
    ZbFirstMatch scanner{pattern, 0, &offset};
    return ZbScanStream(in, pattern, !caseSensitive, scanner);
}
