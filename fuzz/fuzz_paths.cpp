// The path parser on any text: it answers a known error or a reference, and a reference it answers
// prints as a colon path that parses back to the same reference. The first byte's bit 0 reads the
// rest as Mac OS Roman bytes, bit 1 allows names of 63 bytes instead of 255.
#include <algorithm>
#include <string>

#include "filecore/fsspec.h"
#include "filecore/paths.h"
#include "fuzz/fuzz_common.h"
#include "platform/volumes.h"
#include "core/globals.h"

namespace {
constexpr long kKnownErrors[] = {0,   -34, -35, -36,  -37,   -42,   -43,   -47,
                                 -50, -92, -108, -120, -207, -1407, -4299, -5000};
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool started = [] {
        gStartupDiskNameAndColon = Zb7_PlatformStartupVolumeName() + ":";
        return true;
    }();
    (void)started;
    if (size == 0 || size > 2001) return 0;
    const short mode = data[0] & 1 ? 0 : kZbPathUTF8;
    const size_t maxName = data[0] & 2 ? 63 : 255;
    const std::string text(reinterpret_cast<const char *>(data + 1), size - 1);
    if (text.find('\0') != std::string::npos) return 0;  // paths arrive as C strings

    FSSpec ref;
    const long err = ZbPi_CStrToFSpec(text, mode, maxName, &ref);
    ZB_FUZZ_CHECK(std::find(std::begin(kKnownErrors), std::end(kKnownErrors), err) != std::end(kKnownErrors));
    if (err == 0) {
        ZB_FUZZ_CHECK(ref.parID == kZbRootParentID || ref.name.size() <= maxName);
        std::string colon, refText, again;
        if (Zb7_FSSpecToFullPathCStr(ref, colon, kZbPathBufferSize, true) == 0) {
            FSSpec reparsed;
            ZB_FUZZ_CHECK(ZbPi_CStrToFSpec(colon, kZbPathUTF8, 255, &reparsed) == 0);
            Zb7_Mac_FSSpecToCStr(ref, refText);
            Zb7_Mac_FSSpecToCStr(reparsed, again);
            ZB_FUZZ_CHECK(refText == again);
        }
    } else if (err != -43) {
        ZB_FUZZ_CHECK(ZbIsClearedFSSpec(ref));
    }

    FSSpec parent;
    std::string name;
    if (Zb7_CStrToParentFSSpecAndFileName(text, mode, maxName, &parent, name) == 0)
        ZB_FUZZ_CHECK(name.size() <= maxName && !name.empty());
    return 0;
}
