// Four-character codes (file types, creators, folder kinds), as one number.
#ifndef ZERB_PLATFORM_FOUR_CHAR_CODE_H
#define ZERB_PLATFORM_FOUR_CHAR_CODE_H

#include <cstdint>

// Four-character code with the first character in the high byte.
constexpr uint32_t ZbFourCharCode(const char (&c)[5]) {
    return uint32_t(uint8_t(c[0])) << 24 | uint32_t(uint8_t(c[1])) << 16 | uint32_t(uint8_t(c[2])) << 8 |
           uint32_t(uint8_t(c[3]));
}

#endif
