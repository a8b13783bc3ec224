// The background jobs of RunCommand: commands started by one call and asked after by others
// (CommandStatus), from any thread of the host. One thread of the plug-in, started with the first
// job, drives every running job: it collects their output, writes their input, ends them at their
// time limits and reaps them as they end, so that no child is left a zombie even when nobody asks
// after it again. Jobs are numbered 1, 2, 3 ... in the order they start, for the whole process.
#ifndef ZERB_FILES_COMMAND_JOBS_H
#define ZERB_FILES_COMMAND_JOBS_H

#include <cstdint>

#include "platform/commands.h"

// Jobs that may run at once; one more is refused with -42.
constexpr int kZbMostRunningJobs = 64;
// A finished job's answer is kept this long for a CommandStatus that asks for it, and at most
// this many of them (the oldest go first).
constexpr int64_t kZbFinishedJobSeconds = 3600;
constexpr int kZbMostFinishedJobs = 1024;

// How the answers of a job are written, as chosen by the call that started it.
struct ZbJobFormat {
    bool base64 = false;
    int encoding = 0;  // ZbTextEncoding
};

// The error number of a command that could not be started (an errno value from
// Zb7_PlatformStartCommand): -43 for a missing program, -120 for a missing working folder.
[[nodiscard]] long Zb7_CommandStartError(int error);

// Starts the command as a background job and answers its number. -42 when kZbMostRunningJobs
// run already, or the error of starting it.
[[nodiscard]] long Zb7_StartJob(const ZbCommandRequest &request, const ZbJobFormat &format, int64_t &number);

// The job's state (a copy), waiting up to waitSeconds for it to finish. A finished job is
// forgotten once answered. -43 for a job that is not known (never started, or already answered
// or expired).
[[nodiscard]] long Zb7_JobStatus(int64_t number, double waitSeconds, ZbCommandState &state, ZbJobFormat &format);

// At shut-down: ends every running job's process group, reaps them, ends the jobs' thread and
// forgets every job. A later job starts the thread again.
void Zb7_EndAllJobs();

#endif
