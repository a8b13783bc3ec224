// Text to and from the host's data objects, shared by the tests and the benchmarks (so without
// gtest).
#ifndef ZERB_TESTS_HOST_TEXT_UTIL_H
#define ZERB_TESTS_HOST_TEXT_UTIL_H

#include <string>

#include "host/host_api.h"
#include "host/objects.h"
#include "fmx/fmx.h"

namespace zerbtest {

inline fmx::DataUniquePtr TextData(const std::string &utf8) {
    fmx::DataUniquePtr d;
    fmx::TextUniquePtr t;
    t->Assign(utf8.c_str(), fmx::Text::kEncoding_UTF8);
    fmx::LocaleUniquePtr locale;
    d->SetAsText(*t, *locale);
    return d;
}

inline std::string TextOf(const fmx::Data &d) {
    const fmx::Text &t = d.GetAsText();
    std::u16string s(t.GetSize(), u'\0');
    if (!s.empty()) t.GetUnicode(reinterpret_cast<fmx::uint16 *>(s.data()), 0, fmx::uint32(s.size()));
    return zhost::ToUtf8(s);
}

}  // namespace zerbtest

#endif
