// fmx::Text, CharacterStyle, QuadChar and Locale on the host side.
//
// A Text is a UTF-16 string; positions and sizes count UTF-16 units and every range is clamped to
// the text. Styles are not kept: the emulator's texts are all plain.
#include <algorithm>
#include <clocale>
#include <cwctype>
#include <functional>
#include <locale.h>
#include <stdexcept>
#include <string>
#include <wctype.h>

#include "FMWrapper/FMXText.h"
#include "FMWrapper/FMXTextStyle.h"
#include "FMWrapper/FMXTypes.h"
#include "host/objects.h"

using namespace zhost;

namespace {

constexpr fmx::uint32 kNotFound = 0xFFFFFFFF;
// Largest text a uint32 size can describe without colliding with kSize_Invalid.
constexpr std::size_t kMaxTextSize = 0xFFFFFFFE;

std::u16string &Str(void *self) { return Self<TextObj>(self).s; }
const std::u16string &Str(const void *self) { return Self<TextObj>(self).s; }
const std::u16string &Str(const fmx::Text &t) { return Of<TextObj>(t).s; }

struct Range {
    std::size_t start, count;
};

Range Clamp(std::size_t length, fmx::uint32 position, fmx::uint32 size) {
    std::size_t start = std::min<std::size_t>(position, length);
    return {start, std::min<std::size_t>(size, length - start)};
}

std::u16string_view Slice(const std::u16string &s, fmx::uint32 position, fmx::uint32 size) {
    Range r = Clamp(s.size(), position, size);
    return std::u16string_view(s).substr(r.start, r.count);
}

void CheckGrowth(std::size_t current, std::size_t added) {
    if (added > kMaxTextSize - std::min(current, kMaxTextSize)) throw std::length_error("text too long");
}

template <typename T>
void RequirePointer(const T *p) {
    if (!p) throw std::invalid_argument("null pointer");
}

// ---- Case mapping ----

// The C.UTF-8 locale, whose LC_CTYPE carries the Unicode simple case mappings. If the system
// lacks it, case mapping falls back to the C locale (ASCII only).
class CaseLocale {
public:
    CaseLocale() : loc_(newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t(0))) {
        if (!loc_) loc_ = newlocale(LC_CTYPE_MASK, "C", locale_t(0));
    }
    ~CaseLocale() {
        if (loc_) freelocale(loc_);
    }
    CaseLocale(const CaseLocale &) = delete;
    CaseLocale &operator=(const CaseLocale &) = delete;
    locale_t get() const { return loc_; }

private:
    locale_t loc_;
};

locale_t CaseLoc() {
    static const CaseLocale loc;
    return loc.get();
}

// Maps every code point of s in place. Surrogate pairs are mapped as one code point; a mapping
// that would change the number of UTF-16 units is not applied, so positions stay valid.
template <typename Map>
void MapCase(std::u16string &s, Map map) {
    locale_t loc = CaseLoc();
    for (std::size_t i = 0; i < s.size(); ++i) {
        char16_t u = s[i];
        if (u < 0x80) {
            s[i] = char16_t(map(wint_t(u), loc));
        } else if (u >= 0xD800 && u <= 0xDBFF && i + 1 < s.size() && s[i + 1] >= 0xDC00 && s[i + 1] <= 0xDFFF) {
            char32_t c = 0x10000 + ((char32_t(u) - 0xD800) << 10) + (s[i + 1] - 0xDC00);
            wint_t m = map(wint_t(c), loc);
            if (m >= 0x10000 && m <= 0x10FFFF) {
                s[i] = char16_t(0xD800 + ((m - 0x10000) >> 10));
                s[i + 1] = char16_t(0xDC00 + ((m - 0x10000) & 0x3FF));
            }
            ++i;
        } else if (u < 0xD800 || u > 0xDFFF) {
            wint_t m = map(wint_t(u), loc);
            if (m < 0x10000 && (m < 0xD800 || m > 0xDFFF)) s[i] = char16_t(m);
        }
    }
}

std::u16string Folded(std::u16string_view s) {
    std::u16string f(s);
    MapCase(f, [](wint_t c, locale_t l) { return towlower_l(c, l); });
    return f;
}

// ---- Searching ----

constexpr std::size_t kSearcherMinPattern = 4;  // shorter patterns: plain find is faster

std::size_t FindForward(std::u16string_view hay, std::u16string_view pat, std::size_t from) {
    if (from > hay.size() || pat.size() > hay.size() - from) return std::u16string_view::npos;
    if (pat.size() < kSearcherMinPattern) return hay.find(pat, from);
    auto it = std::search(hay.begin() + from, hay.end(),
                          std::boyer_moore_horspool_searcher(pat.begin(), pat.end()));
    return it == hay.end() ? std::u16string_view::npos : std::size_t(it - hay.begin());
}

