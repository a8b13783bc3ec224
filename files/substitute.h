// Substitute: every occurrence of a byte string in a file replaced by another, streamed in
// constant memory.
#ifndef ZERB_FILES_SUBSTITUTE_H
#define ZERB_FILES_SUBSTITUTE_H

#include <cstddef>
#include <string_view>

#include "platform/forks.h"

// The stream step: the source's bytes to the destination (at its start), every match of `search`
// written as `replacement`. Matching goes byte by byte: a byte that starts a match that then fails
// is written as it is and scanning goes on at the byte after it, unless the failed match ran into
// the next block, in which case the bytes between are not seen again; matches never overlap; at the
// end of the file a partial match is dropped, its first byte included. With ignoreCase the search
// (already lowered) matches the file's letters A to Z as lower case. replacingSource: the
// destination will take the source's place, so the source's cached pages may be given back as
// they are read. 0, or the error.
[[nodiscard]] long Zb7_Substitute(const ZbFork &source, const ZbFork &destination, std::string_view search,
                                  std::string_view replacement, bool ignoreCase, bool replacingSource = false);

#endif
