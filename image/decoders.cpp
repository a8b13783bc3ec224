// What the decoders share: telling formats apart and sizing a picture within the limit.
#include <cstring>
#include <new>

#include "image/decoders.h"
#include "platform/errors.h"

ZbImageFormat Zb7_SniffImageFormat(const uint8_t *data, size_t size) {
    auto starts = [&](const char *magic, size_t length, size_t at = 0) {
        return size >= at + length && std::memcmp(data + at, magic, length) == 0;
    };
    if (starts("\xFF\xD8\xFF", 3)) return ZbImageFormat::jpeg;
    if (starts("\x89PNG\r\n\x1A\n", 8)) return ZbImageFormat::png;
    if (starts("GIF87a", 6) || starts("GIF89a", 6)) return ZbImageFormat::gif;
    if (starts("II*\0", 4) || starts("MM\0*", 4) || starts("II+\0", 4) || starts("MM\0+", 4)) return ZbImageFormat::tiff;
    if (starts("RIFF", 4) && starts("WEBP", 4, 8)) return ZbImageFormat::webp;
    if (starts("BM", 2) && size >= 26) return ZbImageFormat::bmp;
    return ZbImageFormat::unknown;
}

long Zb7_AllocateImage(uint32_t width, uint32_t height, ZbImage &image) {
    if (width == 0 || height == 0) return kBadImageDataErr;
    if (uint64_t(width) * height > kZbMaxDecodedPixels) return kMemFullErr;
    try {
        image.pixels.assign(size_t(width) * height * 4, 0);
    } catch (const std::bad_alloc &) {
        return kMemFullErr;
    }
    image.width = width;
    image.height = height;
    return 0;
}
