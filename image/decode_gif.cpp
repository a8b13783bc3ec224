// GIF through giflib, read record by record so that sizes are checked before anything is
// allocated for them: the first frame drawn on a transparent canvas of the logical screen.
#include <gif_lib.h>

#include <cstring>
#include <new>
#include <vector>

#include "image/decoders.h"
#include "platform/errors.h"
#include "platform/shared_libraries.h"

namespace {

struct ZbGiflib {
    decltype(&DGifOpen) open = nullptr;
    decltype(&DGifCloseFile) close = nullptr;
    decltype(&DGifGetRecordType) recordType = nullptr;
    decltype(&DGifGetImageDesc) imageDesc = nullptr;
    decltype(&DGifGetLine) line = nullptr;
    decltype(&DGifGetExtension) extension = nullptr;
    decltype(&DGifGetExtensionNext) extensionNext = nullptr;
    bool ready = false;
};

const ZbGiflib &Giflib() {
    static const ZbGiflib library = [] {
        ZbGiflib l;
        l.ready = Zb7_PlatformBindSymbols(Zb7_PlatformOpenLibrary({"libgif.so.7"}),
                                          {"DGifOpen", "DGifCloseFile", "DGifGetRecordType", "DGifGetImageDesc",
                                           "DGifGetLine", "DGifGetExtension", "DGifGetExtensionNext"},
                                          l.open, l.close, l.recordType, l.imageDesc, l.line, l.extension,
                                          l.extensionNext);
        return l;
    }();
    return library;
}

struct ZbMemory {
    const uint8_t *data;
    size_t size, at = 0;
};

int ReadMemory(GifFileType *gif, GifByteType *to, int count) {
    ZbMemory &in = *static_cast<ZbMemory *>(gif->UserData);
    const size_t n = count <= 0 ? 0 : std::min(size_t(count), in.size - in.at);
    std::memcpy(to, in.data + in.at, n);
    in.at += n;
    return int(n);
}

// The open file, closed on every path.
struct ZbGif {
    GifFileType *gif;
    ~ZbGif() {
        int error = 0;
        if (gif) Giflib().close(gif, &error);
    }
};

}  // namespace

long Zb7_DecodeGIF(const uint8_t *data, size_t size, ZbImage &image) {
    const ZbGiflib &lib = Giflib();
    if (!lib.ready) return kNoImporterErr;
    ZbMemory memory{data, size};
    int error = 0;
    ZbGif file{lib.open(&memory, ReadMemory, &error)};
    GifFileType *gif = file.gif;
    if (!gif) return kBadImageDataErr;
    int transparent = -1;
    for (;;) {
        GifRecordType record;
        if (lib.recordType(gif, &record) == GIF_ERROR) return kBadImageDataErr;
        if (record == TERMINATE_RECORD_TYPE) return kBadImageDataErr;  // no frame at all
        if (record == EXTENSION_RECORD_TYPE) {
            int code = 0;
            GifByteType *block = nullptr;
            if (lib.extension(gif, &code, &block) == GIF_ERROR) return kBadImageDataErr;
            if (code == GRAPHICS_EXT_FUNC_CODE && block && block[0] >= 4 && (block[1] & 1)) transparent = block[4];
            while (block)
                if (lib.extensionNext(gif, &block) == GIF_ERROR) return kBadImageDataErr;
            continue;
        }
        if (record != IMAGE_DESC_RECORD_TYPE) continue;
        if (lib.imageDesc(gif) == GIF_ERROR) return kBadImageDataErr;
        const GifImageDesc &frame = gif->Image;
        const ColorMapObject *colours = frame.ColorMap ? frame.ColorMap : gif->SColorMap;
        if (!colours || frame.Width <= 0 || frame.Height <= 0 || frame.Left < 0 || frame.Top < 0)
            return kBadImageDataErr;
        if (uint64_t(frame.Width) * uint64_t(frame.Height) > kZbMaxDecodedPixels) return kMemFullErr;
        const uint32_t width = gif->SWidth > 0 ? uint32_t(gif->SWidth) : uint32_t(frame.Left + frame.Width);
        const uint32_t height = gif->SHeight > 0 ? uint32_t(gif->SHeight) : uint32_t(frame.Top + frame.Height);
        if (const long err = Zb7_AllocateImage(width, height, image)) return err;  // transparent
        std::vector<GifPixelType> line;
        try {
            line.resize(size_t(frame.Width));
        } catch (const std::bad_alloc &) {
            return kMemFullErr;
        }
        // Interlaced rows come in four passes.
        static constexpr int kStart[] = {0, 4, 2, 1}, kStep[] = {8, 8, 4, 2};
        const int passes = frame.Interlace ? 4 : 1;
        for (int pass = 0; pass < passes; ++pass)
            for (int y = frame.Interlace ? kStart[pass] : 0; y < frame.Height; y += frame.Interlace ? kStep[pass] : 1) {
                if (lib.line(gif, line.data(), frame.Width) == GIF_ERROR) return kBadImageDataErr;
                const uint32_t row = uint32_t(frame.Top + y);
                if (row >= height) continue;
                for (int x = 0; x < frame.Width; ++x) {
                    const uint32_t column = uint32_t(frame.Left + x);
                    if (column >= width || line[x] == transparent || line[x] >= colours->ColorCount) continue;
                    const GifColorType &c = colours->Colors[line[x]];
                    uint8_t *p = image.pixels.data() + (size_t(row) * width + column) * 4;
                    p[0] = c.Red, p[1] = c.Green, p[2] = c.Blue, p[3] = 255;
                }
            }
        return 0;
    }
}
