// MetaDataJSON's reading of any file (JPEG, TIFF, PNG, WebP or anything else) from memory: it
// answers a JSON object that parses, or -71 for bytes of no kind it reads, never reading outside
// its input; the answer stays within its bound plus at most one entry.

#include "core/rapidjson.h"
#include "fuzz/fuzz_common.h"
#include "image/metadata_json.h"
#include "platform/errors.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > 70000) return 0;
    ZbMetaJsonOptions options;
    options.maxValueBytes = 4096;
    options.maxAnswerBytes = 256 * 1024;
    ZbJson json;
    const long err = Zb7_MetaDataJSONOfBytes(data, size, options, json);
    ZB_FUZZ_CHECK(err == 0 || err == kNotJPEGErr);
    if (err != 0) return 0;
    rapidjson::Document d;
    d.Parse(json.buffer.GetString(), json.buffer.GetSize());
    ZB_FUZZ_CHECK(!d.HasParseError() && d.IsObject() && d.HasMember("image"));
    // One entry (an array of 4096 one-byte numbers, or 4096 bytes as \u escapes) past the bound.
    ZB_FUZZ_CHECK(json.Size() <= options.maxAnswerBytes + 64 * options.maxValueBytes);
    return 0;
}
