#include "image/metadata_write.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "filecore/fsspec.h"
#include "filecore/new_contents.h"
#include "filecore/paths.h"
#include "platform/errors.h"
#include "platform/file_attributes.h"
#include "platform/finder_info.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"

namespace {
constexpr unsigned char kPhotoshop[14] = {'P', 'h', 'o', 't', 'o', 's', 'h', 'o', 'p', ' ', '3', '.', '0', 0};
constexpr size_t kMaxSegmentLength = 0xFFFF;
}  // namespace

long Zb7RW_Flush(Zb7RW_Writer &out) { return out.Flush(); }

long Zb7RW_Write_n_bytes(Zb7RW_Writer &out, const unsigned char *bytes, size_t n) { return out.Write(bytes, n); }

long Zb7RW_Write_1_byte(Zb7RW_Writer &out, unsigned char c) { return Zb7RW_Write_n_bytes(out, &c, 1); }

long Zb7RW_Write_2_bytes(Zb7RW_Writer &out, unsigned int value) {
    const unsigned char bytes[2] = {uint8_t(value >> 8), uint8_t(value)};
    return Zb7RW_Write_n_bytes(out, bytes, 2);
}

namespace {

long WriteMarker(Zb7RW_Writer &out, unsigned char marker) {
    const unsigned char bytes[2] = {0xFF, marker};
    return Zb7RW_Write_n_bytes(out, bytes, 2);
}

// n bytes from the input to the output; -39 when the input ends first.
long CopyBytes(Zb7RW_Reader &in, Zb7RW_Writer &out, size_t n) {
    unsigned char buffer[8192];
    while (n > 0) {
        unsigned long got = 0;
        if (const long err = Zb7RW_ReadNextNBytes(in, buffer, std::min(n, sizeof buffer), &got)) return err;
        if (got == 0) return kEofErr;
        if (const long err = Zb7RW_Write_n_bytes(out, buffer, got)) return err;
        n -= got;
    }
    return 0;
}

// A segment copied: its length, then its data (-4247 for a length below 2, after the length).
long Zb7JPEG_CopyVariable(Zb7RW_Reader &in, Zb7RW_Writer &out) {
    unsigned int length = 0;
    Zb7RW_Read_2_bytes(in, &length);
    if (const long err = Zb7RW_Write_2_bytes(out, length)) return err;
    if (length < 2) return kZbErrBadPhotoshopBlock;
    return CopyBytes(in, out, length - 2);
}

std::string U32(size_t v) { return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)}; }

// The IPTC resource: "8BIM", 0x0404, an empty name, the size, the block and a pad byte when odd.
std::string IptcResource(std::string_view iptc) {
    std::string r = std::string("8BIM\x04\x04\0\0", 8) + U32(iptc.size());
    r.append(iptc);
    if (iptc.size() % 2) r.push_back('\0');
    return r;
}

long WriteAPP13(Zb7RW_Writer &out, const std::string &resources) {
    const size_t length = resources.size() + sizeof kPhotoshop + 2;
    if (length > kMaxSegmentLength) return kTooLargeErr;  // more than one segment can hold
    if (const long err = WriteMarker(out, kZbMarkerAPP13)) return err;
    if (const long err = Zb7RW_Write_2_bytes(out, unsigned(length))) return err;
    if (const long err = Zb7RW_Write_n_bytes(out, kPhotoshop, sizeof kPhotoshop)) return err;
    return Zb7RW_Write_n_bytes(out, reinterpret_cast<const unsigned char *>(resources.data()), resources.size());
}

