// Loads a fresh copy of the built plug-in into the host emulator for each test, so that every
// test starts from a plug-in that has just been loaded (its globals at their defaults).
#ifndef ZERB_TESTS_PLUGIN_HARNESS_H
#define ZERB_TESTS_PLUGIN_HARNESS_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/host_api.h"
#include "host/objects.h"
#include "fmx/fmx.h"
#include "core/functions.h"
#include "platform/system_calls.h"
#include "tests/host_text_util.h"
#include "tests/process_util.h"

namespace zerbtest {

// A cross build whose programs run under user-mode emulation (qemu-aarch64), which lacks some of
// what the kernel gives a native program: statx's mount id (answered as 0), a posix_spawn that
// reports a failed exec, a preloaded library that reaches the emulated program.
constexpr bool kUnderEmulation = sizeof(ZERB_RUN_PREFIX) > 1;
constexpr char kEmulationSkip[] = "qemu-user lacks what this test needs (see kUnderEmulation)";
// Whether the tests run with AddressSanitizer, whose quarantine keeps freed memory in the peak.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

// A handler linked into the tests, called in this process with text parameters (as function
// `id`): its answer as UTF-8.
inline std::string CallHandler(ZbHandler handler, std::initializer_list<std::string> values, short id = 0) {
    fmx::ExprEnvUniquePtr env;
    fmx::DataVectUniquePtr parameters;
    for (const std::string &v : values) parameters->PushBack(*TextData(v));
    fmx::DataUniquePtr result;
    handler(id, *env, *parameters, *result);
    return TextOf(*result);
}

// A fault sweep. For each error and n = 1, 2, ...: prepare(), then run() with this thread's n-th
// system call failing with that error (error 0: with `racer` run just before that call instead),
// then check(answer, reached). `reached` is false when run() made fewer than n calls, so that
// nothing failed; that run ends the sweep of the error.
inline void SweepFailingCalls(std::initializer_list<int> errors, const std::function<void()> &prepare,
                              const std::function<std::string()> &run,
                              const std::function<void(const std::string &answer, bool reached)> &check,
                              void (*racer)(void *) = nullptr) {
    for (const int error : errors) {
        for (long n = 1;; ++n) {
            SCOPED_TRACE("call " + std::to_string(n) + " failing with errno " + std::to_string(error));
            prepare();
            if (error)
                ZbSysFailCall(n, error);
            else
                ZbSysRunBeforeCall(n, racer, nullptr);
            const long first = ZbSysCallCount();
            const std::string answer = run();
            const bool reached = ZbSysCallCount() - first >= n;
            ZbSysFailCall(0, 0);
            ZbSysRunBeforeCall(0, nullptr, nullptr);
            check(answer, reached);
            if (!reached) break;
        }
    }
}

// Runs body(t) on `count` threads at once (t = 0 .. count-1); each answers what it found wrong, ""
// when nothing: all of it, in thread order.
inline std::string WrongInThreads(size_t count, const std::function<std::string(size_t)> &body) {
    std::vector<std::thread> threads;
    std::vector<std::string> wrong(count);
    for (size_t t = 0; t < count; ++t) threads.emplace_back([&, t] { wrong[t] = body(t); });
    for (auto &t : threads) t.join();
    std::string all;
    for (const auto &w : wrong) all += w;
    return all;
}

class PluginTest : public ::testing::Test {
protected:
    void SetUp() override { Load(kCurrentExtnVersion); }
    void TearDown() override {
        plugin.reset();
        std::filesystem::remove(copy);
        zhost::ForgetAllFunctions();
    }

    // A copy of its own, so that dlopen gives this test a plug-in with fresh globals.
    void Load(int16_t extnVersion) {
        plugin.reset();
        zhost::ForgetAllFunctions();
        if (copy.empty()) {
            static int serial = 0;
            copy = std::filesystem::temp_directory_path() /
                   ("zerb-test-" + std::to_string(getpid()) + "-" + std::to_string(++serial) + ".fmx");
            std::filesystem::copy_file(ZERB_PLUGIN_PATH, copy, std::filesystem::copy_options::overwrite_existing);
        }
        std::string error;
        plugin = zhost::Plugin::Load(copy.string(), extnVersion, error);
        loadError = error;
    }

