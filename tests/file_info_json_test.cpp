// FileInfoJSON against tools written elsewhere: coreutils' stat and Python's os.stat,
// os.getxattr and plistlib, on files of /usr, on every kind of item, on files carrying the Mac
// notions in extended attributes, and, run as an ordinary user, on items whose attributes that
// user may not read.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

#include "tests/item_json_test_util.h"
#include "tests/plugin_harness.h"

namespace fs = std::filesystem;
using zerbtest::IsoToNanos;
using zerbtest::DecimalToNanos;
using zerbtest::Output;
using zerbtest::Parsed;
using zerbtest::Split;

namespace {

std::string Quoted(const std::string &path) { return "'" + path + "'"; }

// The colon path of an absolute path on the startup volume: "/" and ":" change places.
std::string ColonPath(const std::string &startup, const std::string &path) {
    std::string rest = path.substr(1);
    for (char &c : rest) c = c == '/' ? ':' : c == ':' ? '/' : c;
    return startup + ":" + rest;
}

// What Python reads of an item's attributes: Finder information in hex ("-" when absent), the
// resource fork's size, the creation date that was set ("-") and the comment's text ("-").
constexpr char kAttributeOracle[] = R"(
import os, sys, plistlib
for path in sys.stdin.read().split('\0')[:-1]:
    def value(name):
        try: return os.getxattr(path, name, follow_symlinks=False)
        except OSError: return None
    finder = value('user.com.apple.FinderInfo')
    fork = value('user.com.apple.ResourceFork')
    created = value('user.zerb.created')
    comment = value('user.com.apple.metadata:kMDItemFinderComment')
    text = plistlib.loads(comment) if comment is not None else '-'
    print('\t'.join([path, finder.hex() if finder is not None and len(finder) == 32 else '-',
                     str(len(fork)) if fork is not None else '0',
                     created.decode() if created is not None else '-', text]))
)";

class FileInfoJSON : public zerbtest::PluginFolderTest {
protected:
    FileInfoJSON() : PluginFolderTest("fileinfo") {}
    rapidjson::Document Info(const std::string &path, const std::string &switches = "") {
        return Parsed(Call("ZbFile_FileInfoJSON", {switches, path}));
    }

