#include "image/metadata_read.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "filecore/fork_io.h"
#include "filecore/stream_scan.h"
#include "filecore/paths.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "platform/errors.h"

namespace {

constexpr size_t kIPTCWindow = 16384;  // bytes read from where the resource key was found
constexpr uint16_t kExifIFDTag = 34665;

// The text being built: ASCII (markers, numbers) gathered and appended to the host text in one
// piece before each run of bytes decoded in the encoding, and at the end.
struct MetaText {
    explicit MetaText(fmx::TextUniquePtr &text) : out(text) {}
    ~MetaText() { Flush(); }
    void Ascii(std::string_view s) { ascii += s; }
    // A marker line: "\r##" name, a space and the number.
    void Marker(const char *name, long number) { ((ascii += "\r##") += name) += " " + std::to_string(number); }
    void Bytes(const unsigned char *p, size_t n, ZbTextEncoding encoding) {
        Flush();
        // A piece that does not decode adds nothing.
        (void)XP7_AppendBlockToTxt(reinterpret_cast<const char *>(p), n, out, encoding, 0);
    }
    void Flush() {
        if (ascii.empty()) return;
        XP7_AppendCStrToTxt(ascii.c_str(), out, fmx::Text::kEncoding_UTF8);
        ascii.clear();
    }
    fmx::TextUniquePtr &out;
    std::string ascii;
};

// A number as the shortest decimal that reads back as the same double; "?" for none.
std::string DecimalText(double value) {
    if (!std::isfinite(value)) return "?";
    char buffer[64];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
    return std::string(buffer, end);
}

const unsigned char *Find(const unsigned char *from, const unsigned char *to, const unsigned char *key, size_t n) {
    if (n == 0 || to - from < long(n)) return nullptr;
    return static_cast<const unsigned char *>(memmem(from, size_t(to - from), key, n));
}

// The TIFF data of an EXIF segment and its byte order.
struct TiffData {
    const unsigned char *bytes;
    size_t length;
    bool littleEndian;

