// ExecuteShell, Launch and the running of programs beneath them: output, line ends, encodings, the
// time limit, the output bound, what the command is given, and what the host is left with
// afterwards (descriptors, children).
#include <dirent.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/processes.h"
#include "tests/plugin_harness.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using zerbtest::ChildrenOfThisProcess;
using zerbtest::OpenDescriptors;
using zerbtest::ProcessWithArgumentExists;

class ShellTest : public zerbtest::PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        ASSERT_EQ(Call("ZbFile_Version", {"-RegisterExecuteShellFunction"}), "0");
    }
    std::string Shell(const std::string &command, const std::string &switches = "") {
        return Call("ZbFile_ExecuteShell", {switches, command});
    }
};

}  // namespace

TEST_F(ShellTest, AnswersAllOutputWithHostLineEnds) {
    const std::string big = Shell("head -c 1500000 /dev/zero | tr '\\0' x; printf 'end'");
    EXPECT_EQ(big.size(), 1500003u);
    EXPECT_EQ(big.substr(big.size() - 4), "xend");
    EXPECT_EQ(Shell("printf 'a\\nb\\r\\nc\\n'"), "a\rb\rc\r");
    // UTF-8 by default; another encoding by its switch.
    EXPECT_EQ(Shell("printf 'caf\\303\\251'"), "caf\xC3\xA9");
    EXPECT_EQ(Shell("printf 'caf\\351'", "-Encoding=ISO_8859_1"), "caf\xC3\xA9");
}

TEST_F(ShellTest, SilentCommandsAndEmptyCommandsAnswerEmptyText) {
    EXPECT_EQ(Shell("false"), "");
    EXPECT_EQ(Shell("ls /no/such/folder"), "");  // its complaint goes to standard error, not the answer
    EXPECT_EQ(Shell(""), "");
}

TEST_F(ShellTest, CommandGetsEndOfFileAndNoDescriptorOfTheHost) {
    // Descriptors of the host's own, not marked close-on-exec, must not reach the command.
    const int leaked = open("/dev/null", O_RDONLY);
    ASSERT_GE(leaked, 3);
    const auto started = Clock::now();
    EXPECT_EQ(Shell("cat; read line; echo \"got:$line\""), "got:\r");
    EXPECT_LT(Clock::now() - started, std::chrono::seconds(5));
    EXPECT_EQ(Shell("ls /proc/self/fd"), "0\r1\r2\r3\r");  // 3 is ls's own listing of the folder
    close(leaked);
}

TEST_F(ShellTest, CommandStartsWithEverySignalAtItsDefaultAndNoneBlocked) {
    // Whatever the host ignores or blocks in the calling thread, the command starts clean; glibc's
    // own signals (32 and 33) included.
    struct sigaction ignore = {}, savedPipe = {}, savedUser = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, &savedPipe);
    sigaction(SIGUSR2, &ignore, &savedUser);
    sigset_t blocked, savedMask;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, &savedMask);
    const std::string status = Shell("grep -E '^Sig(Ign|Blk)' /proc/self/status");
    pthread_sigmask(SIG_SETMASK, &savedMask, nullptr);
    sigaction(SIGPIPE, &savedPipe, nullptr);
    sigaction(SIGUSR2, &savedUser, nullptr);
    EXPECT_EQ(status, "SigBlk:\t0000000000000000\rSigIgn:\t0000000000000000\r");
}

TEST_F(ShellTest, TimeLimitEndsTheCommandAndItsChildren) {
    const std::string marker = "60.0" + std::to_string(getpid());
    auto started = Clock::now();
    EXPECT_EQ(Shell("sleep " + marker + " & sleep " + marker + "; wait", "-TimeoutSeconds=1"), "$$-1712");
    auto took = Clock::now() - started;
    EXPECT_GE(took, std::chrono::milliseconds(900));
    EXPECT_LT(took, std::chrono::seconds(2));
    EXPECT_FALSE(ProcessWithArgumentExists(marker));
    // What was written before the limit is the answer.
    started = Clock::now();
    EXPECT_EQ(Shell("echo partial; sleep " + marker, "-Encoding=UTF8 -TimeoutSeconds=1"), "partial\r");
    EXPECT_LT(Clock::now() - started, std::chrono::seconds(2));
    // A shell that closes its output but goes on running is ended too.
    started = Clock::now();
    EXPECT_EQ(Shell("echo early; exec >&-; sleep " + marker, "-TimeoutSeconds=1"), "early\r");
    EXPECT_LT(Clock::now() - started, std::chrono::seconds(2));
    EXPECT_FALSE(ProcessWithArgumentExists(marker));
    EXPECT_TRUE(ChildrenOfThisProcess().empty());
    // A quick command is not held back by the limit.
    started = Clock::now();
    EXPECT_EQ(Shell("echo quick", "-TimeoutSeconds=30"), "quick\r");
    EXPECT_LT(Clock::now() - started, std::chrono::seconds(2));
}

