// MetaDataJSON: everything MetaData reads from an image file (EXIF, IPTC, XMP, comments) and what
// its text format cannot carry (every IFD, every value of a tag, GPS in decimal degrees, the
// image's size), as one JSON object. JPEG, TIFF, PNG and WebP files.
#ifndef ZERB_IMAGE_METADATA_JSON_H
#define ZERB_IMAGE_METADATA_JSON_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/forks.h"
#include "text/encoding.h"
#include "text/json.h"

struct ZbMetaJsonOptions {
    // IPTC text of a file whose dataset 1:90 does not say UTF-8 ("-Encoding=", default Latin-1).
    ZbTextEncoding encoding = fmx::Text::kEncoding_ISO_8859_1;
    // The most bytes of one value answered ("-MaxValueBytes="); a longer value is cut and its
    // entry says "truncated": true.
    uint64_t maxValueBytes = 16u << 20;
    // The answer's size after which no further entry is added ("-MaxAnswerBytes="); the answer
    // then says "truncated": true.
    uint64_t maxAnswerBytes = 64u << 20;
};

// The answer for an image held in memory: 0 and the JSON object in `json`, or -71 when the bytes
// are not a JPEG, TIFF, PNG or WebP file (json is then unfinished).
[[nodiscard]] long Zb7_MetaDataJSONOfBytes(const uint8_t *data, size_t size, const ZbMetaJsonOptions &options,
                                           ZbJson &json);
// The same for an open file, read where needed (never whole): also the error of a failed read.
[[nodiscard]] long Zb7_MetaDataJSONOfFork(const ZbFork &fork, const ZbMetaJsonOptions &options, ZbJson &json);

#endif
