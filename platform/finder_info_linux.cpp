#include "platform/finder_info.h"

#include <cstring>

#include "platform/file_attributes.h"

long Zb7_PlatformGetFinderInfo(const std::string &path, ZbFinderInfo &info) {
    info = {};
    std::string value;
    bool found = false;
    if (const long err = Zb7_PlatformReadAttribute(path, kZbFinderInfoAttribute, value, found)) return err;
    if (found && value.size() == info.bytes.size()) std::memcpy(info.bytes.data(), value.data(), value.size());
    return 0;
}

long Zb7_PlatformSetFinderInfo(const std::string &path, const ZbFinderInfo &info) {
    return Zb7_PlatformWriteAttribute(
        path, kZbFinderInfoAttribute,
        std::string_view(reinterpret_cast<const char *>(info.bytes.data()), info.bytes.size()));
}

long Zb7_PlatformSetTypeAndCreator(const std::string &path, uint32_t type, uint32_t creator) {
    ZbFinderInfo info;
    if (const long err = Zb7_PlatformGetFinderInfo(path, info)) return err;
    info.SetType(type);
    info.SetCreator(creator);
    return Zb7_PlatformSetFinderInfo(path, info);
}
