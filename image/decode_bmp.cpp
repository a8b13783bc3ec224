// Windows and OS/2 bitmaps, read by the plug-in itself: 1, 4 and 8 bits a pixel with a colour
// table, 16 and 32 bits with or without channel masks, 24 bits, and the RLE8 and RLE4 encodings.
// Every offset is checked against the file's bytes.
#include <bit>
#include <cstring>

#include "image/decoders.h"
#include "platform/errors.h"

namespace {

uint32_t U16(const uint8_t *p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8; }
uint32_t U32(const uint8_t *p) { return U16(p) | U16(p + 2) << 16; }

enum : uint32_t { kRGB = 0, kRLE8 = 1, kRLE4 = 2, kBitFields = 3, kAlphaBitFields = 6 };

// A channel given by its mask, widened to 8 bits; a channel without a mask reads `absent`.
struct ZbChannel {
    uint32_t mask = 0;
    int shift = 0;
    uint32_t maximum = 0;
    explicit ZbChannel(uint32_t m) : mask(m) {
        if (!m) return;
        shift = std::countr_zero(m);
        const int bits = std::min(std::popcount(m >> shift), 16);
        maximum = (1u << bits) - 1;
    }
    uint8_t Of(uint32_t pixel, uint8_t absent) const {
        if (!mask) return absent;
        return uint8_t((((pixel & mask) >> shift) & maximum) * 255 / maximum);
    }
};

void Put(ZbImage &image, uint32_t x, uint32_t y, uint8_t r, uint8_t g, uint8_t b, uint8_t a = 255) {
    if (x >= image.width || y >= image.height) return;
    uint8_t *p = image.pixels.data() + (size_t(y) * image.width + x) * 4;
    p[0] = r, p[1] = g, p[2] = b, p[3] = a;
}

}  // namespace

