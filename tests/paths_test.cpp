// Path texts and file references, on a tree of real files made for the test: every kind of name,
// symbolic links, deep folders, missing parts. The parser is exercised directly and through the
// five path functions of the loaded plug-in.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <atomic>
#include <shared_mutex>
#include <thread>
#include <tuple>
#include <vector>

#include "filecore/fsspec.h"
#include "filecore/paths.h"
#include "platform/volumes.h"
#include "core/globals.h"
#include "core/functions.h"
#include "tests/plugin_harness.h"

namespace fs = std::filesystem;
using zerbtest::Contents;
using zerbtest::PluginTest;

namespace {

const std::string kNFC = "Caf\xC3\xA9";     // "Café", é composed
const std::string kNFD = "Cafe\xCC\x81";    // "Café", e + combining acute
const std::string kMacRoman = "caf\x8E";    // "café" in Mac OS Roman bytes

// The tree: folders dir/ and dir/sub/, files of every kind of name, links, and a deep branch.
struct Tree {
    std::string root;  // absolute, on the startup volume
    Tree() {
        root = (fs::temp_directory_path() / ("zerb-paths-" + std::to_string(getpid()))).string();
        fs::remove_all(root);
        fs::create_directories(root + "/dir/sub");
        fs::create_directories(root + "/" + kMacRoman);
        fs::create_directories(root + "/" + kNFD);
        for (const std::string &name : std::vector<std::string>{"dir/file.txt", "dir/a:b.txt", "dir/with space", "dir/" + kNFC + ".txt",
                                       kMacRoman + "/x.txt", kNFD + "/y.txt", "dir/" + std::string(64, 'n'),
                                       "dir/" + std::string(255, 'L')})
            std::ofstream(root + "/" + name) << "x";
        fs::create_directory_symlink(root + "/dir", root + "/folderlink");
        fs::create_symlink(root + "/dir/file.txt", root + "/filelink");
        fs::create_symlink(root + "/gone", root + "/dangling");
    }
    ~Tree() { fs::remove_all(root); }
    std::string operator()(const std::string &relative) const { return root + "/" + relative; }
};

std::string StartupColon() { return Zb7_PlatformStartupVolumeName() + ":"; }

// The colon path of a POSIX path on the startup volume.
std::string Colon(const std::string &posix) { return StartupColon() + ZbSwapColonsAndSlashes(posix.substr(1)); }

class PathModel : public ::testing::Test {
protected:
    static void SetUpTestSuite() { tree = new Tree; }
    static void TearDownTestSuite() { delete tree; }
    void SetUp() override { gStartupDiskNameAndColon = StartupColon(); }

    static long Parse(const std::string &text, FSSpec &ref, size_t max = 255) {
        return ZbPi_CStrToFSpec(text, kZbPathUTF8, max, &ref);
    }
    // The colon path a text resolves to, or the error text.
    static std::string PathOf(const std::string &text, size_t max = 255) {
        FSSpec ref;
        std::string out;
        long err = Parse(text, ref, max);
        if (!err) err = Zb7_FSSpecToFullPathCStr(ref, out, kZbPathBufferSize, true);
        return err ? "$$" + std::to_string(err) : out;
    }
    static std::string RefOf(const std::string &text) {
        FSSpec ref;
        std::string out;
        const long err = Parse(text, ref);
        if (!err) Zb7_Mac_FSSpecToCStr(ref, out);
        return err ? "$$" + std::to_string(err) : out;
    }
    static Tree *tree;
};
Tree *PathModel::tree = nullptr;

}  // namespace

TEST_F(PathModel, EveryKindOfNameRoundTripsThroughBothSyntaxesAndTheReference) {
    const Tree &t = *tree;
    for (const std::string &item : std::vector<std::string>{"dir/file.txt", "dir/a:b.txt", "dir/with space", "dir/" + kNFC + ".txt",
                                   "dir/" + std::string(255, 'L'), "dir", "dir/sub", kNFD, "filelink", "dangling"}) {
        SCOPED_TRACE(item);
        const std::string posix = t(item);
        const bool folder = fs::is_directory(fs::symlink_status(posix));
        const std::string colon = Colon(posix) + (folder ? ":" : "");
        EXPECT_EQ(PathOf(posix), colon);
        EXPECT_EQ(PathOf(colon), colon);
        EXPECT_EQ(PathOf(posix + (folder ? "/" : "")), colon);
        const std::string refText = RefOf(posix);
        EXPECT_EQ(RefOf(colon), refText);
        EXPECT_EQ(PathOf(refText), colon);
        EXPECT_EQ(RefOf(refText), refText);
        EXPECT_EQ(PathOf("filelinux:" + posix), colon);
    }
    // A ":" on disk is a "/" in colon paths and reference texts, and nowhere else.
    EXPECT_EQ(RefOf(t("dir/a:b.txt")).substr(RefOf(t("dir/a:b.txt")).rfind(':')), ":a/b.txt");
    // The volume's own path, "::" and "." and ".." components, the host's filemac form.
    EXPECT_EQ(PathOf(StartupColon()), StartupColon());
    EXPECT_EQ(RefOf(StartupColon()), ":-100:1:" + Zb7_PlatformStartupVolumeName());
    EXPECT_EQ(PathOf(Colon(t("dir/sub")) + "::file.txt"), Colon(t("dir/file.txt")));
    EXPECT_EQ(PathOf(t("dir/sub/./../file.txt")), Colon(t("dir/file.txt")));
    EXPECT_EQ(PathOf("filemac:/" + Zb7_PlatformStartupVolumeName() + t("dir/")), Colon(t("dir")) + ":");
}

