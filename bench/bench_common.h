// What the benchmarks that run the plug-in share: loading it into the host emulator, calling its
// functions with text parameters, timing (the best of a few runs), running the tools ours are
// measured against, and the folders they work in.
#ifndef ZERB_BENCH_BENCH_COMMON_H
#define ZERB_BENCH_BENCH_COMMON_H

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/host_api.h"
#include "host/objects.h"
#include "fmx/fmx.h"
#include "tests/host_text_util.h"

namespace zerbbench {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using zerbtest::TextData;

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

// The first word a command prints (the digest, for the checksum tools).
inline std::string FirstWord(const std::string &command) {
    std::string text;
    if (FILE *out = popen(command.c_str(), "r")) {
        char buffer[512];
        for (size_t n; (n = fread(buffer, 1, sizeof buffer, out)) > 0;) text.append(buffer, n);
        pclose(out);
    }
    return text.substr(0, text.find_first_of(" \n"));
}

// True when every program named (separated by spaces) is on the PATH.
inline bool HasPrograms(const std::string &names) {
    return std::system(("for p in " + names + "; do command -v \"$p\" >/dev/null || exit 1; done").c_str()) == 0;
}

#ifdef ZERB_PLUGIN_PATH  // the benchmarks that run the built plug-in (zerb_bench links its code instead)
// The built plug-in loaded into the emulator, or nothing after saying why not.
inline std::unique_ptr<zhost::Plugin> LoadPlugin() {
    std::string error;
    auto plugin = zhost::Plugin::Load(ZERB_PLUGIN_PATH, kCurrentExtnVersion, error);
    if (!plugin) std::fprintf(stderr, "cannot load the plug-in: %s\n", error.c_str());
    return plugin;
}
#endif

// A new folder for the benchmark's files under /var/tmp (a disk, not a memory file system), or
// under $ZERB_BENCH_SCRATCH when set (scripts/bench.sh points it at a folder it removes however
// the run ends, so that no gigabyte file outlives an interrupted benchmark); an empty path after
// saying why not.
inline fs::path ScratchFolder(const std::string &name) {
    const char *parent = std::getenv("ZERB_BENCH_SCRATCH");
    std::string pattern = std::string(parent && *parent ? parent : "/var/tmp") + "/" + name + "-XXXXXX";
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

// Calls a function by name with parameters made beforehand; its answer as UTF-8.
inline std::string Answer(const char *function, const fmx::DataVect &parameters) {
    fmx::DataUniquePtr result;
    zhost::CallFunction(zhost::FromUtf8(function), parameters, *result);
    return zerbtest::TextOf(*result);
}

// Calls a function by name with text parameters; its answer as UTF-8.
inline std::string Answer(const char *function, const std::vector<std::string> &values) {
    return Answer(function, **Parameters(values));
}

// `count` small files in a new folder "info" in `dir`, every third with Finder information (so
// that reading it is part of the work): their paths.
inline std::vector<std::string> InfoFiles(const fs::path &dir, size_t count) {
    const fs::path folder = dir / "info";
    fs::create_directories(folder);
    std::vector<std::string> paths;
    for (size_t k = 0; k < count; ++k) {
        paths.push_back((folder / ("file-" + std::to_string(k) + ".txt")).string());
        std::ofstream(paths.back()) << "some data " << k;
        if (k % 3 == 0)
            (void)lsetxattr(paths.back().c_str(), "user.com.apple.FinderInfo", std::string(32, 'x').data(), 32, 0);
    }
    return paths;
}

// The parameters of one call per path, each (switches, path), made before the timing starts.
using Calls = std::vector<std::unique_ptr<fmx::DataVectUniquePtr>>;
inline Calls CallsOver(const std::string &switches, const std::vector<std::string> &paths) {
    Calls calls;
    for (const std::string &path : paths) calls.push_back(Parameters({switches, path}));
    return calls;
}

// A function's id, looked up before the timing starts: calls by id are made as a host makes them,
// so the emulator's look-up by name is not timed.
inline int16_t FunctionId(const char *function) { return zhost::FindFunction(zhost::FromUtf8(function))->id; }

// Makes each call of the function with that id; answers how many characters the answers had, so
// that the work cannot be left out.
inline size_t CallEach(int16_t id, const Calls &calls) {
    size_t answered = 0;
    fmx::DataUniquePtr result;
    for (const auto &call : calls) {
        zhost::CallFunctionId(id, **call, *result);
        answered += result->GetAsText().GetSize();
    }
    return answered;
}

// What a file function that answers an item's facts cannot do with less: statx of each path and,
// when an attribute is named, lgetxattr of it (32 bytes at most). Answers a sum of the results.
inline size_t StatEach(const std::vector<std::string> &paths, const char *attribute) {
    struct statx sx;
    char value[32];
    size_t answered = 0;
    for (const std::string &path : paths) {
        answered += statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &sx);
        if (attribute) answered += size_t(lgetxattr(path.c_str(), attribute, value, sizeof value));
    }
    return answered;
}

// One line of the comparison: both times in the unit (seconds times `scale`, with `decimals`
// digits after the point), and the ratio ours / theirs (below 1: ours is faster).
inline void Report(const char *what, double ours, const char *theirName, double theirs, const char *unit,
                   double scale, int decimals = 2) {
    std::printf("%s: ours %.*f %s, %s %.*f %s, ratio %.2fx\n", what, decimals, ours * scale, unit, theirName, decimals,
                theirs * scale, unit, ours / theirs);
    std::fflush(stdout);
}

}  // namespace zerbbench

#endif
