// Conversions between the host's value types and their text forms, written and read the way the
// host does it. Everything here is locale-independent: the host's own text forms (US date order,
// "." as the decimal point) do not follow the C library's locale.
#include "host/objects.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace zhost {
namespace {

// Day number of 1 January 1970.
constexpr int64_t kUnixEpochDayNumber = 719163;
// Day numbers further out than this are clamped before calendar arithmetic (about 3e12 years),
// which keeps every intermediate value far from overflow.
constexpr int64_t kDayNumberLimit = int64_t(1) << 50;
// Plain decimal notation is used up to the host's number range (10^-400 .. 10^400); anything
// beyond it (only reachable through a double or long double) is written with an exponent.
constexpr int kPlainExponentLimit = 400;

void AppendAscii(std::u16string &out, std::string_view s) {
    for (char c : s) out.push_back(char16_t(static_cast<unsigned char>(c)));
}

void AppendUnsigned(std::u16string &out, uint64_t v, int minDigits = 1) {
    char buf[24];
    const auto r = std::to_chars(buf, buf + sizeof buf, v);
    for (int pad = minDigits - int(r.ptr - buf); pad > 0; --pad) out.push_back(u'0');
    AppendAscii(out, std::string_view(buf, size_t(r.ptr - buf)));
}

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n' || c == u'\u00A0'; }

std::u16string_view Trim(std::u16string_view s) {
    while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
    while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
    return s;
}

int DaysInMonth(int64_t year, int month) {
    static constexpr int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : kDays[month - 1];
}

// A position in the text being parsed.
struct Cursor {
    std::u16string_view s;
    size_t i = 0;

    bool AtEnd() const { return i >= s.size(); }
    char16_t Peek() const { return AtEnd() ? u'\0' : s[i]; }
    bool Eat(char16_t c) {
        if (Peek() != c || AtEnd()) return false;
        ++i;
        return true;
    }
    // Reads a run of digits; answers their count (0 when there is none, or more than maxDigits,
    // in which case nothing is consumed).
    int Number(int64_t &value, int maxDigits) {
        size_t j = i;
        int64_t v = 0;
        while (j < s.size() && IsDigit(s[j])) {
            if (int(j - i) == maxDigits) return 0;
            v = v * 10 + (s[j] - u'0');
            ++j;
        }
        const int n = int(j - i);
        if (n > 0) {
            value = v;
            i = j;
        }
        return n;
    }
    bool SkipBlanks() {
        const size_t start = i;
        while (!AtEnd() && IsBlank(s[i])) ++i;
        return i > start;
    }
    // Case-insensitive ASCII word.
    bool EatWord(std::string_view w) {
        if (s.size() - i < w.size()) return false;
        for (size_t k = 0; k < w.size(); ++k) {
            char16_t c = s[i + k];
            if (c >= u'a' && c <= u'z') c = char16_t(c - u'a' + u'A');
            if (c != char16_t(w[k])) return false;
        }
        i += w.size();
        return true;
    }
};

// "M/D/YYYY", "M-D-YYYY" or "YYYY-MM-DD"; the year always has four digits.
bool ParseDate(Cursor &c, int64_t &dayNumber) {
    int64_t a = 0, b = 0, y = 0;
    int64_t month = 0, day = 0;
    const int firstDigits = c.Number(a, 4);
    if (firstDigits == 4) {
        if (!c.Eat(u'-') || c.Number(month, 2) == 0 || !c.Eat(u'-') || c.Number(day, 2) == 0) return false;
        y = a;
    } else if (firstDigits >= 1 && firstDigits <= 2) {
        const char16_t sep = c.Peek();
        if (sep != u'/' && sep != u'-') return false;
        c.Eat(sep);
        if (c.Number(b, 2) == 0 || !c.Eat(sep) || c.Number(y, 4) != 4) return false;
        month = a;
        day = b;
    } else {
        return false;
    }
    if (IsDigit(c.Peek())) return false;
    if (y < 1 || month < 1 || month > 12 || day < 1 || day > DaysInMonth(y, int(month))) return false;
    dayNumber = DayNumberFromCivil(y, int(month), int(day));
    return true;
}

// "H:MM", "H:MM:SS" or "H:MM:SS.ffffff", optionally followed by AM or PM. Hours are not limited
// to a day (durations); a leading "-" is accepted where allowSign says so.
bool ParseTime(Cursor &c, int64_t &usec, bool allowSign) {
    const bool negative = allowSign && c.Eat(u'-');
    int64_t hour = 0, minute = 0, second = 0, fraction = 0;
    if (c.Number(hour, 9) == 0 || !c.Eat(u':') || c.Number(minute, 2) == 0 || minute > 59) return false;
    if (c.Eat(u':')) {
        if (c.Number(second, 2) == 0 || second > 59) return false;
        if (c.Eat(u'.')) {
            int digits = 0;
            while (IsDigit(c.Peek())) {
                if (digits < 6) fraction = fraction * 10 + (c.Peek() - u'0');
                ++digits;
                ++c.i;
            }
            if (digits == 0) return false;
            for (; digits < 6; ++digits) fraction *= 10;
        }
    }
    if (IsDigit(c.Peek())) return false;
    const size_t beforeSuffix = c.i;
    c.SkipBlanks();
    if (c.EatWord("AM") || c.EatWord("PM")) {
        const bool pm = c.s[c.i - 2] == u'P' || c.s[c.i - 2] == u'p';
        if (negative || hour < 1 || hour > 12) return false;
        hour = (hour % 12) + (pm ? 12 : 0);
    } else {
        c.i = beforeSuffix;
    }
    const int64_t total = ((hour * 60 + minute) * 60 + second) * kUsecPerSecond + fraction;
    usec = negative ? -total : total;
    return true;
}

}  // namespace

