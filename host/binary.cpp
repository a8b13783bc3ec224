// fmx::BinaryData: container values, a set of typed streams with at most one stream per type.
#include "FMWrapper/FMXBinaryData.h"
#include "FMWrapper/FMXText.h"
#include "FMWrapper/FMXTypes.h"
#include "host/objects.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>

using zhost::BinaryObj;
using zhost::Guard;
using zhost::Of;
using zhost::QuadCharObj;
using zhost::Self;
using zhost::TextObj;

namespace {

using Stream = BinaryObj::Stream;

// Every refused request (duplicate or empty stream, bad index, range or context, missing stream)
// answers this code.
constexpr fmx::errcode kRefused = 1;
constexpr uint32_t kMaxStreamSize = std::numeric_limits<uint32_t>::max();

constexpr uint32_t Code(const char (&s)[5]) {
    return uint32_t(uint8_t(s[0])) << 24 | uint32_t(uint8_t(s[1])) << 16 | uint32_t(uint8_t(s[2])) << 8 |
           uint32_t(uint8_t(s[3]));
}
constexpr uint32_t kFNAM = Code("FNAM"), kSIZE = Code("SIZE"), kFILE = Code("FILE"), kJPEG = Code("JPEG"),
                   kPNG = Code("PNGf"), kGIF = Code("GIFf"), kBMP = Code("BMPf"), kPDF = Code("PDF "),
                   kTIFF = Code("TIFF");

uint32_t TypeOf(const fmx::QuadChar &q) {
    const auto &c = Of<QuadCharObj>(q).c;
    return uint32_t(c[0]) << 24 | uint32_t(c[1]) << 16 | uint32_t(c[2]) << 8 | uint32_t(c[3]);
}

const Stream *Find(const BinaryObj &b, uint32_t type) {
    for (const Stream &s : b.streams)
        if (s.type == type) return &s;
    return nullptr;
}

// A type is taken while a finished or a pending stream has it.
bool Taken(const BinaryObj &b, uint32_t type) {
    return Find(b, type) != nullptr ||
           std::any_of(b.pending.begin(), b.pending.end(), [&](const auto &p) { return p.second.type == type; });
}

std::vector<std::pair<uint32_t, Stream>>::iterator FindPending(BinaryObj &b, uint32_t context) {
    return std::find_if(b.pending.begin(), b.pending.end(), [&](const auto &p) { return p.first == context; });
}

bool AddStream(BinaryObj &b, uint32_t type, std::vector<uint8_t> bytes) {
    if (bytes.empty() || Taken(b, type)) return false;
    b.streams.push_back(Stream{type, std::move(bytes)});
    return true;
}

// The main stream's type, from the file name's extension.
uint32_t TypeForName(std::u16string_view name) {
    const size_t dot = name.find_last_of(u'.');
    if (dot == std::u16string_view::npos || name.find_first_of(u"/:\\", dot) != std::u16string_view::npos)
        return kFILE;
    std::string ext;
    for (char16_t c : name.substr(dot + 1)) {
        if (c >= u'A' && c <= u'Z') c = char16_t(c - u'A' + u'a');
        ext.push_back(c < 0x80 ? char(c) : '?');
    }
    if (ext == "jpg" || ext == "jpeg") return kJPEG;
    if (ext == "png") return kPNG;
    if (ext == "gif") return kGIF;
    if (ext == "bmp") return kBMP;
    if (ext == "pdf") return kPDF;
    if (ext == "tif" || ext == "tiff") return kTIFF;
    return kFILE;
}

uint32_t BigEndian(const std::vector<uint8_t> &b, size_t at, int bytes) {
    uint32_t v = 0;
    for (int k = 0; k < bytes; ++k) v = v << 8 | b[at + size_t(k)];
    return v;
}

// Width and height from the header of PNG, GIF and JPEG data; false when the data does not say.
bool ImageDimensions(uint32_t type, const std::vector<uint8_t> &b, uint32_t &width, uint32_t &height) {
    const size_t n = b.size();
    if (type == kPNG) {
        static constexpr uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
        if (n < 24 || std::memcmp(b.data(), kSignature, 8) != 0 || std::memcmp(b.data() + 12, "IHDR", 4) != 0)
            return false;
        width = BigEndian(b, 16, 4);
        height = BigEndian(b, 20, 4);
    } else if (type == kGIF) {
        if (n < 10 || (std::memcmp(b.data(), "GIF87a", 6) != 0 && std::memcmp(b.data(), "GIF89a", 6) != 0))
            return false;
        width = uint32_t(b[6]) | uint32_t(b[7]) << 8;
        height = uint32_t(b[8]) | uint32_t(b[9]) << 8;
    } else if (type == kJPEG) {
        // Walk the marker segments up to the first start-of-frame.
        if (n < 4 || b[0] != 0xFF || b[1] != 0xD8) return false;
        size_t i = 2;
        for (;;) {
            if (i >= n || b[i] != 0xFF) return false;
            while (i < n && b[i] == 0xFF) ++i;  // fill bytes
            if (i >= n) return false;
            const uint8_t marker = b[i++];
            if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8)) continue;  // no length field
            if (marker == 0xD9 || marker == 0xDA) return false;                 // image data before any frame
            if (i + 2 > n) return false;
            const size_t length = BigEndian(b, i, 2);
            if (length < 2) return false;
            const bool frame = marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
            if (frame) {
                if (length < 7 || i + 7 > n) return false;
                height = BigEndian(b, i + 3, 2);
                width = BigEndian(b, i + 5, 2);
                break;
            }
            i += length;
        }
    } else {
        return false;
    }
    return width > 0 && height > 0 && width <= 0xFFFF && height <= 0xFFFF;
}

