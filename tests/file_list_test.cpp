// Listing folders, searching volumes and the disk functions, on real folders: filters and their
// combinations, the order of entries, names in several scripts and both Unicode forms, folders of
// tens of thousands of entries, and, in a private mount namespace, a search over a volume made for
// the test with unreadable folders, link loops and a mount inside it, disk counts, and a URL mount
// through a stand-in mount helper that shows where the password goes.
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>

#include "files/file_list.h"
#include "tests/plugin_harness.h"

namespace fs = std::filesystem;
using zerbtest::PluginTest;

namespace {

std::vector<std::string> Lines(const std::string &text, char separator = '\r') {
    std::vector<std::string> lines;
    if (text.empty()) return lines;
    size_t start = 0;
    for (size_t end; (end = text.find(separator, start)) != std::string::npos; start = end + 1)
        lines.push_back(text.substr(start, end - start));
    lines.push_back(text.substr(start));
    return lines;
}

class Listing : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        root = (fs::temp_directory_path() / ("zerb-list-" + std::to_string(getpid()))).string();
        fs::remove_all(root);
        fs::create_directories(root);
    }
    void TearDown() override {
        fs::remove_all(root);
        PluginTest::TearDown();
    }
    std::string List(const std::string &switches, const std::string &folder) {
        return Call("ZbFile_ListFolder", {switches, folder});
    }
    std::string root;
};

void Touch(const std::string &path) { std::ofstream(path) << "x"; }

// Sets the Finder flags of an item (the link itself for a link) in its Finder information.
void SetFinderFlags(const std::string &path, uint16_t flags) {
    unsigned char info[32] = {};
    info[8] = uint8_t(flags >> 8);
    info[9] = uint8_t(flags);
    ASSERT_EQ(lsetxattr(path.c_str(), "user.com.apple.FinderInfo", info, sizeof info, 0), 0);
}

}  // namespace

// The sort by folded-prefix keys against the plain comparison, on names built to tie on long
// prefixes, to differ only in case, to be prefixes of each other and to hold bytes beyond ASCII.
TEST(CatalogOrder, TheKeyedSortAgreesWithThePlainComparison) {
    std::mt19937 random(99);
    const std::string letters = "aAbB_[~0.\xC3\xA9\xFF";
    for (int round = 0; round < 200; ++round) {
        std::vector<ZbFolderEntry> entries(std::uniform_int_distribution<size_t>(0, 300)(random));
        const std::string prefix(std::uniform_int_distribution<size_t>(0, 20)(random), 'p');
        for (ZbFolderEntry &e : entries) {
            e.name = prefix;
            for (size_t n = std::uniform_int_distribution<size_t>(1, 6)(random); n > 0; --n)
                e.name += letters[std::uniform_int_distribution<size_t>(0, letters.size() - 1)(random)];
        }
        std::vector<ZbFolderEntry> expected = entries;
        std::stable_sort(expected.begin(), expected.end(), ZbCatalogOrder);
        ZbSortEntries(entries);
        for (size_t i = 0; i < entries.size(); ++i) ASSERT_EQ(entries[i].name, expected[i].name) << "round " << round;
    }
}

