// Decodes a video stream. The decoder keeps to one thread: with one for each picture it would hold more pictures, and a
// live output would lag by as many.
#include "media/decoder.h"

#include <new>

namespace encoder {

namespace {

// FFmpeg hands a number from a packet on to its picture in a way that it renamed with version 60 of libavcodec.
#if LIBAVCODEC_VERSION_MAJOR >= 60
void SetNumber(AVCodecContext &, AVPacket &Packet, std::int64_t nPacket) {
    Packet.opaque = reinterpret_cast<void *>(static_cast<std::intptr_t>(nPacket));
}
std::int64_t NumberOf(const AVFrame &Frame) {
    return reinterpret_cast<std::intptr_t>(Frame.opaque);
}
constexpr int COPY_NUMBER = AV_CODEC_FLAG_COPY_OPAQUE;
#else
void SetNumber(AVCodecContext &Context, AVPacket &, std::int64_t nPacket) {
    Context.reordered_opaque = nPacket;
}
std::int64_t NumberOf(const AVFrame &Frame) {
    return Frame.reordered_opaque;
}
constexpr int COPY_NUMBER = 0;
#endif

} // namespace

Decoder::Decoder(const AVStream &Stream, const std::string &szName) {
    const AVCodec *const pCodec = avcodec_find_decoder(Stream.codecpar->codec_id);
    if (pCodec == nullptr) {
        throw Failure(ExitCode::Input,
                      szName + ": this FFmpeg has no decoder for " + avcodec_get_name(Stream.codecpar->codec_id));
    }
    m_Context.reset(avcodec_alloc_context3(pCodec));
    if (!m_Context)
        throw std::bad_alloc();
    Check(avcodec_parameters_to_context(m_Context.get(), Stream.codecpar), ExitCode::Input, szName);
    m_Context->pkt_timebase = TIME_BASE_90_KHZ;
    m_Context->thread_count = 1;
    m_Context->flags |= COPY_NUMBER;
    Check(avcodec_open2(m_Context.get(), pCodec, nullptr), ExitCode::Input, szName + ": opening the decoder");
}

bool Decoder::Decode(AVPacket &Packet, std::int64_t nPacket, const FrameSink &Sink) {
    SetNumber(*m_Context, Packet, nPacket);
    return Send(&Packet, Sink);
}

void Decoder::Flush(const FrameSink &Sink) {
    Send(nullptr, Sink);
}

bool Decoder::Send(const AVPacket *pPacket, const FrameSink &Sink) {
    const int nSent = avcodec_send_packet(m_Context.get(), pPacket);
    for (;;) {
        FramePtr Frame = MakeFrame();
        const int nResult = avcodec_receive_frame(m_Context.get(), Frame.get());
        if (nResult < 0)
            return nSent >= 0 && (nResult == AVERROR(EAGAIN) || nResult == AVERROR_EOF);
        const std::int64_t nPacket = NumberOf(*Frame);
        Sink(std::move(Frame), nPacket);
    }
}

} // namespace encoder
