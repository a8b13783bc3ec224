// fmx::Data and fmx::DataVect: calculation values and parameter lists.
//
// A value keeps its native type and the value in that type only. Reading it as another type
// converts on demand into the record's caches; reading it as its own type answers the stored value
// itself, so that large texts and containers are never copied just to be looked at.
#include "FMWrapper/FMXExtern.h"
#include "FMWrapper/FMXBinaryData.h"
#include "FMWrapper/FMXTypes.h"  // QuadChar, which FMXCalcEngine.h uses without declaring it
#include "FMWrapper/FMXCalcEngine.h"
#include "FMWrapper/FMXData.h"
#include "FMWrapper/FMXDateTime.h"
#include "FMWrapper/FMXFixPt.h"
#include "FMWrapper/FMXText.h"
#include "host/objects.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>

using zhost::BinaryObj;
using zhost::DataObj;
using zhost::DataVectObj;
using zhost::DateTimeObj;
using zhost::FixPtObj;
using zhost::Guard;
using zhost::Of;
using zhost::Self;
using zhost::TextObj;

namespace {

enum : int32_t {
    kInvalid = fmx::Data::kDTInvalid,
    kText = fmx::Data::kDTText,
    kNumber = fmx::Data::kDTNumber,
    kDate = fmx::Data::kDTDate,
    kTime = fmx::Data::kDTTime,
    kTimeStamp = fmx::Data::kDTTimeStamp,
    kBinary = fmx::Data::kDTBinary,
    kBoolean = fmx::Data::kDTBoolean
};

constexpr uint32_t kFNAM = uint32_t('F') << 24 | uint32_t('N') << 16 | uint32_t('A') << 8 | uint32_t('M');

void CheckType(int32_t type) {
    if (type < kInvalid || type > kBoolean) throw std::invalid_argument("unknown data type");
}

const BinaryObj::Stream *FileName(const BinaryObj &b) {
    for (const auto &s : b.streams)
        if (s.type == kFNAM) return &s;
    return nullptr;
}

std::u16string FileNameText(const BinaryObj &b) {
    const auto *s = FileName(b);
    if (s == nullptr) return {};
    return zhost::FromUtf8(std::string_view(reinterpret_cast<const char *>(s->bytes.data()), s->bytes.size()));
}

// ---- reading a value as each type ----

const FixPtObj &NumberOf(const DataObj &d) {
    if (d.type == kNumber) return d.number;
    FixPtObj n;
    switch (d.type) {
    case kText:
        zhost::TextToNumber(d.text.s, n);  // no digits: 0
        break;
    case kDate:
        n.v = static_cast<long double>(d.dateTime.days);
        break;
    case kTime:
        n.v = static_cast<long double>(d.dateTime.usec) / zhost::kUsecPerSecond;
        break;
    case kTimeStamp:
        n.v = zhost::SecondsSinceEpoch(d.dateTime);
        break;
    case kBoolean:
        n.v = d.boolean ? 1 : 0;
        break;
    default:  // invalid, container
        break;
    }
    d.asNumber = n;
    return d.asNumber;
}

const TextObj &TextOf(const DataObj &d) {
    if (d.type == kText) return d.text;
    switch (d.type) {
    case kNumber:
        d.asText.s = zhost::NumberToText(d.number);
        break;
    case kDate:
        d.asText.s = zhost::DateToText(d.dateTime);
        break;
    case kTime:
        d.asText.s = zhost::TimeToText(d.dateTime);
        break;
    case kTimeStamp:
        d.asText.s = zhost::TimeStampToText(d.dateTime);
        break;
    case kBoolean:
        d.asText.s = d.boolean ? u"1" : u"0";
        break;
    case kBinary:
        d.asText.s = FileNameText(d.binary);
        break;
    default:
        d.asText.s.clear();
        break;
    }
    return d.asText;
}

// Text as a timestamp: a date alone is midnight, a time alone lies on day 1 (as a time value
// does); anything else is day 0, time 0.
DateTimeObj TimeStampFromText(std::u16string_view text) {
    DateTimeObj ts;
    if (zhost::TextToTimeStamp(text, ts)) return ts;
    if (zhost::TextToTime(text, ts))
        return DateTimeObj{1 + zhost::FloorDiv(ts.usec, zhost::kUsecPerDay), zhost::FloorMod(ts.usec, zhost::kUsecPerDay)};
    return DateTimeObj{};
}

const DateTimeObj &DateOf(const DataObj &d) {
    if (d.type == kDate) return d.dateTime;
    DateTimeObj r;
    switch (d.type) {
    case kTimeStamp:
        r.days = d.dateTime.days;
        break;
    case kText: {
        DateTimeObj ts;
        if (zhost::TextToTimeStamp(d.text.s, ts)) r.days = ts.days;
        break;
    }
    case kNumber:
    case kBoolean:
        r.days = zhost::ToInt64(std::floor(NumberOf(d).v));
        break;
    default:  // time, invalid, container
        break;
    }
    d.asDate = r;
    return d.asDate;
}

const DateTimeObj &TimeOf(const DataObj &d) {
    if (d.type == kTime) return d.dateTime;
    DateTimeObj r;
    switch (d.type) {
    case kTimeStamp:
        r.usec = d.dateTime.usec;
        break;
    case kText: {
        DateTimeObj t;
        if (zhost::TextToTime(d.text.s, t) || zhost::TextToTimeStamp(d.text.s, t)) r.usec = t.usec;
        break;
    }
    case kNumber:
    case kBoolean:
        r.usec = zhost::UsecFromSeconds(NumberOf(d).v);
        break;
    default:  // date, invalid, container
        break;
    }
    d.asTime = r;
    return d.asTime;
}

const DateTimeObj &TimeStampOf(const DataObj &d) {
    if (d.type == kTimeStamp) return d.dateTime;
    DateTimeObj r;
    switch (d.type) {
    case kDate:
        r.days = d.dateTime.days;
        break;
    case kTime:  // a time lies on day 1
        r = DateTimeObj{1 + zhost::FloorDiv(d.dateTime.usec, zhost::kUsecPerDay),
                        zhost::FloorMod(d.dateTime.usec, zhost::kUsecPerDay)};
        break;
    case kText:
        r = TimeStampFromText(d.text.s);
        break;
    case kNumber:
    case kBoolean:
        r = zhost::TimeStampFromSeconds(NumberOf(d).v);
        break;
    default:  // invalid, container
        break;
    }
    // A number or a time that lands outside the host's timestamps is no timestamp, as text that
    // reads as none (the host shows "?" for it).
    if ((d.type == kNumber || d.type == kBoolean || d.type == kTime) &&
        (r.days < 1 || r.days > zhost::kLastTimeStampDay))
        r = DateTimeObj{};
    d.asTimeStamp = r;
    return d.asTimeStamp;
}

bool BooleanOf(const DataObj &d) {
    switch (d.type) {
    case kBoolean:
        return d.boolean;
    case kNumber:
    case kText:
        return NumberOf(d).v != 0;
    case kDate:
        return d.dateTime.days != 0;
    case kTime:
        return d.dateTime.usec != 0;
    case kTimeStamp:
        return d.dateTime.days != 0 || d.dateTime.usec != 0;
    case kBinary:
        return !d.binary.streams.empty();
    default:
        return false;
    }
}

// A text becomes a container that refers to it by name (the host's form of a file inserted by
// reference); anything else becomes an empty container.
std::vector<BinaryObj::Stream> ContainerOf(const DataObj &d) {
    if (d.type == kBinary) return d.binary.streams;
    if (d.type == kText && !d.text.s.empty()) {
        const std::string utf8 = zhost::ToUtf8(d.text.s);
        return {BinaryObj::Stream{kFNAM, std::vector<uint8_t>(utf8.begin(), utf8.end())}};
    }
    return {};
}

// ---- storing ----

// A fresh value of the given type, keeping the locale.
DataObj Fresh(const DataObj &d, int32_t type) {
    DataObj v;
    v.type = type;
    v.locale = d.locale;
    return v;
}

// Converts d in place to the type. The new value is built completely before it replaces the old
// one, so the conversion may read the old value (or a cache) freely.
void ConvertTo(DataObj &d, int32_t type) {
    CheckType(type);
    if (type == d.type) return;
    DataObj v = Fresh(d, type);
    switch (type) {
    case kText:
        v.text = TextOf(d);
        break;
    case kNumber:
        v.number = NumberOf(d);
        break;
    case kDate:
        v.dateTime = DateOf(d);
        break;
    case kTime:
        v.dateTime = TimeOf(d);
        break;
    case kTimeStamp:
        v.dateTime = TimeStampOf(d);
        break;
    case kBinary:
        v.binary.streams = ContainerOf(d);
        break;
    case kBoolean:
        v.boolean = BooleanOf(d);
        break;
    default:
        break;
    }
    d = std::move(v);
}

// Stores a date-time value of the given kind (date part only, time part only, or both).
void StoreDateTime(DataObj &d, const DateTimeObj &dt, int32_t kind, int32_t nativeType) {
    CheckType(nativeType);
    DataObj v = Fresh(d, kind);
    switch (kind) {
    case kDate:
        v.dateTime = DateTimeObj{dt.days, 0};
        break;
    case kTime:
        v.dateTime = DateTimeObj{0, dt.usec};
        break;
    case kTimeStamp: {
        // Whole days of the time move into the date; a date at the end of the int64 range stays.
        int64_t days = 0;
        if (__builtin_add_overflow(dt.days, zhost::FloorDiv(dt.usec, zhost::kUsecPerDay), &days))
            days = dt.days < 0 ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
        v.dateTime = DateTimeObj{days, zhost::FloorMod(dt.usec, zhost::kUsecPerDay)};
        break;
    }
    default:
        throw std::invalid_argument("not a date-time type");
    }
    d = std::move(v);
    ConvertTo(d, nativeType);
}

std::unique_ptr<DataObj> CopyValue(const DataObj &s) {
    auto p = std::make_unique<DataObj>();
    p->type = s.type;
    p->text = s.text;
    p->number = s.number;
    p->dateTime = s.dateTime;
    p->binary.streams = s.binary.streams;
    p->boolean = s.boolean;
    p->locale = s.locale;
    return p;
}

const DataObj &Item(const void *vect, fmx::uint32 position) {
    const auto &items = Self<DataVectObj>(vect).items;
    if (position >= items.size()) throw std::out_of_range("no such parameter");
    return *items[position];
}

}  // namespace

