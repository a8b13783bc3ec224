// NFD in one pass over the input; NFC composes the NFD form again.
//
// Characters are appended to the result as they are decoded or looked up. Non-starters (combining
// class above 0) are appended too, and the current run of them is only re-sorted, in place, when a
// mark arrived with a lower class than the one before it, which real names almost never need.
// Decomposition entries in the tables are already UTF-8, so a decomposed character is copied
// byte for byte; only the class of each of its characters is looked up.
#include "text/unicode_forms.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "text/unicode_tables.h"

namespace {

// Hangul syllables: S = SBase + (L * VCount + V) * TCount + T.
constexpr char32_t kHangulSBase = 0xAC00, kHangulLBase = 0x1100, kHangulVBase = 0x1161, kHangulTBase = 0x11A7;
constexpr char32_t kHangulVCount = 21, kHangulTCount = 28;
constexpr char32_t kHangulNCount = kHangulVCount * kHangulTCount;
constexpr char32_t kHangulSCount = 19 * kHangulNCount;

// Nothing below U+00C0 decomposes or combines, and a byte below 0xC3 cannot start such a
// character.
constexpr unsigned char kFirstActiveLead = 0xC3;

// The table value of a code point (see text/unicode_tables.h).
inline uint16_t UniValue(char32_t cp) {
    if (cp >= kZbUniTableLimit) return 0;
    const unsigned mid = kZbUniTop[cp >> (kZbUniLeafBits + kZbUniMidBits)];
    const unsigned leaf = kZbUniMid[mid << kZbUniMidBits | (cp >> kZbUniLeafBits & ((1u << kZbUniMidBits) - 1))];
    return kZbUniLeaf[leaf << kZbUniLeafBits | (cp & ((1u << kZbUniLeafBits) - 1))];
}

// The length of the prefix that is its own NFD: the bytes before the first one of 0xC3 or above.
// Every byte before that is ASCII, a continuation byte, or a lead byte of U+0080..U+00BF or of
// nothing, and the byte at the end of the prefix is never a continuation, so the prefix decodes
// on its own.
size_t InertPrefix(std::string_view s) {
    const auto *p = reinterpret_cast<const unsigned char *>(s.data());
    const size_t n = s.size();
    size_t i = 0;
    while (i < n) {
        if (i + 8 <= n) {
            uint64_t word;
            std::memcpy(&word, p + i, 8);
            if ((word & 0x8080808080808080ull) == 0) {
                i += 8;
                continue;
            }
        }
        if (p[i] >= kFirstActiveLead) break;
        ++i;
    }
    return i;
}

inline bool IsContinuation(unsigned char b) { return (b & 0xC0) == 0x80; }

// Decodes one well-formed UTF-8 sequence at p (n bytes available, n >= 1, p[0] >= 0x80) into cp
// and returns its length, or 0 when the bytes there are not well-formed: a bad lead byte, a
// missing continuation, an overlong form, a surrogate or a value above U+10FFFF.
size_t DecodeMultiByte(const unsigned char *p, size_t n, char32_t &cp) {
    const unsigned char b = p[0];
    if (b < 0xC2) return 0;
    if (b < 0xE0) {
        if (n < 2 || !IsContinuation(p[1])) return 0;
        cp = char32_t(b & 0x1F) << 6 | (p[1] & 0x3F);
        return 2;
    }
    if (b < 0xF0) {
        if (n < 3 || !IsContinuation(p[1]) || !IsContinuation(p[2])) return 0;
        if (b == 0xE0 && p[1] < 0xA0) return 0;  // overlong
        if (b == 0xED && p[1] >= 0xA0) return 0;  // surrogate
        cp = char32_t(b & 0x0F) << 12 | char32_t(p[1] & 0x3F) << 6 | (p[2] & 0x3F);
        return 3;
    }
    if (b < 0xF5) {
        if (n < 4 || !IsContinuation(p[1]) || !IsContinuation(p[2]) || !IsContinuation(p[3])) return 0;
        if (b == 0xF0 && p[1] < 0x90) return 0;  // overlong
        if (b == 0xF4 && p[1] >= 0x90) return 0;  // above U+10FFFF
        cp = char32_t(b & 0x07) << 18 | char32_t(p[1] & 0x3F) << 12 | char32_t(p[2] & 0x3F) << 6 | (p[3] & 0x3F);
        return 4;
    }
    return 0;
}

// Where DecodeMultiByte answered 0: the length of the maximal ill-formed subsequence at p, the
// lead byte and those continuation bytes that could still have begun a well-formed sequence.
size_t IllFormedLength(const unsigned char *p, size_t n) {
    const unsigned char b = p[0];
    if (b < 0xE0 || b > 0xF4 || n < 2) return 1;
    const unsigned char low = b == 0xE0 ? 0xA0 : b == 0xF0 ? 0x90 : 0x80;
    const unsigned char high = b == 0xED ? 0x9F : b == 0xF4 ? 0x8F : 0xBF;
    if (p[1] < low || p[1] > high) return 1;
    if (b < 0xF0 || n < 3 || !IsContinuation(p[2])) return 2;
    return 3;
}

// The length of the UTF-8 sequence a lead byte starts, for text known to be well-formed.
inline size_t SequenceLength(unsigned char lead) { return lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4; }

void AppendUTF8(std::string &out, char32_t cp) {
    if (cp < 0x80) {
        out.push_back(char(cp));
    } else if (cp < 0x800) {
        const char b[2] = {char(0xC0 | cp >> 6), char(0x80 | (cp & 0x3F))};
        out.append(b, 2);
    } else if (cp < 0x10000) {
        const char b[3] = {char(0xE0 | cp >> 12), char(0x80 | (cp >> 6 & 0x3F)), char(0x80 | (cp & 0x3F))};
        out.append(b, 3);
    } else {
        const char b[4] = {char(0xF0 | cp >> 18), char(0x80 | (cp >> 12 & 0x3F)), char(0x80 | (cp >> 6 & 0x3F)),
                           char(0x80 | (cp & 0x3F))};
        out.append(b, 4);
    }
}

struct Mark {
    uint8_t ccc;
    char32_t cp;
};

// The result under construction and its trailing run of non-starters.
struct NFDWriter {
    std::string out;
    size_t runStart = 0;     // where the run of non-starters at the end of out begins
    unsigned lastClass = 0;  // class of the last character appended; 0 after a starter
    bool unordered = false;  // the run holds a mark with a lower class than the one before it
    std::vector<Mark> marks;

