// Host text: a UTF-16 string with styles.
#ifndef _h_Text_
#define _h_Text_

#include "FMWrapper/FMXClient.h"

namespace fmx {
class CharacterStyle;

class Text {
public:
    enum Encoding {
        kEncoding_Native,
        kEncoding_UTF8,
        kEncoding_ASCII_DOS,
        kEncoding_ASCII_Windows,
        kEncoding_ASCII_Mac,
        kEncoding_ISO_8859_1,
        kEncoding_ShiftJIS_Mac,
        kEncoding_ShiftJIS_Win,
        kEncoding_Korean_Mac,
        kEncoding_Korean_Win,
        kEncoding_Korean_Johab,
        kEncoding_ChineseTrad_Mac,
        kEncoding_ChineseTrad_Win,
        kEncoding_ChineseSimp_Mac,
        kEncoding_ChineseSimp_Win,
        kEncoding_Cyrillic_Mac,
        kEncoding_Cyrillic_Win,
        kEncoding_ISO_8859_5,
        kEncoding_CentralEurope_Mac,
        kEncoding_EasternEurope_Win,
        kEncoding_ISO_8859_2,
        kEncoding_Turkish_Mac,
        kEncoding_Turkish_Win,
        kEncoding_ISO_8859_3,
        kEncoding_ISO_8859_9,
        kEncoding_Baltic_Win,
        kEncoding_ISO_8859_4,
        kEncoding_Arabic_Mac,
        kEncoding_Arabic_Win,
        kEncoding_ISO_8859_6,
        kEncoding_Greek_Mac,
        kEncoding_Greek_Win,
        kEncoding_ISO_8859_7,
        kEncoding_Hebrew_Mac,
        kEncoding_Hebrew_Win,
        kEncoding_ISO_8859_8,
        kEncoding_ISO_8859_15
    };
    enum { kSize_Invalid = 0xFFFFFFFF, kSize_End = 0xFFFFFFFF };

    inline uint32 GetSize() const;
    inline void Assign(const char *s, Encoding encoding = kEncoding_Native);
    inline void AssignWithLength(const char *s, uint32 strlength, Encoding encoding = kEncoding_Native);
    inline void AssignWide(const wchar_t *s);
    inline void AssignWideWithLength(const wchar_t *s, uint32 strlength);
    inline void AssignUnicode(const uint16 *s);
    inline void AssignUnicodeWithLength(const uint16 *s, uint32 strlength);
    inline void GetBytes(char *buffer, uint32 buffersize, uint32 position = 0, uint32 size = kSize_End,
                         Encoding encoding = kEncoding_Native) const;
    inline uint32 GetBytesEx(char *buffer, uint32 buffersize, uint32 position = 0, uint32 size = kSize_End,
                             Encoding encoding = kEncoding_UTF8) const;
    inline void GetUnicode(uint16 *s, uint32 position, uint32 size) const;
    inline void SetText(const Text &other, uint32 position = 0, uint32 size = kSize_End);
    inline void AppendText(const Text &other, uint32 position = 0, uint32 size = kSize_End);
    inline void InsertText(const Text &other, uint32 position);
    inline void DeleteText(uint32 positionToDelete, uint32 sizeToDelete = kSize_End);
    inline uint32 Find(const Text &other, uint32 position) const;
    inline uint32 FindPrev(const Text &other, uint32 position) const;
    inline uint32 FindIgnoringCase(const Text &other, uint32 position) const;
    inline uint32 FindPrevIgnoringCase(const Text &other, uint32 position) const;
    inline void Uppercase() const;
    inline void Lowercase() const;
    inline void GetStyle(CharacterStyle &style, uint32 position) const;
    inline void GetDefaultStyle(CharacterStyle &style) const;
    inline void SetStyle(const CharacterStyle &style, uint32 position = 0, uint32 size = kSize_End);
    inline void RemoveStyle(const CharacterStyle &style);
    inline void ResetAllStyleBuffers();
    inline bool operator==(const Text &that) const;
    inline bool operator!=(const Text &that) const;
    inline bool operator<(const Text &that) const;
    inline bool operator<=(const Text &that) const;
    inline bool operator>(const Text &that) const;
    inline bool operator>=(const Text &that) const;
    inline void operator delete(void *obj);

private:
    Text();
    Text(const Text &source);
};

class TextUniquePtr : public std::unique_ptr<Text> {
    typedef TextUniquePtr UpCaster;

public:
    inline TextUniquePtr();
};
}  // namespace fmx

