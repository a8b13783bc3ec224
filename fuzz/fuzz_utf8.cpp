// The lenient UTF-8 decoder, on raw bytes and on a byte text through the host: both must agree, the
// result never has more units than there were bytes, and decoding is stable under re-encoding.
#include "fuzz/fuzz_common.h"
#include "text/charsets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::u16string direct;
    ZbUTF8BytesToUnits(data, size, direct);
    ZB_FUZZ_CHECK(direct.size() <= size);

    // The same bytes as a byte text; a leading byte with bit 7 set also tries characters above
    // 255, which the decoder reads as "?".
    const zbfuzz::Input in = zbfuzz::Split(data, size);
    const fmx::TextUniquePtr src = zbfuzz::Txt(in.units);
    fmx::TextUniquePtr decoded;
    XP7_UTF8TxtToTxt(src, decoded);
    std::string bytes;
    for (const char16_t u : in.units) bytes.push_back(u < 256 ? char(u) : '?');
    std::u16string expected;
    ZbUTF8BytesToUnits(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size(), expected);
    ZB_FUZZ_CHECK(XP7_TxtToUnits(*decoded) == expected);

    // Text -> UTF-8 -> text gives the same text back.
    fmx::TextUniquePtr utf8, again;
    XP7_TxtToUTF8Txt(decoded, utf8);
    XP7_UTF8TxtToTxt(utf8, again);
    ZB_FUZZ_CHECK(XP7_TxtToUnits(*again) == expected);
    return 0;
}
