// File information and changing it, on real files made for the test: existence, exact sizes of
// sparse and empty files, dates across daylight-saving changes in several zones, every attribute
// and its round trip, a symbolic link's own attributes, unreadable folders, a file system without
// extended attributes, and a failure injected at every system call of the functions that write.
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>

#include "platform/file_attributes.h"
#include "platform/system_calls.h"
#include "core/globals.h"
#include "core/functions.h"
#include "tests/item_json_test_util.h"
#include "tests/plugin_harness.h"

namespace fs = std::filesystem;
using zerbtest::PluginTest;

namespace {

std::string Attribute(const std::string &path, const char *name) {
    std::string value(4096, '\0');
    const ssize_t n = lgetxattr(path.c_str(), name, value.data(), value.size());
    return n < 0 ? "<none>" : value.substr(0, size_t(n));
}

std::string FinderInfoOf(const std::string &path) { return Attribute(path, kZbFinderInfoAttribute); }

class FileInfo : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        root = (fs::temp_directory_path() / ("zerb-info-" + std::to_string(getpid()))).string();
        fs::remove_all(root);
        fs::create_directories(root + "/dir");
        std::ofstream(root + "/file.txt") << "hello";
        std::ofstream(root + "/empty");
    }
    void TearDown() override {
        fs::permissions(root, fs::perms::owner_all);
        fs::remove_all(root);
        PluginTest::TearDown();
    }
    std::string Get(const char *function, const std::string &switches, const std::string &item) {
        return Call(function, {switches, root + "/" + item});
    }
    std::string Set(const std::string &switches, const std::string &item, const std::string &value = "") {
        return Call("ZbFile_SetFileAttribute", {switches, root + "/" + item, value});
    }
    std::string root;
};

