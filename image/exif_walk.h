// The walk of EXIF's TIFF directories: every entry of IFD0 and of the directories reached from it,
// each with its type, count and every value, and the facts the answer takes from particular tags.
#ifndef ZERB_IMAGE_EXIF_WALK_H
#define ZERB_IMAGE_EXIF_WALK_H

#include <cstdint>
#include <string>
#include <vector>

#include "image/metadata_containers.h"
#include "image/metadata_json.h"
#include "text/json.h"

// What the answer takes from particular tags besides listing them: the image's orientation and
// (for a TIFF file) size from IFD0, the position and time from the GPS IFD, and the IPTC, XMP and
// Photoshop data a TIFF file keeps in tags of IFD0.
struct ZbExifFacts {
    bool hasOrientation = false;
    uint64_t orientation = 0;
    bool hasWidth = false, hasHeight = false;
    uint64_t width = 0, height = 0;
    std::string latRef, lonRef, dateStamp;
    std::vector<double> lat, lon, time;  // degrees, minutes, seconds; hours, minutes, seconds
    bool hasAltitude = false, altitudeBelow = false;
    double altitude = 0;
    std::vector<uint8_t> iptc, xmp, photoshop;
    bool xmpTruncated = false;
};

struct ZbExifWalk {
    ZbExifFacts facts;
    bool truncated = false;  // the answer bound stopped the walk
    long error = 0;          // the first malformed directory (kBadExifErr)
};

// Walks the TIFF data in `tiff` from its header at offset 0, each entry an object appended to
// `entries` (the open "exif" array): IFD0, Exif, Interoperability, GPS, IFD1, each directory once.
// False for data that is not TIFF at all.
bool Zb7_WalkExif(ZbBoundedSource &tiff, const ZbMetaJsonOptions &options, ZbJson &entries, ZbExifWalk &walk);

// "gps": latitude and longitude in signed decimal degrees, the altitude in metres (negative below
// sea level) and the UTC time as ISO 8601, as far as the facts hold them; nothing when they hold
// none.
void Zb7_WriteExifGps(ZbJson &json, const ZbExifFacts &facts);

#endif
