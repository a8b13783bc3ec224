#include "files/substitute.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "filecore/byte_search.h"
#include "filecore/fork_io.h"
#include "filecore/fork_writer.h"
#include "filecore/stream_scan.h"
#include "filecore/new_contents.h"
#include "filecore/paths.h"
#include "platform/errors.h"
#include "platform/file_attributes.h"
#include "platform/file_system.h"
#include "platform/finder_info.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "text/charsets.h"
#include "text/encoding.h"

namespace {

// Written a thousand kilobytes at a time: 250 pages, not a power of two, so the kernel fills the
// page cache with ordinary pages rather than assembling megabyte folios, which measured five times
// slower where free memory is fragmented.
constexpr size_t kWriteBlock = 16 * kZbStreamBlock;

}  // namespace

namespace {

// The whole matches from the stream's position up to `fits` (past which the search no longer
// fits in the block): a failed attempt there fails inside the block and changes nothing, so the
// next whole match is found at once and the bytes before it go out as they are. The position
// ends at `fits` or past the last match.
long WholeMatchesInBlock(ZbStreamReader &in, ZbForkWriter &out, std::string_view search,
                         std::string_view replacement, uint32_t fits) {
    if (replacement.size() == search.size()) {
        // A replacement as long as the search is put where the match stands, in the block read,
        // and the block goes out in one piece. Locals only in the loop: a byte written to the
        // block could alias anything else.
        unsigned char *const from = in.block + in.position;
        const auto *with = reinterpret_cast<const unsigned char *>(replacement.data());
        const size_t k = search.size();
        size_t past = 0;  // the end of the last match
        ZbForEachMatch(from, in.valid - in.position, search, [from, with, k, &past](size_t offset) {
            ZbCopySmall(from + offset, with, k);
            past = offset + k;
            return true;
        });
        const uint32_t end = std::max(fits, in.position + uint32_t(past));
        if (const long err = out.Write(from, end - in.position)) return err;
        in.position = end;
        return 0;
    }
    const uint32_t base = in.position;
    long err = 0;
    ZbForEachMatch(in.block + base, in.valid - base, search, [&](size_t offset) {
        const uint32_t match = base + uint32_t(offset);
        err = out.Write(in.block + in.position, match - in.position);
        if (err == 0) err = out.Write(replacement.data(), replacement.size());
        in.position = match + uint32_t(search.size());
        return err == 0;
    });
    if (err == 0 && in.position < fits) {
        err = out.Write(in.block + in.position, fits - in.position);
        in.position = fits;
    }
    return err;
}

// Substitute as a scanner: what passes goes out as it is, each match as the replacement.
struct ZbReplacing {
    ZbForkWriter &out;
    std::string_view search, replacement;

    long Pass(const unsigned char *bytes, size_t n) { return out.Write(bytes, n); }
    long Match() { return out.Write(replacement.data(), replacement.size()); }
    long WholeMatchesInBlock(ZbStreamReader &in, uint32_t fits) {
        return ::WholeMatchesInBlock(in, out, search, replacement, fits);
    }
};

// The stream step proper: the source read and scanned through the stream, the new contents made
// through `out`.
long SubstituteStream(const ZbFork &source, ZbForkWriter &out, std::string_view search,
                      std::string_view replacement, bool ignoreCase) {
    ZbStreamReader in(source);
    out.sourceRead = &in.mark;
    ZbReplacing scanner{out, search, replacement};
    long err = ZbScanStream(in, search, ignoreCase, scanner);
    if (err == 0) err = out.Flush();
    out.sourceRead = nullptr;  // the stream goes now
    return err;
}

// From this size on, the source is read and scanned on a second thread while this one writes.
constexpr int64_t kTwoThreadsFrom = int64_t(4) << 20;

}  // namespace

