// JPEG decoding and encoding through TurboJPEG, and the EXIF orientation.
#include "image/jpeg_codec.h"

#include <turbojpeg.h>

#include <algorithm>
#include <new>

#include "image/decoders.h"
#include "platform/shared_libraries.h"

namespace {

// The TurboJPEG functions, bound once; usable only when `ready`.
struct ZbTurboJPEG {
    decltype(&tjInitDecompress) initDecompress = nullptr;
    decltype(&tjInitCompress) initCompress = nullptr;
    decltype(&tjDecompressHeader3) decompressHeader = nullptr;
    decltype(&tjGetScalingFactors) scalingFactors = nullptr;
    decltype(&tjDecompress2) decompress = nullptr;
    decltype(&tjCompress2) compress = nullptr;
    decltype(&tjGetErrorCode) errorCode = nullptr;
    decltype(&tjFree) free = nullptr;
    decltype(&tjDestroy) destroy = nullptr;
    bool ready = false;
};

const ZbTurboJPEG &TurboJPEG() {
    static const ZbTurboJPEG library = [] {
        ZbTurboJPEG t;
        void *handle = Zb7_PlatformOpenLibrary({"libturbojpeg.so.0"});
        t.ready = Zb7_PlatformBindSymbols(handle,
                                          {"tjInitDecompress", "tjInitCompress", "tjDecompressHeader3",
                                           "tjGetScalingFactors", "tjDecompress2", "tjCompress2", "tjGetErrorCode",
                                           "tjFree", "tjDestroy"},
                                          t.initDecompress, t.initCompress, t.decompressHeader, t.scalingFactors,
                                          t.decompress, t.compress, t.errorCode, t.free, t.destroy);
        return t;
    }();
    return library;
}

// A TurboJPEG instance, destroyed on every path.
struct ZbTJHandle {
    tjhandle handle;
    explicit ZbTJHandle(tjhandle h) : handle(h) {}
    ~ZbTJHandle() {
        if (handle) TurboJPEG().destroy(handle);
    }
    ZbTJHandle(const ZbTJHandle &) = delete;
    ZbTJHandle &operator=(const ZbTJHandle &) = delete;
};

uint32_t Scaled(int dimension, tjscalingfactor f) { return uint32_t((int64_t(dimension) * f.num + f.denom - 1) / f.denom); }

}  // namespace

long Zb7_DecodeJPEG(const uint8_t *data, size_t size, uint32_t longestSide, ZbImage &image) {
    const ZbTurboJPEG &tj = TurboJPEG();
    if (!tj.ready) return kZbErrNoImporter;
    if (size > 0xFFFFFFFFul) return kZbErrBadImageData;
    ZbTJHandle decoder(tj.initDecompress());
    if (!decoder.handle) return kZbErrImageTooLarge;
    int width = 0, height = 0, subsampling = 0, colorspace = 0;
    if (tj.decompressHeader(decoder.handle, data, static_cast<unsigned long>(size), &width, &height, &subsampling,
                            &colorspace) != 0 ||
        width <= 0 || height <= 0)
        return kZbErrBadImageData;
    // The smallest scale whose longest side still reaches the size asked for.
    int count = 0;
    const tjscalingfactor *factors = tj.scalingFactors(&count);
    tjscalingfactor best = {1, 1};
    const int longest = std::max(width, height);
    for (int k = 0; factors && k < count; ++k) {
        const tjscalingfactor f = factors[k];
        if (f.num > f.denom) continue;  // never enlarge here
        if (longestSide && Scaled(longest, f) >= longestSide && f.num * best.denom < best.num * f.denom) best = f;
    }
    if (const long err = Zb7_AllocateImage(Scaled(width, best), Scaled(height, best), image)) return err;
    // A damaged file gives the part that decodes (a warning), as viewers show it; only a fatal
    // error fails. Progressive files are limited in their number of scans.
    const int flags = TJFLAG_LIMITSCANS;
    if (tj.decompress(decoder.handle, data, static_cast<unsigned long>(size), image.pixels.data(), int(image.width),
                      0, int(image.height), TJPF_RGBA, flags) != 0 &&
        tj.errorCode(decoder.handle) != TJERR_WARNING)
        return kZbErrBadImageData;
    return 0;
}

long Zb7_EncodeJPEG(const uint8_t *rgb, uint32_t width, uint32_t height, int quality, std::vector<uint8_t> &jpeg) {
    const ZbTurboJPEG &tj = TurboJPEG();
    if (!tj.ready) return kZbErrNoImporter;
    ZbTJHandle encoder(tj.initCompress());
    if (!encoder.handle) return kZbErrImageTooLarge;
    unsigned char *out = nullptr;
    unsigned long outSize = 0;
    const int rc = tj.compress(encoder.handle, rgb, int(width), 0, int(height), TJPF_RGB,
                               &out, &outSize, TJSAMP_420, quality, 0);
    long err = 0;
    if (rc != 0 || !out) {
        err = kZbErrBadImageData;
    } else {
        try {
            jpeg.assign(out, out + outSize);
        } catch (const std::bad_alloc &) {
            err = kZbErrImageTooLarge;
        }
    }
    if (out) tj.free(out);
    return err;
}

namespace {

uint32_t Get(const uint8_t *p, int bytes, bool bigEndian) {
    uint32_t v = 0;
    for (int k = 0; k < bytes; ++k) v |= uint32_t(p[bigEndian ? k : bytes - 1 - k]) << (8 * (bytes - 1 - k));
    return v;
}

// Tag 0x0112 of the first IFD of an EXIF block (after "Exif\0\0").
int OrientationInTIFF(const uint8_t *tiff, size_t size) {
    if (size < 8) return 1;
    const bool big = tiff[0] == 'M' && tiff[1] == 'M';
    if (!big && !(tiff[0] == 'I' && tiff[1] == 'I')) return 1;
    const uint32_t ifd = Get(tiff + 4, 4, big);
    if (ifd > size - 2) return 1;
    const uint32_t entries = Get(tiff + ifd, 2, big);
    for (uint32_t k = 0; k < entries; ++k) {
        const size_t at = size_t(ifd) + 2 + size_t(k) * 12;
        if (at + 12 > size) break;
        if (Get(tiff + at, 2, big) != 0x0112) continue;
        if (Get(tiff + at + 2, 2, big) != 3) return 1;  // a SHORT
        const uint32_t value = Get(tiff + at + 8, 2, big);
        return value >= 1 && value <= 8 ? int(value) : 1;
    }
    return 1;
}

}  // namespace

int Zb7_JPEGOrientation(const uint8_t *data, size_t size) {
    if (size < 4 || data[0] != 0xFF || data[1] != 0xD8) return 1;
    size_t at = 2;
    while (at + 4 <= size) {
        if (data[at] != 0xFF) return 1;
        const uint8_t marker = data[at + 1];
        if (marker == 0xFF) {  // fill byte
            ++at;
            continue;
        }
        if (marker == 0xDA || marker == 0xD9) return 1;  // image data: no orientation before it
        const size_t length = Get(data + at + 2, 2, true);
        if (length < 2 || at + 2 + length > size) return 1;
        const uint8_t *segment = data + at + 4;
        if (marker == 0xE1 && length >= 8 && std::equal(segment, segment + 6, "Exif\0\0"))
            return OrientationInTIFF(segment + 6, length - 8);
        at += 2 + length;
    }
    return 1;
}