int64_t ToInt64(long double v) {
    constexpr long double kTwo63 = 9223372036854775808.0L;
    if (std::isnan(v)) return 0;
    if (v >= kTwo63) return std::numeric_limits<int64_t>::max();
    if (v <= -kTwo63) return std::numeric_limits<int64_t>::min();
    return static_cast<int64_t>(v);  // truncates toward zero
}

int64_t UsecFromSeconds(long double seconds) { return ToInt64(std::roundl(seconds * kUsecPerSecond)); }

DateTimeObj TimeStampFromSeconds(long double seconds) {
    const int64_t usec = UsecFromSeconds(seconds);
    return DateTimeObj{FloorDiv(usec, kUsecPerDay) + 1, FloorMod(usec, kUsecPerDay)};
}

long double SecondsSinceEpoch(const DateTimeObj &ts) {
    return static_cast<long double>(ts.days - 1) * 86400 + static_cast<long double>(ts.usec) / kUsecPerSecond;
}

// ---- numbers ----

std::u16string NumberToText(const FixPtObj &n) {
    const long double v = n.v;
    std::u16string out;
    if (std::isnan(v) || std::isinf(v)) return u"?";

    // Integers print exactly, which keeps every 64-bit integer intact through text.
    constexpr long double kTwo63 = 9223372036854775808.0L;
    if (v == std::truncl(v) && v >= -kTwo63 && v < kTwo63) {
        char buf[24];
        const auto r = std::to_chars(buf, buf + sizeof buf, static_cast<int64_t>(v));
        AppendAscii(out, std::string_view(buf, size_t(r.ptr - buf)));
        return out;
    }

    // Anything else: 16 significant digits, rounded once, then laid out in plain notation.
    char buf[64];
    const auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::scientific, 15);
    const std::string_view sci(buf, size_t(r.ptr - buf));  // [-]d.ddddddddddddddde(+|-)xx
    const bool negative = sci.front() == '-';
    const size_t ePos = sci.find('e');
    std::string digits;
    for (char ch : sci.substr(negative ? 1 : 0, ePos - (negative ? 1 : 0)))
        if (ch != '.') digits.push_back(ch);
    int exponent = 0;
    std::string_view expText = sci.substr(ePos + 1);
    if (expText.front() == '+') expText.remove_prefix(1);
    std::from_chars(expText.data(), expText.data() + expText.size(), exponent);
    while (digits.size() > 1 && digits.back() == '0') digits.pop_back();

    if (negative) out.push_back(u'-');
    if (exponent > kPlainExponentLimit || exponent < -kPlainExponentLimit) {
        out.push_back(char16_t(digits[0]));
        if (digits.size() > 1) {
            out.push_back(u'.');
            AppendAscii(out, std::string_view(digits).substr(1));
        }
        out.push_back(u'E');
        out.push_back(exponent < 0 ? u'-' : u'+');
        AppendUnsigned(out, uint64_t(exponent < 0 ? -exponent : exponent));
        return out;
    }
    if (exponent >= 0) {
        const size_t intDigits = size_t(exponent) + 1;
        if (digits.size() <= intDigits) {
            AppendAscii(out, digits);
            out.append(intDigits - digits.size(), u'0');
        } else {
            AppendAscii(out, std::string_view(digits).substr(0, intDigits));
            out.push_back(u'.');
            AppendAscii(out, std::string_view(digits).substr(intDigits));
        }
    } else {
        // The host writes no zero before the decimal point.
        out.push_back(u'.');
        out.append(size_t(-exponent - 1), u'0');
        AppendAscii(out, digits);
    }
    return out;
}