long Zb7_Substitute(const ZbFork &source, const ZbFork &destination, std::string_view search,
                    std::string_view replacement, bool ignoreCase, bool replacingSource) {
    if (search.empty()) return kParamErr;
    ZbForkWriter out(destination, kWriteBlock);
    int64_t size = 0;
    if (Zb7_PlatformForkSize(source, size) != 0 || size < kTwoThreadsFrom)
        return SubstituteStream(source, out, search, replacement, ignoreCase);
    // Copying the file out of the cache and scanning it take as long as copying the new contents
    // back in: the first two run on a second thread, the writing here.
    ZbBlockHandoff handoff(kWriteBlock, replacingSource ? &source : nullptr);
    out.handoff = &handoff;
    long scanned = 0;
    std::thread scanner;
    try {
        scanner = std::thread([&] {
            try {
                scanned = SubstituteStream(source, out, search, replacement, ignoreCase);
            } catch (const std::bad_alloc &) {
                scanned = kMemFullErr;
            }
            handoff.Finish();
        });
    } catch (const std::system_error &) {
        out.handoff = nullptr;  // no second thread: all of it here
        return SubstituteStream(source, out, search, replacement, ignoreCase);
    }
    const long written = handoff.WriteAll(destination);
    scanner.join();
    return written ? written : scanned;
}

namespace {

// The search's bytes in the encoding: the text up to its first 2000 bytes.
std::string SearchBytes(const fmx::TextUniquePtr &text, ZbTextEncoding encoding) {
    char buffer[kZbSwitchesCapacity + 1] = "";
    XP7_TxtToCStr(text, 0, 0xFFFFFFFF, encoding == kZbEncodingBytesOnly ? kZbSwitchesCapacity : sizeof buffer, buffer,
                  encoding);
    return buffer;
}

// The replacement's bytes in the encoding, at most twice its characters plus 10, up to the first
// zero byte.
std::string ReplacementBytes(const fmx::TextUniquePtr &text, ZbTextEncoding encoding) {
    std::string bytes(size_t(text->GetSize()) * 2 + 10, '\0');
    unsigned long length = 0;
    XP7_TxtToBlock(text, encoding, bytes.size(), reinterpret_cast<unsigned char *>(bytes.data()), &length);
    bytes.resize(length);
    bytes.resize(std::strlen(bytes.c_str()));
    return bytes;
}

long Substitute(const fmx::DataVect &parameters) {
    if (parameters.Size() < 5) return kParamErr;
    char switches[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 0;
    fmx::TextUniquePtr sourceText, destinationText, searchText, replacementText;
    Zb7_ReadSwitchesAndPath(parameters, switches, sourceText, cursor);
    const ZbTextEncoding encoding = XP7_GetEncodingSwitch(switches, fmx::Text::kEncoding_UTF8);
    const bool ignoreCase = XP_HasSwitch(switches, "IgnoreCase");
    XP7_GetNextTxtFromVect(parameters, destinationText, &cursor);
    XP7_GetNextTxtFromVect(parameters, searchText, &cursor);
    std::string search = SearchBytes(searchText, encoding);
    XP7_GetNextTxtFromVect(parameters, replacementText, &cursor);
    if (search.empty() || sourceText->GetSize() == 0) return kParamErr;
    const std::string replacement = ReplacementBytes(replacementText, encoding);
    if (ignoreCase)
        for (char &c : search) c = char(ZbLowerAscii(static_cast<unsigned char>(c)));

    FSSpec sourceRef;
    std::string sourcePath;
    if (const long err = XP7_TxtToItem(*sourceText, sourceRef, kZbMaxNameLength)) return err;
    ZbFork source;
    if (const long err = Zb7_OpenContentsSource(sourceRef, sourcePath, source)) return err;

    // The new contents are made in a new file beside their place and put there only when whole.
    ZbNewContents contents;
    if (const long err = Zb7_BeginNewContents(sourcePath, *sourceText, *destinationText, contents)) return err;
    const long err = Zb7_Substitute(source, contents.fork, search, replacement, ignoreCase, contents.inPlace);
    // A separate destination gets the source's type and creator, as a file made for it.
    ZbFinderInfo sourceInfo, newInfo;
    // A source without Finder information gives zeros.
    if (!contents.inPlace) (void)Zb7_PlatformGetFinderInfo(sourcePath, sourceInfo);
    newInfo.SetType(sourceInfo.Type());
    newInfo.SetCreator(sourceInfo.Creator());
    const long finished = Zb7_FinishNewContents(contents, err, newInfo);
    if (finished == 0 && contents.inPlace) Zb7_PlatformCloseReplaced(source);
    return finished;
}

}  // namespace

fmx::errcode ZbFile7_DoSubstitute(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                  fmx::Data &result) {
    XP7_OSErrLToData(Substitute(parameters), result);
    return 0;
}