extern "C" {

// ---- Data ----

fmx::Data *FM_Data_Constructor1(fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::Data>(new DataObj); });
}

bool FM_Data_IsEmpty(const void *_self, fmx::_fmxcpt &) noexcept {
    const DataObj &d = Self<DataObj>(_self);
    switch (d.type) {
    case kInvalid:
        return true;
    case kText:
        return d.text.s.empty();
    case kBinary:
        return d.binary.streams.empty();
    default:
        return false;
    }
}

bool FM_Data_IsValid(const void *_self, fmx::_fmxcpt &) noexcept { return Self<DataObj>(_self).type != kInvalid; }

bool FM_Data_IsFindRequest(const void *, fmx::_fmxcpt &) noexcept { return false; }

void FM_Data_Clear(void *_self, fmx::int32 newNativeType, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        CheckType(newNativeType);
        DataObj &d = Self<DataObj>(_self);
        d = Fresh(d, newNativeType);
    });
}

const fmx::Text *FM_Data_GetAsText(const void *_self, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::Text>(&TextOf(Self<DataObj>(_self))); });
}

const fmx::FixPt *FM_Data_GetAsNumber(const void *_self, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::FixPt>(&NumberOf(Self<DataObj>(_self))); });
}

const fmx::DateTime *FM_Data_GetAsDate(const void *_self, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::DateTime>(&DateOf(Self<DataObj>(_self))); });
}