TEST_F(PathModel, SymbolicLinksAreItemsOfTheirOwnButLeadOnInsidePaths) {
    const Tree &t = *tree;
    EXPECT_EQ(PathOf(t("folderlink")), Colon(t("folderlink")));  // a link, not a folder: no ":"
    EXPECT_EQ(PathOf(t("folderlink/file.txt")), Colon(t("folderlink/file.txt")));
    EXPECT_NE(RefOf(t("filelink")), RefOf(t("dir/file.txt")));
    FSSpec link;
    ASSERT_EQ(Parse(t("filelink"), link), 0);
    ASSERT_EQ(Zb7_MyResolveAliasFile(&link), 0);
    std::string refText;
    Zb7_Mac_FSSpecToCStr(link, refText);
    EXPECT_EQ(refText, RefOf(t("dir/file.txt")));
    ASSERT_EQ(Parse(t("dangling"), link), 0);
    EXPECT_EQ(Zb7_MyResolveAliasFile(&link), -43);
}

TEST_F(PathModel, ShortErrorAndMissingTexts) {
    const Tree &t = *tree;
    for (const std::string text : {"", "A", ":"}) EXPECT_EQ(PathOf(text), "$$-37") << text;
    EXPECT_EQ(PathOf("/"), StartupColon());  // the one path of a single byte: the root folder
    FSSpec ref;
    // A missing item in an existing folder: -43 with the reference of the item to be made.
    EXPECT_EQ(Parse(t("dir/new.txt"), ref), -43);
    EXPECT_EQ(ref.name, "new.txt");
    std::string path;
    EXPECT_EQ(Zb7_FSSpecToFullPathCStr(ref, path, 2000, false), 0);
    EXPECT_EQ(path, Colon(t("dir/new.txt")));
    EXPECT_EQ(Zb7_FSSpecToFullPathCStr(ref, path, 2000, true), -43);
    // A missing folder on the way: nothing is left in the reference.
    EXPECT_EQ(Parse(t("nofolder/new.txt"), ref), -43);
    EXPECT_TRUE(ZbIsClearedFSSpec(ref));
    EXPECT_EQ(Parse(Colon(t("nofolder/new.txt")), ref), -43);
    EXPECT_EQ(Parse(t("dir/file.txt/x"), ref), -1407);  // a file on the way
    EXPECT_EQ(PathOf("No Such Volume:x"), "$$-35");
    EXPECT_EQ(PathOf(":-100:2147483000:x"), "$$-120");  // a folder id nobody gave out
    EXPECT_EQ(PathOf(":-5:2:x"), "$$-35");
    EXPECT_EQ(PathOf(":-100:1:"), "$$-120");
    EXPECT_EQ(PathOf(t("dir/file.txt/")), Colon(t("dir/file.txt")));  // found name by name
}

TEST_F(PathModel, TheLastNameMayNotPassTheCallersMaximum) {
    const Tree &t = *tree;
    const std::string n64 = t("dir/" + std::string(64, 'n'));
    EXPECT_EQ(PathOf(n64, 63), "$$-92");
    EXPECT_EQ(PathOf(n64, 64), Colon(n64));
    EXPECT_EQ(PathOf(Colon(n64), 63), "$$-92");
    EXPECT_EQ(PathOf(t("dir/" + std::string(255, 'L')), 255), Colon(t("dir/" + std::string(255, 'L'))));
    FSSpec parent;
    std::string name;
    EXPECT_EQ(Zb7_CStrToParentFSSpecAndFileName(n64, kZbPathUTF8, 63, &parent, name), -92);
    EXPECT_EQ(Zb7_CStrToParentFSSpecAndFileName(t("dir/sub/new"), kZbPathUTF8, 63, &parent, name), 0);
    EXPECT_EQ(name, "new");
    std::string path;
    ASSERT_EQ(Zb7_FSSpecToFullPathCStr(parent, path, 2000, true), 0);
    EXPECT_EQ(path, Colon(t("dir/sub")) + ":");
    EXPECT_EQ(Zb7_CStrToParentFSSpecAndFileName(Colon(t("dir/new:name")), kZbPathUTF8, 63, &parent, name), 0);
    EXPECT_EQ(name, "new/name");
    EXPECT_EQ(Zb7_CStrToParentFSSpecAndFileName("NoColon", kZbPathUTF8, 63, &parent, name), -120);
    // Reference text of a folder with a new name appended, as scripts build it.
    short vRefNum;
    int32_t id;
    ASSERT_EQ(Zb7_FolderIdOfPath(t("dir/sub"), vRefNum, id), 0);
    EXPECT_EQ(Zb7_CStrToParentFSSpecAndFileName(":-100:" + std::to_string(id) + ":made.txt", kZbPathUTF8, 63,
                                                &parent, name), 0);
    EXPECT_EQ(name, "made.txt");
    EXPECT_EQ(parent.parID, id);
}

TEST_F(PathModel, ComposedAndDecomposedNamesFindEachOther) {
    const Tree &t = *tree;
    // The file is stored composed, the folder decomposed; either spelling finds either.
    EXPECT_EQ(PathOf(t("dir/" + kNFD + ".txt")), Colon(t("dir/" + kNFC + ".txt")));
    EXPECT_EQ(PathOf(t(kNFC + "/y.txt")), Colon(t(kNFD + "/y.txt")));
    EXPECT_EQ(PathOf(Colon(t(kNFC + "/y.txt"))), Colon(t(kNFD + "/y.txt")));
    EXPECT_EQ(PathOf(t(kNFC)), Colon(t(kNFD)) + ":");
}

