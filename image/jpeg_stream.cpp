#include "image/jpeg_stream.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "image/metadata_read.h"
#include "platform/errors.h"

namespace {
constexpr size_t kReadBlock = 64 * 1024;
constexpr unsigned char kExifHeader[6] = {'E', 'x', 'i', 'f', 0, 0};
}  // namespace

Zb7RW_Reader::Zb7RW_Reader(const ZbFork &f) : fork(f), block(new unsigned char[kReadBlock]) {}

namespace {
// The next block, once the one held is used up: 0, -39 at the end of the file, or the read error.
long Refill(Zb7RW_Reader &in) {
    size_t got = 0;
    if (const long err = Zb7_PlatformReadFork(in.fork, in.mark, in.block.get(), kReadBlock, got)) {
        if (in.readError == 0) in.readError = err;
        return err;
    }
    in.mark += int64_t(got);
    in.valid = got;
    in.at = 0;
    return got == 0 ? kEofErr : kNoErr;
}
}  // namespace

long Zb7RW_NextByte(Zb7RW_Reader &in, unsigned char *c) {
    if (in.at == in.valid)
        if (const long err = Refill(in)) return err;
    *c = in.block[in.at++];
    return 0;
}

long Zb7RW_Read_1_byte(Zb7RW_Reader &in, unsigned char *c) { return Zb7RW_NextByte(in, c) == 0 ? kNoErr : kEofErr; }

long Zb7RW_Read_2_bytes(Zb7RW_Reader &in, unsigned int *value) {
    if (Zb7RW_NextByte(in, &in.pair[0]) == 0) (void)Zb7RW_NextByte(in, &in.pair[1]);
    *value = unsigned(in.pair[0]) << 8 | in.pair[1];
    return 0;
}

long Zb7RW_ReadNextNBytes(Zb7RW_Reader &in, unsigned char *buffer, unsigned long n, unsigned long *got) {
    *got = 0;
    while (*got < n) {
        if (in.at == in.valid) {
            // What is left of a long read goes straight into the caller's buffer.
            if (n - *got >= kReadBlock) {
                size_t direct = 0;
                if (const long err = Zb7_PlatformReadFork(in.fork, in.mark, buffer + *got, n - *got, direct)) return err;
                in.mark += int64_t(direct);
                *got += direct;
                return 0;
            }
            const long err = Refill(in);
            if (err == kEofErr) return 0;
            if (err) return err;
        }
        const size_t n1 = std::min(size_t(n - *got), in.valid - in.at);
        std::memcpy(buffer + *got, in.block.get() + in.at, n1);
        in.at += n1;
        *got += n1;
    }
    return 0;
}

long Zb7RW_ReadInto(Zb7RW_Reader &in, unsigned long n, std::vector<unsigned char> &data) {
    constexpr unsigned long kStep = 8192;
    while (n > 0) {
        const unsigned long step = std::min(n, kStep);
        const size_t had = data.size();
        data.resize(had + step);
        unsigned long got = 0;
        const long err = Zb7RW_ReadNextNBytes(in, data.data() + had, step, &got);
        data.resize(had + got);
        if (err) return err;
        if (got < step) return 0;
        n -= step;
    }
    return 0;
}

long Zb7RW_SkipBytes(Zb7RW_Reader &in, unsigned long n) {
    while (n > 0) {
        if (in.at == in.valid && Refill(in) != 0) return kEofErr;
        const size_t n1 = std::min(size_t(n), in.valid - in.at);
        in.at += n1;
        n -= n1;
    }
    return 0;
}

long Zb7JPEG_FirstMarker(Zb7RW_Reader &in, unsigned char *marker) {
    unsigned char c1 = 0, c2 = 0;
    if (Zb7RW_NextByte(in, &c1) != 0 || Zb7RW_NextByte(in, &c2) != 0) return kEofErr;
    if (c1 != 0xFF || c2 != kZbMarkerSOI) return kNotJPEGErr;
    *marker = kZbMarkerSOI;
    return 0;
}

long Zb7JPEG_NextMarker(Zb7RW_Reader &in, unsigned char *marker) {
    unsigned char c = 0;
    do {
        if (const long err = Zb7RW_NextByte(in, &c)) return err;
    } while (c != 0xFF);
    do {
        if (const long err = Zb7RW_NextByte(in, &c)) return err;
    } while (c == 0xFF);
    *marker = c;
    return 0;
}

long Zb7JPEG_SkipVariable(Zb7RW_Reader &in) {
    unsigned int length = 0;
    Zb7RW_Read_2_bytes(in, &length);
    if (length < 2) return kNameOrSegmentErr;
    return Zb7RW_SkipBytes(in, length - 2);
}

