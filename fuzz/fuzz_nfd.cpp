// NFD of arbitrary bytes: the result is its own NFD, is canonically equal to the input, and is at
// most three times as long (the largest growth of one character, e.g. U+0390 or a Hangul syllable).
#include <string>
#include <string_view>

#include "fuzz/fuzz_common.h"
#include "text/unicode_forms.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view in(reinterpret_cast<const char *>(data), size);
    const std::string nfd = ZbUTF8ToNFD(in);
    ZB_FUZZ_CHECK(nfd.size() <= 3 * in.size());
    ZB_FUZZ_CHECK(ZbUTF8ToNFD(nfd) == nfd);
    ZB_FUZZ_CHECK(ZbUTF8CanonicallyEqual(in, nfd));
    ZB_FUZZ_CHECK(ZbUTF8CanonicallyEqual(nfd, in));
    return 0;
}