// SIZE: height, then width, each a big-endian 16-bit number.
std::vector<uint8_t> SizeBytes(uint16_t width, uint16_t height) {
    return {uint8_t(height >> 8), uint8_t(height), uint8_t(width >> 8), uint8_t(width)};
}

void AddSizeFromHeader(BinaryObj &b, const Stream &s) {
    uint32_t width = 0, height = 0;
    if (ImageDimensions(s.type, s.bytes, width, height)) AddStream(b, kSIZE, SizeBytes(uint16_t(width), uint16_t(height)));
}

void AddName(BinaryObj &b, const TextObj &name) {
    if (!name.s.empty()) {
        const std::string utf8 = zhost::ToUtf8(name.s);
        AddStream(b, kFNAM, std::vector<uint8_t>(utf8.begin(), utf8.end()));
    }
}

bool ValidIndex(const BinaryObj &b, fmx::int32 index) { return index >= 0 && size_t(index) < b.streams.size(); }

fmx::BinaryData *Handle(BinaryObj *b) { return zhost::As<fmx::BinaryData>(b); }

}  // namespace

extern "C" {

fmx::BinaryData *FM_BinaryData_Constructor1(fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] { return Handle(new BinaryObj); });
}

fmx::BinaryData *FM_BinaryData_Constructor2(const fmx::BinaryData &sourceData, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] {
        auto b = std::make_unique<BinaryObj>();
        b->streams = Of<BinaryObj>(sourceData).streams;
        return Handle(b.release());
    });
}

// The host's file import: the name as FNAM, the main stream typed by the name's extension and, for
// images whose header tells, SIZE (in that order).
fmx::BinaryData *FM_BinaryData_Constructor3(const fmx::Text &name, fmx::uint32 amount, void *buffer,
                                           fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] {
        if (buffer == nullptr && amount != 0) throw std::invalid_argument("no data");
        auto b = std::make_unique<BinaryObj>();
        const TextObj &n = Of<TextObj>(name);
        AddName(*b, n);
        if (amount != 0) {
            const auto *bytes = static_cast<const uint8_t *>(buffer);
            AddStream(*b, TypeForName(n.s), std::vector<uint8_t>(bytes, bytes + amount));
            AddSizeFromHeader(*b, b->streams.back());
        }
        return Handle(b.release());
    });
}

// As Constructor3, the data following through AddAppend and AddFinish on the returned context.
fmx::BinaryData *FM_BinaryData_Constructor4(const fmx::Text &name, fmx::uint32 *context, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] {
        if (context == nullptr) throw std::invalid_argument("no context");
        auto b = std::make_unique<BinaryObj>();
        const TextObj &n = Of<TextObj>(name);
        const uint32_t ctx = b->nextContext++;
        b->pending.emplace_back(ctx, Stream{TypeForName(n.s), {}});
        b->describedContext = ctx;
        AddName(*b, n);
        *context = ctx;
        return Handle(b.release());
    });
}

