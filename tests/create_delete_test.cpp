// Creating and deleting, on real files: codes of new files, names in every path syntax, nothing
// overwritten, every guard of DeleteFolder, deletes that never leave the tree through a link or
// into another mount, a tree 10,000 folders deep, and a failure injected at every system call.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>

#include "platform/system_calls.h"
#include "core/globals.h"
#include "core/functions.h"
#include "tests/plugin_harness.h"

namespace fs = std::filesystem;
using zerbtest::Contents;
using zerbtest::PluginTest;

namespace {

class CreateDelete : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        root = (fs::temp_directory_path() / ("zerb-create-" + std::to_string(getpid()))).string();
        fs::remove_all(root);
        fs::create_directories(root);
        std::ofstream(root + "/keep.txt") << "keep";
    }
    void TearDown() override {
        fs::remove_all(root);
        PluginTest::TearDown();
    }
    std::string Colon(const std::string &item) { return Call("ZbFile_FileSpecToFullPath", {"", root}) + item; }
    std::string root;
};

// A tree: top/a/b with files, a link to a folder outside, a link to a file outside.
void MakeTree(const std::string &top, const std::string &outside) {
    fs::create_directories(top + "/a/b");
    fs::create_directories(outside);
    std::ofstream(top + "/f") << "1";
    std::ofstream(top + "/a/b/g") << "2";
    std::ofstream(outside + "/precious") << "3";
    fs::create_directory_symlink(outside, top + "/a/out");
    fs::create_symlink(outside + "/precious", top + "/a/b/p");
}

}  // namespace

TEST_F(CreateDelete, NewFilesTakeTheDefaultCodesUnlessTold) {
    EXPECT_EQ(Call("ZbFile_CreateFile", {"-NoCreator -NoFileType", root + "/none.txt"}), "0");
    EXPECT_EQ(Call("ZbFile_GetFileCreator", {"", root + "/none.txt"}) + Call("ZbFile_GetFileType", {"", root + "/none.txt"}),
              "00000000");
    EXPECT_EQ(Call("ZbFile_CreateFile", {"", root + "/default.txt"}), "0");
    EXPECT_EQ(Call("ZbFile_GetFileCreator", {"", root + "/default.txt"}), "ttxt");
    EXPECT_EQ(Call("ZbFile_GetFileType", {"", root + "/default.txt"}), "TEXT");
    EXPECT_EQ(Call("ZbFile_SetDefaultCreator", {"", "abcd"}), "0");
    EXPECT_EQ(Call("ZbFile_SetDefaultType", {"", "wxyz"}), "0");
    EXPECT_EQ(Call("ZbFile_CreateFile", {"-NoFileType", root + "/set.txt"}), "0");
    EXPECT_EQ(Call("ZbFile_GetFileCreator", {"", root + "/set.txt"}) + Call("ZbFile_GetFileType", {"", root + "/set.txt"}),
              "abcd0000");
    EXPECT_EQ(Call("ZbFile_CreateFile", {"", root + "/new.txt"}), "0");
    EXPECT_EQ(Call("ZbFile_GetFileType", {"", root + "/new.txt"}), "wxyz");
    EXPECT_EQ(fs::file_size(root + "/new.txt"), 0u);
}

