// ZbFile_Hash against the system's checksum tools, on files from empty to past 2 GiB and 4 Gi
// blocks of offsets, with memory that stays flat, and its answers for what is not a file.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "tests/plugin_harness.h"

namespace {

namespace fs = std::filesystem;
using zerbtest::FirstWord;
using zerbtest::PeakMemoryKiB;
using zerbtest::ResetPeakMemory;

struct ZbReference {
    const char *algorithm;  // as "-Algorithm=" names it
    const char *tool;       // the command that prints the same digest first on its line
};

// openssl dgst prints "SHA3-256(path)= digest"; -r puts the digest first, as the others do.
constexpr ZbReference kReferences[] = {
    {"SHA256", "sha256sum"}, {"SHA1", "sha1sum"},   {"MD5", "md5sum"},
    {"SHA512", "sha512sum"}, {"BLAKE2b512", "b2sum"}, {"SHA3-256", "openssl dgst -sha3-256 -r"},
};

class HashTest : public zerbtest::PluginFolderTest {
protected:
    HashTest() : PluginFolderTest("hash") {}
    void SetUp() override {
        PluginFolderTest::SetUp();
        dir = root;
    }
    std::string Hash(const std::string &path, const std::string &switches = "") {
        return Call("ZbFile_Hash", {switches, path});
    }
    void ExpectAllToolsAgree(const fs::path &file) {
        for (const ZbReference &r : kReferences)
            EXPECT_EQ(Hash(file.string(), std::string("-Algorithm=") + r.algorithm),
                      FirstWord(std::string(r.tool) + " '" + file.string() + "'"))
                << r.algorithm << " of " << file;
    }
    fs::path dir;
};

}  // namespace

TEST_F(HashTest, EveryAlgorithmAgreesWithItsToolOnSmallAndLargeFiles) {
    std::ofstream(dir / "empty");
    std::ofstream(dir / "one") << 'x';
    {
        // 64 MiB of pseudo-random bytes and a tail, so the last block is a short one.
        std::ofstream big(dir / "big", std::ios::binary);
        std::mt19937_64 random(7);
        std::string block(1 << 20, '\0');
        for (int k = 0; k < 64; ++k) {
            for (char &c : block) c = char(random());
            big.write(block.data(), std::streamsize(block.size()));
        }
        big << "tail";
    }
    for (const char *name : {"empty", "one", "big"}) ExpectAllToolsAgree(dir / name);
    // SHA256 is the default; names are read without regard to case, and with a hyphen too.
    const std::string sha256 = Hash((dir / "one").string());
    EXPECT_EQ(sha256, "2d711642b726b04401627ca9fbac32f5c8530fb1903cc4db02258717921a4881");
    EXPECT_EQ(Hash((dir / "one").string(), "-algorithm=sha-256"), sha256);
}

TEST_F(HashTest, SparseFileOfThreeGiBInConstantMemory) {
    if (zerbtest::kUnderEmulation) GTEST_SKIP() << "3 GiB through an emulated processor takes minutes";
    const fs::path sparse = dir / "sparse";
    { std::ofstream(sparse) << 'a'; }
    fs::resize_file(sparse, 3ull << 30);
    {
        // A byte past 2 GiB tells a wrong offset from a right one.
        std::fstream f(sparse, std::ios::in | std::ios::out | std::ios::binary);
        f.seekp(std::streamoff(5) << 29);
        f << 'z';
    }
    ResetPeakMemory();
    const long before = PeakMemoryKiB();
    const std::string digest = Hash(sparse.string());
    const long grown = PeakMemoryKiB() - before;
    // openssl's SHA-256 uses the processor's SHA instructions, sha256sum's does not: seconds, not a minute.
    EXPECT_EQ(digest, FirstWord("openssl dgst -sha256 -r '" + sparse.string() + "'"));
    EXPECT_LT(grown, 16 * 1024) << "KiB of peak memory while hashing 3 GiB";
}

TEST_F(HashTest, Base64AnswerHoldsTheSameBytes) {
    std::ofstream(dir / "f") << "hello\n";
    const std::string path = (dir / "f").string();
    EXPECT_EQ(Hash(path, "-Base64"), FirstWord("openssl dgst -sha256 -binary '" + path + "' | base64 -w0"));
    EXPECT_EQ(Hash(path, "-Base64 -Algorithm=MD5"), "sZRqySSS0jR8YjW00mERhA==");  // 16 bytes: two of padding
    EXPECT_EQ(Hash(path, "-Base64 -Algorithm=SHA1"), FirstWord("openssl dgst -sha1 -binary '" + path + "' | base64 -w0"));
}

TEST_F(HashTest, WhatIsNotARegularFileAnswersAsGetContentsDoes) {
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);  // never waited for
    fs::create_directories(dir / "folder");
    for (const char *name : {"folder", "pipe", "missing"}) {
        const std::string path = (dir / name).string();
        const std::string contents = Call("ZbFile_GetContents", {"", path});
        EXPECT_EQ(contents.substr(0, 2), "$$") << name;
        EXPECT_EQ(Hash(path), contents) << name;
    }
    EXPECT_EQ(Hash("/dev/null"), Call("ZbFile_GetContents", {"", "/dev/null"}));
    std::ofstream(dir / "f") << "x";
    EXPECT_EQ(Hash((dir / "f").string(), "-Algorithm=CRC32"), "$$-50");
    EXPECT_EQ(Hash(""), Call("ZbFile_GetContents", {"", ""}));
}
