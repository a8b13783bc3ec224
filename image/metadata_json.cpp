// ZbFile_MetaDataJSON: the answer put together from the parts the container walk found
// (image/metadata_containers.h), the EXIF walk (image/exif_walk.h) and the IPTC walk
// (image/iptc_walk.h), and the function's handler.
#include "image/metadata_json.h"

#include <algorithm>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "filecore/paths.h"
#include "image/exif_walk.h"
#include "image/iptc_walk.h"
#include "image/metadata_containers.h"
#include "platform/errors.h"

namespace {

std::string_view View(const std::vector<uint8_t> &v) {
    return {reinterpret_cast<const char *>(v.data()), v.size()};
}

// An array written on its own, as the answer's value of `key`.
void RawArray(ZbJson &json, const char *key, const ZbJson &array) {
    json.Key(key);
    json.out.RawValue(array.buffer.GetString(), array.buffer.GetSize(), rapidjson::kArrayType);
}

void WriteImage(ZbJson &json, const ZbMetaParts &parts, const ZbExifFacts &facts) {
    json.Key("image");
    json.BeginObject();
    json.TextField("format", parts.format);
    if (parts.hasSize) {
        json.UintField("width", parts.width);
        json.UintField("height", parts.height);
    }
    if (facts.hasOrientation) json.UintField("orientation", facts.orientation);
    json.EndObject();
}

// "iptc": a JPEG's Photoshop resources, or a TIFF's IPTC-NAA or Photoshop tag.
void WriteIptc(ZbJson &json, ZbMetaParts &parts, ZbExifFacts &facts, const ZbMetaJsonOptions &options,
               bool *truncated) {
    std::vector<uint8_t> iptc = std::move(facts.iptc);
    const std::vector<uint8_t> &resources = parts.photoshop.empty() ? facts.photoshop : parts.photoshop;
    if (iptc.empty() && !resources.empty()) {
        bool malformed = false;
        if (!Zb7_PhotoshopIptc(resources, iptc, &malformed) && malformed)
            parts.errors.push_back({"iptc", kZbErrBadPhotoshopBlock});
    }
    if (iptc.empty()) return;
    ZbJson entries;
    entries.BeginArray();
    long error = 0;
    Zb7_WriteIptcEntries(iptc, options, entries, json.Size(), truncated, &error);
    entries.EndArray();
    if (entries.Size() > 2) RawArray(json, "iptc", entries);
    if (error) parts.errors.push_back({"iptc", error});
}

// A JPEG's extended XMP put back together from its chunks: those of the GUID the main packet
// names, else of the first GUID met. False when the chunks do not make the whole extension.
bool ExtendedXmp(const ZbMetaParts &parts, const ZbMetaJsonOptions &options, std::string &whole) {
    const std::string_view packet = View(parts.xmp);
    auto chosen = parts.extendedXmp.begin();
    for (auto it = parts.extendedXmp.begin(); it != parts.extendedXmp.end(); ++it)
        if (packet.find(it->first) != std::string_view::npos) chosen = it;
    const auto &extension = chosen->second;
    if (extension.fullLength > options.maxValueBytes) return false;
    for (const auto &[offset, bytes] : extension.chunks) {
        if (offset != whole.size() || bytes.size() > extension.fullLength - whole.size()) return false;
        whole.append(reinterpret_cast<const char *>(bytes.data()), bytes.size());
    }
    return whole.size() == extension.fullLength;
}

// "xmp" (a TIFF file's from its XMP tag), "xmpTruncated" when the value bound cut it, and
// "xmpExtended".
void WriteXmp(ZbJson &json, ZbMetaParts &parts, ZbExifFacts &facts, const ZbMetaJsonOptions &options) {
    if (!parts.hasXmp && !facts.xmp.empty()) {
        parts.hasXmp = true;
        parts.xmp = std::move(facts.xmp);
        parts.xmpTruncated = facts.xmpTruncated;
    }
    if (parts.hasXmp) {
        json.TextField("xmp", View(parts.xmp));
        if (parts.xmpTruncated) json.TrueField("xmpTruncated");
    }
    if (parts.extendedXmp.empty()) return;
    std::string whole;
    if (ExtendedXmp(parts, options, whole))
        json.TextField("xmpExtended", whole);
    else
        parts.errors.push_back({"xmpExtended", kEofErr});
}

// "key": an array of the items, each written by `write`, as long as the answer stays within
// maxAnswerBytes; *truncated tells when it did not.
template <typename Item, typename Write>
void WriteBoundedArray(ZbJson &json, const char *key, const std::vector<Item> &items, const ZbMetaJsonOptions &options,
                       bool *truncated, Write write) {
    if (items.empty()) return;
    json.Key(key);
    json.BeginArray();
    for (const Item &item : items) {
        if (json.Size() > options.maxAnswerBytes) {
            *truncated = true;
            break;
        }
        write(item);
    }
    json.EndArray();
}

// "comments": a JPEG's comment segments, each cut to maxValueBytes.
void WriteComments(ZbJson &json, const ZbMetaParts &parts, const ZbMetaJsonOptions &options, bool *truncated) {
    WriteBoundedArray(json, "comments", parts.comments, options, truncated, [&](const std::vector<uint8_t> &c) {
        json.Text(View(c).substr(0, size_t(std::min<uint64_t>(c.size(), options.maxValueBytes))));
    });
}

std::string Latin1(std::string_view bytes) { return Zb7_DecodeTextBytes(bytes, fmx::Text::kEncoding_ISO_8859_1); }

// "text": PNG's text chunks.
void WritePngTexts(ZbJson &json, const ZbMetaParts &parts, const ZbMetaJsonOptions &options, bool *truncated) {
    WriteBoundedArray(json, "text", parts.texts, options, truncated, [&](const ZbPngText &t) {
        json.BeginObject();
        json.TextField("keyword", Latin1(t.keyword));
        if (!t.language.empty()) json.TextField("language", t.language);
        if (!t.translated.empty()) json.TextField("translatedKeyword", t.translated);
        if (t.compressed)
            json.TrueField("compressed");
        else
            json.TextField("value", t.utf8 ? t.value : Latin1(t.value));
        if (t.truncated) json.TrueField("truncated");
        json.EndObject();
    });
}

void WriteErrors(ZbJson &json, const std::vector<ZbMetaPartError> &errors) {
    if (errors.empty()) return;
    json.Key("errors");
    json.BeginArray();
    for (const ZbMetaPartError &e : errors) {
        json.BeginObject();
        json.TextField("part", e.part);
        json.Key("error");
        json.Int(e.error);
        json.TextField("message", Zb7_OSErrText(e.error));
        json.EndObject();
    }
    json.EndArray();
}

long Answer(ZbBoundedSource &src, const ZbMetaJsonOptions &options, ZbJson &json) {
    ZbMetaParts parts;
    if (const long err = Zb7_FindMetaParts(src, options, parts)) return err;

    // EXIF first, into an array of its own: what it says about the image goes before it.
    ZbJson exif;
    bool hasExif = false;
    ZbExifWalk walk;
    if (parts.exifIsFile || !parts.exif.empty()) {
        ZbBoundedSource memory;
        memory.memory = parts.exif.data();
        memory.size = parts.exif.size();
        exif.BeginArray();
        hasExif = Zb7_WalkExif(parts.exifIsFile ? src : memory, options, exif, walk);
        exif.EndArray();
        if (src.error) return src.error;
        if (!hasExif) {
            if (parts.exifIsFile) return kNotJPEGErr;
            parts.errors.push_back({"exif", kBadExifErr});
        } else if (walk.error) {
            parts.errors.push_back({"exif", walk.error});
        }
    }
    if (parts.exifIsFile) {
        parts.hasSize = walk.facts.hasWidth && walk.facts.hasHeight;
        parts.width = walk.facts.width;
        parts.height = walk.facts.height;
    }
    bool truncated = walk.truncated;

    json.BeginObject();
    WriteImage(json, parts, walk.facts);
    if (hasExif && exif.Size() > 2) RawArray(json, "exif", exif);
    Zb7_WriteExifGps(json, walk.facts);
    WriteIptc(json, parts, walk.facts, options, &truncated);
    WriteXmp(json, parts, walk.facts, options);
    WriteComments(json, parts, options, &truncated);
    WritePngTexts(json, parts, options, &truncated);
    WriteErrors(json, parts.errors);
    if (truncated) json.TrueField("truncated");
    json.EndObject();
    return src.error;
}

// The answer, or kMemFullErr when memory runs out on the way.
long GuardedAnswer(ZbBoundedSource &src, const ZbMetaJsonOptions &options, ZbJson &json) {
    try {
        return Answer(src, options, json);
    } catch (const std::bad_alloc &) {
        return kMemFullErr;
    }
}

}  // namespace