// Last occurrence starting at or before `from`.
std::size_t FindBackward(std::u16string_view hay, std::u16string_view pat, std::size_t from) {
    if (pat.size() > hay.size()) return std::u16string_view::npos;
    from = std::min(from, hay.size() - pat.size());
    if (pat.size() < kSearcherMinPattern) return hay.rfind(pat, from);
    // Search the reversed window for the reversed pattern.
    std::u16string_view window = hay.substr(0, from + pat.size());
    auto it = std::search(window.rbegin(), window.rend(),
                          std::boyer_moore_horspool_searcher(pat.rbegin(), pat.rend()));
    if (it == window.rend()) return std::u16string_view::npos;
    return window.size() - std::size_t(it - window.rbegin()) - pat.size();
}

fmx::uint32 Result(std::size_t pos) { return pos == std::u16string_view::npos ? kNotFound : fmx::uint32(pos); }

// An empty pattern is found at the position itself while that lies within the text or at its end.
fmx::uint32 Find(const void *self, const fmx::Text &other, fmx::uint32 position, bool backward, bool ignoreCase) {
    const std::u16string &hay = Str(self);
    const std::u16string &pat = Str(other);
    if (pat.empty()) return position <= hay.size() ? position : kNotFound;
    if (!ignoreCase)
        return Result(backward ? FindBackward(hay, pat, position) : FindForward(hay, pat, position));
    // Case folding keeps every character's length, so positions carry over. The text is folded in
    // windows that double in size as the search moves on, overlapping by the pattern's length, so
    // a search costs time in proportion to the distance it covers, as a host's own does.
    const std::u16string fp = Folded(pat);
    const std::u16string_view text = hay;
    const auto isLow = [&](std::size_t i) { return i < text.size() && text[i] >= 0xDC00 && text[i] <= 0xDFFF; };
    std::size_t window = std::max<std::size_t>(64, pat.size() * 4);
    if (backward) {
        std::size_t end = std::min<std::size_t>(text.size(), std::size_t(position) + pat.size());
        for (;;) {
            std::size_t begin = end > window ? end - window : 0;
            if (begin > 0 && isLow(begin)) --begin;  // keep a surrogate pair together
            const std::u16string folded = Folded(text.substr(begin, end - begin));
            const std::size_t found = FindBackward(folded, fp, std::size_t(position) - std::min<std::size_t>(position, begin));
            if (found != std::u16string_view::npos && begin + found <= position) return Result(begin + found);
            if (begin == 0) return kNotFound;
            end = std::min(end, begin + pat.size() - 1);
            window *= 2;
        }
    }
    for (std::size_t begin = position; begin < text.size(); window *= 2) {
        std::size_t end = std::min(text.size(), begin + window);
        if (isLow(end)) ++end;
        const std::size_t found = FindForward(Folded(text.substr(begin, end - begin)), fp, 0);
        if (found != std::u16string_view::npos) return Result(begin + found);
        if (end == text.size()) break;
        begin = end - std::min(end - begin, pat.size() - 1);
        if (isLow(begin)) --begin;
    }
    return kNotFound;
}

// ---- Character styles ----

bool SameStyle(const CharacterStyleObj &a, const CharacterStyleObj &b) {
    if (a.fontOn != b.fontOn || a.faceOn != b.faceOn || a.sizeOn != b.sizeOn || a.colorOn != b.colorOn) return false;
    if (a.fontOn && a.font != b.font) return false;
    if (a.faceOn && a.face != b.face) return false;
    if (a.sizeOn && a.size != b.size) return false;
    if (a.colorOn && (a.r != b.r || a.g != b.g || a.b != b.b || a.a != b.a)) return false;
    return true;
}

unsigned char QuadAt(const QuadCharObj &q, int i) {
    if (i < 0 || i > 3) throw std::out_of_range("QuadChar index");
    return q.c[i];
}

// UTF-32 to UTF-16. Values that are UTF-16 surrogates are kept as they are (so UTF-16 passed in
// wide characters survives); values above U+10FFFF become U+FFFD.
void AssignWide(void *self, const wchar_t *s, std::size_t length) {
    std::u16string out;
    out.reserve(length);
    for (std::size_t i = 0; i < length; ++i) {
        auto c = static_cast<char32_t>(s[i]);
        if (c < 0x10000) {
            out.push_back(char16_t(c));
        } else if (c <= 0x10FFFF) {
            out.push_back(char16_t(0xD800 + ((c - 0x10000) >> 10)));
            out.push_back(char16_t(0xDC00 + ((c - 0x10000) & 0x3FF)));
        } else {
            out.push_back(u'\uFFFD');
        }
    }
    Str(self) = std::move(out);
}

}  // namespace

