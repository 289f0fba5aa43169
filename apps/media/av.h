// Owners of FFmpeg's objects, and FFmpeg's errors as text.
// An owner frees with the function that belongs to its type; the makers throw when memory runs out.
#ifndef ENCODER_MEDIA_AV_H
#define ENCODER_MEDIA_AV_H

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libavutil/rational.h>
}

#include "common/failure.h"
#include "common/pts.h"
#include "formats/result.h"

namespace encoder {

// PTS and DTS travel in ticks of 90 kHz everywhere in this program.
constexpr AVRational TIME_BASE_90_KHZ{1, TICKS_PER_SECOND};

struct AvFree {
    void operator()(AVPacket *pPacket) const { av_packet_free(&pPacket); }
    void operator()(AVFrame *pFrame) const { av_frame_free(&pFrame); }
    void operator()(AVCodecContext *pContext) const { avcodec_free_context(&pContext); }
    void operator()(AVFilterGraph *pGraph) const { avfilter_graph_free(&pGraph); }
};

using PacketPtr = std::unique_ptr<AVPacket, AvFree>;
using FramePtr = std::unique_ptr<AVFrame, AvFree>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, AvFree>;
using FilterGraphPtr = std::unique_ptr<AVFilterGraph, AvFree>;

inline Bytes BytesOf(const AVPacket &Packet) {
    return {Packet.data, static_cast<std::size_t>(Packet.size)};
}

inline bool IsDamaged(const AVPacket &Packet) {
    return (Packet.flags & AV_PKT_FLAG_CORRUPT) != 0;
}

// Parameter sets beside the stream.
inline Bytes HeadersOf(const AVCodecParameters &Parameters) {
    return {Parameters.extradata, static_cast<std::size_t>(Parameters.extradata_size)};
}

PacketPtr MakePacket();
FramePtr MakeFrame();

// FFmpeg's words for one of its error codes.
std::string AvErrorText(int nError);

// Throws a Failure "WHAT: REASON" when nResult is negative; gives nResult otherwise.
int Check(int nResult, ExitCode enCode, const std::string &szWhat);

} // namespace encoder

#endif
