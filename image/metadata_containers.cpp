// The bounded source and the walks of JPEG segments, PNG chunks and WebP chunks that find the parts
// holding metadata.
#include "image/metadata_containers.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "image/byte_order.h"
#include "image/decoders.h"
#include "image/jpeg_stream.h"
#include "platform/errors.h"

namespace {

constexpr size_t kBlock = 64 * 1024;
// More GUIDs of extended XMP than a writer makes: the chunks of any further one are dropped.
constexpr size_t kMaxExtendedXmpGuids = 16;

// What some formats put before the TIFF data of their EXIF: optional in PNG and WebP.
constexpr std::string_view kExifHeader("Exif\0\0", 6);

// Up to n bytes of the file at `at`: how many were read (0 after a failed read, which the source
// keeps as its error).
size_t ReadFork(ZbBoundedSource &src, uint64_t at, size_t n, uint8_t *out) {
    size_t got = 0;
    if (const long err = Zb7_PlatformReadFork(*src.fork, int64_t(at), out, n, got)) {
        if (src.error == 0) src.error = err;
        return 0;
    }
    return got;
}

// The cache holding the block of the file that starts at `at`; false when nothing could be read.
bool FillBlock(ZbBoundedSource &src, uint64_t at) {
    if (!src.block) src.block.reset(new uint8_t[kBlock]);
    src.blockStart = at;
    src.blockValid = ReadFork(src, at, kBlock, src.block.get());
    return src.blockValid > 0;
}

bool StartsWith(const std::vector<uint8_t> &v, std::string_view prefix) {
    return v.size() >= prefix.size() && std::memcmp(v.data(), prefix.data(), prefix.size()) == 0;
}

// The bytes from `from` to a zero byte (or to the end), as text.
std::string UpToZero(const std::vector<uint8_t> &v, size_t from) {
    if (from >= v.size()) return {};
    const auto begin = v.begin() + long(from);
    return std::string(begin, std::find(begin, v.end(), uint8_t(0)));
}

// A copy of n bytes at `at`, at most maxValueBytes of them; *cut tells whether it was cut.
bool TakeBounded(ZbBoundedSource &src, uint64_t at, uint64_t n, const ZbMetaJsonOptions &options,
                 std::vector<uint8_t> &out, bool *cut) {
    const uint64_t take = std::min(n, options.maxValueBytes);
    *cut = take < n;
    return src.Vector(at, size_t(take), out);
}

// A PNG eXIf or WebP EXIF chunk's TIFF data (the first chunk only).
void TakeExifChunk(ZbBoundedSource &src, uint64_t at, uint64_t n, ZbMetaParts &parts) {
    std::vector<uint8_t> chunk;
    if (!parts.exif.empty() || !src.Vector(at, size_t(std::min<uint64_t>(n, uint64_t(1) << 31)), chunk)) return;
    const size_t skip = StartsWith(chunk, kExifHeader) ? kExifHeader.size() : 0;
    parts.exif.assign(chunk.begin() + long(skip), chunk.end());
}

void WalkJpeg(ZbBoundedSource &src, const ZbMetaJsonOptions &options, ZbMetaParts &parts) {
    parts.format = "jpeg";
    static constexpr std::string_view kXmp("http://ns.adobe.com/xap/1.0/\0", 29),
        kXmpExtension("http://ns.adobe.com/xmp/extension/\0", 35), kPhotoshop("Photoshop 3.0\0", 14);
    uint64_t pos = 2;
    bool exifTaken = false;
    for (;;) {
        // The next marker: past anything up to an FF and over FF fill bytes.
        int c = 0;
        while ((c = src.Byte(pos)) >= 0 && c != 0xFF) ++pos;
        while ((c = src.Byte(pos)) == 0xFF) ++pos;
        if (c < 0) {
            parts.errors.push_back({"jpeg", kEofErr});
            return;
        }
        const unsigned marker = unsigned(c);
        ++pos;
        if (marker == kZbMarkerSOS || marker == kZbMarkerEOI) return;
        if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7) || marker == 0x00) continue;  // no length
        uint8_t lengthBytes[2];
        if (!src.Read(pos, 2, lengthBytes)) {
            parts.errors.push_back({"jpeg", kEofErr});
            return;
        }
        const unsigned length = ZbBE16(lengthBytes);
        if (length < 2) {
            parts.errors.push_back({"jpeg", kNameOrSegmentErr});
            return;
        }
        const uint64_t data = pos + 2, n = length - 2;
        if (data + n > src.size) {
            parts.errors.push_back({"jpeg", kEofErr});
            return;
        }
        pos = data + n;
        std::vector<uint8_t> seg;
        if (ZbIsFrameMarker(uint8_t(marker))) {
            if (!parts.hasSize && n >= 5 && src.Vector(data, 5, seg)) {
                parts.hasSize = true;
                parts.height = ZbBE16(seg.data() + 1);
                parts.width = ZbBE16(seg.data() + 3);
            }
        } else if (marker == kZbMarkerAPP1) {
            if (!src.Vector(data, size_t(n), seg)) return;
            if (StartsWith(seg, kExifHeader)) {
                if (!exifTaken) {
                    exifTaken = true;
                    parts.exif.assign(seg.begin() + long(kExifHeader.size()), seg.end());
                }
            } else if (StartsWith(seg, kXmp)) {
                if (!parts.hasXmp) {
                    parts.hasXmp = true;
                    const size_t take = size_t(std::min<uint64_t>(seg.size() - kXmp.size(), options.maxValueBytes));
                    parts.xmpTruncated = take < seg.size() - kXmp.size();
                    parts.xmp.assign(seg.begin() + long(kXmp.size()), seg.begin() + long(kXmp.size() + take));
                }
            } else if (StartsWith(seg, kXmpExtension) && seg.size() >= kXmpExtension.size() + 40) {
                // A 32-byte GUID, the length of the whole extension and this chunk's offset in it.
                const uint8_t *p = seg.data() + kXmpExtension.size(), *end = seg.data() + seg.size();
                const std::string guid(reinterpret_cast<const char *>(p), 32);
                const uint32_t full = ZbBE32(p + 32), offset = ZbBE32(p + 36);
                auto &extension = parts.extendedXmp[guid];
                if (extension.fullLength == 0) extension.fullLength = full;
                if (parts.extendedXmp.size() <= kMaxExtendedXmpGuids && full == extension.fullLength)
                    extension.chunks[offset].assign(p + 40, end);
            }
        } else if (marker == kZbMarkerAPP13) {
            if (!src.Vector(data, size_t(n), seg)) return;
            if (StartsWith(seg, kPhotoshop))
                parts.photoshop.insert(parts.photoshop.end(), seg.begin() + long(kPhotoshop.size()), seg.end());
        } else if (marker == kZbMarkerCOM) {
            if (!src.Vector(data, size_t(n), seg)) return;
            parts.comments.push_back(std::move(seg));
        }
    }
}

