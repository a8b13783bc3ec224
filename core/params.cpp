#include "core/params.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

// Mac OS Roman capital letters and their small forms.
constexpr std::array<unsigned char, 256> MakeLowerTable() {
    std::array<unsigned char, 256> t{};
    for (int c = 0; c < 256; ++c) t[c] = static_cast<unsigned char>(c);
    for (int c = 'A'; c <= 'Z'; ++c) t[c] = static_cast<unsigned char>(c + 32);
    constexpr unsigned char pairs[][2] = {
        {0x80, 0x8A}, {0x81, 0x8C}, {0x82, 0x8D}, {0x83, 0x8E}, {0x84, 0x96}, {0x85, 0x9A}, {0x86, 0x9F},
        {0xAE, 0xBE}, {0xAF, 0xBF}, {0xCB, 0x88}, {0xCC, 0x8B}, {0xCD, 0x9B}, {0xCE, 0xCF}, {0xD9, 0xD8},
        {0xE5, 0x89}, {0xE6, 0x90}, {0xE7, 0x87}, {0xE8, 0x91}, {0xE9, 0x8F}, {0xEA, 0x92}, {0xEB, 0x94},
        {0xEC, 0x95}, {0xED, 0x93}, {0xEE, 0x97}, {0xEF, 0x99}, {0xF1, 0x98}, {0xF2, 0x9C}, {0xF3, 0x9E},
        {0xF4, 0x9D}};
    for (const auto &p : pairs) t[p[0]] = p[1];
    return t;
}
constexpr auto kLower = MakeLowerTable();

bool HasParameter(const fmx::DataVect &parameters, unsigned long cursor) { return cursor < parameters.Size(); }

}  // namespace

unsigned char XP_LowerChar(unsigned char c) { return kLower[c]; }

long XP_Position(const char *source, long sourceLength, const char *pattern, long patternLength, long start,
                 long occurrence, bool caseSensitive) {
    if (!source || !pattern || patternLength <= 0 || start < 0 || occurrence < 1) return -1;
    const auto *s = reinterpret_cast<const unsigned char *>(source);
    const auto *p = reinterpret_cast<const unsigned char *>(pattern);
    const long last = sourceLength - patternLength;
    for (long i = start; i <= last; ++i) {
        bool match;
        if (caseSensitive) {
            const void *hit = memmem(s + i, size_t(sourceLength - i), p, size_t(patternLength));
            if (!hit) return -1;
            i = static_cast<const unsigned char *>(hit) - s;
            match = true;
        } else {
            match = kLower[s[i]] == kLower[p[0]] &&
                    std::equal(p + 1, p + patternLength, s + i + 1,
                               [](unsigned char a, unsigned char b) { return kLower[a] == kLower[b]; });
        }
        if (match && --occurrence == 0) return i;
    }
    return -1;
}

bool XP_HasSwitch(const char *switches, const char *word) {
    if (!switches || !word) return false;
    return XP_Position(switches, long(std::strlen(switches)), word, long(std::strlen(word)), 0, 1, false) >= 0;
}

bool XP7_HasSwitch(const fmx::TextUniquePtr &switches, const char *word) {
    fmx::TextUniquePtr w;
    w->Assign(word, fmx::Text::kEncoding_ASCII_DOS);
    return switches->FindIgnoringCase(*w, 0) != fmx::Text::kSize_Invalid;
}

bool XP_GetTaggedLong(const char *switches, const char *tag, long *value) {
    *value = 0;
    if (!switches || !tag) return false;
    const long length = long(std::strlen(switches));
    const long tagLength = long(std::strlen(tag));
    const long at = XP_Position(switches, length, tag, tagLength, 0, 1, false);
    if (at < 0) return false;
    // The value runs up to the next "-" (the next switch word), at most 1999 bytes.
    const char *p = switches + at + tagLength;
    const char *end = p;
    while (*end && *end != '-' && end - p < 1999) ++end;
    while (p < end && !(*p >= '0' && *p <= '9')) ++p;
    if (p == end) return false;
    long v = 0;
    for (; p < end && *p >= '0' && *p <= '9'; ++p) {
        const int digit = *p - '0';
        v = (v > (__LONG_MAX__ - digit) / 10) ? __LONG_MAX__ : v * 10 + digit;
    }
    *value = v;
    return true;
}

