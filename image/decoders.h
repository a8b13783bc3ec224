// Decoders of the image formats thumbnails are made from. Each takes the whole file in memory
// and answers its first image as 8-bit RGBA. The codec libraries are opened at run time
// (platform/shared_libraries.h): a decoder whose library is missing answers kNoImporterErr, and
// the others go on working.
//
// Every decoder reads the image's declared dimensions first and refuses, before allocating
// anything for the pixels, an image of more than kZbMaxDecodedPixels pixels as decoded.
#ifndef ZERB_IMAGE_DECODERS_H
#define ZERB_IMAGE_DECODERS_H

#include <cstddef>
#include <cstdint>
#include <vector>

// A decoded picture: rows top to bottom, 4 bytes a pixel (R, G, B, A), no padding.
struct ZbImage {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> pixels;
};

// The most pixels a decoder produces (4 bytes each: 256 MB).
constexpr uint64_t kZbMaxDecodedPixels = 64ull * 1024 * 1024;

// Formats by their first bytes.
enum class ZbImageFormat { unknown, jpeg, png, gif, tiff, webp, bmp };
ZbImageFormat Zb7_SniffImageFormat(const uint8_t *data, size_t size);

// JPEG through TurboJPEG, decoded at the smallest of its scales (1/8 to 1) that still gives a
// longest side of at least `longestSide` pixels (0: full size), so a thumbnail of a large photo
// never decodes it whole. CMYK and YCCK files are turned into RGB (Adobe's inverted samples when
// the file has Adobe's APP14 segment). The EXIF orientation is not applied here.
[[nodiscard]] long Zb7_DecodeJPEG(const uint8_t *data, size_t size, uint32_t longestSide, ZbImage &image);
[[nodiscard]] long Zb7_DecodePNG(const uint8_t *data, size_t size, ZbImage &image);
// The first frame of a GIF, transparent pixels with alpha 0.
[[nodiscard]] long Zb7_DecodeGIF(const uint8_t *data, size_t size, ZbImage &image);
// The first page (directory) of a TIFF, in its stated orientation.
[[nodiscard]] long Zb7_DecodeTIFF(const uint8_t *data, size_t size, ZbImage &image);
// WebP, scaled in the decoder like JPEG when `longestSide` is not 0.
[[nodiscard]] long Zb7_DecodeWebP(const uint8_t *data, size_t size, uint32_t longestSide, ZbImage &image);
// Windows bitmaps: uncompressed 1, 4, 8, 16, 24 and 32 bits a pixel, RLE4 and RLE8, bottom-up
// and top-down; read by the plug-in itself.
[[nodiscard]] long Zb7_DecodeBMP(const uint8_t *data, size_t size, ZbImage &image);

// A binary pixmap ("P6", 8 bits a channel) as ffmpeg writes one frame of a movie: the header's
// fields separated by whitespace without comments, a single whitespace byte after the maximum
// value of 255, then exactly width x height x 3 bytes. Anything else is malformed.
[[nodiscard]] long Zb7_DecodePPM(const uint8_t *data, size_t size, ZbImage &image);

// Checks the declared size against kZbMaxDecodedPixels and sizes the pixel buffer: 0, or
// kMemFullErr (also when the memory cannot be had).
[[nodiscard]] long Zb7_AllocateImage(uint32_t width, uint32_t height, ZbImage &image);

#endif
