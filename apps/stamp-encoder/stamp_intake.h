// Takes the time stamps out of an input and hands them to the timecode library, each with its picture's PTS.
// Called from the input's producer thread. A time stamp that cannot be trusted is counted and goes no further.
#ifndef ENCODER_STAMP_INTAKE_H
#define ENCODER_STAMP_INTAKE_H

#include <optional>

#include "formats/nal.h"
#include "formats/vitc.h"
#include "media/av.h"
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
    StampIntake(int nInput, const Options &Settings, const AVStream &Video, const PictureRate &Rate, Tally &Counts);

    // Source 1: the precision time stamps of one coded picture.
    void TakeVideoPacket(const AVPacket &Packet);

    // Source 3: the local sets of one KLV packet.
    void TakeKlvPacket(const AVPacket &Packet);

    // Source 2: the timecode of one decoded picture, which has gone through the picture filter. The rate is the
    // decoder's.
    void TakePicture(const AVFrame &Frame, AVRational DecoderRate);

private:
    void HandInUTC(int enSource, UINT64 nPTS, BYTE nStatusByte, INT64 llUTC);
    void HandInTimecode(UINT64 nPTS, const TimecodeLabel &Label);
    bool TakeTimecodeSei(const AVFrame &Frame, AVRational DecoderRate);
    void HandInLocalSet(UINT64 nPTS, INT64 llUTC);
    void TakeVitc(const AVFrame &Frame);

    const int m_nInput; // from 0, as the library counts
    const TimecodeFrom m_enTimecodeFrom;
    const BYTE m_nLdsStatus;
    const bool m_bHasNalUnits;
    const NalFormat m_NalFormat;
    const int m_nRate;
    TimecodeFilter m_VitcFilter;
    std::uint64_t m_nVitcRejected = 0;
    std::optional<UINT64> m_LastVideoPTS;
    Tally &m_Tally;
};

} // namespace encoder

#endif