    uint16_t U16(size_t at) const {
        return littleEndian ? uint16_t(bytes[at] | bytes[at + 1] << 8) : uint16_t(bytes[at] << 8 | bytes[at + 1]);
    }
    uint32_t U32(size_t at) const {
        const uint32_t b0 = bytes[at], b1 = bytes[at + 1], b2 = bytes[at + 2], b3 = bytes[at + 3];
        return littleEndian ? b0 | b1 << 8 | b2 << 16 | b3 << 24 : b0 << 24 | b1 << 16 | b2 << 8 | b3;
    }
};

// An IFD entry as read.
struct TIFFDirEntry {
    uint16_t tag, type;
    uint32_t count, value;
};

size_t ElementSize(uint16_t type) {
    static constexpr unsigned char kSizes[13] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
    return type < 13 ? kSizes[type] : 0;
}

// The value of one entry as text.
void Zb7_ExifValueToTxt(const TiffData &tiff, const TIFFDirEntry &e, ZbTextEncoding encoding, MetaText &out) {
    uint64_t size = uint64_t(e.count) * ElementSize(e.type);
    const bool inline_ = size <= 4;
    size_t at = 0;
    if (!inline_) {
        if (e.value >= tiff.length) {
            out.Ascii("<CORRUPT EXIF TAG>");
            return;
        }
        at = e.value;
        size = std::min<uint64_t>(size, tiff.length - at);  // a value running past the end is cut there
    }
    // An inline value is the value field as a 32-bit number; its bytes, as the number is held in
    // memory, most significant first (so little-endian data comes out reversed).
    const unsigned char field[4] = {uint8_t(e.value >> 24), uint8_t(e.value >> 16), uint8_t(e.value >> 8),
                                    uint8_t(e.value)};
    const auto has = [&](size_t n) { return !inline_ && size >= n; };
    switch (e.type) {
        case 1:  // BYTE: little-endian, the first value; big-endian, the field's fourth byte or the
                 // second byte at the offset
            if (inline_)
                out.Ascii(std::to_string(e.value & 0xFF));
            else if (size >= 2 || (tiff.littleEndian && size >= 1))
                out.Ascii(std::to_string(tiff.bytes[at + (tiff.littleEndian ? 0 : 1)]));
            break;
        case 2:
        case 7:  // ASCII, UNDEFINED: all but the last byte
            if (size >= 2) out.Bytes(inline_ ? field : tiff.bytes + at, size_t(size - 1), encoding);
            break;
        case 3:  // SHORT
            if (inline_)
                out.Ascii(std::to_string(tiff.littleEndian ? e.value & 0xFFFF : e.value >> 16));
            else if (has(2))
                out.Ascii(std::to_string(tiff.U16(at)));
            break;
        case 4:
        case 9:  // LONG, SLONG: signed 32-bit
            if (inline_)
                out.Ascii(std::to_string(int32_t(e.value)));
            else if (has(4))
                out.Ascii(std::to_string(int32_t(tiff.U32(at))));
            break;
        case 5:  // RATIONAL
            if (has(8)) out.Ascii(DecimalText(double(tiff.U32(at)) / double(tiff.U32(at + 4))));
            break;
        case 6:  // SBYTE
            if (inline_)
                out.Ascii(std::to_string(int8_t(e.value & 0xFF)));
            else if (has(1))
                out.Ascii(std::to_string(int8_t(tiff.bytes[at])));
            break;
        case 8:  // SSHORT
            if (inline_)
                out.Ascii(std::to_string(int16_t(tiff.littleEndian ? e.value & 0xFFFF : e.value >> 16)));
            else if (has(2))
                out.Ascii(std::to_string(int16_t(tiff.U16(at))));
            break;
        case 10:  // SRATIONAL
            if (has(8))
                out.Ascii(DecimalText(double(int32_t(tiff.U32(at))) / double(int32_t(tiff.U32(at + 4)))));
            break;
        case 11:  // FLOAT: the (first) 32 bits as an unsigned number
            if (inline_)
                out.Ascii(std::to_string(e.value));
            else if (has(4))
                out.Ascii(std::to_string(tiff.U32(at)));
            break;
        case 12:  // DOUBLE: the first 32 bits as an unsigned number
            if (has(4)) out.Ascii(std::to_string(tiff.U32(at)));
            break;
        default:
            out.Ascii("???unknown???");
    }
}

// One IFD: each entry's markers and value. *exifIFD gets the Exif sub-IFD's offset when the IFD
// points to one.
long Zb7_ExifIFDToTxt(const TiffData &tiff, uint32_t offset, ZbTextEncoding encoding, MetaText &out,
                      uint32_t *exifIFD) {
    if (uint64_t(offset) + 2 > tiff.length) return kBadExifErr;
    const uint16_t entries = tiff.U16(offset);
    if (entries == 0) return kBadExifErr;
    if (uint64_t(offset) + 2 + uint64_t(entries) * 12 > tiff.length) return kBadExifErr;
    for (uint16_t i = 0; i < entries; ++i) {
        const size_t at = size_t(offset) + 2 + size_t(i) * 12;
        const TIFFDirEntry e{tiff.U16(at), tiff.U16(at + 2), tiff.U32(at + 4), tiff.U32(at + 8)};
        if (e.tag == kExifIFDTag && exifIFD) *exifIFD = e.value;
        out.Marker("EXIF", e.tag);
        out.Ascii("\r");
        Zb7_ExifValueToTxt(tiff, e, encoding, out);
        out.Marker("END", e.tag);
    }
    return 0;
}

}  // namespace

long Zb7_ExifToTxt(const unsigned char *data, size_t length, ZbTextEncoding encoding, fmx::TextUniquePtr &out) {
    if (length < 8) return kBadExifErr;
    TiffData tiff{data, length, false};
    if (data[0] == 'I' && data[1] == 'I')
        tiff.littleEndian = true;
    else if (data[0] != 'M' || data[1] != 'M')
        return kBadExifErr;
    if (tiff.U16(2) < 42) return kBadExifErr;
    const uint32_t ifd0 = tiff.U32(4);
    if (ifd0 < 8 || ifd0 > length) return kBadExifErr;
    uint32_t exifIFD = 0;
    MetaText text(out);
    if (const long err = Zb7_ExifIFDToTxt(tiff, ifd0, encoding, text, &exifIFD)) return err;
    if (exifIFD >= length) return kBadExifErr;
    if (exifIFD != 0) return Zb7_ExifIFDToTxt(tiff, exifIFD, encoding, text, nullptr);
    return 0;
}

