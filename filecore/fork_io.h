// Reading ranges of a file's data, and the forks behind them.
#ifndef ZERB_FILECORE_FORK_IO_H
#define ZERB_FILECORE_FORK_IO_H

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "filecore/fsspec.h"
#include "platform/forks.h"
#include "fmx/fmx.h"
#include "text/charsets.h"
#include "text/encoding.h"

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

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

// The stream of the scanners (Substitute, the in-file search): a file read byte by byte through a
// block of kZbStreamBlock bytes, with a step back that stays inside the block held. The block is
// read at the file's mark, so blocks start at multiples of its size; a read at or past the valid
// count (an unsigned position a step back wrapped below zero counts as past it) reads the next
// block, so a step back over the block's start is never seen again. The bytes come from larger
// reads, one block at a time. State lives in the stream, one per call.
constexpr size_t kZbStreamBlock = 64000;
constexpr size_t kZbUnreadLimit = 2000;  // a longer step back is refused (-92)

struct ZbStreamReader {
    explicit ZbStreamReader(const ZbFork &fork);
    // The next block: 0, or -39 at the end of the file.
    long NextBlock();
    // One byte: 0, or -39 at the end of the file.
    long Read(unsigned char &c) {
        if (position >= valid)
            if (const long err = NextBlock()) return err;
        c = block[position++];
        return 0;
    }
    // Steps back count bytes: -92 past the limit.
    long Unread(size_t count);

    const ZbFork &fork;
    std::unique_ptr<unsigned char[]> chunk;
    size_t chunkSize;                   // a whole number of blocks, no more than the file needs
    size_t chunkValid = 0, chunkBlock;  // bytes in the chunk, and the block of it in use
    int64_t mark = 0;                   // file offset of the next chunk read here
    unsigned char *block = nullptr;  // the stream's own copy: a reader may change what it has read
    uint64_t blockNumber = 0;           // counts the blocks read
    uint32_t valid = 0, position = 0;
};

class ZbBlockHandoff;

// The writer of new contents: bytes gathered in a block of blockSize and written at the fork's
// next offset (from its start) when the block is full; a piece of a block or more goes straight
// through. With a hand-off, full blocks go to the thread that writes them instead. One per call.
struct ZbForkWriter {
    ZbForkWriter(const ZbFork &fork, size_t blockSize);
    // Inline while the piece fits: Substitute writes two short pieces for every match.
    long Write(const void *data, size_t n) {
        if (used + n > blockSize) return WriteThrough(data, n);
        std::memcpy(block.get() + used, data, n);
        used += n;
        return 0;
    }
    long Flush();
    long WriteThrough(const void *data, size_t n);

    const ZbFork &fork;
    size_t blockSize;
    std::unique_ptr<unsigned char[]> block;
    size_t used = 0;
    int64_t mark = 0;  // file offset of the block's first byte
    ZbBlockHandoff *handoff = nullptr;
    const int64_t *sourceRead = nullptr;  // with a hand-off: how far the source has been read
};

// Full blocks of new contents, handed from the thread that makes them to the thread that writes
// them, so that reading and scanning a large file run beside writing its new contents. The
// writing thread is the call's own: every change to the user's files is made there. Three blocks
// take turns: one being filled, one being written, one waiting.
class ZbBlockHandoff {
public:
    // replaced: the file whose contents the new ones will replace, or null. Its cache, as far as
    // the maker has read it, is given back after each block is written, so that the new contents
    // take the old ones' memory rather than more.
    ZbBlockHandoff(size_t blockSize, const ZbFork *replaced);
    // The maker's side: hands over a full block (its first count bytes, for the fork's offset,
    // made from the source's bytes before sourceRead) and takes an empty one in exchange; answers
    // the writer's error once there is one.
    long Hand(std::unique_ptr<unsigned char[]> &block, size_t count, int64_t offset, int64_t sourceRead);
    // The maker's side: no more blocks will come.
    void Finish();
    // The writer's side: writes each block handed over, in order, until the maker finishes; 0 or
    // the first error (after which blocks are taken back unwritten).
    long WriteAll(const ZbFork &fork);

private:
    struct Full {
        std::unique_ptr<unsigned char[]> bytes;
        size_t count;
        int64_t offset, sourceRead;
    };
    const ZbFork *replaced_;
    int64_t released_ = 0;  // the replaced file's cache is given back up to here
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::unique_ptr<unsigned char[]>> empty_;
    std::vector<Full> full_;  // in order; never more than the three blocks, so never reallocated
    bool finished_ = false;
    long writeErr_ = 0;
};

