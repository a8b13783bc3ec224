// Copying and moving, on real files: everything carried (sparse data, extended attributes, dates,
// permissions, links as links), nothing overwritten (also when the name appears during the copy),
// nothing left behind by a copy that fails part way, moves that keep the item.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <signal.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>

#include "platform/file_attributes.h"
#include "platform/system_calls.h"
#include "core/functions.h"
#include "tests/plugin_harness.h"

namespace fs = std::filesystem;
using zerbtest::Contents;
using zerbtest::PluginTest;

namespace {

std::string Attribute(const std::string &path, const char *name) {
    std::string value(256, '\0');
    const ssize_t n = lgetxattr(path.c_str(), name, value.data(), value.size());
    return n < 0 ? "<none>" : value.substr(0, size_t(n));
}

// What must come over with a copy of one item: kind, data, permissions, times, attributes.
std::string Describe(const std::string &path) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) return "<missing>";
    // A link's access time moves whenever it is read, by a copy as by anyone.
    const std::string accessed = S_ISLNK(st.st_mode) ? "" : std::to_string(st.st_atim.tv_sec);
    std::string d = std::to_string(st.st_mode) + " " + std::to_string(st.st_size) + " " +
                    std::to_string(st.st_mtim.tv_sec) + "." + std::to_string(st.st_mtim.tv_nsec) + " " +
                    accessed + " " + Attribute(path, "user.a") + " " +
                    Attribute(path, kZbFinderInfoAttribute) + " " + Attribute(path, kZbResourceForkAttribute);
    if (S_ISLNK(st.st_mode)) d += " -> " + fs::read_symlink(path).string();
    if (S_ISREG(st.st_mode)) d += " " + Contents(path);
    return d;
}

// Every item of a tree, described, by its path inside the tree. Folders are read without moving
// their access times, which copies are checked to carry.
void DescribeInto(const std::string &top, const std::string &inside, std::vector<std::string> &lines) {
    const std::string folder = inside.empty() ? top : top + "/" + inside;
    const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOATIME);
    DIR *dir = fd < 0 ? nullptr : fdopendir(fd);
    if (!dir) return;
    std::vector<std::string> names;
    while (const dirent *e = readdir(dir))
        if (std::string_view(e->d_name) != "." && std::string_view(e->d_name) != "..") names.push_back(e->d_name);
    closedir(dir);
    for (const std::string &name : names) {
        const std::string relative = inside.empty() ? name : inside + "/" + name;
        lines.push_back(relative + ": " + Describe(top + "/" + relative));
        if (fs::is_directory(fs::symlink_status(top + "/" + relative))) DescribeInto(top, relative, lines);
    }
}

std::string DescribeTree(const std::string &top) {
    std::vector<std::string> lines;
    DescribeInto(top, "", lines);
    std::sort(lines.begin(), lines.end());
    std::string all;
    for (const auto &l : lines) all += l + "\n";
    return all;
}

void SetAttribute(const std::string &path, const char *name, const std::string &value) {
    ASSERT_EQ(lsetxattr(path.c_str(), name, value.data(), value.size(), 0), 0) << path;
}

// A tree with every kind of item and data worth carrying.
void MakeTree(const std::string &top) {
    fs::create_directories(top + "/sub/deeper");
    std::ofstream(top + "/plain.txt") << "plain";
    std::ofstream(top + "/sub/deeper/leaf") << "leaf";
    SetAttribute(top + "/plain.txt", "user.a", "attribute");
    SetAttribute(top + "/plain.txt", kZbResourceForkAttribute, std::string(3000, 'R'));
    SetAttribute(top + "/sub", "user.a", "on a folder");
    fs::create_symlink("plain.txt", top + "/link");
    fs::create_symlink("/nowhere", top + "/sub/dangling");
    fs::permissions(top + "/sub/deeper/leaf", fs::perms::owner_read | fs::perms::group_read);
    const struct timespec times[2] = {{1'500'000'000, 123}, {1'400'000'000, 456789}};
    for (const char *item : {"/plain.txt", "/sub/deeper/leaf", "/sub/deeper", "/sub", ""})
        utimensat(AT_FDCWD, (top + item).c_str(), times, AT_SYMLINK_NOFOLLOW);
    utimensat(AT_FDCWD, (top + "/link").c_str(), times, AT_SYMLINK_NOFOLLOW);
}

