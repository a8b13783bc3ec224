// ListFolderJSON against find(1): the same entries with the same sizes, times and kinds over
// /usr/share, in depth-first catalog order; unreadable folders met by an ordinary user; depth,
// limits, filters, links and mounts that are not entered; names that are not UTF-8.
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "files/file_list.h"
#include "tests/item_json_test_util.h"
#include "tests/plugin_harness.h"

namespace fs = std::filesystem;
using zerbtest::Output;
using zerbtest::Parsed;
using zerbtest::Split;

namespace {

class ListFolderJSON : public zerbtest::PluginFolderTest {
protected:
    ListFolderJSON() : PluginFolderTest("listjson") {}
    rapidjson::Document List(const std::string &switches, const std::string &folder) {
        return Parsed(Call("ZbFile_ListFolderJSON", {switches, folder}));
    }
    // The entries' paths relative to the root, in the answer's order.
    std::vector<std::string> Paths(const std::string &switches) {
        std::vector<std::string> paths;
        const auto d = List(switches, root);
        if (!d.IsObject()) return {"<not JSON>"};
        for (const auto &e : d["entries"].GetArray()) paths.push_back(std::string(e["path"].GetString()).substr(root.size() + 1));
        return paths;
    }
};

using Strings = std::vector<std::string>;

// Whether the paths come depth first, each folder before what it holds and each folder's entries
// in catalog order.
void ExpectDepthFirstCatalogOrder(const std::string &top, const Strings &paths, const std::set<std::string> &folders) {
    std::vector<std::string> open = {top};  // the folders whose entries may still come
    std::map<std::string, ZbFolderEntry> lastOf;
    for (const std::string &path : paths) {
        const std::string parent = path.substr(0, path.rfind('/'));
        while (!open.empty() && open.back() != parent) open.pop_back();
        ASSERT_FALSE(open.empty()) << path << " comes after its folder's contents ended";
        ZbFolderEntry entry;
        entry.name = path.substr(parent.size() + 1);
        if (lastOf.count(parent)) {
            EXPECT_TRUE(ZbCatalogOrder(lastOf[parent], entry)) << path;
        }
        lastOf[parent] = entry;
        if (folders.count(path)) open.push_back(path);
    }
}

}  // namespace

// Every entry of /usr/share as find shows it, and each -Info entry is FileInfoJSON's answer.
TEST_F(ListFolderJSON, AgreesWithFindOnUsrShare) {
    const auto d = List("-Recursive -Info showinvisibles showaliases", "/usr/share");
    ASSERT_TRUE(d.IsObject());
    EXPECT_STREQ(d["folder"].GetString(), "/usr/share");
    EXPECT_EQ(d["errors"].Size(), 0u);
    EXPECT_FALSE(d["truncated"].GetBool());
    std::map<std::string, Strings> found;
    for (const std::string &line : Split(Output("find /usr/share -xdev -mindepth 1 -printf '%p\\t%s\\t%T@\\t%y\\t%i\\t%m\\t%u\\n'"), '\n')) {
        const Strings f = Split(line, '\t');
        found[f[0]] = f;
    }
    ASSERT_GT(found.size(), 1000u);
    Strings paths;
    std::set<std::string> folders;
    const std::map<std::string, std::string> kinds = {{"f", "file"}, {"d", "folder"}, {"l", "link"},
                                                      {"p", "fifo"}, {"s", "socket"}, {"c", "device"}, {"b", "device"}};
    size_t k = 0;
    for (const auto &e : d["entries"].GetArray()) {
        const std::string path = e["path"].GetString();
        paths.push_back(path);
        SCOPED_TRACE(path);
        const auto it = found.find(path);
        ASSERT_NE(it, found.end());
        const Strings &f = it->second;
        EXPECT_EQ(e["size"].GetUint64(), std::stoull(f[1]));
        EXPECT_TRUE(zerbtest::IsoToNanos(e["modified"].GetString()) == zerbtest::DecimalToNanos(f[2]));
        EXPECT_EQ(e["kind"].GetString(), kinds.at(f[3]));
        EXPECT_EQ(e["inode"].GetUint64(), std::stoull(f[4]));
        EXPECT_EQ(std::stoul(e["mode"].GetString(), nullptr, 8), std::stoul(f[5], nullptr, 8));
        EXPECT_EQ(e["owner"].GetString(), f[6]);
        if (f[3] == "d") folders.insert(path);
        // One entry in 500 against FileInfoJSON's answer for the same path, key by key.
        if (k++ % 500 == 0) {
            const auto info = Parsed(Call("ZbFile_FileInfoJSON", {"", path}));
            ASSERT_TRUE(info.IsObject());
            EXPECT_EQ(info.MemberCount(), e.MemberCount());
            for (const auto &m : info.GetObject()) {
                if (std::string(m.name.GetString()) == "accessed") continue;  // a folder read since may move it
                ASSERT_TRUE(e.HasMember(m.name)) << m.name.GetString();
                EXPECT_TRUE(e[m.name] == m.value) << m.name.GetString();
            }
        }
    }
    EXPECT_EQ(paths.size(), found.size());
    ExpectDepthFirstCatalogOrder("/usr/share", paths, folders);
}

