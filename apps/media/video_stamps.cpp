// The precision time stamps in the coded pictures of a video, as far as they can be believed.
// FFmpeg's parser puts the mark of damage on the packet that it completes with the damaged one's first bytes: the one
// before.
#include "media/video_stamps.h"

#include <utility>

namespace encoder {

NalFormat NalFormatOf(const AVCodecParameters &Video) {
    return NalFormatOf(Video.codec_id == AV_CODEC_ID_HEVC, HeadersOf(Video));
}

VideoStamps::VideoStamps(const AVCodecParameters &Video)
    : m_bMpeg2(Video.codec_id == AV_CODEC_ID_MPEG2VIDEO), m_Format(NalFormatOf(Video)) {}

VideoStamps::Result VideoStamps::Of(const AVPacket &Packet) {
    const bool bDamaged = std::exchange(m_bMarked, IsDamaged(Packet)) || IsDamaged(Packet);
    Result Out{m_bMpeg2 ? ReadUserDataStamps(BytesOf(Packet)) : ReadStamps(BytesOf(Packet), m_Format)};
    const auto IsNot = [&](const UtcStamp &Stamp) { return !IsBelieved(Stamp, Packet, bDamaged); };
    Out.nNotBelieved = std::erase_if(Out.Read.Stamps, IsNot);
    return Out;
}

bool VideoStamps::IsBelieved(const UtcStamp &Stamp, const AVPacket &Packet, bool bDamaged) {
    const bool bHasPTS = Packet.pts != AV_NOPTS_VALUE;
    if (bDamaged)
        return bHasPTS && m_Trust.Follows(StreamPTS(Packet.pts), Stamp);
    if (bHasPTS)
        m_Trust.Believe(StreamPTS(Packet.pts), Stamp);
    return true;
}

} // namespace encoder
