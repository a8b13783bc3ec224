// IPTC: the IIM stream of Photoshop image resources, walked dataset by dataset into the answer's
// "iptc" entries; and the decoding of 8-bit text that IPTC and PNG text use.
#ifndef ZERB_IMAGE_IPTC_WALK_H
#define ZERB_IMAGE_IPTC_WALK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "image/metadata_json.h"
#include "text/encoding.h"
#include "text/json.h"

// Text bytes in the encoding as UTF-8, through the host's conversion. Bytes that do not decode in
// the encoding are read as Latin-1, in which every byte is a character.
std::string Zb7_DecodeTextBytes(std::string_view bytes, ZbTextEncoding encoding);

// The IPTC-NAA resource (0x0404) of Photoshop image resources into iptc; false when there is none,
// with *malformed set when the resources could not be followed to their end.
bool Zb7_PhotoshopIptc(const std::vector<uint8_t> &resources, std::vector<uint8_t> &iptc, bool *malformed);

// The datasets of an IIM stream, an object each appended to `entries` (the open "iptc" array):
// numbers as numbers, text as UTF-8 (in options.encoding unless dataset 1:90 says UTF-8), anything
// else as hex. No entry is added once the answer (answerSoFar and the entries) passes
// maxAnswerBytes: *truncated then tells. *error is set for a stream that ends inside a dataset.
void Zb7_WriteIptcEntries(const std::vector<uint8_t> &stream, const ZbMetaJsonOptions &options, ZbJson &entries,
                          size_t answerSoFar, bool *truncated, long *error);

#endif