extern "C" {
FMX_API fmx::Text *FM_Text_Constructor1(fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::uint32 FM_Text_GetSize(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_Assign(void *_self, const char *s, fmx::int32 encoding, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_AssignWithLength(void *_self, const char *s, fmx::uint32 strlength, fmx::int32 encoding,
                                      fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_AssignWide(void *_self, const wchar_t *s, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_AssignWideWithLength(void *_self, const wchar_t *s, fmx::uint32 strlength,
                                          fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_AssignUnicode(void *_self, const fmx::uint16 *s, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_AssignUnicodeWithLength(void *_self, const fmx::uint16 *s, fmx::uint32 strlength,
                                             fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_GetBytes(const void *_self, char *buffer, fmx::uint32 buffersize, fmx::uint32 position,
                              fmx::uint32 size, fmx::int32 encoding, fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::uint32 FM_Text_GetBytesEx(const void *_self, char *buffer, fmx::uint32 buffersize, fmx::uint32 position,
                                       fmx::uint32 size, fmx::int32 encoding, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_GetUnicode(const void *_self, fmx::uint16 *s, fmx::uint32 position, fmx::uint32 size,
                                fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_SetText(void *_self, const fmx::Text &other, fmx::uint32 position, fmx::uint32 size,
                             fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_AppendText(void *_self, const fmx::Text &other, fmx::uint32 position, fmx::uint32 size,
                                fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_InsertText(void *_self, const fmx::Text &other, fmx::uint32 position, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_DeleteText(void *_self, fmx::uint32 positionToDelete, fmx::uint32 sizeToDelete,
                                fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::uint32 FM_Text_Find(const void *_self, const fmx::Text &other, fmx::uint32 position,
                                 fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::uint32 FM_Text_FindPrev(const void *_self, const fmx::Text &other, fmx::uint32 position,
                                     fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::uint32 FM_Text_FindIgnoringCase(const void *_self, const fmx::Text &other, fmx::uint32 position,
                                             fmx::_fmxcpt &_x) noexcept;
FMX_API fmx::uint32 FM_Text_FindPrevIgnoringCase(const void *_self, const fmx::Text &other, fmx::uint32 position,
                                                 fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_Uppercase(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_Lowercase(const void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_GetStyle(const void *_self, fmx::CharacterStyle &style, fmx::uint32 position,
                              fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_GetDefaultStyle(const void *_self, fmx::CharacterStyle &style, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_SetStyle(void *_self, const fmx::CharacterStyle &style, fmx::uint32 position, fmx::uint32 size,
                              fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_RemoveStyle(void *_self, const fmx::CharacterStyle &style, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_ResetAllStyleBuffers(void *_self, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_Text_operatorEQ(const void *_self, const fmx::Text &that, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_Text_operatorNE(const void *_self, const fmx::Text &that, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_Text_operatorLT(const void *_self, const fmx::Text &that, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_Text_operatorLE(const void *_self, const fmx::Text &that, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_Text_operatorGT(const void *_self, const fmx::Text &that, fmx::_fmxcpt &_x) noexcept;
FMX_API bool FM_Text_operatorGE(const void *_self, const fmx::Text &that, fmx::_fmxcpt &_x) noexcept;
FMX_API void FM_Text_Delete(void *_self, fmx::_fmxcpt &_x) noexcept;
}

namespace fmx {
using fmx_call::Call;
inline TextUniquePtr::TextUniquePtr() { reset(Call(FM_Text_Constructor1)); }
inline uint32 Text::GetSize() const { return Call(FM_Text_GetSize, this); }
inline void Text::Assign(const char *s, Encoding encoding) { Call(FM_Text_Assign, this, s, int32(encoding)); }
inline void Text::AssignWithLength(const char *s, uint32 strlength, Encoding encoding) {
    Call(FM_Text_AssignWithLength, this, s, strlength, int32(encoding));
}
inline void Text::AssignWide(const wchar_t *s) { Call(FM_Text_AssignWide, this, s); }
inline void Text::AssignWideWithLength(const wchar_t *s, uint32 strlength) {
    Call(FM_Text_AssignWideWithLength, this, s, strlength);
}
inline void Text::AssignUnicode(const uint16 *s) { Call(FM_Text_AssignUnicode, this, s); }
inline void Text::AssignUnicodeWithLength(const uint16 *s, uint32 strlength) {
    Call(FM_Text_AssignUnicodeWithLength, this, s, strlength);
}
inline void Text::GetBytes(char *buffer, uint32 buffersize, uint32 position, uint32 size, Encoding encoding) const {
    Call(FM_Text_GetBytes, this, buffer, buffersize, position, size, int32(encoding));
}
inline uint32 Text::GetBytesEx(char *buffer, uint32 buffersize, uint32 position, uint32 size,
                               Encoding encoding) const {
    return Call(FM_Text_GetBytesEx, this, buffer, buffersize, position, size, int32(encoding));
}
inline void Text::GetUnicode(uint16 *s, uint32 position, uint32 size) const {
    Call(FM_Text_GetUnicode, this, s, position, size);
}
inline void Text::SetText(const Text &other, uint32 position, uint32 size) {
    Call(FM_Text_SetText, this, other, position, size);
}
inline void Text::AppendText(const Text &other, uint32 position, uint32 size) {
    Call(FM_Text_AppendText, this, other, position, size);
}
inline void Text::InsertText(const Text &other, uint32 position) { Call(FM_Text_InsertText, this, other, position); }
inline void Text::DeleteText(uint32 positionToDelete, uint32 sizeToDelete) {
    Call(FM_Text_DeleteText, this, positionToDelete, sizeToDelete);
}
inline uint32 Text::Find(const Text &other, uint32 position) const { return Call(FM_Text_Find, this, other, position); }
inline uint32 Text::FindPrev(const Text &other, uint32 position) const {
    return Call(FM_Text_FindPrev, this, other, position);
}
inline uint32 Text::FindIgnoringCase(const Text &other, uint32 position) const {
    return Call(FM_Text_FindIgnoringCase, this, other, position);
}
inline uint32 Text::FindPrevIgnoringCase(const Text &other, uint32 position) const {
    return Call(FM_Text_FindPrevIgnoringCase, this, other, position);
}
inline void Text::Uppercase() const { Call(FM_Text_Uppercase, this); }
inline void Text::Lowercase() const { Call(FM_Text_Lowercase, this); }
inline void Text::GetStyle(CharacterStyle &style, uint32 position) const {
    Call(FM_Text_GetStyle, this, style, position);
}
inline void Text::GetDefaultStyle(CharacterStyle &style) const { Call(FM_Text_GetDefaultStyle, this, style); }
inline void Text::SetStyle(const CharacterStyle &style, uint32 position, uint32 size) {
    Call(FM_Text_SetStyle, this, style, position, size);
}
inline void Text::RemoveStyle(const CharacterStyle &style) { Call(FM_Text_RemoveStyle, this, style); }
inline void Text::ResetAllStyleBuffers() { Call(FM_Text_ResetAllStyleBuffers, this); }
inline bool Text::operator==(const Text &that) const { return Call(FM_Text_operatorEQ, this, that); }
inline bool Text::operator!=(const Text &that) const { return Call(FM_Text_operatorNE, this, that); }
inline bool Text::operator<(const Text &that) const { return Call(FM_Text_operatorLT, this, that); }
inline bool Text::operator<=(const Text &that) const { return Call(FM_Text_operatorLE, this, that); }
inline bool Text::operator>(const Text &that) const { return Call(FM_Text_operatorGT, this, that); }
inline bool Text::operator>=(const Text &that) const { return Call(FM_Text_operatorGE, this, that); }
inline void Text::operator delete(void *obj) { Call(FM_Text_Delete, obj); }
}  // namespace fmx

#endif
