// Folder confinement in this process: calls run with a confinement as the dispatcher gives them
// under a policy that limits folders. A sentinel tree outside the allowed folder must never change,
// whatever links the calls are handed or have swapped under them.
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

#include "core/functions.h"
#include "platform/confinement.h"
#include "tests/plugin_harness.h"

namespace {

namespace fs = std::filesystem;

// The whole tree below a folder: each item's relative path, with a file's contents or a link's
// target, so that any change shows.
std::map<std::string, std::string> Snapshot(const std::string &root) {
    std::map<std::string, std::string> items;
    for (auto it = fs::recursive_directory_iterator(root); it != fs::recursive_directory_iterator(); ++it) {
        const std::string relative = fs::relative(it->path(), root).string();
        if (it->is_symlink())
            items[relative] = "-> " + fs::read_symlink(it->path()).string();
        else if (it->is_regular_file())
            items[relative] = (std::stringstream() << std::ifstream(it->path()).rdbuf()).str();
        else
            items[relative] = "folder";
    }
    return items;
}

void Write(const std::string &path, const std::string &text) { std::ofstream(path) << text; }

class Confinement : public ::testing::Test {
protected:
    void SetUp() override {
        root = fs::canonical(fs::temp_directory_path()).string() + "/zerb-confine-" + std::to_string(getpid());
        fs::remove_all(root);
        allowed = root + "/allowed";
        outside = root + "/outside";
        fs::create_directories(allowed + "/sw");
        fs::create_directories(outside + "/deep");
        Write(allowed + "/source.txt", "source");
        Write(outside + "/victim", "outside victim");
        Write(outside + "/deep/data", "outside data");
        fs::create_symlink(outside, allowed + "/out");  // a link inside that leads out
        confinement.read = {allowed};
        confinement.write = {allowed};
        sentinel = Snapshot(outside);
    }
    void TearDown() override { fs::remove_all(root); }

    // A handler's answer with this thread confined; `refused` tells whether it touched outside.
    std::string Confined(ZbHandler handler, short id, std::initializer_list<std::string> values, bool &refused) {
        const ZbConfinedCall call(&confinement);
        const std::string answer = zerbtest::CallHandler(handler, values, id);
        refused = call.Refused();
        return answer;
    }

