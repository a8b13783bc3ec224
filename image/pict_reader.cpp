#include "image/pict_reader.h"
#include "platform/errors.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <vector>

namespace {

// A bounds-checked reader over the picture's bytes; a read past the end sets `bad` and gives 0.
struct ZbPictIn {
    const uint8_t *data;
    size_t size;
    size_t at = 0;
    bool bad = false;

    bool Has(size_t n) const { return !bad && n <= size - at; }
    uint32_t U8() { return Has(1) ? data[at++] : Fail(); }
    uint32_t U16() { return Has(2) ? (at += 2, uint32_t(data[at - 2]) << 8 | data[at - 1]) : Fail(); }
    uint32_t U32() {
        const uint32_t high = U16();
        return high << 16 | U16();
    }
    int32_t S16() { return int16_t(uint16_t(U16())); }
    void Skip(size_t n) {
        if (Has(n))
            at += n;
        else
            Fail();
    }
    const uint8_t *Bytes(size_t n) {
        if (!Has(n)) return Fail(), nullptr;
        at += n;
        return data + at - n;
    }
    uint32_t Fail() {
        bad = true;
        return 0;
    }
};

struct ZbRect {
    int32_t top = 0, left = 0, bottom = 0, right = 0;
    int32_t Width() const { return right - left; }
    int32_t Height() const { return bottom - top; }
};

ZbRect ReadRect(ZbPictIn &in) {
    ZbRect r;
    r.top = in.S16(), r.left = in.S16(), r.bottom = in.S16(), r.right = in.S16();
    return r;
}

// The largest row a pixel map can have, and the pictures' limits on what is drawn.
constexpr uint32_t kMaxRowBytes = 0x3FFE;

struct ZbCanvas {
    ZbImage &image;
    ZbRect frame;
    bool drew = false;
    // Pixels the picture's opcodes may still visit: a picture of many large pixel maps ends
    // instead of taking unbounded time.
    int64_t budget = 2 * int64_t(kZbMaxDecodedPixels);