TEST_F(ShellTest, ManyCallsLeaveNoChildAndNoDescriptor) {
    const int before = OpenDescriptors();
    for (int k = 0; k < 1000; ++k) ASSERT_EQ(Shell("echo " + std::to_string(k)), std::to_string(k) + "\r");
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(ChildrenOfThisProcess(), std::vector<std::string>{});
}

TEST_F(ShellTest, CallsFromSeveralThreadsGetTheirOwnOutput) {
    EXPECT_EQ(zerbtest::WrongInThreads(6, [&](size_t t) {
                  std::string wrong;
                  for (int k = 0; k < 20; ++k) {
                      const std::string expected = std::to_string(t) + "-" + std::to_string(k);
                      const std::string got = Shell("printf '%s' " + expected);
                      if (got != expected) wrong += got + "!=" + expected + " ";
                  }
                  return wrong;
              }),
              "");
}

TEST_F(ShellTest, NoPipeAnswers4218) {
    struct rlimit saved;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
    struct rlimit tight = saved;
    const int lowestFree = dup(0);
    close(lowestFree);
    tight.rlim_cur = rlim_t(lowestFree);  // no descriptor number is left for a pipe
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
    const std::string answer = Shell("echo never");
    setrlimit(RLIMIT_NOFILE, &saved);
    EXPECT_EQ(answer, "$$-4218");
}

namespace {

// Launch with a stand-in opener on the PATH that behaves as the test says.
class LaunchTest : public zerbtest::PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        dir = fs::temp_directory_path() / ("zerb-launch-" + std::to_string(getpid()));
        fs::create_directories(dir / "bin");
        std::ofstream(dir / "doc.txt") << "x";
        savedPath = std::getenv("PATH") ? std::getenv("PATH") : "";
        setenv("PATH", ((dir / "bin").string() + ":" + savedPath).c_str(), 1);
    }
    void TearDown() override {
        setenv("PATH", savedPath.c_str(), 1);
        fs::remove_all(dir);
        PluginTest::TearDown();
    }
    void Opener(const std::string &body) {
        const fs::path script = dir / "bin" / "xdg-open";
        std::ofstream(script) << "#!/bin/sh\n" << body << "\n";
        fs::permissions(script, fs::perms::owner_all);
    }
    fs::path dir;
    std::string savedPath;
};

}  // namespace

TEST_F(LaunchTest, OpensTheItemAndAnswersTheOpenersFailures) {
    Opener("printf '%s' \"$1\" > '" + (dir / "opened").string() + "'");
    EXPECT_EQ(Call("ZbFile_Launch", {"", (dir / "doc.txt").string()}), "0");
    for (int k = 0; k < 50 && !fs::exists(dir / "opened"); ++k) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(zerbtest::Contents((dir / "opened").string()), (dir / "doc.txt").string());

    Opener("exit 3");  // no application for the item
    EXPECT_EQ(Call("ZbFile_Launch", {"", (dir / "doc.txt").string()}), "$$-10814");
    Opener("exit 2");
    EXPECT_EQ(Call("ZbFile_Launch", {"", (dir / "doc.txt").string()}), "$$-43");

    EXPECT_EQ(Call("ZbFile_Launch", {"", ""}), "$$-50");
    EXPECT_EQ(Call("ZbFile_Launch", {"", (dir / "missing.txt").string()}), "$$-43");
}

TEST_F(LaunchTest, ReturnsAtOnceAndLeavesNoChild) {
    // An opener that stays with the application it started.
    const std::string marker = "30.0" + std::to_string(getpid());
    Opener("exec sleep " + marker);
    const auto started = Clock::now();
    EXPECT_EQ(Call("ZbFile_Launch", {"", dir.string()}), "0");
    EXPECT_LT(Clock::now() - started, std::chrono::seconds(1));
    EXPECT_TRUE(ProcessWithArgumentExists(marker));
    EXPECT_EQ(ChildrenOfThisProcess(), std::vector<std::string>{});
    std::system(("pkill -f 'sleep " + marker + "'").c_str());
}

