// Host dates, times and timestamps.
#ifndef _h_DateTime_
#define _h_DateTime_

#include "FMWrapper/FMXClient.h"

namespace fmx {
class Locale;
class Text;
class FixPt;

class DateTime {
public:
    inline bool operator==(const DateTime &that) const;
    inline bool operator!=(const DateTime &that) const;
    inline bool IsLeapYear() const;
    inline int16 DayOfWeek() const;
    inline int16 DayOfYear() const;
    inline int16 WeekOfYear() const;
    inline void Now();
    inline void SetDate(const DateTime &datetime);
    inline errcode SetNormalizedDate(int16 month, int16 day, int16 year);
    inline errcode SetNormalizedDate(const FixPt &year, const FixPt &month, const FixPt &day);
    inline void SetDaysSinceEpoch(int64 days);
    inline void SetTime(const DateTime &datetime);
    inline errcode SetNormalizedTime(int64 hour, int16 minute, int16 sec, int32 usec = 0);
    inline errcode SetNormalizedTime(const FixPt &hour, const FixPt &minute, const FixPt &sec);
    inline void SetSecsSinceMidnight(const FixPt &secs);
    inline void SetSecondsSinceEpoch(const FixPt &seconds);
    inline int16 GetYear() const;
    inline int16 GetMonth() const;
    inline int16 GetDay() const;
    inline int32 GetDaysSinceEpoch() const;
    inline int32 GetHour() const;
    inline int16 GetMinute() const;
    inline int16 GetSec() const;
    inline int32 GetUSec() const;
    inline void GetSeconds(FixPt &results) const;
    inline void GetSecsSinceMidnight(FixPt &results) const;
    inline void GetSecondsSinceEpoch(FixPt &results) const;
    inline void operator delete(void *obj);

private:
    DateTime();
    DateTime(const DateTime &source);
};

class DateTimeUniquePtr : public std::unique_ptr<DateTime> {
    typedef DateTimeUniquePtr UpCaster;

public:
    inline DateTimeUniquePtr();
    inline DateTimeUniquePtr(const unichar16 *dateString, uint32 dateLength, const Locale &intl);
    inline DateTimeUniquePtr(const Text &dateText, const Locale &intl);
};
}  // namespace fmx

