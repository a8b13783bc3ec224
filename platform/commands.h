// Commands run for RunCommand: a program with its arguments (or /bin/sh -c), in a folder and an
// environment of the caller's choice, given an input on its standard input, with both output
// streams collected apart up to a bound each, a time limit that ends its whole process group,
// and the child always reaped.
//
// A command is a plain record (ZbCommandRun) driven by a poll loop: the caller's thread runs one
// to its end (Zb7_PlatformRunCommand), and a thread of the plug-in drives many at once (the
// background jobs) with the same steps: Zb7_PlatformCommandWaitSet adds a command's descriptors
// to a poll set, Zb7_PlatformPoll waits, and Zb7_PlatformCommandService does what they are ready
// for. Children are started as processes.h starts them: posix_spawn, a process group of their
// own, no descriptor of the host, every signal at its default and none blocked.
#ifndef ZERB_PLATFORM_COMMANDS_H
#define ZERB_PLATFORM_COMMANDS_H

#include <poll.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/unique_fd.h"

struct ZbCommandRequest {
    // The program and its arguments, passed as they are. A program named without a slash is
    // looked for on the PATH of the command's own environment.
    std::vector<std::string> arguments;
    std::string workingFolder;  // an absolute path; empty: the host's
    // Variables set in the command's environment. That environment is PATH, HOME and LANG (the
    // host's HOME and LANG) unless inheritEnvironment gives it the host's whole environment.
    std::vector<std::pair<std::string, std::string>> variables;
    bool inheritEnvironment = false;
    std::string input;                // written to its standard input; none: the input is empty
    int64_t timeoutMilliseconds = 0;  // 0: no limit
    size_t outputLimit = 0;           // bytes kept of each output stream; the rest is read and dropped
};

// What a command has done so far, and how it ended once `finished`.
struct ZbCommandState {
    std::string output, errorOutput;
    bool truncated = false;  // a stream wrote more than the bound
    bool timedOut = false;   // the time limit ended it
    bool finished = false;   // it has ended and been reaped, and its output is complete
    bool exited = false;     // it ended by exiting, with exitCode
    int exitCode = 0;
    int signal = 0;          // the signal that ended it, or 0
    int64_t nanoseconds = 0; // from its start to its end (so far, while it runs)
};

// One command being run. Only the Zb7_PlatformCommand… routines touch its fields.
struct ZbCommandRun {
    ZbCommandState state;
    pid_t pid = -1;            // also its process group
    ZbUniqueFd process;        // a pidfd, readable once the child has ended; -1 where the kernel has none
    ZbUniqueFd output, errorOutput, input;
    std::string pendingInput;
    size_t inputDone = 0;
    size_t outputLimit = 0;
    int64_t startedAt = 0, deadline = 0, killAt = 0, endedAt = 0;  // monotonic nanoseconds; 0: none
    bool reaped = false, terminateSent = false, killSent = false;
    size_t firstEntry = 0, entryCount = 0;  // its entries in the current poll set
};

// Monotonic time in nanoseconds.
int64_t Zb7_PlatformMonotonicNanoseconds();

// Starts the command. 0, or the errno value of what stopped it: ENOENT for a program that is
// not there, ENOTDIR for a working folder that is missing or not a folder, EINVAL for an empty
// argument list, or the failure of making the pipes or the process (nothing runs then).
int Zb7_PlatformStartCommand(const ZbCommandRequest &request, ZbCommandRun &run);

// Adds the descriptors the command waits on to the poll set, and answers the milliseconds until
// its next timer (the time limit, the kill that follows it, the end of the wait for output after
// it ended), or -1 for none. Nothing is added once it has finished.
int Zb7_PlatformCommandWaitSet(ZbCommandRun &run, std::vector<struct pollfd> &set);

// Does what the command's descriptors (found where WaitSet put them in `set`) and timers are
// ready for: reads its output, writes its input, ends it at its time limit, reaps it, and
// finishes it. Reads at most a few MiB a call, so that one command cannot starve the others.
void Zb7_PlatformCommandService(ZbCommandRun &run, const std::vector<struct pollfd> &set);

// Waits for any entry of the set, or the milliseconds (-1: no limit). Interrupted waits answer
// as a timeout would.
void Zb7_PlatformPoll(std::vector<struct pollfd> &set, int milliseconds);

// Ends a command that has not finished: its whole process group is killed and the child reaped
// (at once: a killed process cannot refuse). Its output so far is kept.
void Zb7_PlatformCommandKill(ZbCommandRun &run);

// Starts the command and runs it to its end in the calling thread.
int Zb7_PlatformRunCommand(const ZbCommandRequest &request, ZbCommandState &state);

// A pipe that wakes a poll loop from another thread: its read end goes into the poll set.
struct ZbWakeup {
    ZbUniqueFd readEnd, writeEnd;
};
int Zb7_PlatformMakeWakeup(ZbWakeup &wakeup);
void Zb7_PlatformWake(const ZbWakeup &wakeup);
void Zb7_PlatformClearWakeup(const ZbWakeup &wakeup);

#endif
