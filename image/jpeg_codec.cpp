// JPEG decoding and encoding through TurboJPEG, and the EXIF orientation.
#include "image/jpeg_codec.h"

#include <turbojpeg.h>

#include <algorithm>
#include <new>

#include "image/decoders.h"
#include "platform/errors.h"
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

uint32_t Get(const uint8_t *p, int bytes, bool bigEndian) {
    uint32_t v = 0;
    for (int k = 0; k < bytes; ++k) v |= uint32_t(p[bigEndian ? k : bytes - 1 - k]) << (8 * (bytes - 1 - k));
    return v;
}

// Restart markers and TEM stand alone: no length field follows them.
bool Parameterless(uint8_t marker) { return (marker >= 0xD0 && marker <= 0xD7) || marker == 0x01; }

// The contents of the first segment with the marker whose contents begin with the signature,
// before the image data; its length (without the length field) in `length`. Null when there is
// none or the marker stream is broken before it.
const uint8_t *FindSegment(const uint8_t *data, size_t size, uint8_t wanted, const char *signature,
                           size_t signatureSize, size_t &length) {
    if (size < 4 || data[0] != 0xFF || data[1] != 0xD8) return nullptr;
    size_t at = 2;
    while (at + 4 <= size) {
        if (data[at] != 0xFF) return nullptr;
        const uint8_t marker = data[at + 1];
        if (marker == 0xFF) {  // fill byte
            ++at;
            continue;
        }
        if (marker == 0xDA || marker == 0xD9) return nullptr;  // image data: no such segment before it
        if (Parameterless(marker)) {
            at += 2;
            continue;
        }
        const size_t field = Get(data + at + 2, 2, true);
        if (field < 2 || at + 2 + field > size) return nullptr;
        const uint8_t *segment = data + at + 4;
        if (marker == wanted && field - 2 >= signatureSize && std::equal(segment, segment + signatureSize, signature)) {
            length = field - 2;
            return segment;
        }
        at += 2 + field;
    }
    return nullptr;
}

// Adobe's APP14 segment ("Adobe", version, two flag words, colour transform). Adobe's software
// writes CMYK and YCCK with every sample inverted (0 is full ink) and marks such files with this
// segment; libjpeg, ImageMagick and Ghostscript do the same. Without the segment the samples are
// ink amounts as they stand.
bool HasAdobeSegment(const uint8_t *data, size_t size) {
    size_t length = 0;
    return FindSegment(data, size, 0xEE, "Adobe", 5, length) && length >= 12;
}

// Whether the library must hold the coefficients of the whole image at full size, whatever the
// scale it decodes at: for a progressive frame, or a sequential one sent in several scans (its
// first scan carries fewer components than the frame). Bytes between segments are skipped up to
// the next marker, as the library does.
bool HoldsWholeImage(const uint8_t *data, size_t size) {
    if (size < 4 || data[0] != 0xFF || data[1] != 0xD8) return false;
    bool progressive = false;
    unsigned frameComponents = 0;
    for (size_t at = 2; at + 4 <= size;) {
        const uint8_t marker = data[at + 1];
        if (data[at] != 0xFF || marker == 0xFF) {
            ++at;
            continue;
        }
        if (marker == 0xD9) return false;
        if (Parameterless(marker)) {
            at += 2;
            continue;
        }
        const size_t field = Get(data + at + 2, 2, true);
        if (field < 2 || at + 2 + field > size) return false;
        const uint8_t *segment = data + at + 4;
        const bool frame = marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (frame && field >= 8) {
            progressive = marker == 0xC2 || marker == 0xC6 || marker == 0xCA || marker == 0xCE;
            frameComponents = segment[5];
        }
        if (marker == 0xDA) return progressive || (field >= 3 && segment[0] < frameComponents);
        at += 2 + field;
    }
    return false;
}

// Turns decoded CMYK samples into RGB with full alpha, in place (both 4 bytes a pixel): each
// colour is what its ink leaves of white, times what the black leaves.
void CMYKToRGBA(std::vector<uint8_t> &pixels, bool inverted) {
    const unsigned flip = inverted ? 0 : 255;  // inverted samples are already the white left
    for (size_t at = 0; at + 4 <= pixels.size(); at += 4) {
        uint8_t *p = pixels.data() + at;
        const unsigned white = p[3] ^ flip;
        for (int c = 0; c < 3; ++c) p[c] = uint8_t(((p[c] ^ flip) * white + 127) / 255);
        p[3] = 255;
    }
}

}  // namespace

long Zb7_DecodeJPEG(const uint8_t *data, size_t size, uint32_t longestSide, ZbImage &image) {
    const ZbTurboJPEG &tj = TurboJPEG();
    if (!tj.ready) return kNoImporterErr;
    if (size > 0xFFFFFFFFul) return kBadImageDataErr;
    ZbTJHandle decoder(tj.initDecompress());
    if (!decoder.handle) return kMemFullErr;
    int width = 0, height = 0, subsampling = 0, colorspace = 0;
    if (tj.decompressHeader(decoder.handle, data, static_cast<unsigned long>(size), &width, &height, &subsampling,
                            &colorspace) != 0 ||
        width <= 0 || height <= 0)
        return kBadImageDataErr;
    // Such a file needs memory for every sample at full size, even for a thumbnail: a forged
    // header would otherwise have the library take gigabytes.
    if (HoldsWholeImage(data, size) && uint64_t(width) * uint64_t(height) > kZbMaxDecodedPixels) return kMemFullErr;
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
    // Print files (CMYK, or YCCK which the library turns into CMYK) decode as CMYK, 4 bytes a
    // pixel like RGBA, and are turned into RGB here: the library converts them to nothing else.
    const bool cmyk = colorspace == TJCS_CMYK || colorspace == TJCS_YCCK;
    if (tj.decompress(decoder.handle, data, static_cast<unsigned long>(size), image.pixels.data(), int(image.width),
                      0, int(image.height), cmyk ? TJPF_CMYK : TJPF_RGBA, flags) != 0 &&
        tj.errorCode(decoder.handle) != TJERR_WARNING)
        return kBadImageDataErr;
    if (cmyk) CMYKToRGBA(image.pixels, HasAdobeSegment(data, size));
    return 0;
}

long Zb7_EncodeJPEG(const uint8_t *rgb, uint32_t width, uint32_t height, int quality, std::vector<uint8_t> &jpeg) {
    const ZbTurboJPEG &tj = TurboJPEG();
    if (!tj.ready) return kNoImporterErr;
    ZbTJHandle encoder(tj.initCompress());
    if (!encoder.handle) return kMemFullErr;
    unsigned char *out = nullptr;
    unsigned long outSize = 0;
    const int rc = tj.compress(encoder.handle, rgb, int(width), 0, int(height), TJPF_RGB,
                               &out, &outSize, TJSAMP_420, quality, 0);
    long err = 0;
    if (rc != 0 || !out) {
        err = kBadImageDataErr;
    } else {
        try {
            jpeg.assign(out, out + outSize);
        } catch (const std::bad_alloc &) {
            err = kMemFullErr;
        }
    }
    if (out) tj.free(out);
    return err;
}

namespace {

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
    size_t length = 0;
    const uint8_t *exif = FindSegment(data, size, 0xE1, "Exif\0\0", 6, length);
    return exif ? OrientationInTIFF(exif + 6, length - 6) : 1;
}