// Where the IPTC resource stands in a Photoshop block's resource list: [*start, *end), empty (at
// the first entry that is not a resource) when there is none. -4247 for an entry running past the
// end.
long Zb7JPEG_LocateOldIptcData(const std::vector<unsigned char> &data, size_t *start, size_t *end) {
    size_t at = 0;
    const size_t n = data.size();
    while (at + 4 <= n && std::memcmp(data.data() + at, "8BIM", 4) == 0) {
        if (at + 7 > n) return kZbErrBadPhotoshopBlock;
        const unsigned id = unsigned(data[at + 4]) << 8 | data[at + 5];
        size_t name = 1 + size_t(data[at + 6]);
        name += name % 2;
        const size_t sizeAt = at + 6 + name;
        if (sizeAt + 4 > n) return kZbErrBadPhotoshopBlock;
        const size_t size = size_t(data[sizeAt]) << 24 | size_t(data[sizeAt + 1]) << 16 | size_t(data[sizeAt + 2]) << 8 |
                            data[sizeAt + 3];
        if (size > n - sizeAt - 4) return kZbErrBadPhotoshopBlock;
        const size_t next = std::min(n, sizeAt + 4 + size + size % 2);
        if (id == 0x0404) {
            *start = at;
            *end = next;
            return 0;
        }
        at = next;
    }
    *start = *end = at;
    return 0;
}

// The first APP13 segment: a Photoshop block gets the new IPTC resource in place of its old one
// (and is dropped when nothing remains in it); any other segment is copied as it is, and the IPTC
// is then not written.
long Zb7JPEG_WriteIPTC_HandleAPP13(Zb7RW_Reader &in, Zb7RW_Writer &out, std::string_view iptc) {
    unsigned int length = 0;
    Zb7RW_Read_2_bytes(in, &length);
    if (length < 2) return kZbErrBadPhotoshopBlock;
    const size_t dataLength = length - 2;
    unsigned char head[sizeof kPhotoshop];
    unsigned long got = 0;
    if (dataLength >= sizeof kPhotoshop) {
        if (const long err = Zb7RW_ReadNextNBytes(in, head, sizeof head, &got)) return err;
        if (got != sizeof head) return kEofErr;
    }
    if (got == 0 || std::memcmp(head, kPhotoshop, sizeof head) != 0) {
        if (const long err = WriteMarker(out, kZbMarkerAPP13)) return err;
        if (const long err = Zb7RW_Write_2_bytes(out, length)) return err;
        if (const long err = Zb7RW_Write_n_bytes(out, head, got)) return err;
        return CopyBytes(in, out, dataLength - got);
    }
    std::vector<unsigned char> data;
    if (const long err = Zb7RW_ReadInto(in, dataLength - sizeof kPhotoshop, data)) return err;
    if (data.size() != dataLength - sizeof kPhotoshop) return kEofErr;
    size_t start = 0, end = 0;
    if (const long err = Zb7JPEG_LocateOldIptcData(data, &start, &end)) return err;
    if (iptc.empty() && data.size() - (end - start) == 0) return 0;  // nothing left: the segment goes
    std::string resources(reinterpret_cast<const char *>(data.data()), start);
    if (!iptc.empty()) resources += IptcResource(iptc);
    resources.append(reinterpret_cast<const char *>(data.data()) + end, data.size() - end);
    return WriteAPP13(out, resources);
}

}  // namespace

long Zb7RW_CopyRestOfFile(Zb7RW_Reader &in, Zb7RW_Writer &out) {
    const long err = CopyBytes(in, out, SIZE_MAX);
    return err == kEofErr ? 0 : err;  // the end of the file ends the copy
}