// Sets TZ for the process (the plug-in reads the zone's rules through the C library) and puts it
// back when the scope ends.
struct ZoneScope {
    std::string old;
    bool had;
    explicit ZoneScope(const char *zone) : had(std::getenv("TZ") != nullptr) {
        if (had) old = std::getenv("TZ");
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ZoneScope() {
        if (had)
            setenv("TZ", old.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
};

// The moment a local date-time stands for, as mktime(3) reads it in the current zone.
time_t LocalMoment(int year, int month, int day, int hour, int minute, int second) {
    struct tm fields = zerbtest::DateFields(year, month, day, hour, minute, second);
    return mktime(&fields);
}

// The host's text of a timestamp: M/D/YYYY H:MM:SS.
std::string TimestampText(time_t moment) {
    struct tm local {};
    localtime_r(&moment, &local);
    char text[64];
    std::snprintf(text, sizeof text, "%d/%d/%d %d:%02d:%02d", local.tm_mon + 1, local.tm_mday, local.tm_year + 1900,
                  local.tm_hour, local.tm_min, local.tm_sec);
    return text;
}

}  // namespace

TEST_F(FileInfo, ExistsAnswersFoldersFilesAndNothing) {
    const std::string colon = Call("ZbFile_FileSpecToFullPath", {"", root + "/dir"});
    ASSERT_EQ(colon.back(), ':');
    EXPECT_EQ(Call("ZbFile_Exists", {"", colon}), "1");
    EXPECT_EQ(Call("ZbFile_Exists", {"", colon.substr(0, colon.size() - 1)}), "1");
    EXPECT_EQ(Call("ZbFile_Exists", {"", root + "/dir/"}), "1");
    EXPECT_EQ(Call("ZbFile_Exists", {"", root + "/file.txt"}), "1");
    // A file named with a folder's trailing separator does not count.
    EXPECT_EQ(Call("ZbFile_Exists", {"", Call("ZbFile_FileSpecToFullPath", {"", root + "/file.txt"}) + ":"}), "0");
    EXPECT_EQ(Call("ZbFile_Exists", {"", root + "/file.txt/"}), "0");
    for (const std::string &missing : {std::string(), root + "/none", root + "/none/x", std::string("$$-43")})
        EXPECT_EQ(Call("ZbFile_Exists", {"", missing}), "0") << missing;
    // A dangling link is an item of its own.
    fs::create_symlink(root + "/gone", root + "/dangling");
    EXPECT_EQ(Call("ZbFile_Exists", {"", root + "/dangling"}), "1");
}

TEST_F(FileInfo, SizesAreExactAndCountTheResourceFork) {
    const std::string big = root + "/sparse";
    std::ofstream(big).close();
    fs::resize_file(big, 5ull << 30);
    EXPECT_EQ(Get("ZbFile_GetFileSize", "", "sparse"), "5368709120");
    struct stat st;
    ASSERT_EQ(stat(big.c_str(), &st), 0);
    EXPECT_EQ(Get("ZbFile_GetFileSizeTotal", "", "sparse"), std::to_string(st.st_blocks * 512));
    EXPECT_EQ(Get("ZbFile_GetFileSize", "", "empty"), "0");
    EXPECT_EQ(Get("ZbFile_GetFileSizeTotal", "", "empty"), "0");
    EXPECT_EQ(Get("ZbFile_GetResourceForkSize", "", "file.txt"), "0");

    const std::string fork(1000, 'r');
    ASSERT_EQ(lsetxattr((root + "/file.txt").c_str(), kZbResourceForkAttribute, fork.data(), fork.size(), 0), 0);
    ASSERT_EQ(stat((root + "/file.txt").c_str(), &st), 0);
    EXPECT_EQ(Get("ZbFile_GetResourceForkSize", "", "file.txt"), "1000");
    EXPECT_EQ(Get("ZbFile_GetFileSize", "", "file.txt"), "5");
    EXPECT_EQ(Get("ZbFile_GetFileSizeTotal", "", "file.txt"), std::to_string(st.st_blocks * 512 + 1000));
    EXPECT_EQ(Get("ZbFile_GetFileSize", "", "dir") + Get("ZbFile_GetFileSizeTotal", "", "dir"), "00");
    EXPECT_EQ(Get("ZbFile_GetFileSize", "", "none"), "$$-43");
    EXPECT_EQ(Get("ZbFile_GetFileSize", "", std::string(64, 'n')), "$$-92");  // these take names of 63 bytes
}

TEST_F(FileInfo, DatesAreLocalTimeWithTheRulesInForceAtEachInstant) {
    for (const char *zone : {"UTC0", "America/New_York", "Europe/Berlin", "Australia/Lord_Howe", "Asia/Kolkata"}) {
        SCOPED_TRACE(zone);
        const ZoneScope scope(zone);
        const struct {
            int y, mo, d, h, mi, s;
        } dates[] = {{2026, 1, 15, 8, 0, 0},   {2026, 7, 15, 8, 0, 0},  {2026, 3, 8, 2, 30, 0},
                     {2026, 3, 29, 2, 30, 0},  {2026, 10, 25, 2, 30, 0}, {2026, 11, 1, 1, 30, 0},
                     {2026, 4, 5, 1, 45, 0},   {1950, 6, 15, 12, 0, 0}, {1904, 1, 2, 0, 0, 0},
                     {2039, 12, 31, 23, 59, 59}};
        for (const auto &d : dates) {
            // What the host's date means in this zone, as mktime reads it (a time the change
            // skips moves on by the change); it must be set and read back to the second.
            const time_t moment = LocalMoment(d.y, d.mo, d.d, d.h, d.mi, d.s);
            const std::string text = TimestampText(moment);
            SCOPED_TRACE(text);
            ASSERT_EQ(Call("ZbFile_SetTimestampModified", {"", root + "/file.txt", text}), "0");
            struct stat st;
            ASSERT_EQ(stat((root + "/file.txt").c_str(), &st), 0);
            EXPECT_EQ(st.st_mtime, moment);
            EXPECT_EQ(Get("ZbFile_GetTimestampModified", "", "file.txt"), text);
            EXPECT_EQ(Get("ZbFile_GetDateModified", "", "file.txt") + " " + Get("ZbFile_GetTimeModified", "", "file.txt"),
                      text);
            ASSERT_EQ(Call("ZbFile_SetTimestampCreated", {"", root + "/dir", text}), "0");
            EXPECT_EQ(Get("ZbFile_GetTimestampCreated", "", "dir"), text);
            EXPECT_EQ(Attribute(root + "/dir", kZbCreatedAttribute), std::to_string(moment));
        }
        const std::string accessed = TimestampText(time_t(1'700'000'000));
        const struct timespec times[2] = {{1'700'000'000, 0}, {0, UTIME_OMIT}};
        ASSERT_EQ(utimensat(AT_FDCWD, (root + "/file.txt").c_str(), times, 0), 0);
        EXPECT_EQ(Get("ZbFile_GetTimestampLastAccessed", "", "file.txt"), accessed);
    }
    // Dates the file system cannot hold are refused, and nothing changes.
    const auto before = fs::last_write_time(root + "/file.txt");
    EXPECT_EQ(Call("ZbFile_SetTimestampModified", {"", root + "/file.txt", "1/1/1900 0:00:00"}), "$$-50");
    EXPECT_EQ(Call("ZbFile_SetTimestampModified", {"", root + "/file.txt", "1/1/2050 0:00:00"}), "$$-50");
    EXPECT_EQ(fs::last_write_time(root + "/file.txt"), before);
    // Without a date that was set, the creation date is the birth time (or the earliest date).
    struct statx sx;
    ASSERT_EQ(statx(AT_FDCWD, (root + "/empty").c_str(), 0, STATX_BTIME | STATX_MTIME, &sx), 0);
    const time_t born = (sx.stx_mask & STATX_BTIME) ? sx.stx_btime.tv_sec : sx.stx_mtime.tv_sec;
    EXPECT_EQ(Get("ZbFile_GetTimestampCreated", "", "empty"), TimestampText(born));
}

TEST_F(FileInfo, EveryAttributeRoundTrips) {
    const std::string file = root + "/file.txt";
    // Lock is the owner's write permission.
    EXPECT_EQ(Set("-lock", "file.txt"), "0");
    EXPECT_EQ(fs::status(file).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
    EXPECT_EQ(Get("ZbFile_GetFileAttribute", "-lockAttr", "file.txt"), "1");
    EXPECT_EQ(Set("-lock", "file.txt"), "0");
    EXPECT_EQ(Set("-unlock", "file.txt"), "0");
    EXPECT_EQ(Get("ZbFile_GetFileAttribute", "-lockAttr", "file.txt"), "0");

    // Finder information keeps the bytes the plug-in does not change.
    std::string info(32, '\0');
    for (size_t k = 10; k < 32; ++k) info[k] = char(k);
    ASSERT_EQ(lsetxattr(file.c_str(), kZbFinderInfoAttribute, info.data(), info.size(), 0), 0);
    EXPECT_EQ(Get("ZbFile_GetFileCreator", "", "file.txt") + Get("ZbFile_GetFileType", "", "file.txt"), "00000000");
    EXPECT_EQ(Set("-creator", "file.txt", "R*ch"), "0");
    EXPECT_EQ(Set("-filetype", "file.txt", "TEXT"), "0");
    EXPECT_EQ(Get("ZbFile_GetFileCreator", "", "file.txt") + Get("ZbFile_GetFileType", "", "file.txt"), "R*chTEXT");
    EXPECT_EQ(Set("-hide", "file.txt"), "0");
    EXPECT_EQ(Get("ZbFile_GetFileAttribute", "-hiddenAttr", "file.txt"), "1");
    EXPECT_EQ(Set("-labelNum=9", "file.txt"), "0");  // held at 7
    EXPECT_EQ(Get("ZbFile_GetFileAttribute", "-labelNumAttr", "file.txt"), "7");
    EXPECT_EQ(Set("-labelNum=3", "file.txt"), "0");
    EXPECT_EQ(Get("ZbFile_GetFileAttribute", "-labelNumAttr", "file.txt"), "3");
    EXPECT_EQ(FinderInfoOf(file), std::string("TEXTR*ch\x40\x06", 10) + info.substr(10));
    EXPECT_EQ(Set("-unhide -creator", "file.txt", "0000"), "0");
    EXPECT_EQ(Get("ZbFile_GetFileCreator", "", "file.txt"), "0000");
    EXPECT_EQ(Get("ZbFile_GetFileAttribute", "-hiddenAttr", "file.txt"), "0");
    EXPECT_EQ(Get("ZbFile_GetFileAttribute", "-archiveAttr", "file.txt"), "0");
    std::ofstream(root + "/.dotted") << "x";
    EXPECT_EQ(Get("ZbFile_GetFileAttribute", "-hiddenAttr", ".dotted"), "1");

    // The comment: any letters and returns, read back unchanged; empty removes it.
    const std::string comment = "Grüße aus Köln\rzweite Zeile \xF0\x9F\x93\x81";
    EXPECT_EQ(Set("-findercomment -labelNum=5", "file.txt", comment), "0");  // the comment wins
    EXPECT_EQ(Get("ZbFile_GetFileAttribute", "-findercommentAttr", "file.txt"), comment);
    EXPECT_EQ(Get("ZbFile_GetFileAttribute", "-labelNumAttr", "file.txt"), "3");
    EXPECT_EQ(Attribute(file, kZbCommentAttribute).substr(0, 8), "bplist00");
    EXPECT_EQ(Set("-findercomment", "file.txt", ""), "0");
    EXPECT_EQ(Attribute(file, kZbCommentAttribute), "<none>");
    EXPECT_EQ(Get("ZbFile_GetFileAttribute", "-findercommentAttr", "file.txt"), "");
}

// A new creator or type advances the modification date of the file's folder (and only a change
// does); a label, which programs do not watch for, leaves it alone.
TEST_F(FileInfo, ANewCreatorOrTypeAdvancesTheFoldersDate) {
    const auto setFolderDate = [&] { fs::last_write_time(root, fs::file_time_type::clock::now() - std::chrono::hours(48)); };
    const auto advanced = [&] { return fs::last_write_time(root) > fs::file_time_type::clock::now() - std::chrono::hours(1); };
    for (const char *which : {"-creator", "-filetype"}) {
        SCOPED_TRACE(which);
        setFolderDate();
        EXPECT_EQ(Set(which, "file.txt", "abcd"), "0");
        EXPECT_TRUE(advanced());
        setFolderDate();
        EXPECT_EQ(Set(which, "file.txt", "abcd"), "0");  // the same code again: nothing changes
        EXPECT_FALSE(advanced());
    }
    setFolderDate();
    EXPECT_EQ(Set("-labelNum=2", "file.txt"), "0");
    EXPECT_FALSE(advanced());
    EXPECT_EQ(Get("ZbFile_GetFileCreator", "", "file.txt") + Get("ZbFile_GetFileType", "", "file.txt"), "abcdabcd");
}

// A file the caller may not read still has a data size (its folder only needs to be searchable),
// while its resource fork and a creation date that was set, kept in attributes only a reader
// may read, answer the error, never a size or date of something else.
TEST_F(FileInfo, AFileTheCallerMayNotReadHasADataSizeButNoGuessedCreationDate) {
    const std::string file = root + "/file.txt";
    EXPECT_EQ(Call("ZbFile_SetTimestampCreated", {"", file, "1/2/2000 3:04:05"}), "0");
    ASSERT_EQ(lsetxattr(file.c_str(), kZbResourceForkAttribute, "fork", 4, 0), 0);
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    fs::permissions(root, fs::perms::all);
    const std::string modified = Get("ZbFile_GetTimestampModified", "", "file.txt");
    // Root passes every permission check: look from an ordinary user's process.
    const pid_t pid = fork();
    if (pid == 0) {
        if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) _exit(3);
        const std::vector<std::pair<std::string, std::string>> checks = {
            {Get("ZbFile_GetFileSize", "", "file.txt"), "5"},
            {Get("ZbFile_GetResourceForkSize", "", "file.txt"), "$$-5000"},
            {Get("ZbFile_GetFileSizeTotal", "", "file.txt"), "$$-5000"},
            {Get("ZbFile_GetTimestampCreated", "", "file.txt"), "$$-5000"},
            {Get("ZbFile_GetTimestampModified", "", "file.txt"), modified},
        };
        int wrong = 0;
        for (const auto &[got, expected] : checks)
            if (got != expected) {
                std::fprintf(stderr, "got %s, expected %s\n", got.c_str(), expected.c_str());
                ++wrong;
            }
        _exit(wrong == 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 3) GTEST_SKIP() << "cannot become an ordinary user here";
    EXPECT_EQ(WEXITSTATUS(status), 0);
    // The owner reads all of them.
    EXPECT_EQ(Get("ZbFile_GetTimestampCreated", "", "file.txt"), "1/2/2000 3:04:05");
    EXPECT_EQ(Get("ZbFile_GetResourceForkSize", "", "file.txt"), "4");
}

TEST_F(FileInfo, ConflictsAndWrongValuesChangeNothing) {
    const std::string file = root + "/file.txt";
    const auto mode = fs::status(file).permissions();
    for (const auto &[switches, value] : std::vector<std::pair<std::string, std::string>>{
             {"-lock -unlock", ""}, {"-hide -unhide", ""}, {"-SetArchive -ResetArchive -lock", ""},
             {"-creator -filetype -lock", "abcd"}, {"-creator -lock", "abc"}, {"-filetype -hide", "abcde"}}) {
        EXPECT_EQ(Set(switches, "file.txt", value), "$$-50") << switches;
        EXPECT_EQ(fs::status(file).permissions(), mode);
        EXPECT_EQ(FinderInfoOf(file), "<none>");
    }
    EXPECT_EQ(Set("-creator", "dir", "abcd"), "$$-1302");
    EXPECT_EQ(Set("-SetArchive", "file.txt"), "0");
    EXPECT_EQ(Set("", "none.txt"), "$$-43");
    for (const std::string attributes : {"", "-lockAttr -hiddenAttr", "-nothing"})
        EXPECT_EQ(Get("ZbFile_GetFileAttribute", attributes, "file.txt"), "$$-50") << attributes;
}

TEST_F(FileInfo, ASymbolicLinkHasAttributesOfItsOwn) {
    const std::string file = root + "/file.txt", link = root + "/link";
    fs::create_symlink(file, link);
    EXPECT_EQ(Set("-creator", "file.txt", "abcd"), "0");
    EXPECT_EQ(Set("-lock", "file.txt"), "0");
    EXPECT_EQ(Get("ZbFile_GetFileCreator", "", "link"), "0000");
    EXPECT_EQ(Get("ZbFile_GetFileAttribute", "-lockAttr", "link"), "0");
    EXPECT_EQ(Get("ZbFile_GetFileSize", "", "link"), std::to_string(file.size()));  // the link's own text
    // Linux keeps no user attributes on links, and a link's permissions mean nothing.
    EXPECT_EQ(Set("-hide", "link"), "$$-1426");
    EXPECT_EQ(Set("-unlock", "link"), "0");  // a link is never locked: nothing to do
    EXPECT_EQ(Set("-lock", "link"), "$$-1426");
    EXPECT_EQ(Set("-findercomment", "link", "x"), "$$-1426");
    EXPECT_EQ(Call("ZbFile_SetTimestampCreated", {"", link, "1/2/2000 3:04:05"}), "$$-1426");
    EXPECT_EQ(Get("ZbFile_GetFileAttribute", "-lockAttr", "file.txt"), "1");
    // The link's own modification date is set and read, the file's left alone.
    const auto fileTime = fs::last_write_time(file);
    EXPECT_EQ(Call("ZbFile_SetTimestampModified", {"", link, "1/2/2000 3:04:05"}), "0");
    EXPECT_EQ(Get("ZbFile_GetTimestampModified", "", "link"), "1/2/2000 3:04:05");
    EXPECT_EQ(fs::last_write_time(file), fileTime);
}

TEST_F(FileInfo, AnUnreadableFolderAnswersItsError) {
    std::ofstream(root + "/dir/inside") << "x";
    fs::permissions(root + "/dir", fs::perms::owner_all);
    fs::permissions(root, fs::perms::all);
    // Root passes every permission check: look from an ordinary user's process.
    const pid_t pid = fork();
    if (pid == 0) {
        if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) _exit(3);
        const bool ok = Call("ZbFile_Exists", {"", root + "/dir/inside"}) == "0" &&
                        Call("ZbFile_GetFileSize", {"", root + "/dir/inside"}) == "$$-5000" &&
                        Call("ZbFile_GetFileAttribute", {"-lockAttr", root + "/dir/inside"}) == "$$-5000" &&
                        Call("ZbFile_SetFileAttribute", {"-lock", root + "/file.txt"}) == "$$-5000" &&
                        Call("ZbFile_GetFileAttribute", {"-lockAttr", root + "/dir"}) == "0";
        _exit(ok ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 3) GTEST_SKIP() << "cannot become an ordinary user here";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(FileInfoWithoutAttributes, AFileSystemWithoutExtendedAttributesReadsAbsentAndRefusesWrites) {
    if (geteuid() != 0) GTEST_SKIP() << "mounting a file system without extended attributes needs root";
    // ramfs keeps no extended attributes at all.
    const std::string f = "/mnt/plain/f";
    const auto lines = zerbtest::RunInPrivateMounts(
        "mount -t tmpfs -o size=64k tmpfs /mnt\nmkdir /mnt/plain\nmount -t ramfs ramfs /mnt/plain\necho x >" + f,
        {R"(ZbFile_GetFileCreator("";")" + f + R"("))", R"(ZbFile_GetFileAttribute("-findercommentAttr";")" + f + R"("))",
         R"(ZbFile_GetFileAttribute("-labelNumAttr";")" + f + R"("))", R"(ZbFile_SetFileAttribute("-hide";")" + f + R"("))",
         R"(ZbFile_SetFileAttribute("-creator";")" + f + R"(";"abcd"))",
         R"(ZbFile_SetFileAttribute("-findercomment";")" + f + R"(";"note"))",
         R"(ZbFile_SetTimestampCreated("";")" + f + R"(";"1/2/2000 3:04:05"))",
         R"(ZbFile_SetFileAttribute("-lock";")" + f + R"("))", R"(ZbFile_GetFileAttribute("-lockAttr";")" + f + R"("))",
         R"(ZbFile_GetResourceForkSize("";")" + f + R"("))"});
    if (lines.empty()) GTEST_SKIP() << "no private mount namespace here (unshare failed)";
    EXPECT_EQ(lines, (std::vector<std::string>{"0000", "", "0", "$$-1426", "$$-1426", "$$-1426", "$$-1426", "0", "1",
                                               "0"}));
}

// The process-wide defaults, through the handlers linked into the test.
TEST(FileInfoDefaults, DefaultCreatorAndTypeListKeepWholeCodes) {
    gDefaultFTypeListPtr = std::make_unique<std::array<uint32_t, kMaxDefaultTypes>>();
    gNumTypes = 2;
    gDefaultCreator = ZbFourCharCode("ttxt");
    const auto call = [](ZbHandler handler, const std::string &value) { return zerbtest::CallHandler(handler, {"", value}); };
    EXPECT_EQ(call(ZbFile7_DoSetDefaultType, "TEXTttroABCDx"), "0");
    EXPECT_EQ(gNumTypes, 3);
    EXPECT_EQ((*gDefaultFTypeListPtr)[2], ZbFourCharCode("ABCD"));
    EXPECT_EQ(call(ZbFile7_DoSetDefaultType, "abc"), "0");
    EXPECT_EQ(gNumTypes, 3);
    EXPECT_EQ(call(ZbFile7_DoSetDefaultType, std::string(60, 'T')), "0");
    EXPECT_EQ(gNumTypes, 10);
    EXPECT_EQ(call(ZbFile7_DoSetDefaultType, ""), "0");
    EXPECT_EQ(gNumTypes, -1);
    EXPECT_EQ((*gDefaultFTypeListPtr)[0], 0u);
    EXPECT_EQ(call(ZbFile7_DoSetDefaultCreator, "ab"), "0");
    EXPECT_EQ(gDefaultCreator, ZbFourCharCode("ttxt"));
    EXPECT_EQ(call(ZbFile7_DoSetDefaultCreator, "MSWDx"), "0");
    EXPECT_EQ(gDefaultCreator, ZbFourCharCode("MSWD"));
    EXPECT_EQ(call(ZbFile7_DoSetDefaultCreator, ""), "0");
    EXPECT_EQ(gDefaultCreator, 0u);
    gDefaultFTypeListPtr.reset();
}

// Each function that writes, run once for every system call it makes with that call failing:
// afterwards the answer is an error number and the file is as it was, or the call succeeded.
TEST(FileInfoFaults, AFailedSystemCallLeavesTheItemAsItWas) {
    const std::string root = (fs::temp_directory_path() / ("zerb-faults-" + std::to_string(getpid()))).string();
    fs::remove_all(root);
    fs::create_directories(root);
    const std::string file = root + "/f";
    const auto call = [](ZbHandler handler, short id, std::initializer_list<std::string> values) {
        return zerbtest::CallHandler(handler, values, id);
    };
    // What the promises are about: contents, permissions, dates and every attribute.
    const auto state = [&] {
        struct stat st;
        stat(file.c_str(), &st);
        return std::to_string(st.st_mode) + "|" + std::to_string(st.st_mtime) + "|" + FinderInfoOf(file) + "|" +
               Attribute(file, kZbCommentAttribute) + "|" + Attribute(file, kZbCreatedAttribute);
    };
    const std::vector<std::pair<std::string, std::function<std::string()>>> operations = {
        {"lock", [&] { return call(ZbFile7_DoSetFileAttribute, 4282, {"-lock", file}); }},
        {"hide", [&] { return call(ZbFile7_DoSetFileAttribute, 4282, {"-hide", file}); }},
        {"creator", [&] { return call(ZbFile7_DoSetFileAttribute, 4282, {"-creator", file, "abcd"}); }},
        {"comment", [&] { return call(ZbFile7_DoSetFileAttribute, 4282, {"-findercomment", file, "note"}); }},
        {"label", [&] { return call(ZbFile7_DoSetFileAttribute, 4282, {"-labelNum=4", file}); }},
        {"created", [&] { return call(ZbFile7_DoSetTimestampCreatedOrModified, 4285, {"", file, "1/2/2000 3:04:05"}); }},
        {"modified", [&] { return call(ZbFile7_DoSetTimestampCreatedOrModified, 4286, {"", file, "1/2/2000 3:04:05"}); }},
    };
    for (const auto &[name, operation] : operations) {
        SCOPED_TRACE(name);
        std::string before;
        zerbtest::SweepFailingCalls(
            {EIO, ENOSPC, EINTR},
            [&] {
                fs::remove(file);
                std::ofstream(file) << "data";
                before = state();
            },
            operation,
            [&](const std::string &answer, bool reached) {
                if (!reached) {
                    EXPECT_EQ(answer, "0");  // every call made succeeded
                    EXPECT_NE(state(), before);
                } else {
                    EXPECT_EQ(answer.substr(0, 3), "$$-");
                    EXPECT_EQ(state(), before);
                }
            });
    }
    fs::remove_all(root);
}
