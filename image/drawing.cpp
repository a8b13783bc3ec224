// Drawing a picture into a thumbnail's buffer: orientation, composition on white, area-averaging
// scale, and the buffer's depth.
#include "image/drawing.h"
#include "platform/errors.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <new>

namespace {

// The six levels of the colour cube, brightest first, and the ramps' levels.
constexpr uint8_t kCubeLevels[6] = {0xFF, 0xCC, 0x99, 0x66, 0x33, 0x00};
constexpr uint8_t kRampLevels[10] = {0xEE, 0xDD, 0xBB, 0xAA, 0x88, 0x77, 0x55, 0x44, 0x22, 0x11};

ZbPalette MakeStandardPalette() {
    ZbPalette palette{};
    int n = 0;
    for (int r = 0; r < 6; ++r)
        for (int g = 0; g < 6; ++g)
            for (int b = 0; b < 6; ++b)
                if (n < 215) palette[n++] = {kCubeLevels[r], kCubeLevels[g], kCubeLevels[b]};
    for (int channel = 0; channel < 3; ++channel)
        for (uint8_t level : kRampLevels) {
            palette[n] = {0, 0, 0};
            palette[n++][channel] = level;
        }
    for (uint8_t level : kRampLevels) palette[n++] = {level, level, level};
    palette[255] = {0, 0, 0};
    return palette;
}

// The nearest table entry for each colour of 5 bits a channel.
struct ZbNearestColour {
    uint8_t index[32 * 32 * 32];
    ZbNearestColour() {
        const ZbPalette &palette = Zb7_StandardPalette();
        for (int c = 0; c < 32 * 32 * 32; ++c) {
            const int rgb[3] = {(c >> 10) * 255 / 31, ((c >> 5) & 31) * 255 / 31, (c & 31) * 255 / 31};
            int best = 0, bestDistance = 1 << 30;
            for (int k = 0; k < 256; ++k) {
                int d = 0;
                for (int i = 0; i < 3; ++i) d += (rgb[i] - palette[k][i]) * (rgb[i] - palette[k][i]);
                if (d < bestDistance) bestDistance = d, best = k;
            }
            index[c] = uint8_t(best);
        }
    }
};

// The source pixels each output pixel of one axis covers, with the share of each.
struct ZbAxis {
    std::vector<uint32_t> first;   // per output: first source index
    std::vector<uint32_t> count;   // per output: number of source indices
    std::vector<uint32_t> offset;  // per output: where its weights start
    std::vector<float> weights;    // each output's weights sum to 1

    ZbAxis(uint32_t source, uint32_t target) : first(target), count(target), offset(target) {
        const double scale = double(source) / target;
        for (uint32_t i = 0; i < target; ++i) {
            const double a = i * scale, b = std::min<double>((i + 1) * scale, source);
            const uint32_t j0 = std::min<uint32_t>(uint32_t(a), source - 1);
            const uint32_t j1 = std::max<uint32_t>(j0 + 1, std::min<uint32_t>(uint32_t(std::ceil(b)), source));
            first[i] = j0;
            count[i] = j1 - j0;
            offset[i] = uint32_t(weights.size());
            for (uint32_t j = j0; j < j1; ++j)
                weights.push_back(float((std::min<double>(b, j + 1) - std::max<double>(a, j)) / (b - a)));
        }
    }
};

const ZbNearestColour &NearestColours() {
    static const ZbNearestColour table;
    return table;
}

uint8_t ToByte(float v) { return uint8_t(std::clamp(v + 0.5f, 0.0f, 255.0f)); }

}  // namespace

const ZbPalette &Zb7_StandardPalette() {
    static const ZbPalette palette = MakeStandardPalette();
    return palette;
}

void Zb7_ThumbnailBounds(uint32_t width, uint32_t height, uint32_t size, uint32_t &outWidth, uint32_t &outHeight) {
    const bool wide = width >= height;
    const uint32_t longest = wide ? width : height, shortest = wide ? height : width;
    const uint32_t other = std::max<uint32_t>(1, uint32_t((uint64_t(shortest) * size + longest / 2) / longest));
    outWidth = wide ? size : other;
    outHeight = wide ? other : size;
}