long Zb7JPEG_ScanJPEGHeaderAndWriteOut(Zb7RW_Reader &in, Zb7RW_Writer &out, int mode, std::string_view iptc,
                                       unsigned char *marker) {
    if (const long err = Zb7JPEG_FirstMarker(in, marker)) return err;
    if (const long err = WriteMarker(out, kZbMarkerSOI)) return err;
    for (;;) {
        if (const long err = Zb7JPEG_NextMarker(in, marker)) return err;
        const unsigned char m = *marker;
        if (ZbIsFrameMarker(m)) {
            if (mode == 1 && !iptc.empty()) return WriteAPP13(out, IptcResource(iptc));
            return 0;
        }
        if (m == kZbMarkerEOI) return 0;
        if (m == kZbMarkerSOS) return kZbErrBadPhotoshopBlock;
        if (m == kZbMarkerAPP13 && mode == 1) return Zb7JPEG_WriteIPTC_HandleAPP13(in, out, iptc);
        if (m == kZbMarkerCOM && mode == 0) {
            if (const long err = Zb7JPEG_SkipVariable(in)) return err;
            continue;
        }
        if (const long err = WriteMarker(out, m)) return err;
        if (const long err = Zb7JPEG_CopyVariable(in, out)) return err;
    }
}

long Zb7JPEG_WriteJPEGMetaData(Zb7RW_Reader &in, Zb7RW_Writer &out, bool comment, std::string_view data) {
    unsigned char marker = 0;
    if (const long err = Zb7JPEG_ScanJPEGHeaderAndWriteOut(in, out, comment ? 0 : 1, data, &marker)) return err;
    if (comment && !data.empty()) {
        if (data.size() + 2 > kMaxSegmentLength) return kTooLargeErr;  // more than a segment can hold
        if (const long err = WriteMarker(out, kZbMarkerCOM)) return err;
        if (const long err = Zb7RW_Write_2_bytes(out, unsigned(data.size() + 2))) return err;
        if (const long err = Zb7RW_Write_n_bytes(out, reinterpret_cast<const unsigned char *>(data.data()), data.size()))
            return err;
    }
    if (comment || marker != kZbMarkerAPP13)
        if (const long err = WriteMarker(out, marker)) return err;
    if (const long err = Zb7RW_CopyRestOfFile(in, out)) return err;
    return Zb7RW_Flush(out);
}

namespace {

// Bytes of a text in the encoding, up to the first zero byte.
std::string TextBytes(const fmx::Text &text, ZbTextEncoding encoding) {
    fmx::TextUniquePtr copy;
    copy->SetText(text);
    std::string bytes(size_t(text.GetSize()) * 4 + 100, '\0');
    unsigned long length = 0;
    XP7_TxtToBlock(copy, encoding, bytes.size(), reinterpret_cast<unsigned char *>(bytes.data()), &length);
    bytes.resize(std::min<size_t>(length, std::strlen(bytes.c_str())));
    return bytes;
}

}  // namespace

std::string Zb7JPEG_IptcData_CreateIPTCRecordFromTxt(const fmx::Text &text, ZbTextEncoding encoding) {
    std::string block;
    const size_t size = text.GetSize();
    if (size == 0) return block;
    std::u16string units(size, u'\0');
    text.GetUnicode(reinterpret_cast<fmx::uint16 *>(units.data()), 0, fmx::uint32(size));
    block = std::string("\x1C\x02\x00\x00\x02\x00\x04", 7);
    const size_t limit = 2 * size + 23;
    for (size_t from = 0; block.size() < limit;) {
        // "##IPTC" and the number, a return, the value up to "\r##END".
        const size_t tag = units.find(u"##IPTC", from);
        if (tag == std::u16string::npos) break;
        const size_t lineEnd = units.find(u'\r', tag);
        if (lineEnd == std::u16string::npos) break;
        std::string line;
        for (size_t k = tag + 6; k < lineEnd; ++k) line.push_back(units[k] < 128 ? char(units[k]) : '?');
        char *numberEnd = nullptr;
        const long number = std::strtol(line.c_str(), &numberEnd, 10);
        if (numberEnd == line.c_str()) break;  // a line without a number ends the items
        const size_t valueEnd = units.find(u"\r##END", lineEnd + 1);
        if (valueEnd == std::u16string::npos) break;
        fmx::TextUniquePtr value;
        value->SetText(text, fmx::uint32(lineEnd + 1), fmx::uint32(valueEnd - lineEnd - 1));
        const std::string bytes = valueEnd > lineEnd + 1 ? TextBytes(*value, encoding) : std::string();
        from = valueEnd + 6;
        if ((number & 0xFF) == 0) {
            // Dataset 0 gives its bytes to the record version, which keeps its length.
            block.replace(5, std::min<size_t>(2, bytes.size()), bytes.substr(0, 2));
            continue;
        }
        block += std::string{char(0x1C), char(0x02), char(number & 0xFF)};
        if (bytes.size() < 0x8000)
            block += std::string{char(bytes.size() >> 8), char(bytes.size())};
        else
            block += std::string("\x80\x04", 2) + U32(bytes.size());
        block += bytes;
    }
    return block;
}