const fmx::DateTime *FM_Data_GetAsTime(const void *_self, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::DateTime>(&TimeOf(Self<DataObj>(_self))); });
}

const fmx::DateTime *FM_Data_GetAsTimeStamp(const void *_self, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::DateTime>(&TimeStampOf(Self<DataObj>(_self))); });
}

bool FM_Data_GetAsBoolean(const void *_self, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return BooleanOf(Self<DataObj>(_self)); });
}

// A value that is not a container answers an empty one: only containers (and a text set from a
// container that held only a file name) keep streams.
const fmx::BinaryData *FM_Data_GetBinaryData(const void *_self, fmx::_fmxcpt &) noexcept {
    return zhost::As<fmx::BinaryData>(&Self<DataObj>(_self).binary);
}

const fmx::Locale *FM_Data_GetLocale(const void *_self, fmx::_fmxcpt &) noexcept {
    return zhost::As<fmx::Locale>(&Self<DataObj>(_self).locale);
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wignored-qualifiers"  // const as the host declares it
const fmx::int32 FM_Data_GetNativeType(const void *_self, fmx::_fmxcpt &) noexcept {
    return Self<DataObj>(_self).type;
}
#pragma GCC diagnostic pop

void FM_Data_ConvertData(void *_self, fmx::int32 nativeType, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] { ConvertTo(Self<DataObj>(_self), nativeType); });
}

fmx::errcode FM_Data_SetAsText(void *_self, const fmx::Text &textData, const fmx::Locale &sourceLocale,
                               fmx::int32 nativeType, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&]() -> fmx::errcode {
        CheckType(nativeType);
        DataObj &d = Self<DataObj>(_self);
        DataObj v = Fresh(d, kText);
        v.text = Of<TextObj>(textData);
        v.locale = Of<zhost::LocaleObj>(sourceLocale);
        d = std::move(v);
        ConvertTo(d, nativeType);
        return 0;
    });
}

void FM_Data_SetAsNumber(void *_self, const fmx::FixPt &numericData, fmx::int32 nativeType,
                         fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        CheckType(nativeType);
        DataObj &d = Self<DataObj>(_self);
        DataObj v = Fresh(d, kNumber);
        v.number = Of<FixPtObj>(numericData);
        d = std::move(v);
        ConvertTo(d, nativeType);
    });
}

