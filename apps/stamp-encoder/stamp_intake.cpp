// Takes the time stamps out of an input.
// Three sources, three places: SEI of the coded picture, the decoded picture, data packets beside the video.
#include "stamp_intake.h"

#include <algorithm>
#include <utility>

#include "common/our_time.h"
#include "formats/klv.h"
#include "media/picture_filter.h"

namespace encoder {

namespace {

constexpr int MAX_RATE_WITHOUT_PAIRS = 30;

} // namespace

StampIntake::StampIntake(const Options &Settings, const AVStream &Video, const PictureRate &Rate, Tally &Counts)
    : m_enTimecodeFrom(Settings.enTimecodeFrom), m_nLdsStatus(Settings.nLdsStatus), m_VideoStamps(*Video.codecpar),
      m_nRate(static_cast<int>(Rate.nWhole)), m_VitcFilter(Rate.Exact.num, Rate.Exact.den), m_Tally(Counts) {}

std::vector<TimeStamp> StampIntake::OfVideoPacket(const AVPacket &Packet) {
    std::vector<TimeStamp> Found;
    const VideoStamps::Result Seen = m_VideoStamps.Of(Packet);
    m_Tally.Count(Event::BrokenStampSei, Seen.Read.Broken.size());
    m_Tally.Count(Event::DamagedStamp, Seen.nNotBelieved);
    for (const UtcStamp &Stamp : Seen.Read.Stamps)
        Found.push_back(OfUTC(TCSOURCE_HIGH_PRECISION_TIMESTAMP, Stamp.nStatusByte, Stamp.llUTC));
    return Found;
}

// In a damaged packet too, the checksum tells which sets are whole.
std::vector<INT64> StampIntake::OfKlvPacket(const AVPacket &Packet) {
    const LocalSetsRead Read = ReadLocalSets(BytesOf(Packet));
    m_Tally.Count(Event::LocalSet, Read.UTCs.size());
    m_Tally.Count(Event::BrokenLocalSet, Read.Broken.size());
    m_Tally.Count(Event::LocalSetEg0104, Read.nEg0104);
    return {Read.UTCs.begin(), Read.UTCs.end()};
}

TimeStamp StampIntake::OfLocalSet(INT64 llUTC) {
    return OfUTC(TCSOURCE_LDS_TIMESTAMP, m_nLdsStatus, llUTC);
}

TimeStamp StampIntake::OfUTC(int enSource, BYTE nStatusByte, INT64 llUTC) {
    m_Tally.Count(Event::AbsurdTime, IsOfOurTime(llUTC) ? 0 : 1);
    TimeStamp Stamp{enSource, {}};
    Stamp.Payload.KLVTC.MISPStatusByte = nStatusByte;
    Stamp.Payload.KLVTC.llUTCTime = llUTC;
    return Stamp;
}

TimeStamp StampIntake::OfTimecode(const TimecodeLabel &Label) {
    TimeStamp Stamp{TCSOURCE_SMPTE12M_TIMESTAMP, {}};
    Stamp.Payload.vitc = ToVitc(Label);
    Stamp.Payload.vitc.Flag1 = Label.bDropFrame ? VITC_FLAG1_DROP_FRAME : 0;
    return Stamp;
}

std::vector<TimecodeReading> StampIntake::OfPicture(const AVFrame &Frame, AVRational DecoderRate) {
    if (m_enTimecodeFrom == TimecodeFrom::Auto || m_enTimecodeFrom == TimecodeFrom::Sei)
        if (const std::optional<TimecodeLabel> Label = TimecodeSeiOf(Frame, DecoderRate))
            return {{*Label, static_cast<std::uint64_t>(Frame.pts)}};
    const bool bVitc = m_enTimecodeFrom == TimecodeFrom::Auto || m_enTimecodeFrom == TimecodeFrom::Vitc;
    return bVitc ? VitcOf(Frame) : std::vector<TimecodeReading>{};
}

std::optional<TimecodeLabel> StampIntake::TimecodeSeiOf(const AVFrame &Frame, AVRational DecoderRate) {
    const AVFrameSideData *const pData = av_frame_get_side_data(&Frame, AV_FRAME_DATA_S12M_TIMECODE);
    // The number of timecodes, then up to three of them; the first belongs to the picture's first field.
    if (pData == nullptr || pData->size < 2 * sizeof(std::uint32_t))
        return std::nullopt;
    // Above 30 Hz the decoder counts pairs of frames. Which rate it goes by is not for --rate to say.
    const std::optional<PictureRate> Rate = MakePictureRate(DecoderRate);
    const int nRate = Rate ? static_cast<int>(Rate->nWhole) : std::min(m_nRate, MAX_RATE_WITHOUT_PAIRS);
    const auto *const pnValues = reinterpret_cast<const std::uint32_t *>(pData->data);
    return pnValues[0] > 0 ? FromSmpte12M(pnValues[1], nRate) : std::nullopt;
}

std::vector<TimecodeReading> StampIntake::VitcOf(const AVFrame &Frame) {
    const std::optional<TimecodeLabel> Label = PictureFilter::VitcOf(Frame);
    if (!Label)
        return {};
    std::vector<TimecodeReading> Believed = m_VitcFilter.Offer(*Label, static_cast<std::uint64_t>(Frame.pts));
    m_Tally.Count(Event::VitcRejected, m_VitcFilter.Rejected() - m_nVitcRejected);
    m_nVitcRejected = m_VitcFilter.Rejected();
    return Believed;
}

} // namespace encoder
