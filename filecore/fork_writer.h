// Writing new contents in blocks, on the call's own thread or handed to a second one.
#ifndef ZERB_FILECORE_FORK_WRITER_H
#define ZERB_FILECORE_FORK_WRITER_H

#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/forks.h"

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

#endif
