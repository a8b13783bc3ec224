// Substitute against a plain byte-at-a-time reading of its stream step (64000-byte blocks, unread
// inside the block) on thousands of random files built for partial matches and block crossings;
// the outcomes users meet; in-place work keeping the file's metadata; and a process killed at
// random moments of an in-place Substitute.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "filecore/byte_search.h"
#include "filecore/fork_io.h"
#include "filecore/fork_writer.h"
#include "filecore/stream_scan.h"
#include "filecore/new_contents.h"
#include "files/substitute.h"
#include "platform/file_attributes.h"
#include "platform/system_calls.h"
#include "core/functions.h"
#include "tests/plugin_harness.h"

namespace fs = std::filesystem;
using zerbtest::Contents;
using zerbtest::PluginTest;

namespace {

void Write(const std::string &path, const std::string &bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

unsigned char Lower(unsigned char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; }

// The stream as the scanners read it, literally: one byte at a time through a 64000-byte block
// read at the file's mark, with an unsigned position that a step back may wrap, which then reads
// the next block.
struct LiteralStream {
    explicit LiteralStream(const std::string &f) : file(f) {}
    const std::string &file;
    size_t mark = 0;
    std::string block;
    uint32_t position = 0, valid = 0;
    bool Read(unsigned char &c) {
        if (position >= valid) {
            block = file.substr(std::min(mark, file.size()), 64000);
            mark += block.size();
            position = 0;
            valid = uint32_t(block.size());
            if (valid == 0) return false;
        }
        c = static_cast<unsigned char>(block[position++]);
        return true;
    }
    // The step back of the stream: refused past 2000 bytes.
    bool Unread(size_t count) {
        if (count > 2000) return false;
        position -= uint32_t(count);
        return true;
    }
};

// The stream step of Substitute, literally.
std::string Oracle(const std::string &file, const std::string &search, const std::string &replacement, bool ignoreCase,
                   long &err) {
    LiteralStream in(file);
    const auto fold = [&](unsigned char c) { return ignoreCase ? Lower(c) : c; };
    std::string out;
    err = 0;
    for (;;) {
        unsigned char c;
        if (!in.Read(c)) break;
        if (fold(c) != static_cast<unsigned char>(search[0])) {
            out += char(c);
            continue;
        }
        size_t i = 1;
        bool end = false;
        while (i < search.size()) {
            unsigned char d;
            if (!in.Read(d)) {
                end = true;
                break;
            }
            if (fold(d) != static_cast<unsigned char>(search[i])) break;
            ++i;
        }
        if (end) break;
        if (i == search.size()) {
            out += replacement;
            continue;
        }
        out += char(c);
        if (!in.Unread(i)) {
            err = -92;
            break;
        }
    }
    return out;
}

// The in-file search, literally: counting bytes, stepping back inside the block.
long FindOracle(const std::string &file, const std::string &pattern, bool caseSensitive, int64_t &offset) {
    LiteralStream in(file);
    const auto fold = [&](unsigned char c) { return caseSensitive ? c : Lower(c); };
    offset = 0;
    int64_t count = 0;
    for (;;) {
        unsigned char c;
        if (!in.Read(c)) return 0;
        ++count;
        if (fold(c) != static_cast<unsigned char>(pattern[0])) continue;
        size_t i = 1;
        for (; i < pattern.size(); ++i) {
            unsigned char d;
            if (!in.Read(d)) return 0;
            ++count;
            if (fold(d) != static_cast<unsigned char>(pattern[i])) break;
        }
        if (i == pattern.size()) {
            offset = count - int64_t(pattern.size());
            return 0;
        }
        count -= int64_t(i);
        if (!in.Unread(i)) return -92;
    }
}

class Substitute : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        root = (fs::temp_directory_path() / ("zerb-subst-" + std::to_string(getpid()))).string();
        fs::remove_all(root);
        fs::create_directories(root);
    }
    void TearDown() override {
        fs::remove_all(root);
        PluginTest::TearDown();
    }
    std::string Run(const std::string &switches, const std::string &bytes, const std::string &search,
                    const std::string &replacement) {
        Write(root + "/f", bytes);
        const std::string answer = Call("ZbFile_Substitute", {switches, root + "/f", "", search, replacement});
        return answer == "0" ? Contents(root + "/f") : answer;
    }
    std::string root;
};

}  // namespace

