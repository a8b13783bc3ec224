// The plug-in as a server installs it: its version where the server reads it (the soname), and
// loading in a server process that has not loaded libFMWrapper.so itself, which finds it only
// through the plug-in's run path, /opt/FileMaker/lib.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "host/host_api.h"
#include "tests/plugin_harness.h"

namespace {

// The output of a shell command (standard error too) and whether it exited 0.
std::pair<std::string, bool> Shell(const std::string &command) {
    bool ok;
    std::string text = zerbtest::RunForOutput(command + " 2>&1", ok);
    return {text, ok};
}

const std::string kProbe = std::string(ZERB_RUN_PREFIX) + " '" + ZERB_LOAD_PROBE_PATH + "' '" + ZERB_PLUGIN_PATH +
                           "' ZbFile_Version -getversionnumber";

}  // namespace

TEST(Shipping, TheServerSeesTheVersionFromTheSoname) {
    // fmxhost reads the version from the soname (module_checks checks the soname itself).
    const auto [info, ok] = Shell(std::string(ZERB_RUN_PREFIX) + " '" + ZERB_FMXHOST_PATH + "' --plugin '" +
                                ZERB_PLUGIN_PATH + "' --info");
    ASSERT_TRUE(ok) << info;
    EXPECT_EQ(info.substr(0, info.find("\ndescription: ")), "name: Zerb File Plug-In\nversion: 3.6.1\nid: Z7fi");
    EXPECT_NE(info.find("\ndescription: Zerb File Plug-In 3.6.1: file-system functions"), std::string::npos);
    EXPECT_NE(info.find("\nInstalledFMPlugins: Zerb File Plug-In;3.6.1;Enabled\n"), std::string::npos);
}

TEST(Shipping, AProcessWithoutTheServerLibraryFindsItInTheServerFolder) {
    if (access("/opt/FileMaker/lib/libFMWrapper.so", F_OK) == 0)
        GTEST_SKIP() << "this machine has a server library in /opt/FileMaker/lib";
    // Outside the server folder the library is not found: nothing else leads to it.
    const auto [missing, loaded] = Shell(kProbe);
    EXPECT_FALSE(loaded);
    EXPECT_NE(missing.find("libFMWrapper.so: cannot open shared object file"), std::string::npos) << missing;

    // With the emulator's library in a private /opt/FileMaker/lib, the plug-in loads, starts and
    // answers through it.
    const std::string script = "mount -t tmpfs tmpfs /opt && mkdir -p /opt/FileMaker/lib && cp '" +
                               std::string(ZERB_WRAPPER_PATH) + "' /opt/FileMaker/lib/ && " + kProbe;
    if (!Shell("unshare -m --propagation private true").second)
        GTEST_SKIP() << "this machine refuses a private mount namespace";
    const auto [answer, ok] = Shell("unshare -m --propagation private sh -c \"" + script + "\"");
    EXPECT_TRUE(ok);
    EXPECT_EQ(answer, "/opt/FileMaker/lib/libFMWrapper.so\n3610\n");
}
