// JPEG through TurboJPEG (opened at run time): compression of thumbnails, and the EXIF
// orientation a photo is meant to be seen in. Decoding is in decoders.h.
#ifndef ZERB_IMAGE_JPEG_CODEC_H
#define ZERB_IMAGE_JPEG_CODEC_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "image/decoders.h"
#include "platform/errors.h"

// The quality thumbnails are compressed at: libjpeg's normal quality.
constexpr int kZbJPEGNormalQuality = 75;

// Compresses RGB pixels (3 bytes each, rows without padding) as a baseline JPEG, 4:2:0.
// kNoImporterErr without TurboJPEG, kMemFullErr without memory.
[[nodiscard]] long Zb7_EncodeJPEG(const uint8_t *rgb, uint32_t width, uint32_t height, int quality,
                                  std::vector<uint8_t> &jpeg);

// The EXIF orientation (1 to 8) of a JPEG file in memory, from the first APP1 "Exif" segment
// before the image data; 1 when there is none or it cannot be read.
int Zb7_JPEGOrientation(const uint8_t *data, size_t size);

#endif
