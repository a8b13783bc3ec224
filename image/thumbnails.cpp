// CreateThumbnail: a small picture of an image file as a container with "JPEG", "SIZE" and, on
// request, "PICT" streams. ReferenceToClip has no work on this platform.
#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "filecore/fork_io.h"
#include "filecore/fsspec.h"
#include "filecore/paths.h"
#include "filecore/resources.h"
#include "image/decoders.h"
#include "image/drawing.h"
#include "image/jpeg_codec.h"
#include "image/movie_poster.h"
#include "image/pict_reader.h"
#include "image/pict_writer.h"
#include "image/thumbnails.h"
#include "platform/errors.h"
#include "platform/forks.h"
#include "core/globals.h"
#include "core/functions.h"
#include "core/params.h"
#include "core/results.h"
#include "text/encoding.h"

namespace {

constexpr size_t kLongNames = 255;
// A source file is read whole; larger ones are refused rather than held in memory.
constexpr int64_t kMaxSourceBytes = 512ll * 1024 * 1024;

// The file's bytes.
long ReadWholeFile(const std::string &path, std::vector<uint8_t> &bytes) {
    ZbFork fork;
    if (const long err = Zb7_PlatformOpenDataFork(path, false, fork)) return err;
    int64_t size = 0;
    if (const long err = Zb7_PlatformForkSize(fork, size)) return err;
    if (size > kMaxSourceBytes) return kMemFullErr;
    try {
        bytes.resize(size_t(size));
    } catch (const std::bad_alloc &) {
        return kMemFullErr;
    }
    size_t got = 0;
    if (const long err = Zb7_PlatformReadFork(fork, 0, bytes.data(), bytes.size(), got)) return err;
    bytes.resize(got);
    return 0;
}

}  // namespace

ZbThumbnailSwitches Zb7_ReadThumbnailSwitches(const char *switches) {
    ZbThumbnailSwitches s;
    long size = 0;
    if (XP_GetTaggedLong(switches, "-size", &size)) {
        static constexpr long kStandardSizes[] = {32, 80, 128, 256, 350, 512};
        if (std::find(std::begin(kStandardSizes), std::end(kStandardSizes), size) != std::end(kStandardSizes))
            s.size = uint32_t(size);
        else if (XP_HasSwitch(switches, "-AllowAllThumbnailSizes"))
            s.size = uint32_t(std::max(size, 0L));
    }
    s.size = std::min<uint32_t>(s.size, kZbMaxThumbnailSize);
    s.depth = XP_HasSwitch(switches, "bitdepth=8") ? 8 : 16;
    s.includePict = XP_HasSwitch(switches, "-IncludePictFormat");
    s.tryMovie = XP_HasSwitch(switches, "-TryMoviePict");
    s.getResourcePict = XP_HasSwitch(switches, "GetResourcePict");
    s.preferResourceFork = XP_HasSwitch(switches, "preferResourceFork");
    s.tryResourceFork = XP_HasSwitch(switches, "tryResourceFork");
    return s;
}

long Zb7_PictureFromImageFile(const uint8_t *data, size_t size, uint32_t thumbnailSize, ZbImage &picture) {
    switch (Zb7_SniffImageFormat(data, size)) {
        case ZbImageFormat::jpeg: {
            if (const long err = Zb7_DecodeJPEG(data, size, thumbnailSize, picture)) return err;
            return Zb7_ApplyOrientation(picture, Zb7_JPEGOrientation(data, size));
        }
        case ZbImageFormat::png: return Zb7_DecodePNG(data, size, picture);
        case ZbImageFormat::gif: return Zb7_DecodeGIF(data, size, picture);
        case ZbImageFormat::tiff: return Zb7_DecodeTIFF(data, size, picture);
        case ZbImageFormat::webp: return Zb7_DecodeWebP(data, size, thumbnailSize, picture);
        case ZbImageFormat::bmp: return Zb7_DecodeBMP(data, size, picture);
        case ZbImageFormat::unknown: break;
    }
    return kNoImporterErr;
}