long Zb7_Process_EXIF(Zb7RW_Reader &in, uint32_t length, ZbTextEncoding encoding, fmx::TextUniquePtr &out) {
    std::vector<unsigned char> data;
    try {
        if (const long err = Zb7RW_ReadInto(in, length, data)) return err;
    } catch (const std::bad_alloc &) {
        return kMemFullErr;
    }
    if (data.size() != length) return kBadExifErr;
    return Zb7_ExifToTxt(data.data(), data.size(), encoding, out);
}

long Zb7_XMPToTxt(const unsigned char *data, size_t length, ZbTextEncoding encoding, fmx::TextUniquePtr &out) {
    if (length == 0) return kXMPNamespaceErr;
    const auto *zero = static_cast<const unsigned char *>(std::memchr(data, 0, length));
    if (!zero) return kXMPNamespaceErr;
    MetaText text(out);
    text.Bytes(data, size_t(zero - data), encoding);  // the namespace
    text.Ascii("\r");
    text.Bytes(zero + 1, size_t(data + length - zero - 1), encoding);
    return 0;
}

void Zb7_CommentToTxt(const unsigned char *data, size_t length, ZbTextEncoding encoding, fmx::TextUniquePtr &text) {
    MetaText out(text);
    out.Ascii("\r##JCOM\r");
    out.Bytes(data, length, encoding);
    out.Ascii("\r##END ");
}

long Zb7_ParseIPTC(const unsigned char *buffer, size_t length, ZbTextEncoding encoding, fmx::TextUniquePtr &text) {
    if (length == 0) return kParamErr;
    MetaText out(text);
    static constexpr unsigned char kRecord2[2] = {0x1C, 0x02};
    const unsigned char *p = Find(buffer, buffer + length, kRecord2, 2);
    if (!p) return 0;
    const unsigned char *end = buffer + length;
    while (end - p >= 5 && p[0] == 0x1C && p[1] == 0x02) {
        const unsigned number = p[2];
        const size_t size = size_t(p[3]) << 8 | p[4];
        const size_t available = std::min<size_t>(size, size_t(end - p - 5));  // a dataset cut by the end
        out.Marker("IPTC", number);
        out.Ascii("\r");
        out.Bytes(p + 5, available, encoding);
        out.Marker("END", number);
        if (available < size) break;
        p += 5 + size;
    }
    return 0;
}

long Zb7_Get_PSD_Resource(const unsigned char *buffer, size_t start, size_t length, const unsigned char *key,
                          size_t keyLength, size_t *dataOffset, size_t *dataLength) {
    if (start >= length) return kNoDataErr;
    const unsigned char *found = Find(buffer + start, buffer + length, key, keyLength);
    if (!found) return kNoDataErr;
    uint64_t at = uint64_t(found - buffer) + keyLength;
    if (at >= length) return kTooLargeErr;
    at += 1 + uint64_t(buffer[at]);  // the name: a length byte and that many bytes
    if (at % 2) ++at;
    if (at + 4 > length) return kTooLargeErr;
    const uint64_t size = uint64_t(buffer[at]) << 24 | uint64_t(buffer[at + 1]) << 16 | uint64_t(buffer[at + 2]) << 8 |
                          buffer[at + 3];
    if (at + 4 + size > length) return kTooLargeErr;
    *dataOffset = size_t(at + 4);
    *dataLength = size_t(size);
    return 0;
}