namespace {

long SetMetaData(const fmx::DataVect &parameters) {
    if (parameters.Size() < 4) return kParamErr;
    char switches[kZbSwitchesCapacity + 1] = "";
    unsigned long cursor = 0;
    fmx::TextUniquePtr sourceText, destinationText, metadata;
    Zb7_ReadSwitchesAndPath(parameters, switches, sourceText, cursor);
    XP7_GetNextTxtFromVect(parameters, destinationText, &cursor);
    XP7_GetNextTxtFromVect(parameters, metadata, &cursor);
    if (sourceText->GetSize() == 0) return kParamErr;
    ZbTextEncoding encoding = fmx::Text::kEncoding_Native;  // "-Encoding=" is read and not used
    if (XP_HasSwitch(switches, "-MacCharset")) encoding = fmx::Text::kEncoding_ASCII_Mac;
    if (XP_HasSwitch(switches, "-WinCharset")) encoding = fmx::Text::kEncoding_ASCII_Windows;
    const bool comment = XP_HasSwitch(switches, "JPEGComment");

    FSSpec sourceRef;
    std::string sourcePath;
    if (const long err = XP7_TxtToItem(*sourceText, sourceRef, kZbMaxNameLength)) return err;
    if (!XP_HasSwitch(switches, "-SetIPTC")) return kParamErr;
    ZbFork source;
    if (const long err = Zb7_OpenContentsSource(sourceRef, sourcePath, source)) return err;

    ZbNewContents contents;
    if (const long err = Zb7_BeginNewContents(sourcePath, *sourceText, *destinationText, contents)) return err;
    const std::string data = comment ? TextBytes(*metadata, encoding)
                                     : Zb7JPEG_IptcData_CreateIPTCRecordFromTxt(*metadata, encoding);
    Zb7RW_Reader in(source);
    Zb7RW_Writer out(contents.fork);
    long err = Zb7JPEG_WriteJPEGMetaData(in, out, comment, data);
    if (in.readError) err = in.readError;
    ZbFinderInfo newInfo;
    if (err == 0 && !contents.inPlace) {
        // A new destination takes the source's creator and type, unless told not to, and its
        // resource fork.
        ZbFinderInfo sourceInfo;
        (void)Zb7_PlatformGetFinderInfo(sourcePath, sourceInfo);  // a source without Finder information gives zeros
        if (!XP_HasSwitch(switches, "-NoCreator")) newInfo.SetCreator(sourceInfo.Creator());
        if (!XP_HasSwitch(switches, "-NoFileType")) newInfo.SetType(sourceInfo.Type());
        std::string resourceFork;
        bool found = false;
        // An unreadable resource fork counts as none.
        (void)Zb7_PlatformReadAttribute(sourcePath, kZbResourceForkAttribute, resourceFork, found);
        if (found) err = Zb7_PlatformSetNewFileAttribute(contents.fork, kZbResourceForkAttribute, resourceFork);
    }
    return Zb7_FinishNewContents(contents, err, newInfo);
}

}  // namespace

fmx::errcode ZbFile7_DoSetMetaData(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                   const fmx::DataVect &parameters, fmx::Data &result) {
    XP7_OSErrLToData(SetMetaData(parameters), result);
    return 0;
}