TEST_F(Listing, FiltersSelectKindsVisibilityAndAliases) {
    const std::string d = root + "/d";
    fs::create_directories(d + "/Folder");
    fs::create_directories(d + "/.hiddenFolder");
    Touch(d + "/file.txt");
    Touch(d + "/.dotfile");
    Touch(d + "/flagged");
    SetFinderFlags(d + "/flagged", 0x4000);
    Touch(d + "/aliasflag");
    SetFinderFlags(d + "/aliasflag", 0x8000);
    fs::create_symlink("file.txt", d + "/link");
    fs::create_directory_symlink("Folder", d + "/.hiddenLink");

    EXPECT_EQ(List("files", d), "file.txt");
    EXPECT_EQ(List("folders", d), "Folder");
    EXPECT_EQ(List("filesfolders", d), "file.txt\rFolder");  // run together, still both
    EXPECT_EQ(List("files showinvisibles", d), ".dotfile\rfile.txt\rflagged");
    EXPECT_EQ(List("files showaliases", d), "aliasflag\rfile.txt\rlink");
    EXPECT_EQ(List("files showshortcuts", d), "aliasflag\rfile.txt\rlink");
    // An invisible alias needs both switches; a link to a folder is an alias file, not a folder.
    EXPECT_EQ(List("folders showinvisibles showaliases", d), ".hiddenFolder\rFolder");
    EXPECT_EQ(List("files showinvisibles showaliases -ReturnAtEnd", d),
              ".dotfile\r.hiddenLink\raliasflag\rfile.txt\rflagged\rlink\r");
    EXPECT_EQ(List("FILES", d + "/"), "file.txt");

    EXPECT_EQ(List("", d), "$$-50");
    EXPECT_EQ(List("showinvisibles", d), "$$-50");
    EXPECT_EQ(List("files", d + "/file.txt"), "$$-120");
    EXPECT_EQ(List("files", root + "/missing"), "$$-43");

    fs::create_directories(root + "/empty");
    EXPECT_EQ(List("filesfolders", root + "/empty"), "");
    EXPECT_EQ(List("filesfolders -ReturnAtEnd", root + "/empty"), "");
    EXPECT_EQ(List("files", root + "/empty/../d/Folder"), "");  // all filtered out: empty as well
}

TEST_F(Listing, EntriesComeInNameOrderWhateverTheirCase) {
    for (const char *name : {"b", "B", "a", "C", "_x", "a10", "a9", "A2", "Zed", "zed", "[1]"}) Touch(root + "/" + name);
    // Letters A to Z compare as lower case (so "[" and "_", between capitals and small letters in
    // bytes, come before every letter), ties by bytes.
    EXPECT_EQ(Lines(List("files", root)),
              (std::vector<std::string>{"[1]", "_x", "a", "a10", "A2", "a9", "B", "b", "C", "Zed", "zed"}));
}

TEST_F(Listing, NamesInSeveralScriptsAndBothUnicodeForms) {
    const std::string nfc = "caf\xC3\xA9", nfd = "cafe\xCC\x81";
    for (const std::string &name : {nfc + ".txt", nfd + ".txt", std::string("\xCE\xB1\xCE\xB2.txt"),
                                    std::string("\xE6\x97\xA5\xE6\x9C\xAC.txt"), std::string("\xD7\xA9.txt"),
                                    std::string("a:b.txt")})
        Touch(root + "/" + name);
    // Long names: the bytes on disk, each form as it is; a ":" in a name shows as "/".
    const auto longNames = Lines(List("files longnames", root));
    EXPECT_EQ(std::set<std::string>(longNames.begin(), longNames.end()),
              (std::set<std::string>{nfc + ".txt", nfd + ".txt", "\xCE\xB1\xCE\xB2.txt", "\xE6\x97\xA5\xE6\x9C\xAC.txt",
                                     "\xD7\xA9.txt", "a/b.txt"}));
    // Short names are Mac OS Roman: letters it has survive, others become "^". A decomposed name
    // is composed first, so both forms keep their accent.
    const auto shortNames = Lines(List("files", root));
    EXPECT_EQ(std::count(shortNames.begin(), shortNames.end(), nfc + ".txt"), 2);
    EXPECT_EQ(std::count(shortNames.begin(), shortNames.end(), "^^.txt"), 2);
    EXPECT_EQ(shortNames.size(), 6u);
}

// The root folder, given as "/" (the one path of a single byte), lists as the startup disk does.
TEST_F(Listing, TheRootFolderListsByItsPOSIXPath) {
    const std::string startup = Call("ZbFile_FileSpecToFullPath", {"", "/"});
    EXPECT_EQ(startup.back(), ':') << startup;
    const std::string folders = List("folders", "/");
    EXPECT_EQ(folders, List("folders", startup));
    const auto names = Lines(folders);
    EXPECT_EQ(std::count(names.begin(), names.end(), "etc"), 1);
    EXPECT_EQ(Call("ZbFile_Exists", {"", "/"}), "1");
    EXPECT_EQ(Call("ZbFile_GetFileSize", {"", "A"}), "$$-37");  // other one-byte texts name nothing
}

