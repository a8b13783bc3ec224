#include "files/substitute.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "files/paths.h"
#include "platform/file_attributes.h"
#include "platform/file_system.h"
#include "platform/finder_info.h"
#include "plugin/handlers.h"
#include "plugin/params.h"
#include "plugin/results.h"
#include "text/encoding.h"

namespace {

constexpr long kErrEndOfFile = -39;
constexpr long kErrUnreadTooFar = -92;
constexpr size_t kMaxNameLength = 255;
// Blocks are read several at a time; the stream still sees them one by one.
constexpr size_t kBlocksPerRead = 16;
constexpr size_t kWriteBlock = size_t(1) << 20;

unsigned char Lower(unsigned char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; }

// The reader of the stream: one block of at most kZbStreamBlock bytes, its valid count and an
// unsigned position that stepping back may wrap below zero; reaching the valid count (or passing
// it) reads the next block at the file's mark.
struct ZbBlockReader {
    const ZbFork &fork;
    std::vector<unsigned char> chunk = std::vector<unsigned char>(kZbStreamBlock * kBlocksPerRead);
    size_t chunkValid = 0, chunkBlock = 0;  // bytes in the chunk, and the block of it in use
    int64_t mark = 0;                       // file offset of the next chunk
    const unsigned char *block = nullptr;
    uint64_t blockNumber = 0;  // counts the blocks read, so a block's place in memory is not taken for it
    uint32_t valid = 0, position = 0;

    // The next block: 0, or -39 at the end of the file.
    long NextBlock() {
        if (++chunkBlock * kZbStreamBlock >= chunkValid) {
            if (const long err = Zb7_PlatformReadFork(fork, mark, chunk.data(), chunk.size(), chunkValid)) return err;
            mark += int64_t(chunkValid);
            chunkBlock = 0;
        }
        block = chunk.data() + chunkBlock * kZbStreamBlock;
        ++blockNumber;
        valid = uint32_t(std::min(kZbStreamBlock, chunkValid - std::min(chunkValid, chunkBlock * kZbStreamBlock)));
        position = 0;
        return valid == 0 ? kErrEndOfFile : 0;
    }
    // One byte: 0, or -39 at the end of the file.
    long Read(unsigned char &c) {
        if (position >= valid)
            if (const long err = NextBlock()) return err;
        c = block[position++];
        return 0;
    }
};

struct ZbBlockWriter {
    const ZbFork &fork;
    std::vector<char> buffer;
    int64_t mark = 0;
    long Write(const void *data, size_t n) {
        if (buffer.size() + n > kWriteBlock)
            if (const long err = Flush()) return err;
        if (n >= kWriteBlock) {
            if (const long err = Zb7_PlatformWriteFork(fork, mark, data, n)) return err;
            mark += int64_t(n);
            return 0;
        }
        buffer.insert(buffer.end(), static_cast<const char *>(data), static_cast<const char *>(data) + n);
        return 0;
    }
    long Flush() {
        if (buffer.empty()) return 0;
        if (const long err = Zb7_PlatformWriteFork(fork, mark, buffer.data(), buffer.size())) return err;
        mark += int64_t(buffer.size());
        buffer.clear();
        return 0;
    }
};

// Where the next byte that can start a match stands in block[from, valid): the search's first
// byte, or with ignoreCase also its capital. `valid` when there is none.
uint32_t NextCandidate(const unsigned char *block, uint32_t from, uint32_t valid, unsigned char first, bool both) {
    const auto find = [&](unsigned char c) {
        const void *at = std::memchr(block + from, c, valid - from);
        return at ? uint32_t(static_cast<const unsigned char *>(at) - block) : valid;
    };
    const uint32_t lower = find(first);
    if (!both) return lower;
    const uint32_t upper = find(static_cast<unsigned char>(first - 32));
    return std::min(lower, upper);
}

}  // namespace