bool TextToNumber(std::u16string_view text, FixPtObj &out) {
    // Digits beyond these counts cannot change a long double; capping them bounds the work on
    // very long texts.
    constexpr size_t kMaxIntDigits = 5000, kMaxFracDigits = 500;
    std::string intDigits, fracDigits;
    bool negative = false, seenDigit = false, seenPoint = false;
    size_t intCount = 0;
    for (char16_t c : text) {
        if (IsDigit(c)) {
            seenDigit = true;
            if (seenPoint) {
                if (fracDigits.size() < kMaxFracDigits) fracDigits.push_back(char(c));
            } else if (!intDigits.empty() || c != u'0') {
                ++intCount;
                if (intDigits.size() < kMaxIntDigits) intDigits.push_back(char(c));
            }
        } else if (c == u'.') {
            seenPoint = true;
        } else if (c == u'-' && !seenDigit) {
            negative = true;
        }
    }
    if (!seenDigit) return false;
    while (!fracDigits.empty() && fracDigits.back() == '0') fracDigits.pop_back();

    long double v = 0;
    if (fracDigits.empty() && intCount <= 19) {
        uint64_t u = 0;  // 19 digits always fit, and a long double holds every uint64 exactly
        for (char ch : intDigits) u = u * 10 + uint64_t(ch - '0');
        v = static_cast<long double>(u);
    } else if (intCount > kMaxIntDigits) {
        v = std::numeric_limits<long double>::max();
    } else {
        std::string literal = intDigits.empty() ? std::string("0") : intDigits;
        if (!fracDigits.empty()) literal += "." + fracDigits;
        const auto r = std::from_chars(literal.data(), literal.data() + literal.size(), v);
        if (r.ec == std::errc::result_out_of_range) v = intDigits.empty() ? 0 : std::numeric_limits<long double>::max();
    }
    out.v = (negative && v != 0) ? -v : v;
    return true;
}

// ---- calendar ----

int64_t DayNumberFromCivil(int64_t year, int month, int day) {
    // Days from 1 March of year 0 in 400-year eras (146097 days each).
    const int64_t y = year - (month <= 2 ? 1 : 0);
    const int64_t era = FloorDiv(y, 400);
    const int64_t yoe = y - era * 400;
    const int64_t mp = (month + 9) % 12;  // March = 0
    const int64_t doy = (153 * mp + 2) / 5 + day - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468 + kUnixEpochDayNumber;
}