TEST_F(Listing, FoldersOfTensOfThousandsOfEntries) {
    // Long names fill many directory reads; the list comes in batches of 100.
    const std::string padding(60, 'p');
    std::vector<std::string> names;
    for (int i = 0; i < 20000; ++i) {
        names.push_back((i % 2 ? "F" : "f") + std::to_string(i) + padding);
        Touch(root + "/" + names.back());
    }
    fs::create_directories(root + "/sub");
    const auto listed = Lines(List("files", root));
    ASSERT_EQ(listed.size(), names.size());
    EXPECT_TRUE(std::is_sorted(listed.begin(), listed.end(), [](const std::string &a, const std::string &b) {
        std::string x = a, y = b;
        std::transform(x.begin(), x.end(), x.begin(), ::tolower);
        std::transform(y.begin(), y.end(), y.begin(), ::tolower);
        return x < y;
    }));
    EXPECT_EQ(std::set<std::string>(listed.begin(), listed.end()), std::set<std::string>(names.begin(), names.end()));
    EXPECT_EQ(List("folders", root), "sub");
}

TEST_F(Listing, SearchFindsByFragmentOrExactNameCaseBlind) {
    // The startup volume is searched from a path on it: a name made unique for this test.
    const std::string tag = "zqxsearch" + std::to_string(getpid());
    fs::create_directories(root + "/one/" + tag + "DIR");
    Touch(root + "/one/" + tag + ".txt");
    Touch(root + "/" + tag + ".txt");
    Touch(root + "/one/" + tag + "DIR/" + "x" + tag);
    const std::string base = Call("ZbFile_FileSpecToFullPath", {"", root});  // "…:zerb-list-N:"
    // Depth first, a folder's line before its contents, each folder in name order.
    EXPECT_EQ(Call("ZbFile_Search", {"files exactname", root + "/one", tag + ".TXT"}),
              base + "one:" + tag + ".txt\r" + base + tag + ".txt");
    EXPECT_EQ(Call("ZbFile_Search", {"folders", "", tag}), base + "one:" + tag + "DIR:");
    EXPECT_EQ(Call("ZbFile_Search", {"filesfolders -ReturnAtEnd", root + "/one/", tag.substr(2)}),
              base + "one:" + tag + ".txt\r" + base + "one:" + tag + "DIR:\r" + base + "one:" + tag + "DIR:x" + tag +
                  "\r" + base + tag + ".txt\r");
    EXPECT_EQ(Call("ZbFile_Search", {"files", "", tag + "-none"}), "");
    EXPECT_EQ(Call("ZbFile_Search", {"exactname", "", tag}), "$$-50");
    EXPECT_EQ(Call("ZbFile_Search", {"files", "NoSuchVolume", tag}), "$$-35");
}

