// Takes the time stamps out of an input: from coded pictures, from decoded ones, and from the data beside them.
// Called from the input's producer thread. A time stamp that cannot be trusted is counted and goes no further.
#ifndef ENCODER_STAMP_INTAKE_H
#define ENCODER_STAMP_INTAKE_H

#include <vector>

#include "formats/vitc.h"
#include "frame_queue.h"
#include "media/av.h"
#include "media/video_stamps.h"
#include "options.h"
#include "tally.h"

namespace encoder {

// The drop-frame flag lies beside the frame number's tens (SMPTE ST 12-1); the library carries it through unchanged.
constexpr unsigned char VITC_FLAG1_DROP_FRAME = 1;

inline bool HasDropFrameFlag(const vitc_t &Timecode) {
    return (Timecode.Flag1 & VITC_FLAG1_DROP_FRAME) != 0;
}

class StampIntake {
public:
    StampIntake(const Options &Settings, const AVStream &Video, const PictureRate &Rate, Tally &Counts);

    // Source 1: the precision time stamps of one coded picture.
    std::vector<TimeStamp> OfVideoPacket(const AVPacket &Packet);

    // Source 3: the UTC of each local set in one KLV packet.
    std::vector<INT64> OfKlvPacket(const AVPacket &Packet);

    // Source 3, for a picture: a UTC becomes a time stamp with the status byte that all local sets get.
    TimeStamp OfLocalSet(INT64 llUTC);

    // Source 2: the timecode of one decoded picture, which has gone through the picture filter, or of one before it
    // that has now been confirmed; each with its picture's PTS. The rate is the decoder's.
    std::vector<TimecodeReading> OfPicture(const AVFrame &Frame, AVRational DecoderRate);
    static TimeStamp OfTimecode(const TimecodeLabel &Label);

private:
    TimeStamp OfUTC(int enSource, BYTE nStatusByte, INT64 llUTC);
    std::optional<TimecodeLabel> TimecodeSeiOf(const AVFrame &Frame, AVRational DecoderRate);
    std::vector<TimecodeReading> VitcOf(const AVFrame &Frame);

    const TimecodeFrom m_enTimecodeFrom;
    const BYTE m_nLdsStatus;
    VideoStamps m_VideoStamps;
    const int m_nRate;
    TimecodeFilter m_VitcFilter;
    std::uint64_t m_nVitcRejected = 0;
    Tally &m_Tally;
};

} // namespace encoder

#endif
