// Text in and out of files: ranges and their errors, encodings and line ends, the default file
// that is never created, the write bound of many-byte encodings, files past 2 GiB, and a failure
// injected at every system call of the writing functions.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>

#include "filecore/fork_io.h"
#include "filecore/fsspec.h"
#include "filecore/paths.h"
#include "platform/system_calls.h"
#include "core/globals.h"
#include "core/functions.h"
#include "tests/plugin_harness.h"

namespace fs = std::filesystem;
using zerbtest::Contents;
using zerbtest::PluginTest;

namespace {

class ContentsFunctions : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        root = (fs::temp_directory_path() / ("zerb-contents-" + std::to_string(getpid()))).string();
        fs::remove_all(root);
        fs::create_directories(root);
        std::ofstream(root + "/c.txt", std::ios::binary) << "line1\r\nline2\nline3";
    }
    void TearDown() override {
        fs::remove_all(root);
        PluginTest::TearDown();
    }
    std::string Get(const std::string &switches, std::initializer_list<std::string> range = {}) {
        std::vector<std::string> all = {switches, root + "/c.txt"};
        all.insert(all.end(), range);
        fmx::DataVectUniquePtr parameters;
        for (size_t k = 0; k < all.size(); ++k) {
            if (k < 2) {
                parameters->PushBack(*zerbtest::TextData(all[k]));
                continue;
            }
            fmx::DataUniquePtr number;
            fmx::FixPtUniquePtr value;
            value->AssignInt64(std::stoll(all[k]));
            number->SetAsNumber(*value);
            parameters->PushBack(*number);
        }
        fmx::DataUniquePtr result;
        zhost::CallFunction(zhost::FromUtf8("ZbFile_GetContents"), *parameters, *result);
        return zerbtest::TextOf(*result);
    }
    std::string root;
};

using zerbtest::CallHandler;

}  // namespace

TEST_F(ContentsFunctions, RangesAndTheirErrors) {
    EXPECT_EQ(Get(""), "line1\r\nline2\nline3");
    EXPECT_EQ(Get("-ConvertToFMPLinebreaks"), "line1\rline2\rline3");
    EXPECT_EQ(Get("", {"2", "3"}), "ne1");
    EXPECT_EQ(Get("", {"2", "0"}), "ne1\r\nline2\nline3");  // length 0: to the end
    EXPECT_EQ(Get("", {"14", "100"}), "ine3");                // a range past the end is cut there
    EXPECT_EQ(Get("", {"18"}), "");                           // the offset of the end: nothing
    EXPECT_EQ(Get("", {"19"}), "$$-39");
    EXPECT_EQ(Get("", {"-1"}), "$$-4241");
    EXPECT_EQ(Get("", {"0", "-5"}), "$$-4241");
    EXPECT_EQ(Get("", {"3000000000"}), "$$-4241");  // past 2^31: negative as a 32-bit number
    EXPECT_EQ(Call("ZbFile_GetContents", {"", root + "/none"}), "$$-43");
    EXPECT_EQ(Call("ZbFile_GetContents", {"", root}), "$$-1302");
    EXPECT_EQ(Call("ZbFile_GetContents", {"", "$$-43"}), "$$-4299");
    // Contents follow a link to the file.
    fs::create_symlink(root + "/c.txt", root + "/link");
    EXPECT_EQ(Call("ZbFile_GetContents", {"", root + "/link"}), "line1\r\nline2\nline3");
}

TEST_F(ContentsFunctions, EncodingsBothWays) {
    std::ofstream(root + "/utf8.txt", std::ios::binary) << "Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC";
    EXPECT_EQ(Call("ZbFile_GetContents", {"-Encoding=UTF8", root + "/utf8.txt"}), "Grüße €");
    EXPECT_EQ(Call("ZbFile_GetContents", {"", root + "/utf8.txt"}).substr(0, 2), "Gr");  // Native: Mac OS Roman
    ASSERT_EQ(Call("ZbFile_SetDefaultFileSpec", {"", root + "/c.txt"}), "0");
    EXPECT_EQ(Call("ZbFile_SetContents", {"-Encoding=UTF8", "Grüße €"}), "0");
    EXPECT_EQ(Contents(root + "/c.txt"), "Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC");
    EXPECT_EQ(Call("ZbFile_SetContents", {"-Encoding=ASCII_Mac", "caf\u00e9"}), "0");
    EXPECT_EQ(Contents(root + "/c.txt"), "caf\x8E");
    // BytesOnly: one byte a character, zero bytes included.
    {
        fmx::DataVectUniquePtr parameters;
        parameters->PushBack(*zerbtest::TextData("-Encoding=BytesOnly"));
        fmx::TextUniquePtr text;
        const fmx::uint16 units[] = {0xE9, 0, 'x'};
        text->AssignUnicodeWithLength(units, 3);
        fmx::DataUniquePtr value, result;
        fmx::LocaleUniquePtr locale;
        value->SetAsText(*text, *locale);
        parameters->PushBack(*value);
        zhost::CallFunction(zhost::FromUtf8("ZbFile_SetContents"), *parameters, *result);
        EXPECT_EQ(zerbtest::TextOf(*result), "0");
        EXPECT_EQ(Contents(root + "/c.txt"), std::string("\xE9\0x", 3));
    }
    // Three bytes a character: the write stops at twice the characters plus 10 bytes.
    std::string cjk;
    for (int k = 0; k < 100; ++k) cjk += "\xE6\x97\xA5";  // U+65E5
    EXPECT_EQ(Call("ZbFile_SetContents", {"-Encoding=UTF8", cjk}), "0");
    EXPECT_EQ(Contents(root + "/c.txt"), cjk.substr(0, 210));
}