// Finds where the next byte that can start a match stands in the block held: the pattern's first
// byte, or with ignoreCase also its capital; the block's valid count when there is none. A scan
// ahead is kept while the stream stays in the block, so a block is scanned once.
class ZbCandidates {
public:
    ZbCandidates(unsigned char first, bool ignoreCase);
    uint32_t Next(const ZbStreamReader &in);

private:
    unsigned char first_;
    bool both_;
    uint64_t block_ = 0;
    uint32_t from_ = 0, candidate_ = 0;
};

// Copies a few bytes without a call: overlapping word moves up to 16 bytes.
inline void ZbCopySmall(unsigned char *to, const unsigned char *from, size_t n) {
    const auto move = [&](auto word) {
        decltype(word) head, tail;
        std::memcpy(&head, from, sizeof word);
        std::memcpy(&tail, from + n - sizeof word, sizeof word);
        std::memcpy(to, &head, sizeof word);
        std::memcpy(to + n - sizeof word, &tail, sizeof word);
    };
    if (n > 16)
        std::memcpy(to, from, n);
    else if (n >= 8)
        move(uint64_t());
    else if (n >= 4)
        move(uint32_t());
    else if (n >= 2)
        move(uint16_t());
    else if (n == 1)
        *to = *from;
}

// Checks in full the starts i + (each bit set in mask) that do not overlap a match found before,
// calling found(start) for each match: false when found() asked to stop.
template <class Found>
inline __attribute__((always_inline)) bool ZbCheckStarts(uint64_t mask, size_t i, const unsigned char *data,
                                                         const unsigned char *n, size_t k, size_t &next, Found &found) {
    for (; mask; mask &= mask - 1) {
        const size_t start = i + unsigned(__builtin_ctzll(mask));
        if (start < next) continue;
        // The bytes between, compared in line: most hits fail at once, and a call costs more.
        size_t j = 1;
        while (j < k - 1 && data[start + j] == n[j]) ++j;
        if (j < k - 1) continue;
        if (!found(start)) return false;
        next = start + k;
    }
    return true;
}

#if defined(__x86_64__)
// Whether the scan uses 32-byte vectors: where the processor has them (the tests also run the
// scan without).
inline bool gZbScanWithAvx2 = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
}();

// Of the 32 starts at p, those whose first, second and last bytes are the needle's, as a mask:
// for a needle of three bytes the matches themselves.
__attribute__((target("avx2"), always_inline)) inline uint64_t ZbStartsAvx2(const unsigned char *p, size_t k,
                                                                           __m256i first, __m256i second,
                                                                           __m256i last) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + 1));
    const __m256i c = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + k - 1));
    return unsigned(_mm256_movemask_epi8(
        _mm256_and_si256(_mm256_and_si256(_mm256_cmpeq_epi8(a, first), _mm256_cmpeq_epi8(b, second)),
                         _mm256_cmpeq_epi8(c, last))));
}

// The windows of ZbForEachMatch with 32-byte vectors, on processors that have them: where the
// scan stopped, or SIZE_MAX when found() asked to stop.
template <class Found>
__attribute__((target("avx2"))) size_t ZbScanWindowsAvx2(const unsigned char *data, size_t size,
                                                         const unsigned char *n, size_t k, size_t &next,
                                                         Found &found) {
    const __m256i first = _mm256_set1_epi8(char(n[0])), second = _mm256_set1_epi8(char(n[1])),
                  last = _mm256_set1_epi8(char(n[k - 1]));
    size_t i = 0, after = next;  // a copy of its own: found() may write bytes, which could alias `next`
    for (; i + k - 1 + 64 <= size; i += 64) {
        const uint64_t low = ZbStartsAvx2(data + i, k, first, second, last);
        const uint64_t high = ZbStartsAvx2(data + i + 32, k, first, second, last);
        if (!ZbCheckStarts(low | high << 32, i, data, n, k, after, found)) return SIZE_MAX;
    }
    next = after;
    return i;
}
#endif

