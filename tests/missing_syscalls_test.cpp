// The plug-in on the kernels FileMaker Server runs on, which lack the system calls newer than
// Linux 5.15 that the plug-in uses where it finds them (getxattrat, listmount, statmount), and
// where a filter may refuse pidfd_open. The library built from tests/programs/missing_syscalls.cpp,
// preloaded, makes syscall() answer ENOSYS for the numbers listed in ZERB_MISSING_SYSCALLS; each
// case must then answer as it does with the calls at hand, however many calls come after the first
// one that found a call missing.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/plugin_harness.h"

namespace {

constexpr long kPidfdOpen = 434, kOpenat2 = 437, kStatmount = 457, kListmount = 458, kGetxattrat = 464;

// A command prefix that runs a program with the listed system calls missing. A program built
// with AddressSanitizer accepts a library preloaded ahead of its run-time only when told to.
std::string WithoutCalls(const std::vector<long> &numbers) {
    std::string list;
    for (const long n : numbers) list += (list.empty() ? "" : ",") + std::to_string(n);
    return std::string("env ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD=") + ZERB_MISSING_SYSCALLS_PATH +
           " ZERB_MISSING_SYSCALLS=" + list;
}

bool InPreloadedChild() { return std::getenv("ZERB_MISSING_SYSCALLS") != nullptr; }

// A library preloaded for a program run under qemu-user reaches the emulator, not the program.
#define SKIP_UNDER_EMULATION() \
    if (zerbtest::kUnderEmulation) GTEST_SKIP() << zerbtest::kEmulationSkip

}  // namespace

// Runs only in a child started under the library: the calls it lists are gone, others still work.
TEST(MissingSystemCalls, ThePreloadedLibraryAnswersENOSYSForTheListedCalls) {
    if (!InPreloadedChild()) GTEST_SKIP() << "runs in a child process under the preloaded library";
    errno = 0;
    EXPECT_EQ(syscall(kListmount, 0, 0, 0, 0), -1);
    EXPECT_EQ(errno, ENOSYS);
    EXPECT_EQ(syscall(SYS_getpid), long(getpid()));
}

// Items hidden with "-hide" stay out of listings and searches, in a folder of several entries
// (each one's Finder flags read after the first read found the call missing) and in a search
// that descends through nested folders.
TEST(MissingSystemCalls, HiddenItemsStayHiddenWithoutGetxattratAndOpenat2) {
    SKIP_UNDER_EMULATION();
    if (geteuid() != 0) GTEST_SKIP() << "mounting a test volume needs root";
    const std::string mounts =
        "mount -t tmpfs tmpfs /mnt\nmkdir /mnt/Vol\nmount -t tmpfs tmpfs /mnt/Vol\ncd /mnt/Vol\n"
        "mkdir -p d/sub/deeper\nfor f in f1 f2 f3 f4 f5; do echo >d/$f; echo >d/sub/deeper/$f; done";
    const std::vector<std::string> calculations = {
        R"(ZbFile_SetFileAttribute("-hide";"/mnt/Vol/d/f4"))",
        R"(ZbFile_SetFileAttribute("-hide";"Vol:d:sub:deeper:f2"))",
        R"(ZbFile_ListFolder("files";"/mnt/Vol/d"))",
        R"(ZbFile_Search("files";"Vol";"f"))",
        R"(ZbFile_GetFileAttribute("-hiddenAttr";"/mnt/Vol/d/f4"))",
    };
    const std::vector<std::string> expected = {"0",
                                               "0",
                                               "f1",
                                               "f2",
                                               "f3",
                                               "f5",
                                               "Vol:d:f1",
                                               "Vol:d:f2",
                                               "Vol:d:f3",
                                               "Vol:d:f5",
                                               "Vol:d:sub:deeper:f1",
                                               "Vol:d:sub:deeper:f3",
                                               "Vol:d:sub:deeper:f4",
                                               "Vol:d:sub:deeper:f5",
                                               "1"};
    const auto withCalls = zerbtest::RunInPrivateMounts(mounts, calculations);
    if (withCalls.empty()) GTEST_SKIP() << "no private mount namespace here (unshare failed)";
    EXPECT_EQ(withCalls, expected);
    EXPECT_EQ(zerbtest::RunInPrivateMounts(mounts, calculations, WithoutCalls({kGetxattrat, kOpenat2})), expected);
}

// Without listmount and statmount (before Linux 6.8) the volume table tells a volume mounted anew
// from the old one by its root's birth time: the volume tests, run again in a child process that
// lacks both calls.
TEST(MissingSystemCalls, TheVolumeTableWithoutListmountAndStatmount) {
    SKIP_UNDER_EMULATION();
    if (InPreloadedChild()) GTEST_SKIP() << "already in the child";
    const std::string command = WithoutCalls({kListmount, kStatmount}) +
                                " /proc/" + std::to_string(getpid()) + "/exe --gtest_brief=1 "
                                "'--gtest_filter=Volumes*:MissingSystemCalls.ThePreloadedLibraryAnswers*' >/dev/null 2>&1";
    const int status = std::system(command.c_str());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << command;
}

// Without pidfd_open the end of a command is looked for by polling: a command still answers its
// exit code and output, a time limit still ends it, and a background job is still reaped.
// Without openat2 a confined call walks to the item one name at a time, following no link: the
// confinement tests, the race among them, run again in a child process that lacks the call.
TEST(MissingSystemCalls, ConfinementWithoutOpenat2) {
    SKIP_UNDER_EMULATION();
    if (InPreloadedChild()) GTEST_SKIP() << "already in the child";
    const std::string command = WithoutCalls({kOpenat2}) + " /proc/" + std::to_string(getpid()) +
                                "/exe --gtest_brief=1 '--gtest_filter=Confinement.*' >/dev/null 2>&1";
    const int status = std::system(command.c_str());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << command;
}

TEST(MissingSystemCalls, CommandsEndAndAreReapedWithoutPidfdOpen) {
    SKIP_UNDER_EMULATION();
    const std::vector<std::string> calculations = {
        R"(ZbFile_Version("-RegisterExecuteShellFunction"))",
        R"(ZbFile_RunCommand("";"{\"argv\":[\"sh\",\"-c\",\"echo out; exit 3\"]}"))",
        R"(ZbFile_RunCommand("";"{\"argv\":[\"sleep\",\"5\"],\"timeoutSeconds\":0.3}"))",
        R"(ZbFile_RunCommand("-Background";"{\"argv\":[\"true\"]}"))",
        R"(ZbFile_CommandStatus("";"1";"5"))",
    };
    const auto lines = zerbtest::RunFmxhost(calculations, WithoutCalls({kPidfdOpen}));
    ASSERT_EQ(lines.size(), calculations.size());
    EXPECT_NE(lines[1].find(R"("exitCode":3,"signal":null,"stdout":"out\n")"), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find(R"("timedOut":true)"), std::string::npos) << lines[2];
    EXPECT_EQ(lines[3], R"({"job":1})");
    EXPECT_NE(lines[4].find(R"("exitCode":0)"), std::string::npos) << lines[4];
    EXPECT_NE(lines[4].find(R"("running":false)"), std::string::npos) << lines[4];
}
