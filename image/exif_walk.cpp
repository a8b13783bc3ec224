// The IFD walk: entries, their values as JSON, the facts of particular tags, and the GPS object.
#include "image/exif_walk.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "image/byte_order.h"
#include "image/exif_tags.h"
#include "platform/errors.h"

namespace {

// The IFDs one walk reads at the most: IFD0, Exif, GPS, Interoperability, IFD1, with room to spare.
constexpr size_t kMaxIfds = 8;
constexpr size_t kEntrySize = 12;

// TIFF field types.
enum : uint16_t {
    kByte = 1, kAscii, kShort, kLong, kRational, kSByte, kUndefined, kSShort, kSLong, kSRational, kFloat, kDouble, kIfd
};

const char *TypeName(uint16_t type) {
    static constexpr const char *kNames[] = {nullptr, "BYTE",  "ASCII",     "SHORT",  "LONG",  "RATIONAL", "SBYTE",
                                             "UNDEFINED", "SSHORT", "SLONG", "SRATIONAL", "FLOAT", "DOUBLE", "IFD"};
    return type <= kIfd ? kNames[type] : nullptr;
}
size_t ElementSize(uint16_t type) {
    static constexpr unsigned char kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
    return type <= kIfd ? kSizes[type] : 0;
}

// Tags read for the facts or followed to another IFD.
enum : uint16_t {
    kTagImageWidth = 0x0100,
    kTagImageLength = 0x0101,
    kTagOrientation = 0x0112,
    kTagXmp = 0x02BC,
    kTagIptc = 0x83BB,
    kTagPhotoshop = 0x8649,
    kTagExifIfd = 0x8769,
    kTagGpsIfd = 0x8825,
    kTagInteropIfd = 0xA005,
    kGpsLatitudeRef = 1,
    kGpsLatitude,
    kGpsLongitudeRef,
    kGpsLongitude,
    kGpsAltitudeRef,
    kGpsAltitude,
    kGpsTimeStamp,
    kGpsDateStamp = 29,
};

// ASCII up to its first terminator.
std::string_view AsciiText(const uint8_t *p, size_t bytes) {
    if (bytes == 0) return {};  // a count of 0 has no bytes, and p may be null
    const auto *end = static_cast<const uint8_t *>(std::memchr(p, 0, bytes));
    return {reinterpret_cast<const char *>(p), end ? size_t(end - p) : bytes};
}

// Degrees written as text by some writers ("52.0138", "52 0 50", "52,0,50"): up to three numbers.
std::vector<double> TextNumbers(const std::string &text) {
    std::vector<double> v;
    const char *p = text.c_str();
    while (*p && v.size() < 3) {
        char *end = nullptr;
        const double d = std::strtod(p, &end);
        if (end == p) {
            ++p;
            continue;
        }
        v.push_back(d);
        p = end;
    }
    return v;
}

struct Walker {
    ZbBoundedSource &src;
    const ZbMetaJsonOptions &options;
    ZbJson &out;
    ZbExifWalk &walk;
    bool le;
    std::vector<uint32_t> visited;

    uint16_t U16(const uint8_t *p) const { return ZbU16(p, le); }
    uint32_t U32(const uint8_t *p) const { return ZbU32(p, le); }
    void Fail() {
        if (walk.error == 0) walk.error = kBadExifErr;
    }

    // The numbers of n elements as doubles, rationals divided (0 for a zero denominator); nothing
    // for types that are not numbers.
    std::vector<double> Numbers(uint16_t type, const uint8_t *p, size_t n) const {
        std::vector<double> v;
        for (size_t k = 0; k < n; ++k) {
            const uint8_t *e = p + k * ElementSize(type);
            switch (type) {
                case kByte: case kUndefined: v.push_back(e[0]); break;
                case kShort: v.push_back(U16(e)); break;
                case kLong: case kIfd: v.push_back(U32(e)); break;
                case kRational: v.push_back(U32(e + 4) ? double(U32(e)) / double(U32(e + 4)) : 0.0); break;
                case kSRational: {
                    const int32_t numerator = int32_t(U32(e)), denominator = int32_t(U32(e + 4));
                    v.push_back(denominator ? double(numerator) / double(denominator) : 0.0);
                    break;
                }
                default: break;
            }
        }
        return v;
    }

