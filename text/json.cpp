#include "text/json.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>

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
    const std::string text = ZbIsoLocalTime(seconds, nanoseconds);
    out.String(text.data(), rapidjson::SizeType(text.size()));
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

namespace {

// Writes value as `width` decimal digits, zero-padded, and answers the position after them.
char *Digits(char *at, unsigned value, int width) {
    for (int k = width - 1; k >= 0; --k, value /= 10) at[k] = char('0' + value % 10);
    return at + width;
}

}  // namespace

// Formatted by hand: a listing writes four dates per entry, and printf-style formatting was the
// largest part of describing an item.
std::string ZbIsoLocalTime(int64_t seconds, uint32_t nanoseconds) {
    const time_t t = time_t(seconds);
    struct tm local {};
    if (!localtime_r(&t, &local)) return {};
    char text[64];
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
    return std::string(text, size_t(at - text));
}

std::string ZbHexText(std::string_view bytes) {
    std::string hex(bytes.size() * 2, '\0');
    AppendHex(hex.data(), bytes);
    return hex;
}