namespace {

// IPTC (or, without it, the URL) from the Photoshop resource found anywhere in the file.
long ResourceText(const ZbFork &fork, bool iptc, ZbTextEncoding encoding, fmx::TextUniquePtr &out) {
    const unsigned char *key = iptc ? kZbIPTCKey : kZbURLKey;
    int64_t position = 0;
    const long found = Zb7_FindStringInFile(fork, std::string_view(reinterpret_cast<const char *>(key), 6), true, position);
    if (found != 0 && found != kEofErr) return found;
    int64_t fileSize = 0;
    if (const long err = Zb7_PlatformForkSize(fork, fileSize)) return err;
    std::vector<unsigned char> buffer(size_t(std::clamp<int64_t>(fileSize - position, 0, int64_t(kIPTCWindow))));
    size_t got = 0;
    if (const long err = Zb7_PlatformReadFork(fork, position, buffer.data(), buffer.size(), got)) return err;
    buffer.resize(got);
    const unsigned char *data = buffer.data();
    size_t length = buffer.size();
    if (!Find(data, data + length, key, 6)) return kNoDataErr;
    static constexpr unsigned char kJFIF[5] = {'J', 'F', 'I', 'F', 0};
    size_t offset = 0, size = 0;
    if (iptc && !Find(data, data + length, kJFIF, 5)) {
        if (const long err = Zb7_Get_PSD_Resource(data, 0, length, key, 6, &offset, &size)) return err;
        data += offset;
        length = size;
    }
    if (iptc) return Zb7_ParseIPTC(data, length, encoding, out);
    if (const long err = Zb7_Get_PSD_Resource(data, 0, length, key, 6, &offset, &size)) return err;
    // A block that does not decode adds nothing.
    (void)XP7_AppendBlockToTxt(reinterpret_cast<const char *>(data + offset), size, out, encoding, 0);
    return 0;
}

}  // namespace

long Zb7_GetMetaData(const FSSpec &ref, const ZbMetaDataSwitch &switches, ZbTextEncoding encoding,
                     fmx::TextUniquePtr &out) {
    std::string path;
    if (const long err = Zb7_FSSpecToPOSIXPath(ref, path)) return err;
    // One open file serves both steps: every read says where it reads.
    ZbFork fork;
    if (const long err = Zb7_PlatformOpenDataFork(path, false, fork)) return err;
    long err = 0;
    if (switches.flags[kZbMetaIPTC] || switches.flags[kZbMetaImageURL])
        err = ResourceText(fork, switches.flags[kZbMetaIPTC], encoding, out);
    if (switches.flags[kZbMetaExif] || switches.flags[kZbMetaComment] || switches.flags[kZbMetaXMP]) {
        Zb7RW_Reader in(fork);
        ZbPictParams params;
        err = Zb7JPEG_ScanJPEGHeader(in, switches, encoding, out, &params);
        if (in.readError) err = in.readError;
    }
    return err;
}

fmx::errcode ZbFile7_DoMetaData(short /*functionId*/, const fmx::ExprEnv & /*env*/, const fmx::DataVect &parameters,
                                fmx::Data &result) {
    char switches[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 0;
    fmx::TextUniquePtr pathText;
    long err = Zb7_ReadSwitchesAndPath(parameters, switches, pathText, cursor) ? kNoErr : kParamErr;
    ZbTextEncoding encoding = XP7_GetEncodingSwitch(switches, fmx::Text::kEncoding_Native);
    FSSpec ref;
    if (err == 0) err = XP7_TxtToFSSpec(*pathText, ref, kZbMaxNameLength, 0);
    ZbMetaDataSwitch request;
    static constexpr const char *kWords[8] = {"GetIPTC",     nullptr,  "GetExif",          "GetJPEGComment",
                                              "GetImageURL", "GetXMP", "SourceMacCharset", "SourceWinCharset"};
    for (int i = 0; i < 8; ++i) request.flags[i] = kWords[i] && XP_HasSwitch(switches, kWords[i]);
    if (err == 0 && !(request.flags[kZbMetaIPTC] || request.flags[kZbMetaExif] || request.flags[kZbMetaComment] ||
                      request.flags[kZbMetaImageURL] || request.flags[kZbMetaXMP]))
        err = kParamErr;
    if (request.flags[kZbMetaSourceWin]) encoding = fmx::Text::kEncoding_ASCII_Windows;
    fmx::TextUniquePtr text;
    if (err == 0) err = Zb7_GetMetaData(ref, request, encoding, text);
    XP7_TxtOrErrorToData(err, text, parameters, result);
    return 0;
}
