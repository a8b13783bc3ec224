// Resources in a resource fork (kept in an extended attribute on Linux, see fork_io.h): the
// original platform's resource file layout of a header, the resources' data and a map listing
// them by type and id.
#ifndef ZERB_FILECORE_RESOURCES_H
#define ZERB_FILECORE_RESOURCES_H

#include <cstdint>
#include <string>
#include <string_view>

#include "filecore/fsspec.h"

// The data of the index-th (from 1, in the map's order) resource of the type in a fork's bytes.
[[nodiscard]] long Zb7_FindResource(std::string_view fork, uint32_t type, int index, std::string_view &data);

// Reads the file's resource fork and copies out the index-th resource of the type.
[[nodiscard]] long Zb7_ResourceToHandle(const FSSpec &ref, uint32_t type, int index, std::string &bytes);

#endif
