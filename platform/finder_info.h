// Finder information (type, creator, flags) kept in the extended attribute
// "user.com.apple.FinderInfo": 32 bytes in the original layout, type in bytes 0-3, creator in
// 4-7, flags in 8-9, all big-endian. The other bytes (location, reserved and extended Finder
// information) are kept as they are whenever the plug-in writes the attribute.
#ifndef ZERB_PLATFORM_FINDER_INFO_H
#define ZERB_PLATFORM_FINDER_INFO_H

#include <array>
#include <cstdint>
#include <string>

constexpr uint16_t kZbFinderFlagInvisible = 0x4000;
constexpr uint16_t kZbFinderFlagAlias = 0x8000;
constexpr uint16_t kZbFinderLabelMask = 0x000E;  // label number in bits 1-3

struct ZbFinderInfo {
    std::array<uint8_t, 32> bytes{};

    uint32_t Type() const { return Get32(0); }
    uint32_t Creator() const { return Get32(4); }
    uint16_t Flags() const { return uint16_t(bytes[8] << 8 | bytes[9]); }
    void SetType(uint32_t code) { Put32(0, code); }
    void SetCreator(uint32_t code) { Put32(4, code); }
    void SetFlags(uint16_t flags) {
        bytes[8] = uint8_t(flags >> 8);
        bytes[9] = uint8_t(flags);
    }

private:
    uint32_t Get32(int at) const {
        return uint32_t(bytes[at]) << 24 | uint32_t(bytes[at + 1]) << 16 | uint32_t(bytes[at + 2]) << 8 | bytes[at + 3];
    }
    void Put32(int at, uint32_t v) {
        for (int k = 0; k < 4; ++k) bytes[at + k] = uint8_t(v >> (24 - 8 * k));
    }
};

// The item's Finder information; all zero when it has none (or a value of another size), or the
// file system keeps no extended attributes. Errors only for an item that cannot be reached.
[[nodiscard]] long Zb7_PlatformGetFinderInfo(const std::string &path, ZbFinderInfo &info);
// Writes all 32 bytes. -1426 where the item cannot keep extended attributes.
[[nodiscard]] long Zb7_PlatformSetFinderInfo(const std::string &path, const ZbFinderInfo &info);

// Sets type and creator of the item at path, keeping the other bytes.
[[nodiscard]] long Zb7_PlatformSetTypeAndCreator(const std::string &path, uint32_t type, uint32_t creator);

#endif