void CivilFromDayNumber(int64_t dayNumber, int64_t &year, int &month, int &day) {
    if (dayNumber > kDayNumberLimit) dayNumber = kDayNumberLimit;
    if (dayNumber < -kDayNumberLimit) dayNumber = -kDayNumberLimit;
    const int64_t z = dayNumber - kUnixEpochDayNumber + 719468;
    const int64_t era = FloorDiv(z, 146097);
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    day = int(doy - (153 * mp + 2) / 5 + 1);
    month = int(mp < 10 ? mp + 3 : mp - 9);
    year = yoe + era * 400 + (month <= 2 ? 1 : 0);
}

// ---- dates and times as text ----

std::u16string DateToText(const DateTimeObj &d) {
    std::u16string out;
    if (d.days < 1) return out;  // before 1/1/0001: no date to show
    int64_t year = 0;
    int month = 0, day = 0;
    CivilFromDayNumber(d.days, year, month, day);
    AppendUnsigned(out, uint64_t(month));
    out.push_back(u'/');
    AppendUnsigned(out, uint64_t(day));
    out.push_back(u'/');
    AppendUnsigned(out, uint64_t(year), 4);
    return out;
}

std::u16string TimeToText(const DateTimeObj &t) {
    std::u16string out;
    uint64_t total = uint64_t(t.usec);
    if (t.usec < 0) {
        out.push_back(u'-');
        total = uint64_t(0) - total;
    }
    const uint64_t usecPerSecond = uint64_t(kUsecPerSecond);
    const uint64_t seconds = total / usecPerSecond;
    uint64_t fraction = total % usecPerSecond;
    AppendUnsigned(out, seconds / 3600);
    out.push_back(u':');
    AppendUnsigned(out, seconds / 60 % 60, 2);
    out.push_back(u':');
    AppendUnsigned(out, seconds % 60, 2);
    if (fraction != 0) {
        int digits = 6;
        while (fraction % 10 == 0) {
            fraction /= 10;
            --digits;
        }
        out.push_back(u'.');
        AppendUnsigned(out, fraction, digits);
    }
    return out;
}

std::u16string TimeStampToText(const DateTimeObj &ts) {
    const DateTimeObj n{ts.days + FloorDiv(ts.usec, kUsecPerDay), FloorMod(ts.usec, kUsecPerDay)};
    std::u16string out = DateToText(n);
    if (out.empty()) return out;
    out.push_back(u' ');
    out += TimeToText(n);
    return out;
}

bool TextToDate(std::u16string_view text, DateTimeObj &out) {
    Cursor c{Trim(text)};
    int64_t dayNumber = 0;
    if (!ParseDate(c, dayNumber) || !c.AtEnd()) return false;
    out = DateTimeObj{dayNumber, 0};
    return true;
}

bool TextToTime(std::u16string_view text, DateTimeObj &out) {
    Cursor c{Trim(text)};
    int64_t usec = 0;
    if (!ParseTime(c, usec, true) || !c.AtEnd()) return false;
    out = DateTimeObj{0, usec};
    return true;
}

bool TextToTimeStamp(std::u16string_view text, DateTimeObj &out) {
    Cursor c{Trim(text)};
    int64_t dayNumber = 0, usec = 0;
    if (!ParseDate(c, dayNumber)) return false;
    if (!c.AtEnd()) {
        // Date and time are separated by blanks, or by "T" in the ISO form.
        if (!c.SkipBlanks() && !c.Eat(u'T')) return false;
        if (!ParseTime(c, usec, false) || !c.AtEnd()) return false;
    }
    out = DateTimeObj{dayNumber + FloorDiv(usec, kUsecPerDay), FloorMod(usec, kUsecPerDay)};
    return true;
}

}  // namespace zhost
