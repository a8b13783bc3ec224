// TIFF through libtiff, read from memory: the first directory, in its stated orientation.
#include <tiffio.h>

#include <bit>
#include <cstring>

#include "image/decoders.h"
#include "platform/errors.h"
#include "platform/shared_libraries.h"

namespace {

struct ZbLibTIFF {
    decltype(&TIFFClientOpen) clientOpen = nullptr;
    decltype(&TIFFClose) close = nullptr;
    decltype(&TIFFGetField) getField = nullptr;
    decltype(&TIFFReadRGBAImageOriented) readRGBA = nullptr;
    decltype(&TIFFSetErrorHandler) setErrorHandler = nullptr;
    decltype(&TIFFSetWarningHandler) setWarningHandler = nullptr;
    bool ready = false;
};

const ZbLibTIFF &LibTIFF() {
    static const ZbLibTIFF library = [] {
        ZbLibTIFF l;
        l.ready = Zb7_PlatformBindSymbols(Zb7_PlatformOpenLibrary({"libtiff.so.6", "libtiff.so.5"}),
                                          {"TIFFClientOpen", "TIFFClose", "TIFFGetField", "TIFFReadRGBAImageOriented",
                                           "TIFFSetErrorHandler", "TIFFSetWarningHandler"},
                                          l.clientOpen, l.close, l.getField, l.readRGBA, l.setErrorHandler,
                                          l.setWarningHandler);
        // libtiff prints its complaints on standard error, which on a server is the server's log;
        // the decoder's answer says what went wrong.
        if (l.ready) l.setErrorHandler(nullptr), l.setWarningHandler(nullptr);
        return l;
    }();
    return library;
}

struct ZbMemory {
    const uint8_t *data;
    uint64_t size, at = 0;
};

tmsize_t Read(thandle_t handle, void *to, tmsize_t count) {
    ZbMemory &in = *static_cast<ZbMemory *>(handle);
    const uint64_t n = count <= 0 || in.at >= in.size ? 0 : std::min<uint64_t>(uint64_t(count), in.size - in.at);
    std::memcpy(to, in.data + in.at, size_t(n));
    in.at += n;
    return tmsize_t(n);
}
tmsize_t Write(thandle_t, void *, tmsize_t) { return 0; }
toff_t Seek(thandle_t handle, toff_t offset, int whence) {
    ZbMemory &in = *static_cast<ZbMemory *>(handle);
    const uint64_t base = whence == SEEK_CUR ? in.at : whence == SEEK_END ? in.size : 0;
    in.at = base + offset;
    return in.at;
}
int Close(thandle_t) { return 0; }
toff_t Size(thandle_t handle) { return static_cast<ZbMemory *>(handle)->size; }
int Map(thandle_t, void **, toff_t *) { return 0; }
void Unmap(thandle_t, void *, toff_t) {}

struct ZbTIFF {
    TIFF *tiff;
    ~ZbTIFF() {
        if (tiff) LibTIFF().close(tiff);
    }
};

}  // namespace

long Zb7_DecodeTIFF(const uint8_t *data, size_t size, ZbImage &image) {
    const ZbLibTIFF &lib = LibTIFF();
    if (!lib.ready) return kNoImporterErr;
    ZbMemory memory{data, size};
    // "m": never memory-map; the bytes are in memory already.
    ZbTIFF file{lib.clientOpen("image", "rm", &memory, Read, Write, Seek, Close, Size, Map, Unmap)};
    if (!file.tiff) return kBadImageDataErr;
    uint32_t width = 0, height = 0;
    if (!lib.getField(file.tiff, TIFFTAG_IMAGEWIDTH, &width) || !lib.getField(file.tiff, TIFFTAG_IMAGELENGTH, &height))
        return kBadImageDataErr;
    if (const long err = Zb7_AllocateImage(width, height, image)) return err;
    uint32_t *raster = reinterpret_cast<uint32_t *>(image.pixels.data());
    if (!lib.readRGBA(file.tiff, width, height, raster, ORIENTATION_TOPLEFT, 0)) return kBadImageDataErr;
    // Each pixel comes as one number, red in the low byte: in memory R, G, B, A only where the
    // low byte comes first.
    if constexpr (std::endian::native == std::endian::big)
        for (size_t k = 0; k < size_t(width) * height; ++k) raster[k] = __builtin_bswap32(raster[k]);
    return 0;
}