TEST_F(PathModel, DeepPathsAreCutWhereTheirTextStopsFitting) {
    // Folders of 100 bytes, and a shorter last one, until the folder's colon path is 1985 bytes.
    std::string folder = tree->root;
    while (Colon(folder).size() < 1985) {
        const size_t length = std::min<size_t>(100, 1985 - Colon(folder).size() - 1);
        folder += "/" + std::string(length, char('a' + folder.size() % 26));
        ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
    }
    const std::string file = folder + "/" + std::string(20, 'f');
    std::ofstream(file) << "x";
    ASSERT_LT(file.size(), 2000u);
    FSSpec ref;
    std::string out;
    ASSERT_EQ(Parse(file, ref), 0);
    EXPECT_EQ(Zb7_FSSpecToFullPathCStr(ref, out, 2000, true), -207);
    EXPECT_EQ(Zb7_FSSpecToFullPathCStr(ref, out, 5000, true), 0);
    EXPECT_EQ(out, Colon(file));
    EXPECT_EQ(Zb7_FSSpecToFullPathCStr(ref, out, 9000, true), 0);  // never more than 5000
    // The reference text of the file no longer fits with its name: it names the folder.
    std::string refText;
    Zb7_Mac_FSSpecToCStr(ref, refText);
    EXPECT_EQ(RefOf(refText), RefOf(folder));
}

TEST_F(PathModel, MacRomanModeAndTheByteForByteConversions) {
    const Tree &t = *tree;
    // Encoding mode 0 reads and writes Mac OS Roman bytes ("\x8E" is "é").
    const std::string macRoman = Colon(t("dir/Caf\x8E.txt"));
    FSSpec ref;
    ASSERT_EQ(ZbPi_CStrToFSpec(macRoman, 0, 255, &ref), 0);
    std::string out;
    Zb7_Mac_FSSpecToCStr(ref, out);
    EXPECT_EQ(out, RefOf(t("dir/" + kNFC + ".txt")));
    ASSERT_EQ(ZbMoreX_FSSpecToFullPath(ref, 0, StartupColon(), out, 2000), 0);
    EXPECT_EQ(out, macRoman);

    const std::string startup = StartupColon();
    Zb7_POSIXPathFromFullPath(startup + "a/b:c:", out);
    EXPECT_EQ(out, "/a:b/c/");
    Zb7_POSIXPathFromFullPath(startup, out);
    EXPECT_EQ(out, "/");
    Zb7_POSIXPathFromFullPath("No Such Volume:x", out);
    EXPECT_EQ(out, "/Volumes/No Such Volume/x");
    const ZbVolume usb{-101, "USB", "/media/USB"};
    EXPECT_EQ(ZbMoreX_ConvertUnixPathToHFSPath("/media/USB/a:b/c", kZbPathUTF8, startup, usb, out, 100), 0);
    EXPECT_EQ(out, "USB:a/b:c");
    EXPECT_EQ(ZbMoreX_ConvertUnixPathToHFSPath("/media/USB/a:b/c", kZbPathUTF8, startup, usb, out, 8), -207);

    Zb7_GetVolumeName("USB:x:y", out);
    EXPECT_EQ(out, "USB:");
    EXPECT_EQ(Zb7_VolumeNameToFSpec("No Such Volume:", &ref), -35);
    ASSERT_EQ(Zb7_VolumeNameToFSpec(startup, &ref), 0);
    EXPECT_EQ(ref.vRefNum, kZbStartupVRefNum);
    EXPECT_EQ(ref.parID, kZbRootParentID);
}

TEST_F(PathModel, ReferenceTextFieldsAreReadLeniently) {
    const Tree &t = *tree;
    const std::string file = RefOf(t("dir/file.txt"));
    const std::string id = file.substr(6, file.rfind(':') - 6);
    // The volume number keeps its low 16 bits: 65436 is -100.
    EXPECT_EQ(RefOf(":65436:" + id + ":file.txt"), file);
    // Missing or unreadable fields count as 0. The name is all that follows the third ":", and
    // its colons separate folders once it is appended to its folder's path.
    EXPECT_EQ(PathOf(":-100"), "$$-120");
    EXPECT_EQ(PathOf(":abc:" + id + ":file.txt"), "$$-35");
    EXPECT_EQ(PathOf(":-100:" + id + ":file.txt:more"), "$$-1407");  // file.txt is no folder
    EXPECT_EQ(RefOf(":-100:" + id + ":sub:"), RefOf(t("dir/sub")));
    // An empty name names the folder itself, in its own canonical reference.
    EXPECT_EQ(RefOf(":-100:" + id + ":"), RefOf(t("dir")));
    EXPECT_EQ(PathOf(":-100:2:"), StartupColon());
    // A name past 255 bytes is cut there, and then too long for a maximum of 63.
    EXPECT_EQ(PathOf(":-100:" + id + ":" + std::string(300, 'L')), Colon(t("dir/" + std::string(255, 'L'))));
    EXPECT_EQ(PathOf(":-100:" + id + ":" + std::string(300, 'L'), 63), "$$-92");
}

TEST_F(PathModel, TheFolderTableStaysWholeWhileThreadsOverflowIt) {
    for (int f = 0; f < 40; ++f) {
        fs::create_directories(tree->root + "/many/f" + std::to_string(f));
        std::ofstream(tree->root + "/many/f" + std::to_string(f) + "/x") << "x";
    }
    ZbSetFolderTableLimit(8);
    std::vector<std::thread> threads;
    std::atomic<int> bad{0};
    for (int k = 0; k < 4; ++k)
        threads.emplace_back([&, k] {
            for (int i = 0; i < 400; ++i) {
                const std::string item = tree->root + "/many/f" + std::to_string((i * 7 + k) % 40) + "/x";
                const std::string refText = RefOf(item);
                const std::string path = PathOf(refText);
                // Another thread may have pushed the folder out between the two calls.
                if (refText.rfind(":-100:", 0) != 0 || (path != Colon(item) && path != "$$-120")) ++bad;
            }
        });
    for (auto &t : threads) t.join();
    EXPECT_LE(ZbFolderTableSize(), 8u);
    ZbSetFolderTableLimit(0);
    EXPECT_EQ(bad, 0);
}

