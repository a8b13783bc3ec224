// Binary pixmaps, the form in which ffmpeg hands over a movie's frame. The bytes come from another
// program reading an outside file, so nothing in them is trusted: every field is bounded and the
// data must be exactly as long as the header says.
#include "image/decoders.h"
#include "platform/errors.h"

namespace {

bool IsSpace(uint8_t c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

// A decimal field after at least one whitespace byte. Fields of more than 9 digits are refused:
// no valid width, height or maximum value needs them, and 9 digits cannot overflow.
bool ReadField(const uint8_t *data, size_t size, size_t &at, uint32_t &value) {
    const size_t start = at;
    while (at < size && IsSpace(data[at])) ++at;
    if (at == start) return false;
    value = 0;
    size_t digits = 0;
    for (; at < size && data[at] >= '0' && data[at] <= '9'; ++at, ++digits) {
        if (digits == 9) return false;
        value = value * 10 + uint32_t(data[at] - '0');
    }
    return digits > 0;
}

}  // namespace

long Zb7_DecodePPM(const uint8_t *data, size_t size, ZbImage &image) {
    if (size < 2 || data[0] != 'P' || data[1] != '6') return kBadImageDataErr;
    size_t at = 2;
    uint32_t width = 0, height = 0, maxValue = 0;
    if (!ReadField(data, size, at, width) || !ReadField(data, size, at, height) ||
        !ReadField(data, size, at, maxValue) || maxValue != 255 || at >= size || !IsSpace(data[at]))
        return kBadImageDataErr;
    ++at;
    if (width == 0 || height == 0) return kBadImageDataErr;
    // The size is judged before the data, so a frame too large is refused whatever follows it.
    const uint64_t pixels = uint64_t(width) * height;
    if (pixels > kZbMaxDecodedPixels) return kMemFullErr;
    if (size - at != pixels * 3) return kBadImageDataErr;
    if (const long err = Zb7_AllocateImage(width, height, image)) return err;
    const uint8_t *in = data + at;
    uint8_t *out = image.pixels.data();
    for (uint64_t i = 0; i < pixels; ++i, in += 3, out += 4) {
        out[0] = in[0];
        out[1] = in[1];
        out[2] = in[2];
        out[3] = 255;
    }
    return 0;
}
