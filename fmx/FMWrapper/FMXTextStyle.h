// Character styles; the plug-in only copies a text's default style.
#ifndef _h_TextStyle_
#define _h_TextStyle_

#include "FMWrapper/FMXClient.h"

namespace fmx {
class CharacterStyle {
public:
    typedef unsigned short Face;
    typedef unsigned short FontID;
    typedef unsigned short FontSize;
    enum { kFace_Plain = 0 };

    inline void DisableAll();
    inline bool IsAllDisabled() const;
    inline bool operator==(const CharacterStyle &rhs) const;
    inline void operator delete(void *obj);

private:
    CharacterStyle();
    CharacterStyle(const CharacterStyle &source);
};

class CharacterStyleUniquePtr : public std::unique_ptr<CharacterStyle> {
    typedef CharacterStyleUniquePtr UpCaster;

public:
    inline CharacterStyleUniquePtr();
    inline CharacterStyleUniquePtr(const CharacterStyle &style);
};
}  // namespace fmx

extern "C" {
FMX_API fmx::CharacterStyle *FM_CharacterStyle_Constructor1(fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::CharacterStyle *FM_CharacterStyle_Constructor3(const fmx::CharacterStyle &style,
                                                           fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_CharacterStyle_DisableAll(void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_CharacterStyle_IsAllDisabled(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_CharacterStyle_operatorEQ(const void *_self, const fmx::CharacterStyle &rhs,
                                          fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_CharacterStyle_Delete(void *_self, fmx::_fmxcpt &_x) noexcept;
}

namespace fmx {
inline CharacterStyleUniquePtr::CharacterStyleUniquePtr() { reset(fmx_call::Call(FM_CharacterStyle_Constructor1)); }
inline CharacterStyleUniquePtr::CharacterStyleUniquePtr(const CharacterStyle &style) {
    reset(fmx_call::Call(FM_CharacterStyle_Constructor3, style));
}
inline void CharacterStyle::DisableAll() { fmx_call::Call(FM_CharacterStyle_DisableAll, this); }
inline bool CharacterStyle::IsAllDisabled() const { return fmx_call::Call(FM_CharacterStyle_IsAllDisabled, this); }
inline bool CharacterStyle::operator==(const CharacterStyle &rhs) const {
    return fmx_call::Call(FM_CharacterStyle_operatorEQ, this, rhs);
}
inline void CharacterStyle::operator delete(void *obj) { fmx_call::Call(FM_CharacterStyle_Delete, obj); }
}  // namespace fmx

#endif