class CopyMove : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        root = (fs::temp_directory_path() / ("zerb-copy-" + std::to_string(getpid()))).string();
        fs::remove_all(root);
        fs::create_directories(root + "/dest");
        std::ofstream(root + "/file.txt") << "original";
        std::ofstream(root + "/dest/taken.txt") << "taken";
    }
    void TearDown() override {
        fs::remove_all(root);
        PluginTest::TearDown();
    }
    // Nothing but the named items in the destination folder: no temporary left.
    std::string DestinationNames() {
        std::vector<std::string> names;
        for (const auto &e : fs::directory_iterator(root + "/dest")) names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        std::string all;
        for (const auto &n : names) all += n + " ";
        return all;
    }
    std::string root;
};

}  // namespace

TEST_F(CopyMove, ACopyCarriesEverything) {
    MakeTree(root + "/tree");
    SetAttribute(root + "/file.txt", kZbFinderInfoAttribute, std::string("TEXTttxt") + std::string(24, '\0'));
    EXPECT_EQ(Call("ZbFile_CopyFile", {"", root + "/file.txt", root + "/dest/copy.txt"}), "0");
    EXPECT_EQ(Describe(root + "/dest/copy.txt"), Describe(root + "/file.txt"));
    EXPECT_EQ(Call("ZbFile_GetTimestampCreated", {"", root + "/dest/copy.txt"}),
              Call("ZbFile_GetTimestampCreated", {"", root + "/file.txt"}));
    // CopyFile of a folder copies the folder; CopyFolder does the same, once registered.
    EXPECT_EQ(Call("ZbFile_CopyFile", {"", root + "/tree", root + "/dest/tree1"}), "0");
    EXPECT_EQ(DescribeTree(root + "/dest/tree1"), DescribeTree(root + "/tree"));
    EXPECT_EQ(Describe(root + "/dest/tree1"), Describe(root + "/tree"));
    EXPECT_TRUE(fs::is_symlink(root + "/dest/tree1/link"));
    EXPECT_EQ(Call("ZbFile_Version", {"-RegisterCopyFolderFunction"}), "0");
    EXPECT_EQ(Call("ZbFile_CopyFolder", {"", root + "/tree", root + "/dest/tree2/"}), "0");
    EXPECT_EQ(DescribeTree(root + "/dest/tree2"), DescribeTree(root + "/tree"));
    EXPECT_EQ(Call("ZbFile_CopyFolder", {"", root + "/file.txt", root + "/dest/x"}), "$$-1407");
    EXPECT_EQ(Call("ZbFile_CopyFile", {"", root + "/file.txt", root + "/dest/x/"}), "$$-50");
    EXPECT_EQ(Call("ZbFile_CopyFile", {"-UseClassicCopyFunction", root + "/tree", root + "/dest/x"}), "$$-1302");
    const std::string longName(40, 'L');
    EXPECT_EQ(Call("ZbFile_CopyFile", {"-UseClassicCopyFunction", root + "/file.txt", root + "/dest/" + longName}), "0");
    EXPECT_EQ(DestinationNames(), longName + " copy.txt taken.txt tree1 tree2 ");
}

TEST_F(CopyMove, ADeepTreeIsCopiedWhole) {
    // Far deeper than the folders a walk keeps open, so their descriptors are opened again on the
    // way back up.
    std::string folder = root + "/deep";
    for (int depth = 0; depth < 600; ++depth) {
        folder += "/d";
        if (depth % 50 == 0) {
            fs::create_directories(folder);
            std::ofstream(folder + "/at" + std::to_string(depth)) << depth;
            fs::create_directories(folder + "/side/branch");
        }
    }
    fs::create_directories(folder);
    std::ofstream(folder + "/bottom") << "bottom";
    EXPECT_EQ(Call("ZbFile_CopyFile", {"", root + "/deep", root + "/dest/deep"}), "0");
    EXPECT_EQ(DescribeTree(root + "/dest/deep"), DescribeTree(root + "/deep"));
    EXPECT_EQ(Call("ZbFile_DeleteFolder", {"-deleteAllSubFoldersAndAllContents noWarning", root + "/dest/deep"}), "0");
    EXPECT_EQ(DestinationNames(), "taken.txt ");
}