    // Each item's answer against stat(1) and the Python oracle, field by field.
    void ExpectAgreesWithTools(const std::vector<std::string> &paths) {
        std::string statCommand = "stat --printf '%n\\t%s\\t%b\\t%B\\t%f\\t%u\\t%g\\t%U\\t%G\\t%i\\t%h\\t%.9X\\t%.9Y\\t%.9Z\\t%.9W\\n'";
        std::string list;
        for (const std::string &p : paths) {
            statCommand += " " + Quoted(p);
            list += p + '\0';
        }
        std::map<std::string, std::vector<std::string>> stat, python;
        for (const std::string &line : Split(Output(statCommand), '\n')) {
            auto f = Split(line, '\t');
            stat[f[0]] = f;
        }
        const std::string listFile = root + "/paths", script = root + "/oracle.py";
        std::ofstream(listFile) << list;
        std::ofstream(script) << kAttributeOracle;
        for (const std::string &line : Split(Output("/usr/bin/python3 " + script + " <" + listFile), '\n')) {
            auto f = Split(line, '\t');
            python[f[0]] = f;
        }
        const std::string startup = Info("/")["name"].GetString();
        for (const std::string &path : paths) {
            SCOPED_TRACE(path);
            ASSERT_EQ(stat.count(path), 1u);
            ASSERT_EQ(python.count(path), 1u);
            const auto &s = stat[path];
            const auto &py = python[path];
            const rapidjson::Document d = Info(path);
            ASSERT_TRUE(d.IsObject());
            const unsigned rawMode = unsigned(std::stoul(s[4], nullptr, 16));
            const bool link = S_ISLNK(rawMode), folder = S_ISDIR(rawMode);
            EXPECT_EQ(d["name"].GetString(), path.substr(path.rfind('/') + 1));
            EXPECT_EQ(d["path"].GetString(), path);
            EXPECT_EQ(d["colonPath"].GetString(), ColonPath(startup, path) + (folder ? ":" : ""));
            EXPECT_STREQ(d["kind"].GetString(), link ? "link" : folder ? "folder" : S_ISREG(rawMode) ? "file"
                                                : S_ISFIFO(rawMode) ? "fifo" : S_ISSOCK(rawMode) ? "socket" : "device");
            EXPECT_EQ(d["size"].GetUint64(), std::stoull(s[1]));
            const uint64_t fork = std::stoull(py[2]);
            EXPECT_EQ(d["resourceForkSize"].GetUint64(), fork);
            EXPECT_EQ(d["allocatedSize"].GetUint64(), std::stoull(s[2]) * std::stoull(s[3]) + fork);
            char octal[8];
            std::snprintf(octal, sizeof octal, "%04o", rawMode & 07777);
            EXPECT_STREQ(d["mode"].GetString(), octal);
            EXPECT_EQ(d["modeText"].GetString(), Output("ls -ld " + Quoted(path) + " | cut -c1-10"). substr(0, 10));
            EXPECT_EQ(d["uid"].GetUint(), std::stoul(s[5]));
            EXPECT_EQ(d["gid"].GetUint(), std::stoul(s[6]));
            if (s[7] != "UNKNOWN") {
                EXPECT_EQ(d["owner"].GetString(), s[7]);
            }
            if (s[8] != "UNKNOWN") {
                EXPECT_EQ(d["group"].GetString(), s[8]);
            }
            EXPECT_EQ(d["inode"].GetUint64(), std::stoull(s[9]));
            EXPECT_EQ(d["links"].GetUint64(), std::stoull(s[10]));
            EXPECT_TRUE(IsoToNanos(d["accessed"].GetString()) == DecimalToNanos(s[11]));
            EXPECT_TRUE(IsoToNanos(d["modified"].GetString()) == DecimalToNanos(s[12])) << d["modified"].GetString();
            EXPECT_TRUE(IsoToNanos(d["changed"].GetString()) == DecimalToNanos(s[13]));
            // The creation date: a set one, else the birth time, else the earlier of mtime and ctime.
            const zerbtest::Nanos born = DecimalToNanos(s[14]);
            const zerbtest::Nanos created = py[3] != "-" ? zerbtest::Nanos(std::stoll(py[3])) * 1000000000
                                            : born != 0  ? born
                                                         : std::min(DecimalToNanos(s[12]), DecimalToNanos(s[13]));
            EXPECT_TRUE(IsoToNanos(d["created"].GetString()) == created) << d["created"].GetString();
            // Finder information: type and creator, flags (invisible 0x4000, alias 0x8000, label bits 1-3).
            std::string finder = py[1] == "-" ? std::string(64, '0') : py[1];
            const unsigned flags = unsigned(std::stoul(finder.substr(16, 4), nullptr, 16));
            const auto code = [&](size_t at) {
                std::string text;
                for (size_t k = 0; k < 4; ++k) text += char(std::stoul(finder.substr(at + 2 * k, 2), nullptr, 16));
                return text == std::string(4, '\0') ? std::string("0000") : text;
            };
            EXPECT_EQ(d["type"].GetString(), code(0));
            EXPECT_EQ(d["creator"].GetString(), code(8));
            EXPECT_EQ(d["label"].GetInt(), int(flags >> 1 & 7));
            EXPECT_EQ(d["invisible"].GetBool(), (flags & 0x4000) != 0 || d["name"].GetString()[0] == '.');
            EXPECT_EQ(d["alias"].GetBool(), link || (flags & 0x8000) != 0);
            EXPECT_EQ(d["locked"].GetBool(), !link && !(rawMode & 0200));
            EXPECT_EQ(d["comment"].GetString(), py[4] == "-" ? "" : py[4]);
            if (link) {
                EXPECT_EQ(d["linkTarget"].GetString(), fs::read_symlink(path).string());
            } else {
                EXPECT_FALSE(d.HasMember("linkTarget"));
            }
            EXPECT_FALSE(d.HasMember("unreadable"));
        }
    }
};

void SetAttribute(const std::string &path, const std::string &name, const std::string &pythonBytes) {
    ASSERT_EQ(std::system(("/usr/bin/python3 -c \"import os, plistlib; os.setxattr('" + path + "', '" + name + "', " +
                           pythonBytes + ", follow_symlinks=False)\"")
                              .c_str()),
              0);
}

}  // namespace

