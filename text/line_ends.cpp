#include "text/line_ends.h"

#include <cstring>
#include <string>

#include "text/encoding.h"

namespace {
constexpr char16_t kCR = 13, kLF = 10;

// The text read once, converted into a new buffer, set once. Segments without line ends are
// copied whole. `changed` tells whether any line end was changed.
std::u16string Convert(const std::u16string &in, short mode, bool &changed) {
    changed = false;
    std::u16string out;
    out.reserve(mode == kZbLineEndsCRLFtoCR || mode == kZbLineEndsLFtoCR || mode == kZbLineEndsToHost
                    ? in.size()
                    : in.size() + in.size() / 8);
    const char16_t *p = in.data();
    const char16_t *end = p + in.size();
    while (p < end) {
        const char16_t *q = p;
        while (q < end && *q != kCR && *q != kLF) ++q;
        out.append(p, q);
        if (q == end) break;
        const char16_t c = *q++;
        const bool pair = c == kCR && q < end && *q == kLF;
        switch (mode) {
        case kZbLineEndsCRLFtoCR:
            out.push_back(c);
            if (pair) ++q;
            changed |= pair;
            break;
        case kZbLineEndsLFtoCR:
            out.push_back(kCR);
            changed |= c == kLF;
            break;
        case kZbLineEndsToHost:
            out.push_back(kCR);
            if (pair) ++q;
            changed |= pair || c == kLF;
            break;
        default:  // every CR gains an LF, whatever follows it
            out.push_back(c);
            if (c == kCR) out.push_back(kLF);
            changed |= c == kCR;
            break;
        }
        p = q;
    }
    return out;
}
}  // namespace

void XP7_ChangeLineEndsTxt(fmx::TextUniquePtr &text, short mode) {
    const std::u16string in = XP7_TxtToUnits(*text);
    if (in.empty()) return;
    bool changed = false;
    const std::u16string out = Convert(in, mode, changed);
    if (changed) XP7_UnitsToTxt(out, text);
}

void XP_CRLFToCR(char *buf, long *len) {
    if (*len <= 0) {
        *len = 0;
        return;
    }
    long o = 0;
    for (long i = 0; i < *len; ++o) {
        if (buf[i] == '\r' && i < *len - 1 && buf[i + 1] == '\n') {
            buf[o] = '\r';
            i += 2;
        } else {
            buf[o] = buf[i++];
        }
    }
    *len = o;
}

void XP_CRToCRLF(const char *src, char *dst, long *len, long dstSize) {
    if (*len <= 0 || dstSize <= 0) {
        *len = 0;
        return;
    }
    long o = 0;
    for (long i = 0; i < *len && o < dstSize; ++i) {
        dst[o++] = src[i];
        if (src[i] == '\r' && o < dstSize) dst[o++] = '\n';
    }
    *len = o;
}