    // One element as a JSON number; a fraction with denominator 0 is null.
    void Element(uint16_t type, const uint8_t *e) {
        switch (type) {
            case kByte: out.Uint(e[0]); break;
            case kShort: out.Uint(U16(e)); break;
            case kLong: case kIfd: out.Uint(U32(e)); break;
            case kSByte: out.Int(int8_t(e[0])); break;
            case kSShort: out.Int(int16_t(U16(e))); break;
            case kSLong: out.Int(int32_t(U32(e))); break;
            case kRational: {
                const uint32_t n = U32(e), d = U32(e + 4);
                if (d == 0) out.Null(); else out.Number(double(n) / double(d));
                break;
            }
            case kSRational: {
                const int32_t n = int32_t(U32(e)), d = int32_t(U32(e + 4));
                if (d == 0) out.Null(); else out.Number(double(n) / double(d));
                break;
            }
            case kFloat: {
                const uint32_t bits = U32(e);
                float f;
                std::memcpy(&f, &bits, 4);
                out.Number(f);
                break;
            }
            case kDouble: {
                const uint64_t hi = U32(le ? e + 4 : e), lo = U32(le ? e : e + 4);
                const uint64_t bits = hi << 32 | lo;
                double d;
                std::memcpy(&d, &bits, 8);
                out.Number(d);
                break;
            }
            default: out.Null();
        }
    }

    // A rational's numerator and denominator as a pair.
    void Fraction(uint16_t type, const uint8_t *e) {
        out.BeginArray();
        if (type == kRational) {
            out.Uint(U32(e));
            out.Uint(U32(e + 4));
        } else {
            out.Int(int32_t(U32(e)));
            out.Int(int32_t(U32(e + 4)));
        }
        out.EndArray();
    }

    // "value" of n elements at p: one element alone, more as an array; rationals also as
    // "rational", their fractions.
    void Value(uint16_t type, const uint8_t *p, size_t bytes, size_t n) {
        out.Key("value");
        if (type == kAscii) {
            out.Text(AsciiText(p, bytes));
            return;
        }
        if (type == kUndefined) {
            out.Hex(std::string_view(reinterpret_cast<const char *>(p), bytes));
            return;
        }
        const size_t size = ElementSize(type);
        const auto each = [&](auto write) {
            if (n == 1) return write(p);
            out.BeginArray();
            for (size_t k = 0; k < n; ++k) write(p + k * size);
            out.EndArray();
        };
        each([&](const uint8_t *e) { Element(type, e); });
        if (type == kRational || type == kSRational) {
            out.Key("rational");
            each([&](const uint8_t *e) { Fraction(type, e); });
        }
    }

    // The facts of an entry whose n elements (bytes in all, `cut` by the value bound) are at p.
    void Facts(ZbExifIfd ifd, uint16_t tag, uint16_t type, const uint8_t *p, size_t bytes, size_t n, bool cut) {
        ZbExifFacts &f = walk.facts;
        const auto text = [&] { return std::string(AsciiText(p, bytes)); };
        const auto first = [&](uint64_t &into) {
            const auto v = Numbers(type, p, std::min<size_t>(n, 1));
            if (v.empty()) return false;
            into = uint64_t(v[0]);
            return true;
        };
        // GPS degrees are rationals, or text from some writers.
        const auto degrees = [&] { return type == kAscii ? TextNumbers(text()) : Numbers(type, p, n); };
        if (ifd == ZbExifIfd::ifd0) {
            if (tag == kTagOrientation) f.hasOrientation = first(f.orientation);
            if (tag == kTagImageWidth) f.hasWidth = first(f.width);
            if (tag == kTagImageLength) f.hasHeight = first(f.height);
            if (tag == kTagIptc && f.iptc.empty()) f.iptc.assign(p, p + bytes);
            if (tag == kTagPhotoshop && f.photoshop.empty()) f.photoshop.assign(p, p + bytes);
            if (tag == kTagXmp && f.xmp.empty()) {
                f.xmp.assign(p, p + bytes);
                f.xmpTruncated = cut;
            }
        } else if (ifd == ZbExifIfd::gps) {
            switch (tag) {
                case kGpsLatitudeRef: if (type == kAscii) f.latRef = text(); break;
                case kGpsLatitude: f.lat = degrees(); break;
                case kGpsLongitudeRef: if (type == kAscii) f.lonRef = text(); break;
                case kGpsLongitude: f.lon = degrees(); break;
                case kGpsAltitudeRef: if (n >= 1 && (type == kByte || type == kUndefined)) f.altitudeBelow = p[0] == 1; break;
                case kGpsAltitude:
                    if (type == kRational && n >= 1 && U32(p + 4) != 0) {
                        f.hasAltitude = true;
                        f.altitude = double(U32(p)) / double(U32(p + 4));
                    }
                    break;
                case kGpsTimeStamp: if (type == kRational) f.time = Numbers(type, p, n); break;
                case kGpsDateStamp: if (type == kAscii) f.dateStamp = text(); break;
                default: break;
            }
        }
    }