    void Put(int32_t x, int32_t y, uint8_t r, uint8_t g, uint8_t b) {
        x -= frame.left, y -= frame.top;
        if (x < 0 || y < 0 || uint32_t(x) >= image.width || uint32_t(y) >= image.height) return;
        uint8_t *p = image.pixels.data() + (size_t(y) * image.width + uint32_t(x)) * 4;
        p[0] = r, p[1] = g, p[2] = b, p[3] = 255;
        drew = true;
    }
};

// Expands one PackBits row in units of `unit` bytes into `row` (which it fills at most).
bool UnpackBits(const uint8_t *packed, size_t length, int unit, std::vector<uint8_t> &row) {
    size_t out = 0, i = 0;
    while (i < length && out < row.size()) {
        const int flag = int8_t(packed[i++]);
        if (flag >= 0) {
            const size_t n = size_t(flag + 1) * unit;
            if (i + n > length) return false;
            const size_t take = std::min(n, row.size() - out);
            std::memcpy(row.data() + out, packed + i, take);
            out += take, i += n;
        } else if (flag != -128) {
            if (i + unit > length) return false;
            for (int k = 0; k < 1 - flag && out < row.size(); ++k)
                for (int b = 0; b < unit && out < row.size(); ++b) row[out++] = packed[i + b];
            i += unit;
        }
    }
    return true;
}

// A bitmap or pixel map opcode (0x90, 0x91, 0x98, 0x99, 0x9A, 0x9B): its header, colour table,
// rectangles and rows, drawn on the canvas.
bool DrawPixels(ZbPictIn &in, uint32_t opcode, ZbCanvas &canvas) {
    const bool direct = opcode == 0x9A || opcode == 0x9B;
    const bool region = opcode & 1;
    if (direct) in.Skip(4);  // base address
    const uint32_t rowWord = in.U16();
    const bool pixmap = rowWord & 0x8000;
    const uint32_t rowBytes = rowWord & 0x3FFF;
    const ZbRect bounds = ReadRect(in);
    uint32_t packType = 0, pixelSize = 1, cmpCount = 1;
    if (pixmap) {
        in.Skip(2);  // version
        packType = in.U16();
        in.Skip(12);  // pack size, resolutions
        in.Skip(2);   // pixel type
        pixelSize = in.U16();
        cmpCount = in.U16();
        in.Skip(2 + 12);  // component size, plane bytes, table, reserved
    }
    std::array<std::array<uint8_t, 3>, 256> colours{};
    colours[0] = {255, 255, 255};  // a bitmap: 0 white, 1 black
    if (pixmap && !direct) {
        in.Skip(4);
        const uint32_t flags = in.U16();
        const uint32_t count = in.U16() + 1;
        for (uint32_t k = 0; k < count && !in.bad; ++k) {
            const uint32_t value = in.U16();
            const uint8_t rgb[3] = {uint8_t(in.U16() >> 8), uint8_t(in.U16() >> 8), uint8_t(in.U16() >> 8)};
            const uint32_t slot = flags & 0x8000 ? k : value;  // a device table is in order
            if (slot < 256) colours[slot] = {rgb[0], rgb[1], rgb[2]};
        }
    }
    const ZbRect src = ReadRect(in), dst = ReadRect(in);
    in.Skip(2);  // transfer mode
    if (region) in.Skip(in.Has(2) ? std::max<uint32_t>(in.U16(), 2) - 2 : 0);
    const int32_t width = bounds.Width(), height = bounds.Height();
    if (in.bad || width <= 0 || height <= 0 || rowBytes == 0 || rowBytes > kMaxRowBytes) return false;
    if (!(pixelSize == 1 || pixelSize == 2 || pixelSize == 4 || pixelSize == 8 || pixelSize == 16 || pixelSize == 32))
        return false;
    if (uint64_t(width) * pixelSize > uint64_t(rowBytes) * 8 && !(pixelSize == 32 && packType == 2)) return false;

    std::vector<uint8_t> row(rowBytes);
    for (int32_t y = 0; y < height; ++y) {
        if (rowBytes < 8 || packType == 1 || (pixelSize == 32 && packType == 2)) {
            const size_t n = pixelSize == 32 && packType == 2 ? size_t(width) * 3 : rowBytes;
            row.resize(std::max(row.size(), n));
            const uint8_t *raw = in.Bytes(n);
            if (!raw) return false;
            std::memcpy(row.data(), raw, n);
        } else {
            const uint32_t length = rowBytes > 250 ? in.U16() : in.U8();
            const uint8_t *packed = in.Bytes(length);
            if (!packed) return false;
            std::fill(row.begin(), row.end(), 0);
            if (!UnpackBits(packed, length, pixelSize == 16 ? 2 : 1, row)) return false;
        }
        // Only the part of the source rectangle is drawn, at the destination's place.
        const int32_t sy = bounds.top + y;
        if (sy < src.top || sy >= src.bottom) continue;
        if ((canvas.budget -= width) < 0) return false;
        for (int32_t x = 0; x < width; ++x) {
            const int32_t sx = bounds.left + x;
            if (sx < src.left || sx >= src.right) continue;
            uint8_t r = 0, g = 0, b = 0;
            if (pixelSize == 32) {
                if (packType == 2) {
                    r = row[size_t(x) * 3], g = row[size_t(x) * 3 + 1], b = row[size_t(x) * 3 + 2];
                } else if (packType == 1 || rowBytes < 8) {
                    r = row[size_t(x) * 4 + 1], g = row[size_t(x) * 4 + 2], b = row[size_t(x) * 4 + 3];
                } else {  // packed as component planes, alpha first when there are four
                    const size_t plane = size_t(width), skip = cmpCount == 4 ? plane : 0;
                    if (skip + plane * 3 > row.size()) return false;
                    r = row[skip + x], g = row[skip + plane + x], b = row[skip + 2 * plane + x];
                }
            } else if (pixelSize == 16) {
                const uint32_t v = uint32_t(row[size_t(x) * 2]) << 8 | row[size_t(x) * 2 + 1];
                const uint32_t c[3] = {(v >> 10) & 31, (v >> 5) & 31, v & 31};
                r = uint8_t(c[0] << 3 | c[0] >> 2), g = uint8_t(c[1] << 3 | c[1] >> 2), b = uint8_t(c[2] << 3 | c[2] >> 2);
            } else {
                const size_t bit = size_t(x) * pixelSize;
                const uint32_t index = (row[bit / 8] >> (8 - pixelSize - bit % 8)) & ((1u << pixelSize) - 1);
                const auto &c = pixmap ? colours[index] : (index ? std::array<uint8_t, 3>{0, 0, 0} : colours[0]);
                r = c[0], g = c[1], b = c[2];
            }
            canvas.Put(dst.left + (sx - src.left), dst.top + (sy - src.top), r, g, b);
        }
    }
    return true;
}

// A QuickTime-compressed image (opcode 0x8200): drawn when it is a JPEG.
bool DrawCompressed(const uint8_t *data, size_t size, ZbCanvas &canvas) {
    ZbPictIn in{data, size};
    in.Skip(2 + 36);  // version, matrix
    const uint32_t matteSize = in.U32();
    in.Skip(8 + 2);  // matte rectangle, mode
    const ZbRect src = ReadRect(in);
    in.Skip(4);
    const uint32_t maskSize = in.U32();
    in.Skip(matteSize);
    in.Skip(maskSize);
    const size_t description = in.at;
    const uint32_t descriptionSize = in.U32();
    const uint32_t codec = in.U32();
    in.at = description;
    in.Skip(descriptionSize);
    if (in.bad || descriptionSize < 86 || codec != 0x6A706567) return false;  // 'jpeg'
    ZbImage picture;
    if (Zb7_DecodeJPEG(data + in.at, size - in.at, 0, picture) != 0) return false;
    for (uint32_t y = 0; y < picture.height; ++y)
        for (uint32_t x = 0; x < picture.width; ++x) {
            const uint8_t *p = picture.pixels.data() + (size_t(y) * picture.width + x) * 4;
            canvas.Put(src.left + int32_t(x), src.top + int32_t(y), p[0], p[1], p[2]);
        }
    return true;
}

// Bytes of data that follow an opcode that is passed over; -1 for one whose length is not known.
long SkipLength(ZbPictIn &in, uint32_t op) {
    auto word = [&] { return long(in.U16()); };
    auto region = [&] { return std::max(long(in.U16()), 2L) - 2; };
    if (op >= 0x8100) return long(in.U32());
    if (op >= 0x8000) return 0;
    if (op >= 0x0100) return long(op >> 8) * 2;
    switch (op) {
        case 0x00: case 0x17: case 0x18: case 0x19: case 0x1C: case 0x1E: return 0;
        case 0x01: return region();
        case 0x03: case 0x05: case 0x08: case 0x0D: case 0x15: case 0x16: case 0x23: case 0xA0: return 2;
        case 0x04: return 1;
        case 0x06: case 0x07: case 0x0B: case 0x0C: case 0x0E: case 0x0F: case 0x21: return 4;
        case 0x1A: case 0x1B: case 0x1D: case 0x1F: case 0x22: return 6;
        case 0x02: case 0x09: case 0x0A: case 0x10: case 0x20: return 8;
        case 0x28: in.Skip(4); return long(in.U8());
        case 0x29: case 0x2A: in.Skip(1); return long(in.U8());
        case 0x2B: in.Skip(2); return long(in.U8());
        case 0xA1: in.Skip(2); return word();
        default: break;
    }
    if ((op >= 0x24 && op <= 0x27) || (op >= 0x2C && op <= 0x2F) || (op >= 0x92 && op <= 0x97) ||
        (op >= 0x9C && op <= 0x9F) || (op >= 0xA2 && op <= 0xAF))
        return word();
    if (op >= 0x30 && op <= 0x37) return 8;
    if (op >= 0x40 && op <= 0x47) return 8;
    if (op >= 0x50 && op <= 0x57) return 8;
    if (op >= 0x60 && op <= 0x67) return 12;
    if (op >= 0x68 && op <= 0x6F) return 4;
    if ((op >= 0x70 && op <= 0x77) || (op >= 0x80 && op <= 0x87)) return region();
    if ((op >= 0x38 && op <= 0x3F) || (op >= 0x48 && op <= 0x4F) || (op >= 0x58 && op <= 0x5F) ||
        (op >= 0x78 && op <= 0x7F) || (op >= 0x88 && op <= 0x8F) || (op >= 0xB0 && op <= 0xCF))
        return 0;
    if (op >= 0xD0 && op <= 0xFE) return long(in.U32());
    return -1;
}

}  // namespace