// Calls found(offset) for each whole occurrence of the needle in [data, data + size), left to
// right and never overlapping, until it returns false: a vector scan for the needle's first and
// last bytes together (and its second, with 32-byte vectors), sixty-four starts at a time, each
// hit checked in full. One pass however many occurrences there are.
template <class Found>
void ZbForEachMatch(const unsigned char *data, size_t size, std::string_view needle, Found found) {
    const size_t k = needle.size();
    if (k == 0 || k > size) return;
    const auto *n = reinterpret_cast<const unsigned char *>(needle.data());
    size_t next = 0;  // the first start that does not overlap an occurrence found
    if (k == 1) {
        while (const void *at = std::memchr(data + next, n[0], size - next)) {
            const size_t start = size_t(static_cast<const unsigned char *>(at) - data);
            if (!found(start)) return;
            next = start + 1;
        }
        return;
    }
    size_t i = 0;
#if defined(__x86_64__)
    if (gZbScanWithAvx2) {
        i = ZbScanWindowsAvx2(data, size, n, k, next, found);
        if (i == SIZE_MAX) return;
    } else
#endif
    {
#if defined(__SSE2__)
        const __m128i first = _mm_set1_epi8(char(n[0])), last = _mm_set1_epi8(char(n[k - 1]));
        for (; i + k - 1 + 64 <= size; i += 64) {
            const auto *p = reinterpret_cast<const __m128i *>(data + i);
            const auto *q = reinterpret_cast<const __m128i *>(data + i + k - 1);
            uint64_t mask = 0;
            for (int v = 0; v < 4; ++v)
                mask |= uint64_t(unsigned(_mm_movemask_epi8(_mm_and_si128(
                            _mm_cmpeq_epi8(_mm_loadu_si128(p + v), first), _mm_cmpeq_epi8(_mm_loadu_si128(q + v), last)))))
                        << (16 * v);
            if (!ZbCheckStarts(mask, i, data, n, k, next, found)) return;
        }
#elif defined(__aarch64__)
        // NEON has no byte mask: the comparisons are weighted by the byte's bit (1, 2 ... 128)
        // and summed pairwise three times, which leaves byte j of the result holding the bits of
        // bytes 8j to 8j + 7 in order.
        const uint8x16_t first = vdupq_n_u8(n[0]), last = vdupq_n_u8(n[k - 1]);
        const uint8x16_t bits = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
        for (; i + k - 1 + 64 <= size; i += 64) {
            uint8x16_t hits[4];
            for (int v = 0; v < 4; ++v)
                hits[v] = vandq_u8(vandq_u8(vceqq_u8(vld1q_u8(data + i + 16 * v), first),
                                            vceqq_u8(vld1q_u8(data + i + k - 1 + 16 * v), last)),
                                   bits);
            const uint8x16_t sums =
                vpaddq_u8(vpaddq_u8(hits[0], hits[1]), vpaddq_u8(hits[2], hits[3]));
            const uint64_t mask = vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(sums, sums)), 0);
            if (!ZbCheckStarts(mask, i, data, n, k, next, found)) return;
        }
#endif
    }
    // The last starts, fewer than sixty-four.
    for (i = std::max(i, next); i + k <= size;) {
        const void *at = memmem(data + i, size - i, n, k);
        if (!at) return;
        const size_t start = size_t(static_cast<const unsigned char *>(at) - data);
        if (!found(start)) return;
        i = start + k;
    }
}


// The offset of the first match of the pattern in the file's data, as the stream finds it (a
// partial match that fails resumes at the byte after its first, within the block held); 0 when
// there is none (as for a match at 0). A case-blind search takes a lowered pattern. -50 for an
// empty pattern, -92 for a step back past the limit.
[[nodiscard]] long Zb7_FindStringInFile(const ZbFork &fork, std::string_view pattern, bool caseSensitive,
                                        int64_t &offset);

#endif