TEST_F(Listing, DiskChecksAndLimits) {
    EXPECT_EQ(Call("ZbFile_DiskInfo", {"GetTotalMegs", ""}), "$$-50");
    EXPECT_EQ(Call("ZbFile_DiskInfo", {"", "Startup Disk"}), "$$-50");
    EXPECT_EQ(Call("ZbFile_DiskInfo", {"GetFreeMegs", "NoSuchVolume:"}), "$$-35");
    // The size df gives in bytes, in whole megabytes (df -m itself rounds up).
    const std::string df = zerbtest::Output("df -P -B1 / | tail -n 1");
    uint64_t bytes = 0;
    ASSERT_EQ(std::sscanf(df.c_str(), "%*s %llu", reinterpret_cast<unsigned long long *>(&bytes)), 1) << df;
    const std::string startup = Call("ZbFile_ListDisks", {""}).substr(0, Call("ZbFile_ListDisks", {""}).find('\r'));
    EXPECT_EQ(Call("ZbFile_DiskInfo", {"-GetTotalMegs", startup}), std::to_string(bytes / 1048576));
    EXPECT_EQ(Call("ZbFile_DiskInfo", {"GetIsNetworkDisk", startup + ":"}), "0");

    const std::string m28(28, 'm'), z32(32, 'z');
    EXPECT_EQ(Call("ZbFile_MountDisk", {"", "", "", "vol"}), "$$-50");
    EXPECT_EQ(Call("ZbFile_MountDisk", {"", "", m28, "vol"}), "$$-5019");
    EXPECT_EQ(Call("ZbFile_MountDisk", {"", z32, "server", "vol"}), "$$-5019");
    EXPECT_EQ(Call("ZbFile_MountDisk", {"", "", "server", ""}), "$$-50");
    EXPECT_EQ(Call("ZbFile_MountDisk", {"", "", "server", std::string(28, 'v')}), "$$-5019");
    EXPECT_EQ(Call("ZbFile_MountDisk", {"", "", "server", std::string(27, 'v') + ":", std::string(32, 'u')}),
              "$$-5019");
    EXPECT_EQ(Call("ZbFile_MountDisk", {"", "", "server", "vol", "ann", "123456789"}), "$$-5019");
    EXPECT_EQ(Call("ZbFile_MountDisk", {"", "", "afp://192.168.1.2", "vol"}), "$$-1066");
    EXPECT_EQ(Call("ZbFile_UnmountDisk", {"", "NoSuchVolume"}), "$$-35");
    EXPECT_EQ(Call("ZbFile_UnmountDisk", {"", ""}), "$$-50");
}

// A volume made for the test: more than 100 matches over several batches, an unreadable folder
// (searched by an ordinary user), loops of links, another mount inside that must not be entered.
TEST(SearchVolumes, WholeVolumeTreeInOrderWithoutCrossingMounts) {
    if (geteuid() != 0) GTEST_SKIP() << "mounting a test volume needs root";
    if (zerbtest::kUnderEmulation) GTEST_SKIP() << zerbtest::kEmulationSkip << ": mounts are told apart by mount id";
    std::string mounts =
        "mount -t tmpfs tmpfs /mnt\nmkdir /mnt/Vol\nmount -t tmpfs tmpfs /mnt/Vol\ncd /mnt/Vol\n"
        "mkdir -p a/deep/er b closed inner\n"
        "for i in $(seq 100 349); do echo >b/hit$i; done\n"
        "echo >a/HIT.txt; echo >a/deep/er/hit; echo >closed/hit; echo >.hit\n"
        "ln -s . a/loop; ln -s ../.. a/deep/up; ln -s /media/Vol a/hitlink\n"
        "mount -t tmpfs tmpfs inner\necho >inner/hit\nchmod 755 /mnt /mnt/Vol; chmod 000 closed";
    const auto lines = zerbtest::RunInPrivateMounts(
        mounts, {R"(ZbFile_Search("files";"/mnt/Vol/a/deep";"hit"))",
                 R"(ZbFile_Search("files showinvisibles showaliases";"Vol:";"HIT"))",
                 R"(ZbFile_Search("filesfolders exactname";"Vol";"inner"))",
                 R"(ZbFile_DiskInfo("GetFileCount GetFolderCount";"Vol"))",
                 R"(ZbFile_DiskInfo("GetFolderCount";"Vol:"))",
                 R"(ZbFile_DiskInfo("GetIsNetworkDisk";"Vol"))"},
        "setpriv --reuid=65534 --regid=65534 --clear-groups");
    if (lines.empty()) GTEST_SKIP() << "no private mount namespace here (unshare or setpriv failed)";
    // fmxhost prints each result on a line of its own, returns as line breaks.
    std::vector<std::string> expected = {"Vol:a:deep:er:hit", "Vol:a:HIT.txt"};
    for (int i = 100; i < 350; ++i) expected.push_back("Vol:b:hit" + std::to_string(i));
    std::vector<std::string> second = {"Vol:.hit", "Vol:a:deep:er:hit", "Vol:a:HIT.txt", "Vol:a:hitlink"};
    second.insert(second.end(), expected.begin() + 2, expected.end());
    ASSERT_EQ(lines.size(), expected.size() + second.size() + 4);
    EXPECT_EQ(std::vector<std::string>(lines.begin(), lines.begin() + long(expected.size())), expected);
    EXPECT_EQ(std::vector<std::string>(lines.begin() + long(expected.size()),
                                       lines.begin() + long(expected.size() + second.size())),
              second);
    const size_t at = expected.size() + second.size();
    EXPECT_EQ(lines[at], "Vol:inner:");  // the mount point is an item; nothing below it is
    // Files: 250 + HIT.txt + er/hit + .hit + 3 links (closed/hit cannot be seen, inner/hit is on
    // another mount); folders: a deep er b closed inner.
    EXPECT_EQ(lines[at + 1], std::to_string(256 + 6));
    EXPECT_EQ(lines[at + 2], "6");
    EXPECT_EQ(lines[at + 3], "0");
}