fmx::BinaryData *FM_BinaryData_operatorAS(void *_self, const fmx::BinaryData &source, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&] {
        BinaryObj &b = Self<BinaryObj>(_self);
        const BinaryObj &src = Of<BinaryObj>(source);
        if (&b != &src) {
            b.streams = src.streams;
            b.pending.clear();
            b.describedContext = 0;
        }
        return Handle(&b);
    });
}

// Equal when both hold the same streams with the same bytes, in any order.
bool FM_BinaryData_operatorEQ(const void *_self, const fmx::BinaryData &compareData, fmx::_fmxcpt &) noexcept {
    const BinaryObj &a = Self<BinaryObj>(_self), &b = Of<BinaryObj>(compareData);
    if (a.streams.size() != b.streams.size()) return false;
    return std::all_of(a.streams.begin(), a.streams.end(), [&](const Stream &s) {
        const Stream *t = Find(b, s.type);
        return t != nullptr && t->bytes == s.bytes;
    });
}

bool FM_BinaryData_operatorNE(const void *_self, const fmx::BinaryData &compareData, fmx::_fmxcpt &_x) noexcept {
    return !FM_BinaryData_operatorEQ(_self, compareData, _x);
}

fmx::int32 FM_BinaryData_GetCount(const void *_self, fmx::_fmxcpt &) noexcept {
    return fmx::int32(Self<BinaryObj>(_self).streams.size());
}

fmx::int32 FM_BinaryData_GetIndex(const void *_self, const fmx::QuadChar &dataType, fmx::_fmxcpt &) noexcept {
    const BinaryObj &b = Self<BinaryObj>(_self);
    const uint32_t type = TypeOf(dataType);
    for (size_t i = 0; i < b.streams.size(); ++i)
        if (b.streams[i].type == type) return fmx::int32(i);
    return -1;
}

fmx::uint32 FM_BinaryData_GetTotalSize(const void *_self, fmx::_fmxcpt &) noexcept {
    uint64_t total = 0;
    for (const Stream &s : Self<BinaryObj>(_self).streams) total += s.bytes.size();
    return fmx::uint32(std::min<uint64_t>(total, kMaxStreamSize));
}

// GetType and GetSize have no error result: a bad index fails through the error block.
void FM_BinaryData_GetType(const void *_self, fmx::int32 index, fmx::QuadChar &dataType, fmx::_fmxcpt &_x) noexcept {
    const BinaryObj &b = Self<BinaryObj>(_self);
    if (!ValidIndex(b, index)) {
        _x.m_code = fmx::_fmxcpt::kUnknown;
        return;
    }
    const uint32_t type = b.streams[size_t(index)].type;
    auto &c = Of<QuadCharObj>(dataType).c;
    for (int k = 0; k < 4; ++k) c[k] = uint8_t(type >> (24 - 8 * k));
}

fmx::uint32 FM_BinaryData_GetSize(const void *_self, fmx::int32 index, fmx::_fmxcpt &_x) noexcept {
    const BinaryObj &b = Self<BinaryObj>(_self);
    if (!ValidIndex(b, index)) {
        _x.m_code = fmx::_fmxcpt::kUnknown;
        return 0;
    }
    return fmx::uint32(b.streams[size_t(index)].bytes.size());
}

fmx::errcode FM_BinaryData_GetData(const void *_self, fmx::int32 index, fmx::uint32 offset, fmx::uint32 amount,
                                   void *buffer, fmx::_fmxcpt &) noexcept {
    const BinaryObj &b = Self<BinaryObj>(_self);
    if (!ValidIndex(b, index)) return kRefused;
    const std::vector<uint8_t> &bytes = b.streams[size_t(index)].bytes;
    if (uint64_t(offset) + amount > bytes.size() || (buffer == nullptr && amount != 0)) return kRefused;
    if (amount != 0) std::memcpy(buffer, bytes.data() + offset, amount);
    return 0;
}

fmx::errcode FM_BinaryData_Add(void *_self, const fmx::QuadChar &dataType, fmx::uint32 amount, void *buffer,
                               fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&]() -> fmx::errcode {
        if (amount == 0 || buffer == nullptr) return kRefused;
        const auto *bytes = static_cast<const uint8_t *>(buffer);
        return AddStream(Self<BinaryObj>(_self), TypeOf(dataType), std::vector<uint8_t>(bytes, bytes + amount))
                   ? 0
                   : kRefused;
    });
}