long Zb7JPEG_Process_SOFn(Zb7RW_Reader &in, int /*marker*/, ZbPictParams *params) {
    unsigned int length = 0, height = 0, width = 0;
    unsigned char precision = 0, components = 0;
    Zb7RW_Read_2_bytes(in, &length);
    if (const long err = Zb7RW_Read_1_byte(in, &precision)) return err;
    Zb7RW_Read_2_bytes(in, &height);
    Zb7RW_Read_2_bytes(in, &width);
    if (const long err = Zb7RW_Read_1_byte(in, &components)) return err;
    params->bitsPerSample = precision;
    params->height = int32_t(height);
    params->width = int32_t(width);
    if (length != 8 + 3u * components) return kNameOrSegmentErr;
    return Zb7RW_SkipBytes(in, 3ul * components);
}

namespace {

// A segment's data read whole: its length (at least minLength, else -92) and then its bytes.
long ReadSegment(Zb7RW_Reader &in, unsigned minLength, std::vector<unsigned char> &data) {
    unsigned int length = 0;
    Zb7RW_Read_2_bytes(in, &length);
    if (length < minLength) return kNameOrSegmentErr;
    data.clear();
    if (const long err = Zb7RW_ReadInto(in, length - 2, data)) return err;
    return data.size() == length - 2 ? kNoErr : kEofErr;
}

// An APP1 segment: EXIF (mode 1) or XMP (mode 2), told apart by its first six bytes. *taken is set
// when the segment gave its text.
long Process_M_APP1(Zb7RW_Reader &in, int mode, ZbTextEncoding encoding, fmx::TextUniquePtr &out, bool *taken) {
    unsigned int length = 0;
    Zb7RW_Read_2_bytes(in, &length);
    if (length < 2) return kNameOrSegmentErr;
    const uint32_t remaining = length - 2;
    // The header bytes are compared one at a time as they are read; the first that differs ends it.
    unsigned char head[6];
    uint32_t read = 0;
    bool exif = true;
    while (read < 6) {
        if (read == remaining) {  // a segment shorter than the header is not EXIF
            exif = false;
            break;
        }
        if (const long err = Zb7RW_Read_1_byte(in, &head[read])) return err;
        const bool same = head[read] == kExifHeader[read];
        ++read;
        if (!same) {
            exif = false;
            break;
        }
    }
    if (mode == 1) {
        if (!exif) return Zb7RW_SkipBytes(in, remaining - read);
        if (remaining - 6 > kZbMaxAPP1Data) return kTooLargeErr;
        *taken = true;
        return Zb7_Process_EXIF(in, remaining - 6, encoding, out);
    }
    if (exif) return Zb7RW_SkipBytes(in, remaining - read);
    if (remaining > kZbMaxAPP1Data) return kTooLargeErr;
    std::vector<unsigned char> data(head, head + read);
    if (const long err = Zb7RW_ReadInto(in, remaining - read, data)) return err;
    if (data.size() != remaining) return kBadExifErr;
    *taken = true;
    return Zb7_XMPToTxt(data.data(), data.size(), encoding, out);
}

// A comment segment (COM or APP12): its text between the comment markers.
long ProcessComment(Zb7RW_Reader &in, ZbTextEncoding encoding, fmx::TextUniquePtr &out) {
    std::vector<unsigned char> data;
    if (const long err = ReadSegment(in, 3, data)) return err;
    Zb7_CommentToTxt(data.data(), data.size(), encoding, out);
    return 0;
}

}  // namespace

long Zb7JPEG_ScanJPEGHeader(Zb7RW_Reader &in, const ZbMetaDataSwitch &switches, ZbTextEncoding encoding,
                            fmx::TextUniquePtr &out, ZbPictParams *params) {
    unsigned char marker = 0;
    if (const long err = Zb7JPEG_FirstMarker(in, &marker)) return err;
    const bool exif = switches.flags[kZbMetaExif], comment = switches.flags[kZbMetaComment],
               xmp = switches.flags[kZbMetaXMP];
    const int wanted = int(exif) + int(comment) + int(xmp);
    int found = 0;
    bool done = false, app1Taken = false;
    long err = 0;
    while (!done && found < wanted && err == 0) {
        if ((err = Zb7JPEG_NextMarker(in, &marker)) != 0) break;
        if (ZbIsFrameMarker(marker)) {
            err = Zb7JPEG_Process_SOFn(in, marker, params);
        } else if (marker == kZbMarkerEOI || marker == kZbMarkerSOS) {
            done = true;
        } else if (marker == kZbMarkerAPP1) {
            if (app1Taken || (!exif && !xmp)) {
                err = Zb7JPEG_SkipVariable(in);
            } else {
                err = Process_M_APP1(in, exif ? 1 : 2, encoding, out, &app1Taken);
                if (app1Taken) ++found;
            }
        } else if (marker == kZbMarkerCOM) {
            if (comment) {
                err = ProcessComment(in, encoding, out);
                ++found;
            } else {
                err = Zb7JPEG_SkipVariable(in);
            }
        } else if (marker == kZbMarkerAPP12) {
            err = ProcessComment(in, encoding, out);  // always, and it does not count
        } else {
            err = Zb7JPEG_SkipVariable(in);
        }
    }
    if (err == 0 && found == 0) return kNoDataErr;
    return err;
}