long Zb7_MetaDataJSONOfBytes(const uint8_t *data, size_t size, const ZbMetaJsonOptions &options, ZbJson &json) {
    ZbBoundedSource src;
    src.memory = data;
    src.size = size;
    return GuardedAnswer(src, options, json);
}

long Zb7_MetaDataJSONOfFork(const ZbFork &fork, const ZbMetaJsonOptions &options, ZbJson &json) {
    int64_t size = 0;
    if (const long err = Zb7_PlatformForkSize(fork, size)) return err;
    ZbBoundedSource src;
    src.fork = &fork;
    src.size = uint64_t(std::max<int64_t>(size, 0));
    return GuardedAnswer(src, options, json);
}

namespace {

long MetaDataJSON(const fmx::DataVect &parameters, ZbJson &json) {
    char switches[kZbSwitchesCapacity + 1] = "";
    fmx::TextUniquePtr pathText;
    long err = Zb7_ReadSwitchesAndPath(parameters, switches, pathText) ? kNoErr : kParamErr;
    ZbMetaJsonOptions options;
    options.encoding = XP7_GetEncodingSwitch(switches, fmx::Text::kEncoding_ISO_8859_1);
    long value = 0;
    if (XP_GetTaggedLong(switches, "-MaxValueBytes=", &value)) options.maxValueBytes = uint64_t(std::max(value, 1L));
    if (XP_GetTaggedLong(switches, "-MaxAnswerBytes=", &value)) options.maxAnswerBytes = uint64_t(std::max(value, 1L));
    FSSpec ref;
    std::string path;
    ZbFork fork;
    if (err == 0) err = XP7_TxtToFSSpec(*pathText, ref, kZbMaxNameLength, 0);
    if (err == 0) err = Zb7_FSSpecToPOSIXPath(ref, path);
    if (err == 0) err = Zb7_PlatformOpenDataFork(path, false, fork);
    if (err == 0) err = Zb7_MetaDataJSONOfFork(fork, options, json);
    return err;
}

}  // namespace

fmx::errcode ZbFile7_DoMetaDataJSON(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                    fmx::Data &result) {
    return XP7_JsonAnswerToData(MetaDataJSON, parameters, result);
}