    void Starter(const char *bytes, size_t n) {
        if (unordered) SortRun();
        lastClass = 0;
        out.append(bytes, n);
    }

    void NonStarter(const char *bytes, size_t n, unsigned ccc) {
        if (lastClass == 0)
            runStart = out.size();
        else if (ccc < lastClass)
            unordered = true;
        lastClass = ccc;
        out.append(bytes, n);
    }

    // A character without a decomposition, with its class.
    void Final(const char *bytes, size_t n, unsigned ccc) {
        if (ccc == 0)
            Starter(bytes, n);
        else
            NonStarter(bytes, n, ccc);
    }

    void Character(char32_t cp, const char *bytes, size_t n) {
        if (cp - kHangulSBase < kHangulSCount) {
            const char32_t s = cp - kHangulSBase;
            if (unordered) SortRun();
            lastClass = 0;
            AppendUTF8(out, kHangulLBase + s / kHangulNCount);
            AppendUTF8(out, kHangulVBase + s % kHangulNCount / kHangulTCount);
            if (s % kHangulTCount != 0) AppendUTF8(out, kHangulTBase + s % kHangulTCount);
            return;
        }
        const uint16_t v = UniValue(cp);
        if (v < 256) {
            Final(bytes, n, v);
            return;
        }
        // The entry is well-formed UTF-8 of characters that do not decompose further.
        const auto *d = kZbUniDecompositions + (v - 256);
        while (*d != 0) {
            const size_t len = SequenceLength(*d);
            char32_t c = *d;
            if (len > 1) DecodeMultiByte(d, len, c);
            Final(reinterpret_cast<const char *>(d), len, UniValue(c));
            d += len;
        }
    }

    // Stable sort of the run by class, rewritten over the same bytes (its length does not change).
    void SortRun() {
        marks.clear();
        const auto *p = reinterpret_cast<const unsigned char *>(out.data());
        for (size_t i = runStart; i < out.size();) {
            char32_t cp = 0;
            i += DecodeMultiByte(p + i, out.size() - i, cp);  // marks are never ASCII
            marks.push_back({uint8_t(UniValue(cp)), cp});
        }
        std::stable_sort(marks.begin(), marks.end(), [](const Mark &a, const Mark &b) { return a.ccc < b.ccc; });
        out.resize(runStart);
        for (const Mark &m : marks) AppendUTF8(out, m.cp);
        unordered = false;
    }
};

}  // namespace

bool ZbIsUTF8(std::string_view bytes) {
    const auto *p = reinterpret_cast<const unsigned char *>(bytes.data());
    const auto *end = p + bytes.size();
    char32_t cp;
    while (p < end) {
        if (*p < 0x80) {
            ++p;
            continue;
        }
        const size_t length = DecodeMultiByte(p, size_t(end - p), cp);
        if (length == 0) return false;
        p += length;
    }
    return true;
}

std::string ZbUTF8Repaired(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size() + 8);
    const auto *p = reinterpret_cast<const unsigned char *>(bytes.data());
    const auto *end = p + bytes.size();
    char32_t cp;
    while (p < end) {
        const auto *run = p;
        while (p < end && *p < 0x80) ++p;
        out.append(reinterpret_cast<const char *>(run), size_t(p - run));
        if (p == end) break;
        const size_t length = DecodeMultiByte(p, size_t(end - p), cp);
        if (length) {
            out.append(reinterpret_cast<const char *>(p), length);
            p += length;
            continue;
        }
        // The maximal ill-formed subsequence: a lead byte and the continuation bytes that could
        // still have completed it, then one replacement character for all of them.
        out.append("\xEF\xBF\xBD");
        p += IllFormedLength(p, size_t(end - p));
    }
    return out;
}