// A tEXt, zTXt or iTXt chunk: a text entry, or the XMP packet when an uncompressed iTXt holds it.
// False when the chunk cannot be read.
bool TakePngText(ZbBoundedSource &src, std::string_view type, uint64_t at, uint64_t n,
                 const ZbMetaJsonOptions &options, ZbMetaParts &parts) {
    std::vector<uint8_t> chunk;
    bool cut = false;
    if (!TakeBounded(src, at, n, options, chunk, &cut)) return false;
    ZbPngText text;
    text.keyword = UpToZero(chunk, 0);
    text.truncated = cut;
    size_t pos = text.keyword.size() + 1;
    if (type == "tEXt") {
        if (pos <= chunk.size()) text.value.assign(chunk.begin() + long(pos), chunk.end());
    } else if (type == "zTXt") {
        text.compressed = true;
    } else {
        // iTXt: the compression flag and method, then the language and the translated keyword.
        text.utf8 = true;
        text.compressed = pos < chunk.size() && chunk[pos] != 0;
        pos += 2;
        for (std::string *field : {&text.language, &text.translated}) {
            if (pos > chunk.size()) break;
            *field = UpToZero(chunk, pos);
            pos += field->size() + 1;
        }
        if (!text.compressed && pos <= chunk.size()) text.value.assign(chunk.begin() + long(pos), chunk.end());
        if (text.keyword == "XML:com.adobe.xmp" && !text.compressed && !parts.hasXmp) {
            parts.hasXmp = true;
            parts.xmp.assign(text.value.begin(), text.value.end());
            parts.xmpTruncated = cut;
            return true;
        }
    }
    parts.texts.push_back(std::move(text));
    return true;
}

void WalkPng(ZbBoundedSource &src, const ZbMetaJsonOptions &options, ZbMetaParts &parts) {
    parts.format = "png";
    uint64_t pos = 8;
    for (;;) {
        uint8_t head[8];
        if (!src.Read(pos, 8, head)) {
            parts.errors.push_back({"png", kEofErr});
            return;
        }
        const uint64_t n = ZbBE32(head);
        const std::string_view type(reinterpret_cast<const char *>(head) + 4, 4);
        const uint64_t data = pos + 8;
        if (n > src.size || data + n + 4 > src.size) {
            parts.errors.push_back({"png", kEofErr});
            return;
        }
        pos = data + n + 4;  // past the CRC
        std::vector<uint8_t> chunk;
        if (type == "IHDR") {
            if (n >= 8 && src.Vector(data, 8, chunk)) {
                parts.hasSize = true;
                parts.width = ZbBE32(chunk.data());
                parts.height = ZbBE32(chunk.data() + 4);
            }
        } else if (type == "eXIf") {
            TakeExifChunk(src, data, n, parts);
        } else if (type == "tEXt" || type == "zTXt" || type == "iTXt") {
            if (!TakePngText(src, type, data, n, options, parts)) return;
        } else if (type == "IEND") {
            return;
        }
    }
}