// Run as user nobody over a tree it may read but for one closed folder, and a folder it may read
// but not search: each folder it cannot open is one object of "errors", and the rest is listed.
TEST_F(ListFolderJSON, UnreadableFoldersAsAnotherUser) {
    fs::permissions(root, fs::perms(0755));
    for (const char *folder : {"a", "b/deeper", "closed", "listonly/sub"}) fs::create_directories(root + "/" + folder);
    for (const char *file : {"a/f", "b/deeper/g", "closed/secret", "listonly/x", "z"}) std::ofstream(root + "/" + file) << "x";
    fs::permissions(root + "/closed", fs::perms(0700));
    fs::permissions(root + "/listonly", fs::perms(0744));
    const auto lines = zerbtest::RunFmxhost({"ZbFile_ListFolderJSON(\"-Recursive\";\"" + root + "\")",
                                             "ZbFile_ListFolderJSON(\"\";\"" + root + "/closed\")"},
                                            "setpriv --reuid=65534 --regid=65534 --clear-groups");
    if (lines.size() < 2) GTEST_SKIP() << "cannot run fmxhost as user nobody here (setpriv refused)";
    const auto d = Parsed(lines[0]);
    ASSERT_TRUE(d.IsObject()) << lines[0];
    Strings paths;
    for (const auto &e : d["entries"].GetArray()) {
        paths.push_back(std::string(e["path"].GetString()).substr(root.size() + 1));
        // Entries of a folder that may be read but not searched: known by name and kind alone.
        if (paths.back().rfind("listonly/", 0) == 0) {
            ASSERT_TRUE(e.HasMember("unreadable")) << paths.back();
            EXPECT_EQ(e["unreadable"].Size(), 2u);
            EXPECT_FALSE(e.HasMember("size"));
        } else {
            EXPECT_FALSE(e.HasMember("unreadable")) << paths.back();
        }
    }
    EXPECT_EQ(paths, (Strings{"a", "a/f", "b", "b/deeper", "b/deeper/g", "closed", "listonly", "listonly/sub",
                              "listonly/x", "z"}));
    ASSERT_EQ(d["errors"].Size(), 2u);
    EXPECT_EQ(d["errors"][0]["path"].GetString(), root + "/closed");
    EXPECT_EQ(d["errors"][0]["error"].GetInt(), -5000);
    EXPECT_EQ(d["errors"][0]["errno"].GetInt(), 13);
    EXPECT_STREQ(d["errors"][0]["message"].GetString(), "Permission denied");
    EXPECT_EQ(d["errors"][1]["path"].GetString(), root + "/listonly/sub");
    EXPECT_EQ(lines[1], "$$-5000");  // the folder listed itself cannot be read: the call fails
}

