// The parts of an image file that hold metadata, found where the file's own structure leads (JPEG
// segments, PNG and WebP chunks; a TIFF file is its own EXIF), never by reading the file whole.
// Every read goes through a source that checks its offset against the size first, and every walk
// only moves forward, so a hostile file can neither make a read outside it nor a loop.
#ifndef ZERB_IMAGE_METADATA_CONTAINERS_H
#define ZERB_IMAGE_METADATA_CONTAINERS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "image/metadata_json.h"
#include "platform/forks.h"

// Bytes of memory (`memory`) or of an open file (`fork`), read at offsets checked against `size`:
// a read that is not wholly inside fails instead of reading outside. A file is read through a
// block cache, so the many small reads of a walk cost few system calls.
struct ZbBoundedSource {
    const uint8_t *memory = nullptr;
    const ZbFork *fork = nullptr;
    uint64_t size = 0;
    long error = 0;  // the first failed read of the file

    // The cached block of the file.
    std::unique_ptr<uint8_t[]> block;
    uint64_t blockStart = 0;
    size_t blockValid = 0;

    // n bytes at `at` into out; false when they are not all in the source.
    bool Read(uint64_t at, size_t n, uint8_t *out);
    // The byte at `at`, or -1 past the end.
    int Byte(uint64_t at);
    // n bytes at `at` as out's contents. The bounds are checked before out grows, so a length
    // read from a file never allocates more than the file holds.
    bool Vector(uint64_t at, size_t n, std::vector<uint8_t> &out);
};

// A part that could not be read whole: {"part", "error", "message"} in the answer's "errors".
struct ZbMetaPartError {
    const char *part;
    long error;
};

// A PNG text chunk (tEXt, zTXt or iTXt) as its bytes. The keyword is Latin-1, the value Latin-1
// in tEXt and UTF-8 in iTXt; a compressed value is not read.
struct ZbPngText {
    std::string keyword, language, translated, value;
    bool utf8 = false, compressed = false, truncated = false;
};

// What the walk of the file found, before anything of the answer is written.
struct ZbMetaParts {
    const char *format = "";  // "jpeg", "tiff", "png" or "webp"
    bool hasSize = false;
    uint64_t width = 0, height = 0;
    std::vector<uint8_t> exif;  // TIFF data (JPEG APP1, PNG eXIf, WebP EXIF)
    bool exifIsFile = false;    // a TIFF file: its directories are read from the file itself
    std::vector<uint8_t> photoshop;  // JPEG APP13 resources, all segments in order
    bool hasXmp = false;
    std::vector<uint8_t> xmp;
    bool xmpTruncated = false;
    std::vector<std::vector<uint8_t>> comments;
    std::vector<ZbPngText> texts;
    // Extended XMP (JPEG): the chunks of each GUID, by offset.
    struct ExtendedXmp {
        uint32_t fullLength = 0;
        std::map<uint32_t, std::vector<uint8_t>> chunks;
    };
    std::map<std::string, ExtendedXmp> extendedXmp;
    std::vector<ZbMetaPartError> errors;
};

// Walks the file in src by its kind: 0, kNotJPEGErr for a file of no kind read here, or the first
// failed read of the file. A part that is malformed or cut off is an entry of parts.errors.
[[nodiscard]] long Zb7_FindMetaParts(ZbBoundedSource &src, const ZbMetaJsonOptions &options, ZbMetaParts &parts);

#endif