long Zb7_PictToImage(const uint8_t *data, size_t size, ZbImage &image) {
    // A file's 512-byte header: the picture's version opcode stands right after the frame.
    auto versionAt = [&](size_t start) {
        return size >= start + 12 && ((data[start + 10] == 0x11 && data[start + 11] == 0x01) ||
                                      (data[start + 10] == 0x00 && data[start + 11] == 0x11));
    };
    const size_t start = !versionAt(0) && versionAt(512) ? 512 : 0;
    ZbPictIn in{data + start, size - std::min(size, start)};
    in.Skip(2);
    ZbCanvas canvas{image, ReadRect(in)};
    if (in.bad || canvas.frame.Width() <= 0 || canvas.frame.Height() <= 0) return kBadImageDataErr;
    if (const long err = Zb7_AllocateImage(uint32_t(canvas.frame.Width()), uint32_t(canvas.frame.Height()), image))
        return err;
    std::fill(image.pixels.begin(), image.pixels.end(), 255);  // drawn on white

    bool version2 = false;
    for (;;) {
        if (version2 && in.at % 2) in.Skip(1);
        const uint32_t op = version2 ? in.U16() : in.U8();
        if (in.bad || op == 0xFF) break;
        if (op == 0x11) {
            version2 = in.U8() == 0x02;
            if (version2) in.Skip(1);  // 0x02FF
            continue;
        }
        if (op == 0x90 || op == 0x91 || op == 0x98 || op == 0x99 || op == 0x9A || op == 0x9B) {
            if (!DrawPixels(in, op, canvas)) break;
            continue;
        }
        if (op == 0x0C00 && version2) {
            in.Skip(24);
            continue;
        }
        const long length = SkipLength(in, op);
        if (length < 0 || in.bad) break;
        const uint8_t *bytes = in.Bytes(size_t(length));
        if (!bytes) break;
        if (op == 0x8200) DrawCompressed(bytes, size_t(length), canvas);
    }
    return canvas.drew ? 0L : long(kBadImageDataErr);
}