extern "C" {
FMX_API fmx::DateTime *FM_DateTime_Constructor1(fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::DateTime *FM_DateTime_Constructor2(const fmx::unichar16 *dateString, fmx::uint32 dateLength,
                                               const fmx::Locale &intl, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::DateTime *FM_DateTime_Constructor3(const fmx::Text &dateText, const fmx::Locale &intl,
                                               fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_DateTime_operatorEQ(const void *_self, const fmx::DateTime &that, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_DateTime_operatorNE(const void *_self, const fmx::DateTime &that, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_DateTime_IsLeapYear(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int16 FM_DateTime_DayOfWeek(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int16 FM_DateTime_DayOfYear(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int16 FM_DateTime_WeekOfYear(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_DateTime_Now(void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_DateTime_SetDate(void *_self, const fmx::DateTime &datetime, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_DateTime_SetNormalizedDate1(void *_self, fmx::int16 month, fmx::int16 day, fmx::int16 year,
                                                    fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_DateTime_SetNormalizedDate2(void *_self, const fmx::FixPt &year, const fmx::FixPt &month,
                                                    const fmx::FixPt &day, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_DateTime_SetDaysSinceEpoch(void *_self, fmx::int64 days, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_DateTime_SetTime(void *_self, const fmx::DateTime &datetime, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_DateTime_SetNormalizedTime1(void *_self, fmx::int64 hour, fmx::int16 minute, fmx::int16 sec,
                                                    fmx::int32 usec, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_DateTime_SetNormalizedTime2(void *_self, const fmx::FixPt &hour, const fmx::FixPt &minute,
                                                    const fmx::FixPt &sec, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_DateTime_SetSecsSinceMidnight(void *_self, const fmx::FixPt &secs, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_DateTime_SetSecondsSinceEpoch(void *_self, const fmx::FixPt &seconds, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int16 FM_DateTime_GetYear(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int16 FM_DateTime_GetMonth(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int16 FM_DateTime_GetDay(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int32 FM_DateTime_GetDaysSinceEpoch(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int32 FM_DateTime_GetHour(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int16 FM_DateTime_GetMinute(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int16 FM_DateTime_GetSec(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int32 FM_DateTime_GetUSec(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_DateTime_GetSeconds(const void *_self, fmx::FixPt &results, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_DateTime_GetSecsSinceMidnight(const void *_self, fmx::FixPt &results, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_DateTime_GetSecondsSinceEpoch(const void *_self, fmx::FixPt &results, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_DateTime_Delete(void *_self, fmx::_fmxcpt &_x) noexcept;
}

namespace fmx {
using fmx_call::Call;
inline DateTimeUniquePtr::DateTimeUniquePtr() { reset(Call(FM_DateTime_Constructor1)); }
inline DateTimeUniquePtr::DateTimeUniquePtr(const unichar16 *dateString, uint32 dateLength, const Locale &intl) {
    reset(Call(FM_DateTime_Constructor2, dateString, dateLength, intl));
}
inline DateTimeUniquePtr::DateTimeUniquePtr(const Text &dateText, const Locale &intl) {
    reset(Call(FM_DateTime_Constructor3, dateText, intl));
}
inline bool DateTime::operator==(const DateTime &that) const { return Call(FM_DateTime_operatorEQ, this, that); }
inline bool DateTime::operator!=(const DateTime &that) const { return Call(FM_DateTime_operatorNE, this, that); }
inline bool DateTime::IsLeapYear() const { return Call(FM_DateTime_IsLeapYear, this); }
inline int16 DateTime::DayOfWeek() const { return Call(FM_DateTime_DayOfWeek, this); }
inline int16 DateTime::DayOfYear() const { return Call(FM_DateTime_DayOfYear, this); }
inline int16 DateTime::WeekOfYear() const { return Call(FM_DateTime_WeekOfYear, this); }
inline void DateTime::Now() { Call(FM_DateTime_Now, this); }
inline void DateTime::SetDate(const DateTime &datetime) { Call(FM_DateTime_SetDate, this, datetime); }
inline errcode DateTime::SetNormalizedDate(int16 month, int16 day, int16 year) {
    return Call(FM_DateTime_SetNormalizedDate1, this, month, day, year);
}
inline errcode DateTime::SetNormalizedDate(const FixPt &year, const FixPt &month, const FixPt &day) {
    return Call(FM_DateTime_SetNormalizedDate2, this, year, month, day);
}
inline void DateTime::SetDaysSinceEpoch(int64 days) { Call(FM_DateTime_SetDaysSinceEpoch, this, days); }
inline void DateTime::SetTime(const DateTime &datetime) { Call(FM_DateTime_SetTime, this, datetime); }
inline errcode DateTime::SetNormalizedTime(int64 hour, int16 minute, int16 sec, int32 usec) {
    return Call(FM_DateTime_SetNormalizedTime1, this, hour, minute, sec, usec);
}
inline errcode DateTime::SetNormalizedTime(const FixPt &hour, const FixPt &minute, const FixPt &sec) {
    return Call(FM_DateTime_SetNormalizedTime2, this, hour, minute, sec);
}
inline void DateTime::SetSecsSinceMidnight(const FixPt &secs) { Call(FM_DateTime_SetSecsSinceMidnight, this, secs); }
inline void DateTime::SetSecondsSinceEpoch(const FixPt &seconds) {
    Call(FM_DateTime_SetSecondsSinceEpoch, this, seconds);
}
inline int16 DateTime::GetYear() const { return Call(FM_DateTime_GetYear, this); }
inline int16 DateTime::GetMonth() const { return Call(FM_DateTime_GetMonth, this); }
inline int16 DateTime::GetDay() const { return Call(FM_DateTime_GetDay, this); }
inline int32 DateTime::GetDaysSinceEpoch() const { return Call(FM_DateTime_GetDaysSinceEpoch, this); }
inline int32 DateTime::GetHour() const { return Call(FM_DateTime_GetHour, this); }
inline int16 DateTime::GetMinute() const { return Call(FM_DateTime_GetMinute, this); }
inline int16 DateTime::GetSec() const { return Call(FM_DateTime_GetSec, this); }
inline int32 DateTime::GetUSec() const { return Call(FM_DateTime_GetUSec, this); }
inline void DateTime::GetSeconds(FixPt &results) const { Call(FM_DateTime_GetSeconds, this, results); }
inline void DateTime::GetSecsSinceMidnight(FixPt &results) const {
    Call(FM_DateTime_GetSecsSinceMidnight, this, results);
}
inline void DateTime::GetSecondsSinceEpoch(FixPt &results) const {
    Call(FM_DateTime_GetSecondsSinceEpoch, this, results);
}
inline void DateTime::operator delete(void *obj) { Call(FM_DateTime_Delete, obj); }
}  // namespace fmx

#endif
