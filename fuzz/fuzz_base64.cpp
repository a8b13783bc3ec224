// The base64 decoders (units, bytes and host text) must agree; whatever they accept re-encodes to
// data that decodes to the same bytes. The input read as bytes also goes through both encoders.
#include <algorithm>

#include "fuzz/fuzz_common.h"
#include "text/codecs.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const zbfuzz::Input in = zbfuzz::Split(data, size);
    std::vector<unsigned char> bytes;
    const long err = ZbBase64Decode(in.units, bytes);
    ZB_FUZZ_CHECK(err == 0 || err == -50);
    ZB_FUZZ_CHECK(bytes.size() <= in.units.size() / 4 * 3);

    bool narrow = true;
    for (const char16_t u : in.units) narrow = narrow && u < 256;
    if (narrow) {
        const std::vector<unsigned char> raw(in.units.begin(), in.units.end());
        std::vector<unsigned char> out(raw.size() / 4 * 3);
        size_t n = 0;
        ZB_FUZZ_CHECK(ZbBase64DecodeBlock(raw.data(), raw.size(), out.data(), out.size(), &n) == err);
        ZB_FUZZ_CHECK(err != 0 || (n == bytes.size() && std::equal(bytes.begin(), bytes.end(), out.begin())));
    }

    fmx::TextUniquePtr hex;
    ZB_FUZZ_CHECK(XP7_Base64TxtToTxt(zbfuzz::Txt(in.units), in.options & 1, fmx::Text::kEncoding_ASCII_Mac, kZbFormHex,
                                     hex) == err);

    // Encode what was read and decode it again, with a line length from the options.
    const int lineLen = int(in.options & 0x3F) - 4;
    if (err == 0) {
        std::vector<unsigned char> text(ZbBase64EncodedLength(bytes.data(), bytes.size(), lineLen) + 1);
        unsigned long n = 0;
        ZB_FUZZ_CHECK(XP7_Base64_EncodeBlock(bytes.data(), bytes.size(), text.data(), text.size(), &n, lineLen) == 0);
        std::vector<unsigned char> back(n / 4 * 3);
        size_t m = 0;
        ZB_FUZZ_CHECK(ZbBase64DecodeBlock(text.data(), n, back.data(), back.size(), &m) == 0);
        ZB_FUZZ_CHECK(m == bytes.size() && std::equal(bytes.begin(), bytes.end(), back.begin()));
    }

    // The raw input as bytes: base64 text and back through the host-text routines.
    if (size > 0) {
        fmx::TextUniquePtr hexSrc, base64, back;
        XP7_BlockToHexTxt(reinterpret_cast<const char *>(data), size, hexSrc);
        ZB_FUZZ_CHECK(XP7_TxtToBase64Txt(hexSrc, kZbFormHex, fmx::Text::kEncoding_ASCII_Mac, in.options, base64) == 0);
        ZB_FUZZ_CHECK(XP7_Base64TxtToTxt(base64, 0, fmx::Text::kEncoding_ASCII_Mac, kZbFormHex, back) == 0);
        ZB_FUZZ_CHECK(XP7_TxtToUnits(*back) == XP7_TxtToUnits(*hexSrc));
    }
    return 0;
}
