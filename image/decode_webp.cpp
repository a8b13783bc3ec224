// WebP through libwebp's advanced decoding interface, scaled while decoding.
#include <webp/decode.h>

#include <algorithm>

#include "image/decoders.h"
#include "platform/errors.h"
#include "platform/shared_libraries.h"

namespace {

struct ZbLibWebP {
    decltype(&WebPInitDecoderConfigInternal) initConfig = nullptr;
    decltype(&WebPGetFeaturesInternal) getFeatures = nullptr;
    decltype(&WebPDecode) decode = nullptr;
    decltype(&WebPFreeDecBuffer) freeBuffer = nullptr;
    bool ready = false;
};

const ZbLibWebP &LibWebP() {
    static const ZbLibWebP library = [] {
        ZbLibWebP l;
        l.ready = Zb7_PlatformBindSymbols(
            Zb7_PlatformOpenLibrary({"libwebp.so.7", "libwebp.so.6"}),
            {"WebPInitDecoderConfigInternal", "WebPGetFeaturesInternal", "WebPDecode", "WebPFreeDecBuffer"},
            l.initConfig, l.getFeatures, l.decode, l.freeBuffer);
        return l;
    }();
    return library;
}

}  // namespace

long Zb7_DecodeWebP(const uint8_t *data, size_t size, uint32_t longestSide, ZbImage &image) {
    const ZbLibWebP &webp = LibWebP();
    if (!webp.ready) return kNoImporterErr;
    WebPDecoderConfig config;
    if (!webp.initConfig(&config, WEBP_DECODER_ABI_VERSION)) return kNoImporterErr;
    if (webp.getFeatures(data, size, &config.input, WEBP_DECODER_ABI_VERSION) != VP8_STATUS_OK) return kBadImageDataErr;
    uint32_t width = uint32_t(config.input.width), height = uint32_t(config.input.height);
    const uint32_t longest = std::max(width, height);
    if (longestSide && longest > longestSide) {
        // Scaled in the decoder, so that a large picture is never held whole.
        width = std::max<uint32_t>(1, uint32_t(uint64_t(width) * longestSide / longest));
        height = std::max<uint32_t>(1, uint32_t(uint64_t(height) * longestSide / longest));
        config.options.use_scaling = 1;
        config.options.scaled_width = int(width);
        config.options.scaled_height = int(height);
    }
    if (const long err = Zb7_AllocateImage(width, height, image)) return err;
    config.output.colorspace = MODE_RGBA;
    config.output.is_external_memory = 1;
    config.output.u.RGBA.rgba = image.pixels.data();
    config.output.u.RGBA.stride = int(width * 4);
    config.output.u.RGBA.size = image.pixels.size();
    const VP8StatusCode status = webp.decode(data, size, &config);
    webp.freeBuffer(&config.output);
    return status == VP8_STATUS_OK ? 0L : long(kBadImageDataErr);
}