TEST_F(ContentsFunctions, SetAndAppendWriteOnlyTheDefaultFile) {
    EXPECT_EQ(Call("ZbFile_SetContents", {"", "x"}), "$$-43");  // none set yet
    ASSERT_EQ(Call("ZbFile_SetDefaultFileSpec", {"", root + "/new.txt"}), "$$-43");
    EXPECT_EQ(Call("ZbFile_SetContents", {"", "x"}), "$$-43");
    EXPECT_FALSE(fs::exists(root + "/new.txt"));  // never created
    ASSERT_EQ(Call("ZbFile_SetDefaultFileSpec", {"", root + "/c.txt"}), "0");
    EXPECT_EQ(Call("ZbFile_SetContents", {"", ""}), "0");
    EXPECT_EQ(fs::file_size(root + "/c.txt"), 0u);
    EXPECT_EQ(Call("ZbFile_AppendContents", {"", "one\r"}), "0");
    EXPECT_EQ(Call("ZbFile_AppendContents", {"-CRtoCRLF -CRLFtoCR", "two\r"}), "0");  // only -CRtoCRLF
    EXPECT_EQ(Call("ZbFile_AppendContents", {"-CRLFtoCR", "three\r\n"}), "0");
    EXPECT_EQ(Contents(root + "/c.txt"), "one\rtwo\r\nthree\r");
    EXPECT_EQ(Call("ZbFile_SetContents", {"", "short"}), "0");  // longer old contents are cut off
    EXPECT_EQ(Contents(root + "/c.txt"), "short");
    ASSERT_EQ(Call("ZbFile_SetDefaultFileSpec", {"", root}), "0");
    EXPECT_EQ(Call("ZbFile_SetContents", {"", "x"}), "$$-1302");
}

TEST_F(ContentsFunctions, FilesPastTwoGigabytesAreReadByRange) {
    const std::string big = root + "/big";
    {
        std::ofstream out(big, std::ios::binary);
        out.seekp((int64_t(3) << 30) - 4);
        out << "tail";
    }
    EXPECT_EQ(fs::file_size(big), uint64_t(3) << 30);
    fmx::DataVectUniquePtr parameters;
    parameters->PushBack(*zerbtest::TextData(""));
    parameters->PushBack(*zerbtest::TextData(big));
    for (const int64_t n : {int64_t(0x7FFFFFF0), int64_t(8)}) {
        fmx::DataUniquePtr number;
        fmx::FixPtUniquePtr value;
        value->AssignInt64(n);
        number->SetAsNumber(*value);
        parameters->PushBack(*number);
    }
    fmx::DataUniquePtr result;
    zhost::CallFunction(zhost::FromUtf8("ZbFile_GetContents"), *parameters, *result);
    EXPECT_EQ(zerbtest::TextOf(*result), std::string(8, '\0'));
}

TEST_F(ContentsFunctions, TheResourceForkIsItsAttribute) {
    fs::create_symlink(root + "/c.txt", root + "/link");
    FSSpec file, link;
    ASSERT_EQ(ZbPi_CStrToFSpec(root + "/c.txt", kZbPathUTF8, 255, &file), 0);
    ASSERT_EQ(ZbPi_CStrToFSpec(root + "/link", kZbPathUTF8, 255, &link), 0);
    std::string bytes = "x";
    EXPECT_EQ(XP7_ReadResourceFork(file, bytes), 0);
    EXPECT_EQ(bytes, "");
    const std::string fork("\0\0\1\0resource", 12);
    EXPECT_EQ(XP7_WriteResourceFork(link, fork), 0);  // through the link, to the file
    EXPECT_EQ(XP7_ReadResourceFork(file, bytes), 0);
    EXPECT_EQ(bytes, fork);
    EXPECT_EQ(Call("ZbFile_GetResourceForkSize", {"", root + "/c.txt"}), "12");
}

