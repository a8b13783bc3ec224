#include "image/pict_writer.h"
#include "platform/errors.h"

#include <cstring>
#include <new>

namespace {

struct ZbPictOut {
    std::vector<uint8_t> &bytes;
    void U8(uint8_t v) { bytes.push_back(v); }
    void U16(uint32_t v) {
        bytes.push_back(uint8_t(v >> 8));
        bytes.push_back(uint8_t(v));
    }
    void U32(uint32_t v) {
        U16(v >> 16);
        U16(v & 0xFFFF);
    }
    void Rect(uint32_t height, uint32_t width) {
        U16(0), U16(0), U16(height), U16(width);
    }
};

constexpr uint32_t k72dpi = 0x00480000;

bool SameUnit(const uint8_t *a, const uint8_t *b, int unitBytes) { return std::memcmp(a, b, size_t(unitBytes)) == 0; }

}  // namespace

void Zb7_PackBits(const uint8_t *row, size_t units, int unitBytes, std::vector<uint8_t> &out) {
    size_t i = 0;
    while (i < units) {
        // A run of at least 3 equal units (2 for 16-bit units, where a pair already saves) repeats.
        size_t run = 1;
        while (i + run < units && run < 128 && SameUnit(row + (i + run) * unitBytes, row + i * unitBytes, unitBytes)) ++run;
        if (run >= size_t(unitBytes == 1 ? 3 : 2)) {
            out.push_back(uint8_t(1 - int(run)));
            out.insert(out.end(), row + i * unitBytes, row + (i + 1) * unitBytes);
            i += run;
            continue;
        }
        // Literal units up to the next run worth repeating.
        size_t literal = 0;
        while (i + literal < units && literal < 128) {
            const size_t at = i + literal;
            size_t ahead = 1;
            while (at + ahead < units && ahead < 3 && SameUnit(row + (at + ahead) * unitBytes, row + at * unitBytes, unitBytes))
                ++ahead;
            if (ahead >= size_t(unitBytes == 1 ? 3 : 2)) break;
            ++literal;
        }
        out.push_back(uint8_t(literal - 1));
        out.insert(out.end(), row + i * unitBytes, row + (i + literal) * unitBytes);
        i += literal;
    }
}

long Zb7_DrawingToPICT(const ZbDrawing &drawing, std::vector<uint8_t> &pict) {
    const uint32_t w = drawing.width, h = drawing.height;
    if (w == 0 || h == 0 || w > 32767 || h > 32767) return kParamErr;
    const bool direct = drawing.depth != 8;
    const uint32_t rowBytes = direct ? w * 2 : (w + 1) & ~1u;
    if (rowBytes > 0x3FFE) return kParamErr;  // the largest row a pixel map can describe
    try {
        pict.clear();
        ZbPictOut out{pict};
        out.U16(0);  // the size's low 16 bits, set at the end
        out.Rect(h, w);
        out.U16(0x0011), out.U16(0x02FF);  // version 2
        out.U16(0x0C00);                    // header: extended version 2, 72 dpi
        out.U16(0xFFFE), out.U16(0), out.U32(k72dpi), out.U32(k72dpi), out.Rect(h, w), out.U32(0);
        out.U16(0x001E);                        // default highlight
        out.U16(0x0001), out.U16(10), out.Rect(h, w);  // clip region: the frame
        out.U16(direct ? 0x009A : 0x0098);
        if (direct) out.U32(0x000000FF);  // base address of a direct pixel map
        out.U16(rowBytes | 0x8000);
        out.Rect(h, w);
        out.U16(0);                        // pixel map version
        out.U16(direct ? 3 : 0);           // packing: 16-bit units, or bytes
        out.U32(0), out.U32(k72dpi), out.U32(k72dpi);
        out.U16(direct ? 16 : 0);          // direct colour, or indexed
        out.U16(direct ? 16 : 8);          // bits a pixel
        out.U16(direct ? 3 : 1), out.U16(direct ? 5 : 8);  // components and their bits
        out.U32(0), out.U32(0), out.U32(0);
        if (!direct) {
            const ZbPalette &palette = Zb7_StandardPalette();
            out.U32(0), out.U16(0), out.U16(255);
            for (uint32_t k = 0; k < 256; ++k) {
                out.U16(k);
                for (int c = 0; c < 3; ++c) out.U16(palette[k][c] * 0x101u);
            }
        }
        out.Rect(h, w), out.Rect(h, w), out.U16(0);  // source, destination, copy mode
        const size_t dataStart = pict.size();
        std::vector<uint8_t> row(rowBytes), packed;
        for (uint32_t y = 0; y < h; ++y) {
            for (uint32_t x = 0; x < w; ++x) {
                if (direct) {
                    const uint8_t *px = drawing.rgb.data() + (size_t(y) * w + x) * 3;
                    const uint16_t v = uint16_t((px[0] >> 3) << 10 | (px[1] >> 3) << 5 | (px[2] >> 3));
                    row[x * 2] = uint8_t(v >> 8), row[x * 2 + 1] = uint8_t(v);
                } else {
                    row[x] = drawing.index[size_t(y) * w + x];
                }
            }
            if (rowBytes < 8) {
                pict.insert(pict.end(), row.begin(), row.end());
                continue;
            }
            packed.clear();
            Zb7_PackBits(row.data(), direct ? w : rowBytes, direct ? 2 : 1, packed);
            if (rowBytes > 250)
                out.U16(uint32_t(packed.size()));
            else
                out.U8(uint8_t(packed.size()));
            pict.insert(pict.end(), packed.begin(), packed.end());
        }
        if ((pict.size() - dataStart) % 2) out.U8(0);  // opcodes start on even offsets
        out.U16(0x00FF);
        pict[0] = uint8_t(pict.size() >> 8), pict[1] = uint8_t(pict.size());
    } catch (const std::bad_alloc &) {
        return kMemFullErr;
    }
    return 0;
}