// 150 items spread over /usr: files, folders and links, as stat and Python see them.
TEST_F(FileInfoJSON, AgreesWithStatOnItemsOfUsr) {
    const auto all = Split(Output("find /usr -xdev -maxdepth 3 | LC_ALL=C sort"), '\n');
    ASSERT_GT(all.size(), 150u);
    std::vector<std::string> paths;
    for (size_t k = 0; k < 150; ++k) paths.push_back(all[k * all.size() / 150]);
    ExpectAgreesWithTools(paths);
}

// Every kind of item, and links described as themselves or, with -FollowLinks, as what they lead to.
TEST_F(FileInfoJSON, KindsOfItemsAndLinks) {
    std::ofstream(root + "/file") << "twelve bytes";
    fs::create_directory(root + "/folder");
    ASSERT_EQ(mkfifo((root + "/fifo").c_str(), 0640), 0);
    const int s = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/socket", root.c_str());
    ASSERT_EQ(bind(s, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    fs::create_symlink("file", root + "/link");
    fs::create_symlink("folder", root + "/folderlink");
    fs::create_symlink("nowhere", root + "/dangling");
    ExpectAgreesWithTools({root + "/file", root + "/folder", root + "/fifo", root + "/socket", root + "/link",
                           root + "/folderlink", root + "/dangling", "/dev/null"});
    close(s);

    EXPECT_STREQ(Info("/dev/null")["modeText"].GetString(), "crw-rw-rw-");
    const auto followed = Info(root + "/link", "-FollowLinks");
    EXPECT_STREQ(followed["kind"].GetString(), "file");
    EXPECT_EQ(followed["size"].GetUint64(), 12u);
    EXPECT_EQ(followed["path"].GetString(), root + "/link");
    EXPECT_FALSE(followed["alias"].GetBool());
    EXPECT_FALSE(followed.HasMember("linkTarget"));
    const std::string startup = Info("/")["name"].GetString();
    EXPECT_EQ(Info(root + "/folderlink", "-followlinks")["colonPath"].GetString(),
              ColonPath(startup, root + "/folderlink") + ":");
    EXPECT_EQ(Call("ZbFile_FileInfoJSON", {"-FollowLinks", root + "/dangling"}), "$$-43");
    EXPECT_EQ(Call("ZbFile_FileInfoJSON", {"", root + "/missing"}), "$$-43");
    EXPECT_EQ(Call("ZbFile_FileInfoJSON", {"", root + "/missing/deeper"}), "$$-43");  // as GetFileSize answers
    EXPECT_EQ(Call("ZbFile_FileInfoJSON", {"", "$$-43"}), "$$-4299");
    // Every path form: a colon path, a folder's trailing separator, the host's file: prefix.
    EXPECT_EQ(Info(ColonPath(startup, root + "/file"))["path"].GetString(), root + "/file");
    EXPECT_EQ(Info(root + "/folder/")["path"].GetString(), root + "/folder");
    EXPECT_EQ(Info("file:" + root + "/file")["path"].GetString(), root + "/file");
}

// Finder information, comments, resource forks and set creation dates written by Python, and an
// item whose attribute names take more room than one short read gives.
TEST_F(FileInfoJSON, MacNotionsInExtendedAttributes) {
    const std::vector<std::string> names = {"typed", "alias", "forked", "dated", "commented", "crowded", ".dotted"};
    for (const std::string &n : names) std::ofstream(root + "/" + n) << n;
    // TEXT/ttxt, invisible, label 6; the alias flag; a set creation date of 2001-09-09.
    SetAttribute(root + "/typed", "user.com.apple.FinderInfo", "b'TEXTttxt\\x40\\x0c' + bytes(22)");
    SetAttribute(root + "/alias", "user.com.apple.FinderInfo", "b'\\0' * 8 + b'\\x80\\0' + bytes(22)");
    SetAttribute(root + "/forked", "user.com.apple.ResourceFork", "bytes(1000)");
    SetAttribute(root + "/dated", "user.zerb.created", "b'1000000000'");
    SetAttribute(root + "/commented", "user.com.apple.metadata:kMDItemFinderComment",
                 "plistlib.dumps('Ein Kommentar \\u00fcber \\U0001F600', fmt=plistlib.FMT_BINARY)");
    for (int k = 0; k < 40; ++k)
        SetAttribute(root + "/crowded", "user.padding." + std::string(40, 'p') + std::to_string(k), "b'x'");
    SetAttribute(root + "/crowded", "user.com.apple.FinderInfo", "b'JPEG8BIM' + bytes(24)");
    std::vector<std::string> paths;
    for (const std::string &n : names) paths.push_back(root + "/" + n);
    ExpectAgreesWithTools(paths);
}

// Run as user nobody: attributes of a file only root may read are named in "unreadable" and the
// rest is answered; an item in a folder nobody may search cannot be reached at all.
TEST_F(FileInfoJSON, UnreadableAttributesAsAnotherUser) {
    fs::permissions(root, fs::perms(0755));
    for (const std::string n : {"secret", ".hidden"}) {
        std::ofstream(root + "/" + n) << "private";
        SetAttribute(root + "/" + n, "user.com.apple.FinderInfo", "b'TEXTttxt' + bytes(24)");
        SetAttribute(root + "/" + n, "user.com.apple.metadata:kMDItemFinderComment",
                     "plistlib.dumps('x', fmt=plistlib.FMT_BINARY)");
        fs::permissions(root + "/" + n, fs::perms(0600));
    }
    fs::create_symlink("secret", root + "/link");
    fs::create_directory(root + "/closed");
    std::ofstream(root + "/closed/inside") << "x";
    fs::permissions(root + "/closed", fs::perms(0700));
    const auto lines = zerbtest::RunFmxhost(
        {"ZbFile_FileInfoJSON(\"\";\"" + root + "/secret\")", "ZbFile_FileInfoJSON(\"\";\"" + root + "/.hidden\")",
         "ZbFile_FileInfoJSON(\"\";\"" + root + "/link\")", "ZbFile_FileInfoJSON(\"\";\"" + root + "/closed/inside\")"},
        "setpriv --reuid=65534 --regid=65534 --clear-groups");
    if (lines.size() < 4) GTEST_SKIP() << "cannot run fmxhost as user nobody here (setpriv refused)";
    const auto secret = Parsed(lines[0]), hidden = Parsed(lines[1]), link = Parsed(lines[2]);
    ASSERT_TRUE(secret.IsObject()) << lines[0];
    const auto unreadable = [](const rapidjson::Document &d) {
        std::vector<std::string> names;
        if (d.HasMember("unreadable"))
            for (const auto &v : d["unreadable"].GetArray()) names.push_back(v.GetString());
        return names;
    };
    EXPECT_EQ(unreadable(secret),
              (std::vector<std::string>{"invisible", "alias", "label", "type", "creator", "comment"}));
    EXPECT_EQ(secret["size"].GetUint64(), 7u);
    EXPECT_STREQ(secret["mode"].GetString(), "0600");
    for (const char *field : {"invisible", "alias", "label", "type", "creator", "comment"})
        EXPECT_FALSE(secret.HasMember(field)) << field;
    // A dot name is invisible whatever the flags say; a link is an alias whatever they say.
    EXPECT_TRUE(hidden["invisible"].GetBool());
    EXPECT_EQ(unreadable(hidden), (std::vector<std::string>{"alias", "label", "type", "creator", "comment"}));
    EXPECT_TRUE(link["alias"].GetBool());
    EXPECT_FALSE(link.HasMember("unreadable"));  // a link has no user attributes to refuse
    EXPECT_EQ(lines[3], "$$-5000");
}

// A path text cannot name an item whose name is not UTF-8, but a link can lead to one: its target
// keeps its bytes in linkTargetBytes. Every answer is JSON that Python reads.
TEST_F(FileInfoJSON, LinkTargetsThatAreNotUTF8) {
    fs::create_symlink("caf\x8e", root + "/link");  // "café" in Mac OS Roman
    const auto d = Info(root + "/link");
    ASSERT_TRUE(d.IsObject());
    EXPECT_STREQ(d["linkTarget"].GetString(), "caf\xEF\xBF\xBD");
    EXPECT_STREQ(d["linkTargetBytes"].GetString(), "6361668e");
    EXPECT_FALSE(d.HasMember("nameBytes"));
    EXPECT_EQ(zerbtest::AnswersPythonCannotRead({"ZbFile_FileInfoJSON(\"\";\"" + root + "/link\")",
                                                 "ZbFile_FileInfoJSON(\"\";\"/dev/null\")"}),
              "");
}
