// What the tests of the JSON answers share: splitting a tool's output, parsing answers, having
// Python read fmxhost's answers, and reading the ISO dates of an answer back into seconds and nanoseconds (the tool's
// output itself comes from Output in tests/process_util.h).
#ifndef ZERB_TESTS_ITEM_JSON_TEST_UTIL_H
#define ZERB_TESTS_ITEM_JSON_TEST_UTIL_H

#include <rapidjson/document.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

#include "tests/plugin_harness.h"
#include "tests/process_util.h"

namespace zerbtest {

inline std::vector<std::string> Split(const std::string &text, char separator) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t end; (end = text.find(separator, start)) != std::string::npos; start = end + 1)
        parts.push_back(text.substr(start, end - start));
    if (start < text.size()) parts.push_back(text.substr(start));
    return parts;
}

// fmxhost's answers to the calculations (a line each), each read by Python's json module: the lines
// it cannot read, and "<N lines>" when there are not as many lines as calculations.
inline std::string AnswersPythonCannotRead(const std::vector<std::string> &calculations) {
    const std::vector<std::string> lines = RunFmxhost(calculations, "timeout 20");
    std::string wrong = lines.size() == calculations.size() ? "" : "<" + std::to_string(lines.size()) + " lines>";
    const std::string path = "/tmp/zerb-json-answer-" + std::to_string(getpid());
    for (const std::string &line : lines) {
        std::ofstream(path) << line;
        if (std::system(("/usr/bin/python3 -c 'import json,sys; json.load(sys.stdin)' <" + path).c_str()) != 0)
            wrong += line + "\n";
    }
    std::remove(path.c_str());
    return wrong;
}

// Date fields (tm_isdst -1: the zone's rules decide).
inline struct tm DateFields(int year, int month, int day, int hour, int minute, int second) {
    struct tm t {};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    t.tm_isdst = -1;
    return t;
}

inline rapidjson::Document Parsed(const std::string &json) {
    rapidjson::Document d;
    d.Parse(json.c_str(), json.size());
    return d;
}

// A moment in nanoseconds since 1970 UTC.
using Nanos = __int128;

// "2026-11-25T12:07:39.123456789+01:00" read back; -1 when it is not of that form.
inline Nanos IsoToNanos(const std::string &iso) {
    int year, month, day, hour, minute, second, consumed = 0;
    if (std::sscanf(iso.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%n", &year, &month, &day, &hour, &minute, &second,
                    &consumed) != 6)
        return -1;
    size_t at = size_t(consumed);
    int64_t nanos = 0;
    if (at < iso.size() && iso[at] == '.') {
        int digits = 0;
        for (++at; at < iso.size() && iso[at] >= '0' && iso[at] <= '9'; ++at, ++digits) nanos = nanos * 10 + (iso[at] - '0');
        if (digits == 0 || digits > 9 || iso[at - 1] == '0') return -1;  // trailing zeros are left out
        for (; digits < 9; ++digits) nanos *= 10;
    }
    int offsetHours, offsetMinutes;
    if (at >= iso.size() || (iso[at] != '+' && iso[at] != '-') ||
        std::sscanf(iso.c_str() + at + 1, "%2d:%2d", &offsetHours, &offsetMinutes) != 2 || iso.size() != at + 6)
        return -1;
    struct tm t = DateFields(year, month, day, hour, minute, second);
    const int64_t offset = (offsetHours * 3600 + offsetMinutes * 60) * (iso[at] == '-' ? -1 : 1);
    return Nanos(int64_t(timegm(&t)) - offset) * 1000000000 + nanos;
}

// "1795642798.4574692000" (find's %T@) or "1795642798.457469200" (stat's %.9Y) as nanoseconds.
inline Nanos DecimalToNanos(const std::string &text) {
    const size_t dot = text.find('.');
    Nanos value = Nanos(std::stoll(text.substr(0, dot))) * 1000000000;
    if (dot == std::string::npos) return value;
    std::string fraction = text.substr(dot + 1, 9);
    fraction.resize(9, '0');
    return value + std::stoll(fraction);
}

}  // namespace zerbtest

#endif
