#include "platform/commands.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/kernel_calls_linux.h"
#include "platform/processes.h"

extern char **environ;

namespace {

constexpr int64_t kMillisecond = 1000000;
// A program that ignores the polite end of its time limit is killed this much later.
constexpr int64_t kKillGrace = 500 * kMillisecond;
// After the program has ended, what it left running may still hold its output open (a daemon it
// started); its output is waited for this long at most, then the command answers without it.
constexpr int64_t kOutputGrace = 100 * kMillisecond;
// Without a pidfd the end of the child is looked for this often.
constexpr int kTickMilliseconds = 10;
// Read from one stream in one service of a command, at most.
constexpr size_t kReadBudget = size_t(4) << 20;

// pidfd_open (Linux 5.3). glibc has no wrapper before 2.36, which the plug-in must not need.
ZbKernelCall gPidfdOpen{true};

int OpenPidfd(pid_t pid) {
#ifdef SYS_pidfd_open
    if (gPidfdOpen.IsMissing()) return -1;
    const long fd = syscall(SYS_pidfd_open, pid, 0);
    if (fd >= 0) return int(fd);
    (void)gPidfdOpen.Lacks(errno);
#else
    (void)pid;
#endif
    return -1;
}

std::string Variable(const char *name, const char *otherwise) {
    const char *value = std::getenv(name);
    return std::string(name) + "=" + (value && *value ? value : otherwise);
}

// The command's environment: the few variables a program expects, or the host's, then the
// request's own, each replacing one of the same name.
std::vector<std::string> Environment(const ZbCommandRequest &request) {
    std::vector<std::string> environment;
    if (request.inheritEnvironment) {
        for (char **e = environ; e && *e; ++e) environment.emplace_back(*e);
    } else {
        environment.push_back("PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin");
        environment.push_back(Variable("HOME", "/"));
        environment.push_back(Variable("LANG", "C.UTF-8"));
    }
    for (const auto &[name, value] : request.variables) {
        const std::string prefix = name + "=";
        auto same = std::find_if(environment.begin(), environment.end(),
                                 [&](const std::string &e) { return e.compare(0, prefix.size(), prefix) == 0; });
        if (same != environment.end())
            *same = prefix + value;
        else
            environment.push_back(prefix + value);
    }
    return environment;
}

bool IsProgram(const std::string &path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(path.c_str(), X_OK) == 0;
}

// The file to run: a name with a slash as it is, any other looked for on the PATH the command
// will have (not the host's). Empty when there is none.
std::string FindProgram(const std::string &name, const std::vector<std::string> &environment) {
    if (name.find('/') != std::string::npos) return name;
    std::string folders;
    for (const std::string &e : environment)
        if (e.compare(0, 5, "PATH=") == 0) folders = e.substr(5);
    for (size_t start = 0; start <= folders.size();) {
        const size_t end = std::min(folders.find(':', start), folders.size());
        // Only absolute folders: an empty or relative entry would depend on the working folder.
        if (end > start && folders[start] == '/') {
            std::string path = folders.substr(start, end - start) + "/" + name;
            if (IsProgram(path)) return path;
        }
        start = end + 1;
    }
    return {};
}

int NonBlocking(int fd) { return fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK) == 0 ? 0 : errno; }

// Reads what the stream holds now (up to the budget), keeping up to the bound and dropping the
// rest. Closes the stream at its end or on an error.
void ReadStream(ZbUniqueFd &stream, std::string &kept, size_t limit, bool &truncated) {
    char buffer[65536];
    for (size_t read = 0; stream.fd >= 0 && read < kReadBudget;) {
        const ssize_t n = ::read(stream.fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EAGAIN) return;
        if (n <= 0) {
            stream.Reset();
            return;
        }
        read += size_t(n);
        const size_t room = limit - std::min(limit, kept.size());
        const size_t keep = std::min(room, size_t(n));
        if (keep < size_t(n)) truncated = true;
        if (keep == 0) continue;
        try {
            // Grows by doubling, but never past the bound, so a long output is not over-allocated.
            if (kept.capacity() - kept.size() < keep)
                kept.reserve(std::min(std::max(kept.capacity() * 2, kept.size() + keep), limit));
            kept.append(buffer, keep);
        } catch (const std::bad_alloc &) {
            truncated = true;  // what does not fit in memory is dropped like output past the bound
        }
    }
}

void Finish(ZbCommandRun &run) {
    ZbCommandState &s = run.state;
    ReadStream(run.output, s.output, run.outputLimit, s.truncated);
    ReadStream(run.errorOutput, s.errorOutput, run.outputLimit, s.truncated);
    run.output.Reset();
    run.errorOutput.Reset();
    run.input.Reset();
    run.process.Reset();
    run.pendingInput.clear();
    run.pendingInput.shrink_to_fit();
    s.nanoseconds = run.endedAt - run.startedAt;
    s.finished = true;
}

