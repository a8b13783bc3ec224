// Pictures and resource forks. The first byte chooses: a picture read from the bytes; a resource
// fork whose first picture resource is read; or a drawing made from the bytes, recorded as a
// picture and read back, which must give exactly the drawing's pixels.
#include <algorithm>
#include <string_view>

#include "filecore/resources.h"
#include "fuzz/fuzz_common.h"
#include "image/drawing.h"
#include "image/pict_reader.h"
#include "image/pict_writer.h"
#include "platform/errors.h"

namespace {

void ReadPicture(const uint8_t *data, size_t size) {
    // Frames up to the decoders' limit are drawn (and filled) whole; large ones make a run slow
    // without reaching new code, so they are left to the unit tests.
    if (size >= 10) {
        const int32_t height = int16_t(data[6] << 8 | data[7]) - int16_t(data[2] << 8 | data[3]);
        const int32_t width = int16_t(data[8] << 8 | data[9]) - int16_t(data[4] << 8 | data[5]);
        if (int64_t(width) * height > 1 << 20) return;
    }
    ZbImage image;
    const long err = Zb7_PictToImage(data, size, image);
    ZB_FUZZ_CHECK(err == 0 || err == kBadImageDataErr || err == kMemFullErr);
    if (err == 0) ZB_FUZZ_CHECK(image.pixels.size() == size_t(image.width) * image.height * 4);
}

void RoundTrip(const uint8_t *data, size_t size) {
    if (size < 3) return;
    ZbDrawing drawing;
    drawing.depth = data[0] & 1 ? 8 : 16;
    drawing.width = 1 + data[1] % 96;
    drawing.height = 1 + data[2] % 8;
    data += 3, size -= 3;
    const size_t pixels = size_t(drawing.width) * drawing.height;
    drawing.rgb.resize(pixels * 3);
    if (drawing.depth == 8) drawing.index.resize(pixels);
    for (size_t k = 0; k < pixels; ++k) {
        // Runs and changes both: a pixel repeats its neighbour when its byte is even.
        const uint8_t b = size ? data[k % size] : 0;
        if (drawing.depth == 8) {
            drawing.index[k] = k && b % 2 == 0 ? drawing.index[k - 1] : b;
            std::copy_n(Zb7_StandardPalette()[drawing.index[k]].data(), 3, &drawing.rgb[k * 3]);
        } else {
            for (int c = 0; c < 3; ++c) {
                const unsigned q = (b * (c + 3u) + unsigned(k)) & 31;
                drawing.rgb[k * 3 + c] = k && b % 2 == 0 ? drawing.rgb[(k - 1) * 3 + c] : uint8_t(q << 3 | q >> 2);
            }
        }
    }
    std::vector<uint8_t> pict;
    ZB_FUZZ_CHECK(Zb7_DrawingToPICT(drawing, pict) == 0);
    ZbImage image;
    ZB_FUZZ_CHECK(Zb7_PictToImage(pict.data(), pict.size(), image) == 0);
    ZB_FUZZ_CHECK(image.width == drawing.width && image.height == drawing.height);
    for (size_t k = 0; k < pixels; ++k)
        for (int c = 0; c < 3; ++c) ZB_FUZZ_CHECK(image.pixels[k * 4 + c] == drawing.rgb[k * 3 + c]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1) return 0;
    const std::string_view rest(reinterpret_cast<const char *>(data + 1), size - 1);
    switch (data[0] % 3) {
        case 0:
            ReadPicture(data + 1, size - 1);
            break;
        case 1: {
            std::string_view resource;
            const long err = Zb7_FindResource(rest, 0x50494354, 1 + data[0] / 3 % 2, resource);  // 'PICT'
            ZB_FUZZ_CHECK(err == 0 || err == kResNotFound || err == kMapReadErr);
            if (err == 0) ReadPicture(reinterpret_cast<const uint8_t *>(resource.data()), resource.size());
            break;
        }
        default:
            RoundTrip(data + 1, size - 1);
    }
    return 0;
}
