#include "filecore/fork_writer.h"

#include <cstring>
#include <new>

#include "platform/errors.h"

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
