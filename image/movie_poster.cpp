#include "image/movie_poster.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

#include "platform/shared_libraries.h"

namespace {

#define ZB_SONAME(library, major) "lib" library ".so." AV_STRINGIFY(major)

// The FFmpeg functions, bound once from the libraries of the major versions whose headers the
// plug-in was built with (their structures are read directly).
struct ZbFFmpeg {
    decltype(&avformat_open_input) openInput = nullptr;
    decltype(&avformat_find_stream_info) findStreamInfo = nullptr;
    decltype(&av_find_best_stream) findBestStream = nullptr;
    decltype(&av_read_frame) readFrame = nullptr;
    decltype(&avformat_close_input) closeInput = nullptr;
    decltype(&avcodec_alloc_context3) allocContext = nullptr;
    decltype(&avcodec_parameters_to_context) parametersToContext = nullptr;
    decltype(&avcodec_open2) open = nullptr;
    decltype(&avcodec_send_packet) sendPacket = nullptr;
    decltype(&avcodec_receive_frame) receiveFrame = nullptr;
    decltype(&avcodec_free_context) freeContext = nullptr;
    decltype(&av_packet_alloc) packetAlloc = nullptr;
    decltype(&av_packet_unref) packetUnref = nullptr;
    decltype(&av_packet_free) packetFree = nullptr;
    decltype(&av_frame_alloc) frameAlloc = nullptr;
    decltype(&av_frame_free) frameFree = nullptr;
    decltype(&av_log_set_level) logSetLevel = nullptr;
    decltype(&sws_getContext) swsGetContext = nullptr;
    decltype(&sws_scale) swsScale = nullptr;
    decltype(&sws_freeContext) swsFreeContext = nullptr;
    bool ready = false;
};

const ZbFFmpeg &FFmpeg() {
    static const ZbFFmpeg library = [] {
        ZbFFmpeg f;
        void *format = Zb7_PlatformOpenLibrary({ZB_SONAME("avformat", LIBAVFORMAT_VERSION_MAJOR)});
        void *codec = Zb7_PlatformOpenLibrary({ZB_SONAME("avcodec", LIBAVCODEC_VERSION_MAJOR)});
        void *util = Zb7_PlatformOpenLibrary({ZB_SONAME("avutil", LIBAVUTIL_VERSION_MAJOR)});
        void *scale = Zb7_PlatformOpenLibrary({ZB_SONAME("swscale", LIBSWSCALE_VERSION_MAJOR)});
        f.ready =
            Zb7_PlatformBindSymbols(format,
                                    {"avformat_open_input", "avformat_find_stream_info", "av_find_best_stream",
                                     "av_read_frame", "avformat_close_input"},
                                    f.openInput, f.findStreamInfo, f.findBestStream, f.readFrame, f.closeInput) &&
            Zb7_PlatformBindSymbols(codec,
                                    {"avcodec_alloc_context3", "avcodec_parameters_to_context", "avcodec_open2",
                                     "avcodec_send_packet", "avcodec_receive_frame", "avcodec_free_context",
                                     "av_packet_alloc", "av_packet_unref", "av_packet_free"},
                                    f.allocContext, f.parametersToContext, f.open, f.sendPacket, f.receiveFrame,
                                    f.freeContext, f.packetAlloc, f.packetUnref, f.packetFree) &&
            Zb7_PlatformBindSymbols(util, {"av_frame_alloc", "av_frame_free", "av_log_set_level"}, f.frameAlloc,
                                    f.frameFree, f.logSetLevel) &&
            Zb7_PlatformBindSymbols(scale, {"sws_getContext", "sws_scale", "sws_freeContext"}, f.swsGetContext,
                                    f.swsScale, f.swsFreeContext);
        if (f.ready) f.logSetLevel(AV_LOG_QUIET);  // nothing on the server's standard error
        return f;
    }();
    return library;
}

// The objects of one decoding, released on every path.
struct ZbMovie {
    const ZbFFmpeg &f = FFmpeg();
    AVFormatContext *format = nullptr;
    AVCodecContext *codec = nullptr;
    AVPacket *packet = nullptr;
    AVFrame *frame = nullptr;
    SwsContext *scale = nullptr;
    ~ZbMovie() {
        if (scale) f.swsFreeContext(scale);
        if (frame) f.frameFree(&frame);
        if (packet) f.packetFree(&packet);
        if (codec) f.freeContext(&codec);
        if (format) f.closeInput(&format);
    }
};

// Packets read while looking for the first picture: a file that never gives one ends the search.
constexpr int kMaxPackets = 2000;

}  // namespace

long Zb7_MoviePosterFrame(const std::string &path, ZbImage &image) {
    if (!FFmpeg().ready) return kZbErrNoImporter;
    ZbMovie m;
    // Only the file protocol: a path never becomes a network address.
    if (m.f.openInput(&m.format, ("file:" + path).c_str(), nullptr, nullptr) < 0) return kZbErrNoImporter;
    if (m.f.findStreamInfo(m.format, nullptr) < 0) return kZbErrNoImporter;
    const AVCodec *decoder = nullptr;
    const int stream = m.f.findBestStream(m.format, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
    if (stream < 0 || !decoder) return kZbErrNoImporter;
    if (!(m.codec = m.f.allocContext(decoder)) || !(m.packet = m.f.packetAlloc()) || !(m.frame = m.f.frameAlloc()))
        return kZbErrImageTooLarge;
    if (m.f.parametersToContext(m.codec, m.format->streams[stream]->codecpar) < 0 ||
        m.f.open(m.codec, decoder, nullptr) < 0)
        return kZbErrNoImporter;
    bool got = false;
    for (int n = 0; !got && n < kMaxPackets; ++n) {
        const int read = m.f.readFrame(m.format, m.packet);
        if (read < 0) {
            m.f.sendPacket(m.codec, nullptr);  // the end: what the decoder still holds
            got = m.f.receiveFrame(m.codec, m.frame) == 0;
            break;
        }
        if (m.packet->stream_index == stream && m.f.sendPacket(m.codec, m.packet) >= 0)
            got = m.f.receiveFrame(m.codec, m.frame) == 0;
        m.f.packetUnref(m.packet);
    }
    if (!got || m.frame->width <= 0 || m.frame->height <= 0) return kZbErrBadImageData;
    if (const long err = Zb7_AllocateImage(uint32_t(m.frame->width), uint32_t(m.frame->height), image)) return err;
    m.scale = m.f.swsGetContext(m.frame->width, m.frame->height, AVPixelFormat(m.frame->format), m.frame->width,
                                m.frame->height, AV_PIX_FMT_RGBA, SWS_BILINEAR, nullptr, nullptr, nullptr);
    if (!m.scale) return kZbErrBadImageData;
    uint8_t *planes[4] = {image.pixels.data(), nullptr, nullptr, nullptr};
    const int strides[4] = {int(image.width) * 4, 0, 0, 0};
    if (m.f.swsScale(m.scale, m.frame->data, m.frame->linesize, 0, m.frame->height, planes, strides) <= 0)
        return kZbErrBadImageData;
    return 0;
}