TEST_F(ListFolderJSON, DepthLimitFiltersLinksAndMounts) {
    if (zerbtest::kUnderEmulation) GTEST_SKIP() << zerbtest::kEmulationSkip;
    for (const char *folder : {"Folder/Sub", ".hiddenFolder"}) fs::create_directories(root + "/" + folder);
    for (const char *file : {"f1", ".inv", "flagged", "Folder/g", "Folder/Sub/h", ".hiddenFolder/k"})
        std::ofstream(root + "/" + file) << "x";
    unsigned char info[32] = {};
    info[8] = 0x40;  // the invisible Finder flag
    ASSERT_EQ(setxattr((root + "/flagged").c_str(), "user.com.apple.FinderInfo", info, sizeof info, 0), 0);
    fs::create_directory_symlink("Folder", root + "/link");

    EXPECT_EQ(Paths(""), (Strings{"f1", "Folder"}));
    EXPECT_EQ(Paths("-Recursive"), (Strings{"f1", "Folder", "Folder/g", "Folder/Sub", "Folder/Sub/h"}));
    EXPECT_EQ(Paths("-Depth=2"), (Strings{"f1", "Folder", "Folder/g", "Folder/Sub"}));
    EXPECT_EQ(Paths("-Recursive -Depth=1"), (Strings{"f1", "Folder"}));
    // A kind left out is still walked; an invisible folder is neither listed nor entered.
    EXPECT_EQ(Paths("-Recursive files"), (Strings{"f1", "Folder/g", "Folder/Sub/h"}));
    EXPECT_EQ(Paths("-Recursive folders"), (Strings{"Folder", "Folder/Sub"}));
    EXPECT_EQ(Paths("-Recursive filesfolders showaliases"),
              (Strings{"f1", "Folder", "Folder/g", "Folder/Sub", "Folder/Sub/h", "link"}));  // not entered
    EXPECT_EQ(Paths("-Recursive -Info showinvisibles"),
              (Strings{".hiddenFolder", ".hiddenFolder/k", ".inv", "f1", "flagged", "Folder", "Folder/g", "Folder/Sub",
                       "Folder/Sub/h"}));
    const auto cut = List("-Recursive -Limit=3", root);
    EXPECT_EQ(cut["entries"].Size(), 3u);
    EXPECT_TRUE(cut["truncated"].GetBool());
    EXPECT_FALSE(List("-Recursive -Limit=5", root)["truncated"].GetBool());  // exactly five: nothing cut
    EXPECT_EQ(Call("ZbFile_ListFolderJSON", {"-Depth=0", root}), "$$-50");
    EXPECT_EQ(Call("ZbFile_ListFolderJSON", {"", root + "/f1"}), "$$-120");
    EXPECT_EQ(Call("ZbFile_ListFolderJSON", {"", root + "/missing"}), "$$-43");
    EXPECT_EQ(List("", root + "/link")["entries"].Size(), 2u);  // the folder listed may be reached through a link

    // Another file system mounted inside the tree is an entry, never entered.
    if (geteuid() != 0) GTEST_SKIP() << "mounting needs root";
    const auto lines = zerbtest::RunInPrivateMounts(
        "mkdir -p " + root + "/mnt/inner\nmount -t tmpfs tmpfs " + root + "/mnt/inner\necho > " + root +
            "/mnt/inner/beyond",
        {"ZbFile_ListFolderJSON(\"-Recursive\";\"" + root + "/mnt\")"});
    if (lines.empty()) GTEST_SKIP() << "no private mount namespace here (unshare failed)";
    const auto mounted = Parsed(lines[0]);
    ASSERT_TRUE(mounted.IsObject());
    ASSERT_EQ(mounted["entries"].Size(), 1u);
    EXPECT_EQ(mounted["entries"][0]["path"].GetString(), root + "/mnt/inner");
}

// Names in another encoding keep their bytes beside the repaired text, and every answer is JSON
// that Python reads.
TEST_F(ListFolderJSON, NamesThatAreNotUTF8) {
    fs::create_directory(root + "/d\xff");
    std::ofstream(root + "/d\xff/caf\x8e") << "x";
    const auto d = List("-Recursive -Info", root);
    ASSERT_EQ(d["entries"].Size(), 2u);
    const auto &folder = d["entries"][0], &file = d["entries"][1];
    EXPECT_STREQ(folder["name"].GetString(), "d\xEF\xBF\xBD");
    EXPECT_STREQ(folder["nameBytes"].GetString(), "64ff");
    EXPECT_STREQ(file["nameBytes"].GetString(), "6361668e");
    EXPECT_TRUE(file.HasMember("pathBytes"));
    EXPECT_TRUE(file.HasMember("colonPathBytes"));
    EXPECT_EQ(zerbtest::AnswersPythonCannotRead({"ZbFile_ListFolderJSON(\"-Recursive -Info\";\"" + root + "\")",
                                                 "ZbFile_ListFolderJSON(\"-Limit=0\";\"/usr\")"}),
              "");
}
