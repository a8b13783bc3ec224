// Thumbnails of image files: the switches, and the thumbnail's picture in its three forms.
#ifndef ZERB_IMAGE_THUMBNAILS_H
#define ZERB_IMAGE_THUMBNAILS_H

#include <cstdint>
#include <string>
#include <vector>

#include "filecore/fsspec.h"
#include "image/decoders.h"
#include "image/drawing.h"

constexpr uint32_t kZbDefaultThumbnailSize = 80;
constexpr uint32_t kZbMaxThumbnailSize = 32767;

struct ZbThumbnailSwitches {
    uint32_t size = kZbDefaultThumbnailSize;  // the longest side in pixels
    int depth = 16;                           // of the drawing buffer: 16 or 8
    bool includePict = false;
    bool tryMovie = false;
    bool getResourcePict = false;
    bool preferResourceFork = false;
    bool tryResourceFork = false;
};

// "-size" is one of 32, 80, 128, 256, 350 and 512, or any value with "-AllowAllThumbnailSizes"
// (negative ones 0); other values leave 80. The size is at most 32767.
ZbThumbnailSwitches Zb7_ReadThumbnailSwitches(const char *switches);

struct ZbThumbnail {
    ZbDrawing drawing;
    std::vector<uint8_t> jpeg;
    std::vector<uint8_t> pict;  // only when asked for
};

// The picture of an image file in memory (JPEG decoded at a scale near the thumbnail's size and
// turned as its EXIF orientation says).
[[nodiscard]] long Zb7_PictureFromImageFile(const uint8_t *data, size_t size, uint32_t thumbnailSize, ZbImage &picture);

// The thumbnail of the file (its reference, for the resource fork, and its path), from its image
// or its picture resource as the switches say.
[[nodiscard]] long Zb7_MakeThumbnail(const FSSpec &ref, const std::string &path, const ZbThumbnailSwitches &switches,
                                     ZbThumbnail &thumbnail);

#endif
