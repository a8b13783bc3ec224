// The stream the scanners read a file through (Substitute, the in-file search), and the in-file
// search itself.
#ifndef ZERB_FILECORE_STREAM_SCAN_H
#define ZERB_FILECORE_STREAM_SCAN_H

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/errors.h"
#include "platform/forks.h"
#include "text/charsets.h"

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

// What a scanner's steps answer to end the scan early, as a success.
constexpr long kZbScanStop = 1;

// The scan both scanners share: the stream read from its position to the end of the file, the
// pattern (lowered for a case-blind scan) looked for as the stream finds it. The scanner is told
//   Pass(bytes, n)        of bytes that are no part of a match, in order;
//   Match()               of each whole match, its bytes consumed;
//   WholeMatchesInBlock(in, fits)  where the comparison is exact and the pattern still fits in the
//                         block: a failed attempt there fails inside the block, so the scanner
//                         takes the block's whole matches itself and moves the position to `fits`
//                         or past its last match.
// Each answers 0 to go on, kZbScanStop to end with success, or an error. A partial match cut by
// the end of the file is passed to no step. Answers 0 or the error (-92 for a step back past the
// limit).
template <class Scanner>
long ZbScanStream(ZbStreamReader &in, std::string_view pattern, bool ignoreCase, Scanner &scanner) {
    ZbCandidates candidates(static_cast<unsigned char>(pattern[0]), ignoreCase);
    const auto done = [](long r) { return r == kZbScanStop ? 0 : r; };
    for (;;) {
        if (in.position >= in.valid)
            if (const long err = in.NextBlock()) return err == kEofErr ? 0 : err;
        const uint32_t fits = in.valid >= pattern.size() ? in.valid - uint32_t(pattern.size()) + 1 : 0;
        if (!ignoreCase && in.position < fits) {
            if (const long r = scanner.WholeMatchesInBlock(in, fits)) return done(r);
            continue;
        }
        // The bytes before the next candidate pass in one piece.
        const uint32_t candidate = candidates.Next(in);
        if (candidate > in.position) {
            if (const long r = scanner.Pass(in.block + in.position, candidate - in.position)) return done(r);
            in.position = candidate;
            continue;
        }
        const unsigned char first = in.block[in.position++];
        size_t matched = 1;
        for (; matched < pattern.size(); ++matched) {
            unsigned char d;
            if (const long err = in.Read(d)) return err == kEofErr ? 0 : err;
            if ((ignoreCase ? ZbLowerAscii(d) : d) != static_cast<unsigned char>(pattern[matched])) break;
        }
        if (matched == pattern.size()) {
            if (const long r = scanner.Match()) return done(r);
            continue;
        }
        // A mismatch at index `matched`: the first byte passes, the rest is read again.
        if (const long r = scanner.Pass(&first, 1)) return done(r);
        if (const long err = in.Unread(matched)) return err;
    }
}

// The offset of the first match of the pattern in the file's data, as the stream finds it (a
// partial match that fails resumes at the byte after its first, within the block held); 0 when
// there is none (as for a match at 0). A case-blind search takes a lowered pattern. -50 for an
// empty pattern, -92 for a step back past the limit.
[[nodiscard]] long Zb7_FindStringInFile(const ZbFork &fork, std::string_view pattern, bool caseSensitive,
                                        int64_t &offset);

#endif