bool FM_BinaryData_Remove(void *_self, const fmx::QuadChar &dataType, fmx::_fmxcpt &) noexcept {
    auto &streams = Self<BinaryObj>(_self).streams;
    const uint32_t type = TypeOf(dataType);
    const auto it = std::find_if(streams.begin(), streams.end(), [&](const Stream &s) { return s.type == type; });
    if (it == streams.end()) return false;
    streams.erase(it);
    return true;
}

void FM_BinaryData_RemoveAll(void *_self, fmx::_fmxcpt &) noexcept {
    BinaryObj &b = Self<BinaryObj>(_self);
    b.streams.clear();
    b.pending.clear();
    b.describedContext = 0;
}

fmx::errcode FM_BinaryData_GetFNAMData(const void *_self, fmx::Text &filepathlist, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&]() -> fmx::errcode {
        const Stream *s = Find(Self<BinaryObj>(_self), kFNAM);
        if (s == nullptr) return kRefused;
        Of<TextObj>(filepathlist).s = zhost::FromUtf8(
            std::string_view(reinterpret_cast<const char *>(s->bytes.data()), s->bytes.size()));
        return 0;
    });
}

fmx::errcode FM_BinaryData_AddFNAMData(void *_self, const fmx::Text &filepathlist, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&]() -> fmx::errcode {
        const std::string utf8 = zhost::ToUtf8(Of<TextObj>(filepathlist).s);
        return AddStream(Self<BinaryObj>(_self), kFNAM, std::vector<uint8_t>(utf8.begin(), utf8.end())) ? 0
                                                                                                           : kRefused;
    });
}

fmx::errcode FM_BinaryData_GetSIZEData(const void *_self, short &width, short &height, fmx::_fmxcpt &) noexcept {
    const Stream *s = Find(Self<BinaryObj>(_self), kSIZE);
    if (s == nullptr || s->bytes.size() != 4) return kRefused;
    height = short(BigEndian(s->bytes, 0, 2));
    width = short(BigEndian(s->bytes, 2, 2));
    return 0;
}

fmx::errcode FM_BinaryData_AddSIZEData(void *_self, short width, short height, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&]() -> fmx::errcode {
        return AddStream(Self<BinaryObj>(_self), kSIZE, SizeBytes(uint16_t(width), uint16_t(height))) ? 0 : kRefused;
    });
}

fmx::errcode FM_BinaryData_AddBegin(void *_self, const fmx::QuadChar &dataType, fmx::uint32 *context,
                                    fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&]() -> fmx::errcode {
        BinaryObj &b = Self<BinaryObj>(_self);
        const uint32_t type = TypeOf(dataType);
        if (context == nullptr || Taken(b, type)) return kRefused;
        uint32_t ctx = b.nextContext++;
        if (ctx == 0) ctx = b.nextContext++;  // 0 is never a context
        b.pending.emplace_back(ctx, Stream{type, {}});
        *context = ctx;
        return 0;
    });
}

fmx::errcode FM_BinaryData_AddAppend(void *_self, fmx::uint32 context, fmx::uint32 amount, void *buffer,
                                     fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&]() -> fmx::errcode {
        BinaryObj &b = Self<BinaryObj>(_self);
        const auto it = FindPending(b, context);
        if (it == b.pending.end() || (buffer == nullptr && amount != 0)) return kRefused;
        std::vector<uint8_t> &bytes = it->second.bytes;
        if (uint64_t(bytes.size()) + amount > kMaxStreamSize) return kRefused;
        const auto *p = static_cast<const uint8_t *>(buffer);
        if (amount != 0) bytes.insert(bytes.end(), p, p + amount);
        return 0;
    });
}

// Moves the stream into the container. A stream that received no data is dropped and refused.
fmx::errcode FM_BinaryData_AddFinish(void *_self, fmx::uint32 context, fmx::_fmxcpt &_x) noexcept {
    return Guard(_x.m_code, [&]() -> fmx::errcode {
        BinaryObj &b = Self<BinaryObj>(_self);
        const auto it = FindPending(b, context);
        if (it == b.pending.end()) return kRefused;
        Stream s = std::move(it->second);
        b.pending.erase(it);
        const bool described = context == b.describedContext;
        if (described) b.describedContext = 0;
        if (s.bytes.empty()) return kRefused;
        b.streams.push_back(std::move(s));
        if (described) AddSizeFromHeader(b, b.streams.back());
        return 0;
    });
}

void FM_BinaryData_Delete(void *_self, fmx::_fmxcpt &) noexcept { delete static_cast<BinaryObj *>(_self); }

}  // extern "C"
