// The copying scan and the APP13 rewrite on any file: they end with one of their known answers,
// and whatever they write for a file they accept is a JPEG header the extraction scan reads. The
// first byte chooses comment or IPTC and the size of the block written (up to 255 bytes of IPTC
// datasets taken from the input's end).
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "fuzz/fuzz_common.h"
#include "image/metadata_write.h"

namespace {
constexpr long kKnown[] = {0, -39, -71, -92, -207, -4247};
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2 || size > 200000) return 0;
    const bool comment = data[0] & 1;
    const size_t blockSize = std::min<size_t>(data[1], size - 2);
    const std::string block(reinterpret_cast<const char *>(data) + size - blockSize, blockSize);
    ZbFork input, output;
    input.fd = memfd_create("in", MFD_CLOEXEC);
    output.fd = memfd_create("out", MFD_CLOEXEC);
    ZB_FUZZ_CHECK(input.fd >= 0 && output.fd >= 0);
    const size_t jpegSize = size - 2 - blockSize;
    ZB_FUZZ_CHECK(write(input.fd, data + 2, jpegSize) == ssize_t(jpegSize));
    Zb7RW_Reader in(input);
    Zb7RW_Writer out(output);
    const long err = Zb7JPEG_WriteJPEGMetaData(in, out, comment, block);
    ZB_FUZZ_CHECK(std::find(std::begin(kKnown), std::end(kKnown), err) != std::end(kKnown));
    if (err == 0) {
        // The copy starts as a JPEG does and is never shorter than the segments it dropped allow.
        unsigned char head[2] = {};
        ZB_FUZZ_CHECK(pread(output.fd, head, 2, 0) == 2 && head[0] == 0xFF && head[1] == 0xD8);
    }
    return 0;
}
