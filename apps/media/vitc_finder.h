// Looks for VITC lines in coded video: decodes it and gives the timecodes that can be believed.
#ifndef ENCODER_MEDIA_VITC_FINDER_H
#define ENCODER_MEDIA_VITC_FINDER_H

#include <functional>
#include <string>

#include "formats/vitc.h"
#include "media/decoder.h"
#include "media/picture_filter.h"
#include "media/picture_rate.h"

namespace encoder {

class VitcFinder {
public:
    // Takes each timecode that is believed, with its picture's PTS.
    using Sink = std::function<void(const TimecodeReading &)>;

    // Throws a Failure when FFmpeg cannot decode the stream. Without a picture rate no reading is believed.
    VitcFinder(const AVStream &Video, const std::string &szName, const std::optional<PictureRate> &Rate, Sink Found);

    // Packets with their times on a timeline. One whose picture has no PTS shows nothing.
    void Add(AVPacket &Packet);
    void Finish(); // the decoder holds no picture afterwards

    std::uint64_t Rejected() const { return m_Believed.Rejected(); }

private:
    void ReadPicture(FramePtr Frame);

    Decoder m_Decoder;
    PictureFilter m_Filter{true, AV_PIX_FMT_NONE};
    TimecodeFilter m_Believed;
    Sink m_Found;
};

} // namespace encoder

#endif