// Reaps the child once it has ended. A child ended at its time limit takes the rest of its group
// with it, while its own process id (and so the group's) cannot yet be taken by another process.
void TryReap(ZbCommandRun &run) {
    siginfo_t info;
    std::memset(&info, 0, sizeof info);
    if (waitid(P_PID, id_t(run.pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == 0) return;
    if (run.terminateSent) kill(-run.pid, SIGKILL);
    int status = 0;
    pid_t ended;
    while ((ended = waitpid(run.pid, &status, 0)) < 0 && errno == EINTR) {
    }
    run.reaped = true;
    run.endedAt = Zb7_PlatformMonotonicNanoseconds();
    run.input.Reset();
    if (ended != run.pid) return;  // reaped by someone else (a host that ignores SIGCHLD): no status
    if (WIFEXITED(status)) {
        run.state.exited = true;
        run.state.exitCode = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
        run.state.signal = WTERMSIG(status);
    }
}

const struct pollfd *Entry(const ZbCommandRun &run, const std::vector<struct pollfd> &set, int fd) {
    if (fd < 0) return nullptr;
    for (size_t k = run.firstEntry; k < run.firstEntry + run.entryCount && k < set.size(); ++k)
        if (set[k].fd == fd) return &set[k];
    return nullptr;
}

bool Ready(const struct pollfd *entry) { return entry && entry->revents != 0; }

}  // namespace

int64_t Zb7_PlatformMonotonicNanoseconds() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t(now.tv_sec) * 1000000000 + now.tv_nsec;
}

