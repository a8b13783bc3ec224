// A JPEG file marker by marker: the byte reader of one scan, the marker scan, the frame header, and
// the extraction scan that collects EXIF, XMP and comment text.
#ifndef ZERB_IMAGE_JPEG_STREAM_H
#define ZERB_IMAGE_JPEG_STREAM_H

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/forks.h"
#include "fmx/fmx.h"
#include "text/encoding.h"

enum : unsigned char {
    kZbMarkerSOI = 0xD8,
    kZbMarkerEOI = 0xD9,
    kZbMarkerSOS = 0xDA,
    kZbMarkerAPP1 = 0xE1,
    kZbMarkerAPP12 = 0xEC,
    kZbMarkerAPP13 = 0xED,
    kZbMarkerCOM = 0xFE,
};
// The largest APP1 data (EXIF or XMP) taken in.
constexpr uint32_t kZbMaxAPP1Data = 64000;

// SOF0 to SOF15 (0xC0 to 0xCF) except DHT 0xC4, JPG 0xC8 and DAC 0xCC.
inline bool ZbIsFrameMarker(unsigned char m) { return m >= 0xC0 && m <= 0xCF && m != 0xC4 && m != 0xC8 && m != 0xCC; }

struct ZbPictParams {
    int32_t width = 0, height = 0, bitsPerSample = 0;
};

// What MetaData is asked for, one byte each (0 or 1), at these indexes.
struct ZbMetaDataSwitch {
    unsigned char flags[8] = {};
};
enum : int {
    kZbMetaIPTC = 0,
    kZbMetaExif = 2,
    kZbMetaComment = 3,
    kZbMetaImageURL = 4,
    kZbMetaXMP = 5,
    kZbMetaSourceMac = 6,
    kZbMetaSourceWin = 7,
};

// The reader of one scan: the fork read in large blocks from its start; one per call.
struct Zb7RW_Reader {
    explicit Zb7RW_Reader(const ZbFork &fork);
    const ZbFork &fork;
    std::unique_ptr<unsigned char[]> block;
    size_t valid = 0, at = 0;
    int64_t mark = 0;          // file offset of the byte after the block
    unsigned char pair[2] = {};  // Read_2_bytes' bytes: a failed read leaves the last ones there
    // The first failed read of the file. The byte routines answer it as the end of the file, so
    // the callers answer this error instead, once the stream is done with.
    long readError = 0;
};

// One byte: 0, -39 at the end of the file, or the read error.
[[nodiscard]] long Zb7RW_NextByte(Zb7RW_Reader &in, unsigned char *c);
// One byte; any failure is -39.
[[nodiscard]] long Zb7RW_Read_1_byte(Zb7RW_Reader &in, unsigned char *c);
// Two bytes as a big-endian value; the second is read only when the first was. Always 0: a byte
// that could not be read keeps its value from the previous call.
long Zb7RW_Read_2_bytes(Zb7RW_Reader &in, unsigned int *value);
// Up to n bytes; *got tells how many (fewer only at the end of the file). 0 or the read error.
[[nodiscard]] long Zb7RW_ReadNextNBytes(Zb7RW_Reader &in, unsigned char *buffer, unsigned long n, unsigned long *got);
// Appends up to n bytes to data, which grows only as bytes arrive: a length read from a short file
// never allocates more than the file holds. Fewer bytes only at the end of the file.
[[nodiscard]] long Zb7RW_ReadInto(Zb7RW_Reader &in, unsigned long n, std::vector<unsigned char> &data);
// Passes over n bytes; -39 when the file ends first.
[[nodiscard]] long Zb7RW_SkipBytes(Zb7RW_Reader &in, unsigned long n);

// The first two bytes: 0 with the marker SOI when they are FF D8, -71 for any others, -39 when
// the file is shorter.
[[nodiscard]] long Zb7JPEG_FirstMarker(Zb7RW_Reader &in, unsigned char *marker);
// Passes to the next FF and over any FF fill bytes after it; the first other byte is the marker.
[[nodiscard]] long Zb7JPEG_NextMarker(Zb7RW_Reader &in, unsigned char *marker);
// Passes over a segment by its length (-92 for a length below 2).
[[nodiscard]] long Zb7JPEG_SkipVariable(Zb7RW_Reader &in);
// Reads a frame header into the parameters: -92 when its length does not fit its components.
[[nodiscard]] long Zb7JPEG_Process_SOFn(Zb7RW_Reader &in, int marker, ZbPictParams *params);

// The extraction scan: from SOI to the first EOI or SOS (or until everything asked for was found),
// appending the text of the EXIF, XMP and comment segments asked for (and of every APP12 segment)
// to out. -2026 when none of them was found.
[[nodiscard]] long Zb7JPEG_ScanJPEGHeader(Zb7RW_Reader &in, const ZbMetaDataSwitch &switches, ZbTextEncoding encoding,
                                          fmx::TextUniquePtr &out, ZbPictParams *params);

#endif