    // The value of an entry: "value" (or "error" when it lies outside the data), "truncated" when
    // the value bound cut it; the IFD it points to, if any, into `next`.
    void EntryValue(ZbExifIfd ifd, uint16_t tag, uint16_t type, uint32_t count, const uint8_t *entry,
                    std::vector<std::pair<ZbExifIfd, uint32_t>> &next) {
        const size_t element = ElementSize(type);
        if (element == 0) return;
        const uint64_t size = uint64_t(count) * element;
        // A value of up to 4 bytes is in the entry itself; a longer one at the offset there.
        const uint64_t at = size > 4 ? U32(entry + 8) : 0;
        if (size > 4 && (at > src.size || size > src.size - at)) {
            out.Key("error");
            out.Int(kBadExifErr);
            return;
        }
        // The elements that fit the value bound.
        const uint64_t take = std::min<uint64_t>(size, options.maxValueBytes / element * element);
        const size_t n = size_t(take / element);
        std::vector<uint8_t> bytes;
        bool read = true;
        if (size <= 4)
            bytes.assign(entry + 8, entry + 8 + size);
        else
            read = src.Vector(at, size_t(take), bytes);
        if (!read) {
            out.Key("error");
            out.Int(kBadExifErr);
        } else if (n > 0 || type == kAscii || type == kUndefined) {
            Value(type, bytes.data(), bytes.size(), n);
            Facts(ifd, tag, type, bytes.data(), bytes.size(), n, take < size);
        }
        if (take < size) out.TrueField("truncated");
        if ((type == kLong || type == kIfd) && count >= 1 && !bytes.empty()) {
            const uint32_t target = U32(bytes.data());
            if (ifd == ZbExifIfd::ifd0 && tag == kTagExifIfd) next.push_back({ZbExifIfd::exif, target});
            if (ifd == ZbExifIfd::ifd0 && tag == kTagGpsIfd) next.push_back({ZbExifIfd::gps, target});
            if (ifd == ZbExifIfd::exif && tag == kTagInteropIfd) next.push_back({ZbExifIfd::interop, target});
        }
    }