long Zb7_ApplyOrientation(ZbImage &image, int orientation) {
    if (orientation <= 1 || orientation > 8) return 0;
    const uint32_t w = image.width, h = image.height;
    const bool swap = orientation >= 5;
    ZbImage turned;
    if (const long err = Zb7_AllocateImage(swap ? h : w, swap ? w : h, turned)) return err;
    const uint32_t *from = reinterpret_cast<const uint32_t *>(image.pixels.data());
    uint32_t *to = reinterpret_cast<uint32_t *>(turned.pixels.data());
    for (uint32_t y = 0; y < turned.height; ++y)
        for (uint32_t x = 0; x < turned.width; ++x) {
            uint32_t sx = x, sy = y;
            switch (orientation) {
                case 2: sx = w - 1 - x; break;
                case 3: sx = w - 1 - x, sy = h - 1 - y; break;
                case 4: sy = h - 1 - y; break;
                case 5: sx = y, sy = x; break;
                case 6: sx = y, sy = h - 1 - x; break;
                case 7: sx = w - 1 - y, sy = h - 1 - x; break;
                case 8: sx = w - 1 - y, sy = x; break;
            }
            to[size_t(y) * turned.width + x] = from[size_t(sy) * w + sx];
        }
    image = std::move(turned);
    return 0;
}

long Zb7_DrawThumbnail(const ZbImage &picture, uint32_t size, int depth, ZbDrawing &drawing) {
    if (size == 0 || picture.width == 0 || picture.height == 0) return kParamErr;
    uint32_t width = 0, height = 0;
    Zb7_ThumbnailBounds(picture.width, picture.height, size, width, height);
    if (uint64_t(width) * height > kZbMaxDrawingPixels) return kMemFullErr;
    const ZbNearestColour *nearest = depth == 8 ? &NearestColours() : nullptr;
    try {
        drawing.width = width;
        drawing.height = height;
        drawing.depth = depth;
        drawing.rgb.assign(size_t(width) * height * 3, 0);
        drawing.index.assign(depth == 8 ? size_t(width) * height : 0, 0);
        const ZbAxis across(picture.width, width), down(picture.height, height);

        // Source rows scaled across once each, composed on white, kept while output rows need them.
        std::deque<std::vector<float>> rows;
        uint32_t firstKept = 0;
        std::vector<float> line(size_t(width) * 3);
        for (uint32_t y = 0; y < height; ++y) {
            const uint32_t j0 = down.first[y], n = down.count[y];
            while (firstKept < j0 && !rows.empty()) rows.pop_front(), ++firstKept;
            if (rows.empty()) firstKept = j0;
            while (firstKept + rows.size() < j0 + n) {
                const uint8_t *src = picture.pixels.data() + size_t(firstKept + rows.size()) * picture.width * 4;
                std::vector<float> scaled(size_t(width) * 3, 0.0f);
                for (uint32_t x = 0; x < width; ++x) {
                    float acc[3] = {0, 0, 0};
                    const float *w = across.weights.data() + across.offset[x];
                    for (uint32_t k = 0; k < across.count[x]; ++k) {
                        const uint8_t *p = src + size_t(across.first[x] + k) * 4;
                        const float alpha = p[3] / 255.0f;
                        for (int c = 0; c < 3; ++c) acc[c] += w[k] * (p[c] * alpha + 255.0f * (1.0f - alpha));
                    }
                    for (int c = 0; c < 3; ++c) scaled[size_t(x) * 3 + c] = acc[c];
                }
                rows.push_back(std::move(scaled));
            }
            std::fill(line.begin(), line.end(), 0.0f);
            const float *w = down.weights.data() + down.offset[y];
            for (uint32_t k = 0; k < n; ++k) {
                const std::vector<float> &row = rows[j0 + k - firstKept];
                for (size_t i = 0; i < line.size(); ++i) line[i] += w[k] * row[i];
            }
            uint8_t *out = drawing.rgb.data() + size_t(y) * width * 3;
            for (uint32_t x = 0; x < width; ++x) {
                uint8_t *px = out + size_t(x) * 3;
                const uint8_t r = ToByte(line[x * 3]), g = ToByte(line[x * 3 + 1]), b = ToByte(line[x * 3 + 2]);
                if (depth == 8) {
                    const uint8_t k = nearest->index[(r >> 3) << 10 | (g >> 3) << 5 | (b >> 3)];
                    drawing.index[size_t(y) * width + x] = k;
                    std::copy_n(Zb7_StandardPalette()[k].data(), 3, px);
                } else if (depth == 24) {
                    px[0] = r, px[1] = g, px[2] = b;
                } else {
                    // 5 bits a channel, widened back to 8 as the display does.
                    const uint8_t v[3] = {r, g, b};
                    for (int c = 0; c < 3; ++c) {
                        const unsigned q = (v[c] * 31u + 127u) / 255u;
                        px[c] = uint8_t(q << 3 | q >> 2);
                    }
                }
            }
        }
    } catch (const std::bad_alloc &) {
        return kMemFullErr;
    }
    return 0;
}
