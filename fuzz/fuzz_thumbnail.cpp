// A thumbnail of any file: the format is told from its bytes, the picture decoded (JPEG at a
// reduced scale, with its EXIF orientation), drawn at a size chosen by the first byte and
// recorded as a picture. Every step ends with a picture or one of the known errors.
#include <algorithm>

#include "fuzz/fuzz_common.h"
#include "image/decoders.h"
#include "image/drawing.h"
#include "image/jpeg_codec.h"
#include "image/pict_writer.h"
#include "image/thumbnails.h"
#include "platform/errors.h"

namespace {
constexpr long kKnown[] = {0, -50, kMemFullErr, kNoImporterErr, kBadImageDataErr};
bool Known(long err) { return std::find(std::begin(kKnown), std::end(kKnown), err) != std::end(kKnown); }
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2) return 0;
    const uint32_t sizes[] = {1, 32, 80, 128};
    const uint32_t thumbnailSize = sizes[data[0] & 3];
    const int depth = data[0] & 4 ? 8 : 16;
    ZbImage picture;
    const long err = Zb7_PictureFromImageFile(data + 1, size - 1, thumbnailSize, picture);
    ZB_FUZZ_CHECK(Known(err));
    if (err) return 0;
    ZB_FUZZ_CHECK(picture.pixels.size() == size_t(picture.width) * picture.height * 4);
    ZbDrawing drawing;
    ZB_FUZZ_CHECK(Known(Zb7_DrawThumbnail(picture, thumbnailSize, depth, drawing)));
    if (drawing.width == 0) return 0;
    ZB_FUZZ_CHECK(std::max(drawing.width, drawing.height) == thumbnailSize);
    std::vector<uint8_t> pict, jpeg;
    ZB_FUZZ_CHECK(Zb7_DrawingToPICT(drawing, pict) == 0);
    ZB_FUZZ_CHECK(Known(Zb7_EncodeJPEG(drawing.rgb.data(), drawing.width, drawing.height, 75, jpeg)));
    return 0;
}
