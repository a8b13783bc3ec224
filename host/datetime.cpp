// fmx::DateTime: a day number (1 January 0001 is day 1) plus microseconds since midnight. The time
// part is not wrapped at 24 hours, so the same record also carries durations.
#include "FMWrapper/FMXDateTime.h"
#include "FMWrapper/FMXFixPt.h"
#include "host/objects.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <stdexcept>
#include <string>

using zhost::DateTimeObj;
using zhost::FixPtObj;
using zhost::Guard;
using zhost::Of;
using zhost::Self;

namespace {

constexpr fmx::errcode kOutOfRange = 1;
// Arguments of the normalising setters beyond this magnitude are refused rather than overflowing.
constexpr int64_t kNormalizeLimit = int64_t(1) << 40;

// Timestamp first (a date alone counts as one, at midnight), else a time on day 0.
DateTimeObj Parse(std::u16string_view text) {
    DateTimeObj r;
    if (zhost::TextToTimeStamp(text, r) || zhost::TextToTime(text, r)) return r;
    return DateTimeObj{};
}

fmx::DateTime *New(const DateTimeObj &value) { return zhost::As<fmx::DateTime>(new DateTimeObj(value)); }

template <typename T>
T Clamped(int64_t v) {
    return T(std::clamp<int64_t>(v, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
}

struct Civil {
    int64_t year;
    int month, day;
};

Civil CivilOf(const void *self) {
    Civil c{};
    zhost::CivilFromDayNumber(Self<DateTimeObj>(self).days, c.year, c.month, c.day);
    return c;
}

bool IsLeap(int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

// 1 = Sunday ... 7 = Saturday; day 1 (1 January 0001) was a Monday.
int DayOfWeek(int64_t dayNumber) { return int(zhost::FloorMod(dayNumber, 7)) + 1; }

int DayOfYear(int64_t dayNumber, int64_t year) { return int(dayNumber - zhost::DayNumberFromCivil(year, 1, 1)) + 1; }

// The day number of year/month/day where month and day may lie outside their ranges: month 13 is
// January of the next year, day 0 the last day of the previous month, as the host's Date() does.
bool NormalizedDay(int64_t year, int64_t month, int64_t day, int64_t &dayNumber) {
    if (std::llabs(year) > kNormalizeLimit || std::llabs(month) > kNormalizeLimit ||
        std::llabs(day) > kNormalizeLimit)
        return false;
    const int64_t months = year * 12 + (month - 1);
    const int64_t y = zhost::FloorDiv(months, 12);
    const int m = int(zhost::FloorMod(months, 12)) + 1;
    dayNumber = zhost::DayNumberFromCivil(y, m, 1) + (day - 1);
    return true;
}

long double ValueOf(const fmx::FixPt &n) { return Of<FixPtObj>(n).v; }

}  // namespace

extern "C" {

fmx::DateTime *FM_DateTime_Constructor1(fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return New(DateTimeObj{}); });
}

fmx::DateTime *FM_DateTime_Constructor2(const fmx::unichar16 *dateString, fmx::uint32 dateLength, const fmx::Locale &,
                                        fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] {
        std::u16string text;
        if (dateString != nullptr) text.assign(dateString, dateString + dateLength);
        return New(Parse(text));
    });
}

fmx::DateTime *FM_DateTime_Constructor3(const fmx::Text &dateText, const fmx::Locale &, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return New(Parse(Of<zhost::TextObj>(dateText).s)); });
}

bool FM_DateTime_operatorEQ(const void *_self, const fmx::DateTime &that, fmx::_fmxcpt &) noexcept {
    const DateTimeObj &a = Self<DateTimeObj>(_self), &b = Of<DateTimeObj>(that);
    return a.days == b.days && a.usec == b.usec;
}

bool FM_DateTime_operatorNE(const void *_self, const fmx::DateTime &that, fmx::_fmxcpt &_x) noexcept {
    return !FM_DateTime_operatorEQ(_self, that, _x);
}

