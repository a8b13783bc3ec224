// fmx::FixPt: the host's numbers, kept as a long double plus the precision the host works with.
#include "FMWrapper/FMXFixPt.h"
#include "host/objects.h"

#include <algorithm>
#include <cmath>
#include <limits>

using zhost::FixPtObj;
using zhost::Guard;
using zhost::Of;
using zhost::Self;

namespace {

constexpr int kMinPrecision = 1, kMaxPrecision = 400;
constexpr fmx::errcode kDivideByZero = 1;

int ClampPrecision(int precision) { return std::clamp(precision, kMinPrecision, kMaxPrecision); }

long double ValueOf(const void *self) { return Self<FixPtObj>(self).v; }
long double ValueOf(const fmx::FixPt &n) { return Of<FixPtObj>(n).v; }

}  // namespace

extern "C" {

fmx::FixPt *FM_FixPt_Constructor1(fmx::int32 val, int precision, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return zhost::As<fmx::FixPt>(new FixPtObj{static_cast<long double>(val), ClampPrecision(precision)}); });
}

fmx::FixPt *FM_FixPt_Constructor2(fmx::int32 val, const fmx::FixPt &precisionExample, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] {
        return zhost::As<fmx::FixPt>(new FixPtObj{static_cast<long double>(val), Of<FixPtObj>(precisionExample).precision});
    });
}

void FM_FixPt_AssignInt(void *_self, fmx::int32 that, fmx::_fmxcpt &) noexcept { Self<FixPtObj>(_self).v = that; }

void FM_FixPt_AssignInt64(void *_self, fmx::int64 that, fmx::_fmxcpt &) noexcept { Self<FixPtObj>(_self).v = that; }

void FM_FixPt_AssignDouble(void *_self, double that, fmx::_fmxcpt &) noexcept { Self<FixPtObj>(_self).v = that; }

// Copies the value; the precision stays this number's own.
void FM_FixPt_AssignFixPt(void *_self, const fmx::FixPt &that, fmx::_fmxcpt &) noexcept {
    Self<FixPtObj>(_self).v = ValueOf(that);
}

bool FM_FixPt_operatorEQ(const void *_self, const fmx::FixPt &that, fmx::_fmxcpt &) noexcept {
    return ValueOf(_self) == ValueOf(that);
}
bool FM_FixPt_operatorNE(const void *_self, const fmx::FixPt &that, fmx::_fmxcpt &) noexcept {
    return ValueOf(_self) != ValueOf(that);
}
bool FM_FixPt_operatorLT(const void *_self, const fmx::FixPt &that, fmx::_fmxcpt &) noexcept {
    return ValueOf(_self) < ValueOf(that);
}
bool FM_FixPt_operatorLE(const void *_self, const fmx::FixPt &that, fmx::_fmxcpt &) noexcept {
    return ValueOf(_self) <= ValueOf(that);
}
bool FM_FixPt_operatorGT(const void *_self, const fmx::FixPt &that, fmx::_fmxcpt &) noexcept {
    return ValueOf(_self) > ValueOf(that);
}
bool FM_FixPt_operatorGE(const void *_self, const fmx::FixPt &that, fmx::_fmxcpt &) noexcept {
    return ValueOf(_self) >= ValueOf(that);
}

void FM_FixPt_Increment(void *_self, fmx::int32 n, fmx::_fmxcpt &) noexcept { Self<FixPtObj>(_self).v += n; }
void FM_FixPt_Increment64(void *_self, fmx::int64 n, fmx::_fmxcpt &) noexcept { Self<FixPtObj>(_self).v += n; }
void FM_FixPt_Decrement(void *_self, fmx::int32 n, fmx::_fmxcpt &) noexcept { Self<FixPtObj>(_self).v -= n; }
void FM_FixPt_Decrement64(void *_self, fmx::int64 n, fmx::_fmxcpt &) noexcept { Self<FixPtObj>(_self).v -= n; }

void FM_FixPt_Negate(void *_self, fmx::_fmxcpt &) noexcept {
    FixPtObj &n = Self<FixPtObj>(_self);
    if (n.v != 0) n.v = -n.v;  // no negative zero
}

int FM_FixPt_GetPrecision(const void *_self, fmx::_fmxcpt &) noexcept { return Self<FixPtObj>(_self).precision; }

void FM_FixPt_SetPrecision(void *_self, int precision, fmx::_fmxcpt &) noexcept {
    Self<FixPtObj>(_self).precision = ClampPrecision(precision);
}

// The result may be this number or the argument itself, so each operation reads both operands
// before it writes.
void FM_FixPt_Add(const void *_self, const fmx::FixPt &arg, fmx::FixPt &result, fmx::_fmxcpt &) noexcept {
    const long double r = ValueOf(_self) + ValueOf(arg);
    Of<FixPtObj>(result).v = r;
}

void FM_FixPt_Subtract(const void *_self, const fmx::FixPt &arg, fmx::FixPt &result, fmx::_fmxcpt &) noexcept {
    const long double r = ValueOf(_self) - ValueOf(arg);
    Of<FixPtObj>(result).v = r;
}

void FM_FixPt_Multiply(const void *_self, const fmx::FixPt &arg, fmx::FixPt &result, fmx::_fmxcpt &) noexcept {
    const long double r = ValueOf(_self) * ValueOf(arg);
    Of<FixPtObj>(result).v = r;
}

fmx::errcode FM_FixPt_Divide(const void *_self, const fmx::FixPt &arg, fmx::FixPt &result, fmx::_fmxcpt &) noexcept {
    const long double divisor = ValueOf(arg);
    if (divisor == 0) return kDivideByZero;
    const long double r = ValueOf(_self) / divisor;
    Of<FixPtObj>(result).v = r;
    return 0;
}

bool FM_FixPt_AsBool(const void *_self, fmx::_fmxcpt &) noexcept { return ValueOf(_self) != 0; }

fmx::int32 FM_FixPt_AsLong(const void *_self, fmx::_fmxcpt &) noexcept {
    const int64_t v = zhost::ToInt64(ValueOf(_self));
    return fmx::int32(std::clamp<int64_t>(v, std::numeric_limits<fmx::int32>::min(),
                                          std::numeric_limits<fmx::int32>::max()));
}

fmx::int64 FM_FixPt_AsLong64(const void *_self, fmx::_fmxcpt &) noexcept { return zhost::ToInt64(ValueOf(_self)); }

double FM_FixPt_AsFloat(const void *_self, fmx::_fmxcpt &) noexcept { return double(ValueOf(_self)); }

void FM_FixPt_Delete(void *_self, fmx::_fmxcpt &) noexcept { delete static_cast<FixPtObj *>(_self); }

}  // extern "C"
