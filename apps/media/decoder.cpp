// Decodes a video stream.
// The decoder keeps to one thread: with one for each picture it would hold more pictures, and the time stamps handed
// in would run ahead of the pictures by as many.
#include "media/decoder.h"

#include <new>

namespace encoder {

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
    m_Context->pkt_timebase = k90kHz;
    m_Context->thread_count = 1;
    Check(avcodec_open2(m_Context.get(), pCodec, nullptr), ExitCode::Input, szName + ": opening the decoder");
}

bool Decoder::Decode(const AVPacket &Packet, const FrameSink &Sink) {
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
        Sink(std::move(Frame));
    }
}

} // namespace encoder
