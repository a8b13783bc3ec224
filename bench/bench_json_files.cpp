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
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/bench_common.h"

using namespace zerbbench;

namespace {

void BenchFileInfo(size_t count, const fs::path &dir) {
    const std::vector<std::string> paths = InfoFiles(dir, count);
    const Calls calls = CallsOver("", paths);
    const int16_t id = FunctionId("ZbFile_FileInfoJSON");
    size_t answered = 0;
    const double ours = Best([&] { answered += CallEach(id, calls); });
    const double bare = Best([&] { answered += StatEach(paths, "user.com.apple.FinderInfo"); });
    const std::string what = "FileInfoJSON per call over " + std::to_string(count) + " files";
    Report(what.c_str(), ours / double(count), "statx+lgetxattr", bare / double(count), "us", 1e6);
    if (answered == 0) std::printf("(nothing answered)\n");
}

void BenchListing(const std::string &tree) {
    const auto call = Parameters({"-Recursive -Info showinvisibles showaliases", tree});
    const int16_t id = FunctionId("ZbFile_ListFolderJSON");
    const std::string find = "find '" + tree + "' -printf '%p %s %T@ %m %u %g %i\\n'";
    // Once before the timing, so that both meet warm caches, and to say whether find met errors
    // (the timed runs leave its messages out).
    if (std::system((find + " >/dev/null").c_str()) != 0) std::fprintf(stderr, "find reported errors (timed all the same)\n");
    size_t bytes = 0;
    const double ours = Best([&] {
        fmx::DataUniquePtr result;
        zhost::CallFunctionId(id, **call, *result);
        bytes = result->GetAsText().GetSize();
    });
    const double theirs = Best([&] { RunTool(find); });
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
    const auto plugin = LoadPlugin();
    if (!plugin) return 1;
    const fs::path dir = ScratchFolder("zerb-bench-json");
    if (dir.empty()) return 1;
    if (files) BenchFileInfo(files, dir);
    fs::remove_all(dir);
    if (!tree.empty()) BenchListing(tree);
    return 0;
}