long Zb7_Substitute(const ZbFork &source, const ZbFork &destination, std::string_view search,
                    std::string_view replacement, bool ignoreCase) {
    if (search.empty()) return kZbErrParameter;
    ZbBlockReader in{source};
    in.chunkBlock = kBlocksPerRead;  // nothing read yet
    ZbBlockWriter out{destination, {}, 0};
    out.buffer.reserve(kWriteBlock);
    const auto first = static_cast<unsigned char>(search[0]);
    const bool both = ignoreCase && first >= 'a' && first <= 'z';
    // Candidates found by a scan ahead, valid while the block stays the same.
    uint64_t scannedBlock = 0;
    uint32_t scannedFrom = 0, candidate = 0;
    long err = 0;
    for (;;) {
        if (in.position >= in.valid && (err = in.NextBlock()) != 0) break;
        // The bytes before the next candidate go out as they are, in one piece.
        if (scannedBlock != in.blockNumber || in.position < scannedFrom || in.position > candidate) {
            candidate = NextCandidate(in.block, in.position, in.valid, first, both);
            scannedBlock = in.blockNumber;
            scannedFrom = in.position;
        }
        if (candidate > in.position) {
            if ((err = out.Write(in.block + in.position, candidate - in.position)) != 0) break;
            in.position = candidate;
            continue;
        }
        const unsigned char c = in.block[in.position++];
        size_t matched = 1;
        unsigned char d = 0;
        while (matched < search.size()) {
            if ((err = in.Read(d)) != 0) break;
            if ((ignoreCase ? Lower(d) : d) != static_cast<unsigned char>(search[matched])) break;
            ++matched;
        }
        if (err) break;  // the end of the file in the middle of a match: none of it is written
        if (matched == search.size()) {
            if ((err = out.Write(replacement.data(), replacement.size())) != 0) break;
            continue;
        }
        // A mismatch at index `matched`: the first byte goes out, the rest is read again.
        if ((err = out.Write(&c, 1)) != 0) break;
        if (matched > kZbUnreadLimit) {
            err = kErrUnreadTooFar;
            break;
        }
        in.position -= uint32_t(matched);  // may wrap: then the next block is read
    }
    if (err == kErrEndOfFile) err = 0;
    if (err == 0) err = out.Flush();
    return err;
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
    if (parameters.Size() < 5) return kZbErrParameter;
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
    if (search.empty() || sourceText->GetSize() == 0) return kZbErrParameter;
    const bool inPlace = destinationText->GetSize() == 0 || *destinationText == *sourceText;
    const std::string replacement = ReplacementBytes(replacementText, encoding);
    if (ignoreCase)
        for (char &c : search) c = char(Lower(static_cast<unsigned char>(c)));

    FSSpec sourceRef;
    std::string sourcePath;
    ZbItemInfo info;
    if (const long err = XP7_TxtToItem(*sourceText, sourceRef, kMaxNameLength)) return err;
    if (const long err = Zb7_FSSpecToItemInfo(sourceRef, sourcePath, info)) return err;
    ZbFork source;
    if (const long err = Zb7_PlatformOpenDataFork(sourcePath, false, source)) return err;

    // The new contents are made in a new file beside their place and put there only when whole.
    std::string folder, name;
    const std::string temporaryName = "ZERBTMP" + std::to_string(Zb7_PlatformCurrentDateTime());
    if (inPlace) {
        folder = ZbFolderOfPath(sourcePath);
    } else {
        FSSpec folderRef;
        if (const long err = Zb7_NewItemFolderAndName(Zb7_PathTextToUTF8(*destinationText), folderRef, name)) return err;
        if (const long err = Zb7_FSSpecToPOSIXPath(folderRef, folder)) return err;
        ZbItemInfo existing;
        if (Zb7_PlatformGetItemInfo(ZbJoinPath(folder, name), existing) == 0) return -48;  // never overwritten
    }
    ZbFork destination;
    if (const long err = Zb7_PlatformOpenNewFile(folder, temporaryName, destination)) return err;
    long err = Zb7_Substitute(source, destination, search, replacement, ignoreCase);
    if (err == 0 && inPlace) err = Zb7_PlatformReplaceWith(destination, sourcePath, temporaryName);
    if (err == 0 && !inPlace) {
        // A separate destination gets the source's type and creator, as a file made for it.
        ZbFinderInfo sourceInfo, newInfo;
        Zb7_PlatformGetFinderInfo(sourcePath, sourceInfo);
        newInfo.SetType(sourceInfo.Type());
        newInfo.SetCreator(sourceInfo.Creator());
        err = Zb7_PlatformNameNewFile(destination, folder, name, newInfo);
    }
    if (err) Zb7_PlatformDiscardNewFile(destination);
    return err;
}

}  // namespace

fmx::errcode ZbFile7_DoSubstitute(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                  fmx::Data &result) {
    XP7_OSErrLToData(Substitute(parameters), result);
    return 0;
}
