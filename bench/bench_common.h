// What the benchmarks that run the plug-in share: loading it into the host emulator, calling its
// functions with text parameters, timing (the best of a few runs), running the tools ours are
// measured against, and the folders they work in.
#ifndef ZERB_BENCH_BENCH_COMMON_H
#define ZERB_BENCH_BENCH_COMMON_H

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/host_api.h"
#include "host/objects.h"
#include "fmx/fmx.h"

namespace zerbbench {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// How many times each measurement runs ("--runs"); the fastest run counts.
inline int gRuns = 3;

// The best time of gRuns runs of f, in seconds; `prepare` runs before each run, untimed.
inline double Best(const std::function<void()> &f, const std::function<void()> &prepare = [] {}) {
    double best = 1e300;
    for (int r = 0; r < gRuns; ++r) {
        prepare();
        const auto start = Clock::now();
        f();
        best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
    }
    return best;
}

// Runs a shell command the benchmark needs; a failure ends the benchmark.
inline void Shell(const std::string &command) {
    if (std::system(command.c_str()) != 0) {
        std::fprintf(stderr, "failed: %s\n", command.c_str());
        std::exit(1);
    }
}

// Runs a tool for its time alone: its output is thrown away and its exit status not checked
// (exiv2, for one, fails on a file without metadata after doing all its work).
inline void RunTool(const std::string &command) { (void)!std::system((command + " >/dev/null 2>&1").c_str()); }

// True when every program named (separated by spaces) is on the PATH.
inline bool HasPrograms(const std::string &names) {
    return std::system(("for p in " + names + "; do command -v \"$p\" >/dev/null || exit 1; done").c_str()) == 0;
}

// The built plug-in loaded into the emulator (ZERB_PLUGIN_PATH), or nothing after saying why not.
inline std::unique_ptr<zhost::Plugin> LoadPlugin() {
    std::string error;
    auto plugin = zhost::Plugin::Load(ZERB_PLUGIN_PATH, kCurrentExtnVersion, error);
    if (!plugin) std::fprintf(stderr, "cannot load the plug-in: %s\n", error.c_str());
    return plugin;
}

// A new folder for the benchmark's files under /var/tmp (a disk, not a memory file system), or
// an empty path after saying why not.
inline fs::path ScratchFolder(const std::string &name) {
    std::string pattern = "/var/tmp/" + name + "-XXXXXX";
    if (!mkdtemp(pattern.data())) {
        std::perror("mkdtemp");
        return {};
    }
    return pattern;
}

// Copies of the files with that extension in `from` (in name order, over again as often as
// needed) into `folder` until there are `count`: their paths.
inline std::vector<std::string> CopiesOf(const fs::path &from, const std::string &extension, const fs::path &folder,
                                         size_t count) {
    std::vector<fs::path> originals;
    for (const auto &e : fs::directory_iterator(from))
        if (e.path().extension() == extension) originals.push_back(e.path());
    std::sort(originals.begin(), originals.end());
    std::vector<std::string> copies;
    for (size_t k = 0; copies.size() < count && !originals.empty(); ++k) {
        const fs::path to = folder / ("copy " + std::to_string(k) + extension);
        fs::copy_file(originals[k % originals.size()], to);
        copies.push_back(to.string());
    }
    return copies;
}

inline fmx::DataUniquePtr TextData(const std::string &utf8) {
    fmx::DataUniquePtr d;
    fmx::TextUniquePtr t;
    t->Assign(utf8.c_str(), fmx::Text::kEncoding_UTF8);
    fmx::LocaleUniquePtr locale;
    d->SetAsText(*t, *locale);
    return d;
}

// The parameters of one call, made before the timing starts: building them is the host's work.
inline std::unique_ptr<fmx::DataVectUniquePtr> Parameters(const std::vector<std::string> &values) {
    auto vect = std::make_unique<fmx::DataVectUniquePtr>();
    for (const std::string &v : values) (*vect)->PushBack(*TextData(v));
    return vect;
}

// True for a function's error answer ("$$-43").
inline bool IsError(const fmx::Data &result) {
    const fmx::Text &text = result.GetAsText();
    fmx::uint16 head[2] = {};
    if (text.GetSize() >= 2) text.GetUnicode(head, 0, 2);
    return head[0] == '$' && head[1] == '$';
}

// Calls a function by name with text parameters; its answer as UTF-8.
inline std::string Answer(const char *function, const std::vector<std::string> &values) {
    const auto parameters = Parameters(values);
    fmx::DataUniquePtr result;
    zhost::CallFunction(zhost::FromUtf8(function), **parameters, *result);
    const fmx::Text &text = result->GetAsText();
    std::u16string units(text.GetSize(), u'\0');
    if (!units.empty()) text.GetUnicode(reinterpret_cast<fmx::uint16 *>(units.data()), 0, fmx::uint32(units.size()));
    return zhost::ToUtf8(units);
}

// One line of the comparison: both times in the unit (seconds times `scale`), and the ratio ours /
// theirs (below 1: ours is faster).
inline void Report(const char *what, double ours, const char *theirName, double theirs, const char *unit,
                   double scale) {
    std::printf("%s: ours %.2f %s, %s %.2f %s, ratio %.2fx\n", what, ours * scale, unit, theirName, theirs * scale,
                unit, ours / theirs);
    std::fflush(stdout);
}

}  // namespace zerbbench

#endif
