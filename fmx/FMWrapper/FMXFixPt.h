// Host numbers (decimal fixed point of selectable precision).
#ifndef _h_FixPt_
#define _h_FixPt_

#include "FMWrapper/FMXClient.h"

namespace fmx {
class FixPt {
public:
    enum { kDefltFixedPrecision = 16 };

    inline void AssignInt(int32 that);
    inline void AssignInt64(int64 that);
    inline void AssignDouble(double that);
    inline void AssignFixPt(const FixPt &that);
    inline bool operator==(const FixPt &that) const;
    inline bool operator!=(const FixPt &that) const;
    inline bool operator<(const FixPt &that) const;
    inline bool operator<=(const FixPt &that) const;
    inline bool operator>(const FixPt &that) const;
    inline bool operator>=(const FixPt &that) const;
    inline void Increment(int32 n);
    inline void Increment64(int64 n);
    inline void Decrement(int32 n);
    inline void Decrement64(int64 n);
    inline void Negate();
    inline int GetPrecision() const;
    inline void SetPrecision(int precision);
    inline void Add(const FixPt &arg, FixPt &result) const;
    inline void Subtract(const FixPt &arg, FixPt &result) const;
    inline void Multiply(const FixPt &arg, FixPt &result) const;
    inline errcode Divide(const FixPt &arg, FixPt &result) const;
    inline bool AsBool() const;
    inline int32 AsLong() const;
    inline int64 AsLong64() const;
    inline double AsFloat() const;
    inline void operator delete(void *obj);

private:
    FixPt();
    FixPt(const FixPt &source);
};

class FixPtUniquePtr : public std::unique_ptr<FixPt> {
    typedef FixPtUniquePtr UpCaster;

public:
    inline FixPtUniquePtr(int32 val = 0, int precision = FixPt::kDefltFixedPrecision);
    inline FixPtUniquePtr(int32 val, const FixPt &precisionExample);
};
}  // namespace fmx

extern "C" {
FMX_API fmx::FixPt *FM_FixPt_Constructor1(fmx::int32 val, int precision, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::FixPt *FM_FixPt_Constructor2(fmx::int32 val, const fmx::FixPt &precisionExample,
                                         fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_FixPt_AssignInt(void *_self, fmx::int32 that, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_FixPt_AssignInt64(void *_self, fmx::int64 that, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_FixPt_AssignDouble(void *_self, double that, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_FixPt_AssignFixPt(void *_self, const fmx::FixPt &that, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_FixPt_operatorEQ(const void *_self, const fmx::FixPt &that, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_FixPt_operatorNE(const void *_self, const fmx::FixPt &that, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_FixPt_operatorLT(const void *_self, const fmx::FixPt &that, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_FixPt_operatorLE(const void *_self, const fmx::FixPt &that, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_FixPt_operatorGT(const void *_self, const fmx::FixPt &that, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_FixPt_operatorGE(const void *_self, const fmx::FixPt &that, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_FixPt_Increment(void *_self, fmx::int32 n, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_FixPt_Increment64(void *_self, fmx::int64 n, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_FixPt_Decrement(void *_self, fmx::int32 n, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_FixPt_Decrement64(void *_self, fmx::int64 n, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_FixPt_Negate(void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API int FM_FixPt_GetPrecision(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_FixPt_SetPrecision(void *_self, int precision, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_FixPt_Add(const void *_self, const fmx::FixPt &arg, fmx::FixPt &result, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_FixPt_Subtract(const void *_self, const fmx::FixPt &arg, fmx::FixPt &result,
                               fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_FixPt_Multiply(const void *_self, const fmx::FixPt &arg, fmx::FixPt &result,
                               fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::errcode FM_FixPt_Divide(const void *_self, const fmx::FixPt &arg, fmx::FixPt &result,
                                     fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_FixPt_AsBool(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int32 FM_FixPt_AsLong(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::int64 FM_FixPt_AsLong64(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API double FM_FixPt_AsFloat(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_FixPt_Delete(void *_self, fmx::_fmxcpt &_x) noexcept;
}

namespace fmx {
using fmx_call::Call;
inline FixPtUniquePtr::FixPtUniquePtr(int32 val, int precision) { reset(Call(FM_FixPt_Constructor1, val, precision)); }
inline FixPtUniquePtr::FixPtUniquePtr(int32 val, const FixPt &precisionExample) {
    reset(Call(FM_FixPt_Constructor2, val, precisionExample));
}
inline void FixPt::AssignInt(int32 that) { Call(FM_FixPt_AssignInt, this, that); }
inline void FixPt::AssignInt64(int64 that) { Call(FM_FixPt_AssignInt64, this, that); }
inline void FixPt::AssignDouble(double that) { Call(FM_FixPt_AssignDouble, this, that); }
inline void FixPt::AssignFixPt(const FixPt &that) { Call(FM_FixPt_AssignFixPt, this, that); }
inline bool FixPt::operator==(const FixPt &that) const { return Call(FM_FixPt_operatorEQ, this, that); }
inline bool FixPt::operator!=(const FixPt &that) const { return Call(FM_FixPt_operatorNE, this, that); }
inline bool FixPt::operator<(const FixPt &that) const { return Call(FM_FixPt_operatorLT, this, that); }
inline bool FixPt::operator<=(const FixPt &that) const { return Call(FM_FixPt_operatorLE, this, that); }
inline bool FixPt::operator>(const FixPt &that) const { return Call(FM_FixPt_operatorGT, this, that); }
inline bool FixPt::operator>=(const FixPt &that) const { return Call(FM_FixPt_operatorGE, this, that); }
inline void FixPt::Increment(int32 n) { Call(FM_FixPt_Increment, this, n); }
inline void FixPt::Increment64(int64 n) { Call(FM_FixPt_Increment64, this, n); }
inline void FixPt::Decrement(int32 n) { Call(FM_FixPt_Decrement, this, n); }
inline void FixPt::Decrement64(int64 n) { Call(FM_FixPt_Decrement64, this, n); }
inline void FixPt::Negate() { Call(FM_FixPt_Negate, this); }
inline int FixPt::GetPrecision() const { return Call(FM_FixPt_GetPrecision, this); }
inline void FixPt::SetPrecision(int precision) { Call(FM_FixPt_SetPrecision, this, precision); }
inline void FixPt::Add(const FixPt &arg, FixPt &result) const { Call(FM_FixPt_Add, this, arg, result); }
inline void FixPt::Subtract(const FixPt &arg, FixPt &result) const { Call(FM_FixPt_Subtract, this, arg, result); }
inline void FixPt::Multiply(const FixPt &arg, FixPt &result) const { Call(FM_FixPt_Multiply, this, arg, result); }
inline errcode FixPt::Divide(const FixPt &arg, FixPt &result) const {
    return Call(FM_FixPt_Divide, this, arg, result);
}
inline bool FixPt::AsBool() const { return Call(FM_FixPt_AsBool, this); }
inline int32 FixPt::AsLong() const { return Call(FM_FixPt_AsLong, this); }
inline int64 FixPt::AsLong64() const { return Call(FM_FixPt_AsLong64, this); }
inline double FixPt::AsFloat() const { return Call(FM_FixPt_AsFloat, this); }
inline void FixPt::operator delete(void *obj) { Call(FM_FixPt_Delete, obj); }
}  // namespace fmx

#endif