extern "C" {

// ---- Text ----

FMX_API fmx::Text *FM_Text_Constructor1(fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return As<fmx::Text>(new TextObj); });
}

FMX_API fmx::uint32 FM_Text_GetSize(const void *_self, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return fmx::uint32(Str(_self).size()); });
}

FMX_API void FM_Text_Assign(void *_self, const char *s, fmx::int32 encoding, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        RequirePointer(s);
        Str(_self) = DecodeBytes(std::string_view(s), encoding);
    });
}

FMX_API void FM_Text_AssignWithLength(void *_self, const char *s, fmx::uint32 strlength, fmx::int32 encoding,
                                      fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        if (strlength) RequirePointer(s);
        Str(_self) = DecodeBytes(std::string_view(s, strlength), encoding);
    });
}

FMX_API void FM_Text_AssignWide(void *_self, const wchar_t *s, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        RequirePointer(s);
        AssignWide(_self, s, std::char_traits<wchar_t>::length(s));
    });
}

FMX_API void FM_Text_AssignWideWithLength(void *_self, const wchar_t *s, fmx::uint32 strlength,
                                          fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        if (strlength) RequirePointer(s);
        AssignWide(_self, s, strlength);
    });
}

FMX_API void FM_Text_AssignUnicode(void *_self, const fmx::uint16 *s, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        RequirePointer(s);
        std::size_t n = 0;
        while (s[n]) ++n;
        Str(_self).assign(reinterpret_cast<const char16_t *>(s), n);
    });
}

FMX_API void FM_Text_AssignUnicodeWithLength(void *_self, const fmx::uint16 *s, fmx::uint32 strlength,
                                             fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        if (strlength) RequirePointer(s);
        Str(_self).assign(reinterpret_cast<const char16_t *>(s), strlength);
    });
}

FMX_API void FM_Text_GetBytes(const void *_self, char *buffer, fmx::uint32 buffersize, fmx::uint32 position,
                              fmx::uint32 size, fmx::int32 encoding, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        if (buffersize == 0) return;
        RequirePointer(buffer);
        std::size_t n = EncodeTextInto(Slice(Str(_self), position, size), encoding, buffer, buffersize - 1);
        buffer[n] = '\0';
    });
}

FMX_API fmx::uint32 FM_Text_GetBytesEx(const void *_self, char *buffer, fmx::uint32 buffersize, fmx::uint32 position,
                                       fmx::uint32 size, fmx::int32 encoding, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&]() -> fmx::uint32 {
        if (buffersize == 0) return 0;
        RequirePointer(buffer);
        return fmx::uint32(EncodeTextInto(Slice(Str(_self), position, size), encoding, buffer, buffersize));
    });
}

FMX_API void FM_Text_GetUnicode(const void *_self, fmx::uint16 *s, fmx::uint32 position, fmx::uint32 size,
                                fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        std::u16string_view range = Slice(Str(_self), position, size);
        if (range.empty()) return;
        RequirePointer(s);
        range.copy(reinterpret_cast<char16_t *>(s), range.size());
    });
}

FMX_API void FM_Text_SetText(void *_self, const fmx::Text &other, fmx::uint32 position, fmx::uint32 size,
                             fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        std::u16string_view range = Slice(Str(other), position, size);
        Str(_self) = std::u16string(range);  // a copy first: other may be this text
    });
}

FMX_API void FM_Text_AppendText(void *_self, const fmx::Text &other, fmx::uint32 position, fmx::uint32 size,
                                fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        std::u16string &s = Str(_self);
        std::u16string_view range = Slice(Str(other), position, size);
        CheckGrowth(s.size(), range.size());
        if (&Str(other) == &s) s.append(std::u16string(range));
        else s.append(range);
    });
}

FMX_API void FM_Text_InsertText(void *_self, const fmx::Text &other, fmx::uint32 position,
                                fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        std::u16string &s = Str(_self);
        const std::u16string &o = Str(other);
        CheckGrowth(s.size(), o.size());
        std::size_t at = std::min<std::size_t>(position, s.size());
        if (&o == &s) s.insert(at, std::u16string(o));
        else s.insert(at, o);
    });
}