// Both ways of scanning where the processor has 32-byte vectors: with them and without.
class SubstituteStream : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
#if defined(__x86_64__)
        saved = gZbScanWithAvx2;
        if (GetParam() && !gZbScanWithAvx2) GTEST_SKIP() << "this processor has no AVX2";
        gZbScanWithAvx2 = GetParam();
#else
        if (GetParam()) GTEST_SKIP() << "no AVX2 on this architecture";
#endif
    }
    void TearDown() override {
#if defined(__x86_64__)
        gZbScanWithAvx2 = saved;
#endif
    }
    bool saved = false;
};
INSTANTIATE_TEST_SUITE_P(Scans, SubstituteStream, testing::Values(true, false),
                         [](const auto &info) { return info.param ? "Avx2" : "Sse2"; });

TEST_P(SubstituteStream, AgreesWithTheByteAtATimeReadingOnRandomFiles) {
    const std::string dir = (fs::temp_directory_path() / ("zerb-oracle-" + std::to_string(getpid()))).string();
    fs::create_directories(dir);
    std::mt19937 random(20261124);
    const auto pick = [&](size_t low, size_t high) { return std::uniform_int_distribution<size_t>(low, high)(random); };
    int differences = 0;
    // The byte-at-a-time oracle runs a hundred times slower under emulation: fewer rounds there.
    const int rounds = zerbtest::kUnderEmulation ? 150 : 1500;
    for (int round = 0; round < rounds && differences < 5; ++round) {
        const bool ignoreCase = round % 3 == 0;
        const std::string alphabet = round % 4 == 0 ? "ab" : round % 4 == 1 ? "abA" : round % 4 == 2 ? "aB\n" : "abcd";
        // Now and then a file large enough to be scanned on a second thread while this one writes.
        const size_t size = round % 300 == 7 ? pick(4 << 20, 5 << 20)
                            : round % 10 == 0 ? pick(128010, 300000)
                                              : pick(63990, 128010);
        std::string file(size, 'a');
        for (char &c : file) c = alphabet[pick(0, alphabet.size() - 1)];
        // The search: a piece of the file near a block boundary (so partial matches cross it),
        // often changed in its last byte so that it fails late; now and then longer than 2000.
        const size_t length = round % 50 == 0 ? pick(2001, 3000) : round % 5 == 0 ? pick(4, 40) : pick(1, 3);
        const size_t boundary = 64000 * pick(1, size / 64000);
        const size_t at = std::min(size - length, boundary - std::min(boundary, pick(0, length)));
        std::string search = file.substr(at, length);
        if (pick(0, 1)) search.back() = search.back() == 'a' ? 'b' : 'a';
        if (ignoreCase)
            for (char &c : search) c = char(Lower(static_cast<unsigned char>(c)));
        const std::string replacement = std::string(pick(0, 4), 'R');

        long expectedErr = 0;
        const std::string expected = Oracle(file, search, replacement, ignoreCase, expectedErr);
        Write(dir + "/in", file);
        Write(dir + "/out", "");
        ZbFork in, out;
        ASSERT_EQ(Zb7_PlatformOpenDataFork(dir + "/in", false, in), 0);
        ASSERT_EQ(Zb7_PlatformOpenDataFork(dir + "/out", true, out), 0);
        const long err = Zb7_Substitute(in, out, search, replacement, ignoreCase);
        const bool same = err == expectedErr && (err != 0 || Contents(dir + "/out") == expected);
        EXPECT_TRUE(same) << "round " << round << ": size " << size << ", search of " << length << " at " << at
                          << (ignoreCase ? ", ignoring case" : "") << ", err " << err << " expected " << expectedErr;
        differences += !same;
    }
    fs::remove_all(dir);
}


