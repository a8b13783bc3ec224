// MetaDataJSON over camera JPEGs (the goexif samples Debian ships, copied until there are --images
// files, 325 by default) through the loaded plug-in, in one process, against the tools that
// answer the same in one process each over all the files: exiftool -j -n (goal: 20 times slower
// than ours) and exiv2 -pa (goal: slower than ours). Also MetaData's text answer over the same
// files, for comparison. Each measurement is the best of a few runs; the ratio is ours / theirs in
// time, so below 1 means ours is faster. Not a test: the numbers depend on the machine.
//
// zerb_bench_metadata_json [--images N] [--runs N]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_common.h"

using namespace zerbbench;

namespace {

// Ours against one of theirs, with the goal set for the ratio.
void ReportAgainstGoal(const std::string &what, double ours, const char *theirName, double theirs, double goal) {
    std::printf("%s: ours %.2f ms, %s %.2f ms, ratio %.3fx (%.1f times faster; goal %.0f times)\n", what.c_str(),
                ours * 1000, theirName, theirs * 1000, ours / theirs, theirs / ours, goal);
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char **argv) {
    size_t count = 325;
    for (int a = 1; a + 1 < argc; a += 2) {
        const std::string option = argv[a];
        const size_t value = std::strtoul(argv[a + 1], nullptr, 10);
        if (option == "--images")
            count = std::max<size_t>(value, 1);
        else if (option == "--runs")
            gRuns = int(std::max<size_t>(value, 1));
        else {
            std::fprintf(stderr, "usage: zerb_bench_metadata_json [--images N] [--runs N]\n");
            return 2;
        }
    }
    const fs::path samples = "/usr/share/gocode/src/github.com/rwcarlsen/goexif/exif/samples";
    if (!fs::exists(samples) || !HasPrograms("exiv2 exiftool")) {
        std::printf("MetaDataJSON: skipped (needs golang-github-rwcarlsen-goexif-dev, exiv2 and libimage-exiftool-perl)\n");
        return 0;
    }
    const auto plugin = LoadPlugin();
    if (!plugin) return 1;
    const fs::path folder = ScratchFolder("zerb-bench-metajson");
    if (folder.empty()) return 1;
    const std::vector<std::string> files = CopiesOf(samples, ".jpg", folder, count);
    const auto timeCalls = [&](const char16_t *function, const std::string &switches) {
        std::vector<std::unique_ptr<fmx::DataVectUniquePtr>> calls;
        for (const std::string &f : files) calls.push_back(Parameters({switches, f}));
        size_t failed = 0;
        const double t = Best([&] {
            failed = 0;
            for (const auto &parameters : calls) {
                fmx::DataUniquePtr result;
                zhost::CallFunction(function, **parameters, *result);
                failed += IsError(*result);
            }
        });
        if (failed)
            std::printf("  (%s: %zu of %zu calls answered an error)\n",
                        switches.empty() ? "MetaDataJSON" : "MetaData", failed, files.size());
        return t;
    };
    const double ours = timeCalls(u"ZbFile_MetaDataJSON", "");
    const double text = timeCalls(u"ZbFile_MetaData", "GetIPTC GetExif GetXMP GetJPEGComment");
    const std::string all = "'" + folder.string() + "'/*.jpg";
    const double exiftool = Best([&] { RunTool("exiftool -j -n " + all); });
    const double exiv2 = Best([&] { RunTool("exiv2 -pa " + all); });
    const std::string label = "MetaDataJSON of " + std::to_string(files.size()) + " JPEGs";
    ReportAgainstGoal(label, ours, "exiftool -j -n", exiftool, 20);
    ReportAgainstGoal(label, ours, "exiv2 -pa", exiv2, 1);
    std::printf("%s: MetaData's text answer of the same files %.2f ms\n", label.c_str(), text * 1000);
    fs::remove_all(folder);
    return 0;
}
