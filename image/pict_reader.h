// Reading pictures (PICT, versions 1 and 2) into pixels, for thumbnails of the picture resources
// older files carry in their resource fork. The pixel opcodes are drawn (bitmaps, indexed and
// direct pixel maps, packed or not, and QuickTime-compressed JPEG images); the drawing opcodes
// (lines, shapes, text) are passed over, so a picture made only of them answers
// kBadImageDataErr. A 512-byte file header in front of the picture is recognised and skipped.
#ifndef ZERB_IMAGE_PICT_READER_H
#define ZERB_IMAGE_PICT_READER_H

#include <cstddef>
#include <cstdint>

#include "image/decoders.h"
#include "platform/errors.h"

// The picture drawn on white at its frame's size.
[[nodiscard]] long Zb7_PictToImage(const uint8_t *data, size_t size, ZbImage &image);

#endif
