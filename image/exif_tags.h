// The names of EXIF tags (TIFF 6.0 and EXIF 2.32) and of IPTC datasets (IIM 4.2), for the answers
// that show metadata by name beside its number.
#ifndef ZERB_IMAGE_EXIF_TAGS_H
#define ZERB_IMAGE_EXIF_TAGS_H

#include <cstdint>

// The directories of EXIF data. IFD0, IFD1 and the Exif IFD share one tag space; the GPS and
// Interoperability IFDs each have their own.
enum class ZbExifIfd : uint8_t { ifd0, exif, gps, interop, ifd1 };

// The directory's name as answered: "IFD0", "Exif", "GPS", "Interoperability", "IFD1".
const char *Zb7_ExifIfdName(ZbExifIfd ifd);

// The tag's name in its directory's tag space, or nullptr for a tag the tables do not know.
const char *Zb7_ExifTagName(ZbExifIfd ifd, uint16_t tag);

// How an IPTC dataset's value is read.
enum class ZbIptcKind : uint8_t { text, number, binary };

struct ZbIptcDataset {
    const char *name;  // nullptr for a dataset the table does not know
    ZbIptcKind kind;   // text for an unknown dataset
};
ZbIptcDataset Zb7_IptcDataset(unsigned record, unsigned dataset);

#endif