std::string ZbUTF8ToNFD(std::string_view utf8) {
    const size_t prefix = InertPrefix(utf8);
    if (prefix == utf8.size()) return std::string(utf8);

    NFDWriter w;
    w.out.reserve(utf8.size() + utf8.size() / 2);
    w.out.append(utf8.data(), prefix);
    const auto *p = reinterpret_cast<const unsigned char *>(utf8.data());
    const size_t n = utf8.size();
    size_t i = prefix;
    while (i < n) {
        if (p[i] < 0x80) {
            size_t j = i + 1;
            while (j < n && p[j] < 0x80) ++j;
            w.Starter(utf8.data() + i, j - i);
            i = j;
            continue;
        }
        char32_t cp = 0;
        const size_t len = DecodeMultiByte(p + i, n - i, cp);
        if (len == 0) {
            w.Starter(utf8.data() + i, 1);  // not UTF-8: kept, and nothing moves across it
            ++i;
            continue;
        }
        w.Character(cp, utf8.data() + i, len);
        i += len;
    }
    if (w.unordered) w.SortRun();
    return std::move(w.out);
}

namespace {

// A byte of the text that is not well-formed UTF-8, kept in the list of characters; it is no
// code point, so it never composes.
constexpr char32_t kRawByte = 0x80000000u;

// The primary composite of a pair, or 0 when they do not compose.
char32_t Composite(char32_t first, char32_t second) {
    if (first - kHangulLBase < 19 && second - kHangulVBase < kHangulVCount)
        return kHangulSBase + ((first - kHangulLBase) * kHangulVCount + (second - kHangulVBase)) * kHangulTCount;
    if (first - kHangulSBase < kHangulSCount && (first - kHangulSBase) % kHangulTCount == 0 &&
        second - kHangulTBase - 1 < kHangulTCount - 1)
        return first + (second - kHangulTBase);
    const char32_t(*begin)[3] = kZbUniCompositions;
    const char32_t(*end)[3] = kZbUniCompositions + kZbUniCompositionCount;
    const auto it = std::lower_bound(begin, end, std::pair{first, second}, [](const char32_t(&entry)[3], auto key) {
        return entry[0] < key.first || (entry[0] == key.first && entry[1] < key.second);
    });
    return it != end && (*it)[0] == first && (*it)[1] == second ? (*it)[2] : 0;
}

}  // namespace

std::string ZbUTF8ToNFC(std::string_view utf8) {
    if (InertPrefix(utf8) == utf8.size()) return std::string(utf8);
    const std::string nfd = ZbUTF8ToNFD(utf8);
    const auto *p = reinterpret_cast<const unsigned char *>(nfd.data());
    std::vector<char32_t> out;
    out.reserve(nfd.size());
    // The last starter that later characters may still join, and the class of the character
    // appended last: a mark is blocked from the starter when a character between them has class
    // 0 or a class not below its own.
    size_t starter = SIZE_MAX;
    unsigned lastClass = 0;
    for (size_t i = 0; i < nfd.size();) {
        char32_t cp = p[i];
        size_t len = 1;
        if (cp >= 0x80 && (len = DecodeMultiByte(p + i, nfd.size() - i, cp)) == 0) {
            out.push_back(kRawByte | p[i]);
            starter = SIZE_MAX;
            ++i;
            continue;
        }
        i += len;
        const unsigned ccc = ZbUnicodeCombiningClass(cp);
        if (starter != SIZE_MAX) {
            const bool adjacent = out.size() == starter + 1;
            if (adjacent || (lastClass != 0 && lastClass < ccc)) {
                if (const char32_t composite = Composite(out[starter], cp)) {
                    out[starter] = composite;
                    continue;
                }
            }
        }
        if (ccc == 0) starter = out.size();
        lastClass = ccc;
        out.push_back(cp);
    }
    std::string text;
    text.reserve(nfd.size());
    for (const char32_t c : out) {
        if (c & kRawByte)
            text.push_back(char(c & 0xFF));
        else
            AppendUTF8(text, c);
    }
    return text;
}

bool ZbUTF8CanonicallyEqual(std::string_view a, std::string_view b) {
    if (a == b) return true;
    // Different texts that are both their own NFD.
    if (InertPrefix(a) == a.size() && InertPrefix(b) == b.size()) return false;
    return ZbUTF8ToNFD(a) == ZbUTF8ToNFD(b);
}

unsigned ZbUnicodeCombiningClass(char32_t cp) {
    if (cp - kHangulSBase < kHangulSCount) return 0;
    const uint16_t v = UniValue(cp);
    if (v < 256) return v;
    const auto *d = kZbUniDecompositions + (v - 256);
    char32_t first = *d;
    if (*d >= 0x80) DecodeMultiByte(d, SequenceLength(*d), first);
    return UniValue(first);
}
