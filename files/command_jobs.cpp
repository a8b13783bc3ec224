#include "files/command_jobs.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/errors.h"

namespace {

constexpr int64_t kSecond = 1000000000;

struct ZbJob {
    ZbCommandRun run;
    ZbJobFormat format;
    int64_t finishedAt = 0;  // monotonic nanoseconds, once finished
};

struct ZbJobTable {
    std::mutex mutex;
    std::condition_variable finished;  // told whenever a job finishes
    std::map<int64_t, std::unique_ptr<ZbJob>> jobs;
    std::thread driver;
    ZbWakeup wakeup;
    bool stopping = false;
};

// Made with the first job and deleted at shut-down, after its thread has ended (the host calls no
// function after shut-down). Never a static object: a joinable thread destroyed at exit would end
// the process.
std::mutex gTableMutex;
ZbJobTable *gTable = nullptr;
// Numbers go on across a shut-down and a new start in the same process, so that a number a
// script kept never names a later job.
std::atomic<int64_t> gLastJobNumber{0};

ZbJobTable &Table() {
    std::lock_guard<std::mutex> lock(gTableMutex);
    if (!gTable) gTable = new ZbJobTable;
    return *gTable;
}

int RunningJobs(const ZbJobTable &t) {
    int running = 0;
    for (const auto &[number, job] : t.jobs) running += !job->run.state.finished;
    return running;
}

// Forgets finished answers older than an hour, and the oldest beyond the most kept.
void ForgetOldAnswers(ZbJobTable &t, int64_t now) {
    int kept = 0;
    std::vector<int64_t> old;
    for (auto it = t.jobs.rbegin(); it != t.jobs.rend(); ++it) {
        const ZbJob &job = *it->second;
        if (job.run.state.finished &&
            (now - job.finishedAt > kZbFinishedJobSeconds * kSecond || ++kept > kZbMostFinishedJobs))
            old.push_back(it->first);
    }
    for (const int64_t number : old) t.jobs.erase(number);
}

// The jobs' thread: one poll over every running job's descriptors and the wake-up pipe, then
// each job is served. The table's lock is held except while waiting.
void DriveJobs(ZbJobTable *table) {
    ZbJobTable &t = *table;
    std::vector<struct pollfd> set;
    std::vector<ZbJob *> running;
    std::unique_lock<std::mutex> lock(t.mutex);
    while (!t.stopping) {
        set.clear();
        running.clear();
        set.push_back({t.wakeup.readEnd.fd, POLLIN, 0});
        int wait = -1;
        for (auto &[number, job] : t.jobs) {
            if (job->run.state.finished) continue;
            running.push_back(job.get());
            const int next = Zb7_PlatformCommandWaitSet(job->run, set);
            if (next >= 0 && (wait < 0 || next < wait)) wait = next;
        }
        // Answers nobody reads expire even while no job runs.
        if (wait < 0 && !t.jobs.empty()) wait = 60 * 1000;
        lock.unlock();
        Zb7_PlatformPoll(set, wait);
        lock.lock();
        Zb7_PlatformClearWakeup(t.wakeup);
        // Only this thread finishes or removes a running job, so each is still there.
        bool anyFinished = false;
        const int64_t now = Zb7_PlatformMonotonicNanoseconds();
        for (ZbJob *job : running) {
            Zb7_PlatformCommandService(job->run, set);
            if (job->run.state.finished) {
                job->finishedAt = now;
                anyFinished = true;
            }
        }
        ForgetOldAnswers(t, now);
        if (anyFinished) t.finished.notify_all();
    }
}

}  // namespace

long Zb7_CommandStartError(int error) {
    switch (error) {
    case ENOENT:
        return kFnfErr;
    case ENOTDIR:
        return kDirNFErr;
    case EINVAL:
        return kParamErr;
    default:
        return Zb7_ErrnoToOSErr(error);
    }
}

long Zb7_StartJob(const ZbCommandRequest &request, const ZbJobFormat &format, int64_t &number) {
    ZbJobTable &t = Table();
    std::lock_guard<std::mutex> lock(t.mutex);
    if (RunningJobs(t) >= kZbMostRunningJobs) return kTmfoErr;
    try {
        if (!t.driver.joinable()) {
            if (t.wakeup.readEnd.fd < 0)
                if (const int error = Zb7_PlatformMakeWakeup(t.wakeup)) return Zb7_ErrnoToOSErr(error);
            t.stopping = false;
            t.driver = std::thread(DriveJobs, &t);
        }
        auto job = std::make_unique<ZbJob>();
        job->format = format;
        if (const int error = Zb7_PlatformStartCommand(request, job->run)) return Zb7_CommandStartError(error);
        number = ++gLastJobNumber;
        t.jobs.emplace(number, std::move(job));
    } catch (const std::bad_alloc &) {
        return kMemFullErr;
    } catch (const std::system_error &) {
        return kMemFullErr;  // no thread could be made
    }
    Zb7_PlatformWake(t.wakeup);
    return 0;
}

long Zb7_JobStatus(int64_t number, double waitSeconds, ZbCommandState &state, ZbJobFormat &format) {
    ZbJobTable &t = Table();
    std::unique_lock<std::mutex> lock(t.mutex);
    auto it = t.jobs.find(number);
    if (it == t.jobs.end()) return kFnfErr;
    if (waitSeconds > 0 && !it->second->run.state.finished) {
        const auto until = std::chrono::steady_clock::now() +
                           std::chrono::microseconds(int64_t(std::min(waitSeconds, 86400.0) * 1e6));
        // Another caller may answer and forget the job meanwhile: it is looked up again each time.
        t.finished.wait_until(lock, until, [&] {
            it = t.jobs.find(number);
            return t.stopping || it == t.jobs.end() || it->second->run.state.finished;
        });
        if (it == t.jobs.end()) return kFnfErr;
    }
    try {
        state = it->second->run.state;
    } catch (const std::bad_alloc &) {
        return kMemFullErr;
    }
    if (!state.finished) state.nanoseconds = Zb7_PlatformMonotonicNanoseconds() - it->second->run.startedAt;
    format = it->second->format;
    if (state.finished) t.jobs.erase(it);
    return 0;
}

void Zb7_EndAllJobs() {
    std::unique_ptr<ZbJobTable> table;
    {
        std::lock_guard<std::mutex> lock(gTableMutex);
        table.reset(gTable);
        gTable = nullptr;
    }
    if (!table) return;  // no job ever started
    ZbJobTable &t = *table;
    std::thread driver;
    {
        std::lock_guard<std::mutex> lock(t.mutex);
        t.stopping = true;
        driver = std::move(t.driver);
    }
    if (driver.joinable()) {
        Zb7_PlatformWake(t.wakeup);
        driver.join();
    }
    for (auto &[number, job] : t.jobs) Zb7_PlatformCommandKill(job->run);
}