    // Calls a function by name with text parameters and answers the result as UTF-8.
    std::string Call(const std::string &name, std::initializer_list<std::string> parameters = {}) {
        fmx::DataVectUniquePtr vect;
        for (const auto &p : parameters) vect->PushBack(*TextData(p));
        fmx::DataUniquePtr result;
        const auto status = zhost::CallFunction(zhost::FromUtf8(name), *vect, *result);
        if (status != zhost::CallStatus::ok) return "<call status " + std::to_string(int(status)) + ">";
        return TextOf(*result);
    }

    std::unique_ptr<zhost::Plugin> plugin;
    std::filesystem::path copy;
    std::string loadError;
};

// A PluginTest with a folder of its own, made empty before each test and removed after it: `root`,
// "zerb-NAME-PID" in the temporary folder, NAME given by the fixture.
class PluginFolderTest : public PluginTest {
protected:
    explicit PluginFolderTest(std::string name) : folderName(std::move(name)) {}
    void SetUp() override {
        PluginTest::SetUp();
        root = (std::filesystem::temp_directory_path() / ("zerb-" + folderName + "-" + std::to_string(getpid()))).string();
        std::filesystem::remove_all(root);
        std::filesystem::create_directories(root);
    }
    void TearDown() override {
        std::filesystem::remove_all(root);
        PluginTest::TearDown();
    }

    std::string root;

private:
    std::string folderName;
};

// A file's bytes, read without moving its access time where the system allows (tests check that
// copies carry access times); empty when it cannot be read.
inline std::string Contents(const std::string &path) {
    int fd = open(path.c_str(), O_RDONLY | O_NOATIME | O_CLOEXEC);
    if (fd < 0) fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::string text;
    char buffer[65536];
    for (ssize_t n; fd >= 0 && (n = read(fd, buffer, sizeof buffer)) > 0;) text.append(buffer, size_t(n));
    if (fd >= 0) close(fd);
    return text;
}

// True when the program is on the PATH, for tests that compare with a tool.
inline bool HasProgram(const std::string &name) {
    return std::system(("command -v '" + name + "' >/dev/null").c_str()) == 0;
}

// Runs fmxhost on the calculations (through `launcher`, a command that runs another, such as
// "timeout 20", when given) and answers its output lines.
inline std::vector<std::string> RunFmxhost(const std::vector<std::string> &calculations,
                                           const std::string &launcher = "") {
    std::string command = launcher + " " + ZERB_RUN_PREFIX + " '" + ZERB_FMXHOST_PATH + "' --plugin '" + ZERB_PLUGIN_PATH + "'";
    for (const auto &c : calculations) command += " '" + c + "'";
    std::vector<std::string> lines;
    const std::string text = Output(command);
    for (size_t at = 0, end; at < text.size(); at = end + 1) {
        end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
    }
    return lines;
}

// Runs fmxhost on the calculations inside a new mount namespace after the shell commands in
// `mounts` (through `launcher`, a command that runs another, when given); answers its output
// lines, or nothing when the namespace cannot be made.
inline std::vector<std::string> RunInPrivateMounts(const std::string &mounts,
                                                   const std::vector<std::string> &calculations,
                                                   const std::string &launcher = "") {
    namespace fs = std::filesystem;
    const std::string dir = (fs::temp_directory_path() / ("zerb-mounts-" + std::to_string(getpid()))).string();
    fs::create_directories(dir);
    std::ofstream script(dir + "/run.sh");
    script << "set -e\n" << mounts << "\nexec " << launcher << " " << ZERB_RUN_PREFIX << " '" << ZERB_FMXHOST_PATH << "' --plugin '" << ZERB_PLUGIN_PATH << "'";
    for (const auto &c : calculations) script << " '" << c << "'";
    script << " >'" << dir << "/out'\n";
    script.close();
    std::vector<std::string> lines;
    if (std::system(("unshare -m --propagation private sh '" + dir + "/run.sh' 2>'" + dir + "/err'").c_str()) == 0) {
        std::ifstream out(dir + "/out");
        for (std::string line; std::getline(out, line);) lines.push_back(line);
    }
    fs::remove_all(dir);
    return lines;
}

}  // namespace zerbtest

#endif
