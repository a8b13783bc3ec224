#include "filecore/resources.h"

#include "filecore/fork_io.h"
#include "platform/errors.h"

namespace {

uint32_t Get(std::string_view bytes, size_t at, int count) {
    uint32_t v = 0;
    for (int k = 0; k < count; ++k) v = v << 8 | uint8_t(bytes[at + k]);
    return v;
}

}  // namespace

long Zb7_FindResource(std::string_view fork, uint32_t type, int index, std::string_view &data) {
    if (fork.empty()) return kResNotFound;
    if (fork.size() < 16 || index < 1) return kMapReadErr;
    const uint64_t dataStart = Get(fork, 0, 4), mapStart = Get(fork, 4, 4), mapLength = Get(fork, 12, 4);
    if (mapStart + 30 > fork.size() || mapStart + mapLength > fork.size() || mapLength < 30) return kMapReadErr;
    const std::string_view map = fork.substr(mapStart, mapLength);
    const uint64_t typeList = Get(map, 24, 2);
    if (typeList + 2 > map.size()) return kMapReadErr;
    const uint32_t types = (Get(map, typeList, 2) + 1) & 0xFFFF;  // stored as count - 1
    for (uint32_t t = 0; t < types; ++t) {
        const uint64_t entry = typeList + 2 + uint64_t(t) * 8;
        if (entry + 8 > map.size()) return kMapReadErr;
        if (Get(map, entry, 4) != type) continue;
        const uint32_t count = Get(map, entry + 4, 2) + 1;
        if (uint32_t(index) > count) return kResNotFound;
        const uint64_t reference = typeList + Get(map, entry + 6, 2) + uint64_t(index - 1) * 12;
        if (reference + 12 > map.size()) return kMapReadErr;
        const uint64_t at = dataStart + (Get(map, reference + 4, 4) & 0xFFFFFF);
        if (at + 4 > fork.size()) return kMapReadErr;
        const uint64_t length = Get(fork, at, 4);
        if (length > fork.size() - at - 4) return kMapReadErr;
        data = fork.substr(at + 4, length);
        return 0;
    }
    return kResNotFound;
}

long Zb7_ResourceToHandle(const FSSpec &ref, uint32_t type, int index, std::string &bytes) {
    std::string fork;
    if (const long err = XP7_ReadResourceFork(ref, fork)) return err;
    std::string_view data;
    if (const long err = Zb7_FindResource(fork, type, index, data)) return err;
    bytes.assign(data);
    return 0;
}
