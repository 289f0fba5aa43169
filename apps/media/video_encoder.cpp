// Codes pictures with libx264 in one fixed picture structure.
// The SMPTE 12M-1 generator of the timecode library counts on that structure around a drop-frame skip.
#include "media/video_encoder.h"

#include <algorithm>
#include <new>
#include <utility>

extern "C" {
#include <libavutil/opt.h>
}

namespace encoder {

namespace {

constexpr int RANDOM_ACCESS_SECONDS = 2;

// force-cfr: x264 then takes the picture rate from the rate and not from the 90 kHz time base.
// pic-struct: makes it write a pic_timing message, whose place the timecode takes.
// b-adapt, b-pyramid, scenecut, open-gop, and RandomAccessInterval: the same number of B pictures always, before
// I pictures too. Only the end of the input cuts the last group short.
// lookahead: none, so that a picture comes out after its B pictures, not after 40 more.
constexpr const char *X264_PARAMETERS = "force-cfr=1:pic-struct=1:aud=1:b-adapt=0:b-pyramid=none:scenecut=0:open-gop=1:"
                                        "rc-lookahead=0:sync-lookahead=0:mbtree=0";

// The pictures from one I picture to the next. A whole number of groups of B pictures and the picture behind them: an
// interval that ends inside a group would cut its B pictures short.
int RandomAccessInterval(const VideoEncoderOptions &Options) {
    const int64_t nGroup = Options.nBframes + 1;
    const int64_t nGroups = av_rescale(RANDOM_ACCESS_SECONDS, Options.Rate.num, Options.Rate.den * nGroup);
    return static_cast<int>(std::max(int64_t{1}, nGroups) * nGroup);
}

CodecContextPtr MakeContext(const AVCodec &Codec, const VideoEncoderOptions &Options) {
    CodecContextPtr Context(avcodec_alloc_context3(&Codec));
    if (!Context)
        throw std::bad_alloc();
    Context->width = Options.nWidth;
    Context->height = Options.nHeight;
    Context->pix_fmt = AV_PIX_FMT_YUV420P;
    Context->time_base = k90kHz;
    Context->framerate = Options.Rate;
    Context->sample_aspect_ratio = Options.SampleAspect;
    Context->bit_rate = Options.llBitrate;
    Context->max_b_frames = Options.nBframes;
    Context->gop_size = RandomAccessInterval(Options);
    // Threads of x264 hold a picture each; with one, the lag is the B pictures alone.
    Context->thread_count = 1;
    return Context;
}

} // namespace

VideoEncoder::VideoEncoder(const VideoEncoderOptions &Options) : m_szName(Options.szName), m_Packet(MakePacket()) {
    const AVCodec *const pCodec = avcodec_find_encoder_by_name("libx264");
    if (pCodec == nullptr)
        throw Failure(ExitCode::Encoder, "this FFmpeg has no libx264; install a build that has it");
    m_Context = MakeContext(*pCodec, Options);
    Check(av_opt_set(m_Context->priv_data, "preset", Options.szPreset.c_str(), 0), ExitCode::Encoder,
          m_szName + ": x264 preset");
    Check(av_opt_set(m_Context->priv_data, "x264-params", X264_PARAMETERS, 0), ExitCode::Encoder,
          m_szName + ": x264 settings");
    Check(av_opt_set_int(m_Context->priv_data, "forced-idr", 1, 0), ExitCode::Encoder, m_szName + ": x264 settings");
    Check(avcodec_open2(m_Context.get(), pCodec, nullptr), ExitCode::Encoder,
          m_szName + ": libx264 cannot code " + std::to_string(Options.nWidth) + "x" + std::to_string(Options.nHeight) +
              " with preset " + Options.szPreset);
}

void VideoEncoder::Encode(AVFrame &Frame, bool bNewStart, const PacketSink &Sink) {
    // A decoded picture still says which type it had in its own stream; x264 would keep to that.
    Frame.pict_type = bNewStart ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    Send(&Frame, Sink);
}

void VideoEncoder::Flush(const PacketSink &Sink) {
    Send(nullptr, Sink);
}

void VideoEncoder::Send(const AVFrame *pFrame, const PacketSink &Sink) {
    Check(avcodec_send_frame(m_Context.get(), pFrame), ExitCode::Encoder, m_szName + ": coding a picture");
    for (;;) {
        const int nResult = avcodec_receive_packet(m_Context.get(), m_Packet.get());
        if (nResult == AVERROR(EAGAIN) || nResult == AVERROR_EOF)
            return;
        Check(nResult, ExitCode::Encoder, m_szName + ": coding a picture");
        Sink(*m_Packet);
        av_packet_unref(m_Packet.get());
    }
}

} // namespace encoder
