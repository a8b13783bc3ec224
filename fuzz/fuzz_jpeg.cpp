// The JPEG extraction scan on any file: it ends (at EOI, SOS, the end of the file or an error)
// with one of its known answers, never reading outside a segment's buffer. The first byte chooses
// what is asked for.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

#include "fuzz/fuzz_common.h"
#include "image/jpeg_stream.h"
#include "image/metadata_read.h"

namespace {
constexpr long kKnown[] = {0, -39, -71, -92, -108, -207, -302, -2026, -2158};
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0 || size > 200000) return 0;
    ZbMetaDataSwitch switches;
    switches.flags[kZbMetaExif] = data[0] & 1;
    switches.flags[kZbMetaComment] = (data[0] >> 1) & 1;
    switches.flags[kZbMetaXMP] = (data[0] >> 2) & 1;
    if (!(data[0] & 7)) switches.flags[kZbMetaExif] = 1;
    ZbFork fork;
    fork.fd = memfd_create("jpeg", MFD_CLOEXEC);
    ZB_FUZZ_CHECK(fork.fd >= 0);
    ZB_FUZZ_CHECK(write(fork.fd, data + 1, size - 1) == ssize_t(size - 1));
    Zb7RW_Reader in(fork);
    fmx::TextUniquePtr text;
    ZbPictParams params;
    const long err = Zb7JPEG_ScanJPEGHeader(in, switches, fmx::Text::kEncoding_UTF8, text, &params);
    ZB_FUZZ_CHECK(std::find(std::begin(kKnown), std::end(kKnown), err) != std::end(kKnown));
    return 0;
}