TEST_F(PathModel, FolderIdsFollowTheFolderNotItsPath) {
    const std::string a = tree->root + "/moving", b = tree->root + "/moved";
    fs::create_directories(a);
    std::ofstream(a + "/f") << "x";
    const std::string refText = RefOf(a + "/f");
    EXPECT_EQ(PathOf(refText), Colon(a + "/f"));
    fs::rename(a, b);
    EXPECT_EQ(PathOf(refText), "$$-120");  // the folder is not where it was
    EXPECT_EQ(RefOf(b + "/f"), refText);   // but keeps its id once found again
    EXPECT_EQ(PathOf(refText), Colon(b + "/f"));
    // The table forgets the folders used longest ago.
    ZbSetFolderTableLimit(2);
    RefOf(tree->root + "/dir/sub/x");
    RefOf(tree->root + "/" + kNFD + "/x");
    EXPECT_LE(ZbFolderTableSize(), 2u);
    EXPECT_EQ(PathOf(refText), "$$-120");
    ZbSetFolderTableLimit(0);
    fs::remove_all(b);
}

TEST_F(PathModel, AFolderIdNamesItsFolderWhicheverPathFoundIt) {
    // A link beside a file whose name is the link's followed by the file's: a folder id stored
    // with the link's path would answer that file.
    const std::string t = tree->root + "/linked";
    fs::create_directories(t + "/real/sub");
    std::ofstream(t + "/real/f") << "real";
    fs::create_directory_symlink("real", t + "/lnk");
    std::ofstream(t + "/lnkf") << "WRONG";
    const std::string refText = RefOf(t + "/real/f");
    EXPECT_EQ(PathOf(t + "/lnk/sub"), Colon(t + "/lnk/sub") + ":");
    EXPECT_EQ(PathOf(refText), Colon(t + "/real/f"));
    // The same folder reached through the link has the same id, and its path is the real one.
    EXPECT_EQ(RefOf(t + "/lnk/f"), refText);
    EXPECT_EQ(PathOf(RefOf(t + "/lnk/f")), Colon(t + "/real/f"));
    EXPECT_EQ(PathOf(RefOf(t + "/lnk/sub") + "x"), "$$-43");  // a new name in the real sub folder
    fs::remove(t + "/lnkf");
    EXPECT_EQ(PathOf(refText), Colon(t + "/real/f"));
    fs::remove_all(t);
}

TEST_F(PathModel, AFolderMadeUnderTheInodeOfADeletedOneIsAnotherFolder) {
    // ext4 gives a deleted folder's inode number to the next folder made; try a few times where a
    // file system is slower to reuse numbers.
    const std::string t = tree->root + "/reuse";
    for (const bool forgotten : {false, true}) {
        SCOPED_TRACE(forgotten ? "after the table forgot the folder" : "while the table knows the folder");
        fs::create_directories(t + "/A");
        std::ofstream(t + "/A/f") << "A";
        const std::string refText = RefOf(t + "/A/f");
        struct stat st;
        ASSERT_EQ(stat((t + "/A").c_str(), &st), 0);
        const ino_t inode = st.st_ino;
        if (forgotten) {
            ZbSetFolderTableLimit(1);
            RefOf(tree->root + "/dir/file.txt");  // pushes A out
        }
        fs::remove_all(t + "/A");
        std::string reused;
        for (int i = 0; i < 200 && reused.empty(); ++i) {
            const std::string candidate = t + "/C" + std::to_string(i);
            fs::create_directory(candidate);
            if (stat(candidate.c_str(), &st) == 0 && st.st_ino == inode) reused = candidate;
        }
        if (reused.empty()) {
            ZbSetFolderTableLimit(0);
            fs::remove_all(t);
            GTEST_SKIP() << "the file system did not give a deleted folder's inode number to a new one";
        }
        std::ofstream(reused + "/f") << "C";
        EXPECT_NE(RefOf(reused + "/f"), refText);
        EXPECT_EQ(PathOf(refText), "$$-120");
        ZbSetFolderTableLimit(0);
        fs::remove_all(t);
    }
}

TEST_F(PathModel, NamesArePutToTheCallersMaximumBeforeTheFileSystem) {
    const Tree &t = *tree;
    // A name past the file system's own limit is still just a name longer than the caller allows.
    EXPECT_EQ(PathOf(t("dir/" + std::string(256, 'L')), 255), "$$-92");
    EXPECT_EQ(PathOf(Colon(t("dir/" + std::string(256, 'L'))), 255), "$$-92");
    EXPECT_EQ(PathOf(t("dir/" + std::string(300, 'L') + "/x"), 255), "$$-92");
    EXPECT_EQ(PathOf(t("dir/" + std::string(255, 'L')), 255), Colon(t("dir/" + std::string(255, 'L'))));
}