long Zb7_DecodeBMP(const uint8_t *data, size_t size, ZbImage &image) {
    if (size < 26 || data[0] != 'B' || data[1] != 'M') return kBadImageDataErr;
    const uint64_t pixelOffset = U32(data + 10);
    const uint32_t headerSize = U32(data + 14);
    const bool core = headerSize == 12;
    if (!core && headerSize < 40) return kBadImageDataErr;
    if (14 + uint64_t(headerSize) > size) return kBadImageDataErr;
    const uint8_t *h = data + 14;
    const int64_t width = core ? int64_t(U16(h + 4)) : int64_t(int32_t(U32(h + 4)));
    const int64_t rawHeight = core ? int64_t(U16(h + 6)) : int64_t(int32_t(U32(h + 8)));
    const uint32_t bits = core ? U16(h + 10) : U16(h + 14);
    const uint32_t compression = core ? kRGB : U32(h + 16);
    const bool topDown = rawHeight < 0;
    const int64_t height = topDown ? -rawHeight : rawHeight;
    if (width <= 0 || height <= 0 || width > 0x7FFFFFFF || height > 0x7FFFFFFF) return kBadImageDataErr;
    const bool rle = compression == kRLE8 || compression == kRLE4;
    if (!(bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32)) return kBadImageDataErr;
    if ((compression == kRLE8 && bits != 8) || (compression == kRLE4 && bits != 4) || (rle && topDown) ||
        !(compression == kRGB || rle || compression == kBitFields || compression == kAlphaBitFields))
        return kBadImageDataErr;
    if (pixelOffset >= size) return kBadImageDataErr;

    // The channel masks: in the header from version 3 on, or right after a 40-byte header.
    uint32_t masks[4] = {0, 0, 0, 0};
    if (compression == kBitFields || compression == kAlphaBitFields) {
        const uint64_t at = headerSize >= 52 ? 14 + 40 : 14 + uint64_t(headerSize);
        const int count = headerSize >= 56 || compression == kAlphaBitFields ? 4 : 3;
        if (at + 4 * uint64_t(count) > size) return kBadImageDataErr;
        for (int k = 0; k < count; ++k) masks[k] = U32(data + at + 4 * k);
    } else if (bits == 16) {
        masks[0] = 0x7C00, masks[1] = 0x03E0, masks[2] = 0x001F;
    }
    const ZbChannel red(masks[0]), green(masks[1]), blue(masks[2]), alpha(masks[3]);

    // The colour table, after the header (and its masks).
    uint8_t palette[256][3] = {};
    uint32_t colours = 0;
    if (bits <= 8) {
        const uint32_t used = core ? 0 : U32(h + 32);
        colours = used == 0 || used > (1u << bits) ? 1u << bits : used;
        const uint64_t at = 14 + uint64_t(headerSize) + (compression == kBitFields && headerSize == 40 ? 12 : 0);
        const uint32_t entry = core ? 3 : 4;
        for (uint32_t k = 0; k < colours && at + uint64_t(k + 1) * entry <= size; ++k) {
            const uint8_t *c = data + at + uint64_t(k) * entry;
            palette[k][0] = c[2], palette[k][1] = c[1], palette[k][2] = c[0];
        }
    }

    if (const long err = Zb7_AllocateImage(uint32_t(width), uint32_t(height), image)) return err;
    const uint32_t w = image.width, ht = image.height;
    auto rowOf = [&](uint64_t y) { return uint32_t(topDown ? y : ht - 1 - y); };

    if (rle) {
        // Pixels the encoding skips stay transparent.
        const uint8_t *p = data + pixelOffset, *end = data + size;
        uint64_t x = 0, y = 0;
        auto put = [&](uint32_t index) {
            if (x < w && y < ht) Put(image, uint32_t(x), rowOf(y), palette[index][0], palette[index][1], palette[index][2]);
            ++x;
        };
        while (end - p >= 2 && y < ht) {
            const uint32_t count = p[0], value = p[1];
            p += 2;
            if (count > 0) {
                for (uint32_t k = 0; k < count; ++k)
                    put(compression == kRLE8 ? value : (k % 2 ? value & 15 : value >> 4));
            } else if (value == 0) {
                x = 0, ++y;
            } else if (value == 1) {
                break;
            } else if (value == 2) {
                if (end - p < 2) break;
                x += p[0], y += p[1];
                p += 2;
            } else {
                const uint64_t bytes = compression == kRLE8 ? value : (value + 1) / 2;
                const uint64_t padded = bytes + (bytes & 1);
                if (uint64_t(end - p) < bytes) break;
                for (uint32_t k = 0; k < value; ++k)
                    put(compression == kRLE8 ? p[k] : (k % 2 ? p[k / 2] & 15 : p[k / 2] >> 4));
                p += std::min<uint64_t>(padded, uint64_t(end - p));
            }
        }
        return 0;
    }

    const uint64_t stride = (uint64_t(w) * bits + 31) / 32 * 4;
    if (pixelOffset + stride * ht > size) return kBadImageDataErr;
    for (uint64_t y = 0; y < ht; ++y) {
        const uint8_t *row = data + pixelOffset + y * stride;
        const uint32_t target = rowOf(y);
        for (uint32_t x = 0; x < w; ++x) {
            if (bits <= 8) {
                const uint64_t bit = uint64_t(x) * bits;
                const uint32_t index = (row[bit / 8] >> (8 - bits - bit % 8)) & ((1u << bits) - 1);
                Put(image, x, target, palette[index][0], palette[index][1], palette[index][2]);
            } else if (bits == 24) {
                const uint8_t *px = row + uint64_t(x) * 3;
                Put(image, x, target, px[2], px[1], px[0]);
            } else if (bits == 32 && compression == kRGB) {
                const uint8_t *px = row + uint64_t(x) * 4;
                Put(image, x, target, px[2], px[1], px[0]);
            } else {
                const uint32_t pixel = bits == 16 ? U16(row + uint64_t(x) * 2) : U32(row + uint64_t(x) * 4);
                Put(image, x, target, red.Of(pixel, 0), green.Of(pixel, 0), blue.Of(pixel, 0), alpha.Of(pixel, 255));
            }
        }
    }
    return 0;
}