namespace {

// Zb7_PlatformRunProgram on its own, as the movie poster frame uses it.
struct ProgramRun {
    int error = 0;
    std::string output;
    ZbProgramOutcome outcome;
    Clock::duration took{};
};

ProgramRun RunProgram(const std::vector<std::string> &arguments, long milliseconds, size_t limit) {
    ProgramRun run;
    const auto started = Clock::now();
    run.error = Zb7_PlatformRunProgram(arguments, milliseconds, limit, run.output, run.outcome);
    run.took = Clock::now() - started;
    return run;
}

}  // namespace

TEST(ProgramLaunchTest, ArgumentsReachTheProgramAsTheyAreAndItsStatusComesBack) {
    ProgramRun run = RunProgram({"sh", "-c", "printf '%s|' \"$@\"; exit 3", "sh", "a b", "$HOME", "'; ls", "-x"}, 0, SIZE_MAX);
    EXPECT_EQ(run.error, 0);
    EXPECT_EQ(run.output, "a b|$HOME|'; ls|-x|");
    EXPECT_EQ(run.outcome.status, 3);
    EXPECT_FALSE(run.outcome.timedOut || run.outcome.outputTooLong);
    // With a time limit the status is taken by the timed wait.
    EXPECT_EQ(RunProgram({"sh", "-c", "kill -TERM $$"}, 5000, SIZE_MAX).outcome.status, 128 + SIGTERM);
    if (zerbtest::kUnderEmulation) GTEST_SKIP() << zerbtest::kEmulationSkip << ": a failed exec";
    run = RunProgram({"/no/such/program"}, 0, SIZE_MAX);
    EXPECT_EQ(run.error, ENOENT);
    EXPECT_FALSE(run.outcome.started);
}

TEST(ProgramLaunchTest, OutputPastTheBoundEndsTheProgram) {
    const std::string marker = "60.0" + std::to_string(getpid());
    // Exactly the bound is whole output; one byte more is too much.
    ProgramRun run = RunProgram({"head", "-c", "100000", "/dev/zero"}, 0, 100000);
    EXPECT_EQ(run.output.size(), 100000u);
    EXPECT_FALSE(run.outcome.outputTooLong);
    EXPECT_EQ(run.outcome.status, 0);
    // A writer that never stops, with a child of its own that keeps the pipe open, and no time limit.
    run = RunProgram({"sh", "-c", "sleep " + marker + " & exec yes"}, 0, 100000);
    EXPECT_EQ(run.error, 0);
    EXPECT_TRUE(run.outcome.outputTooLong);
    EXPECT_EQ(run.output.size(), 100000u);
    EXPECT_EQ(run.output.substr(0, 4), "y\ny\n");
    EXPECT_EQ(run.outcome.status, -1);
    EXPECT_LT(run.took, std::chrono::seconds(2));
    EXPECT_FALSE(ProcessWithArgumentExists(marker));
    EXPECT_TRUE(ChildrenOfThisProcess().empty());
}

TEST(ProgramLaunchTest, TimeLimitInMillisecondsEndsTheProgramsGroup) {
    const std::string marker = "60.0" + std::to_string(getpid());
    const ProgramRun run = RunProgram({"sh", "-c", "printf early; sleep " + marker + " & sleep " + marker}, 300, SIZE_MAX);
    EXPECT_TRUE(run.outcome.timedOut);
    EXPECT_EQ(run.output, "early");
    EXPECT_GE(run.took, std::chrono::milliseconds(290));
    EXPECT_LT(run.took, std::chrono::milliseconds(1300));
    EXPECT_FALSE(ProcessWithArgumentExists(marker));
    EXPECT_TRUE(ChildrenOfThisProcess().empty());
}

TEST(ProgramLaunchTest, ProgramsAreFoundInTheSystemFoldersWithoutAPath) {
    const std::string saved = std::getenv("PATH") ? std::getenv("PATH") : "";
    const fs::path empty = fs::temp_directory_path() / ("zerb-empty-path-" + std::to_string(getpid()));
    fs::create_directories(empty);
    setenv("PATH", empty.c_str(), 1);
    const std::string sh = Zb7_PlatformFindProgram("sh");
    const std::string missing = Zb7_PlatformFindProgram("zerb-no-such-program");
    // A program on the PATH comes before the system's own.
    std::ofstream(empty / "sh") << "#!/bin/false\n";
    fs::permissions(empty / "sh", fs::perms::owner_all);
    const std::string first = Zb7_PlatformFindProgram("sh");
    setenv("PATH", saved.c_str(), 1);
    fs::remove_all(empty);
    EXPECT_TRUE(sh == "/usr/bin/sh" || sh == "/bin/sh") << sh;
    EXPECT_EQ(missing, "");
    EXPECT_EQ(first, (empty / "sh").string());
}
