// Decodes a video stream. Pictures come out in display order, with the PTS and the number of the packet that they came
// in.
#ifndef ENCODER_MEDIA_DECODER_H
#define ENCODER_MEDIA_DECODER_H

#include <functional>
#include <string>

#include "media/av.h"

namespace encoder {

class Decoder {
public:
    using FrameSink = std::function<void(FramePtr, std::int64_t nPacket)>;

    // Throws a Failure (ExitCode::Input) that begins with szName when FFmpeg cannot decode the stream.
    Decoder(const AVStream &Stream, const std::string &szName);

    // Gives the pictures that the packet completes to the sink. The packet's number is the caller's; it comes back with
    // the picture whose first bytes are in the packet. False when the packet cannot be decoded; the next one may be.
    bool Decode(AVPacket &Packet, std::int64_t nPacket, const FrameSink &Sink);

    // Hands out the pictures that the decoder still holds.
    void Flush(const FrameSink &Sink);

    // As the coded pictures tell it, 0/1 where they do not. The decoder numbers SMPTE 12M timecode by it.
    AVRational Rate() const { return m_Context->framerate; }

private:
    bool Send(const AVPacket *pPacket, const FrameSink &Sink);

    CodecContextPtr m_Context;
};

} // namespace encoder

#endif