namespace {

// The picture of the file's first picture resource ("PICT"), and the resource's bytes.
long PictureFromResource(const FSSpec &ref, std::string &pict, ZbImage &picture) {
    if (const long err = Zb7_ResourceToHandle(ref, ZbFourCharCode("PICT"), 1, pict)) return err;
    return Zb7_PictToImage(reinterpret_cast<const uint8_t *>(pict.data()), pict.size(), picture);
}

// The file's image, or with "-TryMoviePict" the poster frame of a movie no image decoder reads.
long PictureFromFile(const std::string &path, const ZbThumbnailSwitches &switches, ZbImage &picture) {
    std::vector<uint8_t> bytes;
    if (const long err = ReadWholeFile(path, bytes)) return err;
    const long err = Zb7_PictureFromImageFile(bytes.data(), bytes.size(), switches.size, picture);
    if (err != kNoImporterErr || !switches.tryMovie) return err;
    bytes = {};
    return Zb7_MoviePosterFrame(path, picture);
}

}  // namespace

long Zb7_MakeThumbnail(const FSSpec &ref, const std::string &path, const ZbThumbnailSwitches &switches,
                       ZbThumbnail &thumbnail) {
    if (switches.size == 0) return kParamErr;
    // The sources in the switches' order: the picture resource as it is; the picture resource
    // scaled before the file's image; or the file's image before the picture resource.
    ZbImage picture;
    std::string resource;
    long err = 0;
    if (switches.getResourcePict) {
        err = PictureFromResource(ref, resource, picture);
    } else if (switches.preferResourceFork) {
        if ((err = PictureFromResource(ref, resource, picture)) != 0) err = PictureFromFile(path, switches, picture);
        resource.clear();
    } else {
        err = PictureFromFile(path, switches, picture);
        if (err && switches.tryResourceFork) err = PictureFromResource(ref, resource, picture);
        resource.clear();
    }
    if (err) return err;
    // A resource picture taken as it is keeps its size and colours, and is its own "PICT".
    const bool asItIs = switches.getResourcePict;
    const uint32_t size = asItIs ? std::max(picture.width, picture.height) : switches.size;
    if (const long e = Zb7_DrawThumbnail(picture, size, asItIs ? 24 : switches.depth, thumbnail.drawing)) return e;
    picture = {};
    const ZbDrawing &d = thumbnail.drawing;
    if (const long e = Zb7_EncodeJPEG(d.rgb.data(), d.width, d.height, kZbJPEGNormalQuality, thumbnail.jpeg))
        return e;
    if (!switches.includePict) return 0;
    if (asItIs) {
        thumbnail.pict.assign(resource.begin(), resource.end());
        return 0;
    }
    return Zb7_DrawingToPICT(d, thumbnail.pict);
}

namespace {

long CreateThumbnail(const fmx::DataVect &parameters, fmx::BinaryDataUniquePtr &container) {
    char switchText[kZbSwitchesCapacity + 1] = "";
    fmx::TextUniquePtr pathText;
    unsigned long cursor = 0;
    if (!Zb7_ReadSwitchesAndPath(parameters, switchText, pathText, cursor)) return kParamErr;
    const ZbThumbnailSwitches switches = Zb7_ReadThumbnailSwitches(switchText);
    FSSpec ref;
    if (const long err = XP7_TxtToItem(*pathText, ref, kLongNames)) return err;
    std::string path;
    if (const long err = Zb7_FSSpecToPOSIXPath(ref, path)) return err;
    ZbThumbnail thumbnail;
    if (const long err = Zb7_MakeThumbnail(ref, path, switches, thumbnail)) return err;
    // The streams, all or none.
    const ZbDrawing &d = thumbnail.drawing;
    if (switches.includePict) {
        fmx::QuadCharUniquePtr pict('P', 'I', 'C', 'T');
        if (container->Add(*pict, fmx::uint32(thumbnail.pict.size()), thumbnail.pict.data()) != 0) return kMemFullErr;
    }
    if (container->AddSIZEData(short(d.width), short(d.height)) != 0) return kMemFullErr;
    fmx::QuadCharUniquePtr jpeg('J', 'P', 'E', 'G');
    if (container->Add(*jpeg, fmx::uint32(thumbnail.jpeg.size()), thumbnail.jpeg.data()) != 0) return kMemFullErr;
    return 0;
}

}  // namespace

fmx::errcode ZbFile7_DoCreateThumbnail(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                       const fmx::DataVect &parameters, fmx::Data &result) {
    fmx::BinaryDataUniquePtr container;
    if (const long err = CreateThumbnail(parameters, container))
        XP7_OSErrLToData(err, result);
    else
        result.SetBinaryData(*container, true);
    return 0;
}

fmx::errcode ZbFile7_DoReferenceToClip(short /*functionId*/, const fmx::ExprEnv & /*env*/,
                                       const fmx::DataVect & /*parameters*/, fmx::Data &result) {
    XP7_OSErrLToData(kZbErrNotAvailable, result);
    return 0;
}
