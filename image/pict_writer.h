// Version-2 pictures (PICT) of a thumbnail's drawing buffer, as the original platform recorded
// off-screen drawings: one pixel-map opcode holding the pixels, 16 bits a pixel as direct colour
// or 8 bits a pixel with the standard colour table, rows packed with PackBits. The picture has no
// 512-byte file header (a container's "PICT" stream starts at the picture's size word).
#ifndef ZERB_IMAGE_PICT_WRITER_H
#define ZERB_IMAGE_PICT_WRITER_H

#include <cstdint>
#include <vector>

#include "image/drawing.h"

// -108 without memory; -50 for a drawing wider or taller than 32767 pixels.
[[nodiscard]] long Zb7_DrawingToPICT(const ZbDrawing &drawing, std::vector<uint8_t> &pict);

// PackBits of one row in units of 1 or 2 bytes (8-bit rows and 16-bit rows), appended to out.
void Zb7_PackBits(const uint8_t *row, size_t units, int unitBytes, std::vector<uint8_t> &out);

#endif