    // One directory, its entries into the array, then the directories it points to, depth first
    // in the order the pointers were met.
    void Directory(ZbExifIfd ifd, uint32_t offset) {
        if (walk.truncated) return;
        if (std::find(visited.begin(), visited.end(), offset) != visited.end() || visited.size() >= kMaxIfds) {
            Fail();  // a directory met twice: a loop
            return;
        }
        visited.push_back(offset);
        uint8_t head[2];
        if (uint64_t(offset) + 2 > src.size || !src.Read(offset, 2, head)) return Fail();
        const size_t entries = U16(head);
        size_t whole = entries;
        if (uint64_t(offset) + 2 + uint64_t(entries) * kEntrySize > src.size) {
            Fail();  // a table running past the data: the entries that are inside it
            whole = size_t((src.size - offset - 2) / kEntrySize);
        }
        std::vector<uint8_t> table;
        if (!src.Vector(offset + 2, whole * kEntrySize, table)) return Fail();
        std::vector<std::pair<ZbExifIfd, uint32_t>> next;
        for (size_t i = 0; i < whole; ++i) {
            if (out.Size() > options.maxAnswerBytes) {
                walk.truncated = true;
                return;
            }
            const uint8_t *e = table.data() + i * kEntrySize;
            const uint16_t tag = U16(e), type = U16(e + 2);
            const uint32_t count = U32(e + 4);
            out.BeginObject();
            out.TextField("ifd", Zb7_ExifIfdName(ifd));
            out.UintField("tag", tag);
            if (const char *name = Zb7_ExifTagName(ifd, tag)) out.TextField("name", name);
            out.Key("type");
            if (const char *typeName = TypeName(type))
                out.Text(typeName);
            else
                out.Text(std::to_string(type));
            out.UintField("count", count);
            EntryValue(ifd, tag, type, count, e, next);
            out.EndObject();
        }
        // IFD0 links to IFD1 (the thumbnail's) after its last entry.
        if (ifd == ZbExifIfd::ifd0 && whole == entries) {
            uint8_t link[4];
            const uint64_t at = uint64_t(offset) + 2 + uint64_t(entries) * kEntrySize;
            if (at + 4 <= src.size && src.Read(at, 4, link) && U32(link) != 0) next.push_back({ZbExifIfd::ifd1, U32(link)});
        }
        for (const auto &[nextIfd, nextOffset] : next) Directory(nextIfd, nextOffset);
    }
};

// Degrees, minutes and seconds with a reference letter as signed decimal degrees.
bool Degrees(const std::vector<double> &dms, const std::string &ref, char negative, double &out) {
    if (dms.empty()) return false;
    out = dms[0] + (dms.size() > 1 ? dms[1] / 60 : 0) + (dms.size() > 2 ? dms[2] / 3600 : 0);
    if (!ref.empty() && (ref[0] == negative || ref[0] == negative + ('a' - 'A'))) out = -out;
    return true;
}

// The date stamp ("YYYY:MM:DD") and the time stamp (hours, minutes, seconds in UTC) as
// "YYYY-MM-DDThh:mm:ss[.mmm]Z"; false for a time that is negative or past two days.
bool GpsTimestamp(const ZbExifFacts &f, char (&text)[48]) {
    const double seconds = f.time[0] * 3600 + f.time[1] * 60 + f.time[2];
    if (!(seconds >= 0 && seconds < 86400 * 2)) return false;
    const long whole = long(seconds);
    const long millis = std::lround((seconds - double(whole)) * 1000);
    const char *date = f.dateStamp.c_str();
    int n = std::snprintf(text, sizeof text, "%.4s-%.2s-%.2sT%02ld:%02ld:%02ld", date, date + 5, date + 8,
                          whole / 3600 % 24, whole / 60 % 60, whole % 60);
    if (millis > 0 && millis < 1000) n += std::snprintf(text + n, sizeof text - size_t(n), ".%03ld", millis);
    std::snprintf(text + n, sizeof text - size_t(n), "Z");
    return true;
}

}  // namespace

bool Zb7_WalkExif(ZbBoundedSource &tiff, const ZbMetaJsonOptions &options, ZbJson &entries, ZbExifWalk &walk) {
    uint8_t head[8];
    if (tiff.size < 8 || !tiff.Read(0, 8, head)) return false;
    const bool le = head[0] == 'I' && head[1] == 'I';
    if (!le && (head[0] != 'M' || head[1] != 'M')) return false;
    if (ZbU16(head + 2, le) != 42) return false;
    Walker walker{tiff, options, entries, walk, le, {}};
    walker.Directory(ZbExifIfd::ifd0, ZbU32(head + 4, le));
    return true;
}

void Zb7_WriteExifGps(ZbJson &json, const ZbExifFacts &f) {
    double lat = 0, lon = 0;
    const bool hasLat = Degrees(f.lat, f.latRef, 'S', lat), hasLon = Degrees(f.lon, f.lonRef, 'W', lon);
    const bool hasTime = f.time.size() >= 3 && f.dateStamp.size() >= 10;
    if (!hasLat && !hasLon && !f.hasAltitude && !hasTime) return;
    json.Key("gps");
    json.BeginObject();
    if (hasLat) {
        json.Key("latitude");
        json.Number(lat);
    }
    if (hasLon) {
        json.Key("longitude");
        json.Number(lon);
    }
    if (f.hasAltitude) {
        json.Key("altitude");
        json.Number(f.altitudeBelow ? -f.altitude : f.altitude);
    }
    char timestamp[48];
    if (hasTime && GpsTimestamp(f, timestamp)) json.TextField("timestamp", timestamp);
    json.EndObject();
}
