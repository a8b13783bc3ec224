// PNG through libpng's simplified reading interface.
#include <png.h>

#include <cstring>

#include "image/decoders.h"
#include "platform/errors.h"
#include "platform/shared_libraries.h"

namespace {

struct ZbLibPNG {
    decltype(&png_image_begin_read_from_memory) begin = nullptr;
    decltype(&png_image_finish_read) finish = nullptr;
    decltype(&png_image_free) free = nullptr;
    bool ready = false;
};

const ZbLibPNG &LibPNG() {
    static const ZbLibPNG library = [] {
        ZbLibPNG l;
        l.ready = Zb7_PlatformBindSymbols(Zb7_PlatformOpenLibrary({"libpng16.so.16"}),
                                          {"png_image_begin_read_from_memory", "png_image_finish_read",
                                           "png_image_free"},
                                          l.begin, l.finish, l.free);
        return l;
    }();
    return library;
}

// The reading state, freed on every path.
struct ZbPNGImage {
    png_image image;
    ZbPNGImage() {
        std::memset(&image, 0, sizeof image);
        image.version = PNG_IMAGE_VERSION;
    }
    ~ZbPNGImage() { LibPNG().free(&image); }
    ZbPNGImage(const ZbPNGImage &) = delete;
    ZbPNGImage &operator=(const ZbPNGImage &) = delete;
};

}  // namespace

long Zb7_DecodePNG(const uint8_t *data, size_t size, ZbImage &image) {
    const ZbLibPNG &png = LibPNG();
    if (!png.ready) return kNoImporterErr;
    ZbPNGImage reading;
    // The header alone: the size is checked before anything is allocated for the pixels.
    if (!png.begin(&reading.image, data, size)) return kBadImageDataErr;
    if (const long err = Zb7_AllocateImage(reading.image.width, reading.image.height, image)) return err;
    reading.image.format = PNG_FORMAT_RGBA;
    if (!png.finish(&reading.image, nullptr, image.pixels.data(), 0, nullptr)) return kBadImageDataErr;
    return 0;
}
