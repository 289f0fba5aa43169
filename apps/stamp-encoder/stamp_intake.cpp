// Takes the time stamps out of an input.
// Three sources, three places: SEI of the coded picture, the decoded picture, data packets beside the video.
#include "stamp_intake.h"

#include <algorithm>
#include <utility>

#include "formats/klv.h"
#include "formats/stamp_sei.h"
#include "media/picture_filter.h"
#include "media/pts_clock.h"

namespace encoder {

namespace {

constexpr int MAX_RATE_WITHOUT_PAIRS = 30;
constexpr INT64 YEAR_1990_USEC = 631'152'000'000'000;
constexpr INT64 YEAR_2100_USEC = 4'102'444'800'000'000;

Bytes BytesOf(const AVPacket &Packet) {
    return {Packet.data, static_cast<size_t>(Packet.size)};
}

bool IsDamaged(const AVPacket &Packet) {
    return (Packet.flags & AV_PKT_FLAG_CORRUPT) != 0;
}

NalFormat NalFormatOfStream(const AVCodecParameters &Parameters) {
    return NalFormatOf(Parameters.codec_id == AV_CODEC_ID_HEVC,
                       {Parameters.extradata, static_cast<size_t>(Parameters.extradata_size)});
}

} // namespace

StampIntake::StampIntake(const Options &Settings, const AVStream &Video, const PictureRate &Rate, Tally &Counts)
    : m_enTimecodeFrom(Settings.enTimecodeFrom), m_nLdsStatus(Settings.nLdsStatus), m_enCodec(Video.codecpar->codec_id),
      m_NalFormat(NalFormatOfStream(*Video.codecpar)), m_nRate(static_cast<int>(Rate.nWhole)),
      m_VitcFilter(Rate.Exact.num, Rate.Exact.den), m_Tally(Counts) {}

std::vector<TimeStamp> StampIntake::OfVideoPacket(const AVPacket &Packet) {
    std::vector<TimeStamp> Found;
    // FFmpeg's parser puts the mark of damage on the packet that it completes with the damaged one's first bytes: the
    // one before.
    const bool bDamaged = std::exchange(m_bMarked, IsDamaged(Packet)) || IsDamaged(Packet);
    const StampsRead Read = m_enCodec == AV_CODEC_ID_MPEG2VIDEO ? ReadUserDataStamps(BytesOf(Packet))
                                                                : ReadStamps(BytesOf(Packet), m_NalFormat);
    m_Tally.Count(Event::BrokenStampSei, Read.Broken.size());
    for (const UtcStamp &Stamp : Read.Stamps)
        if (IsBelieved(Stamp, Packet, bDamaged))
            Found.push_back(OfUTC(TCSOURCE_HIGH_PRECISION_TIMESTAMP, Stamp.nStatusByte, Stamp.llUTC));
    return Found;
}

bool StampIntake::IsBelieved(const UtcStamp &Stamp, const AVPacket &Packet, bool bDamaged) {
    const bool bHasPTS = Packet.pts != AV_NOPTS_VALUE;
    if (bDamaged) {
        const bool bFollows = bHasPTS && m_Trust.Follows(StreamPTS(Packet.pts), Stamp);
        m_Tally.Count(Event::DamagedStamp, bFollows ? 0 : 1);
        return bFollows;
    }
    if (bHasPTS)
        m_Trust.Believe(StreamPTS(Packet.pts), Stamp);
    return true;
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
    if (llUTC < YEAR_1990_USEC || llUTC >= YEAR_2100_USEC)
        m_Tally.Count(Event::AbsurdTime);
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
    if (pData == nullptr || pData->size < 2 * sizeof(uint32_t))
        return std::nullopt;
    // Above 30 Hz the decoder counts pairs of frames. Which rate it goes by is not for --rate to say.
    const std::optional<PictureRate> Rate = MakePictureRate(DecoderRate);
    const int nRate = Rate ? static_cast<int>(Rate->nWhole) : std::min(m_nRate, MAX_RATE_WITHOUT_PAIRS);
    const auto *const pnValues = reinterpret_cast<const uint32_t *>(pData->data);
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