TEST(SearchVolumes, ListDisksAndDiskSpaceOfAMountedVolume) {
    if (geteuid() != 0) GTEST_SKIP() << "mounting a test volume needs root";
    const auto lines = zerbtest::RunInPrivateMounts(
        "mount -t tmpfs tmpfs /media\nmkdir /media/Small /media/Big\nmount -t tmpfs -o size=3m tmpfs /media/Small\n"
        "mount -t tmpfs -o size=3000t tmpfs /media/Big\nhead -c 1048576 /dev/zero >/media/Small/f",
        {R"(ZbFile_ListDisks("-ReturnAtEnd"))", R"(ZbFile_DiskInfo("GetTotalMegs";"Small"))",
         R"(ZbFile_DiskInfo("GetFreeMegs GetTotalMegs";"Small"))", R"(ZbFile_DiskInfo("GetTotalMegs";"Big"))",
         R"(ZbFile_UnmountDisk("";"Small"))", R"(ZbFile_ListDisks(""))"});
    if (lines.empty()) GTEST_SKIP() << "no private mount namespace here (unshare failed)";
    // The startup volume first, then the volumes in mount order; -ReturnAtEnd ends with a return.
    const auto end = std::find(lines.begin(), lines.end(), "");
    ASSERT_NE(end, lines.end());
    const std::vector<std::string> disks(lines.begin(), end);
    const auto small = std::find(disks.begin(), disks.end(), "Small");
    ASSERT_NE(small, disks.end());
    EXPECT_EQ(small + 1, std::find(disks.begin(), disks.end(), "Big"));
    ASSERT_EQ(lines.end() - end, 1 + 4 + long(disks.size()) - 1);
    EXPECT_EQ(end[1], "3");
    EXPECT_EQ(end[2], "2");                                     // free wins over total
    EXPECT_EQ(end[3], std::to_string(3000ull * 1024 * 1024));  // over 2^31 megabytes stays unsigned
    EXPECT_EQ(end[4], "0");
    EXPECT_EQ(std::find(end + 5, lines.end(), "Small"), lines.end());
    EXPECT_NE(std::find(end + 5, lines.end(), "Big"), lines.end());
}

// An smb:// mount as root without a session bus goes to mount.cifs; a stand-in helper records
// what it was given: the password only on the descriptor PASSWD_FD names.
// A volume whose mount point's name holds ":" is named with "/" everywhere, ListDisks included;
// a decomposed name found by Search keeps its accent in the Mac OS Roman path.
TEST(SearchVolumes, VolumeNamesWithColonsAndDecomposedNamesInPaths) {
    if (geteuid() != 0) GTEST_SKIP() << "mounting a test volume needs root";
    const auto lines = zerbtest::RunInPrivateMounts(
        "mount -t tmpfs tmpfs /mnt\nmkdir /mnt/c:d\nmount -t tmpfs tmpfs /mnt/c:d\n"
        "printf x >\"/mnt/c:d/Cafe$(printf '\\314\\201')\"",
        {R"(ZbFile_ListDisks(""))", R"(ZbFile_DiskInfo("GetIsNetworkDisk";"c/d"))",
         R"(ZbFile_ListFolder("files";"c/d:"))", R"(ZbFile_Search("files";"c/d";"caf"))",
         R"(ZbFile_Search("files longnames";"c/d";"caf"))"});
    if (lines.empty()) GTEST_SKIP() << "no private mount namespace here (unshare failed)";
    ASSERT_GE(lines.size(), 5u);
    const std::vector<std::string> disks(lines.begin(), lines.end() - 4);
    EXPECT_EQ(std::count(disks.begin(), disks.end(), "c/d"), 1) << ::testing::PrintToString(disks);
    EXPECT_EQ(std::count(disks.begin(), disks.end(), "c:d"), 0);
    EXPECT_EQ(std::vector<std::string>(lines.end() - 4, lines.end()),
              (std::vector<std::string>{"0", "Caf\xC3\xA9", "c/d:Caf\xC3\xA9", "c/d:Cafe\xCC\x81"}));
}

