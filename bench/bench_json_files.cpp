// The JSON file functions through the loaded plug-in, against what they stand in for:
//   FileInfoJSON     per call over N files (a third with Finder information), against statx and
//                    lgetxattr of the Finder information made directly on the same files
//   ListFolderJSON   "-Recursive -Info" over a tree (default /usr), against
//                    find TREE -printf '%p %s %T@ %m %u %g %i\n' >/dev/null
// Each measurement is the best of a few runs, with the tree read once before so that both meet
// the same warm caches. Not a test: the printed ratios (ours / theirs in time: below 1 means ours
// is faster) are what to compare.
//
// zerb_bench_json_files [--files N] [--tree PATH] [--runs N]   (--files 0 skips FileInfoJSON)
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
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

fmx::DataUniquePtr TextData(const std::string &utf8) {
    fmx::DataUniquePtr d;
    fmx::TextUniquePtr t;
    t->Assign(utf8.c_str(), fmx::Text::kEncoding_UTF8);
    fmx::LocaleUniquePtr locale;
    d->SetAsText(*t, *locale);
    return d;
}

// The parameters of one call, made before the timing starts: building them is the host's work.
std::unique_ptr<fmx::DataVectUniquePtr> Parameters(const std::vector<std::string> &values) {
    auto vect = std::make_unique<fmx::DataVectUniquePtr>();
    for (const std::string &v : values) (*vect)->PushBack(*TextData(v));
    return vect;
}

void Report(const char *what, double ours, const char *theirName, double theirs, const char *unit, double scale) {
    std::printf("%s: ours %.2f %s, %s %.2f %s, ratio %.2fx\n", what, ours * scale, unit, theirName, theirs * scale,
                unit, ours / theirs);
    std::fflush(stdout);
}

void BenchFileInfo(size_t count, const fs::path &dir) {
    const fs::path folder = dir / "info";
    fs::create_directories(folder);
    std::vector<std::string> paths;
    for (size_t k = 0; k < count; ++k) {
        paths.push_back((folder / ("file-" + std::to_string(k) + ".txt")).string());
        std::ofstream(paths.back()) << "some data " << k;
        if (k % 3 == 0)
            (void)lsetxattr(paths.back().c_str(), "user.com.apple.FinderInfo", std::string(32, 'x').data(), 32, 0);
    }
    std::vector<std::unique_ptr<fmx::DataVectUniquePtr>> calls;
    for (const std::string &path : paths) calls.push_back(Parameters({"", path}));
    // Called by id, as a host calls a plug-in: the emulator's look-up by name is not timed.
    const int16_t id = zhost::FindFunction(u"ZbFile_FileInfoJSON")->id;
    size_t answered = 0;
    const double ours = Best([&] {
        fmx::DataUniquePtr result;
        for (const auto &call : calls) {
            zhost::CallFunctionId(id, **call, *result);
            answered += result->GetAsText().GetSize();
        }
    });
    const double bare = Best([&] {
        struct statx sx;
        char info[32];
        for (const std::string &path : paths) {
            answered += statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &sx);
            answered += size_t(lgetxattr(path.c_str(), "user.com.apple.FinderInfo", info, sizeof info));
        }
    });
    const std::string what = "FileInfoJSON per call over " + std::to_string(count) + " files";
    Report(what.c_str(), ours / double(count), "statx+lgetxattr", bare / double(count), "us", 1e6);
    if (answered == 0) std::printf("(nothing answered)\n");
}

void BenchListing(const std::string &tree) {
    const auto call = Parameters({"-Recursive -Info showinvisibles showaliases", tree});
    const int16_t id = zhost::FindFunction(u"ZbFile_ListFolderJSON")->id;
    const std::string find = "find '" + tree + "' -printf '%p %s %T@ %m %u %g %i\\n' >/dev/null";
    if (std::system(find.c_str()) != 0) std::fprintf(stderr, "find reported errors (timed all the same)\n");
    size_t bytes = 0;
    const double ours = Best([&] {
        fmx::DataUniquePtr result;
        zhost::CallFunctionId(id, **call, *result);
        bytes = result->GetAsText().GetSize();
    });
    const double theirs = Best([&] {
        if (std::system(find.c_str()) < 0) std::abort();
    });
    const std::string what = "ListFolderJSON -Recursive -Info over " + tree + " (" + std::to_string(bytes / 1000000) +
                             " M characters)";
    Report(what.c_str(), ours, "find -printf", theirs, "s", 1);
}

}  // namespace

int main(int argc, char **argv) {
    size_t files = 10000;
    std::string tree = "/usr";
    for (int a = 1; a + 1 < argc; a += 2) {
        const std::string option = argv[a];
        if (option == "--files") files = std::strtoul(argv[a + 1], nullptr, 10);
        else if (option == "--tree") tree = argv[a + 1];
        else if (option == "--runs") gRuns = std::max(1, std::atoi(argv[a + 1]));
        else {
            std::fprintf(stderr, "usage: zerb_bench_json_files [--files N] [--tree PATH] [--runs N]\n");
            return 2;
        }
    }
    std::string error;
    const auto plugin = zhost::Plugin::Load(ZERB_PLUGIN_PATH, kCurrentExtnVersion, error);
    if (!plugin) {
        std::fprintf(stderr, "cannot load the plug-in: %s\n", error.c_str());
        return 1;
    }
    char pattern[] = "/var/tmp/zerb-bench-json-XXXXXX";  // a disk, not a memory file system
    if (!mkdtemp(pattern)) {
        std::perror("mkdtemp");
        return 1;
    }
    const fs::path dir = pattern;
    if (files) BenchFileInfo(files, dir);
    fs::remove_all(dir);
    if (!tree.empty()) BenchListing(tree);
    return 0;
}