TEST_F(CreateDelete, NamesComeFromEverySyntaxAndNothingIsOverwritten) {
    for (const auto &[path, name] : std::vector<std::pair<std::string, std::string>>{
             {root + "/posix.txt", "posix.txt"},
             {Colon("colon a/b.txt"), "colon a:b.txt"},
             {"filelinux:" + root + "/host.txt", "host.txt"},
             {"file:" + root + "/file.txt", "file.txt"}}) {
        EXPECT_EQ(Call("ZbFile_CreateFile", {"", path}), "0") << path;
        EXPECT_TRUE(fs::exists(root + "/" + name)) << path;
    }
    // Reference text: the folder's id with the new name.
    const std::string dirRef = Call("ZbFile_FullPathToFileSpec", {"", root + "/keep.txt"});
    const std::string folderRef = dirRef.substr(0, dirRef.rfind(':') + 1);
    EXPECT_EQ(Call("ZbFile_CreateFile", {"", folderRef + "byref.txt"}), "0");
    EXPECT_TRUE(fs::exists(root + "/byref.txt"));
    // The name field runs to the end, colons and all: "p:q" is q in the folder p, never p itself.
    for (const char *function : {"ZbFile_CreateFile", "ZbFile_CreateFolder"})
        EXPECT_EQ(Call(function, {"", folderRef + "p:q"}), "$$-43") << function;
    EXPECT_EQ(Call("ZbFile_CopyFile", {"", root + "/keep.txt", folderRef + "p:q"}), "$$-43");
    EXPECT_EQ(Call("ZbFile_MoveFile", {"", root + "/keep.txt", folderRef + "p:q"}), "$$-43");
    EXPECT_FALSE(fs::exists(root + "/p"));
    fs::create_directories(root + "/p");
    EXPECT_EQ(Call("ZbFile_CopyFile", {"", root + "/keep.txt", folderRef + "p:q"}), "0");
    EXPECT_EQ(Contents(root + "/p/q"), "keep");

    EXPECT_EQ(Call("ZbFile_CreateFile", {"", root + "/keep.txt"}), "$$-48");
    EXPECT_EQ(Call("ZbFile_CreateFolder", {"", root + "/keep.txt"}), "$$-48");
    EXPECT_EQ(Contents(root + "/keep.txt"), "keep");
    // A folder's trailing separator: no name for a file, removed for a folder.
    EXPECT_EQ(Call("ZbFile_CreateFile", {"", Colon("sub:")}), "$$-50");
    EXPECT_EQ(Call("ZbFile_CreateFile", {"", root + "/sub/"}), "$$-50");
    EXPECT_EQ(Call("ZbFile_CreateFolder", {"", Colon("sub:")}), "0");
    EXPECT_EQ(Call("ZbFile_CreateFolder", {"", root + "/sub2/"}), "0");
    EXPECT_TRUE(fs::is_directory(root + "/sub") && fs::is_directory(root + "/sub2"));
    for (const std::string &bad : {std::string("NoColon"), root + "/..", root + "/" + std::string(256, 'n')})
        EXPECT_EQ(Call("ZbFile_CreateFile", {"", bad}), "$$-50") << bad.substr(0, 40);
    EXPECT_EQ(Call("ZbFile_CreateFile", {"", root + "/missing/x"}), "$$-43");
    EXPECT_EQ(Call("ZbFile_CreateFile", {"", std::string("/proc/zerb-new")}).substr(0, 3), "$$-");
}

TEST_F(CreateDelete, DeleteFolderGuardsAndDeletesWholeTrees) {
    const std::string top = root + "/top", outside = root + "/outside";
    MakeTree(top, outside);
    EXPECT_EQ(Call("ZbFile_DeleteFolder", {"", ""}), "$$-50");
    EXPECT_EQ(Call("ZbFile_DeleteFolder", {"", root + "/missing"}), "$$-37");
    EXPECT_EQ(Call("ZbFile_DeleteFolder", {"", root + "/keep.txt"}), "$$-120");
    EXPECT_EQ(Call("ZbFile_DeleteFolder", {"-deleteAllSubFoldersAndAllContents noWarning", top + "/a/out"}), "$$-120");
    EXPECT_EQ(Call("ZbFile_DeleteFolder", {"", top}), "$$-47");
    EXPECT_EQ(Call("ZbFile_DeleteFolder", {"noWarning", top}), "$$-47");
    // Asking without a display counts as not confirmed.
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    EXPECT_EQ(Call("ZbFile_DeleteFolder", {"-deleteAllSubFoldersAndAllContents", top}), "$$-1");
    EXPECT_TRUE(fs::exists(top + "/a/b/g"));
    EXPECT_EQ(Call("ZbFile_DeleteFolder", {"-deleteAllSubFoldersAndAllContents -noWarning", top}), "0");
    EXPECT_FALSE(fs::exists(fs::symlink_status(top)));
    EXPECT_EQ(Contents(outside + "/precious"), "3");  // links were deleted, not followed
    // An empty folder goes with noWarning alone, and DeleteFile takes one too.
    fs::create_directories(root + "/empty1");
    fs::create_directories(root + "/empty2");
    EXPECT_EQ(Call("ZbFile_DeleteFolder", {"noWarning", root + "/empty1"}), "0");
    EXPECT_EQ(Call("ZbFile_DeleteFile", {"", root + "/empty2"}), "0");
    EXPECT_EQ(Call("ZbFile_DeleteFile", {"", outside}), "$$-47");
    fs::create_symlink(root + "/keep.txt", root + "/link");
    EXPECT_EQ(Call("ZbFile_DeleteFile", {"", root + "/link"}), "0");
    EXPECT_EQ(Contents(root + "/keep.txt"), "keep");
    EXPECT_EQ(Call("ZbFile_DeleteFile", {"", root + "/keep.txt"}), "0");
    EXPECT_EQ(Call("ZbFile_DeleteFile", {"", root + "/keep.txt"}), "$$-43");
}

