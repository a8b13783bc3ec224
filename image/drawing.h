// The drawing buffer of a thumbnail: the picture composed on white, scaled so that its longest
// side is the thumbnail's size, in 16 bits a pixel (5 bits a channel) or in the 256 colours of
// the original platform's standard table.
#ifndef ZERB_IMAGE_DRAWING_H
#define ZERB_IMAGE_DRAWING_H

#include <array>
#include <cstdint>
#include <vector>

#include "image/decoders.h"
#include "platform/errors.h"

// The largest drawing buffer a thumbnail may have (16,777,216 pixels: a 4096 x 4096 square, or
// 32767 x 512); a larger one answers kMemFullErr instead of exhausting the server.
constexpr uint64_t kZbMaxDrawingPixels = 16ull * 1024 * 1024;

struct ZbDrawing {
    uint32_t width = 0;
    uint32_t height = 0;
    int depth = 16;               // 16, 8, or 24 (full colour)
    std::vector<uint8_t> rgb;     // 3 bytes a pixel, the colours as drawn at the depth
    std::vector<uint8_t> index;   // depth 8: each pixel's entry in the standard table
};

using ZbPalette = std::array<std::array<uint8_t, 3>, 256>;
// The standard 256-colour table: the 6 x 6 x 6 colour cube from white without black, ramps of red,
// green, blue and grey, black last.
const ZbPalette &Zb7_StandardPalette();

// The thumbnail's width and height for a picture of width x height whose longest side becomes
// `size` (the other side in proportion, at least 1).
void Zb7_ThumbnailBounds(uint32_t width, uint32_t height, uint32_t size, uint32_t &outWidth, uint32_t &outHeight);

// Turns the picture as the EXIF orientation (1 to 8) says it should be seen.
[[nodiscard]] long Zb7_ApplyOrientation(ZbImage &image, int orientation);

// Draws the picture on white into a buffer of the size's bounds at the depth (16, 8, or 24 to keep
// the colours as they are), averaging the picture's pixels over the area each thumbnail pixel
// covers.
[[nodiscard]] long Zb7_DrawThumbnail(const ZbImage &picture, uint32_t size, int depth, ZbDrawing &drawing);

#endif
