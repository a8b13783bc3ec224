// The hex decoders: whatever they accept must be the digits of the bytes they answer, and the
// host-text routines must agree with the buffer decoder.
#include "fuzz/fuzz_common.h"
#include "text/codecs.h"

namespace {

bool IsBlank(char16_t c) { return c == u'\r' || c == u'\n' || c == u'\t' || c == u' '; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const zbfuzz::Input in = zbfuzz::Split(data, size);
    const bool skipBlanks = (in.options & 1) != 0;
    std::vector<unsigned char> bytes;
    const long err = ZbHexDecode(in.units, skipBlanks, bytes);
    ZB_FUZZ_CHECK(err == 0 || err == -50);
    if (err == 0) {
        std::u16string digits;
        for (char16_t c : in.units) {
            if (skipBlanks && IsBlank(c)) continue;
            digits.push_back(c >= u'a' && c <= u'f' ? char16_t(c - u'a' + u'A') : c);
        }
        std::u16string again;
        ZbHexEncode(bytes.data(), bytes.size(), again);
        ZB_FUZZ_CHECK(again == digits);
    } else {
        ZB_FUZZ_CHECK(bytes.empty());
    }

    fmx::TextUniquePtr t = zbfuzz::Txt(in.units);
    std::vector<unsigned char> strictBytes, block{7};
    const long strict = skipBlanks ? ZbHexDecode(in.units, false, strictBytes) : err;
    ZB_FUZZ_CHECK(XP7_HexTxtToBlock(t, block) == strict);
    if (XP7_RemoveHexTxt(t, skipBlanks) == 0) {
        const std::u16string byteText = XP7_TxtToUnits(*t);
        ZB_FUZZ_CHECK(err == 0 && byteText.size() == bytes.size());
        for (size_t i = 0; i < bytes.size(); ++i) ZB_FUZZ_CHECK(byteText[i] == bytes[i]);
    } else {
        ZB_FUZZ_CHECK(err != 0 && XP7_TxtToUnits(*t) == in.units);
    }

    // Two hex digits at a time from the start, as the text-to-base64 reader takes them.
    unsigned long pos = 0;
    for (long b; (b = XP7_Get1HexTxtChar(t, &pos)) >= 0;) ZB_FUZZ_CHECK(b < 256 && pos <= t->GetSize());
    return 0;
}
