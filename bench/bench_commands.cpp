// Checksums and commands through the loaded plug-in, against the tools they stand in for:
//   Hash       SHA-256 of a 1 GiB file already in the page cache against sha256sum, and MD5
//              against md5sum (the goal: at least as fast)
//   RunCommand of `true` (no shell) against ExecuteShell of `true` (through /bin/sh), per call
//              (the goal: faster)
// Each measurement is the best of a few runs. Not a test: the numbers depend on the machine; the
// printed ratios (ours / theirs in time: below 1 means ours is faster) are what to compare.
//
// zerb_bench_commands [--hash-mb N] [--calls N] [--runs N]   (0 skips a part)
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "host/host_api.h"
#include "host/objects.h"
#include "fmx/fmx.h"

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;
int gRuns = 3;

double Best(const std::function<void()> &f) {
    double best = 1e300;
    for (int r = 0; r < gRuns; ++r) {
        const auto start = Clock::now();
        f();
        best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
    }
    return best;
}

// The first word a command prints.
std::string FirstWord(const std::string &command) {
    std::string text;
    if (FILE *out = popen(command.c_str(), "r")) {
        char buffer[512];
        for (size_t n; (n = fread(buffer, 1, sizeof buffer, out)) > 0;) text.append(buffer, n);
        pclose(out);
    }
    return text.substr(0, text.find_first_of(" \n"));
}

fmx::DataUniquePtr TextData(const std::string &utf8) {
    fmx::DataUniquePtr d;
    fmx::TextUniquePtr t;
    t->Assign(utf8.c_str(), fmx::Text::kEncoding_UTF8);
    fmx::LocaleUniquePtr locale;
    d->SetAsText(*t, *locale);
    return d;
}

std::string Answer(const char *function, const fmx::DataVect &parameters) {
    fmx::DataUniquePtr result;
    zhost::CallFunction(zhost::FromUtf8(function), parameters, *result);
    const fmx::Text &text = result->GetAsText();
    std::u16string units(text.GetSize(), u'\0');
    if (!units.empty()) text.GetUnicode(reinterpret_cast<fmx::uint16 *>(units.data()), 0, fmx::uint32(units.size()));
    return zhost::ToUtf8(units);
}

// The parameters of one call, made before the timing starts: building them is the host's work.
fmx::DataVectUniquePtr Parameters(const std::vector<std::string> &values) {
    fmx::DataVectUniquePtr vect;
    for (const std::string &v : values) vect->PushBack(*TextData(v));
    return vect;
}

void Report(const char *what, double ours, const char *theirName, double theirs, const char *unit, double scale) {
    std::printf("%s: ours %.3f %s, %s %.3f %s, ratio %.2fx\n", what, ours * scale, unit, theirName, theirs * scale,
                unit, ours / theirs);
    std::fflush(stdout);
}

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
        const double ourTime = Best([&] { ours = Answer("ZbFile_Hash", *parameters); });
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
    if (Answer("ZbFile_RunCommand", *run).find("\"exitCode\":0") == std::string::npos) {
        std::printf("RunCommand of true failed: %s\n", Answer("ZbFile_RunCommand", *run).c_str());
        return;
    }
    const double ours = Best([&] {
        for (size_t k = 0; k < calls; ++k) Answer("ZbFile_RunCommand", *run);
    });
    const double theirs = Best([&] {
        for (size_t k = 0; k < calls; ++k) Answer("ZbFile_ExecuteShell", *shell);
    });
    Report("RunCommand of true against ExecuteShell of true, per call", ours / double(calls), "ExecuteShell",
           theirs / double(calls), "ms", 1000);
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
    std::string error;
    const auto plugin = zhost::Plugin::Load(ZERB_PLUGIN_PATH, kCurrentExtnVersion, error);
    if (!plugin) {
        std::fprintf(stderr, "cannot load the plug-in: %s\n", error.c_str());
        return 1;
    }
    Answer("ZbFile_Version", *Parameters({"-RegisterExecuteShellFunction"}));
    char pattern[] = "/var/tmp/zerb-bench-commands-XXXXXX";
    if (!mkdtemp(pattern)) {
        std::perror("mkdtemp");
        return 1;
    }
    const fs::path dir = pattern;
    if (hashMB) BenchHash(hashMB, dir);
    if (calls) BenchCommands(calls);
    fs::remove_all(dir);
    return 0;
}