// Eight threads make references and resolve them while another renames, moves, deletes and remakes
// folders and retargets links, reusing a few names so that paths and inode numbers come back. Each
// file holds a serial number no other file ever had, and no file is made again under the name of
// one removed from the same folder (a reference names an item by its folder and name). A reference
// must answer the file it was made for or an error, never another file. Every step of a thread (make a reference, or resolve one
// and read what it answers) holds the lock shared, and every single change of the tree holds it
// alone, so what a step sees does not move under it; the plug-in's tables see the steps and
// changes interleaved.
TEST_F(PathModel, ReferencesAnswerTheirOwnItemsWhileTheTreeChanges) {
    const std::string s = tree->root + "/churn";
    fs::create_directories(s);
    std::atomic<int> serial{0};
    const auto makeFolder = [&](const std::string &path) {
        fs::create_directories(path + "/sub");
        std::ofstream(path + "/f") << serial++;
        std::ofstream(path + "/sub/f") << serial++;
    };
    const auto name = [&](const char *kind, unsigned i) { return s + "/" + kind + std::to_string(i % 3); };
    for (unsigned i = 0; i < 3; ++i) {
        makeFolder(name("d", i));
        fs::create_directory_symlink("d" + std::to_string(i), name("l", i));
        std::ofstream(name("l", i) + "f") << serial++;
    }
    const auto read = [](const std::string &path) {
        std::ifstream in(path);
        std::string text;
        return in && std::getline(in, text) ? text : std::string();
    };

    std::shared_mutex world;
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0}, answered{0};
    std::thread changer([&] {
        for (unsigned k = 0; !stop; ++k) {
            std::unique_lock lock(world);
            std::error_code ec;
            switch (k % 4) {
            case 0: fs::rename(name("d", k), name("d", k + 1), ec); break;  // fails while the target exists
            case 1:
                fs::remove_all(name("d", k / 4), ec);
                makeFolder(name("d", k / 4));
                break;
            case 2:
                fs::remove(name("l", k / 4), ec);
                fs::create_directory_symlink("d" + std::to_string((k / 4 + 1) % 3), name("l", k / 4), ec);
                break;
            case 3: fs::rename(name("d", k / 4) + "/sub", name("d", k / 4 + 1) + "/sub", ec); break;
            }
        }
    });
    const char *items[] = {"d0/f", "d1/sub/f", "l0/f", "l1/sub/f", "l2f", "d2/sub/f", "l2/f"};
    std::vector<std::thread> threads;
    for (unsigned k = 0; k < 8; ++k)
        threads.emplace_back([&, k] {
            std::vector<std::pair<std::string, std::string>> made;  // reference text, serial
            for (unsigned i = 0; i < 300; ++i) {
                std::shared_lock lock(world);
                if (i % 2 == 0) {
                    const std::string path = s + "/" + items[(i / 2 + k) % std::size(items)];
                    const std::string held = read(path), refText = RefOf(path);
                    if (!held.empty() && refText.substr(0, 2) != "$$") made.emplace_back(refText, held);
                } else if (!made.empty()) {
                    const auto &[refText, held] = made[(i * 7 + k) % made.size()];
                    FSSpec ref;
                    std::string posix;
                    if (Parse(refText, ref) == 0 && Zb7_FSSpecToPOSIXPath(ref, posix) == 0) {
                        const std::string found = read(posix);
                        if (!found.empty() && found != held) ++wrong;
                        if (!found.empty()) ++answered;
                    }
                    // The colon path the reference answers names the same file.
                    const std::string colon = PathOf(refText);
                    if (colon.substr(0, 2) != "$$" && Parse(colon, ref) == 0 && Zb7_FSSpecToPOSIXPath(ref, posix) == 0) {
                        const std::string found = read(posix);
                        if (!found.empty() && found != held) ++wrong;
                    }
                }
            }
        });
    for (auto &t : threads) t.join();
    stop = true;
    changer.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(answered, 0);
    fs::remove_all(s);
}

TEST_F(PathModel, TheItemOnlyLookUpAnswersAsTheFullOne) {
    // The functions that only act on an item skip the folder table for POSIX paths: every answer
    // and every item must be the same as the full reference's.
    const Tree &t = *tree;
    std::vector<std::string> texts = {t("dir/file.txt"), t("dir/sub"), t("dir/sub/"), t("dir/new.txt"), t("none/x"),
                                      t("dir/file.txt/x"), t("dir/file.txt/"), t("folderlink/file.txt"),
                                      t("folderlink"), t("folderlink/"), t("dangling"), t("dir/" + kNFD + ".txt"),
                                      t(kNFC + "/y.txt"), t("dir/" + std::string(64, 'n')), "/", "//", "/.", "$$-43",
                                      "filelinux:" + t("dir/a:b.txt"), Colon(t("dir/a:b.txt")), "x"};
    texts.push_back(RefOf(t("dir/file.txt")));
    for (const std::string &text : texts) {
        for (const size_t max : {size_t(63), size_t(255)}) {
            SCOPED_TRACE(text + " max " + std::to_string(max));
            fmx::TextUniquePtr host;
            host->Assign(text.c_str(), fmx::Text::kEncoding_UTF8);
            FSSpec full, item;
            const long fullErr = XP7_TxtToFSSpec(*host, full, max, 0);
            EXPECT_EQ(XP7_TxtToItem(*host, item, max), fullErr);
            std::string fullPath, itemPath;
            if (fullErr == 0 || fullErr == -43) {
                EXPECT_EQ(Zb7_FSSpecToPOSIXPath(item, itemPath), Zb7_FSSpecToPOSIXPath(full, fullPath));
                EXPECT_EQ(itemPath, fullPath);
                EXPECT_EQ(item.name, full.name);
            }
        }
    }
}

