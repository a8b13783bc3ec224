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

void ZbJson::Name(std::string_view key, std::string_view bytes) {
    Key(key);
    if (ZbIsUTF8(bytes)) {
        out.String(bytes.data(), rapidjson::SizeType(bytes.size()));
        return;
    }
    Text(bytes);
    Key(std::string(key) + "Bytes");
    const std::string hex = ZbHexText(bytes);
    out.String(hex.data(), rapidjson::SizeType(hex.size()));
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

std::string ZbIsoLocalTime(int64_t seconds, uint32_t nanoseconds) {
    const time_t t = time_t(seconds);
    struct tm local {};
    if (!localtime_r(&t, &local)) return {};
    char text[64];
    size_t n = strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
    if (nanoseconds != 0 && nanoseconds < 1000000000) {
        char fraction[16];
        int digits = std::snprintf(fraction, sizeof fraction, ".%09u", unsigned(nanoseconds));
        while (digits > 1 && fraction[digits - 1] == '0') --digits;
        std::memcpy(text + n, fraction, size_t(digits));
        n += size_t(digits);
    }
    const long offset = local.tm_gmtoff;
    const long magnitude = offset < 0 ? -offset : offset;
    n += size_t(std::snprintf(text + n, sizeof text - n, "%c%02ld:%02ld", offset < 0 ? '-' : '+', magnitude / 3600,
                              magnitude / 60 % 60));
    return std::string(text, n);
}

std::string ZbHexText(std::string_view bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(bytes.size() * 2);
    for (unsigned char b : bytes) {
        hex.push_back(kDigits[b >> 4]);
        hex.push_back(kDigits[b & 15]);
    }
    return hex;
}