TEST(SearchVolumes, URLMountPassesThePasswordOnlyThroughAPipe) {
    if (geteuid() != 0) GTEST_SKIP() << "mounting needs root";
    const std::string dir = (fs::temp_directory_path() / ("zerb-helper-" + std::to_string(getpid()))).string();
    fs::create_directories(dir);
    std::ofstream(dir + "/mount.cifs") << "#!/bin/sh\n"
                                          "{ echo \"args: $*\"; env | grep -i pass; ps -o args= -p $$;\n"
                                          "  echo \"fd: $(cat <&${PASSWD_FD})\"; } >>" << dir << "/log\n"
                                          "case \"$*\" in *broken*) exit 32;; esac\n";
    fs::permissions(dir + "/mount.cifs", fs::perms::owner_all);
    const auto lines = zerbtest::RunInPrivateMounts(
        "mount -t tmpfs tmpfs /media\nunset DBUS_SESSION_BUS_ADDRESS\nexport PATH=" + dir + ":$PATH",
        {R"(ZbFile_MountDisk("";"";"smb://127.0.0.1";"share";"ann";"s3cr3t"))",
         R"(ZbFile_MountDisk("";"";"smb://127.0.0.1/";"broken";"ann";"s3cr3t"))", R"(ZbFile_Exists("";"/media/share"))",
         R"(ZbFile_Exists("";"/media/broken"))"});
    if (lines.empty()) GTEST_SKIP() << "no private mount namespace here (unshare failed)";
    // A refused mount leaves no mount point behind.
    EXPECT_EQ(lines, (std::vector<std::string>{"0", "$$-5023", "1", "0"}));
    std::ifstream in(dir + "/log");
    std::string log((std::istreambuf_iterator<char>(in)), {});
    EXPECT_NE(log.find("args: //127.0.0.1/share /media/share -o username=ann"), std::string::npos) << log;
    EXPECT_NE(log.find("fd: s3cr3t"), std::string::npos) << log;
    EXPECT_NE(log.find("args: //127.0.0.1/broken /media/broken -o username=ann"), std::string::npos) << log;
    // Nowhere but on the descriptor, in either call.
    size_t count = 0;
    for (size_t at = log.find("s3cr3t"); at != std::string::npos; at = log.find("s3cr3t", at + 1)) {
        EXPECT_EQ(log.compare(at - 4, 4, "fd: "), 0) << log;
        ++count;
    }
    EXPECT_EQ(count, 2u);
    fs::remove_all(dir);
}

