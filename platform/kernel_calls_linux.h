// A system call newer than the oldest kernel the servers run (Linux 5.15), remembered as missing
// once its own answer says so: a kernel that lacks a call answers ENOSYS every time (and a
// system-call filter that does not know it, EPERM), so the fallback is chosen from that
// remembered answer, never from an errno that some other call left behind.
#ifndef ZERB_PLATFORM_KERNEL_CALLS_LINUX_H
#define ZERB_PLATFORM_KERNEL_CALLS_LINUX_H

#include <atomic>
#include <cerrno>

struct ZbKernelCall {
    bool filteredCountsAsMissing = false;  // whether EPERM also says the call cannot be used
    std::atomic<bool> missing{false};
    bool IsMissing() const { return missing.load(std::memory_order_relaxed); }
    // Remembers a failed call's answer; true when it says the call cannot be used.
    bool Lacks(int error) {
        if (error != ENOSYS && !(filteredCountsAsMissing && error == EPERM)) return false;
        missing.store(true, std::memory_order_relaxed);
        return true;
    }
};

#endif