long XP_GetTaggedStr(const char *source, long length, const char *tag, long tagLength, char endCharacter, long start,
                     long occurrence, unsigned char caseSensitive, char *value, long capacity) {
    if (value && capacity > 0) value[0] = 0;
    const long at = XP_Position(source, length, tag, tagLength, start, occurrence, caseSensitive != 0);
    if (at < 0 || !value || capacity <= 0) return at;
    long n = 0;
    for (long i = at + tagLength; i < length && source[i] != endCharacter && n < capacity - 1; ++i)
        value[n++] = source[i];
    value[n] = 0;
    return at;
}

void XP_GetNextCString(const char *source, const char *delimiter, char *item, long capacity, long *position) {
    if (capacity >= 0) item[0] = 0;
    if (*position == -1) return;
    const long length = long(std::strlen(source));
    if (*position >= length) {
        *position = -1;
        return;
    }
    const long at = XP_Position(source, length, delimiter, long(std::strlen(delimiter)), *position, 1, true);
    const long itemEnd = at < 0 ? length : at;
    const long n = std::min(itemEnd - *position, std::max(capacity, 0L));  // the buffer holds one more
    if (capacity >= 0) {
        std::memcpy(item, source + *position, size_t(n));
        item[n] = 0;
    }
    *position = at < 0 ? -1 : at + long(std::strlen(delimiter));
}

void XP7_GetNextTxtFromTxt(fmx::TextUniquePtr &source, fmx::TextUniquePtr &delimiter, fmx::TextUniquePtr &item,
                           unsigned long *position) {
    fmx::TextUniquePtr empty;
    item->SetText(*empty);
    if (*position == kZbListExhausted) return;
    const fmx::uint32 size = source->GetSize();
    if (*position >= size) {
        *position = kZbListExhausted;
        return;
    }
    const fmx::uint32 start = fmx::uint32(*position);
    const fmx::uint32 at = delimiter->GetSize() ? source->Find(*delimiter, start) : fmx::uint32(fmx::Text::kSize_Invalid);
    if (at == fmx::Text::kSize_Invalid) {
        item->SetText(*source, start, size - start);
        *position = kZbListExhausted;
        return;
    }
    if (at > start) item->SetText(*source, start, at - start);
    *position = at + delimiter->GetSize();
}

void XP7_GetNextCStringFromVect(const fmx::DataVect &parameters, char *buffer, unsigned long capacity,
                                unsigned long *cursor, fmx::Text::Encoding encoding) {
    if (HasParameter(parameters, *cursor) && capacity > 0)
        parameters.AtAsText(fmx::uint32(*cursor)).GetBytes(buffer, fmx::uint32(capacity), 0, fmx::Text::kSize_End,
                                                           encoding);
    ++*cursor;
}

void XP7_GetNextUniStrFromVect(const fmx::DataVect &parameters, unsigned short *buffer, unsigned long capacity,
                               unsigned long *cursor) {
    if (HasParameter(parameters, *cursor) && capacity > 0) {
        const fmx::Text &text = parameters.AtAsText(fmx::uint32(*cursor));
        const fmx::uint32 n = std::min<fmx::uint32>(text.GetSize(), fmx::uint32(capacity - 1));
        if (n) text.GetUnicode(buffer, 0, n);
        buffer[n] = 0;
    }
    ++*cursor;
}

void XP7_GetNextTxtFromVect(const fmx::DataVect &parameters, fmx::TextUniquePtr &text, unsigned long *cursor) {
    if (HasParameter(parameters, *cursor)) text->SetText(parameters.AtAsText(fmx::uint32(*cursor)));
    ++*cursor;
}

void XP7_GetNextDateTimeFromVect(const fmx::DataVect &parameters, fmx::DateTimeUniquePtr &dateTime,
                                 unsigned long *cursor) {
    if (HasParameter(parameters, *cursor)) {
        const fmx::DateTime &ts = parameters.AtAsTimeStamp(fmx::uint32(*cursor));
        dateTime->SetDate(ts);
        dateTime->SetTime(ts);
    }
    ++*cursor;
}

long XP7_GetNextlongFromVect(const fmx::DataVect &parameters, unsigned long *cursor) {
    long value = 0;
    if (HasParameter(parameters, *cursor)) value = parameters.AtAsNumber(fmx::uint32(*cursor)).AsLong();
    ++*cursor;
    return value;
}