// A real share: Debian's samba on 127.0.0.1, mounted through the URL path, then listed, asked
// about and unmounted. Most sandboxes refuse it; the test says why.
TEST(SearchVolumes, RealSambaShare) {
    if (geteuid() != 0) GTEST_SKIP() << "mounting a share needs root";
    std::ifstream filesystems("/proc/filesystems");
    std::string all((std::istreambuf_iterator<char>(filesystems)), {});
    if (all.find("cifs") == std::string::npos && all.find("smb3") == std::string::npos)
        GTEST_SKIP() << "this kernel has no cifs file system (and no module to load), so no share can be mounted";
    if (access("/usr/sbin/smbd", X_OK) != 0 || access("/usr/sbin/mount.cifs", X_OK) != 0)
        GTEST_SKIP() << "samba and cifs-utils are not installed (scripts/setup.sh installs them)";
    const std::string dir = (fs::temp_directory_path() / ("zerb-smb-" + std::to_string(getpid()))).string();
    fs::create_directories(dir + "/share");
    std::ofstream(dir + "/share/shared.txt") << "x";
    std::ofstream(dir + "/smb.conf") << "[global]\nsmb ports = 445\nmap to guest = Bad User\n"
                                        "pid directory = " << dir << "\nlock directory = " << dir << "\nstate directory = "
                                     << dir << "\ncache directory = " << dir << "\nprivate dir = " << dir
                                     << "\n[share]\npath = " << dir << "/share\nguest ok = yes\nread only = no\n";
    const auto lines = zerbtest::RunInPrivateMounts(
        "mount -t tmpfs tmpfs /media\nunset DBUS_SESSION_BUS_ADDRESS\n/usr/sbin/smbd -D -s " + dir + "/smb.conf\nsleep 1",
        {R"(ZbFile_MountDisk("";"";"smb://127.0.0.1";"share"))", R"(ZbFile_ListDisks(""))",
         R"(ZbFile_DiskInfo("GetIsNetworkDisk";"share"))", R"(ZbFile_UnmountDisk("";"share"))"});
    std::system(("pkill -f 'smbd -D -s " + dir + "' 2>/dev/null").c_str());
    fs::remove_all(dir);
    if (lines.empty() || lines[0] != "0") GTEST_SKIP() << "the share could not be mounted here";
    EXPECT_NE(std::find(lines.begin(), lines.end(), "share"), lines.end());
    EXPECT_EQ(lines[lines.size() - 2], "1");
    EXPECT_EQ(lines.back(), "0");
}

// A tree deeper than the walk keeps folders open (and, further down, deeper than one relative
// path reaches): matches below are found, and a flagged file there is still invisible.
TEST(SearchVolumes, TreesDeeperThanTheFoldersHeldOpen) {
    if (geteuid() != 0) GTEST_SKIP() << "mounting a test volume needs root";
    std::string at300;
    for (int i = 0; i < 300; ++i) at300 += "/ddd";
    const auto lines = zerbtest::RunInPrivateMounts(
        // Paths this long are out of the shell's reach: made folder by folder from descriptors.
        "mount -t tmpfs tmpfs /mnt\nmkdir /mnt/Deep\nmount -t tmpfs tmpfs /mnt/Deep\npython3 -c \"\n"
        "import os\nfd = os.open('/mnt/Deep', os.O_RDONLY)\n"
        "def touch(name): os.close(os.open(name, os.O_CREAT | os.O_WRONLY, 0o644, dir_fd=fd))\n"
        "for i in range(1, 1501):\n"
        "    os.mkdir('ddd', dir_fd=fd); sub = os.open('ddd', os.O_RDONLY, dir_fd=fd); os.close(fd); fd = sub\n"
        "    if i == 300: touch('seen'); touch('hidden')\n"
        "    if i == 1400: touch('far')\n\"",
        {"ZbFile_SetFileAttribute(\"-hide\";\"/mnt/Deep" + at300 + "/hidden\")",
         R"(ZbFile_Search("files";"Deep";"seen"))", R"(ZbFile_Search("files";"Deep";"hidden"))",
         R"(ZbFile_Search("files showinvisibles";"Deep";"hidden"))",
         R"(ZbFile_Search("files";"Deep";"far"))", R"(ZbFile_DiskInfo("GetFolderCount";"Deep"))"});
    if (lines.empty()) GTEST_SKIP() << "no private mount namespace here (unshare failed)";
    std::string folder = "Deep";
    for (int i = 0; i < 300; ++i) folder += ":ddd";
    // The far file's path passes the 5000 bytes a path line can hold.
    EXPECT_EQ(lines, (std::vector<std::string>{"0", folder + ":seen", "", folder + ":hidden", "$$-207", "1500"}));
}