    std::string root, allowed, outside;
    ZbConfinement confinement;
    std::map<std::string, std::string> sentinel;
};

TEST_F(Confinement, InsideWorksAndLinksOrDotDotLeadingOutAreRefused) {
    bool refused;
    EXPECT_EQ(Confined(ZbFile7_DoGetContents, kZbFnGetContents, {"", allowed + "/source.txt"}, refused), "source");
    EXPECT_FALSE(refused);
    EXPECT_EQ(Confined(ZbFile7_DoCopyFile_DoMoveFile, kZbFnCopyFile, {"", allowed + "/source.txt", allowed + "/copy"},
                       refused),
              "0");
    EXPECT_FALSE(refused);
    EXPECT_TRUE(fs::exists(allowed + "/copy"));

    const struct {
        ZbHandler handler;
        short id;
        std::vector<std::string> values;
    } outsideCalls[] = {
        {ZbFile7_DoGetContents, kZbFnGetContents, {"", allowed + "/out/victim"}},
        {ZbFile7_DoGetContents, kZbFnGetContents, {"", allowed + "/../outside/victim"}},
        {ZbFile7_DoGetContents, kZbFnGetContents, {"", outside + "/victim"}},
        {ZbFile7_DoDeleteFile, kZbFnDeleteFile, {"", allowed + "/out/victim"}},
        {ZbFile7_DoDeleteFolder, kZbFnDeleteFolder, {"", allowed + "/out/deep"}},
        {ZbFile7_DoCopyFile_DoMoveFile, kZbFnCopyFile, {"", allowed + "/source.txt", allowed + "/out/copied"}},
        {ZbFile7_DoCopyFile_DoMoveFile, kZbFnCopyFile, {"", allowed + "/out/victim", allowed + "/stolen"}},
        {ZbFile7_DoCopyFile_DoMoveFile, kZbFnMoveFile, {"", allowed + "/out/victim", allowed + "/moved"}},
        {ZbFile7_DoCopyFile_DoMoveFile, kZbFnMoveFile, {"", allowed + "/copy", allowed + "/out/moved"}},
        {ZbFile7_DoCreateFolder, kZbFnCreateFolder, {"", allowed + "/out/new"}},
        {ZbFile7_DoSubstitute, kZbFnSubstitute, {"", allowed + "/out/victim", "", "outside", "inside"}},
        {ZbFile7_DoSetFileAttribute, kZbFnSetFileAttribute, {"-locked", allowed + "/out/victim", "1"}},
        {ZbFile7_DoExists, kZbFnExists, {"", allowed + "/out/deep/data"}},
    };
    for (const auto &c : outsideCalls) {
        std::string answer;
        {
            const ZbConfinedCall call(&confinement);
            fmx::ExprEnvUniquePtr env;
            fmx::DataVectUniquePtr parameters;
            for (const std::string &v : c.values) parameters->PushBack(*zerbtest::TextData(v));
            fmx::DataUniquePtr result;
            c.handler(c.id, *env, *parameters, *result);
            answer = zerbtest::TextOf(*result);
            refused = call.Refused();
        }
        EXPECT_TRUE(refused) << c.id << " " << c.values[1] << ": " << answer;
    }
    EXPECT_FALSE(fs::exists(allowed + "/stolen"));
    EXPECT_FALSE(fs::exists(allowed + "/moved"));
    EXPECT_TRUE(fs::exists(allowed + "/copy"));
    EXPECT_EQ(Snapshot(outside), sentinel);
    // The link itself lies inside: it may go.
    EXPECT_EQ(Confined(ZbFile7_DoDeleteFile, kZbFnDeleteFile, {"", allowed + "/out"}, refused), "0");
    EXPECT_FALSE(refused);
    EXPECT_EQ(Snapshot(outside), sentinel);
}

TEST_F(Confinement, AFolderRenamedToALinkBetweenCallsLeadsNowhere) {
    Write(allowed + "/sw/victim", "inside victim");
    bool refused;
    EXPECT_EQ(Confined(ZbFile7_DoGetContents, kZbFnGetContents, {"", allowed + "/sw/victim"}, refused),
              "inside victim");
    fs::rename(allowed + "/sw", allowed + "/sw.old");
    fs::create_symlink(outside, allowed + "/sw");
    Confined(ZbFile7_DoDeleteFile, kZbFnDeleteFile, {"", allowed + "/sw/victim"}, refused);
    EXPECT_TRUE(refused);
    Confined(ZbFile7_DoGetContents, kZbFnGetContents, {"", allowed + "/sw/victim"}, refused);
    EXPECT_TRUE(refused);
    EXPECT_EQ(Snapshot(outside), sentinel);
}

// One thread swaps a folder and a link to the sentinel tree in a loop while eight threads copy
// into it and delete through it: nothing outside is ever touched.
TEST_F(Confinement, AFolderAndALinkSwappedInALoopNeverLeadOut) {
    if (zerbtest::kUnderEmulation) GTEST_SKIP() << zerbtest::kEmulationSkip;
    fs::create_symlink(outside, allowed + "/link");
    std::atomic<bool> done{false};
    std::atomic<long> swaps{0};
    std::thread swapper([&] {
        while (!done) {
            // The folder and the link change places in one step, again and again.
            if (renameat2(AT_FDCWD, (allowed + "/sw").c_str(), AT_FDCWD, (allowed + "/link").c_str(),
                          RENAME_EXCHANGE) == 0)
                ++swaps;
        }
    });
    const std::string wrong = zerbtest::WrongInThreads(8, [&](size_t t) {
        for (int k = 0; k < 150; ++k) {
            const std::string name = allowed + "/sw/t" + std::to_string(t) + "-" + std::to_string(k);
            bool refused;
            Confined(ZbFile7_DoCopyFile_DoMoveFile, kZbFnCopyFile, {"", allowed + "/source.txt", name}, refused);
            Confined(ZbFile7_DoDeleteFile, kZbFnDeleteFile, {"", name}, refused);
            Confined(ZbFile7_DoDeleteFile, kZbFnDeleteFile, {"", allowed + "/sw/victim"}, refused);
            Confined(ZbFile7_DoDeleteFolder, kZbFnDeleteFolder, {"", allowed + "/sw/deep"}, refused);
            Confined(ZbFile7_DoCopyFile_DoMoveFile, kZbFnMoveFile, {"", allowed + "/sw/deep/data", allowed + "/taken"},
                     refused);
            if (fs::exists(allowed + "/taken")) return std::string("data moved in from outside");
        }
        return std::string();
    });
    done = true;
    swapper.join();
    EXPECT_EQ(wrong, "");
    EXPECT_GT(swaps.load(), 100);
    EXPECT_EQ(Snapshot(outside), sentinel);
}

}  // namespace
