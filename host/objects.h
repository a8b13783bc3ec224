// The host emulator's own objects. Every fmx class is an opaque handle: the pointer the plug-in
// holds is the address of one of these records, cast. Only the emulator sees this header.
#ifndef ZERB_HOST_OBJECTS_H
#define ZERB_HOST_OBJECTS_H

#include <cstdint>
#include <new>
#include <type_traits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zhost {

struct TextObj {
    std::u16string s;
};

struct QuadCharObj {
    unsigned char c[4] = {0, 0, 0, 0};
};

struct LocaleObj {
    int32_t type = 1;  // Locale::kType_System
};

// Host number. A long double keeps every 64-bit integer exact (64-bit mantissa on x86-64, quad
// precision on arm64); `precision` is the number of decimal places the host works with.
struct FixPtObj {
    long double v = 0;
    int precision = 16;
};

// Host date-time: day number (1 January 0001 is day 1, so 1 January 1904 is day 695056) and
// microseconds since midnight. A plain date has usec 0; a plain time has days 0.
struct DateTimeObj {
    int64_t days = 0;
    int64_t usec = 0;
};

struct CharacterStyleObj {
    uint16_t font = 0, face = 0, size = 12;
    uint8_t r = 0, g = 0, b = 0, a = 255;
    bool fontOn = false, faceOn = false, sizeOn = false, colorOn = false;
};

struct BinaryObj {
    struct Stream {
        uint32_t type;  // four characters, first one in the high byte
        std::vector<uint8_t> bytes;
    };
    std::vector<Stream> streams;
    // Streams begun with AddBegin and not yet finished, by context number.
    std::vector<std::pair<uint32_t, Stream>> pending;
    uint32_t nextContext = 1;
    // The pending stream a named constructor began: when it finishes, its image header (if any)
    // also gives the SIZE stream. 0: none.
    uint32_t describedContext = 0;
};

// A calculation value: its native type plus the value in that type. The As* accessors convert on
// demand into the mutable caches, which live as long as the value (the host hands out references).
struct DataObj {
    int32_t type = 0;  // Data::DataType
    TextObj text;
    FixPtObj number;
    DateTimeObj dateTime;
    BinaryObj binary;
    bool boolean = false;
    LocaleObj locale;

    mutable TextObj asText;
    mutable FixPtObj asNumber;
    mutable DateTimeObj asDate, asTime, asTimeStamp;
};

struct DataVectObj {
    std::vector<std::unique_ptr<DataObj>> items;
};

struct ExprEnvObj {
    uint64_t sessionId = 0;
    uint64_t fileId = 0;
};

template <typename Obj>
inline Obj &Self(void *p) {
    return *static_cast<Obj *>(p);
}
template <typename Obj>
inline const Obj &Self(const void *p) {
    return *static_cast<const Obj *>(p);
}
template <typename Obj, typename Fmx>
inline const Obj &Of(const Fmx &x) {
    return *reinterpret_cast<const Obj *>(&x);
}
template <typename Obj, typename Fmx>
inline Obj &Of(Fmx &x) {
    return *reinterpret_cast<Obj *>(&x);
}
template <typename Fmx, typename Obj>
inline Fmx *As(Obj *o) {
    return reinterpret_cast<Fmx *>(o);
}
template <typename Fmx, typename Obj>
inline const Fmx *As(const Obj *o) {
    return reinterpret_cast<const Fmx *>(o);
}

// ---- Encodings (encodings.cpp) ----
// The host encodings 0..36 of Text::Encoding. Native (0) is Mac OS Roman unless changed.
constexpr int kEncodingCount = 37;
void SetNativeEncoding(int encoding);
int NativeEncoding();
// Encode UTF-16 into the encoding; characters the encoding lacks become '?'.
std::string EncodeText(std::u16string_view text, int encoding);
// Decode bytes of the encoding; invalid sequences become U+FFFD.
std::u16string DecodeBytes(std::string_view bytes, int encoding);
std::string ToUtf8(std::u16string_view text);
std::u16string FromUtf8(std::string_view utf8);
// Encodes into out[0, capacity), whole characters only: stops before the first character whose
// bytes do not fit. Returns the number of bytes written.
std::size_t EncodeTextInto(std::u16string_view text, int encoding, char *out, std::size_t capacity);
// The one-byte Mac character sets as byte -> UTF-16 tables (mac_tables.cpp, written by
// gen_mac_tables.pl); U+FFFD marks a byte with no single-code-point mapping.
enum MacCharset { kMacRoman, kMacCyrillic, kMacCentralEurope, kMacTurkish, kMacArabic, kMacGreek, kMacHebrew,
                  kWinHebrew, kMacCharsetCount };
extern const char16_t kMacCharsetTable[kMacCharsetCount][256];
// Bytes that stand for a sequence of characters (their table entry is U+FFFD).
struct MacCharsetSequence {
    int charset;
    unsigned char byte;
    const char16_t *characters;
};
extern const MacCharsetSequence kMacCharsetSequences[];
extern const std::size_t kMacCharsetSequenceCount;

// ---- Value conversions (values.cpp) ----
std::u16string NumberToText(const FixPtObj &n);
bool TextToNumber(std::u16string_view text, FixPtObj &out);  // false: no digits
std::u16string DateToText(const DateTimeObj &d);
std::u16string TimeToText(const DateTimeObj &t);
std::u16string TimeStampToText(const DateTimeObj &ts);
bool TextToDate(std::u16string_view text, DateTimeObj &out);
bool TextToTime(std::u16string_view text, DateTimeObj &out);
bool TextToTimeStamp(std::u16string_view text, DateTimeObj &out);
// Civil calendar <-> day number (day 1 = 1 January 0001).
int64_t DayNumberFromCivil(int64_t year, int month, int day);
void CivilFromDayNumber(int64_t dayNumber, int64_t &year, int &month, int &day);

constexpr int64_t kUsecPerSecond = 1000000;
constexpr int64_t kUsecPerDay = 86400 * kUsecPerSecond;
// Division and remainder rounding toward minus infinity (b > 0).
inline int64_t FloorDiv(int64_t a, int64_t b) {
    const int64_t q = a / b;
    return (a % b != 0 && a < 0) ? q - 1 : q;
}
// Taken from the remainder itself, so no product can pass the int64 range.
inline int64_t FloorMod(int64_t a, int64_t b) {
    const int64_t r = a % b;
    return r < 0 ? r + b : r;
}
// Truncates toward zero and saturates to the int64 range; NaN gives 0.
int64_t ToInt64(long double v);
// Seconds, fraction kept, rounded to the microsecond (saturating).
int64_t UsecFromSeconds(long double seconds);
// Timestamps as seconds since 1 January 0001 00:00:00.
DateTimeObj TimeStampFromSeconds(long double seconds);
// The host's timestamps run from 1/1/0001 to 12/31/4000 (day 1 to this day).
constexpr int64_t kLastTimeStampDay = 1460970;
long double SecondsSinceEpoch(const DateTimeObj &ts);

// Runs fn and reports a thrown exception in the error block as the host does
// (1 for std::bad_alloc, 2 for anything else), returning a zero value instead.
template <typename Fn>
inline auto Guard(int32_t &code, Fn fn) noexcept -> decltype(fn()) {
    try {
        return fn();
    } catch (const std::bad_alloc &) {
        code = 1;
    } catch (...) {
        code = 2;
    }
    if constexpr (!std::is_void_v<decltype(fn())>) return decltype(fn()){};
}

}  // namespace zhost

#endif