FMX_API void FM_Text_DeleteText(void *_self, fmx::uint32 positionToDelete, fmx::uint32 sizeToDelete,
                                fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        std::u16string &s = Str(_self);
        Range r = Clamp(s.size(), positionToDelete, sizeToDelete);
        s.erase(r.start, r.count);
    });
}

FMX_API fmx::uint32 FM_Text_Find(const void *_self, const fmx::Text &other, fmx::uint32 position,
                                 fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return Find(_self, other, position, false, false); });
}

FMX_API fmx::uint32 FM_Text_FindPrev(const void *_self, const fmx::Text &other, fmx::uint32 position,
                                     fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return Find(_self, other, position, true, false); });
}

FMX_API fmx::uint32 FM_Text_FindIgnoringCase(const void *_self, const fmx::Text &other, fmx::uint32 position,
                                             fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return Find(_self, other, position, false, true); });
}

FMX_API fmx::uint32 FM_Text_FindPrevIgnoringCase(const void *_self, const fmx::Text &other, fmx::uint32 position,
                                                 fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return Find(_self, other, position, true, true); });
}

// The host changes the text although the wrapper method is const.
FMX_API void FM_Text_Uppercase(const void *_self, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        MapCase(Str(const_cast<void *>(_self)), [](wint_t c, locale_t l) { return towupper_l(c, l); });
    });
}

FMX_API void FM_Text_Lowercase(const void *_self, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] {
        MapCase(Str(const_cast<void *>(_self)), [](wint_t c, locale_t l) { return towlower_l(c, l); });
    });
}

FMX_API void FM_Text_GetStyle(const void *, fmx::CharacterStyle &style, fmx::uint32, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] { Of<CharacterStyleObj>(style) = CharacterStyleObj{}; });
}

FMX_API void FM_Text_GetDefaultStyle(const void *, fmx::CharacterStyle &style, fmx::_fmxcpt &_x) noexcept {
    Guard(_x.m_code, [&] { Of<CharacterStyleObj>(style) = CharacterStyleObj{}; });
}

FMX_API void FM_Text_SetStyle(void *, const fmx::CharacterStyle &, fmx::uint32, fmx::uint32, fmx::_fmxcpt &) noexcept {}

FMX_API void FM_Text_RemoveStyle(void *, const fmx::CharacterStyle &, fmx::_fmxcpt &) noexcept {}

FMX_API void FM_Text_ResetAllStyleBuffers(void *, fmx::_fmxcpt &) noexcept {}

FMX_API bool FM_Text_operatorEQ(const void *_self, const fmx::Text &that, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return Str(_self) == Str(that); });
}

FMX_API bool FM_Text_operatorNE(const void *_self, const fmx::Text &that, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return Str(_self) != Str(that); });
}

FMX_API bool FM_Text_operatorLT(const void *_self, const fmx::Text &that, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return Str(_self) < Str(that); });
}

FMX_API bool FM_Text_operatorLE(const void *_self, const fmx::Text &that, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return Str(_self) <= Str(that); });
}

FMX_API bool FM_Text_operatorGT(const void *_self, const fmx::Text &that, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return Str(_self) > Str(that); });
}

FMX_API bool FM_Text_operatorGE(const void *_self, const fmx::Text &that, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return Str(_self) >= Str(that); });
}

FMX_API void FM_Text_Delete(void *_self, fmx::_fmxcpt &) noexcept { delete static_cast<TextObj *>(_self); }

// ---- CharacterStyle ----

FMX_API fmx::CharacterStyle *FM_CharacterStyle_Constructor1(fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return As<fmx::CharacterStyle>(new CharacterStyleObj); });
}

FMX_API fmx::CharacterStyle *FM_CharacterStyle_Constructor3(const fmx::CharacterStyle &style,
                                                           fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code,
                 [&] { return As<fmx::CharacterStyle>(new CharacterStyleObj(Of<CharacterStyleObj>(style))); });
}

FMX_API void FM_CharacterStyle_DisableAll(void *_self, fmx::_fmxcpt &) noexcept {
    auto &st = Self<CharacterStyleObj>(_self);
    st.fontOn = st.faceOn = st.sizeOn = st.colorOn = false;
}

FMX_API bool FM_CharacterStyle_IsAllDisabled(const void *_self, fmx::_fmxcpt &) noexcept {
    const auto &st = Self<CharacterStyleObj>(_self);
    return !(st.fontOn || st.faceOn || st.sizeOn || st.colorOn);
}

