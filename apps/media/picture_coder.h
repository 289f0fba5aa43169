// Makes coded pictures of the pictures that it is given: codes them, or copies what they were decoded from.
#ifndef ENCODER_MEDIA_PICTURE_CODER_H
#define ENCODER_MEDIA_PICTURE_CODER_H

#include <functional>

#include "media/av.h"

namespace encoder {

class PictureCoder {
public:
    // Takes each coded picture, in coding order: an Annex B access unit with PTS and DTS in 90 kHz. The packet may be
    // changed; its content is gone after the call. llPicture: the pts of the picture that was given, which the packet's
    // may differ from; AV_NOPTS_VALUE where no picture came of it.
    using PacketSink = std::function<void(AVPacket &, std::int64_t llPicture)>;

    PictureCoder() = default;
    virtual ~PictureCoder() = default;
    PictureCoder(const PictureCoder &) = delete;
    PictureCoder &operator=(const PictureCoder &) = delete;

    // Pictures come in display order, and each pts counts 90 kHz, later than the one before and well above 0. A new
    // start is a picture before which a stretch of the input ends; all pictures before it come out first.
    virtual void Encode(AVFrame &Frame, bool bNewStart, const PacketSink &Sink) = 0;

    // Hands out what was given up to the packet of this number and has become no picture; for a coder that is given
    // packets.
    virtual void HandOnUpTo(std::int64_t, const PacketSink &) {}

    // Hands out what is still held. Nothing can be coded afterwards.
    virtual void Flush(const PacketSink &Sink) = 0;

    // Two fields of a picture stay two fields.
    virtual bool KeepsFields() const = 0;
};

} // namespace encoder

#endif
