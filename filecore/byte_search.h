// Finding every occurrence of a needle in a block of bytes with vector compares (AVX2, SSE2 or
// NEON, whichever the processor has), each hit checked in full.
#ifndef ZERB_FILECORE_BYTE_SEARCH_H
#define ZERB_FILECORE_BYTE_SEARCH_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

// Copies a few bytes without a call: overlapping word moves up to 16 bytes.
inline void ZbCopySmall(unsigned char *to, const unsigned char *from, size_t n) {
    const auto move = [&](auto word) {
        decltype(word) head, tail;
        std::memcpy(&head, from, sizeof word);
        std::memcpy(&tail, from + n - sizeof word, sizeof word);
        std::memcpy(to, &head, sizeof word);
        std::memcpy(to + n - sizeof word, &tail, sizeof word);
    };
    if (n > 16)
        std::memcpy(to, from, n);
    else if (n >= 8)
        move(uint64_t());
    else if (n >= 4)
        move(uint32_t());
    else if (n >= 2)
        move(uint16_t());
    else if (n == 1)
        *to = *from;
}

// Checks in full the starts i + (each bit set in mask) that do not overlap a match found before,
// calling found(start) for each match: false when found() asked to stop.
template <class Found>
inline __attribute__((always_inline)) bool ZbCheckStarts(uint64_t mask, size_t i, const unsigned char *data,
                                                         const unsigned char *n, size_t k, size_t &next, Found &found) {
    for (; mask; mask &= mask - 1) {
        const size_t start = i + unsigned(__builtin_ctzll(mask));
        if (start < next) continue;
        // The bytes between, compared in line: most hits fail at once, and a call costs more.
        size_t j = 1;
        while (j < k - 1 && data[start + j] == n[j]) ++j;
        if (j < k - 1) continue;
        if (!found(start)) return false;
        next = start + k;
    }
    return true;
}

#if defined(__x86_64__)
// Whether the scan uses 32-byte vectors: where the processor has them (the tests also run the
// scan without).
inline bool gZbScanWithAvx2 = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
}();

// Of the 32 starts at p, those whose first, second and last bytes are the needle's, as a mask:
// for a needle of three bytes the matches themselves.
__attribute__((target("avx2"), always_inline)) inline uint64_t ZbStartsAvx2(const unsigned char *p, size_t k,
                                                                           __m256i first, __m256i second,
                                                                           __m256i last) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + 1));
    const __m256i c = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + k - 1));
    return unsigned(_mm256_movemask_epi8(
        _mm256_and_si256(_mm256_and_si256(_mm256_cmpeq_epi8(a, first), _mm256_cmpeq_epi8(b, second)),
                         _mm256_cmpeq_epi8(c, last))));
}

// The windows of ZbForEachMatch with 32-byte vectors, on processors that have them: where the
// scan stopped, or SIZE_MAX when found() asked to stop.
template <class Found>
__attribute__((target("avx2"))) size_t ZbScanWindowsAvx2(const unsigned char *data, size_t size,
                                                         const unsigned char *n, size_t k, size_t &next,
                                                         Found &found) {
    const __m256i first = _mm256_set1_epi8(char(n[0])), second = _mm256_set1_epi8(char(n[1])),
                  last = _mm256_set1_epi8(char(n[k - 1]));
    size_t i = 0, after = next;  // a copy of its own: found() may write bytes, which could alias `next`
    for (; i + k - 1 + 64 <= size; i += 64) {
        const uint64_t low = ZbStartsAvx2(data + i, k, first, second, last);
        const uint64_t high = ZbStartsAvx2(data + i + 32, k, first, second, last);
        if (!ZbCheckStarts(low | high << 32, i, data, n, k, after, found)) return SIZE_MAX;
    }
    next = after;
    return i;
}
#endif

// Calls found(offset) for each whole occurrence of the needle in [data, data + size), left to
// right and never overlapping, until it returns false: a vector scan for the needle's first and
// last bytes together (and its second, with 32-byte vectors), sixty-four starts at a time, each
// hit checked in full. One pass however many occurrences there are.
template <class Found>
void ZbForEachMatch(const unsigned char *data, size_t size, std::string_view needle, Found found) {
    const size_t k = needle.size();
    if (k == 0 || k > size) return;
    const auto *n = reinterpret_cast<const unsigned char *>(needle.data());
    size_t next = 0;  // the first start that does not overlap an occurrence found
    if (k == 1) {
        while (const void *at = std::memchr(data + next, n[0], size - next)) {
            const size_t start = size_t(static_cast<const unsigned char *>(at) - data);
            if (!found(start)) return;
            next = start + 1;
        }
        return;
    }
    size_t i = 0;
#if defined(__x86_64__)
    if (gZbScanWithAvx2) {
        i = ZbScanWindowsAvx2(data, size, n, k, next, found);
        if (i == SIZE_MAX) return;
    } else
#endif
    {
#if defined(__SSE2__)
        const __m128i first = _mm_set1_epi8(char(n[0])), last = _mm_set1_epi8(char(n[k - 1]));
        for (; i + k - 1 + 64 <= size; i += 64) {
            const auto *p = reinterpret_cast<const __m128i *>(data + i);
            const auto *q = reinterpret_cast<const __m128i *>(data + i + k - 1);
            uint64_t mask = 0;
            for (int v = 0; v < 4; ++v)
                mask |= uint64_t(unsigned(_mm_movemask_epi8(_mm_and_si128(
                            _mm_cmpeq_epi8(_mm_loadu_si128(p + v), first), _mm_cmpeq_epi8(_mm_loadu_si128(q + v), last)))))
                        << (16 * v);
            if (!ZbCheckStarts(mask, i, data, n, k, next, found)) return;
        }
#elif defined(__aarch64__)
        // NEON has no byte mask: the comparisons are weighted by the byte's bit (1, 2 ... 128)
        // and summed pairwise three times, which leaves byte j of the result holding the bits of
        // bytes 8j to 8j + 7 in order.
        const uint8x16_t first = vdupq_n_u8(n[0]), last = vdupq_n_u8(n[k - 1]);
        const uint8x16_t bits = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
        for (; i + k - 1 + 64 <= size; i += 64) {
            uint8x16_t hits[4];
            for (int v = 0; v < 4; ++v)
                hits[v] = vandq_u8(vandq_u8(vceqq_u8(vld1q_u8(data + i + 16 * v), first),
                                            vceqq_u8(vld1q_u8(data + i + k - 1 + 16 * v), last)),
                                   bits);
            const uint8x16_t sums =
                vpaddq_u8(vpaddq_u8(hits[0], hits[1]), vpaddq_u8(hits[2], hits[3]));
            const uint64_t mask = vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(sums, sums)), 0);
            if (!ZbCheckStarts(mask, i, data, n, k, next, found)) return;
        }
#endif
    }
    // The last starts, fewer than sixty-four.
    for (i = std::max(i, next); i + k <= size;) {
        const void *at = memmem(data + i, size - i, n, k);
        if (!at) return;
        const size_t start = size_t(static_cast<const unsigned char *>(at) - data);
        if (!found(start)) return;
        i = start + k;
    }
}

#endif
