// The Photoshop resource walk and the IPTC parser on any bytes: a resource found lies inside the
// input, and the parser answers text (or -50 for nothing) without reading outside it. The first
// byte chooses where the walk starts.
#include "fuzz/fuzz_common.h"
#include "image/metadata_read.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0 || size > 70000) return 0;
    const size_t start = data[0];
    ++data;
    --size;
    size_t offset = 0, length = 0;
    for (const unsigned char *key : {kZbIPTCKey, kZbURLKey}) {
        const long err = Zb7_Get_PSD_Resource(data, start, size, key, 6, &offset, &length);
        ZB_FUZZ_CHECK(err == 0 || err == -2026 || err == -207);
        if (err == 0) {
            ZB_FUZZ_CHECK(offset <= size && length <= size - offset);
            fmx::TextUniquePtr text;
            ZB_FUZZ_CHECK(Zb7_ParseIPTC(data + offset, length, fmx::Text::kEncoding_UTF8, text) == (length ? 0 : -50));
        }
    }
    fmx::TextUniquePtr text;
    const long err = Zb7_ParseIPTC(data, size, fmx::Text::kEncoding_ASCII_Windows, text);
    ZB_FUZZ_CHECK(err == (size ? 0 : -50));
    // Each dataset takes 5 bytes or more and writes at most 22 characters of markers.
    ZB_FUZZ_CHECK(text->GetSize() <= 6 * size + 22);
    return 0;
}