TEST_F(CopyMove, SparseFilesStaySparse) {
    const std::string sparse = root + "/sparse";
    {
        std::ofstream out(sparse);
        out << "start";
        out.seekp((1 << 30) - 3);
        out << "end";
    }
    EXPECT_EQ(Call("ZbFile_CopyFile", {"", sparse, root + "/dest/sparse"}), "0");
    struct stat a, b;
    ASSERT_EQ(stat(sparse.c_str(), &a), 0);
    ASSERT_EQ(stat((root + "/dest/sparse").c_str(), &b), 0);
    EXPECT_EQ(b.st_size, a.st_size);
    EXPECT_LE(b.st_blocks, a.st_blocks + 64);
    EXPECT_LT(b.st_blocks * 512, 16 << 20);
    std::ifstream in(root + "/dest/sparse");
    in.seekg((1 << 30) - 3);
    std::string end(3, '\0');
    in.read(end.data(), 3);
    EXPECT_EQ(end, "end");
}

TEST_F(CopyMove, NothingIsOverwrittenInAnySyntax) {
    const std::string colonDest = Call("ZbFile_FileSpecToFullPath", {"", root + "/dest"});
    const std::string refDest = Call("ZbFile_FullPathToFileSpec", {"", root + "/dest/taken.txt"});
    const std::string refFolder = refDest.substr(0, refDest.rfind(':') + 1);
    for (const std::string &taken : {root + "/dest/taken.txt", colonDest + "taken.txt", refFolder + "taken.txt",
                                     "filelinux:" + root + "/dest/taken.txt"}) {
        EXPECT_EQ(Call("ZbFile_CopyFile", {"", root + "/file.txt", taken}), "$$-48") << taken;
        EXPECT_EQ(Call("ZbFile_MoveFile", {"", root + "/file.txt", taken}), "$$-48") << taken;
    }
    EXPECT_EQ(Contents(root + "/dest/taken.txt"), "taken");
    EXPECT_EQ(Contents(root + "/file.txt"), "original");
    int made = 0;
    for (const std::string &fresh : {colonDest + "a/b", refFolder + "byref", "filelinux:" + root + "/dest/host"}) {
        EXPECT_EQ(Call("ZbFile_CopyFile", {"", root + "/file.txt", fresh}), "0") << fresh;
        ++made;
    }
    EXPECT_EQ(DestinationNames(), "a:b byref host taken.txt ");
    EXPECT_EQ(made, 3);
}