TEST(FindStringInFile, AgreesWithTheByteAtATimeReadingOnRandomFiles) {
    const std::string path = (fs::temp_directory_path() / ("zerb-find-" + std::to_string(getpid()))).string();
    std::mt19937 random(424242);
    const auto pick = [&](size_t low, size_t high) { return std::uniform_int_distribution<size_t>(low, high)(random); };
    int differences = 0;
    const int rounds = zerbtest::kUnderEmulation ? 100 : 1000;
    for (int round = 0; round < rounds && differences < 5; ++round) {
        const bool caseSensitive = round % 3 != 0;
        const std::string alphabet = round % 2 ? "ab" : "aBc";
        std::string file(pick(63990, 200000), 'a');
        for (char &c : file) c = alphabet[pick(0, alphabet.size() - 1)];
        const size_t length = round % 40 == 0 ? pick(2001, 2600) : pick(1, 30);
        const size_t boundary = 64000 * pick(1, file.size() / 64000);
        const size_t at = std::min(file.size() - length, boundary - std::min(boundary, pick(0, length)));
        std::string pattern = file.substr(at, length);
        if (pick(0, 2)) pattern.back() = 'z';  // found late, or not at all
        if (!caseSensitive)
            for (char &c : pattern) c = char(Lower(static_cast<unsigned char>(c)));
        int64_t expected = 0, found = 0;
        const long expectedErr = FindOracle(file, pattern, caseSensitive, expected);
        Write(path, file);
        ZbFork fork;
        ASSERT_EQ(Zb7_PlatformOpenDataFork(path, false, fork), 0);
        const long err = Zb7_FindStringInFile(fork, pattern, caseSensitive, found);
        const bool same = err == expectedErr && found == expected;
        EXPECT_TRUE(same) << "round " << round << ": err " << err << "/" << expectedErr << ", offset " << found << "/"
                          << expected;
        differences += !same;
    }
    fs::remove(path);
}

TEST_F(Substitute, TheOutcomesUsersMeet) {
    EXPECT_EQ(Run("", "aaaab", "aaa", "X"), "Xab");                       // no overlap
    EXPECT_EQ(Run("", "short", "longer than the file", "X"), "short");   // nothing to match
    EXPECT_EQ(Run("", "a-b-c-", "-", ""), "abc");                         // an empty replacement deletes
    EXPECT_EQ(Run("", "tail the", "there", "X"), "tail ");                // a match cut by the end is lost
    EXPECT_EQ(Run("IgnoreCase", "The THE tHe", "the", "a"), "a a a");
    EXPECT_EQ(Run("IgnoreCase", "Theory", "xyz", "a"), "Theory");         // unmatched bytes stay as they are
    EXPECT_EQ(Run("", "Gr\xC3\xBC\xC3\x9F" "e", "\xC3\xBC", "ue"), "Grue\xC3\x9F" "e");  // UTF-8 by default
    // The block boundary: "th" at 63998-63999 and no "e" at 64000 loses bytes 63999-127999.
    std::string file(200000, 'x');
    file.replace(63998, 2, "th");
    file[128000] = 'y';
    const std::string out = Run("", file, "the", "THE");
    EXPECT_EQ(out.size(), 200000u - 64001u);
    EXPECT_EQ(out.substr(63998, 2), "ty");
    EXPECT_EQ(Run("", "x", "", "y"), "$$-50");
    EXPECT_EQ(Call("ZbFile_Substitute", {"", "", "", "a", "b"}), "$$-50");
    EXPECT_EQ(Call("ZbFile_Substitute", {"", root + "/none", "", "a", "b"}), "$$-43");
    // The search is read up to its first 2000 bytes.
    const std::string longRun(2100, 'a');
    EXPECT_EQ(Run("", longRun + "b", longRun + "c", "X"), "X" + std::string(100, 'a') + "b");
}

