// The comment's property-list reader on any bytes: it answers UTF-8 or refuses, never reading
// outside its input. Whatever it answers, the writer's list of that text reads back to the same
// text, and bytes that are not a list are taken as text.
#include <string>

#include "files/binary_plist.h"
#include "fuzz/fuzz_common.h"

namespace {
// Well-formed UTF-8: what the reader promises to answer.
bool IsUTF8(const std::string &s) {
    const std::string again = ZbBinaryPlistOfString(s);
    std::string back;
    return ZbStringOfBinaryPlist(again, back) && back == s;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    std::string text;
    if (ZbStringOfBinaryPlist(bytes, text) && bytes.rfind("bplist", 0) == 0) ZB_FUZZ_CHECK(IsUTF8(text));
    // The input read as text, written and read back.
    std::string back;
    ZB_FUZZ_CHECK(ZbStringOfBinaryPlist(ZbBinaryPlistOfString(bytes), back));
    ZB_FUZZ_CHECK(ZbBinaryPlistOfString(back) == ZbBinaryPlistOfString(bytes));
    return 0;
}