void WalkWebp(ZbBoundedSource &src, const ZbMetaJsonOptions &options, ZbMetaParts &parts) {
    parts.format = "webp";
    uint8_t riff[4];
    if (!src.Read(4, 4, riff)) return;
    const uint64_t end = std::min<uint64_t>(src.size, uint64_t(ZbLE32(riff)) + 8);
    uint64_t pos = 12;
    while (pos + 8 <= end) {
        uint8_t head[8];
        if (!src.Read(pos, 8, head)) break;
        const std::string_view type(reinterpret_cast<const char *>(head), 4);
        const uint64_t n = ZbLE32(head + 4), data = pos + 8;
        if (data + n > end) {
            parts.errors.push_back({"webp", kEofErr});
            return;
        }
        pos = data + n + (n % 2);
        std::vector<uint8_t> chunk;
        // The size: the canvas of VP8X, else the frame of a lossy (VP8) or lossless (VP8L) image.
        if (type == "VP8X" && n >= 10 && src.Vector(data, 10, chunk)) {
            parts.hasSize = true;
            parts.width = uint64_t(ZbLE24(chunk.data() + 4)) + 1;
            parts.height = uint64_t(ZbLE24(chunk.data() + 7)) + 1;
        } else if (type == "VP8 " && !parts.hasSize && n >= 10 && src.Vector(data, 10, chunk)) {
            if (chunk[3] == 0x9D && chunk[4] == 0x01 && chunk[5] == 0x2A) {
                parts.hasSize = true;
                parts.width = ZbLE16(chunk.data() + 6) & 0x3FFF;
                parts.height = ZbLE16(chunk.data() + 8) & 0x3FFF;
            }
        } else if (type == "VP8L" && !parts.hasSize && n >= 5 && src.Vector(data, 5, chunk)) {
            if (chunk[0] == 0x2F) {
                const uint32_t bits = ZbLE32(chunk.data() + 1);
                parts.hasSize = true;
                parts.width = (bits & 0x3FFF) + 1;
                parts.height = (bits >> 14 & 0x3FFF) + 1;
            }
        } else if (type == "EXIF") {
            TakeExifChunk(src, data, n, parts);
        } else if (type == "XMP " && !parts.hasXmp) {
            bool cut = false;
            if (TakeBounded(src, data, n, options, chunk, &cut)) {
                parts.hasXmp = true;
                parts.xmp = std::move(chunk);
                parts.xmpTruncated = cut;
            }
        }
    }
}

}  // namespace

bool ZbBoundedSource::Read(uint64_t at, size_t n, uint8_t *out) {
    if (at > size || n > size - at) return false;
    if (n == 0) return true;
    if (memory) {
        std::memcpy(out, memory + at, n);
        return true;
    }
    if (at >= blockStart && at + n <= blockStart + blockValid) {
        std::memcpy(out, block.get() + (at - blockStart), n);
        return true;
    }
    if (n >= kBlock / 2) return ReadFork(*this, at, n, out) == n;  // past the cache, straight into out
    if (!FillBlock(*this, at) || n > blockValid) return false;
    std::memcpy(out, block.get(), n);
    return true;
}

int ZbBoundedSource::Byte(uint64_t at) {
    if (at >= size) return -1;
    if (memory) return memory[at];
    if ((at < blockStart || at >= blockStart + blockValid) && !FillBlock(*this, at)) return -1;
    return block[at - blockStart];
}

bool ZbBoundedSource::Vector(uint64_t at, size_t n, std::vector<uint8_t> &out) {
    if (at > size || n > size - at) return false;
    out.resize(n);
    return Read(at, n, out.data());
}

long Zb7_FindMetaParts(ZbBoundedSource &src, const ZbMetaJsonOptions &options, ZbMetaParts &parts) {
    uint8_t head[16] = {};
    const size_t headSize = size_t(std::min<uint64_t>(src.size, sizeof head));
    if (!src.Read(0, headSize, head)) return src.error ? src.error : kNotJPEGErr;
    const bool jpeg = headSize >= 2 && head[0] == 0xFF && head[1] == kZbMarkerSOI;
    const ZbImageFormat format = jpeg ? ZbImageFormat::jpeg : Zb7_SniffImageFormat(head, headSize);
    if (format == ZbImageFormat::jpeg) {
        WalkJpeg(src, options, parts);
    } else if (format == ZbImageFormat::png) {
        WalkPng(src, options, parts);
    } else if (format == ZbImageFormat::webp) {
        WalkWebp(src, options, parts);
    } else if (format == ZbImageFormat::tiff && head[2] != '+' && head[3] != '+') {  // not BigTIFF
        parts.format = "tiff";
        parts.exifIsFile = true;
    } else {
        return kNotJPEGErr;
    }
    return src.error;
}
