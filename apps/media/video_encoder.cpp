// Codes pictures with libx264 or libx265 in one fixed picture structure.
// The SMPTE 12M-1 generator of the timecode library counts on that structure around a drop-frame skip.
#include "media/video_encoder.h"

#include <algorithm>
#include <new>
#include <utility>

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
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

// The same for x265, which looks ahead by one picture more than there are B pictures, and holds one for each thread.
std::string X265Parameters(const VideoEncoderOptions &Options) {
    return "log-level=none:aud=1:repeat-headers=1:b-adapt=0:b-pyramid=0:scenecut=0:open-gop=1:rc-lookahead=" +
           std::to_string(Options.nBframes + 1) + ":cutree=0:lookahead-slices=0:frame-threads=1:info=0";
}

// Which field is shown first, whichever is coded first.
bool IsTopFirst(AVFieldOrder enFields) {
    return enFields == AV_FIELD_TT || enFields == AV_FIELD_BT;
}

bool IsInterlaced(AVFieldOrder enFields) {
    return enFields > AV_FIELD_PROGRESSIVE;
}

const AVCodec *FindEncoder(bool bHevc) {
    const char *const szName = bHevc ? "libx265" : "libx264";
    const AVCodec *const pCodec = avcodec_find_encoder_by_name(szName);
    if (pCodec == nullptr)
        throw Failure(ExitCode::Encoder, std::string("this FFmpeg has no ") + szName + "; install a build that has it");
    return pCodec;
}

// The pictures from one I picture to the next. A whole number of groups of B pictures and the picture behind them: an
// interval that ends inside a group would cut its B pictures short.
int RandomAccessInterval(const VideoEncoderOptions &Options) {
    const std::int64_t nGroup = Options.nBframes + 1;
    const std::int64_t nGroups = av_rescale(RANDOM_ACCESS_SECONDS, Options.Rate.num, Options.Rate.den * nGroup);
    return static_cast<int>(std::max(std::int64_t{1}, nGroups) * nGroup);
}

void SetFormat(AVCodecContext &Context, const PictureFormat &Format) {
    Context.width = Format.nWidth;
    Context.height = Format.nHeight;
    Context.sample_aspect_ratio = Format.SampleAspect;
    Context.pix_fmt = Format.enPixels;
    Context.color_range = Format.enRange;
    Context.color_primaries = Format.enPrimaries;
    Context.color_trc = Format.enTransfer;
    Context.colorspace = Format.enMatrix;
    Context.chroma_sample_location = Format.enChromaPlace;
    Context.field_order = Format.enFields;
    if (IsInterlaced(Format.enFields))
        Context.flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
}

CodecContextPtr MakeContext(const AVCodec &Codec, const VideoEncoderOptions &Options) {
    CodecContextPtr Context(avcodec_alloc_context3(&Codec));
    if (!Context)
        throw std::bad_alloc();
    SetFormat(*Context, Options.Format);
    Context->time_base = TIME_BASE_90_KHZ;
    Context->framerate = Options.Rate;
    Context->bit_rate = Options.llBitrate;
    Context->max_b_frames = Options.nBframes;
    Context->gop_size = RandomAccessInterval(Options);
    // Threads of x264 hold a picture each; with one, the lag is the B pictures alone.
    Context->thread_count = 1;
    return Context;
}

} // namespace

PictureFormat FormatOf(const AVCodecParameters &Video) {
    PictureFormat Format;
    Format.nWidth = Video.width;
    Format.nHeight = Video.height;
    Format.SampleAspect = Video.sample_aspect_ratio;
    if (Video.format != AV_PIX_FMT_NONE)
        Format.enPixels = static_cast<AVPixelFormat>(Video.format);
    if (IsInterlaced(Video.field_order))
        Format.enFields = IsTopFirst(Video.field_order) ? AV_FIELD_TT : AV_FIELD_BB;
    Format.enRange = Video.color_range;
    Format.enPrimaries = Video.color_primaries;
    Format.enTransfer = Video.color_trc;
    Format.enMatrix = Video.color_space;
    Format.enChromaPlace = Video.chroma_location;
    return Format;
}

AVPixelFormat VideoEncoder::NearestFormat(bool bHevc, AVPixelFormat enPixels) {
    return avcodec_find_best_pix_fmt_of_list(FindEncoder(bHevc)->pix_fmts, enPixels, 0, nullptr);
}

VideoEncoder::VideoEncoder(const VideoEncoderOptions &Options) : m_szName(Options.szName), m_Packet(MakePacket()) {
    const AVCodec *const pCodec = FindEncoder(Options.bHevc);
    const PictureFormat &Format = Options.Format;
    if (Options.bHevc && encoder::IsInterlaced(Format.enFields)) {
        throw Failure(ExitCode::Encoder,
                      m_szName +
                          " is interlaced, and libx265 codes no fields; take --codec h264, which does, or --copy");
    }
    m_Context = MakeContext(*pCodec, Options);
    std::string szSettings = Options.bHevc ? X265Parameters(Options) : X264_PARAMETERS;
    if (encoder::IsInterlaced(Format.enFields))
        szSettings += IsTopFirst(Format.enFields) ? ":tff=1" : ":bff=1";
    const std::string szCodec = pCodec->name;
    Check(av_opt_set(m_Context->priv_data, "preset", Options.szPreset.c_str(), 0), ExitCode::Encoder,
          m_szName + ": " + szCodec + " preset");
    Check(av_opt_set(m_Context->priv_data, Options.bHevc ? "x265-params" : "x264-params", szSettings.c_str(), 0),
          ExitCode::Encoder, m_szName + ": " + szCodec + " settings");
    Check(av_opt_set_int(m_Context->priv_data, "forced-idr", 1, 0), ExitCode::Encoder,
          m_szName + ": " + szCodec + " settings");
    Check(avcodec_open2(m_Context.get(), pCodec, nullptr), ExitCode::Encoder,
          m_szName + ": " + szCodec + " cannot code " + std::to_string(Format.nWidth) + "x" +
              std::to_string(Format.nHeight) + " (" + av_get_pix_fmt_name(Format.enPixels) + ") with preset " +
              Options.szPreset);
}

void VideoEncoder::Encode(AVFrame &Frame, bool bNewStart, const PacketSink &Sink) {
    // A decoded picture still says which type it had in its own stream; x264 would keep to that.
    Frame.pict_type = bNewStart ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    // A picture without fields within a stream of fields would make x264 turn their order.
    Frame.top_field_first = m_Context->field_order == AV_FIELD_TT ? 1 : 0;
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
        Sink(*m_Packet, m_Packet->pts);
        av_packet_unref(m_Packet.get());
    }
}

} // namespace encoder
