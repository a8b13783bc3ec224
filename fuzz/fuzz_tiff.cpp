// The TIFF decoder on any bytes: a picture of the size its buffer says, or one of its errors; never
// an allocation past the decoders' limit.
#include "fuzz/fuzz_common.h"
#include "image/decoders.h"
#include "platform/errors.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    ZbImage image;
    const long err = Zb7_DecodeTIFF(data, size, image);
    ZB_FUZZ_CHECK(err == 0 || err == kBadImageDataErr || err == kMemFullErr || err == kNoImporterErr);
    if (err == 0) ZB_FUZZ_CHECK(image.pixels.size() == size_t(image.width) * image.height * 4 && image.width > 0);
    return 0;
}
