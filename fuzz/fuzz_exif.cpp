// The EXIF walk on any TIFF data: it answers text or -302, never reading outside its input, and
// the text it writes stays within what the entries can hold.
#include "fuzz/fuzz_common.h"
#include "image/metadata_read.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > 70000) return 0;
    fmx::TextUniquePtr text;
    const long err = Zb7_ExifToTxt(data, size, fmx::Text::kEncoding_ASCII_Mac, text);
    ZB_FUZZ_CHECK(err == 0 || err == -302);
    // Two IFDs of at most size / 12 entries each, each entry's markers and value no longer than
    // the data (or a fixed text).
    ZB_FUZZ_CHECK(text->GetSize() <= 2 * (size / 12 + 1) * (40 + size));
    return 0;
}