bool FM_DateTime_IsLeapYear(const void *_self, fmx::_fmxcpt &) noexcept { return IsLeap(CivilOf(_self).year); }

fmx::int16 FM_DateTime_DayOfWeek(const void *_self, fmx::_fmxcpt &) noexcept {
    return fmx::int16(DayOfWeek(Self<DateTimeObj>(_self).days));
}

fmx::int16 FM_DateTime_DayOfYear(const void *_self, fmx::_fmxcpt &) noexcept {
    const int64_t days = Self<DateTimeObj>(_self).days;
    return fmx::int16(DayOfYear(days, CivilOf(_self).year));
}

// Weeks begin on Sunday; the week holding 1 January is week 1.
fmx::int16 FM_DateTime_WeekOfYear(const void *_self, fmx::_fmxcpt &) noexcept {
    const int64_t days = Self<DateTimeObj>(_self).days;
    const int64_t year = CivilOf(_self).year;
    const int firstWeekday = DayOfWeek(zhost::DayNumberFromCivil(year, 1, 1));
    return fmx::int16((DayOfYear(days, year) - 1 + firstWeekday - 1) / 7 + 1);
}

void FM_DateTime_Now(void *_self, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        using namespace std::chrono;
        const int64_t sinceUnix = duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
        const std::time_t seconds = std::time_t(zhost::FloorDiv(sinceUnix, zhost::kUsecPerSecond));
        std::tm local{};
        if (localtime_r(&seconds, &local) == nullptr) throw std::runtime_error("local time unavailable");
        DateTimeObj &dt = Self<DateTimeObj>(_self);
        dt.days = zhost::DayNumberFromCivil(int64_t(local.tm_year) + 1900, local.tm_mon + 1, local.tm_mday);
        dt.usec = (int64_t(local.tm_hour) * 3600 + local.tm_min * 60 + local.tm_sec) * zhost::kUsecPerSecond +
                  zhost::FloorMod(sinceUnix, zhost::kUsecPerSecond);
    });
}

void FM_DateTime_SetDate(void *_self, const fmx::DateTime &datetime, fmx::_fmxcpt &) noexcept {
    Self<DateTimeObj>(_self).days = Of<DateTimeObj>(datetime).days;
}

fmx::errcode FM_DateTime_SetNormalizedDate1(void *_self, fmx::int16 month, fmx::int16 day, fmx::int16 year,
                                            fmx::_fmxcpt &) noexcept {
    int64_t dayNumber = 0;
    if (!NormalizedDay(year, month, day, dayNumber)) return kOutOfRange;
    Self<DateTimeObj>(_self).days = dayNumber;
    return 0;
}

fmx::errcode FM_DateTime_SetNormalizedDate2(void *_self, const fmx::FixPt &year, const fmx::FixPt &month,
                                            const fmx::FixPt &day, fmx::_fmxcpt &) noexcept {
    int64_t dayNumber = 0;
    if (!NormalizedDay(zhost::ToInt64(ValueOf(year)), zhost::ToInt64(ValueOf(month)), zhost::ToInt64(ValueOf(day)),
                       dayNumber))
        return kOutOfRange;
    Self<DateTimeObj>(_self).days = dayNumber;
    return 0;
}

void FM_DateTime_SetDaysSinceEpoch(void *_self, fmx::int64 days, fmx::_fmxcpt &) noexcept {
    Self<DateTimeObj>(_self).days = days;
}

void FM_DateTime_SetTime(void *_self, const fmx::DateTime &datetime, fmx::_fmxcpt &) noexcept {
    Self<DateTimeObj>(_self).usec = Of<DateTimeObj>(datetime).usec;
}

fmx::errcode FM_DateTime_SetNormalizedTime1(void *_self, fmx::int64 hour, fmx::int16 minute, fmx::int16 sec,
                                            fmx::int32 usec, fmx::_fmxcpt &) noexcept {
    const __int128 total =
        ((__int128(hour) * 60 + minute) * 60 + sec) * zhost::kUsecPerSecond + __int128(usec);
    if (total > std::numeric_limits<int64_t>::max() || total < std::numeric_limits<int64_t>::min())
        return kOutOfRange;
    Self<DateTimeObj>(_self).usec = int64_t(total);
    return 0;
}