TEST_F(CopyMove, MovesKeepTheItemAndStayOnTheirFileSystem) {
    struct stat before, after;
    ASSERT_EQ(stat((root + "/file.txt").c_str(), &before), 0);
    EXPECT_EQ(Call("ZbFile_MoveFile", {"", root + "/file.txt", root + "/dest/moved.txt"}), "0");
    ASSERT_EQ(stat((root + "/dest/moved.txt").c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_FALSE(fs::exists(root + "/file.txt"));
    fs::create_directories(root + "/folder/in");
    EXPECT_EQ(Call("ZbFile_MoveFile", {"", root + "/folder", root + "/dest/folder"}), "0");
    EXPECT_TRUE(fs::is_directory(root + "/dest/folder/in"));
    // /dev/shm is another file system on every Linux machine that has it.
    if (fs::is_directory("/dev/shm")) {
        struct stat shm, here;
        if (stat("/dev/shm", &shm) == 0 && stat(root.c_str(), &here) == 0 && shm.st_dev != here.st_dev) {
            EXPECT_EQ(Call("ZbFile_MoveFile", {"", root + "/dest/moved.txt", "/dev/shm/zerb-moved"}), "$$-1303");
            EXPECT_EQ(Contents(root + "/dest/moved.txt"), "original");
            EXPECT_FALSE(fs::exists("/dev/shm/zerb-moved"));
        }
    }
}

TEST_F(CopyMove, ACopyThatFailsPartWayLeavesNothing) {
    MakeTree(root + "/tree");
    std::ofstream(root + "/tree/sub/deeper/secret") << "secret";
    fs::permissions(root + "/tree/sub/deeper/secret", fs::perms::none);
    // Root reads everything: copy from an ordinary user's process.
    fs::permissions(root, fs::perms::all);
    fs::permissions(root + "/dest", fs::perms::all);
    const pid_t pid = fork();
    if (pid == 0) {
        if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) _exit(3);
        const std::string answer = Call("ZbFile_CopyFile", {"", root + "/tree", root + "/dest/tree"});
        _exit(answer == "$$-5000" ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 3) GTEST_SKIP() << "cannot become an ordinary user here";
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(DestinationNames(), "taken.txt ");
}

TEST_F(CopyMove, AFolderIsNeverCopiedIntoItself) {
    MakeTree(root + "/tree");
    const std::string before = DescribeTree(root + "/tree");
    fs::create_directory_symlink(root + "/tree/sub", root + "/dest/intoSub");
    EXPECT_EQ(Call("ZbFile_Version", {"-RegisterCopyFolderFunction"}), "0");
    for (const std::string &inside : {root + "/tree/sub/copy", root + "/tree/copy", root + "/dest/intoSub/copy",
                                      root + "/tree/sub/deeper/copy/"}) {
        EXPECT_EQ(Call("ZbFile_CopyFile", {"", root + "/tree", inside}), "$$-50") << inside;
        EXPECT_EQ(Call("ZbFile_CopyFolder", {"", root + "/tree", inside}), "$$-50") << inside;
        EXPECT_EQ(Call("ZbFile_MoveFile", {"", root + "/tree", inside}), "$$-50") << inside;
    }
    EXPECT_EQ(DescribeTree(root + "/tree"), before);
    // Beside itself is fine, and so is a folder copied into a folder that merely starts alike.
    fs::create_directories(root + "/treeish");
    EXPECT_EQ(Call("ZbFile_CopyFile", {"", root + "/tree/sub", root + "/tree/sub2"}), "0");
    EXPECT_EQ(Call("ZbFile_CopyFolder", {"", root + "/tree", root + "/treeish/tree"}), "0");
    EXPECT_EQ(DescribeTree(root + "/treeish/tree"), DescribeTree(root + "/tree"));
}

// The kernel's own files give 0 as their size and have contents all the same.
TEST_F(CopyMove, FilesWhoseSizeReadsZeroAreCopiedToTheirEnd) {
    const std::string version = Contents("/proc/version");
    ASSERT_FALSE(version.empty());
    ASSERT_EQ(fs::file_size("/proc/version"), 0u);
    EXPECT_EQ(Call("ZbFile_CopyFile", {"", "/proc/version", root + "/dest/version"}), "0");
    EXPECT_EQ(Contents(root + "/dest/version"), version);
}

// A copy killed part way leaves its unfinished item behind under a name that tells its process;
// the next copy into that folder removes it, and only such items whose process is gone.
TEST_F(CopyMove, WhatAKilledCopyLeftIsRemovedByTheNextCopy) {
    for (int k = 0; k < 3000; ++k) {
        const std::string folder = root + "/big/f" + std::to_string(k % 30);
        if (k < 30) fs::create_directories(folder);
        std::ofstream(folder + "/" + std::to_string(k)) << std::string(1000, 'x');
    }
    const pid_t pid = fork();
    if (pid == 0) {
        Call("ZbFile_CopyFile", {"", root + "/big", root + "/dest/big"});
        _exit(0);
    }
    std::string leftover;
    for (int wait = 0; wait < 20000 && leftover.empty(); ++wait) {
        for (const auto &e : fs::directory_iterator(root + "/dest"))
            if (e.path().filename().string().rfind(".zerb-copy-", 0) == 0) leftover = e.path().filename().string();
        if (leftover.empty()) usleep(100);
    }
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    if (leftover.empty() || fs::exists(root + "/dest/big")) GTEST_SKIP() << "the copy was done before it was killed";
    EXPECT_EQ(leftover.rfind(".zerb-copy-p" + std::to_string(pid) + "-s", 0), 0u) << leftover;
    // A running process's item (this one's) and items of other makings stay; an item whose process
    // number has gone to a process started at another time goes.
    struct stat self;
    ASSERT_EQ(stat("/proc/self/ns/pid", &self), 0);
    const std::string stat = Contents("/proc/self/stat");
    unsigned long long start = 0;
    ASSERT_EQ(sscanf(stat.c_str() + stat.rfind(')') + 1,
                     " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %*d %*d %llu", &start),
              1);
    const std::string mine = ".zerb-copy-p" + std::to_string(getpid()) + "-s" + std::to_string(start) + "-n" +
                             std::to_string(self.st_ino) + "-7";
    const std::string reused = ".zerb-copy-p" + std::to_string(getpid()) + "-s" + std::to_string(start + 1) + "-n" +
                               std::to_string(self.st_ino) + "-8";
    for (const std::string &name : {mine, reused, std::string(".zerb-copy-1-2-3")}) fs::create_directories(root + "/dest/" + name);
    EXPECT_EQ(Call("ZbFile_CopyFile", {"", root + "/file.txt", root + "/dest/copy.txt"}), "0");
    EXPECT_EQ(DestinationNames(), ".zerb-copy-1-2-3 " + mine + " copy.txt taken.txt ");
}

TEST(CopyMoveVolumes, ACopyThatFillsTheVolumeLeavesNothing) {
    if (geteuid() != 0) GTEST_SKIP() << "mounting a small volume needs root";
    const auto lines = zerbtest::RunInPrivateMounts(
        "mount -t tmpfs -o size=2m tmpfs /mnt\nmkdir /mnt/src /mnt/small\nmount -t tmpfs -o size=256k tmpfs /mnt/small\n"
        "mkdir -p /mnt/src/t/a\nhead -c 100000 /dev/urandom >/mnt/src/t/a/one\nhead -c 200000 /dev/urandom >/mnt/src/t/two",
        {R"(ZbFile_CopyFile("";"/mnt/src/t";"/mnt/small/t"))", R"(ZbFile_Exists("";"/mnt/small/t"))",
         R"(ZbFile_CopyFile("";"/mnt/src/t/two";"/mnt/small/two"))", R"(ZbFile_CopyFile("";"/mnt/src/t/two";"/mnt/small/three"))"});
    if (lines.empty()) GTEST_SKIP() << "no private mount namespace here (unshare failed)";
    EXPECT_EQ(lines, (std::vector<std::string>{"$$-34", "0", "0", "$$-34"}));
}

// The copy and move handlers, run once for every system call they make with that one failing,
// and once more with the destination name taken by someone else just before each call: every
// time, either the whole copy is there under its name, or nothing of it anywhere, and the other
// item is untouched.
TEST(CopyMoveFaults, EverySystemCallFailingOrRacedLeavesWholeOrNothing) {
    const std::string root = (fs::temp_directory_path() / ("zerb-cmfaults-" + std::to_string(getpid()))).string();
    const auto names = [&] {
        std::string all;
        for (const auto &e : fs::directory_iterator(root + "/dest")) all += e.path().filename().string() + " ";
        return all;
    };
    static std::string gRacer;  // the path the racing item appears at
    const auto racer = [](void *) {
        // Made exclusively too: once the copy holds the name, the racer loses.
        const int fd = open(gRacer.c_str(), O_CREAT | O_EXCL | O_WRONLY, 0644);
        if (fd >= 0 && write(fd, "racer", 5) == 5) close(fd);
    };
    const std::string destination = root + "/dest/copy";
    const auto describe = [](const std::string &p) { return fs::is_directory(p) ? DescribeTree(p) : Describe(p); };
    for (const char *item : {"file", "tree"}) {
        for (const short id : {short(4210), short(4262)}) {
            SCOPED_TRACE(std::string(item) + (id == 4210 ? " copy" : " move"));
            const std::string source = root + "/" + item;
            std::string original;
            gRacer = destination;
            // ENOSYS and EINVAL: a kernel or file system without renameat2's flags or
            // copy_file_range, whose fallbacks must give the same whole copy.
            for (const int mode : {EIO, ENOSPC, EINTR, ENOSYS, EINVAL, 0}) {  // 0: the destination name is raced
                zerbtest::SweepFailingCalls(
                    {mode},
                    [&] {
                        fs::remove_all(root);
                        fs::create_directories(root + "/dest");
                        MakeTree(root + "/tree");
                        std::ofstream(root + "/file") << "data";
                        SetAttribute(root + "/file", "user.a", "attribute");
                        original = describe(source);
                    },
                    [&] { return zerbtest::CallHandler(ZbFile7_DoCopyFile_DoMoveFile, {"", source, destination}, id); },
                    [&](const std::string &answer, bool reached) {
                        const bool raced = !mode && reached;
                        if (answer == "0") {
                            EXPECT_FALSE(raced && Contents(destination) == "racer");
                            EXPECT_EQ(describe(destination), original);
                            EXPECT_EQ(names(), "copy ");
                            EXPECT_EQ(fs::exists(source), id == 4210);
                        } else {
                            EXPECT_EQ(answer.substr(0, 3), "$$-");
                            EXPECT_EQ(answer, raced ? "$$-48" : answer);
                            EXPECT_EQ(names(), raced ? "copy " : "");
                            if (raced) {
                                EXPECT_EQ(Contents(destination), "racer");
                            }
                            EXPECT_EQ(describe(source), original);
                        }
                    },
                    racer);
            }
        }
    }
    fs::remove_all(root);
}