TEST_F(PathModel, TemporaryFilesAreMadeBesideTheTargetOncePerSecond) {
    FSSpec target, temp, again;
    ASSERT_EQ(Parse(tree->root + "/dir/file.txt", target), 0);
    long err = Zb7_PrepareTempFile(&target, &temp);
    if (err == -48) err = Zb7_PrepareTempFile(&target, &temp);  // a second just turned
    ASSERT_EQ(err, 0);
    EXPECT_EQ(temp.parID, target.parID);
    EXPECT_EQ(temp.name.rfind("ZERBTMP", 0), 0u);
    EXPECT_GT(std::stoul(temp.name.substr(7)), 3'800'000'000ul);  // seconds since 1904: after 2024
    EXPECT_TRUE(fs::exists(tree->root + "/dir/" + temp.name));
    if (Zb7_PrepareTempFile(&target, &again) != -48) {
        EXPECT_NE(again.name, temp.name);
    }
    fs::remove(tree->root + "/dir/" + temp.name);
    if (!again.name.empty()) fs::remove(tree->root + "/dir/" + again.name);
}

TEST_F(PathModel, EndSeparatorsAreAddedAndRemovedOnce) {
    std::string s = "a:";
    Zb7_CheckAndAddEndColon(s);
    EXPECT_EQ(s, "a:");
    Zb7_CheckAndRemoveEndColon(s);
    Zb7_CheckAndRemoveEndColon(s);
    EXPECT_EQ(s, "a");
    s.clear();
    Zb7_CheckAndAddEndColon(s);
    Zb7_CheckAndAddEndBackSlash(s);
    EXPECT_EQ(s, "");
    const auto utf8 = [](const fmx::TextUniquePtr &t) {
        char buffer[64];
        t->GetBytes(buffer, sizeof buffer, 0, fmx::Text::kSize_End, fmx::Text::kEncoding_UTF8);
        return std::string(buffer);
    };
    for (const auto &[in, added, removed] : {std::tuple{"HD:x", "HD:x:", "HD:x"}, {"/x", "/x/", "/x"},
                                            {"HD:x\\", "HD:x\\", "HD:x"}, {"/", "/", "/"}}) {
        fmx::TextUniquePtr t;
        t->Assign(in, fmx::Text::kEncoding_UTF8);
        Zb7_CheckForEndColonOrBackSlashTxt(t);
        EXPECT_EQ(utf8(t), added);
        Zb7_CheckAndRemoveEndSeparatorTxt(t);
        EXPECT_EQ(utf8(t), removed);
    }
}

TEST_F(PathModel, ManyThreadsResolveAtOnce) {
    EXPECT_EQ(zerbtest::WrongInThreads(4, [&](size_t k) {
                  std::string wrong;
                  for (size_t i = 0; i < 300; ++i) {
                      const std::string item = (i + k) % 2 ? tree->root + "/dir/sub" : tree->root + "/dir/file.txt";
                      if (PathOf(RefOf(item)) != PathOf(item)) wrong += item + " ";
                  }
                  return wrong;
              }),
              "");
}

// ---- the five functions, through the loaded plug-in ----

class PathFunctions : public PluginTest {
protected:
    static void SetUpTestSuite() { tree = new Tree; }
    static void TearDownTestSuite() { delete tree; }
    static Tree *tree;
};
Tree *PathFunctions::tree = nullptr;

TEST_F(PathFunctions, ConvertBetweenPathsAndReferenceTexts) {
    const Tree &t = *tree;
    const std::string file = t("dir/a:b.txt");
    const std::string refText = Call("ZbFile_FullPathToFileSpec", {"", file});
    ASSERT_EQ(refText.substr(0, 6), ":-100:");
    EXPECT_EQ(Call("ZbFile_FullPathToFileSpec", {"", Colon(file)}), refText);
    EXPECT_EQ(Call("ZbFile_FileSpecToFullPath", {"", refText}), Colon(file));
    EXPECT_EQ(Call("ZbFile_FileSpecToFullPath", {"", t("dir")}), Colon(t("dir")) + ":");
    EXPECT_EQ(Call("ZbFile_FileSpecToFullPath", {"", StartupColon()}), StartupColon());
    for (const std::string text : {"", "A", ":"}) EXPECT_EQ(Call("ZbFile_FullPathToFileSpec", {"", text}), "$$-37");
    // An error result fed back as a path comes back as it is.
    for (const std::string error : {"$$-43", "$$whatever"}) {
        EXPECT_EQ(Call("ZbFile_FileSpecToFullPath", {"", error}), error);
        EXPECT_EQ(Call("ZbFile_FullPathToFileSpec", {"", error}), error);
    }
    EXPECT_EQ(Call("ZbFile_FullPathToFileSpec", {"", t("dir/" + std::string(64, 'n'))}), "$$-92");
    // A folder name stored in Mac OS Roman bytes is found from its letters.
    struct stat st;
    ASSERT_EQ(stat(t(kMacRoman).c_str(), &st), 0);
    EXPECT_EQ(Call("ZbFile_FullPathToFileSpec", {"", t("caf\xC3\xA9/x.txt")}),
              ":-100:" + std::to_string(st.st_ino) + ":x.txt");
}

// A path is read as at most 2000 bytes; a longer one would name another item once cut, so it is
// refused, by every function, before anything is looked up or changed.
TEST_F(PathFunctions, PathsLongerThanTwoThousandBytesAreRefused) {
    std::string folder = tree->root + "/long";
    while (1979 - folder.size() > 102) folder += "/" + std::string(100, char('a' + folder.size() % 26));
    folder += "/" + std::string(1979 - folder.size() - 1, 'z');
    const std::string file = folder + "/" + std::string(20, 'f');
    ASSERT_EQ(file.size(), 2000u);
    fs::create_directories(file);  // a folder whose path is exactly 2000 bytes
    std::ofstream(file + "/keep.txt") << "keep";
    fs::create_directories(file + "/target");
    const std::string refText = Call("ZbFile_FullPathToFileSpec", {"", file});
    EXPECT_EQ(refText.substr(refText.rfind(':') + 1), file.substr(file.rfind('/') + 1));
    EXPECT_EQ(Call("ZbFile_FullPathToFileSpec", {"", file + "g"}), "$$-37");
    EXPECT_EQ(Call("ZbFile_FullPathToFileSpec", {"", file.substr(0, 1999) + "\xC3\xA9"}), "$$-37");  // cut inside a letter
    EXPECT_EQ(Call("ZbFile_FullPathToFileSpec", {"", file.substr(0, 1999)}), "$$-43");
    EXPECT_EQ(Call("ZbFile_Version", {"-RegisterCopyFolderFunction"}), "0");
    const std::vector<std::pair<std::string, std::vector<std::string>>> calls = {
        {"ZbFile_DeleteFolder", {"-deleteAllSubFoldersAndAllContents noWarning", file + "/target"}},
        {"ZbFile_DeleteFile", {"", file + "/keep.txt"}},
        {"ZbFile_MoveFile", {"", file + "/keep.txt", tree->root + "/moved"}},
        {"ZbFile_MoveFile", {"", tree->root + "/dir/file.txt", file + "/target/x"}},
        {"ZbFile_CopyFile", {"", file + "/keep.txt", tree->root + "/copied"}},
        {"ZbFile_CopyFolder", {"", tree->root + "/dir", file + "/target/"}},
        {"ZbFile_CreateFile", {"", file + "/target/new"}},
        {"ZbFile_Substitute", {"", file + "/keep.txt", "", "keep", "lost"}},
        {"ZbFile_Exists", {"", file + "/keep.txt"}}};
    for (const auto &[name, parameters] : calls) {
        fmx::DataVectUniquePtr vect;
        for (const auto &p : parameters) vect->PushBack(*zerbtest::TextData(p));
        fmx::DataUniquePtr result;
        zhost::CallFunction(zhost::FromUtf8(name), *vect, *result);
        EXPECT_EQ(zerbtest::TextOf(*result), name == "ZbFile_Exists" ? "0" : "$$-37") << name;
    }
    EXPECT_EQ(Contents(file + "/keep.txt"), "keep");
    EXPECT_TRUE(fs::is_directory(file + "/target"));
    EXPECT_TRUE(fs::is_empty(file + "/target"));
    EXPECT_EQ(Contents(tree->root + "/dir/file.txt"), "x");
    EXPECT_FALSE(fs::exists(tree->root + "/moved") || fs::exists(tree->root + "/copied"));
    fs::remove_all(tree->root + "/long");
}

TEST_F(PathFunctions, FindFolderTakesTheFirstKeywordOfItsTable) {
    const std::string desktop = tree->root + "/B\xC3\xBCro";  // "Büro"
    fs::create_directories(desktop);
    setenv("XDG_DESKTOP_DIR", desktop.c_str(), 1);
    EXPECT_EQ(Call("ZbFile_FindFolder", {"trash system"}), StartupColon() + "usr:");
    EXPECT_EQ(Call("ZbFile_FindFolder", {"-system-trash-"}), StartupColon() + "usr:");
    // The folder's name comes back as its UTF-8 bytes read as Mac OS Roman: "ü" as two characters.
    EXPECT_EQ(Call("ZbFile_FindFolder", {"DESKTOP"}), Colon(tree->root + "/B\xE2\x88\x9A\xC2\xBA" "ro") + ":");
    const std::string refText = Call("ZbFile_FindFolder", {"-ReturnFSSpec desktop"});
    EXPECT_EQ(refText.back(), ':');  // the folder itself: an empty name
    EXPECT_EQ(Call("ZbFile_FileSpecToFullPath", {"", refText}), Colon(desktop) + ":");
    EXPECT_EQ(Call("ZbFile_FullPathToFileSpec", {"", refText}), Call("ZbFile_FullPathToFileSpec", {"", desktop}));
    std::ofstream(desktop + "/note.txt") << "x";
    EXPECT_EQ(Call("ZbFile_FileSpecToFullPath", {"", refText + "note.txt"}), Colon(desktop + "/note.txt"));
    EXPECT_EQ(Call("ZbFile_FindFolder", {"root"}), StartupColon());
    EXPECT_EQ(Call("ZbFile_FileSpecToFullPath", {"", Call("ZbFile_FindFolder", {"-ReturnFSSpec root"})}),
              StartupColon());
    // A desktop that is a symbolic link: the folder it leads to, also after a path through the
    // link has been used.
    fs::create_directory_symlink(desktop, tree->root + "/DeskLink");
    setenv("XDG_DESKTOP_DIR", (tree->root + "/DeskLink").c_str(), 1);
    const std::string linked = Call("ZbFile_FindFolder", {"-ReturnFSSpec desktop"});
    EXPECT_EQ(Call("ZbFile_FileSpecToFullPath", {"", tree->root + "/DeskLink/note.txt"}),
              Colon(tree->root + "/DeskLink/note.txt"));
    EXPECT_EQ(Call("ZbFile_FileSpecToFullPath", {"", linked + "note.txt"}), Colon(desktop + "/note.txt"));
    EXPECT_EQ(Call("ZbFile_FindFolder", {"desktop"}), Colon(tree->root + "/B\xE2\x88\x9A\xC2\xBA" "ro") + ":");
    fs::remove(tree->root + "/DeskLink");
    EXPECT_EQ(Call("ZbFile_FindFolder", {"shutdown"}), "$$-43");
    EXPECT_EQ(Call("ZbFile_FindFolder", {"-ReturnFSSpec"}), "$$-1");
    unsetenv("XDG_DESKTOP_DIR");
}

TEST_F(PathFunctions, GetPathToAnswersTheApplicationOrItsFolder) {
    const std::string exe = fs::read_symlink("/proc/self/exe").string();
    EXPECT_EQ(Call("ZbFile_GetPathTo", {"currentApplication"}), Colon(exe));
    EXPECT_EQ(Call("ZbFile_GetPathTo", {"-currentAppFolder"}), Colon(fs::path(exe).parent_path().string()) + ":");
    EXPECT_EQ(Call("ZbFile_GetPathTo", {"currentApplication currentAppFolder"}), "$$-50");
    EXPECT_EQ(Call("ZbFile_GetPathTo", {"nothing"}), "$$-50");
    EXPECT_EQ(Call("ZbFile_GetPathTo", {"currentFileName", "a", "1"}), "$$-4221");  // the emulator has no file
    const std::string refText = Call("ZbFile_GetPathTo", {"currentApplication -ReturnFSSpec"});
    EXPECT_EQ(Call("ZbFile_FileSpecToFullPath", {"", refText}), Colon(exe));
}

TEST_F(PathFunctions, SetDefaultFileSpecKeepsWhatItParsedEvenOnFailure) {
    const auto set = [](const std::string &path) { return zerbtest::CallHandler(ZbFile7_DoSetDefaultFileSpec, {"", path}, 4280); };
    gStartupDiskNameAndColon = StartupColon();
    EXPECT_EQ(set(tree->root + "/dir/file.txt"), "0");
    EXPECT_EQ(gDefaultFSSpec.name, "file.txt");
    EXPECT_EQ(set(tree->root + "/dir/later.txt"), "$$-43");  // to be made: the reference is kept
    EXPECT_EQ(gDefaultFSSpec.name, "later.txt");
    EXPECT_EQ(set(tree->root + "/none/x"), "$$-43");
    EXPECT_TRUE(ZbIsClearedFSSpec(gDefaultFSSpec));
    EXPECT_EQ(Call("ZbFile_SetDefaultFileSpec", {"", "$$-1"}), "$$-4299");
}

// ---- volumes: small tmpfs volumes in a private mount namespace, two of them named alike ----

TEST(PathVolumes, VolumesAreNamedAndNumberedAndReachedByReference) {
    if (geteuid() != 0) GTEST_SKIP() << "mounting test volumes needs root";
    const std::string tmpfs = "mount -t tmpfs -o size=64k tmpfs ";
    const std::string mounts = tmpfs + "/mnt\n" + tmpfs + "/media\n" +
                               "mkdir /mnt/USB /media/USB /mnt/a:b\n" + tmpfs + "/mnt/USB\n" + tmpfs + "/media/USB\n" +
                               tmpfs + "/mnt/a:b\n" + "touch /mnt/USB/first /media/USB/second /mnt/a:b/f\n" +
                               "mkdir /media/USB/" + std::string(70, 'd') + "\ntouch /media/USB/" +
                               std::string(70, 'd') + "/x";
    const std::string startup = StartupColon();
    const std::string longFolder = startup + "media:USB:" + std::string(70, 'd') + ":x";
    const std::vector<std::pair<std::string, std::string>> checks = {
        {R"(ZbFile_FileSpecToFullPath("";"/mnt/USB"))", "USB:"},
        {R"(ZbFile_FullPathToFileSpec("";"USB:"))", ":-101:1:USB"},
        {R"(ZbFile_FullPathToFileSpec("";"/mnt/USB/first"))", ":-101:2:first"},
        {R"(ZbFile_FullPathToFileSpec("";"/media/USB/second"))", ":-102:2:second"},
        // The second volume of the name is reached through its number, not through its name.
        {R"(ZbFile_FileSpecToFullPath("";":-102:2:second"))", "USB:second"},
        {R"(ZbFile_FullPathToFileSpec("";":-102:2:second"))", ":-102:2:second"},
        {R"(ZbFile_FullPathToFileSpec("";"USB:second"))", "$$-43"},
        {R"(ZbFile_FullPathToFileSpec("";")" + startup + R"(media:USB:second"))", ":-102:2:second"},
        {R"(ZbFile_FileSpecToFullPath("";"/mnt/a:b/f"))", "a/b:f"},
        {R"(ZbFile_FullPathToFileSpec("";"a/b:f"))", ":-103:2:f"},
        {R"(ZbFile_FullPathToFileSpec("";":-104:2:f"))", "$$-35"},
        // A path that enters a volume through the startup volume is walked name by name while the
        // work-around is on, and the walk holds every name to the maximum.
        {R"(ZbFile_FullPathToFileSpec("";")" + longFolder + R"("))", "$$-92"},
        {R"(ZbFile_Version("-AliasBugWorkAroundOFF"))", "0"},
        {R"(ZbFile_FileSpecToFullPath("";")" + longFolder + R"("))", "USB:" + std::string(70, 'd') + ":x"},
    };
    std::vector<std::string> calculations;
    for (const auto &c : checks) calculations.push_back(c.first);
    const auto lines = zerbtest::RunInPrivateMounts(mounts, calculations);
    if (lines.empty()) GTEST_SKIP() << "no private mount namespace here (unshare failed)";
    ASSERT_EQ(lines.size(), checks.size());
    for (size_t i = 0; i < checks.size(); ++i) EXPECT_EQ(lines[i], checks[i].second) << checks[i].first;
}
