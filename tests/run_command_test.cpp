// RunCommand and CommandStatus: arguments that reach the program as they are, how a command ended,
// its two output streams and input, the output bound in bounded memory, the time limit over a
// whole process group, commands that leave a child holding their output, background jobs from
// start to shut-down, and what the host is left with afterwards (no child, no zombie, no
// descriptor). Every answer is parsed as JSON.
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/item_json_test_util.h"
#include "tests/plugin_harness.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using zerbtest::ChildrenOfThisProcess;
using zerbtest::GoneSoon;
using zerbtest::OpenDescriptors;
using zerbtest::PeakMemoryKiB;
using zerbtest::ResetPeakMemory;

// A command object: {"argv": [...]} and, after it, the members of `more` (a JSON object's text).
std::string Argv(const std::vector<std::string> &argv, const std::string &more = "{}") {
    rapidjson::Document command;
    command.Parse(more.c_str());
    rapidjson::Value list(rapidjson::kArrayType);
    for (const std::string &a : argv)
        list.PushBack(rapidjson::Value(a.c_str(), rapidjson::SizeType(a.size()), command.GetAllocator()),
                      command.GetAllocator());
    command.AddMember("argv", list, command.GetAllocator());
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> out(buffer);
    command.Accept(out);
    return buffer.GetString();
}
std::string Shell(const std::string &command, const std::string &more = "{}") {
    return Argv({"/bin/sh", "-c", command}, more);
}

rapidjson::Document Parse(const std::string &answer) {
    rapidjson::Document d;
    d.Parse(answer.c_str());
    EXPECT_FALSE(d.HasParseError()) << answer.substr(0, 300);
    if (d.HasParseError() || !d.IsObject()) d.Parse("{}");
    return d;
}
std::string Str(const rapidjson::Value &answer, const char *key) {
    return answer.HasMember(key) && answer[key].IsString()
               ? std::string(answer[key].GetString(), answer[key].GetStringLength())
               : "<no " + std::string(key) + ">";
}
bool IsNull(const rapidjson::Value &answer, const char *key) { return answer.HasMember(key) && answer[key].IsNull(); }
int IntOf(const rapidjson::Value &answer, const char *key) {
    return answer.HasMember(key) && answer[key].IsInt() ? answer[key].GetInt() : -9999;
}
bool BoolOf(const rapidjson::Value &answer, const char *key) {
    EXPECT_TRUE(answer.HasMember(key) && answer[key].IsBool()) << key;
    return answer.HasMember(key) && answer[key].IsBool() && answer[key].GetBool();
}

class RunCommandTest : public zerbtest::PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        ASSERT_EQ(Call("ZbFile_Version", {"-RegisterExecuteShellFunction"}), "0");
        marker = "60.0" + std::to_string(getpid());
    }
    std::string RunText(const std::string &command, const std::string &switches = "") {
        return Call("ZbFile_RunCommand", {switches, command});
    }
    rapidjson::Document Run(const std::string &command, const std::string &switches = "") {
        return Parse(RunText(command, switches));
    }
    rapidjson::Document RunWithInput(const std::string &command, const std::string &input) {
        return Parse(Call("ZbFile_RunCommand", {"", command, input}));
    }
    // Starts a job and answers its number, retrying while 64 run already.
    int Start(const std::string &command, const std::string &switches = "-Background") {
        for (int k = 0; k < 1000; ++k) {
            const std::string answer = RunText(command, switches);
            if (answer != "$$-42") return IntOf(Parse(answer), "job");
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return -1;
    }
    std::string Status(int job, const std::string &wait = "", const std::string &switches = "") {
        if (wait.empty()) return Call("ZbFile_CommandStatus", {switches, std::to_string(job)});
        return Call("ZbFile_CommandStatus", {switches, std::to_string(job), wait});
    }
    std::string marker;  // an argument of sleeps no other process has
};

}  // namespace

