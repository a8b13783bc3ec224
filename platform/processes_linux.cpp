#include "platform/processes.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

extern char **environ;

int Zb7_PlatformMakePipe(ZbUniqueFd &readEnd, ZbUniqueFd &writeEnd) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return errno;
    readEnd.Reset(ends[0]);
    writeEnd.Reset(ends[1]);
    return 0;
}

ssize_t Zb7_PlatformWriteOnceToPipe(int fd, const void *data, size_t size) {
    // SIGPIPE is blocked in this thread for the write; one the write raised is taken back before
    // the mask is restored, unless one was already pending for the thread.
    sigset_t pipeSignal, previous, pending;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    sigpending(&pending);
    const bool wasPending = sigismember(&pending, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, &previous);
    ssize_t n;
    while ((n = write(fd, data, size)) < 0 && errno == EINTR) {
    }
    const int error = n < 0 ? errno : 0;
    if (error == EPIPE && !wasPending) {
        const struct timespec zero = {0, 0};
        while (sigtimedwait(&pipeSignal, nullptr, &zero) < 0 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    errno = error;
    return n;
}

int Zb7_PlatformWriteToChild(int fd, const void *data, size_t size) {
    // A pipe that blocks takes all in one write unless a signal handler interrupts it part way.
    for (const char *p = static_cast<const char *>(data); size > 0;) {
        const ssize_t n = Zb7_PlatformWriteOnceToPipe(fd, p, size);
        if (n < 0) return errno;
        p += n;
        size -= size_t(n);
    }
    return 0;
}

namespace {

// The spawn attributes and file actions, destroyed on every path.
struct ZbSpawnSetup {
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
    int error = 0;
    bool haveAttributes = false, haveActions = false;

    ZbSpawnSetup() {
        if ((error = posix_spawnattr_init(&attributes)) != 0) return;
        haveAttributes = true;
        if ((error = posix_spawn_file_actions_init(&actions)) != 0) return;
        haveActions = true;
    }
    ~ZbSpawnSetup() {
        if (haveActions) posix_spawn_file_actions_destroy(&actions);
        if (haveAttributes) posix_spawnattr_destroy(&attributes);
    }
    ZbSpawnSetup(const ZbSpawnSetup &) = delete;
    ZbSpawnSetup &operator=(const ZbSpawnSetup &) = delete;

    // Each step keeps the first failure.
    void Check(int result) {
        if (error == 0) error = result;
    }
    void Descriptor(int from, int to, int openFlags) {
        if (from >= 0)
            Check(posix_spawn_file_actions_adddup2(&actions, from, to));
        else
            Check(posix_spawn_file_actions_addopen(&actions, to, "/dev/null", openFlags, 0));
    }
};

// Every signal number, glibc's own included. sigfillset and sigaddset leave out the two
// real-time signals glibc keeps for its threads (32 and 33), and glibc's posix_spawn starts the
// child with those two ignored unless they are in the set of signals reset to their default. The
// set is a bit mask (signal n at bit n - 1), so every bit is set directly.
void EverySignal(sigset_t &set) { std::memset(&set, 0xFF, sizeof set); }

}  // namespace

int Zb7_PlatformSpawn(const ZbSpawnRequest &request, pid_t &pid) {
    if (request.arguments.empty()) return EINVAL;
    ZbSpawnSetup setup;
    if (setup.error) return setup.error;
    // Standard error goes nowhere unless asked for: the host's own is the server's log.
    setup.Descriptor(request.input, STDIN_FILENO, O_RDONLY);
    setup.Descriptor(request.output, STDOUT_FILENO, O_WRONLY);
    setup.Descriptor(request.error, STDERR_FILENO, O_WRONLY);
    if (request.extra >= 0) setup.Descriptor(request.extra, 3, 0);
    setup.Check(posix_spawn_file_actions_addclosefrom_np(&setup.actions, request.extra >= 0 ? 4 : 3));
    if (request.workingFolder) setup.Check(posix_spawn_file_actions_addchdir_np(&setup.actions, request.workingFolder));

    short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
    sigset_t none, all;
    sigemptyset(&none);
    EverySignal(all);
    setup.Check(posix_spawnattr_setsigmask(&setup.attributes, &none));
    setup.Check(posix_spawnattr_setsigdefault(&setup.attributes, &all));
    if (request.newSession) {
        flags |= POSIX_SPAWN_SETSID;
    } else if (request.newProcessGroup) {
        flags |= POSIX_SPAWN_SETPGROUP;
        setup.Check(posix_spawnattr_setpgroup(&setup.attributes, 0));
    }
    setup.Check(posix_spawnattr_setflags(&setup.attributes, flags));
    if (setup.error) return setup.error;

    std::vector<char *> argv;
    for (const std::string &a : request.arguments) argv.push_back(const_cast<char *>(a.c_str()));
    argv.push_back(nullptr);
    std::vector<char *> envp;
    if (request.environment) {
        for (const std::string &e : *request.environment) envp.push_back(const_cast<char *>(e.c_str()));
        envp.push_back(nullptr);
    }
    return posix_spawnp(&pid, request.program ? request.program : argv[0], &setup.actions, &setup.attributes, argv.data(),
                        request.environment ? envp.data() : environ);
}

namespace {

// A wait status as Zb7_PlatformWaitChild answers it.
int ExitStatus(int status) {
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : -1;
}

}  // namespace

int Zb7_PlatformWaitChild(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0)
        if (errno != EINTR) return -1;
    return ExitStatus(status);
}

std::string Zb7_PlatformFindProgram(const char *name) {
    std::string folders = std::getenv("PATH") ? std::getenv("PATH") : "";
    folders += ":/usr/sbin:/sbin:/usr/bin:/bin";
    for (size_t start = 0; start <= folders.size();) {
        const size_t end = std::min(folders.find(':', start), folders.size());
        if (end > start) {
            std::string path = folders.substr(start, end - start) + "/" + name;
            if (access(path.c_str(), X_OK) == 0) return path;
        }
        start = end + 1;
    }
    return {};
}

bool Zb7_PlatformProgramExists(const char *name) { return !Zb7_PlatformFindProgram(name).empty(); }

namespace {

int64_t MonotonicMilliseconds() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Appends what the pipe holds now, without waiting, up to `limit` bytes of output in all.
void DrainPipe(int fd, std::string &output, size_t limit) {
    char buffer[65536];
    while (output.size() < limit) {
        const ssize_t n = read(fd, buffer, std::min(sizeof buffer, limit - output.size()));
        if (n > 0) {
            output.append(buffer, size_t(n));
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        return;
    }
}

}  // namespace

int Zb7_PlatformRunProgram(const std::vector<std::string> &arguments, long timeoutMilliseconds, size_t outputLimit,
                           std::string &output, ZbProgramOutcome &outcome) {
    outcome = {};
    ZbUniqueFd readEnd, writeEnd;
    if (const int error = Zb7_PlatformMakePipe(readEnd, writeEnd)) return error;
    ZbSpawnRequest request;
    request.arguments = arguments;
    request.output = writeEnd.fd;
    request.newProcessGroup = true;
    pid_t pid = 0;
    if (const int error = Zb7_PlatformSpawn(request, pid)) return error;
    outcome.started = true;
    writeEnd.Reset();

    // A limit past 24 days is taken as 24 days, so that it fits poll's int.
    const bool timed = timeoutMilliseconds > 0;
    const int64_t deadline = timed ? MonotonicMilliseconds() + std::min<int64_t>(timeoutMilliseconds, INT32_MAX) : 0;
    // One byte past the bound is read to tell an output of exactly the bound from a longer one.
    const size_t room = outputLimit < SIZE_MAX ? outputLimit + 1 : SIZE_MAX;
    int error = 0;
    // Reads in large blocks straight into the output's spare room, so a long output is copied once;
    // only the block about to be read is cleared, so each byte is cleared once too.
    constexpr size_t kBlock = 1 << 16;
    try {
        for (;;) {
            if (timed) {
                const int64_t left = deadline - MonotonicMilliseconds();
                struct pollfd wait = {readEnd.fd, POLLIN, 0};
                const int ready = left > 0 ? poll(&wait, 1, int(left)) : 0;
                if (ready < 0 && errno == EINTR) continue;
                if (ready == 0) {
                    outcome.timedOut = true;
                    break;
                }
            }
            const size_t used = output.size();
            const size_t block = std::min(kBlock, room - used);
            if (output.capacity() - used < block)
                output.reserve(std::min(std::max(output.capacity() * 2, used + block), room));
            output.resize(used + block);
            const ssize_t n = read(readEnd.fd, output.data() + used, block);
            output.resize(n > 0 ? used + size_t(n) : used);
            if (output.size() > outputLimit) {
                output.resize(outputLimit);
                outcome.outputTooLong = true;
                break;
            }
            if (n > 0) continue;
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) error = errno;
            break;
        }
    } catch (const std::bad_alloc &) {
        error = ENOMEM;
    }

    // The program may still run after closing its output; with a time limit it gets what is left.
    if (timed && !outcome.timedOut && !outcome.outputTooLong && error == 0) {
        int status = 0;
        pid_t ended = 0;
        while ((ended = waitpid(pid, &status, WNOHANG)) == 0 || (ended < 0 && errno == EINTR)) {
            if (MonotonicMilliseconds() >= deadline) {
                outcome.timedOut = true;
                break;
            }
            usleep(10000);
        }
        if (!outcome.timedOut) {
            if (ended == pid) outcome.status = ExitStatus(status);
            return 0;
        }
    }
    const bool killed = outcome.timedOut || outcome.outputTooLong || error;
    if (killed) {
        kill(-pid, SIGKILL);
        if (outcome.timedOut) {
            // What the program wrote before it was ended is kept.
            fcntl(readEnd.fd, F_SETFL, O_NONBLOCK);
            try {
                DrainPipe(readEnd.fd, output, outputLimit);
            } catch (const std::bad_alloc &) {
            }
        }
    }
    readEnd.Reset();
    const int status = Zb7_PlatformWaitChild(pid);
    if (!killed) outcome.status = status;
    // The rest of the group got the same signal but may not have run yet to die of it (a loaded
    // machine): the call answers once they are gone, so none outlives it. The wait is bounded,
    // as an orphan whose new parent never reaps it still counts as a member.
    if (killed)
        for (const int64_t until = MonotonicMilliseconds() + 500; kill(-pid, 0) == 0 && MonotonicMilliseconds() < until;)
            usleep(1000);
    return error;
}

int Zb7_PlatformRunShell(const std::string &command, long timeoutSeconds, std::string &output, bool &started,
                         bool &timedOut) {
    const long timeout = timeoutSeconds > 0 ? std::min<long>(timeoutSeconds, INT32_MAX / 1000) * 1000 : 0;
    ZbProgramOutcome outcome;
    const int error = Zb7_PlatformRunProgram({"/bin/sh", "-c", command}, timeout, SIZE_MAX, output, outcome);
    started = outcome.started;
    timedOut = outcome.timedOut;
    return error;
}
