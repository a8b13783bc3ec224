// Error block passed to every host function, and the check that turns a host failure into a
// C++ exception inside the caller.
#ifndef _h_FMXClient_
#define _h_FMXClient_

#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "FMWrapper/FMXExtern.h"

namespace fmx {
struct _fmxcpt {
    enum { kNoErr = 0, kBadAlloc = 1, kUnknown = 2 };
    inline void Check();
    inline _fmxcpt() : m_vers(1), m_code(kNoErr) {}
    int32 m_vers;
    int32 m_code;
};

inline void _fmxcpt::Check() {
    switch (m_code) {
    case kNoErr:
        break;
    case kBadAlloc:
        throw std::bad_alloc();
    case kUnknown:
        throw std::exception();
    default:
        break;
    }
}

// Calls one host function with a fresh error block and checks the block afterwards; every inline
// wrapper method below goes through it.
namespace fmx_call {
template <typename F, typename... A>
inline decltype(auto) Call(F f, A &&...a) {
    _fmxcpt x;
    if constexpr (std::is_void_v<std::invoke_result_t<F, A..., _fmxcpt &>>) {
        f(std::forward<A>(a)..., x);
        x.Check();
    } else {
        auto r = f(std::forward<A>(a)..., x);
        x.Check();
        return r;
    }
}
}  // namespace fmx_call
}  // namespace fmx

#endif