TEST_F(RunCommandTest, ArgumentsReachTheProgramExactlyAsGiven) {
    if (zerbtest::kUnderEmulation) GTEST_SKIP() << zerbtest::kEmulationSkip;
    const std::vector<std::string> arguments = {
        "a b.png", "  two  spaces ", "\"double\" 'single'", "$HOME $(id) `id` ${x}", "line\nbreak\r\n",
        "caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80", "-x", "", "*", "; rm -rf /", "back\\slash", "tab\there"};
    const auto answer = Run(Argv([&] {
        std::vector<std::string> all = {ZERB_PRINT_ARGS_PATH};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
    }()));
    EXPECT_EQ(IntOf(answer, "exitCode"), 0);
    rapidjson::Document printed;
    printed.Parse(Str(answer, "stdout").c_str());
    ASSERT_TRUE(printed.IsArray()) << Str(answer, "stdout");
    ASSERT_EQ(printed.Size(), arguments.size());
    for (rapidjson::SizeType k = 0; k < printed.Size(); ++k)
        EXPECT_EQ(std::string(printed[k].GetString(), printed[k].GetStringLength()), arguments[k]);
    // A name without a slash is looked for on the command's PATH; "shell" runs /bin/sh -c.
    EXPECT_EQ(Str(Run(Argv({"printf", "%s|", "x y", "$z"})), "stdout"), "x y|$z|");
    EXPECT_EQ(Str(Run(R"({"shell": "printf '%s' \"$0\"; echo \" $((6*7))\""})"), "stdout"), "/bin/sh 42\n");
}

TEST_F(RunCommandTest, ExitCodesSignalsAndStandardErrorApart) {
    if (zerbtest::kUnderEmulation) GTEST_SKIP() << zerbtest::kEmulationSkip;
    auto answer = Run(Shell("echo out; echo err >&2; exit 3"));
    EXPECT_EQ(IntOf(answer, "exitCode"), 3);
    EXPECT_TRUE(IsNull(answer, "signal"));
    EXPECT_EQ(Str(answer, "stdout"), "out\n");
    EXPECT_EQ(Str(answer, "stderr"), "err\n");
    EXPECT_FALSE(BoolOf(answer, "timedOut"));
    EXPECT_FALSE(BoolOf(answer, "truncated"));
    ASSERT_TRUE(answer.HasMember("seconds") && answer["seconds"].IsNumber());
    EXPECT_GE(answer["seconds"].GetDouble(), 0);
    EXPECT_LT(answer["seconds"].GetDouble(), 5);

    answer = Run(Shell("kill -TERM $$"));
    EXPECT_TRUE(IsNull(answer, "exitCode"));
    EXPECT_EQ(IntOf(answer, "signal"), SIGTERM);
    answer = Run(Shell("kill -KILL $$"));
    EXPECT_EQ(IntOf(answer, "signal"), SIGKILL);
    EXPECT_EQ(IntOf(Run(Argv({"false"})), "exitCode"), 1);
    // A program that cannot be found is not run at all.
    EXPECT_EQ(RunText(Argv({"zerb-no-such-program"})), "$$-43");
    EXPECT_EQ(RunText(Argv({"/no/such/program"})), "$$-43");
    // A program that exists but runs into trouble is an answer, not an error.
    EXPECT_EQ(IntOf(Run(Argv({"ls", "/no/such/folder"})), "exitCode"), 2);
}

TEST_F(RunCommandTest, CommandsThatAreNotWellFormedAnswer50) {
    for (const std::string bad :
         {"", "not json", "[\"ls\"]", "{}", R"({"argv": []})", R"({"argv": "ls"})", R"({"argv": ["ls", 3]})",
          R"({"argv": [""]})", R"({"argv": ["ls"], "shell": "ls"})", R"({"shell": ""})", R"({"shell": 7})",
          R"({"argv": ["ls\u0000x"]})", R"({"argv": ["ls"], "timeout": 5})", R"({"argv": ["ls"], "timeoutSeconds": -1})",
          R"({"argv": ["ls"], "timeoutSeconds": "5"})", R"({"argv": ["ls"], "maxOutputBytes": -1})",
          R"({"argv": ["ls"], "maxOutputBytes": 1e12})", R"({"argv": ["ls"], "env": {"A=B": "x"}})",
          R"({"argv": ["ls"], "env": {"A": 1}})", R"({"argv": ["ls"], "env": ["A"]})", R"({"argv": ["ls"], "cwd": "tmp"})",
          R"({"argv": ["ls"], "inheritEnv": "yes"})"})
        EXPECT_EQ(RunText(bad), "$$-50") << bad;
}

TEST_F(RunCommandTest, WorkingFolderAndEnvironment) {
    EXPECT_EQ(Str(Run(Argv({"pwd"}, R"({"cwd": "/usr/share"})")), "stdout"), "/usr/share\n");
    EXPECT_EQ(RunText(Argv({"pwd"}, R"({"cwd": "/no/such/folder"})")), "$$-120");
    EXPECT_EQ(RunText(Argv({"pwd"}, R"({"cwd": "/etc/hostname"})")), "$$-120");
    // A small clean environment, with the variables asked for (one replacing PATH's value).
    setenv("ZERB_HOST_ONLY", "host", 1);
    const std::string clean = Str(Run(Argv({"env"}, R"({"env": {"ZB_A": "a b", "LANG": "C"}})")), "stdout");
    EXPECT_NE(clean.find("PATH=/usr/local/sbin:"), std::string::npos) << clean;
    EXPECT_NE(clean.find("HOME="), std::string::npos);
    EXPECT_NE(clean.find("ZB_A=a b\n"), std::string::npos);
    EXPECT_NE(clean.find("LANG=C\n"), std::string::npos);
    EXPECT_EQ(std::count(clean.begin(), clean.end(), '\n'), 4) << clean;
    const std::string inherited = Str(Run(Argv({"env"}, R"({"inheritEnv": true, "env": {"ZB_A": "1"}})")), "stdout");
    EXPECT_NE(inherited.find("ZERB_HOST_ONLY=host\n"), std::string::npos);
    EXPECT_NE(inherited.find("ZB_A=1\n"), std::string::npos);
    unsetenv("ZERB_HOST_ONLY");
    // The program is looked for on the command's own PATH.
    EXPECT_EQ(RunText(Argv({"ls"}, R"({"env": {"PATH": "/nowhere"}})")), "$$-43");
}

TEST_F(RunCommandTest, InputGoesToStandardInputWithLineFeeds) {
    auto answer = RunWithInput(Argv({"cat"}), "one\rtwo\r\nthr\xC3\xA9""e");
    EXPECT_EQ(Str(answer, "stdout"), "one\ntwo\nthr\xC3\xA9""e");
    // Without input the command reads an empty input, and is not left waiting.
    const auto started = Clock::now();
    EXPECT_EQ(Str(Run(Argv({"cat"})), "stdout"), "");
    EXPECT_LT(Clock::now() - started, std::chrono::seconds(2));
    // An input larger than a pipe holds, read while output is written; and one the program never reads.
    const std::string big(3 << 20, 'i');
    EXPECT_EQ(Str(RunWithInput(Argv({"wc", "-c"}), big), "stdout"), std::to_string(big.size()) + "\n");
    EXPECT_EQ(Str(RunWithInput(Argv({"cat"}), big), "stdout").size(), big.size());
    answer = RunWithInput(Argv({"true"}), big);
    EXPECT_EQ(IntOf(answer, "exitCode"), 0);
}

TEST_F(RunCommandTest, OutputIsDecodedOrGivenAsBase64) {
    EXPECT_EQ(Str(Run(Argv({"printf", "a\\377b"})), "stdout"), "a\xEF\xBF\xBD""b");  // U+FFFD
    EXPECT_EQ(Str(Run(Argv({"printf", "caf\\351"}), "-Encoding=ISO_8859_1"), "stdout"), "caf\xC3\xA9");
    const auto answer = Run(Argv({"sh", "-c", "printf '\\000\\001\\377'; printf 'e' >&2"}), "-Base64Output");
    EXPECT_EQ(Str(answer, "stdoutBase64"), "AAH/");
    EXPECT_EQ(Str(answer, "stderrBase64"), "ZQ==");
    EXPECT_FALSE(answer.HasMember("stdout"));
}

TEST_F(RunCommandTest, OutputPastTheBoundIsReadAndDroppedInBoundedMemory) {
    // 100 MB against the default 10 MiB a stream: the program runs to its end.
    auto answer = Run(Shell("head -c 100000000 /dev/zero | tr '\\0' x; echo done >&2"));
    EXPECT_EQ(IntOf(answer, "exitCode"), 0);
    EXPECT_TRUE(BoolOf(answer, "truncated"));
    EXPECT_EQ(Str(answer, "stdout").size(), size_t(10) << 20);
    EXPECT_EQ(Str(answer, "stderr"), "done\n");
    // What is dropped is never held: with a 1 MiB bound, 100 MB cost little memory.
    ResetPeakMemory();
    const long before = PeakMemoryKiB();
    answer = Run(Shell("yes | head -c 100000000", R"({"maxOutputBytes": 1048576})"));
    const long grown = PeakMemoryKiB() - before;
    EXPECT_TRUE(BoolOf(answer, "truncated"));
    EXPECT_EQ(Str(answer, "stdout").size(), size_t(1) << 20);
    EXPECT_LT(grown, (zerbtest::kSanitized ? 64 : 24) * 1024) << "KiB of peak memory for 100 MB of output";
    // Exactly the bound is not truncated.
    answer = Run(Argv({"head", "-c", "1000", "/dev/zero"}, R"({"maxOutputBytes": 1000})"));
    EXPECT_FALSE(BoolOf(answer, "truncated"));
}

TEST_F(RunCommandTest, ChildThatHoldsTheOutputDoesNotHoldTheAnswer) {
    // Both a child left in the group and a daemon in a session of its own keep the pipes open.
    for (const std::string &command : {"sleep " + marker + " & echo started", "setsid sleep " + marker + " & echo started"}) {
        const auto started = Clock::now();
        const auto answer = Run(Shell(command));
        EXPECT_LT(Clock::now() - started, std::chrono::seconds(1)) << command;
        EXPECT_EQ(Str(answer, "stdout"), "started\n");
        EXPECT_EQ(IntOf(answer, "exitCode"), 0);
        EXPECT_FALSE(BoolOf(answer, "timedOut"));
        std::system(("pkill -f 'sleep " + marker + "'").c_str());
    }
    EXPECT_TRUE(GoneSoon(marker));
}

TEST_F(RunCommandTest, TimeLimitEndsAGroupThatIgnoresTerminate) {
    auto started = Clock::now();
    auto answer = Run(Shell("trap '' TERM; echo before; sleep " + marker + " & sleep " + marker + "; wait",
                            R"({"timeoutSeconds": 1})"));
    auto took = Clock::now() - started;
    EXPECT_TRUE(BoolOf(answer, "timedOut"));
    EXPECT_EQ(Str(answer, "stdout"), "before\n");
    EXPECT_EQ(IntOf(answer, "signal"), SIGKILL);
    EXPECT_GE(took, std::chrono::milliseconds(950));
    EXPECT_LT(took, std::chrono::seconds(2));
    EXPECT_TRUE(GoneSoon(marker));
    // A program that goes at the polite request answers sooner; fractions of a second count.
    started = Clock::now();
    answer = Run(Argv({"sleep", marker}, R"({"timeoutSeconds": 0.3})"));
    took = Clock::now() - started;
    EXPECT_TRUE(BoolOf(answer, "timedOut"));
    EXPECT_EQ(IntOf(answer, "signal"), SIGTERM);
    EXPECT_LT(took, std::chrono::milliseconds(1000));
    // 0 is no limit at all; a quick command is never held back by one.
    EXPECT_FALSE(BoolOf(Run(Argv({"sleep", "0.2"}, R"({"timeoutSeconds": 0})")), "timedOut"));
    EXPECT_TRUE(ChildrenOfThisProcess().empty());
}

TEST_F(RunCommandTest, ManyBackgroundJobsEndWithoutZombieOrDescriptor) {
    const int descriptors = OpenDescriptors();
    std::vector<int> jobs;
    for (int k = 0; k < 200; ++k) jobs.push_back(Start(Argv({"printf", "job %s", std::to_string(k)})));
    for (int k = 0; k < 200; ++k) EXPECT_EQ(jobs[size_t(k)], k + 1);  // numbered in the order they start
    for (int k = 0; k < 200; ++k) {
        const auto answer = Parse(Status(jobs[size_t(k)], "10"));
        EXPECT_FALSE(BoolOf(answer, "running"));
        EXPECT_EQ(IntOf(answer, "job"), jobs[size_t(k)]);
        EXPECT_EQ(Str(answer, "stdout"), "job " + std::to_string(k));
        EXPECT_EQ(IntOf(answer, "exitCode"), 0);
    }
    // An answer is given once; a number never given is not known either.
    EXPECT_EQ(Status(jobs[0]), "$$-43");
    EXPECT_EQ(Status(9999), "$$-43");
    EXPECT_EQ(Status(0), "$$-50");
    EXPECT_EQ(ChildrenOfThisProcess(), std::vector<std::string>{});

    // Jobs nobody asks after again are reaped all the same.
    for (int k = 0; k < 30; ++k) ASSERT_GT(Start(Argv({"true"})), 0);
    for (int k = 0; k < 100 && !ChildrenOfThisProcess().empty(); ++k)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(ChildrenOfThisProcess(), std::vector<std::string>{});
    plugin.reset();  // shut-down ends the jobs' thread and closes what it held
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(RunCommandTest, JobStatusWhileRunningWaitingAndAtShutDown) {
    const int job = Start(Shell("echo first; read line; echo \"got $line\"; exit 4"));
    ASSERT_EQ(job, 1);
    auto answer = Parse(Status(job, "3"));  // its input is empty: "read" ends at once
    EXPECT_FALSE(BoolOf(answer, "running"));
    EXPECT_EQ(Str(answer, "stdout"), "first\ngot \n");
    EXPECT_EQ(IntOf(answer, "exitCode"), 4);

    const int slow = Parse(Call("ZbFile_RunCommand", {"-Background", Argv({"sh", "-c", "cat; sleep 0.5; echo end"}), "in"}))["job"].GetInt();
    answer = Parse(Status(slow));
    EXPECT_TRUE(BoolOf(answer, "running"));
    EXPECT_TRUE(IsNull(answer, "exitCode"));
    const auto started = Clock::now();
    answer = Parse(Status(slow, "5"));
    EXPECT_LT(Clock::now() - started, std::chrono::seconds(2));  // answered when it ended, not after 5 s
    EXPECT_FALSE(BoolOf(answer, "running"));
    EXPECT_EQ(Str(answer, "stdout"), "inend\n");

    // A job's time limit works as in the foreground; "-Base64Output" of its start is kept.
    const int limited = Start(Argv({"sh", "-c", "printf x; sleep " + marker}, R"({"timeoutSeconds": 0.2})"),
                              "-Background -Base64Output");
    answer = Parse(Status(limited, "3"));
    EXPECT_TRUE(BoolOf(answer, "timedOut"));
    EXPECT_EQ(Str(answer, "stdoutBase64"), "eA==");

    // At most 64 run at once; shut-down ends them all, children of theirs too.
    for (int k = 0; k < 64; ++k) ASSERT_GT(Start(Shell("sleep " + marker + " & sleep " + marker + "; wait")), 0);
    EXPECT_EQ(RunText(Argv({"true"}), "-Background"), "$$-42");
    plugin->Shutdown();
    EXPECT_TRUE(GoneSoon(marker));
    EXPECT_EQ(ChildrenOfThisProcess(), std::vector<std::string>{});
}

TEST_F(RunCommandTest, CallsFromSeveralThreadsShareTheJobs) {
    EXPECT_EQ(zerbtest::WrongInThreads(4, [&](size_t t) {
                  std::string wrong;
                  for (int k = 0; k < 15; ++k) {
                      const std::string expected = std::to_string(t) + "-" + std::to_string(k);
                      if (Str(Run(Argv({"printf", "%s", expected})), "stdout") != expected) wrong += "run " + expected + " ";
                      const int job = Start(Argv({"printf", "%s", expected}));
                      if (Str(Parse(Status(job, "10")), "stdout") != expected) wrong += "job " + expected + " ";
                  }
                  return wrong;
              }),
              "");
    EXPECT_EQ(ChildrenOfThisProcess(), std::vector<std::string>{});
}

// The answers as fmxhost prints them, through Python's json module (what they hold is checked above).
TEST_F(RunCommandTest, ThroughFmxhostTheAnswersParseAsJSON) {
    if (zerbtest::kUnderEmulation) GTEST_SKIP() << zerbtest::kEmulationSkip;
    const std::string printArgs = ZERB_PRINT_ARGS_PATH;
    EXPECT_EQ(zerbtest::AnswersPythonCannotRead(
                  {"ZbFile_Version(\"-RegisterExecuteShellFunction\")",
                   "ZbFile_RunCommand(\"\" ; \"{\\\"argv\\\":[\\\"" + printArgs + "\\\",\\\"a b\\\",\\\"$x\\\",\\\"\\\\\\\"q\\\\\\\"\\\"]}\")",
                   "ZbFile_RunCommand(\"-Background\" ; \"{\\\"shell\\\":\\\"echo bg; exit 2\\\"}\")",
                   "ZbFile_CommandStatus(\"\" ; 1 ; 5)"}),
              "");
}
