// Checksums and commands through the loaded plug-in, against the tools they stand in for:
//   Hash       SHA-256 of a 1 GiB file already in the page cache against sha256sum, and MD5
//              against md5sum (the goal: at least as fast)
//   RunCommand of `true` (no shell) against ExecuteShell of `true` (through /bin/sh), per call
//              (the goal: faster)
// Each measurement is the best of a few runs. Not a test: the numbers depend on the machine; the
// printed ratios (ours / theirs in time: below 1 means ours is faster) are what to compare.
//
// zerb_bench_commands [--hash-mb N] [--calls N] [--runs N]   (0 skips a part)
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_common.h"

using namespace zerbbench;

namespace {

void BenchHash(size_t megabytes, const fs::path &dir) {
    const fs::path file = dir / "big.bin";
    {
        // Pseudo-random blocks, so no digest meets a pattern it could shortcut.
        std::ofstream out(file, std::ios::binary);
        std::mt19937_64 random(1);
        std::vector<uint64_t> block((1 << 20) / 8);
        for (size_t k = 0; k < megabytes; ++k) {
            for (auto &w : block) w = random();
            out.write(reinterpret_cast<const char *>(block.data()), std::streamsize(block.size() * 8));
        }
    }
    const std::string quoted = "'" + file.string() + "'";
    if (std::system(("cat " + quoted + " > /dev/null").c_str()) != 0) return;  // into the page cache
    struct Case {
        const char *name, *switches, *tool;
    };
    for (const Case c : {Case{"Hash SHA-256", "", "sha256sum"}, Case{"Hash MD5", "-Algorithm=MD5", "md5sum"}}) {
        const auto parameters = Parameters({c.switches, file.string()});
        std::string ours;
        const double ourTime = Best([&] { ours = Answer("ZbFile_Hash", **parameters); });
        std::string theirs;
        const double theirTime = Best([&] { theirs = FirstWord(std::string(c.tool) + " " + quoted); });
        if (ours != theirs) std::printf("%s: DIFFERENT DIGESTS %s and %s\n", c.name, ours.c_str(), theirs.c_str());
        const double mb = double(megabytes);
        std::printf("%s of %zu MiB: ours %.0f MiB/s, %s %.0f MiB/s, ratio %.2fx (time, ours / theirs)\n", c.name,
                    megabytes, mb / ourTime, c.tool, mb / theirTime, ourTime / theirTime);
        std::fflush(stdout);
    }
    fs::remove(file);
}

void BenchCommands(size_t calls) {
    const auto run = Parameters({"", R"({"argv": ["true"]})"});
    const auto shell = Parameters({"", "true"});
    if (Answer("ZbFile_RunCommand", **run).find("\"exitCode\":0") == std::string::npos) {
        std::printf("RunCommand of true failed: %s\n", Answer("ZbFile_RunCommand", **run).c_str());
        return;
    }
    const double ours = Best([&] {
        for (size_t k = 0; k < calls; ++k) Answer("ZbFile_RunCommand", **run);
    });
    const double theirs = Best([&] {
        for (size_t k = 0; k < calls; ++k) Answer("ZbFile_ExecuteShell", **shell);
    });
    Report("RunCommand of true against ExecuteShell of true, per call", ours / double(calls), "ExecuteShell",
           theirs / double(calls), "ms", 1000, 3);
}

}  // namespace

int main(int argc, char **argv) {
    size_t hashMB = 1024, calls = 500;
    for (int a = 1; a + 1 < argc; a += 2) {
        const std::string option = argv[a];
        const size_t value = std::strtoul(argv[a + 1], nullptr, 10);
        if (option == "--hash-mb") hashMB = value;
        else if (option == "--calls") calls = value;
        else if (option == "--runs") gRuns = int(std::max<size_t>(value, 1));
        else {
            std::fprintf(stderr, "usage: zerb_bench_commands [--hash-mb N] [--calls N] [--runs N]\n");
            return 2;
        }
    }
    const auto plugin = LoadPlugin();
    if (!plugin) return 1;
    Answer("ZbFile_Version", {"-RegisterExecuteShellFunction"});
    const fs::path dir = ScratchFolder("zerb-bench-commands");
    if (dir.empty()) return 1;
    if (hashMB) BenchHash(hashMB, dir);
    if (calls) BenchCommands(calls);
    fs::remove_all(dir);
    return 0;
}