// Every function that reads or writes contents refuses what is not a file at once: a named pipe
// would hold the call until a writer came, a device may never end. Run in fmxhost under a time
// limit, so that a call that waits shows as a missing answer.
TEST_F(ContentsFunctions, PipesAndDevicesAreRefusedWithoutWaiting) {
    const std::string pipe = root + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0644), 0);
    const std::vector<std::string> lines = zerbtest::RunFmxhost(
        {"ZbFile_GetContents(\"\"; \"" + pipe + "\")", "ZbFile_Substitute(\"\"; \"" + pipe + "\"; \"\"; \"a\"; \"b\")",
         "ZbFile_MetaData(\"GetIPTC\"; \"/dev/zero\")", "ZbFile_MetaData(\"GetEXIF\"; \"" + pipe + "\")",
         "ZbFile_SetMetaData(\"-SetIPTC\"; \"" + pipe + "\"; \"\"; \"\")", "ZbFile_CreateThumbnail(\"\"; \"" + pipe + "\")",
         "ZbFile_SetDefaultFileSpec(\"\"; \"" + pipe + "\")", "ZbFile_AppendContents(\"\"; \"x\")",
         "ZbFile_GetContents(\"\"; \"/dev/zero\")"},
        "timeout 20");
    EXPECT_EQ(lines, (std::vector<std::string>{"$$-1302", "$$-1302", "$$-1302", "$$-1302", "$$-1302", "$$-1302", "0",
                                               "$$-1302", "$$-1302"}));
    EXPECT_TRUE(fs::is_fifo(pipe));
}

// SetContents and AppendContents, run once for every system call they make with that one
// failing: the answer is an error and no file but the default one is touched, or the call went
// through whole (a call retried after an interruption).
TEST(ContentsFaults, AFailedSystemCallAnswersAnError) {
    const std::string root = (fs::temp_directory_path() / ("zerb-cfaults-" + std::to_string(getpid()))).string();
    fs::remove_all(root);
    fs::create_directories(root);
    const std::string file = root + "/f";
    for (const bool append : {false, true}) {
        SCOPED_TRACE(append ? "append" : "set");
        zerbtest::SweepFailingCalls(
            {EIO, ENOSPC, EINTR},
            [&] {
                std::ofstream(file, std::ios::binary) << "old contents";
                ASSERT_EQ(CallHandler(ZbFile7_DoSetDefaultFileSpec, {"", file}), "0");
            },
            [&] { return CallHandler(append ? ZbFile7_DoAppendContents : ZbFile7_DoSetContents, {"", "new"}); },
            [&](const std::string &answer, bool reached) {
                if (answer == "0") {
                    EXPECT_EQ(Contents(file), append ? "old contentsnew" : "new");
                } else {
                    EXPECT_EQ(answer.substr(0, 3), "$$-");
                }
                EXPECT_EQ(std::distance(fs::directory_iterator(root), fs::directory_iterator()), 1);
                if (!reached) {
                    EXPECT_EQ(answer, "0");
                }
            });
    }
    fs::remove_all(root);
    ZbClearFSSpec(gDefaultFSSpec);
}

// The functions that only read, run once for every counted system call they make with that one
// failing as an I/O error would: the answer is the error or the whole right answer, never a part
// of the file or of its metadata passed off as the whole.
TEST(ContentsFaults, AFailedReadAnswersAnErrorNeverAPart) {
    const std::string photo = "/usr/share/gocode/src/github.com/rwcarlsen/goexif/exif/sample1.jpg";
    const std::string root = (fs::temp_directory_path() / ("zerb-rfaults-" + std::to_string(getpid()))).string();
    fs::create_directories(root);
    std::string large;
    while (large.size() < (3u << 20)) large += "a line of the large file\n";
    std::ofstream(root + "/large", std::ios::binary) << large;
    struct Case {
        const char *what;
        std::function<std::string()> run;
    };
    std::vector<Case> cases = {
        {"GetContents", [&] { return CallHandler(ZbFile7_DoGetContents, {"", root + "/large"}); }},
        {"GetContents of a range", [&] { return CallHandler(ZbFile7_DoGetContents, {"", root + "/large", "70000", "200000"}); }},
    };
    if (fs::exists(photo))
        cases.push_back({"MetaData", [&] { return CallHandler(ZbFile7_DoMetaData, {"GetExif GetIPTC GetJPEGComment", photo}); }});
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        const std::string whole = c.run();
        ASSERT_EQ(whole.substr(0, 2) == "$$", false) << whole;
        zerbtest::SweepFailingCalls({EIO}, [] {}, c.run, [&](const std::string &answer, bool) {
            EXPECT_TRUE(answer == whole || answer == "$$-36") << answer.substr(0, 40);
        });
    }
    fs::remove_all(root);
}