int Zb7_PlatformStartCommand(const ZbCommandRequest &request, ZbCommandRun &run) {
    if (request.arguments.empty() || request.arguments[0].empty()) return EINVAL;
    run = {};
    run.outputLimit = request.outputLimit;
    if (!request.workingFolder.empty()) {
        struct stat st;
        if (stat(request.workingFolder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return ENOTDIR;
    }
    std::vector<std::string> environment;
    std::string program;
    try {
        environment = Environment(request);
        program = FindProgram(request.arguments[0], environment);
        run.pendingInput = request.input;
    } catch (const std::bad_alloc &) {
        return ENOMEM;
    }
    if (program.empty()) return ENOENT;

    ZbUniqueFd outputWrite, errorWrite, inputRead;
    if (const int error = Zb7_PlatformMakePipe(run.output, outputWrite)) return error;
    if (const int error = Zb7_PlatformMakePipe(run.errorOutput, errorWrite)) return error;
    if (!request.input.empty())
        if (const int error = Zb7_PlatformMakePipe(inputRead, run.input)) return error;
    for (const ZbUniqueFd *own : {&run.output, &run.errorOutput, &run.input})
        if (own->fd >= 0)
            if (const int error = NonBlocking(own->fd)) return error;

    ZbSpawnRequest spawn;
    spawn.arguments = request.arguments;
    spawn.program = program.c_str();
    spawn.workingFolder = request.workingFolder.empty() ? nullptr : request.workingFolder.c_str();
    spawn.environment = &environment;
    spawn.input = inputRead.fd;
    spawn.output = outputWrite.fd;
    spawn.error = errorWrite.fd;
    spawn.newProcessGroup = true;
    run.startedAt = Zb7_PlatformMonotonicNanoseconds();
    if (const int error = Zb7_PlatformSpawn(spawn, run.pid)) {
        run.pid = -1;
        return error;
    }
    run.process.Reset(OpenPidfd(run.pid));
    if (request.timeoutMilliseconds > 0)
        run.deadline = run.startedAt + std::min<int64_t>(request.timeoutMilliseconds, INT64_MAX / 4 / kMillisecond) * kMillisecond;
    return 0;
}

int Zb7_PlatformCommandWaitSet(ZbCommandRun &run, std::vector<struct pollfd> &set) {
    run.firstEntry = set.size();
    run.entryCount = 0;
    if (run.state.finished) return -1;
    auto add = [&](int fd, short events) {
        if (fd < 0) return;
        set.push_back({fd, events, 0});
        ++run.entryCount;
    };
    add(run.output.fd, POLLIN);
    add(run.errorOutput.fd, POLLIN);
    add(run.input.fd, POLLOUT);
    if (!run.reaped) add(run.process.fd, POLLIN);

    const int64_t now = Zb7_PlatformMonotonicNanoseconds();
    int64_t next = -1;
    auto at = [&](int64_t when) {
        const int64_t wait = std::max<int64_t>(0, when - now);
        if (next < 0 || wait < next) next = wait;
    };
    if (!run.reaped) {
        if (run.deadline && !run.terminateSent) at(run.deadline);
        if (run.terminateSent && !run.killSent) at(run.killAt);
        if (run.process.fd < 0) at(now + kTickMilliseconds * kMillisecond);
    } else {
        at(run.endedAt + kOutputGrace);
    }
    // Rounded up, so a timer is never polled for just before it is due.
    return next < 0 ? -1 : int(std::min<int64_t>((next + kMillisecond - 1) / kMillisecond, INT32_MAX));
}

void Zb7_PlatformCommandService(ZbCommandRun &run, const std::vector<struct pollfd> &set) {
    if (run.state.finished) return;
    ZbCommandState &s = run.state;
    if (Ready(Entry(run, set, run.output.fd))) ReadStream(run.output, s.output, run.outputLimit, s.truncated);
    if (Ready(Entry(run, set, run.errorOutput.fd)))
        ReadStream(run.errorOutput, s.errorOutput, run.outputLimit, s.truncated);
    if (Ready(Entry(run, set, run.input.fd))) {
        // Without waiting: the pipe does not block.
        const ssize_t n = Zb7_PlatformWriteOnceToPipe(run.input.fd, run.pendingInput.data() + run.inputDone,
                                                       std::min<size_t>(run.pendingInput.size() - run.inputDone, 1 << 20));
        if (n > 0) run.inputDone += size_t(n);
        // All written, or a child that no longer reads (EPIPE): its input ends here.
        if (run.inputDone >= run.pendingInput.size() || (n < 0 && errno != EAGAIN)) run.input.Reset();
    }

    const int64_t now = Zb7_PlatformMonotonicNanoseconds();
    if (!run.reaped) {
        if (run.deadline && !run.terminateSent && now >= run.deadline) {
            // First asked politely (a program may clean up), the whole group at once.
            kill(-run.pid, SIGTERM);
            run.terminateSent = true;
            s.timedOut = true;
            run.killAt = now + kKillGrace;
        } else if (run.terminateSent && !run.killSent && now >= run.killAt) {
            kill(-run.pid, SIGKILL);
            run.killSent = true;
        }
        if (run.process.fd < 0 || Ready(Entry(run, set, run.process.fd)) || run.terminateSent) TryReap(run);
    }
    if (!run.reaped) {
        s.nanoseconds = now - run.startedAt;
        return;
    }
    // Ended: finished once its output is closed, or when what it left behind still holds the
    // output open after a short wait (at once after a time limit: the group is gone by then).
    const bool outputDone = run.output.fd < 0 && run.errorOutput.fd < 0;
    if (outputDone || s.timedOut || Zb7_PlatformMonotonicNanoseconds() >= run.endedAt + kOutputGrace) Finish(run);
}

void Zb7_PlatformPoll(std::vector<struct pollfd> &set, int milliseconds) {
    for (struct pollfd &p : set) p.revents = 0;
    (void)poll(set.data(), nfds_t(set.size()), milliseconds);  // EINTR counts as a timeout
}

void Zb7_PlatformCommandKill(ZbCommandRun &run) {
    if (run.state.finished || run.pid <= 0) return;
    if (!run.reaped) {
        kill(-run.pid, SIGKILL);
        run.terminateSent = true;
        run.killSent = true;
        int status = 0;
        while (waitpid(run.pid, &status, 0) < 0 && errno == EINTR) {
        }
        if (WIFSIGNALED(status)) run.state.signal = WTERMSIG(status);
        run.reaped = true;
        run.endedAt = Zb7_PlatformMonotonicNanoseconds();
    }
    Finish(run);
}

int Zb7_PlatformRunCommand(const ZbCommandRequest &request, ZbCommandState &state) {
    ZbCommandRun run;
    if (const int error = Zb7_PlatformStartCommand(request, run)) return error;
    std::vector<struct pollfd> set;
    while (!run.state.finished) {
        set.clear();
        const int wait = Zb7_PlatformCommandWaitSet(run, set);
        Zb7_PlatformPoll(set, wait);
        Zb7_PlatformCommandService(run, set);
    }
    state = std::move(run.state);
    return 0;
}

int Zb7_PlatformMakeWakeup(ZbWakeup &wakeup) {
    if (const int error = Zb7_PlatformMakePipe(wakeup.readEnd, wakeup.writeEnd)) return error;
    if (const int error = NonBlocking(wakeup.readEnd.fd)) return error;
    return NonBlocking(wakeup.writeEnd.fd);
}

void Zb7_PlatformWake(const ZbWakeup &wakeup) {
    const char one = 1;
    // A full pipe already holds a wake-up: the byte is not needed then.
    (void)Zb7_PlatformWriteOnceToPipe(wakeup.writeEnd.fd, &one, 1);
}

void Zb7_PlatformClearWakeup(const ZbWakeup &wakeup) {
    char buffer[256];
    while (read(wakeup.readEnd.fd, buffer, sizeof buffer) > 0) {
    }
}
