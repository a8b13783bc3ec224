// File functions against the system calls and tools they stand in for, in one run:
//   file information   Exists, GetFileSize and GetFileAttribute("-hiddenAttr") over 10,000 files
//                      through the loaded plug-in, against statx and lgetxattr on the same files
//   copy               CopyFile of a 1 GiB file against cp
//   tree copy, delete  CopyFolder of 10,000 small files against cp -a, DeleteFolder of the copy
//                      against rm -rf
//   contents           Substitute of a common word in a 1 GiB text (copies of the licenses in
//                      /usr/share/common-licenses) against sed -i and against cp of the same file;
//                      GetContents of 200 MB against cat into a pipe; the peak memory of fmxhost
//                      running Substitute on 100 MB and on 1 GiB
//   listing, search    ListFolder of a folder of 100,000 files against ls -1 and ls -1 -f; Search
//                      for a name fragment and for an exact name over a volume of about 200,000
//                      entries (a tmpfs mounted in a private mount namespace, so root only)
//                      against find -iname and fdfind -HI
//   metadata           MetaData of IPTC, EXIF, XMP and comments over a few hundred camera JPEGs (the
//                      goexif samples Debian ships, copied) against exiv2 -pa and exiftool -fast, one
//                      process each over all the files
//   thumbnails         CreateThumbnail at 80 pixels of ten 6000x4000 JPEGs against vipsthumbnail and
//                      ImageMagick's convert -thumbnail, with each one's peak memory.
// Each measurement is the best of a few runs. Not a test: the numbers depend on the machine; the
// printed ratios (ours / theirs in time: below 1 means ours is faster) are what to compare.
//
// zerb_bench_files [--files N] [--copy-mb N] [--tree N] [--text-mb N] [--list N] [--search N] [--images N]
// [--runs N]
// (0 skips a part)
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bench/bench_common.h"

using namespace zerbbench;