TEST_F(CreateDelete, ATreeTenThousandFoldersDeepIsDeleted) {
    // Made through descriptors: its paths are far longer than the system takes in one piece.
    const std::string top = root + "/deep";
    fs::create_directories(top);
    int fd = open(top.c_str(), O_RDONLY | O_DIRECTORY);
    for (int depth = 0; depth < 10000 && fd >= 0; ++depth) {
        ASSERT_EQ(mkdirat(fd, "d", 0755), 0);
        if (depth % 1000 == 0) close(openat(fd, "file", O_CREAT | O_WRONLY, 0644));
        const int next = openat(fd, "d", O_RDONLY | O_DIRECTORY);
        close(fd);
        fd = next;
    }
    ASSERT_GE(fd, 0);
    close(fd);
    EXPECT_EQ(Call("ZbFile_DeleteFolder", {"-deleteAllSubFoldersAndAllContents noWarning", top}), "0");
    EXPECT_FALSE(fs::exists(top));
}

TEST(CreateDeleteMounts, DeletingNeverEntersAnotherMount) {
    if (geteuid() != 0) GTEST_SKIP() << "mounting a volume inside a tree needs root";
    const auto lines = zerbtest::RunInPrivateMounts(
        "mount -t tmpfs -o size=64k tmpfs /mnt\nmkdir -p /mnt/top/a/inner /mnt/top/z\n"
        "mount -t tmpfs -o size=64k tmpfs /mnt/top/a/inner\necho x >/mnt/top/a/inner/kept\necho y >/mnt/top/z/y",
        {R"(ZbFile_DeleteFolder("-deleteAllSubFoldersAndAllContents noWarning";"/mnt/top"))",
         R"(ZbFile_Exists("";"/mnt/top/a/inner/kept"))"});
    if (lines.empty()) GTEST_SKIP() << "no private mount namespace here (unshare failed)";
    EXPECT_EQ(lines, (std::vector<std::string>{"$$-47", "1"}));
}

// Every function here that writes, run once for every system call it makes with that one failing:
// the answer is an error and nothing was made, or the call went through whole.
TEST(CreateDeleteFaults, AFailedSystemCallLeavesNothingHalfMade) {
    const std::string root = (fs::temp_directory_path() / ("zerb-cdfaults-" + std::to_string(getpid()))).string();
    gDefaultCreator = ZbFourCharCode("ttxt");
    gDefaultFTypeListPtr = std::make_unique<std::array<uint32_t, kMaxDefaultTypes>>();
    (*gDefaultFTypeListPtr)[0] = ZbFourCharCode("TEXT");
    gNumTypes = 1;
    const auto call = [](ZbHandler handler, std::initializer_list<std::string> values) {
        return zerbtest::CallHandler(handler, values);
    };
    struct Case {
        const char *name;
        std::function<std::string()> run;
        std::function<bool()> done;      // the whole effect is there
        std::function<bool()> untouched;  // nothing changed
    };
    const std::string file = root + "/new", folder = root + "/tree";
    const std::vector<Case> cases = {
        {"CreateFile", [&] { return call(ZbFile7_DoCreateFile, {"", file}); },
         [&] { return fs::exists(file) && call(ZbFile7_DoGetFileCreatorOrType, {"", file}) != "$$-43"; },
         [&] { return !fs::exists(file); }},
        {"CreateFolder", [&] { return call(ZbFile7_DoCreateFolder, {"", file}); }, [&] { return fs::is_directory(file); },
         [&] { return !fs::exists(file); }},
        {"DeleteFolder", [&] { return call(ZbFile7_DoDeleteFolder, {"-deleteAllSubFoldersAndAllContents noWarning", folder}); },
         [&] { return !fs::exists(folder); },
         // A delete that fails part way keeps what it had not reached, and the folder itself.
         [&] { return fs::is_directory(folder); }},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        zerbtest::SweepFailingCalls(
            {EIO, ENOSPC, EINTR},
            [&] {
                fs::remove_all(root);
                fs::create_directories(folder + "/a/b");
                std::ofstream(folder + "/a/x") << "x";
                std::ofstream(folder + "/a/b/y") << "y";
            },
            c.run,
            [&](const std::string &answer, bool reached) {
                if (!reached) {
                    EXPECT_EQ(answer, "0");
                    EXPECT_TRUE(c.done());
                } else {
                    EXPECT_EQ(answer.substr(0, 3), "$$-");
                    EXPECT_TRUE(c.untouched());
                }
            });
    }
    fs::remove_all(root);
    gDefaultFTypeListPtr.reset();
}