// Equal when the same elements are enabled with the same values; disabled elements do not count.
FMX_API bool FM_CharacterStyle_operatorEQ(const void *_self, const fmx::CharacterStyle &rhs,
                                          fmx::_fmxcpt &) noexcept {
    return SameStyle(Self<CharacterStyleObj>(_self), Of<CharacterStyleObj>(rhs));
}

FMX_API void FM_CharacterStyle_Delete(void *_self, fmx::_fmxcpt &) noexcept {
    delete static_cast<CharacterStyleObj *>(_self);
}

// ---- QuadChar ----

FMX_API fmx::QuadChar *FM_QuadChar_Constructor1(fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return As<fmx::QuadChar>(new QuadCharObj); });
}

FMX_API fmx::QuadChar *FM_QuadChar_Constructor2(char c0, char c1, char c2, char c3, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] {
        auto *q = new QuadCharObj;
        q->c[0] = static_cast<unsigned char>(c0);
        q->c[1] = static_cast<unsigned char>(c1);
        q->c[2] = static_cast<unsigned char>(c2);
        q->c[3] = static_cast<unsigned char>(c3);
        return As<fmx::QuadChar>(q);
    });
}

FMX_API fmx::QuadChar *FM_QuadChar_Constructor3(const fmx::QuadChar &value, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return As<fmx::QuadChar>(new QuadCharObj(Of<QuadCharObj>(value))); });
}

FMX_API const fmx::QuadChar *FM_QuadChar_operatorAS(void *_self, const fmx::QuadChar &value,
                                                    fmx::_fmxcpt &) noexcept {
    auto &q = Self<QuadCharObj>(_self);
    q = Of<QuadCharObj>(value);
    return As<fmx::QuadChar>(&q);
}

FMX_API fmx::uchar FM_QuadChar_operatorAR(void *_self, int i, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return fmx::uchar(QuadAt(Self<QuadCharObj>(_self), i)); });
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wignored-qualifiers"  // const as the host declares it
FMX_API const fmx::uchar FM_QuadChar_operatorCAR(const void *_self, int i, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return fmx::uchar(QuadAt(Self<QuadCharObj>(_self), i)); });
}
#pragma GCC diagnostic pop

FMX_API bool FM_QuadChar_operatorEQ(const void *_self, const fmx::QuadChar &value, fmx::_fmxcpt &) noexcept {
    const auto &a = Self<QuadCharObj>(_self);
    const auto &b = Of<QuadCharObj>(value);
    return std::equal(a.c, a.c + 4, b.c);
}

FMX_API bool FM_QuadChar_operatorNE(const void *_self, const fmx::QuadChar &value, fmx::_fmxcpt &_x) noexcept {
    return !FM_QuadChar_operatorEQ(_self, value, _x);
}

// Character 0 is the high byte, as in a Mac OSType: 'TEXT' is 0x54455854.
FMX_API fmx::uint32 FM_QuadChar_GetMacType(const void *_self, fmx::_fmxcpt &) noexcept {
    const auto &q = Self<QuadCharObj>(_self);
    return fmx::uint32(q.c[0]) << 24 | fmx::uint32(q.c[1]) << 16 | fmx::uint32(q.c[2]) << 8 | fmx::uint32(q.c[3]);
}

FMX_API void FM_QuadChar_SetMacType(void *_self, fmx::uint32 value, fmx::_fmxcpt &) noexcept {
    auto &q = Self<QuadCharObj>(_self);
    for (int i = 0; i < 4; ++i) q.c[i] = static_cast<unsigned char>(value >> (24 - 8 * i));
}

FMX_API void FM_QuadChar_Delete(void *_self, fmx::_fmxcpt &) noexcept { delete static_cast<QuadCharObj *>(_self); }

// ---- Locale ----

FMX_API fmx::Locale *FM_Locale_Constructor1(fmx::int32 inputType, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] {
        auto *l = new LocaleObj;
        l->type = inputType;
        return As<fmx::Locale>(l);
    });
}

FMX_API fmx::Locale *FM_Locale_Constructor2(const fmx::Locale &copyConstruct, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return As<fmx::Locale>(new LocaleObj(Of<LocaleObj>(copyConstruct))); });
}

FMX_API fmx::Locale *FM_Locale_operatorAS(void *_self, const fmx::Locale &rhs, fmx::_fmxcpt &) noexcept {
    auto &l = Self<LocaleObj>(_self);
    l = Of<LocaleObj>(rhs);
    return As<fmx::Locale>(&l);
}

FMX_API void FM_Locale_Delete(void *_self, fmx::_fmxcpt &) noexcept { delete static_cast<LocaleObj *>(_self); }

}  // extern "C"
