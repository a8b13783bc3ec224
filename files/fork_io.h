// Reading ranges of a file's data, and the forks behind them.
#ifndef ZERB_FILES_FORK_IO_H
#define ZERB_FILES_FORK_IO_H

#include <algorithm>
#include <cstdint>
#include <memory>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "files/fsspec.h"
#include "platform/forks.h"
#include "plugin/fmx.h"
#include "text/encoding.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

// The resource fork: the extended attribute user.com.apple.ResourceFork of the file (a link is
// followed, as for the data). Reading a file without one gives no bytes; writing where the file
// system keeps no extended attributes answers -1426.
long XP7_ReadResourceFork(const FSSpec &ref, std::string &bytes);
long XP7_WriteResourceFork(const FSSpec &ref, std::string_view bytes);

// The stream of the scanners (Substitute, the in-file search): a file read byte by byte through a
// block of kZbStreamBlock bytes, with a step back that stays inside the block held. The block is
// read at the file's mark, so blocks start at multiples of its size; a read at or past the valid
// count (an unsigned position a step back wrapped below zero counts as past it) reads the next
// block, so a step back over the block's start is never seen again. The bytes come from larger
// reads, one block at a time. State lives in the stream, one per call.
constexpr size_t kZbStreamBlock = 64000;
constexpr size_t kZbUnreadLimit = 2000;  // a longer step back is refused (-92)

struct ZbStreamReader {
    // releaseRead: the file's contents are being replaced, so the cache of each range read is
    // given back at once (a 1 GiB rewrite then needs no second gigabyte of page cache).
    explicit ZbStreamReader(const ZbFork &fork, bool releaseRead = false);
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
    bool releaseRead;
    std::unique_ptr<unsigned char[]> chunk;
    size_t chunkSize;                   // a whole number of blocks, no more than the file needs
    size_t chunkValid = 0, chunkBlock;  // bytes in the chunk, and the block of it in use
    int64_t mark = 0;                   // file offset of the next chunk
    const unsigned char *block = nullptr;
    uint64_t blockNumber = 0;           // counts the blocks read
    uint32_t valid = 0, position = 0;
};

// The writer of new contents: bytes gathered in a block of blockSize and written at the fork's
// next offset (from its start) when the block is full; a piece of a block or more goes straight
// through. One per call.
struct ZbForkWriter {
    ZbForkWriter(const ZbFork &fork, size_t blockSize);
    long Write(const void *data, size_t n);
    long Flush();

    const ZbFork &fork;
    size_t blockSize;
    std::unique_ptr<unsigned char[]> block;
    size_t used = 0;
    int64_t mark = 0;  // file offset of the block's first byte
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

// Calls found(offset) for each whole occurrence of the needle in [data, data + size), left to
// right and never overlapping, until it returns false: a vector scan for the needle's first and
// last bytes together, sixteen starts at a time, each hit checked in full. One pass however many
// occurrences there are.
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
#if defined(__SSE2__)
    const __m128i first = _mm_set1_epi8(char(n[0])), last = _mm_set1_epi8(char(n[k - 1]));
    for (;; i += 16) {
        if (i < next) i = next;
        if (i + k - 1 + 16 > size) break;
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(data + i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(data + i + k - 1));
        for (unsigned mask = unsigned(_mm_movemask_epi8(_mm_and_si128(_mm_cmpeq_epi8(a, first), _mm_cmpeq_epi8(b, last))));
             mask; mask &= mask - 1) {
            const size_t start = i + unsigned(__builtin_ctz(mask));
            if (start < next) continue;
            // The bytes between, compared in line: most hits fail at once, and a call costs more.
            size_t j = 1;
            while (j < k - 1 && data[start + j] == n[j]) ++j;
            if (j < k - 1) continue;
            if (!found(start)) return;
            next = start + k;
        }
    }
#endif
    // The last starts, fewer than sixteen.
    for (i = std::max(i, next); i + k <= size;) {
        const void *at = memmem(data + i, size - i, n, k);
        if (!at) return;
        const size_t start = size_t(static_cast<const unsigned char *>(at) - data);
        if (!found(start)) return;
        i = start + k;
    }
}

// The byte lowered as the scanners compare: A to Z only.
inline unsigned char ZbLowerByte(unsigned char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; }

// The offset of the first match of the pattern in the file's data, as the stream finds it (a
// partial match that fails resumes at the byte after its first, within the block held); 0 when
// there is none (as for a match at 0). A case-blind search takes a lowered pattern. -50 for an
// empty pattern, -92 for a step back past the limit.
long Zb7_FindStringInFile(const ZbFork &fork, std::string_view pattern, bool caseSensitive, int64_t &offset);

#endif
