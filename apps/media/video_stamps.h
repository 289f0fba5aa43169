// The precision time stamps (MISB ST 0604) in the coded pictures of a video, as far as they can be believed.
#ifndef ENCODER_MEDIA_VIDEO_STAMPS_H
#define ENCODER_MEDIA_VIDEO_STAMPS_H

#include <vector>

#include "formats/nal.h"
#include "formats/stamp_sei.h"
#include "media/av.h"
#include "media/stamp_trust.h"

namespace encoder {

NalFormat NalFormatOf(const AVCodecParameters &Video);

class VideoStamps {
public:
    explicit VideoStamps(const AVCodecParameters &Video);

    struct Result {
        StampsRead Read;                // those that are believed, and the broken ones
        std::uint64_t nNotBelieved = 0; // of a damaged packet, which do not follow from those before
    };
    // Packets come in coding order.
    Result Of(const AVPacket &Packet);

private:
    bool IsBelieved(const UtcStamp &Stamp, const AVPacket &Packet, bool bDamaged);

    const bool m_bMpeg2;
    const NalFormat m_Format;
    StampTrust m_Trust;
    bool m_bMarked = false; // the packet before is marked as damaged
};

} // namespace encoder

#endif
