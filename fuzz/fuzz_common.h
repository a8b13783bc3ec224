// Shared by the fuzz targets: how an input becomes host text, and the check that stops a run.
//
// The first byte of an input chooses options: bit 7 set reads the rest as little-endian UTF-16
// units (so characters above 255 are reached), clear reads one unit per byte; the low bits are the
// target's own options.
#ifndef ZERB_FUZZ_FUZZ_COMMON_H
#define ZERB_FUZZ_FUZZ_COMMON_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fmx/fmx.h"
#include "text/encoding.h"

#define ZB_FUZZ_CHECK(condition)                                                            \
    do {                                                                                    \
        if (!(condition)) {                                                                 \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                   \
        }                                                                                   \
    } while (0)

namespace zbfuzz {

struct Input {
    unsigned options = 0;
    std::u16string units;
};

inline Input Split(const uint8_t *data, size_t size) {
    Input in;
    if (size == 0) return in;
    in.options = data[0] & 0x7F;
    if (data[0] & 0x80) {
        for (size_t i = 1; i + 1 < size; i += 2) in.units.push_back(char16_t(data[i] | data[i + 1] << 8));
    } else {
        in.units.assign(data + 1, data + size);
    }
    return in;
}

inline fmx::TextUniquePtr Txt(const std::u16string &units) {
    fmx::TextUniquePtr t;
    XP7_UnitsToTxt(units, t);
    return t;
}

}  // namespace zbfuzz

#endif
