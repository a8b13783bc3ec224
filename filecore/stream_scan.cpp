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
