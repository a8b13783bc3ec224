// The emulator's values: numbers, date-times, containers, data values and data vectors, and the
// conversions between them, exercised through the fmx wrapper classes as a plug-in uses them.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "FMWrapper/FMXExtern.h"
#include "FMWrapper/FMXBinaryData.h"
#include "FMWrapper/FMXTypes.h"  // QuadChar, which FMXCalcEngine.h uses without declaring it
#include "FMWrapper/FMXCalcEngine.h"
#include "FMWrapper/FMXData.h"
#include "FMWrapper/FMXDateTime.h"
#include "FMWrapper/FMXFixPt.h"
#include "FMWrapper/FMXText.h"
#include "host/objects.h"

namespace {

using DT = fmx::Data::DataType;
constexpr int64_t kDay1904 = 695056;  // 1/1/1904
constexpr int64_t kDay2026 = 739617;  // 1/1/2026

fmx::TextUniquePtr Txt(const std::string &utf8) {
    fmx::TextUniquePtr t;
    t->AssignWithLength(utf8.data(), fmx::uint32(utf8.size()), fmx::Text::kEncoding_UTF8);
    return t;
}

std::string Str(const fmx::Text &t) {
    std::u16string s(t.GetSize(), u'\0');
    if (!s.empty()) t.GetUnicode(reinterpret_cast<fmx::uint16 *>(s.data()), 0, fmx::uint32(s.size()));
    return zhost::ToUtf8(s);
}

fmx::FixPtUniquePtr Num(int64_t v) {
    fmx::FixPtUniquePtr n;
    n->AssignInt64(v);
    return n;
}

fmx::FixPtUniquePtr Quotient(int64_t a, int64_t b) {
    fmx::FixPtUniquePtr q;
    EXPECT_EQ(Num(a)->Divide(*Num(b), *q), 0);
    return q;
}

fmx::DataUniquePtr TextValue(const std::string &utf8, DT nativeType = fmx::Data::kDTText) {
    fmx::DataUniquePtr d;
    fmx::LocaleUniquePtr locale;
    EXPECT_EQ(d->SetAsText(*Txt(utf8), *locale, nativeType), 0);
    return d;
}

fmx::DataUniquePtr NumberValue(const fmx::FixPt &n, DT nativeType = fmx::Data::kDTNumber) {
    fmx::DataUniquePtr d;
    d->SetAsNumber(n, nativeType);
    return d;
}

std::string NumberText(const fmx::FixPt &n) { return Str(NumberValue(n)->GetAsText()); }
std::string TextAsNumberText(const std::string &text) { return NumberText(TextValue(text)->GetAsNumber()); }

fmx::DateTimeUniquePtr Parsed(const std::string &text) {
    fmx::LocaleUniquePtr locale;
    return fmx::DateTimeUniquePtr(*Txt(text), *locale);
}

fmx::DateTimeUniquePtr Day(int64_t dayNumber) {
    fmx::DateTimeUniquePtr dt;
    dt->SetDaysSinceEpoch(dayNumber);
    return dt;
}

fmx::QuadCharUniquePtr Quad(const char (&s)[5]) { return fmx::QuadCharUniquePtr(s[0], s[1], s[2], s[3]); }

std::vector<std::string> StreamTypes(const fmx::BinaryData &b) {
    std::vector<std::string> types;
    for (fmx::int32 i = 0; i < b.GetCount(); ++i) {
        fmx::QuadCharUniquePtr q;
        b.GetType(i, *q);
        types.push_back(std::string{char((*q)[0]), char((*q)[1]), char((*q)[2]), char((*q)[3])});
    }
    return types;
}

// Image headers just long enough to carry their dimensions.
std::vector<uint8_t> PngHeader(uint32_t width, uint32_t height) {
    std::vector<uint8_t> b = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
    for (uint32_t v : {width, height})
        for (int shift = 24; shift >= 0; shift -= 8) b.push_back(uint8_t(v >> shift));
    b.insert(b.end(), {8, 6, 0, 0, 0});
    return b;
}

std::vector<uint8_t> JpegHeader(uint16_t width, uint16_t height) {
    return {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x06, 'J', 'F', 'I', 'F',  // APP0 segment, skipped
            0xFF, 0xFF,                                              // fill byte
            0xFF, 0xC2, 0x00, 0x0B, 0x08, uint8_t(height >> 8), uint8_t(height), uint8_t(width >> 8),
            uint8_t(width), 0x01, 0x01, 0x11, 0x00, 0xFF, 0xD9};
}

// ---- numbers ----

TEST(HostNumbers, WrittenAsTheHostWritesThem) {
    EXPECT_EQ(NumberText(*Num(0)), "0");
    EXPECT_EQ(NumberText(*Num(-42)), "-42");
    EXPECT_EQ(NumberText(*Num(std::numeric_limits<int64_t>::max())), "9223372036854775807");
    EXPECT_EQ(NumberText(*Num(std::numeric_limits<int64_t>::min())), "-9223372036854775808");
    EXPECT_EQ(NumberText(*Quotient(1, 2)), ".5");
    EXPECT_EQ(NumberText(*Quotient(-1, 4)), "-.25");
    EXPECT_EQ(NumberText(*Quotient(5, 2)), "2.5");
    EXPECT_EQ(NumberText(*Quotient(1, 3)), ".3333333333333333");
    EXPECT_EQ(NumberText(*Quotient(2, 3)), ".6666666666666667");
    EXPECT_EQ(NumberText(*Quotient(-200, 3)), "-66.66666666666667");
    EXPECT_EQ(NumberText(*Quotient(1, 1000000)), ".000001");

    fmx::FixPtUniquePtr n;
    n->AssignDouble(0.1);  // not exact in binary, still ".1" at 16 digits
    EXPECT_EQ(NumberText(*n), ".1");
    n->AssignDouble(1e20);
    EXPECT_EQ(NumberText(*n), "100000000000000000000");
    n->AssignDouble(-0.0);
    EXPECT_EQ(NumberText(*n), "0");
    n->AssignDouble(0.99999999999999999);
    EXPECT_EQ(NumberText(*n), "1");
}

TEST(HostNumbers, ReadFromTextIgnoringEverythingButDigitsPointAndLeadingMinus) {
    EXPECT_EQ(TextAsNumberText("abc12def3"), "123");
    EXPECT_EQ(TextAsNumberText("a-1.5x"), "-1.5");
    EXPECT_EQ(TextAsNumberText("1.2.3"), "1.23");
    EXPECT_EQ(TextAsNumberText("12-3"), "123");  // a minus after the first digit is ignored
    EXPECT_EQ(TextAsNumberText(".5"), ".5");
    EXPECT_EQ(TextAsNumberText("$ 1,234.50"), "1234.5");
    EXPECT_EQ(TextAsNumberText("-0"), "0");
    EXPECT_EQ(TextAsNumberText("123456789.123456789"), "123456789.1234568");
    EXPECT_EQ(TextAsNumberText(".00000000000000000001"), ".00000000000000000001");
    EXPECT_EQ(TextAsNumberText("9223372036854775807"), "9223372036854775807");
    EXPECT_EQ(TextAsNumberText("-9223372036854775808"), "-9223372036854775808");
    EXPECT_EQ(TextValue("9223372036854775807")->GetAsNumber().AsLong64(), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(TextValue("-9223372036854775808")->GetAsNumber().AsLong64(), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(TextValue("0009999999999999999999")->GetAsNumber().AsLong64(),  // 19 digits, exact
              std::numeric_limits<int64_t>::max());                         // then saturated

    // No digit at all: false for the conversion, 0 for a value read as a number.
    zhost::FixPtObj out{7, 16};
    EXPECT_FALSE(zhost::TextToNumber(u"abc.-", out));
    EXPECT_EQ(out.v, 7);
    EXPECT_EQ(TextAsNumberText("abc"), "0");
    EXPECT_EQ(TextAsNumberText(""), "0");
}

TEST(HostNumbers, IntegerViewsTruncateAndSaturate) {
    fmx::FixPtUniquePtr n;
    n->AssignDouble(-2.7);
    EXPECT_EQ(n->AsLong(), -2);
    EXPECT_EQ(n->AsLong64(), -2);
    EXPECT_TRUE(n->AsBool());
    n->AssignDouble(3e12);
    EXPECT_EQ(n->AsLong(), std::numeric_limits<fmx::int32>::max());
    EXPECT_EQ(n->AsLong64(), 3000000000000);
    n->AssignDouble(-1e30);
    EXPECT_EQ(n->AsLong(), std::numeric_limits<fmx::int32>::min());
    EXPECT_EQ(n->AsLong64(), std::numeric_limits<int64_t>::min());
    n->AssignDouble(1e30);
    EXPECT_EQ(n->AsLong64(), std::numeric_limits<int64_t>::max());
    n->AssignInt(0);
    EXPECT_FALSE(n->AsBool());
}

TEST(HostNumbers, ArithmeticComparisonsAndPrecision) {
    fmx::FixPtUniquePtr a(7), b(2), r;
    a->Add(*b, *r);
    EXPECT_EQ(r->AsLong(), 9);
    a->Subtract(*b, *r);
    EXPECT_EQ(r->AsLong(), 5);
    a->Multiply(*b, *r);
    EXPECT_EQ(r->AsLong(), 14);
    EXPECT_EQ(a->Divide(*b, *r), 0);
    EXPECT_EQ(NumberText(*r), "3.5");
    a->Add(*a, *a);  // the result may be an operand
    EXPECT_EQ(a->AsLong(), 14);

    fmx::FixPtUniquePtr zero(0);
    EXPECT_NE(a->Divide(*zero, *r), 0);
    EXPECT_EQ(NumberText(*r), "3.5");  // unchanged

    a->Increment64(int64_t(1) << 40);
    a->Decrement(4);
    a->Negate();
    EXPECT_EQ(a->AsLong64(), -(int64_t(1) << 40) - 10);
    EXPECT_LT(*a, *zero);

    fmx::FixPtUniquePtr p(1, 40);
    EXPECT_EQ(p->GetPrecision(), 40);
    EXPECT_EQ(fmx::FixPtUniquePtr(5, *p)->GetPrecision(), 40);
    p->SetPrecision(0);
    EXPECT_EQ(p->GetPrecision(), 1);
    p->SetPrecision(1000);
    EXPECT_EQ(p->GetPrecision(), 400);
}

// ---- dates and times ----

TEST(HostDateTime, DayNumbersCountFromTheFirstOfJanuaryOfYearOne) {
    auto dt = Day(kDay1904);
    EXPECT_EQ(dt->GetYear(), 1904);
    EXPECT_EQ(dt->GetMonth(), 1);
    EXPECT_EQ(dt->GetDay(), 1);
    EXPECT_EQ(dt->DayOfWeek(), 6);  // Friday
    EXPECT_EQ(Str(NumberValue(*Num(kDay1904), fmx::Data::kDTDate)->GetAsText()), "1/1/1904");
    EXPECT_EQ(Parsed("1/1/1904")->GetDaysSinceEpoch(), kDay1904);
    EXPECT_EQ(Parsed("1/1/0001")->GetDaysSinceEpoch(), 1);
    EXPECT_EQ(Parsed("12/31/9999")->GetYear(), 9999);
    EXPECT_EQ(Parsed("1/1/2026")->GetDaysSinceEpoch(), kDay2026);
    EXPECT_EQ(Day(kDay2026)->DayOfWeek(), 5);  // Thursday

    for (int64_t day : {int64_t(1), int64_t(59), int64_t(60), int64_t(146097), kDay1904, kDay2026 + 12345}) {
        int64_t y = 0;
        int m = 0, d = 0;
        zhost::CivilFromDayNumber(day, y, m, d);
        EXPECT_EQ(zhost::DayNumberFromCivil(y, m, d), day) << day;
    }
}

TEST(HostDateTime, CalendarQueries) {
    EXPECT_EQ(Parsed("12/31/2024")->DayOfYear(), 366);
    EXPECT_EQ(Parsed("3/1/2023")->DayOfYear(), 60);
    EXPECT_TRUE(Parsed("6/1/2000")->IsLeapYear());
    EXPECT_FALSE(Parsed("6/1/1900")->IsLeapYear());
    EXPECT_TRUE(Parsed("6/1/2024")->IsLeapYear());
    // 1/1/2022 is a Saturday: weeks begin on Sunday, so the 2nd starts week 2.
    EXPECT_EQ(Parsed("1/1/2022")->DayOfWeek(), 7);
    EXPECT_EQ(Parsed("1/1/2022")->WeekOfYear(), 1);
    EXPECT_EQ(Parsed("1/2/2022")->WeekOfYear(), 2);
    EXPECT_EQ(Parsed("12/31/2022")->WeekOfYear(), 53);
    EXPECT_EQ(Parsed("1/7/2023")->WeekOfYear(), 1);  // 2023 begins on a Sunday
    EXPECT_EQ(Parsed("1/8/2023")->WeekOfYear(), 2);
}

TEST(HostDateTime, NormalisedDatesAndTimes) {
    fmx::DateTimeUniquePtr dt;
    EXPECT_EQ(dt->SetNormalizedDate(13, 1, 2025), 0);  // month 13: January of the next year
    EXPECT_EQ(dt->GetDaysSinceEpoch(), kDay2026);
    EXPECT_EQ(dt->SetNormalizedDate(3, 0, 2024), 0);  // day 0: last day of February
    EXPECT_EQ(dt->GetMonth(), 2);
    EXPECT_EQ(dt->GetDay(), 29);
    EXPECT_EQ(dt->SetNormalizedDate(0, 1, 2026), 0);
    EXPECT_EQ(dt->GetYear(), 2025);
    EXPECT_EQ(dt->GetMonth(), 12);
    EXPECT_EQ(dt->SetNormalizedDate(*Num(2025), *Num(14), *Num(-1)), 0);  // year, month, day
    EXPECT_EQ(Str(NumberValue(*Num(dt->GetDaysSinceEpoch()), fmx::Data::kDTDate)->GetAsText()), "1/30/2026");

    EXPECT_EQ(dt->SetNormalizedTime(25, 61, 61, 5), 0);  // not wrapped at 24 hours
    EXPECT_EQ(dt->GetHour(), 26);
    EXPECT_EQ(dt->GetMinute(), 2);
    EXPECT_EQ(dt->GetSec(), 1);
    EXPECT_EQ(dt->GetUSec(), 5);
    EXPECT_EQ(dt->GetYear(), 2026);  // the date part stays
    fmx::DataUniquePtr t;
    t->SetAsTime(*dt);
    EXPECT_EQ(Str(t->GetAsText()), "26:02:01.000005");

    EXPECT_EQ(dt->SetNormalizedTime(*Num(0), *Num(-90), *Quotient(1, 2)), 0);
    t->SetAsTime(*dt);
    EXPECT_EQ(Str(t->GetAsText()), "-1:29:59.5");
}

TEST(HostDateTime, SecondsSinceMidnightAndSinceEpoch) {
    fmx::DateTimeUniquePtr dt;
    dt->SetSecsSinceMidnight(*Quotient(14893, 4));  // 3723.25 s
    EXPECT_EQ(dt->GetHour(), 1);
    EXPECT_EQ(dt->GetMinute(), 2);
    EXPECT_EQ(dt->GetSec(), 3);
    EXPECT_EQ(dt->GetUSec(), 250000);
    fmx::FixPtUniquePtr s;
    dt->GetSecsSinceMidnight(*s);
    EXPECT_EQ(NumberText(*s), "3723.25");

    // 1/1/1970 is 62135596800 seconds after the epoch; half a second later still lands there.
    dt->SetSecondsSinceEpoch(*Quotient(124271193601, 2));
    EXPECT_EQ(dt->GetYear(), 1970);
    EXPECT_EQ(dt->GetDaysSinceEpoch(), 719163);
    EXPECT_EQ(dt->GetUSec(), 500000);
    dt->GetSecondsSinceEpoch(*s);
    EXPECT_EQ(NumberText(*s), "62135596800.5");
    dt->GetSeconds(*s);
    EXPECT_EQ(NumberText(*s), ".5");

    dt->SetSecondsSinceEpoch(*Num((kDay1904 - 1) * 86400 - 1));  // one second before 1/1/1904
    EXPECT_EQ(dt->GetDaysSinceEpoch(), kDay1904 - 1);
    EXPECT_EQ(dt->GetHour(), 23);
}

TEST(HostDateTime, TextForms) {
    const int64_t jan5 = kDay2026 + 4;
    for (const char *text : {"1/5/2026", "01/05/2026", "2026-01-05", "1-5-2026", "  1/5/2026 "})
        EXPECT_EQ(Parsed(text)->GetDaysSinceEpoch(), jan5) << text;
    for (const char *bad : {"2/30/2026", "13/1/2026", "0/1/2026", "1/5/26", "1/5/2026x", "2026-13-01", "hello", ""})
        EXPECT_EQ(Parsed(bad)->GetDaysSinceEpoch(), 0) << bad;

    struct Case {
        const char *text;
        int64_t usec;
    } times[] = {{"14:05", 50700000000},         {"2:05:09 PM", 50709000000}, {"12:00 am", 0},
                 {"12:30PM", 45000000000},       {"1:02:03.5", 3723500000},   {"1:02:03.1234567", 3723123456},
                 {"100:00:00", 360000000000},    {"-1:30:00", -5400000000}};
    for (const Case &c : times) {
        zhost::DateTimeObj t;
        ASSERT_TRUE(zhost::TextToTime(std::u16string(c.text, c.text + std::char_traits<char>::length(c.text)), t))
            << c.text;
        EXPECT_EQ(t.usec, c.usec) << c.text;
    }
    zhost::DateTimeObj t;
    for (const char16_t *bad : {u"1:60", u"13:00 PM", u"0:00 AM", u"1:02:", u"1:02:03.", u"12", u"-1:00 PM"})
        EXPECT_FALSE(zhost::TextToTime(bad, t));

    auto ts = Parsed("1/5/2026 2:30:15.25 PM");
    EXPECT_EQ(ts->GetDaysSinceEpoch(), jan5);
    EXPECT_EQ(ts->GetHour(), 14);
    EXPECT_EQ(ts->GetUSec(), 250000);
    fmx::DataUniquePtr d;
    d->SetAsTimeStamp(*ts);
    EXPECT_EQ(Str(d->GetAsText()), "1/5/2026 14:30:15.25");
    EXPECT_EQ(Parsed("2026-01-05T09:00")->GetHour(), 9);
    EXPECT_EQ(Parsed("2026-01-05")->GetHour(), 0);  // a date alone is midnight
    auto timeOnly = Parsed("9:15");
    EXPECT_EQ(timeOnly->GetDaysSinceEpoch(), 0);
    EXPECT_EQ(timeOnly->GetMinute(), 15);
}

TEST(HostDateTime, CopiesPartsComparesAndKnowsTheTime) {
    auto a = Parsed("3/4/2025 10:20:30");
    fmx::DateTimeUniquePtr b;
    b->SetDate(*a);
    EXPECT_EQ(b->GetDay(), 4);
    EXPECT_EQ(b->GetHour(), 0);
    EXPECT_TRUE(*a != *b);
    b->SetTime(*a);
    EXPECT_TRUE(*a == *b);

    fmx::DateTimeUniquePtr now;
    now->Now();
    EXPECT_GE(now->GetDaysSinceEpoch(), Parsed("1/1/2025")->GetDaysSinceEpoch());
    EXPECT_LT(now->GetHour(), 24);
}

// ---- data values ----

TEST(HostData, ConversionsBetweenNativeTypes) {
    // date <-> number is the day number; number -> timestamp counts seconds since the epoch.
    auto date = NumberValue(*Num(kDay1904), fmx::Data::kDTDate);
    EXPECT_EQ(date->GetNativeType(), fmx::Data::kDTDate);
    EXPECT_EQ(date->GetAsDate().GetYear(), 1904);
    EXPECT_EQ(date->GetAsNumber().AsLong64(), kDay1904);
    EXPECT_EQ(Str(date->GetAsText()), "1/1/1904");
    EXPECT_EQ(date->GetAsTimeStamp().GetYear(), 1904);
    EXPECT_EQ(date->GetAsTimeStamp().GetHour(), 0);

    auto time = TextValue("1:02:03.5", fmx::Data::kDTTime);
    EXPECT_EQ(time->GetNativeType(), fmx::Data::kDTTime);
    EXPECT_EQ(NumberText(time->GetAsNumber()), "3723.5");
    EXPECT_EQ(time->GetAsTimeStamp().GetDaysSinceEpoch(), 1);  // a time lies on day 1
    EXPECT_EQ(time->GetAsDate().GetDaysSinceEpoch(), 0);

    auto unix0 = TextValue("1/1/1970 0:00:00");
    EXPECT_EQ(NumberText(unix0->GetAsNumber()), "11197000000");  // a text reads its digits...
    unix0->ConvertData(fmx::Data::kDTTimeStamp);            // ...a timestamp its seconds
    EXPECT_EQ(NumberText(unix0->GetAsNumber()), "62135596800");
    EXPECT_EQ(Str(NumberValue(*Num(62135596800 + 3600), fmx::Data::kDTTimeStamp)->GetAsText()), "1/1/1970 1:00:00");
    EXPECT_EQ(Str(NumberValue(*Num(3725), fmx::Data::kDTTime)->GetAsText()), "1:02:05");

    // A timestamp text gives its date or its time part; unparsable text gives day 0 / time 0.
    auto stamp = TextValue("1/5/2026 14:30:00");
    EXPECT_EQ(stamp->GetAsDate().GetDaysSinceEpoch(), kDay2026 + 4);
    EXPECT_EQ(stamp->GetAsTime().GetHour(), 14);
    EXPECT_EQ(stamp->GetAsTime().GetDaysSinceEpoch(), 0);
    auto junk = TextValue("not a date");
    EXPECT_EQ(junk->GetAsDate().GetDaysSinceEpoch(), 0);
    EXPECT_EQ(junk->GetAsTimeStamp().GetDaysSinceEpoch(), 0);
    EXPECT_EQ(junk->GetAsTime().GetUSec(), 0);

    // Timestamps split into their parts; setting a date keeps only the date.
    fmx::DataUniquePtr d;
    d->SetAsTimeStamp(*Parsed("1/5/2026 14:30:00"));
    EXPECT_EQ(d->GetAsDate().GetHour(), 0);
    EXPECT_EQ(d->GetAsTime().GetHour(), 14);
    d->SetAsDate(*Parsed("1/5/2026 14:30:00"));
    EXPECT_EQ(Str(d->GetAsText()), "1/5/2026");
    d->SetDateTime(*Parsed("1/5/2026 14:30:00"), fmx::Data::kDTTime, fmx::Data::kDTNumber);
    EXPECT_EQ(d->GetNativeType(), fmx::Data::kDTNumber);
    EXPECT_EQ(d->GetAsNumber().AsLong(), 52200);
}

TEST(HostData, NumbersOutsideTheTimestampRangeAreNoTimestamp) {
    // Timestamps run from 1/1/0001 0:00:00 to 12/31/4000 23:59:59; a number of seconds outside
    // that is as invalid a timestamp as text that is not one (day 0, time 0).
    const int64_t lastDay = zhost::DayNumberFromCivil(4000, 12, 31);
    EXPECT_EQ(NumberValue(*Num(lastDay * 86400 - 1))->GetAsTimeStamp().GetDaysSinceEpoch(), lastDay);
    EXPECT_EQ(NumberValue(*Num(0))->GetAsTimeStamp().GetDaysSinceEpoch(), 1);
    const auto outside = [](const fmx::FixPt &n) {
        const auto number = NumberValue(n);
        const fmx::DateTime &ts = number->GetAsTimeStamp();
        EXPECT_EQ(ts.GetDaysSinceEpoch(), 0) << NumberText(n);
        EXPECT_EQ(ts.GetUSec(), 0) << NumberText(n);
        // Seconds set on a date-time, and a time of any length, split into days and a time of day.
        fmx::DateTimeUniquePtr dt;
        dt->SetSecondsSinceEpoch(n);
        EXPECT_GE(dt->GetHour(), 0) << NumberText(n);
        EXPECT_LT(dt->GetHour(), 24) << NumberText(n);
        const auto time = NumberValue(n, fmx::Data::kDTTime);
        const fmx::DateTime &fromTime = time->GetAsTimeStamp();
        EXPECT_GE(fromTime.GetHour(), 0) << NumberText(n);
        EXPECT_LT(fromTime.GetHour(), 24) << NumberText(n);
    };
    for (const int64_t seconds : {lastDay * 86400, int64_t(-1), std::numeric_limits<int64_t>::min(),
                                  std::numeric_limits<int64_t>::max()})
        outside(*Num(seconds));
    for (const double seconds : {1e308, -1e308}) {
        fmx::FixPtUniquePtr n;
        n->AssignDouble(seconds);
        outside(*n);
    }
    // A date-time whose day is at the end of the range keeps it when its time passes a day.
    fmx::DateTimeUniquePtr far;
    far->SetDaysSinceEpoch(std::numeric_limits<int64_t>::max());
    ASSERT_EQ(far->SetNormalizedTime(48, 30, 0), 0);
    fmx::DataUniquePtr d;
    d->SetAsTimeStamp(*far);
    EXPECT_EQ(d->GetAsTimeStamp().GetDaysSinceEpoch(), std::numeric_limits<fmx::int32>::max());
    EXPECT_EQ(d->GetAsTimeStamp().GetMinute(), 30);
}

TEST(HostData, BooleansEmptinessValidityAndLocale) {
    fmx::DataUniquePtr d;
    EXPECT_FALSE(d->IsValid());
    EXPECT_TRUE(d->IsEmpty());
    EXPECT_FALSE(d->IsFindRequest());
    d->Clear(fmx::Data::kDTNumber);
    EXPECT_TRUE(d->IsValid());
    EXPECT_FALSE(d->IsEmpty());  // a number is never empty
    EXPECT_EQ(Str(d->GetAsText()), "0");
    d->Clear(fmx::Data::kDTText);
    EXPECT_TRUE(d->IsEmpty());
    EXPECT_THROW(d->Clear(fmx::Data::DataType(99)), std::exception);

    EXPECT_TRUE(TextValue("x1")->GetAsBoolean());
    EXPECT_FALSE(TextValue("yes")->GetAsBoolean());
    EXPECT_FALSE(TextValue("0.0")->GetAsBoolean());
    auto b = TextValue("7", fmx::Data::kDTBoolean);
    EXPECT_EQ(b->GetNativeType(), fmx::Data::kDTBoolean);
    EXPECT_EQ(Str(b->GetAsText()), "1");
    EXPECT_EQ(b->GetAsNumber().AsLong(), 1);
    EXPECT_FALSE(b->IsEmpty());

    fmx::LocaleUniquePtr raw(fmx::Locale::kType_UnicodeRaw);
    fmx::DataUniquePtr t;
    t->SetAsText(*Txt("abc"), *raw);
    EXPECT_EQ(zhost::Of<zhost::LocaleObj>(t->GetLocale()).type, fmx::Locale::kType_UnicodeRaw);
}

TEST(HostData, NativeValuesAreAnsweredWithoutCopies) {
    auto text = TextValue(std::string(1 << 20, 'x'));
    const fmx::Text *first = &text->GetAsText();
    EXPECT_EQ(first, &text->GetAsText());
    EXPECT_EQ(first, zhost::As<fmx::Text>(&zhost::Of<zhost::DataObj>(*text).text));

    auto number = NumberValue(*Num(5));
    EXPECT_EQ(&number->GetAsNumber(), zhost::As<fmx::FixPt>(&zhost::Of<zhost::DataObj>(*number).number));

    // A converted value stays readable while the next conversion of another type happens.
    const fmx::Text &asText = number->GetAsText();
    const fmx::DateTime &asDate = number->GetAsDate();
    EXPECT_EQ(Str(asText), "5");
    EXPECT_EQ(asDate.GetDaysSinceEpoch(), 5);

    // Setting a value from its own conversion reads it before replacing it.
    number->SetAsText(number->GetAsText(), *fmx::LocaleUniquePtr());
    EXPECT_EQ(number->GetNativeType(), fmx::Data::kDTText);
    EXPECT_EQ(Str(number->GetAsText()), "5");
}

// ---- containers ----

TEST(HostContainers, StreamsAreUniquePerTypeAndBoundsChecked) {
    fmx::BinaryDataUniquePtr b;
    uint8_t bytes[] = {1, 2, 3, 4, 5};
    EXPECT_EQ(b->Add(*Quad("FILE"), sizeof bytes, bytes), 0);
    EXPECT_NE(b->Add(*Quad("FILE"), sizeof bytes, bytes), 0);  // one stream per type
    EXPECT_NE(b->Add(*Quad("ZLIB"), 0, bytes), 0);             // no empty streams
    EXPECT_EQ(b->Add(*Quad("snd "), 2, bytes), 0);
    EXPECT_EQ(b->GetCount(), 2);
    EXPECT_EQ(b->GetIndex(*Quad("snd ")), 1);
    EXPECT_EQ(b->GetIndex(*Quad("ZLIB")), -1);
    EXPECT_EQ(b->GetTotalSize(), 7u);
    EXPECT_EQ(b->GetSize(0), 5u);

    uint8_t out[4] = {9, 9, 9, 9};
    EXPECT_EQ(b->GetData(0, 1, 3, out), 0);
    EXPECT_EQ(out[0], 2);
    EXPECT_EQ(out[2], 4);
    out[0] = 9;
    EXPECT_NE(b->GetData(0, 3, 3, out), 0);  // past the end: nothing copied
    EXPECT_NE(b->GetData(2, 0, 1, out), 0);
    EXPECT_NE(b->GetData(-1, 0, 1, out), 0);
    EXPECT_EQ(out[0], 9);
    fmx::QuadCharUniquePtr q;
    EXPECT_THROW(b->GetType(2, *q), std::exception);
    EXPECT_THROW(b->GetSize(-1), std::exception);

    fmx::BinaryDataUniquePtr copy(*b);
    EXPECT_TRUE(*copy == *b);
    EXPECT_TRUE(copy->Remove(*Quad("FILE")));
    EXPECT_FALSE(copy->Remove(*Quad("FILE")));
    EXPECT_TRUE(*copy != *b);
    *copy = *b;
    EXPECT_TRUE(*copy == *b);
    EXPECT_EQ(StreamTypes(*copy), (std::vector<std::string>{"FILE", "snd "}));
    copy->RemoveAll();
    EXPECT_EQ(copy->GetCount(), 0);
}

TEST(HostContainers, FileNameAndSizeStreams) {
    fmx::BinaryDataUniquePtr b;
    EXPECT_NE(b->AddFNAMData(*Txt("")), 0);
    EXPECT_EQ(b->AddFNAMData(*Txt("Résumé.pdf")), 0);
    fmx::TextUniquePtr name;
    EXPECT_EQ(b->GetFNAMData(*name), 0);
    EXPECT_EQ(Str(*name), "Résumé.pdf");
    EXPECT_EQ(b->GetSize(0), 12u);  // stored as UTF-8

    short w = 0, h = 0;
    EXPECT_NE(b->GetSIZEData(w, h), 0);
    EXPECT_EQ(b->AddSIZEData(640, 480), 0);
    EXPECT_NE(b->AddSIZEData(1, 1), 0);
    EXPECT_EQ(b->GetSIZEData(w, h), 0);
    EXPECT_EQ(w, 640);
    EXPECT_EQ(h, 480);
    uint8_t raw[4];
    ASSERT_EQ(b->GetData(b->GetIndex(*Quad("SIZE")), 0, 4, raw), 0);
    EXPECT_EQ(raw[0], 0x01);  // height first, big-endian
    EXPECT_EQ(raw[1], 0xE0);
    EXPECT_EQ(raw[2], 0x02);
    EXPECT_EQ(raw[3], 0x80);
}

TEST(HostContainers, NamedDataIsTypedByExtensionAndMeasured) {
    auto png = PngHeader(640, 480);
    fmx::BinaryDataUniquePtr b(*Txt("photo.PNG"), fmx::uint32(png.size()), png.data());
    EXPECT_EQ(StreamTypes(*b), (std::vector<std::string>{"FNAM", "PNGf", "SIZE"}));
    short w = 0, h = 0;
    EXPECT_EQ(b->GetSIZEData(w, h), 0);
    EXPECT_EQ(w, 640);
    EXPECT_EQ(h, 480);

    std::vector<uint8_t> gif = {'G', 'I', 'F', '8', '9', 'a', 0x40, 0x01, 0xC8, 0x00, 0, 0};
    EXPECT_EQ(StreamTypes(*fmx::BinaryDataUniquePtr(*Txt("a.gif"), fmx::uint32(gif.size()), gif.data())),
              (std::vector<std::string>{"FNAM", "GIFf", "SIZE"}));
    // No dimensions in a truncated header, and none looked for in other types.
    EXPECT_EQ(StreamTypes(*fmx::BinaryDataUniquePtr(*Txt("cut.jpg"), 6, png.data())),
              (std::vector<std::string>{"FNAM", "JPEG"}));
    EXPECT_EQ(StreamTypes(*fmx::BinaryDataUniquePtr(*Txt("notes.txt"), 4, png.data())),
              (std::vector<std::string>{"FNAM", "FILE"}));
    EXPECT_EQ(StreamTypes(*fmx::BinaryDataUniquePtr(*Txt("dir.pdf/x"), 4, png.data())),
              (std::vector<std::string>{"FNAM", "FILE"}));
    EXPECT_EQ(StreamTypes(*fmx::BinaryDataUniquePtr(*Txt("Scan.TIFF"), 4, png.data()))[1], "TIFF");
    EXPECT_EQ(StreamTypes(*fmx::BinaryDataUniquePtr(*Txt("doc.pdf"), 4, png.data()))[1], "PDF ");
    EXPECT_EQ(StreamTypes(*fmx::BinaryDataUniquePtr(*Txt("x.bmp"), 4, png.data()))[1], "BMPf");
}

TEST(HostContainers, StreamedConstruction) {
    auto jpeg = JpegHeader(200, 256);
    fmx::uint32 ctx = 0;
    fmx::BinaryDataUniquePtr b(*Txt("scan.jpeg"), &ctx);
    EXPECT_NE(ctx, 0u);
    EXPECT_NE(b->AddAppend(ctx + 1, 1, jpeg.data()), 0);  // unknown context
    EXPECT_EQ(b->AddAppend(ctx, 15, jpeg.data()), 0);     // splits the frame header
    EXPECT_EQ(b->AddAppend(ctx, fmx::uint32(jpeg.size() - 15), jpeg.data() + 15), 0);
    EXPECT_EQ(b->AddFinish(ctx), 0);
    EXPECT_NE(b->AddFinish(ctx), 0);
    EXPECT_EQ(StreamTypes(*b), (std::vector<std::string>{"FNAM", "JPEG", "SIZE"}));
    short w = 0, h = 0;
    EXPECT_EQ(b->GetSIZEData(w, h), 0);
    EXPECT_EQ(w, 200);
    EXPECT_EQ(h, 256);
    std::vector<uint8_t> back(jpeg.size());
    EXPECT_EQ(b->GetData(1, 0, fmx::uint32(back.size()), back.data()), 0);
    EXPECT_EQ(back, jpeg);

    // A stream the plug-in begins itself gets no SIZE; its type is taken while it is open.
    fmx::BinaryDataUniquePtr c;
    fmx::uint32 ctx2 = 0;
    EXPECT_EQ(c->AddBegin(*Quad("JPEG"), &ctx2), 0);
    EXPECT_NE(c->AddBegin(*Quad("JPEG"), &ctx), 0);
    EXPECT_NE(c->Add(*Quad("JPEG"), 1, jpeg.data()), 0);
    EXPECT_EQ(c->AddAppend(ctx2, fmx::uint32(jpeg.size()), jpeg.data()), 0);
    EXPECT_EQ(c->GetCount(), 0);
    EXPECT_EQ(c->AddFinish(ctx2), 0);
    EXPECT_EQ(StreamTypes(*c), (std::vector<std::string>{"JPEG"}));
    EXPECT_EQ(c->AddBegin(*Quad("FILE"), &ctx2), 0);
    EXPECT_NE(c->AddFinish(ctx2), 0);  // nothing appended: no stream
    EXPECT_EQ(c->GetCount(), 1);
}

TEST(HostContainers, InDataValues) {
    auto png = PngHeader(10, 10);
    fmx::BinaryDataUniquePtr image(*Txt("pic.png"), fmx::uint32(png.size()), png.data());
    fmx::DataUniquePtr d;
    d->SetBinaryData(*image);
    EXPECT_EQ(d->GetNativeType(), fmx::Data::kDTBinary);
    EXPECT_EQ(Str(d->GetAsText()), "pic.png");
    EXPECT_EQ(d->GetAsNumber().AsLong(), 0);
    EXPECT_FALSE(d->IsEmpty());
    EXPECT_TRUE(d->GetBinaryData() == *image);

    fmx::BinaryDataUniquePtr reference;
    reference->AddFNAMData(*Txt("file:/tmp/a.txt"));
    d->SetBinaryData(*reference, false);  // a name alone stays a text
    EXPECT_EQ(d->GetNativeType(), fmx::Data::kDTText);
    EXPECT_EQ(Str(d->GetAsText()), "file:/tmp/a.txt");
    d->SetBinaryData(*reference, true);
    EXPECT_EQ(d->GetNativeType(), fmx::Data::kDTBinary);

    d->SetBinaryData(*fmx::BinaryDataUniquePtr());
    EXPECT_TRUE(d->IsEmpty());
    EXPECT_EQ(Str(d->GetAsText()), "");

    auto n = NumberValue(*Num(3));
    EXPECT_EQ(n->GetBinaryData().GetCount(), 0);  // a non-container answers an empty one
}

// ---- data vectors ----

TEST(HostDataVect, CopiesOnPushAndChecksEveryPosition) {
    fmx::DataVectUniquePtr v;
    EXPECT_TRUE(v->IsEmpty());
    auto first = TextValue("12");
    v->PushBack(*first);
    v->PushBack(*NumberValue(*Num(kDay2026), fmx::Data::kDTDate));
    first->SetAsNumber(*Num(99));  // the vector holds its own copy
    EXPECT_EQ(v->Size(), 2u);
    EXPECT_EQ(Str(v->AtAsText(0)), "12");
    EXPECT_EQ(v->AtAsNumber(0).AsLong(), 12);
    EXPECT_EQ(v->At(0).GetNativeType(), fmx::Data::kDTText);
    EXPECT_EQ(v->AtAsDate(1).GetYear(), 2026);
    EXPECT_EQ(v->AtAsTimeStamp(1).GetHour(), 0);
    EXPECT_EQ(v->AtAsTime(1).GetUSec(), 0);
    EXPECT_TRUE(v->AtAsBoolean(0));
    EXPECT_EQ(v->AtAsBinaryData(0).GetCount(), 0);

    EXPECT_THROW((void)v->At(2), std::exception);
    EXPECT_THROW((void)v->AtAsText(2), std::exception);
    EXPECT_THROW((void)v->AtAsNumber(0xFFFFFFFF), std::exception);
    EXPECT_THROW((void)v->AtAsDate(5), std::exception);
    EXPECT_THROW((void)v->AtAsTime(5), std::exception);
    EXPECT_THROW((void)v->AtAsTimeStamp(5), std::exception);
    EXPECT_THROW((void)v->AtAsBoolean(5), std::exception);
    EXPECT_THROW((void)v->AtAsBinaryData(5), std::exception);

    std::unique_ptr<fmx::Data> last(v->PopBack());  // the caller owns it
    ASSERT_TRUE(last);
    EXPECT_EQ(last->GetNativeType(), fmx::Data::kDTDate);
    EXPECT_EQ(v->Size(), 1u);
    v->Clear();
    EXPECT_TRUE(v->IsEmpty());
    EXPECT_THROW(v->PopBack(), std::exception);
}

}  // namespace
