#include "text/json.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/results.h"
#include "platform/errors.h"
#include "text/unicode_forms.h"

void ZbJson::Text(std::string_view bytes) {
    if (ZbIsUTF8(bytes)) {
        out.String(bytes.data(), rapidjson::SizeType(bytes.size()));
        return;
    }
    const std::string repaired = ZbUTF8Repaired(bytes);
    out.String(repaired.data(), rapidjson::SizeType(repaired.size()));
}

void ZbJson::Number(double value) {
    if (std::isfinite(value))
        out.Double(value);
    else
        out.Null();
}

namespace {

// Each byte's two hex digits, so that a value is converted a byte at a time.
struct HexPairs {
    char pairs[256][2];
    constexpr HexPairs() : pairs() {
        constexpr char kDigits[] = "0123456789abcdef";
        for (int b = 0; b < 256; ++b) {
            pairs[b][0] = kDigits[b >> 4];
            pairs[b][1] = kDigits[b & 15];
        }
    }
};
constexpr HexPairs kHexPairs;

void AppendHex(char *to, std::string_view bytes) {
    for (unsigned char b : bytes) {
        std::memcpy(to, kHexPairs.pairs[b], 2);
        to += 2;
    }
}

// Writes value as `width` decimal digits, zero-padded, and answers the position after them.
char *Digits(char *at, unsigned value, int width) {
    for (int k = width - 1; k >= 0; --k, value /= 10) at[k] = char('0' + value % 10);
    return at + width;
}

// The longest local time written: a year of up to 20 characters, 15 more for the date and time,
// 10 for the fraction, 6 for the offset.
constexpr size_t kIsoTimeCapacity = 64;

// Formatted by hand: a listing writes four dates per entry, and printf-style formatting was the
// largest part of describing an item. Answers the length written (0 for an instant the C library
// cannot place); `text` holds kIsoTimeCapacity bytes.
size_t FormatIsoLocalTime(char *text, int64_t seconds, uint32_t nanoseconds) {
    const time_t t = time_t(seconds);
    struct tm local {};
    if (!localtime_r(&t, &local)) return 0;
    char *at = text;
    const long year = long(local.tm_year) + 1900;
    if (year >= 0 && year <= 9999)
        at = Digits(at, unsigned(year), 4);
    else
        at += std::snprintf(at, 16, "%ld", year);
    *at++ = '-';
    at = Digits(at, unsigned(local.tm_mon + 1), 2);
    *at++ = '-';
    at = Digits(at, unsigned(local.tm_mday), 2);
    *at++ = 'T';
    at = Digits(at, unsigned(local.tm_hour), 2);
    *at++ = ':';
    at = Digits(at, unsigned(local.tm_min), 2);
    *at++ = ':';
    at = Digits(at, unsigned(local.tm_sec), 2);
    if (nanoseconds != 0 && nanoseconds < 1000000000) {
        *at++ = '.';
        int digits = 9;
        while (nanoseconds % 10 == 0) {
            nanoseconds /= 10;
            --digits;
        }
        at = Digits(at, nanoseconds, digits);
    }
    const long offset = local.tm_gmtoff;
    const unsigned magnitude = unsigned(offset < 0 ? -offset : offset);
    *at++ = offset < 0 ? '-' : '+';
    at = Digits(at, magnitude / 3600, 2);
    *at++ = ':';
    at = Digits(at, magnitude / 60 % 60, 2);
    return size_t(at - text);
}

}  // namespace

void ZbJson::Hex(std::string_view bytes) {
    std::string quoted(bytes.size() * 2 + 2, '"');
    AppendHex(quoted.data() + 1, bytes);
    out.RawValue(quoted.data(), quoted.size(), rapidjson::kStringType);
}

void ZbJson::Name(std::string_view key, std::string_view bytes) {
    Key(key);
    if (ZbIsUTF8(bytes)) {
        out.String(bytes.data(), rapidjson::SizeType(bytes.size()));
        return;
    }
    Text(bytes);
    Key(std::string(key) + "Bytes");
    Hex(bytes);
}

void ZbJson::Date(std::string_view key, int64_t seconds, uint32_t nanoseconds) {
    Key(key);
    // Digits and punctuation only: written as they are, without escaping.
    char quoted[kIsoTimeCapacity + 2];
    quoted[0] = '"';
    const size_t n = FormatIsoLocalTime(quoted + 1, seconds, nanoseconds);
    quoted[n + 1] = '"';
    out.RawValue(quoted, n + 2, rapidjson::kStringType);
}

void ZbJson::Failure(std::string_view path, long error, int systemError) {
    BeginObject();
    Name("path", path);
    Key("error");
    Int(error);
    if (systemError != 0) {
        Key("errno");
        Int(systemError);
    }
    Key("message");
    if (systemError != 0) {
        char buffer[256];
        Text(strerror_r(systemError, buffer, sizeof buffer));
    } else {
        Text(Zb7_OSErrText(error));
    }
    EndObject();
}

std::string ZbIsoLocalTime(int64_t seconds, uint32_t nanoseconds) {
    char text[kIsoTimeCapacity];
    return std::string(text, FormatIsoLocalTime(text, seconds, nanoseconds));
}

std::string ZbHexText(std::string_view bytes) {
    std::string hex(bytes.size() * 2, '\0');
    AppendHex(hex.data(), bytes);
    return hex;
}

fmx::errcode XP7_JsonAnswerToData(long (*build)(const fmx::DataVect &parameters, ZbJson &json),
                                  const fmx::DataVect &parameters, fmx::Data &result) {
    ZbJson json;
    if (const long err = build(parameters, json))
        XP7_OSErrLToData(err, result);
    else
        XP7_CStrToData(json.buffer.GetString(), result);
    return 0;
}