fmx::errcode FM_DateTime_SetNormalizedTime2(void *_self, const fmx::FixPt &hour, const fmx::FixPt &minute,
                                            const fmx::FixPt &sec, fmx::_fmxcpt &) noexcept {
    const long double seconds = ValueOf(hour) * 3600 + ValueOf(minute) * 60 + ValueOf(sec);
    if (!std::isfinite(seconds) || std::fabs(seconds) * zhost::kUsecPerSecond >= 9.2e18L) return kOutOfRange;
    Self<DateTimeObj>(_self).usec = zhost::UsecFromSeconds(seconds);
    return 0;
}

void FM_DateTime_SetSecsSinceMidnight(void *_self, const fmx::FixPt &secs, fmx::_fmxcpt &) noexcept {
    Self<DateTimeObj>(_self).usec = zhost::UsecFromSeconds(ValueOf(secs));
}

void FM_DateTime_SetSecondsSinceEpoch(void *_self, const fmx::FixPt &seconds, fmx::_fmxcpt &) noexcept {
    Self<DateTimeObj>(_self) = zhost::TimeStampFromSeconds(ValueOf(seconds));
}

fmx::int16 FM_DateTime_GetYear(const void *_self, fmx::_fmxcpt &) noexcept {
    return Clamped<fmx::int16>(CivilOf(_self).year);
}

fmx::int16 FM_DateTime_GetMonth(const void *_self, fmx::_fmxcpt &) noexcept {
    return fmx::int16(CivilOf(_self).month);
}

fmx::int16 FM_DateTime_GetDay(const void *_self, fmx::_fmxcpt &) noexcept { return fmx::int16(CivilOf(_self).day); }

fmx::int32 FM_DateTime_GetDaysSinceEpoch(const void *_self, fmx::_fmxcpt &) noexcept {
    return Clamped<fmx::int32>(Self<DateTimeObj>(_self).days);
}

fmx::int32 FM_DateTime_GetHour(const void *_self, fmx::_fmxcpt &) noexcept {
    return Clamped<fmx::int32>(Self<DateTimeObj>(_self).usec / (3600 * zhost::kUsecPerSecond));
}

fmx::int16 FM_DateTime_GetMinute(const void *_self, fmx::_fmxcpt &) noexcept {
    return fmx::int16(Self<DateTimeObj>(_self).usec / (60 * zhost::kUsecPerSecond) % 60);
}

fmx::int16 FM_DateTime_GetSec(const void *_self, fmx::_fmxcpt &) noexcept {
    return fmx::int16(Self<DateTimeObj>(_self).usec / zhost::kUsecPerSecond % 60);
}

fmx::int32 FM_DateTime_GetUSec(const void *_self, fmx::_fmxcpt &) noexcept {
    return fmx::int32(Self<DateTimeObj>(_self).usec % zhost::kUsecPerSecond);
}

void FM_DateTime_GetSeconds(const void *_self, fmx::FixPt &results, fmx::_fmxcpt &) noexcept {
    Of<FixPtObj>(results).v = static_cast<long double>(Self<DateTimeObj>(_self).usec) / zhost::kUsecPerSecond;
}

void FM_DateTime_GetSecsSinceMidnight(const void *_self, fmx::FixPt &results, fmx::_fmxcpt &_x) noexcept {
    FM_DateTime_GetSeconds(_self, results, _x);
}

void FM_DateTime_GetSecondsSinceEpoch(const void *_self, fmx::FixPt &results, fmx::_fmxcpt &) noexcept {
    Of<FixPtObj>(results).v = zhost::SecondsSinceEpoch(Self<DateTimeObj>(_self));
}

void FM_DateTime_Delete(void *_self, fmx::_fmxcpt &) noexcept { delete static_cast<DateTimeObj *>(_self); }

}  // extern "C"