void FM_Data_SetAsDate(void *_self, const fmx::DateTime &dateData, fmx::int32 nativeType, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] { StoreDateTime(Self<DataObj>(_self), Of<DateTimeObj>(dateData), kDate, nativeType); });
}

void FM_Data_SetAsTime(void *_self, const fmx::DateTime &timeData, fmx::int32 nativeType, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] { StoreDateTime(Self<DataObj>(_self), Of<DateTimeObj>(timeData), kTime, nativeType); });
}

void FM_Data_SetAsTimeStamp(void *_self, const fmx::DateTime &timeStampData, fmx::int32 nativeType,
                            fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code,
          [&] { StoreDateTime(Self<DataObj>(_self), Of<DateTimeObj>(timeStampData), kTimeStamp, nativeType); });
}

void FM_Data_SetDateTime(void *_self, const fmx::DateTime &dateTimeData, fmx::int32 dateTimeType,
                         fmx::int32 nativeType, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code,
          [&] { StoreDateTime(Self<DataObj>(_self), Of<DateTimeObj>(dateTimeData), dateTimeType, nativeType); });
}

// Without force, a container holding nothing but a file name is a reference by path: it stays a
// text (the name), with the container kept beside it.
void FM_Data_SetBinaryData(void *_self, const fmx::BinaryData &binaryData, bool forceBinaryNativeType,
                           fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        DataObj &d = Self<DataObj>(_self);
        const BinaryObj &src = Of<BinaryObj>(binaryData);
        const bool nameOnly = src.streams.size() == 1 && src.streams.front().type == kFNAM;
        DataObj v = Fresh(d, forceBinaryNativeType || !nameOnly ? kBinary : kText);
        v.binary.streams = src.streams;
        if (v.type == kText) v.text.s = FileNameText(src);
        d = std::move(v);
    });
}

void FM_Data_Delete(void *_self, fmx::_fmxcpt &) noexcept { delete static_cast<DataObj *>(_self); }

// ---- DataVect ----

fmx::DataVect *FM_DataVect_Constructor1(fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::DataVect>(new DataVectObj); });
}

fmx::uint32 FM_DataVect_Size(const void *_self, fmx::_fmxcpt &) noexcept {
    return fmx::uint32(Self<DataVectObj>(_self).items.size());
}

void FM_DataVect_Clear(void *_self, fmx::_fmxcpt &) noexcept { Self<DataVectObj>(_self).items.clear(); }

bool FM_DataVect_IsEmpty(const void *_self, fmx::_fmxcpt &) noexcept { return Self<DataVectObj>(_self).items.empty(); }

void FM_DataVect_PushBack(void *_self, const fmx::Data &data, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] { Self<DataVectObj>(_self).items.push_back(CopyValue(Of<DataObj>(data))); });
}

// The caller owns the returned value and releases it with FM_Data_Delete.
fmx::Data *FM_DataVect_PopBack(void *_self, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] {
        auto &items = Self<DataVectObj>(_self).items;
        if (items.empty()) throw std::out_of_range("empty vector");
        DataObj *last = items.back().release();
        items.pop_back();
        return zhost::As<fmx::Data>(last);
    });
}

const fmx::Data *FM_DataVect_At(const void *_self, fmx::uint32 position, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::Data>(&Item(_self, position)); });
}

const fmx::Text *FM_DataVect_AtAsText(const void *_self, fmx::uint32 position, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::Text>(&TextOf(Item(_self, position))); });
}

const fmx::FixPt *FM_DataVect_AtAsNumber(const void *_self, fmx::uint32 position, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::FixPt>(&NumberOf(Item(_self, position))); });
}

const fmx::DateTime *FM_DataVect_AtAsDate(const void *_self, fmx::uint32 position, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::DateTime>(&DateOf(Item(_self, position))); });
}

const fmx::DateTime *FM_DataVect_AtAsTime(const void *_self, fmx::uint32 position, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::DateTime>(&TimeOf(Item(_self, position))); });
}

const fmx::DateTime *FM_DataVect_AtAsTimeStamp(const void *_self, fmx::uint32 position, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::DateTime>(&TimeStampOf(Item(_self, position))); });
}

bool FM_DataVect_AtAsBoolean(const void *_self, fmx::uint32 position, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return BooleanOf(Item(_self, position)); });
}

const fmx::BinaryData *FM_DataVect_AtAsBinaryData(const void *_self, fmx::uint32 position, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::BinaryData>(&Item(_self, position).binary); });
}

void FM_DataVect_Delete(void *_self, fmx::_fmxcpt &) noexcept { delete static_cast<DataVectObj *>(_self); }

}  // extern "C"