namespace {

void BenchFileInfo(size_t count, const fs::path &dir) {
    const std::vector<std::string> paths = InfoFiles(dir, count);
    struct Function {
        const char *name;
        const char *switches;
        const char *attribute;  // the extended attribute it reads besides the item's facts, if any
    } functions[] = {{"ZbFile_Exists", "", nullptr},
                     {"ZbFile_GetFileSize", "", "user.com.apple.ResourceFork"},
                     {"ZbFile_GetFileAttribute", "-hiddenAttr", "user.com.apple.FinderInfo"}};
    for (const Function &f : functions) {
        const Calls calls = CallsOver(f.switches, paths);
        const int16_t id = FunctionId(f.name);
        size_t answered = 0;
        const double ours = Best([&] { answered += CallEach(id, calls); });
        const double bare = Best([&] { answered += StatEach(paths, f.attribute); });
        const std::string what = std::string(f.name) + " per call over " + std::to_string(count) + " files";
        Report(what.c_str(), ours / double(count), f.attribute ? "statx+lgetxattr" : "statx", bare / double(count),
               "us", 1e6);
        if (answered == 0) std::printf("(nothing answered)\n");
    }
}

void BenchCopy(size_t megabytes, const fs::path &dir) {
    const fs::path source = dir / "big.bin";
    Shell("head -c " + std::to_string(megabytes << 20) + " /dev/urandom >'" + source.string() + "'");
    const fs::path ours = dir / "ours.bin", theirs = dir / "theirs.bin";
    const double oursTime = Best(
        [&] {
            if (Answer("ZbFile_CopyFile", {"", source.string(), ours.string()}) != "0") std::abort();
        },
        [&] { fs::remove(ours); });
    const double theirTime = Best([&] { Shell("cp '" + source.string() + "' '" + theirs.string() + "'"); },
                                  [&] { fs::remove(theirs); });
    Report(("CopyFile of " + std::to_string(megabytes) + " MiB").c_str(), oursTime, "cp", theirTime, "s", 1);
    fs::remove(source);
    fs::remove(ours);
    fs::remove(theirs);
}

void BenchTree(size_t files, const fs::path &dir) {
    const fs::path tree = dir / "tree";
    for (size_t k = 0; k < files; ++k) {
        const fs::path folder = tree / ("d" + std::to_string(k / 100)) / ("e" + std::to_string(k % 7));
        fs::create_directories(folder);
        std::ofstream(folder / ("f" + std::to_string(k))) << "small file " << k;
    }
    Answer("ZbFile_Version", {"-RegisterCopyFolderFunction"});
    const fs::path ours = dir / "ours", theirs = dir / "theirs";
    const double copyOurs = Best(
        [&] {
            if (Answer("ZbFile_CopyFolder", {"", tree.string(), ours.string()}) != "0") std::abort();
        },
        [&] { fs::remove_all(ours); });
    const double copyTheirs = Best([&] { Shell("cp -a '" + tree.string() + "' '" + theirs.string() + "'"); },
                                   [&] { fs::remove_all(theirs); });
    const std::string label = std::to_string(files) + " small files";
    Report(("CopyFolder of " + label).c_str(), copyOurs, "cp -a", copyTheirs, "s", 1);
    const double deleteOurs = Best(
        [&] {
            if (Answer("ZbFile_DeleteFolder", {"-deleteAllSubFoldersAndAllContents noWarning", ours.string()}) != "0")
                std::abort();
        },
        [&] { Shell("rm -rf '" + ours.string() + "' && cp -a '" + tree.string() + "' '" + ours.string() + "'"); });
    const double deleteTheirs = Best([&] { Shell("rm -rf '" + theirs.string() + "'"); },
                                     [&] { Shell("cp -a '" + tree.string() + "' '" + theirs.string() + "'"); });
    Report(("DeleteFolder of " + label).c_str(), deleteOurs, "rm -rf", deleteTheirs, "s", 1);
}

// A text file of `megabytes` made of the licenses Debian ships, over and over.
void MakeText(const fs::path &path, size_t megabytes) {
    std::string licenses;
    for (const auto &e : fs::directory_iterator("/usr/share/common-licenses")) {
        if (!e.is_regular_file()) continue;
        std::ifstream in(e.path(), std::ios::binary);
        licenses.append(std::istreambuf_iterator<char>(in), {});
    }
    if (licenses.empty()) licenses = "the text of the license and the terms of the licence\n";
    std::ofstream out(path, std::ios::binary);
    for (size_t written = 0; written < (megabytes << 20); written += licenses.size()) out << licenses;
}

// Peak resident memory, in MB, of fmxhost evaluating one calculation.
double PeakMemory(const std::string &calculation) {
    const std::string fmxhost = (fs::path(ZERB_PLUGIN_PATH).parent_path() / "fmxhost").string();
    const pid_t pid = fork();
    if (pid == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        execl(fmxhost.c_str(), "fmxhost", "--plugin", ZERB_PLUGIN_PATH, calculation.c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    struct rusage usage {};
    wait4(pid, &status, 0, &usage);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "fmxhost did not run: %s\n", fmxhost.c_str());
        std::exit(1);
    }
    return double(usage.ru_maxrss) / 1024;
}

void BenchContents(size_t megabytes, const fs::path &dir) {
    const fs::path text = dir / "text.txt", work = dir / "work.txt";
    MakeText(text, megabytes);
    // Each timed run starts with nothing left to write back, so that one run's dirty pages do
    // not slow the next (the file itself stays in the cache).
    const auto fresh = [&] {
        fs::copy_file(text, work, fs::copy_options::overwrite_existing);
        sync();
    };
    const double ours = Best(
        [&] {
            if (Answer("ZbFile_Substitute", {"", work.string(), "", "the", "THE"}) != "0") std::abort();
        },
        fresh);
    const double sed = Best([&] { Shell("sed -i 's/the/THE/g' '" + work.string() + "'"); }, fresh);
    const double cp = Best([&] { Shell("cp '" + text.string() + "' '" + work.string() + "'"); },
                           [&] {
                               fs::remove(work);
                               sync();
                           });
    const std::string label = "Substitute of \"the\" in " + std::to_string(megabytes) + " MiB of text";
    Report(label.c_str(), ours, "sed -i", sed, "s", 1);
    Report(label.c_str(), ours, "cp", cp, "s", 1);

    const fs::path part = dir / "part.txt";
    Shell("head -c 200000000 '" + text.string() + "' >'" + part.string() + "'");
    size_t got = 0;
    const auto read = Parameters({"-Encoding=UTF8", part.string()});
    const double get = Best([&] {
        fmx::DataUniquePtr result;
        zhost::CallFunction(u"ZbFile_GetContents", **read, *result);
        got = result->GetAsText().GetSize();
    });
    const double cat = Best([&] { Shell("cat '" + part.string() + "' | cat >/dev/null"); });
    Report("GetContents of 200 MB", get, "cat into a pipe", cat, "s", 1);
    if (got == 0) std::printf("(nothing read)\n");

    const fs::path small = dir / "small.txt";
    Shell("head -c 104857600 '" + text.string() + "' >'" + small.string() + "'");
    const auto calculation = [](const fs::path &p) {
        return "ZbFile_Substitute(\"\";\"" + p.string() + "\";\"\";\"the\";\"THE\")";
    };
    fresh();
    std::printf("Substitute peak memory of fmxhost: %.1f MB on 100 MiB, %.1f MB on %zu MiB\n",
                PeakMemory(calculation(small)), PeakMemory(calculation(work)), megabytes);
    std::fflush(stdout);
}


// Calls a function and throws its answer away; aborts on an error answer.
void Expect(const char *function, const std::vector<std::string> &values, size_t minimumLength) {
    const auto parameters = Parameters(values);
    fmx::DataUniquePtr result;
    zhost::CallFunction(zhost::FromUtf8(function), **parameters, *result);
    if (result->GetAsText().GetSize() < minimumLength) {
        std::fprintf(stderr, "%s answered %s\n", function, Answer(function, values).c_str());
        std::exit(1);
    }
}

void BenchListing(size_t count, const fs::path &dir) {
    const fs::path folder = dir / "list";
    fs::create_directories(folder);
    for (size_t k = 0; k < count; ++k) close(creat((folder / ("Item " + std::to_string(k * 7919 % count) + ".dat")).c_str(), 0644));
    const std::string f = folder.string();
    const double ours = Best([&] { Expect("ZbFile_ListFolder", {"files", f}, count * 9); });
    const double ls = Best([&] { Shell("ls -1 '" + f + "' >/dev/null"); });
    const double unsorted = Best([&] { Shell("ls -1 -f '" + f + "' >/dev/null"); });
    const std::string label = "ListFolder of " + std::to_string(count) + " files";
    Report(label.c_str(), ours, "ls -1", ls, "s", 1);
    Report(label.c_str(), ours, "ls -1 -f", unsorted, "s", 1);
    // With both switches no file's Finder flags can change the answer, so none is read: the cost
    // of the listing itself.
    const double all = Best([&] { Expect("ZbFile_ListFolder", {"files showinvisibles showaliases", f}, count * 9); });
    Report((label + ", no Finder flags read").c_str(), all, "ls -1", ls, "s", 1);
    fs::remove_all(folder);
}

// A volume of about `count` entries: folders of 100 files three levels deep, on a tmpfs at
// /mnt/ZerbBench in a mount namespace of this process's own, made before the plug-in first reads
// the mount table. Answers how many entries it made, 0 when the machine refuses.
size_t MakeSearchVolume(size_t count) {
    if (geteuid() != 0 || unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/mnt", "tmpfs", 0, nullptr) != 0 || mkdir("/mnt/ZerbBench", 0755) != 0 ||
        mount("tmpfs", "/mnt/ZerbBench", "tmpfs", 0, nullptr) != 0)
        return 0;
    size_t made = 0;
    for (size_t a = 0; made < count; ++a)
        for (size_t b = 0; b < 20 && made < count; ++b) {
            const std::string folder = "/mnt/ZerbBench/project " + std::to_string(a) + "/batch " + std::to_string(b);
            fs::create_directories(folder);
            made += 2;
            for (size_t k = 0; k < 100 && made < count; ++k, ++made)
                close(creat((folder + "/Report " + std::to_string(a * 100000 + b * 100 + k) + ".txt").c_str(), 0644));
        }
    return made;
}

void BenchSearch(size_t made) {
    if (made == 0) {
        std::printf("Search: skipped (a test volume needs root and a private mount namespace)\n");
        return;
    }
    const std::string volume = "/mnt/ZerbBench";
    const std::string exact = "Report 1234567.txt";
    close(creat((volume + "/project 3/batch 4/" + exact).c_str(), 0644));
    const auto compare = [&](const std::string &what, const std::string &name, bool exactName, const std::string &findArgs,
                             const std::string &fdArgs) {
        const double ours = Best([&] {
            Expect("ZbFile_Search", {exactName ? "files exactname" : "files", "ZerbBench", name}, name.size());
        });
        const double find = Best([&] { Shell("find " + volume + " " + findArgs + " >/dev/null"); });
        const std::string label = "Search for " + what + " over " + std::to_string(made) + " entries";
        Report(label.c_str(), ours, "find -iname", find, "s", 1);
        if (HasPrograms("fdfind")) {
            const double fd = Best([&] { Shell("fdfind -HI " + fdArgs + " . " + volume + " >/dev/null"); });
            Report(label.c_str(), ours, "fdfind -HI", fd, "s", 1);
        } else {
            std::printf("%s: fdfind is not installed (Debian's fd-find)\n", label.c_str());
        }
    };
    compare("a fragment", "t 12345", false, "-iname '*t 12345*'", "-F 't 12345'");
    compare("an exact name", exact, true, "-iname '" + exact + "'", "-g '" + exact + "'");
    umount2("/mnt/ZerbBench", MNT_DETACH);
}

void BenchMetaData(size_t count, const fs::path &dir) {
    const fs::path samples = "/usr/share/gocode/src/github.com/rwcarlsen/goexif/exif/samples";
    if (!fs::exists(samples) || !HasPrograms("exiv2 exiftool")) {
        std::printf("MetaData: skipped (needs golang-github-rwcarlsen-goexif-dev, exiv2 and libimage-exiftool-perl)\n");
        return;
    }
    const fs::path folder = dir / "meta";
    fs::create_directories(folder);
    const std::vector<std::string> files = CopiesOf(samples, ".jpg", folder, count);
    std::vector<std::unique_ptr<fmx::DataVectUniquePtr>> calls;
    for (const std::string &f : files) calls.push_back(Parameters({"GetIPTC GetExif GetXMP GetJPEGComment", f}));
    const double ours = Best([&] {
        for (const auto &parameters : calls) {
            fmx::DataUniquePtr result;
            zhost::CallFunction(u"ZbFile_MetaData", **parameters, *result);
        }
    });
    const std::string all = "'" + folder.string() + "'/*.jpg";
    const double exiv2 = Best([&] { RunTool("exiv2 -pa " + all); });
    const double exiftool = Best([&] { RunTool("exiftool -fast " + all); });
    const std::string label = "MetaData of " + std::to_string(files.size()) + " JPEGs";
    Report(label.c_str(), ours, "exiv2 -pa", exiv2, "ms", 1000);
    Report(label.c_str(), ours, "exiftool -fast", exiftool, "ms", 1000);
    fs::remove_all(folder);
}

// Peak resident memory, in MB, of a command run through the shell (which it replaces).
double PeakMemoryOfCommand(const std::string &command) {
    const pid_t pid = fork();
    if (pid == 0) {
        execl("/bin/sh", "sh", "-c", ("exec " + command + " >/dev/null 2>&1").c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    struct rusage usage {};
    wait4(pid, &status, 0, &usage);
    return double(usage.ru_maxrss) / 1024;
}

void BenchThumbnails(size_t count, const fs::path &dir) {
    const fs::path photo = "/usr/share/gocode/src/github.com/disintegration/imaging/testdata/branches.jpg";
    if (!fs::exists(photo) || !HasPrograms("vipsthumbnail convert")) {
        std::printf("Thumbnails: skipped (needs golang-github-disintegration-imaging-dev, libvips-tools and imagemagick)\n");
        return;
    }
    const fs::path folder = dir / "photos";
    fs::create_directories(folder);
    // A 24-megapixel photo: the imaging package's sample enlarged, with grain so it compresses
    // as a camera's picture does.
    Shell("convert '" + photo.string() + "' -resize 6000x4000! -attenuate 0.5 +noise Gaussian -quality 92 '" +
          (folder / "photo0.jpg").string() + "'");
    std::vector<std::string> files;
    for (size_t k = 0; k < count; ++k) {
        const fs::path to = folder / ("photo" + std::to_string(k) + ".jpg");
        if (k) fs::copy_file(folder / "photo0.jpg", to);
        files.push_back(to.string());
    }
    std::vector<std::unique_ptr<fmx::DataVectUniquePtr>> calls;
    for (const std::string &f : files) calls.push_back(Parameters({"", f}));
    const double ours = Best([&] {
        for (const auto &parameters : calls) {
            fmx::DataUniquePtr result;
            zhost::CallFunction(u"ZbFile_CreateThumbnail", **parameters, *result);
            if (result->GetNativeType() != fmx::Data::kDTBinary) {
                std::fprintf(stderr, "CreateThumbnail failed\n");
                std::exit(1);
            }
        }
    });
    std::string all;
    for (const std::string &f : files) all += " '" + f + "'";
    const double vips = Best([&] { Shell("vipsthumbnail -s 80 -o 'vips_%s.jpg'" + all); });
    const double magick = Best([&] {
        Shell("for f in" + all + "; do convert \"$f\" -thumbnail 80x80 \"${f%.jpg}_im.jpg\"; done");
    });
    const std::string label = "CreateThumbnail 80 px of " + std::to_string(count) + " 6000x4000 JPEGs";
    Report(label.c_str(), ours, "vipsthumbnail", vips, "ms", 1000);
    Report(label.c_str(), ours, "convert -thumbnail", magick, "ms", 1000);
    std::printf("  peak memory for one photo: ours %.1f MB, vipsthumbnail %.1f MB, convert %.1f MB\n",
                PeakMemory("ZbFile_CreateThumbnail( \"\" ; \"" + files[0] + "\" )"),
                PeakMemoryOfCommand("vipsthumbnail -s 80 -o 'vips_%s.jpg' '" + files[0] + "'"),
                PeakMemoryOfCommand("convert '" + files[0] + "' -thumbnail 80x80 '" + files[0] + "_im.jpg'"));
    fs::remove_all(folder);
}

}  // namespace

int main(int argc, char **argv) {
    size_t files = 10000, copyMB = 1024, treeFiles = 10000, textMB = 1024, listFiles = 100000, searchEntries = 200000, images = 300, thumbnails = 10;
    for (int a = 1; a + 1 < argc; a += 2) {
        const std::string option = argv[a];
        const size_t value = std::strtoul(argv[a + 1], nullptr, 10);
        if (option == "--files") files = value;
        else if (option == "--copy-mb") copyMB = value;
        else if (option == "--tree") treeFiles = value;
        else if (option == "--text-mb") textMB = value;
        else if (option == "--list") listFiles = value;
        else if (option == "--search") searchEntries = value;
        else if (option == "--images") images = value;
        else if (option == "--thumbnails") thumbnails = value;
        else if (option == "--runs") gRuns = int(std::max<size_t>(value, 1));
        else {
            std::fprintf(stderr, "usage: zerb_bench_files [--files N] [--copy-mb N] [--tree N] [--text-mb N] [--list N] "
                                 "[--search N] [--images N] [--thumbnails N] [--runs N]\n");
            return 2;
        }
    }
    const size_t searchVolume = searchEntries ? MakeSearchVolume(searchEntries) : 0;
    const auto plugin = LoadPlugin();
    if (!plugin) return 1;
    const fs::path dir = ScratchFolder("zerb-bench");
    if (dir.empty()) return 1;
    if (files) BenchFileInfo(files, dir);
    if (copyMB) BenchCopy(copyMB, dir);
    if (treeFiles) BenchTree(treeFiles, dir);
    if (textMB) BenchContents(textMB, dir);
    if (listFiles) BenchListing(listFiles, dir);
    if (images) BenchMetaData(images, dir);
    if (thumbnails) BenchThumbnails(thumbnails, dir);
    fs::remove_all(dir);
    if (searchEntries) BenchSearch(searchVolume);
    return 0;
}
