// The stream the scanners read a file through (Substitute, the in-file search), and the in-file
// search itself.
#ifndef ZERB_FILECORE_STREAM_SCAN_H
#define ZERB_FILECORE_STREAM_SCAN_H

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/forks.h"

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

// The offset of the first match of the pattern in the file's data, as the stream finds it (a
// partial match that fails resumes at the byte after its first, within the block held); 0 when
// there is none (as for a match at 0). A case-blind search takes a lowered pattern. -50 for an
// empty pattern, -92 for a step back past the limit.
[[nodiscard]] long Zb7_FindStringInFile(const ZbFork &fork, std::string_view pattern, bool caseSensitive,
                                        int64_t &offset);

#endif
