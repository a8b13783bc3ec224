// Throughput of the text codecs against reference tools, on the same data in one run:
//   base64 encode and decode   ours against the base64 command (GNU coreutils) on a temp file
//   line ends, mode 9          XP7_ChangeLineEndsTxt against a plain copy of the same host text
//   UTF-8 decode               XP7_UTF8TxtToTxt and ZbUTF8BytesToUnits against iconv to UTF-16LE
//   paths                      a path text resolved to a reference and printed back as a colon path,
//                              against realpath(3) on the same paths
// Each measurement is the best of a few runs, timed with the same steady clock. Not a test: the
// numbers depend on the machine; the printed ratios are what to compare.
//
// zerb_bench [--base64-mb N] [--lines-mb N] [--utf8-mb N] [--paths N] [--runs N]
#include <iconv.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "filecore/paths.h"
#include "platform/volumes.h"
#include "fmx/fmx.h"
#include "bench/bench_common.h"
#include "core/globals.h"
#include "text/charsets.h"
#include "text/codecs.h"
#include "text/encoding.h"
#include "text/line_ends.h"

namespace {

using zerbbench::Best;
using zerbbench::Clock;
using zerbbench::gRuns;

// A command through the shell, timed like the rest; false when it fails.
bool RunCommand(const std::string &command, double *seconds) {
    bool ok = true;
    *seconds = Best([&] { ok = std::system(command.c_str()) == 0 && ok; });
    return ok;
}

std::string Rate(double bytes, double seconds) {
    char buf[32];
    const double rate = bytes / seconds;
    if (rate >= 1e9)
        std::snprintf(buf, sizeof buf, "%.2f GB/s", rate / 1e9);
    else
        std::snprintf(buf, sizeof buf, "%.0f MB/s", rate / 1e6);
    return buf;
}

// ours / other in throughput: above 1 means ours is faster.
void Report(const char *what, double bytes, double ours, const char *otherName, double other) {
    std::printf("%s: ours %s, %s %s, ratio %.2fx\n", what, Rate(bytes, ours).c_str(), otherName,
                Rate(bytes, other).c_str(), other / ours);
    std::fflush(stdout);
}

struct Random {
    uint64_t s = 0x9E3779B97F4A7C15ull;
    uint64_t Next() {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        return s;
    }
};

void WriteFile(const std::filesystem::path &path, const void *data, size_t n) {
    std::ofstream(path, std::ios::binary).write(static_cast<const char *>(data), std::streamsize(n));
}

std::string Quoted(const std::filesystem::path &p) { return "'" + p.string() + "'"; }

// A temporary folder for the command's files, removed with everything in it.
struct TempDir {
    std::filesystem::path path;
    TempDir() {
        char pattern[] = "/tmp/zerb-bench-XXXXXX";
        if (mkdtemp(pattern) != nullptr) path = pattern;
    }
    ~TempDir() {
        std::error_code ec;
        if (!path.empty()) std::filesystem::remove_all(path, ec);
    }
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
};

// ---- (a) base64 ----

void BenchBase64(size_t megabytes, const std::filesystem::path &dir) {
    const size_t n = megabytes << 20;
    std::vector<unsigned char> data(n);
    Random rng;
    for (size_t i = 0; i + 8 <= n; i += 8) {
        const uint64_t v = rng.Next();
        std::memcpy(&data[i], &v, 8);
    }
    const auto raw = dir / "data.bin", encoded = dir / "data.b64";
    WriteFile(raw, data.data(), n);

    // Lines of 76 characters, as the command writes them.
    const int lineLen = 76;
    std::vector<unsigned char> text(ZbBase64EncodedLength(data.data(), n, lineLen) + 1);
    unsigned long textLen = 0;
    const double oursEncode = Best([&] {
        if (XP7_Base64_EncodeBlock(data.data(), n, text.data(), text.size(), &textLen, lineLen) != 0) std::abort();
    });
    double theirsEncode = 0;
    if (!RunCommand("base64 " + Quoted(raw) + " > /dev/null", &theirsEncode) ||
        std::system(("base64 " + Quoted(raw) + " > " + Quoted(encoded)).c_str()) != 0) {
        std::printf("base64: the base64 command failed; skipped\n");
        return;
    }
    Report("base64 encode", double(n), oursEncode, "base64(1)", theirsEncode);

    std::vector<unsigned char> back(textLen / 4 * 3);
    size_t backLen = 0;
    const double oursDecode = Best([&] {
        if (ZbBase64DecodeBlock(text.data(), textLen, back.data(), back.size(), &backLen) != 0) std::abort();
    });
    if (backLen != n || std::memcmp(back.data(), data.data(), n) != 0) std::printf("base64 decode: MISMATCH\n");
    double theirsDecode = 0;
    if (!RunCommand("base64 -d " + Quoted(encoded) + " > /dev/null", &theirsDecode)) {
        std::printf("base64 decode: the base64 command failed; skipped\n");
        return;
    }
    Report("base64 decode", double(n), oursDecode, "base64(1)", theirsDecode);

    // The host-text path: the same base64 as a host text, decoded into a text of one character per
    // byte, and encoded back from that text.
    std::u16string units(text.begin(), text.begin() + long(textLen));
    fmx::TextUniquePtr src, chars, again;
    XP7_UnitsToTxt(units, src);
    const double textDecode = Best([&] {
        if (XP7_Base64TxtToTxt(src, 0, fmx::Text::kEncoding_ASCII_Mac, kZbFormChars, chars) != 0) std::abort();
    });
    Report("base64 decode, host text to host text", double(n), textDecode, "base64(1)", theirsDecode);
    const double textEncode = Best([&] {
        if (XP7_TxtToBase64Txt(chars, kZbFormChars, fmx::Text::kEncoding_ASCII_Mac, lineLen, again) != 0) std::abort();
    });
    Report("base64 encode, host text to host text", double(n), textEncode, "base64(1)", theirsEncode);
}

// ---- (b) line ends ----

void BenchLineEnds(size_t megabytes) {
    // Lines of 8 to 40 characters, ended by CR LF and LF in turn.
    const size_t n = megabytes * 1000000 / 2;  // UTF-16 units: megabytes of storage
    std::u16string units;
    units.reserve(n + 64);
    Random rng;
    size_t lines = 0;
    while (units.size() < n) {
        const size_t length = 8 + rng.Next() % 33;
        for (size_t k = 0; k < length; ++k) units.push_back(char16_t(u'a' + rng.Next() % 26));
        if (++lines % 2) units.push_back(u'\r');
        units.push_back(u'\n');
    }
    fmx::TextUniquePtr original;
    XP7_UnitsToTxt(units, original);
    const double bytes = double(units.size()) * 2;

    fmx::TextUniquePtr work;
    const double ours = Best([&] { XP7_ChangeLineEndsTxt(work, kZbLineEndsToHost); },
                             [&] { work->SetText(*original); });
    const double copy = Best([&] {
        fmx::TextUniquePtr c;
        c->SetText(*original);
    });
    const double viaUnicode = Best([&] {
        std::u16string buf(original->GetSize(), u'\0');
        original->GetUnicode(reinterpret_cast<fmx::uint16 *>(buf.data()), 0, fmx::uint32(buf.size()));
        fmx::TextUniquePtr c;
        c->AssignUnicodeWithLength(reinterpret_cast<const fmx::uint16 *>(buf.data()), fmx::uint32(buf.size()));
    });
    std::printf("line ends: %zu characters (%.0f MB), %zu line ends\n", units.size(), bytes / 1e6, lines);
    Report("line ends mode 9", bytes, ours, "plain copy (SetText)", copy);
    Report("line ends mode 9", bytes, ours, "copy via GetUnicode+AssignUnicode", viaUnicode);
}

// ---- (c) UTF-8 ----

void BenchUTF8(size_t megabytes) {
    // Mostly ASCII words, with two-, three- and four-byte characters among them.
    static const char *const kWords[] = {"file", "folder", "caf\xC3\xA9", "na\xC3\xAFve", "\xE2\x82\xAC" "42",
                                         "\xE6\x97\xA5\xE6\x9C\xAC", "\xF0\x9F\x98\x80", "\xCE\xA9mega", "path",
                                         "\xD0\x9C\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0"};
    const size_t n = megabytes << 20;
    std::string bytes;
    bytes.reserve(n + 32);
    Random rng;
    while (bytes.size() < n) {
        bytes += kWords[rng.Next() % std::size(kWords)];
        bytes += rng.Next() % 8 == 0 ? '\r' : ' ';
    }
    const auto *p = reinterpret_cast<const unsigned char *>(bytes.data());

    std::u16string units;
    const double ours = Best([&] {
        units.clear();
        ZbUTF8BytesToUnits(p, bytes.size(), units);
    });

    fmx::TextUniquePtr byteText, decoded;
    {
        // A byte text holds each byte as the character of that code.
        std::u16string widened(bytes.size(), u'\0');
        for (size_t i = 0; i < bytes.size(); ++i) widened[i] = p[i];
        XP7_UnitsToTxt(widened, byteText);
    }
    const double oursText = Best([&] { XP7_UTF8TxtToTxt(byteText, decoded); });

    iconv_t cd = iconv_open("UTF-16LE", "UTF-8");
    if (cd == iconv_t(-1)) {
        std::printf("utf-8: iconv cannot convert UTF-8 to UTF-16LE; skipped\n");
        return;
    }
    std::vector<char> out(bytes.size() * 2 + 16);
    size_t produced = 0;
    const double theirs = Best([&] {
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        char *in = bytes.data();
        size_t inLeft = bytes.size();
        char *o = out.data();
        size_t outLeft = out.size();
        if (iconv(cd, &in, &inLeft, &o, &outLeft) == size_t(-1)) std::abort();
        produced = out.size() - outLeft;
    });
    iconv_close(cd);
    if (produced != units.size() * 2 || std::memcmp(out.data(), units.data(), produced) != 0 ||
        XP7_TxtToUnits(*decoded) != units)
        std::printf("utf-8 decode: MISMATCH\n");
    Report("utf-8 decode, ZbUTF8BytesToUnits", double(bytes.size()), ours, "iconv", theirs);
    Report("utf-8 decode, XP7_UTF8TxtToTxt", double(bytes.size()), oursText, "iconv", theirs);
}

// ---- (d) paths ----

// Items six folders deep in the temporary folder; each lookup takes the next of them.
void BenchPaths(size_t lookups, const std::filesystem::path &dir) {
    gStartupDiskNameAndColon = Zb7_PlatformStartupVolumeName() + ":";
    std::vector<std::string> paths;
    for (int f = 0; f < 64; ++f) {
        const auto folder = dir / "paths" / "level one" / "level two" / ("folder " + std::to_string(f)) / "deeper";
        std::filesystem::create_directories(folder);
        for (int k = 0; k < 16; ++k) {
            const auto file = folder / ("document number " + std::to_string(k) + ".txt");
            WriteFile(file, "x", 1);
            paths.push_back(file.string());
        }
    }
    size_t sink = 0;
    const double theirs = Best([&] {
        char resolved[PATH_MAX];
        for (size_t i = 0; i < lookups; ++i)
            if (realpath(paths[i % paths.size()].c_str(), resolved)) sink += resolved[1];
    });
    const double ours = Best([&] {
        FSSpec ref;
        std::string colon;
        for (size_t i = 0; i < lookups; ++i) {
            const std::string &path = paths[i % paths.size()];
            if (ZbPi_CStrToFSpec(path, kZbPathUTF8, 255, &ref) != 0 ||
                Zb7_FSSpecToFullPathCStr(ref, colon, kZbPathBufferSize, true) != 0)
                std::abort();
            sink += colon.size();
        }
    });
    // Reference texts go through the folder table and a second parse.
    std::vector<std::string> references;
    for (const auto &path : paths) {
        FSSpec ref;
        (void)ZbPi_CStrToFSpec(path, kZbPathUTF8, 255, &ref);
        Zb7_Mac_FSSpecToCStr(ref, references.emplace_back());
    }
    const double viaReference = Best([&] {
        FSSpec ref;
        std::string colon;
        for (size_t i = 0; i < lookups; ++i) {
            if (ZbPi_CStrToFSpec(references[i % references.size()], kZbPathUTF8, 255, &ref) != 0 ||
                Zb7_FSSpecToFullPathCStr(ref, colon, kZbPathBufferSize, true) != 0)
                std::abort();
            sink += colon.size();
        }
    });
    const auto perLookup = [&](double seconds) { return seconds / double(lookups) * 1e6; };
    std::printf("paths: %zu lookups over %zu files, %zu bytes a path (checksum %zu)\n", lookups, paths.size(),
                paths[0].size(), sink % 10);
    std::printf("path to reference to colon path: ours %.2f us, realpath(3) %.2f us, ratio %.2fx\n",
                perLookup(ours), perLookup(theirs), theirs / ours);
    std::printf("reference text to reference to colon path: ours %.2f us, realpath(3) %.2f us, ratio %.2fx\n",
                perLookup(viaReference), perLookup(theirs), theirs / viaReference);
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char **argv) {
    size_t base64MB = 64, linesMB = 100, utf8MB = 64, pathLookups = 200000;
    for (int a = 1; a + 1 < argc; a += 2) {
        const std::string option = argv[a];
        const size_t value = std::strtoul(argv[a + 1], nullptr, 10);
        if (option == "--base64-mb") base64MB = value;
        else if (option == "--lines-mb") linesMB = value;
        else if (option == "--utf8-mb") utf8MB = value;
        else if (option == "--paths") pathLookups = value;
        else if (option == "--runs") gRuns = int(std::max<size_t>(value, 1));
        else {
            std::fprintf(stderr, "usage: zerb_bench [--base64-mb N] [--lines-mb N] [--utf8-mb N] [--paths N] [--runs N]\n");
            return 2;
        }
    }
    const TempDir dir;
    if (dir.path.empty()) {
        std::perror("mkdtemp");
        return 1;
    }
    if (base64MB != 0) BenchBase64(base64MB, dir.path);
    if (linesMB != 0) BenchLineEnds(linesMB);
    if (utf8MB != 0) BenchUTF8(utf8MB);
    if (pathLookups != 0) BenchPaths(pathLookups, dir.path);
    return 0;
}
