// Numbers of two to four bytes as file formats store them: big-endian (JPEG, PNG, IPTC, Photoshop
// resources), little-endian (WebP), or in the order TIFF data names in its header.
#ifndef ZERB_IMAGE_BYTE_ORDER_H
#define ZERB_IMAGE_BYTE_ORDER_H

#include <cstdint>

inline uint16_t ZbBE16(const uint8_t *p) { return uint16_t(p[0] << 8 | p[1]); }
inline uint32_t ZbBE32(const uint8_t *p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}
inline uint16_t ZbLE16(const uint8_t *p) { return uint16_t(p[1] << 8 | p[0]); }
inline uint32_t ZbLE24(const uint8_t *p) { return uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0]; }
inline uint32_t ZbLE32(const uint8_t *p) { return uint32_t(p[3]) << 24 | ZbLE24(p); }

// TIFF data: "II" in its header says little-endian, "MM" big-endian.
inline uint16_t ZbU16(const uint8_t *p, bool littleEndian) { return littleEndian ? ZbLE16(p) : ZbBE16(p); }
inline uint32_t ZbU32(const uint8_t *p, bool littleEndian) { return littleEndian ? ZbLE32(p) : ZbBE32(p); }

#endif
