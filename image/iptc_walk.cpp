// The Photoshop resources' IPTC stream and its datasets as JSON entries.
#include "image/iptc_walk.h"

#include <algorithm>
#include <cstring>

#include "image/byte_order.h"
#include "image/exif_tags.h"
#include "platform/errors.h"

std::string Zb7_DecodeTextBytes(std::string_view bytes, ZbTextEncoding encoding) {
    if (encoding == fmx::Text::kEncoding_UTF8) return std::string(bytes);
    fmx::TextUniquePtr text;
    if (XP7_AppendBlockToTxt(bytes.data(), bytes.size(), text, encoding, 0) != 0)
        XP7_BlockToTxt(bytes.data(), bytes.size(), text, fmx::Text::kEncoding_ISO_8859_1, 0);
    // Each UTF-16 unit takes at most 3 bytes of UTF-8, and the conversion adds a terminator.
    std::string utf8(size_t(text->GetSize()) * 3 + 1, '\0');
    const fmx::uint32 n = text->GetBytesEx(utf8.data(), fmx::uint32(utf8.size()), 0, fmx::Text::kSize_End,
                                           fmx::Text::kEncoding_UTF8);
    utf8.resize(std::min<size_t>(n, utf8.size()));
    return utf8;
}

bool Zb7_PhotoshopIptc(const std::vector<uint8_t> &res, std::vector<uint8_t> &iptc, bool *malformed) {
    // Each resource: "8BIM", its id, its name (a length byte and that many bytes, padded to an
    // even length), the size of its data, and the data padded to an even length.
    size_t at = 0;
    while (at + 12 <= res.size()) {
        if (std::memcmp(res.data() + at, "8BIM", 4) != 0) {
            *malformed = true;
            return false;
        }
        const unsigned id = ZbBE16(res.data() + at + 4);
        size_t p = at + 6;
        p += 1 + size_t(res[p]);
        if ((p - at - 6) % 2) ++p;
        if (p + 4 > res.size()) break;
        const uint64_t size = ZbBE32(res.data() + p);
        p += 4;
        if (size > res.size() - p) break;
        if (id == 0x0404) {
            iptc.assign(res.begin() + long(p), res.begin() + long(p + size));
            return true;
        }
        at = p + size_t(size) + (size % 2);
    }
    *malformed = at < res.size();
    return false;
}

void Zb7_WriteIptcEntries(const std::vector<uint8_t> &s, const ZbMetaJsonOptions &options, ZbJson &out,
                          size_t answerSoFar, bool *truncated, long *error) {
    // The datasets are found first: dataset 1:90, which says the character set of all text, may
    // come after text it applies to.
    struct Dataset {
        unsigned record, number;
        size_t at, size;
    };
    std::vector<Dataset> datasets;
    size_t p = 0;
    bool utf8 = false;
    // Each dataset: the tag marker 0x1C, the record and dataset numbers, and the length.
    while (p < s.size() && s[p] == 0x1C) {
        if (p + 5 > s.size()) {
            *error = kEofErr;
            break;
        }
        const unsigned record = s[p + 1], number = s[p + 2];
        uint64_t size = ZbBE16(s.data() + p + 3);
        size_t data = p + 5;
        if (size & 0x8000) {  // an extended dataset: the length's own length, then the length
            const size_t n = size_t(size & 0x7FFF);
            if (n > 8 || data + n > s.size()) {
                *error = kBadExifErr;
                break;
            }
            size = 0;
            for (size_t k = 0; k < n; ++k) size = size << 8 | s[data + k];
            data += n;
        }
        if (size > s.size() - data) {
            *error = kEofErr;
            break;
        }
        datasets.push_back({record, number, data, size_t(size)});
        if (record == 1 && number == 90) {
            const std::string_view value(reinterpret_cast<const char *>(s.data()) + data, size_t(size));
            utf8 = value.find("\x1B%G") != std::string_view::npos;  // ISO 2022's escape for UTF-8
        }
        p = data + size_t(size);
    }
    for (const Dataset &d : datasets) {
        if (answerSoFar + out.Size() > options.maxAnswerBytes) {
            *truncated = true;
            return;
        }
        const ZbIptcDataset info = Zb7_IptcDataset(d.record, d.number);
        const size_t take = size_t(std::min<uint64_t>(d.size, options.maxValueBytes));
        const std::string_view bytes(reinterpret_cast<const char *>(s.data()) + d.at, take);
        out.BeginObject();
        out.UintField("record", d.record);
        out.UintField("dataset", d.number);
        if (info.name) out.TextField("name", info.name);
        out.Key("value");
        if (info.kind == ZbIptcKind::number && !bytes.empty() && bytes.size() <= 4) {
            uint64_t v = 0;
            for (const unsigned char c : bytes) v = v << 8 | c;
            out.Uint(v);
        } else if (info.kind == ZbIptcKind::text) {
            out.Text(Zb7_DecodeTextBytes(bytes, utf8 ? fmx::Text::kEncoding_UTF8 : options.encoding));
        } else {
            out.Hex(bytes);
        }
        if (take < d.size) out.TrueField("truncated");
        out.EndObject();
    }
}
