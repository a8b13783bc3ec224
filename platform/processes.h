// Starting other programs from inside the host. The host runs many threads, so a program is started
// with posix_spawn, never fork. The child gets only the descriptors asked for here: every other
// descriptor of the host is closed in it, its signal mask is empty and every signal has its default
// action, whatever the host set for itself.
#ifndef ZERB_PLATFORM_PROCESSES_H
#define ZERB_PLATFORM_PROCESSES_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/unique_fd.h"


// A pipe whose ends are closed on exec in this process (the child receives an end only through
// ZbSpawnRequest). errno value, 0 on success.
int Zb7_PlatformMakePipe(ZbUniqueFd &readEnd, ZbUniqueFd &writeEnd);

struct ZbSpawnRequest {
    std::vector<std::string> arguments;                     // the program (looked for on the PATH) and its arguments
    int input = -1;                                         // standard input; -1 gives /dev/null
    int output = -1;                                        // standard output; -1 gives /dev/null
    int error = -1;                                         // standard error; -1 gives /dev/null
    int extra = -1;                                         // passed as descriptor 3 when not -1
    const std::vector<std::string> *environment = nullptr;  // null: the host's own
    bool newProcessGroup = false;                           // the child leads a process group of its own
    bool newSession = false;                                // the child leads a session of its own (no terminal)
    const char *program = nullptr;                          // the file run; null: the first argument
    const char *workingFolder = nullptr;                    // the child's working folder; null: the host's
};

// Writes all the bytes to a pipe that a child reads. A child that has stopped reading gives EPIPE
// (as an errno value), never a SIGPIPE that would end the host. 0 on success.
int Zb7_PlatformWriteToChild(int fd, const void *data, size_t size);

// One write to a pipe (to one that does not block, of what it takes now): the number of bytes
// written, or -1 with errno set. A reader that has closed its end, such as a child that has
// stopped reading, gives EPIPE, never a SIGPIPE that would end the host.
ssize_t Zb7_PlatformWriteOnceToPipe(int fd, const void *data, size_t size);

// Starts the program. 0 and the child's process id, or the errno value of the failure (ENOENT when
// there is no such program).
int Zb7_PlatformSpawn(const ZbSpawnRequest &request, pid_t &pid);

// Waits for the child to end and answers its exit status; a child ended by a signal answers 128
// plus the signal's number, a child that cannot be waited for -1.
int Zb7_PlatformWaitChild(pid_t pid);

// How a program run by Zb7_PlatformRunProgram ended.
struct ZbProgramOutcome {
    bool started = false;        // the pipe and the process were made
    bool timedOut = false;       // the time limit passed and the process group was killed
    bool outputTooLong = false;  // it wrote more than the bound and the process group was killed
    int status = -1;             // its exit status as Zb7_PlatformWaitChild answers, when it ended by itself
};

// Runs a program given as an argument vector (no shell; the first argument is a path, or a name
// looked for on the PATH) in a process group of its own, its standard input and standard error on
// /dev/null, and collects what it writes to its standard output until it closes it, then waits for
// it. More than outputLimit bytes of output stop the collecting: the process group is killed and
// the first outputLimit bytes are kept. With timeoutMilliseconds above 0, once that time has passed
// the whole process group is killed and what was written so far is kept; the call returns within
// about half a second of the limit (unless the kernel holds the killed process, as a read from a
// network share that no longer answers does). 0, or the errno value of the failure: of making the pipe or the
// process (then `started` is false), of reading the pipe, or ENOMEM when the output no longer fits
// in memory (the program is then killed).
int Zb7_PlatformRunProgram(const std::vector<std::string> &arguments, long timeoutMilliseconds, size_t outputLimit,
                           std::string &output, ZbProgramOutcome &outcome);

// Runs "/bin/sh -c command" as Zb7_PlatformRunProgram does, without an output bound and with the
// time limit in seconds (none when 0 or below).
int Zb7_PlatformRunShell(const std::string &command, long timeoutSeconds, std::string &output, bool &started,
                         bool &timedOut);

// The path of the program of that name on the PATH or, failing that, in the system's program
// folders; empty when there is none. Looked for anew on each call, so a program installed while
// the host runs is found.
std::string Zb7_PlatformFindProgram(const char *name);

// Whether a program of that name is on the PATH or in the system's program folders.
bool Zb7_PlatformProgramExists(const char *name);

#endif