TEST_F(Substitute, InPlaceKeepsTheFilesMetadataAndADestinationIsNeverOverwritten) {
    const std::string f = root + "/f";
    Write(f, "one two one");
    ASSERT_EQ(lsetxattr(f.c_str(), "user.note", "kept", 4, 0), 0);
    ASSERT_EQ(Call("ZbFile_SetFileAttribute", {"-filetype", f, "TEXT"}), "0");
    ASSERT_EQ(Call("ZbFile_SetTimestampCreated", {"", f, "1/2/2003 4:05:06"}), "0");
    fs::permissions(f, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    EXPECT_EQ(Call("ZbFile_Substitute", {"", f, f, "one", "1"}), "0");  // the same path: in place
    EXPECT_EQ(Contents(f), "1 two 1");
    char value[8] = {};
    EXPECT_EQ(lgetxattr(f.c_str(), "user.note", value, sizeof value), 4);
    EXPECT_EQ(Call("ZbFile_GetFileType", {"", f}), "TEXT");
    EXPECT_EQ(Call("ZbFile_GetTimestampCreated", {"", f}), "1/2/2003 4:05:06");
    EXPECT_EQ(fs::status(f).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    // A separate destination: made for it with the source's type, never over an existing file.
    EXPECT_EQ(Call("ZbFile_Substitute", {"", f, root + "/g", "two", "2"}), "0");
    EXPECT_EQ(Contents(root + "/g"), "1 2 1");
    EXPECT_EQ(Call("ZbFile_GetFileType", {"", root + "/g"}), "TEXT");
    EXPECT_EQ(Call("ZbFile_Substitute", {"", f, root + "/g", "1", "one"}), "$$-48");
    EXPECT_EQ(Contents(root + "/g"), "1 2 1");
    // Nothing but the two files: no temporary left.
    EXPECT_EQ(std::distance(fs::directory_iterator(root), fs::directory_iterator()), 2);
    // In place through a symbolic link: the file it leads to gets the new contents, in its own
    // folder, and the link stays a link.
    fs::create_directories(root + "/elsewhere");
    Write(root + "/elsewhere/target", "red and red");
    fs::create_symlink("elsewhere/target", root + "/link");
    EXPECT_EQ(Call("ZbFile_Substitute", {"", root + "/link", "", "red", "blue"}), "0");
    EXPECT_TRUE(fs::is_symlink(root + "/link"));
    EXPECT_EQ(Contents(root + "/elsewhere/target"), "blue and blue");
    EXPECT_EQ(std::distance(fs::directory_iterator(root + "/elsewhere"), fs::directory_iterator()), 1);
    fs::create_symlink("elsewhere/gone", root + "/dangling");
    EXPECT_EQ(Call("ZbFile_Substitute", {"", root + "/dangling", "", "red", "blue"}), "$$-43");
}

// The old contents of a large file changed in place are closed in the background: the call
// answers with the new contents in place, and shut-down waits until the old are gone.
TEST_F(Substitute, TheOldContentsOfALargeFileGoAfterTheCall) {
    const std::string f = root + "/f";
    Write(f, "head of a large file");
    fs::resize_file(f, 65u << 20);  // the rest a hole: cheap to write, and to read
    const auto deletedHeld = [] {
        int held = 0;
        for (const auto &e : fs::directory_iterator("/proc/self/fd")) {
            std::error_code error;
            const std::string target = fs::read_symlink(e.path(), error).string();
            held += target.find("(deleted)") != std::string::npos;
        }
        return held;
    };
    const int before = deletedHeld();
    EXPECT_EQ(Call("ZbFile_Substitute", {"", f, "", "head", "HEAD"}), "0");
    std::ifstream in(f, std::ios::binary);
    std::string start(20, '\0');
    in.read(start.data(), 20);
    EXPECT_EQ(start, "HEAD of a large file");
    EXPECT_EQ(fs::file_size(f), 65u << 20);
    EXPECT_EQ(std::distance(fs::directory_iterator(root), fs::directory_iterator()), 1);
    plugin.reset();  // shut-down
    EXPECT_EQ(deletedHeld(), before);
}

TEST_F(Substitute, AProcessKilledAtAnyMomentLeavesTheOldOrTheNewContents) {
    std::string old;
    for (int k = 0; old.size() < (6u << 20); ++k) old += "line " + std::to_string(k) + " of the old text\n";
    std::string replaced = old;
    for (size_t at = 0; (at = replaced.find("old", at)) != std::string::npos; at += 3) replaced.replace(at, 3, "NEW");
    const std::string f = root + "/f";
    std::mt19937 random(7);
    int sawOld = 0, sawNew = 0;
    // Under emulation the call runs many times slower: fewer rounds, over a longer window.
    const int rounds = zerbtest::kUnderEmulation ? 40 : 200, window = zerbtest::kUnderEmulation ? 600000 : 30000;
    for (int round = 0; round < rounds; ++round) {
        Write(f, old);
        const pid_t pid = fork();
        if (pid == 0) {
            fmx::ExprEnvUniquePtr env;
            fmx::DataVectUniquePtr parameters;
            for (const std::string &v : {std::string(), f, std::string(), std::string("old"), std::string("NEW")})
                parameters->PushBack(*zerbtest::TextData(v));
            fmx::DataUniquePtr result;
            ZbFile7_DoSubstitute(4283, *env, *parameters, *result);
            _exit(0);
        }
        usleep(useconds_t(std::uniform_int_distribution<int>(0, window)(random)));
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        const std::string now = Contents(f);
        ASSERT_TRUE(now == old || now == replaced) << "round " << round << ": a mix of " << now.size() << " bytes";
        (now == old ? sawOld : sawNew)++;
        // What may stay: a temporary named ZERBTMP and digits, from a kill in the moment between
        // naming the new contents and putting them in place.
        for (const auto &e : fs::directory_iterator(root)) {
            const std::string name = e.path().filename().string();
            if (name == "f") continue;
            EXPECT_EQ(name.rfind("ZERBTMP", 0), 0u) << name;
            fs::remove(e.path());
        }
    }
    EXPECT_GT(sawOld, 0);
    EXPECT_GT(sawNew, 0);
}

// In place and to a destination, once for every system call made with that one failing: the
// answer is an error, the source is as it was and nothing else is left, or the call went through.
// A small file, and one large enough to be scanned on a second thread while the call's own
// thread writes; and a small file changed in place through a symbolic link, which must stay a link.
// New contents left unfinished by an exception leave no file behind: neither an unnamed one nor,
// where the file system makes no unnamed files, the temporary file named beside the source.
TEST_F(Substitute, NewContentsAbandonedByAnExceptionLeaveNothing) {
    const std::string f = root + "/f";
    Write(f, "old");
    for (const bool named : {false, true}) {
        try {
            if (named) ZbSysFailCall(1, EOPNOTSUPP);  // no unnamed file: the named fallback
            fmx::TextUniquePtr source, inPlace;
            source->Assign(f.c_str(), fmx::Text::kEncoding_UTF8);
            ZbNewContents contents;
            const long err = Zb7_BeginNewContents(f, *source, *inPlace, contents);
            ZbSysFailCall(0, 0);
            ASSERT_EQ(err, 0);
            ASSERT_EQ(contents.fork.temporaryPath.empty(), !named);
            throw std::bad_alloc();
        } catch (const std::bad_alloc &) {
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(root), fs::directory_iterator()), 1) << named;
        EXPECT_EQ(Contents(f), "old");
    }
}

TEST_F(Substitute, AFailedSystemCallLeavesTheSourceAsItWas) {
    const std::string f = root + "/f", g = root + "/g", link = root + "/l";
    std::string large, largeReplaced;
    while (large.size() < (5u << 20)) {
        large += "one two one ";
        largeReplaced += "1 two 1 ";
    }
    struct Case {
        bool large, inPlace, viaLink;
    };
    for (const Case c : {Case{false, true, false}, Case{false, false, false}, Case{true, true, false},
                         Case{true, false, false}, Case{false, true, true}}) {
        const std::string &old = c.large ? large : std::string("one two one");
        const std::string replaced = c.large ? largeReplaced : "1 two 1";
        const size_t untouched = c.viaLink ? 2 : 1;  // the items there are when nothing was made
        // ENOSYS and EINVAL also stand for a kernel or file system without the exchange, whose
        // fallback must still leave the old or the new contents whole.
        SCOPED_TRACE(std::to_string(old.size()) + " bytes " + (c.inPlace ? "in place" : "to a destination") +
                     (c.viaLink ? " through a link" : ""));
        zerbtest::SweepFailingCalls(
            {EIO, ENOSPC, EINTR, ENOSYS, EINVAL},
            [&] {
                fs::remove_all(root);
                fs::create_directories(root);
                Write(f, old);
                lsetxattr(f.c_str(), "user.note", "kept", 4, 0);
                if (c.viaLink) fs::create_symlink("f", link);
            },
            [&] { return zerbtest::CallHandler(ZbFile7_DoSubstitute, {"", c.viaLink ? link : f, c.inPlace ? "" : g, "one", "1"}, 4283); },
            [&](const std::string &answer, bool reached) {
                const size_t items = size_t(std::distance(fs::directory_iterator(root), fs::directory_iterator()));
                if (c.viaLink) {
                    EXPECT_TRUE(fs::is_symlink(link));
                }
                if (answer == "0") {
                    EXPECT_TRUE(Contents(c.inPlace ? f : g) == replaced);
                    // Only the removal of the old contents under their temporary name failed.
                    if (items != untouched + (c.inPlace ? 0 : 1)) {
                        for (const auto &e : fs::directory_iterator(root))
                            if (e.path() != f && e.path() != link) {
                                EXPECT_TRUE(Contents(e.path().string()) == old);
                            }
                    }
                } else {
                    EXPECT_EQ(answer.substr(0, 3), "$$-");
                    EXPECT_TRUE(Contents(f) == old);
                    EXPECT_EQ(items, untouched);
                }
                if (!reached) {
                    EXPECT_EQ(answer, "0");
                }
            });
    }
}
