// Four-character codes and locales.
#ifndef _h_Types_
#define _h_Types_

#include "FMWrapper/FMXClient.h"

namespace fmx {

class QuadChar {
public:
    inline const QuadChar &operator=(const QuadChar &value);
    inline uchar operator[](int i);
    inline uchar operator[](int i) const;
    inline bool operator==(const QuadChar &value) const;
    inline bool operator!=(const QuadChar &value) const;
    inline uint32 GetMacType() const;
    inline void SetMacType(uint32 value);
    inline void operator delete(void *obj);

private:
    QuadChar();
    QuadChar(const QuadChar &source);
};

class QuadCharUniquePtr : public std::unique_ptr<QuadChar> {
    typedef QuadCharUniquePtr UpCaster;

public:
    inline QuadCharUniquePtr();
    inline QuadCharUniquePtr(char c0, char c1, char c2, char c3);
    inline QuadCharUniquePtr(const QuadChar &value);
};

class Locale {
public:
    enum Type {
        kType_None = 0,
        kType_System = 1,
        kType_UnicodeRaw = 2,
        kType_UnicodeStandard = 3,
        kType_Catalog = 4,
        kType_Invalid = 0xFFFF
    };
    inline Locale &operator=(const Locale &rhs);
    inline void operator delete(void *obj);

private:
    Locale();
    Locale(const Locale &source);
};

class LocaleUniquePtr : public std::unique_ptr<Locale> {
    typedef LocaleUniquePtr UpCaster;

public:
    inline LocaleUniquePtr(Locale::Type inputType = Locale::kType_System);
    inline LocaleUniquePtr(const Locale &copyConstruct);
};

}  // namespace fmx

extern "C" {
FMX_API fmx::QuadChar *FM_QuadChar_Constructor1(fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::QuadChar *FM_QuadChar_Constructor2(char c0, char c1, char c2, char c3, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::QuadChar *FM_QuadChar_Constructor3(const fmx::QuadChar &value, fmx::_fmxcpt &_x) noexcept;
FMX_API const fmx::QuadChar *FM_QuadChar_operatorAS(void *_self, const fmx::QuadChar &value, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::uchar FM_QuadChar_operatorAR(void *_self, int i, fmx::_fmxcpt &_x) noexcept;
// The host's own declaration returns a const value; the qualifier means nothing to callers.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wignored-qualifiers"
FMX_API const fmx::uchar FM_QuadChar_operatorCAR(const void *_self, int i, fmx::_fmxcpt &_x) noexcept;
#pragma GCC diagnostic pop
FMX_API bool FM_QuadChar_operatorEQ(const void *_self, const fmx::QuadChar &value, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_QuadChar_operatorNE(const void *_self, const fmx::QuadChar &value, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::uint32 FM_QuadChar_GetMacType(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_QuadChar_SetMacType(void *_self, fmx::uint32 value, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_QuadChar_Delete(void *_self, fmx::_fmxcpt &_x) noexcept;

FMX_API fmx::Locale *FM_Locale_Constructor1(fmx::int32 inputType, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::Locale *FM_Locale_Constructor2(const fmx::Locale &copyConstruct, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::Locale *FM_Locale_operatorAS(void *_self, const fmx::Locale &rhs, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Locale_Delete(void *_self, fmx::_fmxcpt &_x) noexcept;
}

namespace fmx {
inline QuadCharUniquePtr::QuadCharUniquePtr() {
    _fmxcpt _x;
    reset(FM_QuadChar_Constructor1(_x));
    _x.Check();
}
inline QuadCharUniquePtr::QuadCharUniquePtr(char c0, char c1, char c2, char c3) {
    _fmxcpt _x;
    reset(FM_QuadChar_Constructor2(c0, c1, c2, c3, _x));
    _x.Check();
}
inline QuadCharUniquePtr::QuadCharUniquePtr(const QuadChar &value) {
    _fmxcpt _x;
    reset(FM_QuadChar_Constructor3(value, _x));
    _x.Check();
}
inline const QuadChar &QuadChar::operator=(const QuadChar &value) {
    _fmxcpt _x;
    const QuadChar *_rtn = FM_QuadChar_operatorAS(this, value, _x);
    _x.Check();
    return *_rtn;
}
inline uchar QuadChar::operator[](int i) {
    _fmxcpt _x;
    uchar _rtn = FM_QuadChar_operatorAR(this, i, _x);
    _x.Check();
    return _rtn;
}
inline uchar QuadChar::operator[](int i) const {
    _fmxcpt _x;
    uchar _rtn = FM_QuadChar_operatorCAR(this, i, _x);
    _x.Check();
    return _rtn;
}
inline bool QuadChar::operator==(const QuadChar &value) const {
    _fmxcpt _x;
    bool _rtn = FM_QuadChar_operatorEQ(this, value, _x);
    _x.Check();
    return _rtn;
}
inline bool QuadChar::operator!=(const QuadChar &value) const {
    _fmxcpt _x;
    bool _rtn = FM_QuadChar_operatorNE(this, value, _x);
    _x.Check();
    return _rtn;
}
inline uint32 QuadChar::GetMacType() const {
    _fmxcpt _x;
    uint32 _rtn = FM_QuadChar_GetMacType(this, _x);
    _x.Check();
    return _rtn;
}
inline void QuadChar::SetMacType(uint32 value) {
    _fmxcpt _x;
    FM_QuadChar_SetMacType(this, value, _x);
    _x.Check();
}
inline void QuadChar::operator delete(void *obj) {
    _fmxcpt _x;
    FM_QuadChar_Delete(obj, _x);
    _x.Check();
}

inline LocaleUniquePtr::LocaleUniquePtr(Locale::Type inputType) {
    _fmxcpt _x;
    reset(FM_Locale_Constructor1(inputType, _x));
    _x.Check();
}
inline LocaleUniquePtr::LocaleUniquePtr(const Locale &copyConstruct) {
    _fmxcpt _x;
    reset(FM_Locale_Constructor2(copyConstruct, _x));
    _x.Check();
}
inline Locale &Locale::operator=(const Locale &rhs) {
    _fmxcpt _x;
    Locale *_rtn = FM_Locale_operatorAS(this, rhs, _x);
    _x.Check();
    return *_rtn;
}
inline void Locale::operator delete(void *obj) {
    _fmxcpt _x;
    FM_Locale_Delete(obj, _x);
    _x.Check();
}
}  // namespace fmx

#endif
