// Takes the time stamps out of an input and hands them to the timecode library.
// Three sources, three places: SEI of the coded picture, the decoded picture, data packets beside the video.
#include "stamp_intake.h"

#include <algorithm>

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

StampIntake::StampIntake(int nInput, const Options &Settings, const AVStream &Video, const PictureRate &Rate,
                         Tally &Counts)
    : m_nInput(nInput), m_enTimecodeFrom(Settings.enTimecodeFrom), m_nLdsStatus(Settings.nLdsStatus),
      m_bHasNalUnits(Video.codecpar->codec_id != AV_CODEC_ID_MPEG2VIDEO),
      m_NalFormat(NalFormatOfStream(*Video.codecpar)), m_nRate(static_cast<int>(Rate.nWhole)),
      m_VitcFilter(Rate.Exact.num, Rate.Exact.den), m_Tally(Counts) {}

void StampIntake::TakeVideoPacket(const AVPacket &Packet) {
    const bool bHasPTS = Packet.pts != AV_NOPTS_VALUE;
    if (bHasPTS)
        m_LastVideoPTS = StreamPTS(Packet.pts);
    if (!m_bHasNalUnits || IsDamaged(Packet))
        return;
    const StampsRead Read = ReadStamps(BytesOf(Packet), m_NalFormat);
    m_Tally.Count(Event::BrokenStampSei, Read.Broken.size());
    if (!bHasPTS) {
        m_Tally.Count(Event::StampWithoutPts, Read.Stamps.size());
        return;
    }
    for (const UtcStamp &Stamp : Read.Stamps)
        HandInUTC(TCSOURCE_HIGH_PRECISION_TIMESTAMP, StreamPTS(Packet.pts), Stamp.nStatusByte, Stamp.llUTC);
}

void StampIntake::TakeKlvPacket(const AVPacket &Packet) {
    if (IsDamaged(Packet))
        return;
    const LocalSetsRead Read = ReadLocalSets(BytesOf(Packet));
    m_Tally.Count(Event::BrokenLocalSet, Read.Broken.size());
    // Asynchronous carriage gives a local set no PTS. It was sent about when the picture read before it was, so it
    // takes that picture's PTS: right to a few pictures, which is all that such a stream promises.
    std::optional<UINT64> PTS = m_LastVideoPTS;
    if (Packet.pts != AV_NOPTS_VALUE)
        PTS = StreamPTS(Packet.pts);
    else
        m_Tally.Count(PTS ? Event::LocalSetWithoutPts : Event::LocalSetBeforeVideo, Read.UTCs.size());
    for (const INT64 llUTC : Read.UTCs)
        if (PTS)
            HandInLocalSet(*PTS, llUTC);
}

void StampIntake::HandInLocalSet(UINT64 nPTS, INT64 llUTC) {
    HandInUTC(TCSOURCE_LDS_TIMESTAMP, nPTS, m_nLdsStatus, llUTC);
    if (m_Tally.Coded().Has(nPTS))
        m_Tally.Count(Event::LocalSetLate);
}

void StampIntake::TakePicture(const AVFrame &Frame, AVRational DecoderRate) {
    switch (m_enTimecodeFrom) {
    case TimecodeFrom::Auto:
        if (!TakeTimecodeSei(Frame, DecoderRate))
            TakeVitc(Frame);
        break;
    case TimecodeFrom::Sei:
        TakeTimecodeSei(Frame, DecoderRate);
        break;
    case TimecodeFrom::Vitc:
        TakeVitc(Frame);
        break;
    case TimecodeFrom::None:
        break;
    }
}

bool StampIntake::TakeTimecodeSei(const AVFrame &Frame, AVRational DecoderRate) {
    const AVFrameSideData *const pData = av_frame_get_side_data(&Frame, AV_FRAME_DATA_S12M_TIMECODE);
    // The number of timecodes, then up to three of them; the first belongs to the picture's first field.
    if (pData == nullptr || pData->size < 2 * sizeof(uint32_t))
        return false;
    // Above 30 Hz the decoder counts pairs of frames. Which rate it goes by is not for --rate to say.
    const std::optional<PictureRate> Rate = MakePictureRate(DecoderRate);
    const int nRate = Rate ? static_cast<int>(Rate->nWhole) : std::min(m_nRate, MAX_RATE_WITHOUT_PAIRS);
    const auto *const pnValues = reinterpret_cast<const uint32_t *>(pData->data);
    const std::optional<TimecodeLabel> Label = pnValues[0] > 0 ? FromSmpte12M(pnValues[1], nRate) : std::nullopt;
    if (Label)
        HandInTimecode(StreamPTS(Frame.pts), *Label);
    return Label.has_value();
}

void StampIntake::TakeVitc(const AVFrame &Frame) {
    const std::optional<TimecodeLabel> Label = PictureFilter::VitcOf(Frame);
    if (!Label)
        return;
    for (const TimecodeReading &Believed : m_VitcFilter.Offer(*Label, StreamPTS(Frame.pts)))
        HandInTimecode(Believed.nPTS, Believed.Label);
    m_Tally.Count(Event::VitcRejected, m_VitcFilter.Rejected() - m_nVitcRejected);
    m_nVitcRejected = m_VitcFilter.Rejected();
}

void StampIntake::HandInUTC(int enSource, UINT64 nPTS, BYTE nStatusByte, INT64 llUTC) {
    if (llUTC < YEAR_1990_USEC || llUTC >= YEAR_2100_USEC)
        m_Tally.Count(Event::AbsurdTime);
    TCPayload Payload{};
    Payload.KLVTC.MISPStatusByte = nStatusByte;
    Payload.KLVTC.llUTCTime = llUTC;
    if (Timecode_SetUTC(m_nInput, enSource, nPTS, &Payload) == TRUE)
        m_Tally.Count(enSource == TCSOURCE_LDS_TIMESTAMP ? Event::StampLds : Event::StampHighPrecision);
}

void StampIntake::HandInTimecode(UINT64 nPTS, const TimecodeLabel &Label) {
    TCPayload Payload{};
    Payload.vitc = ToVitc(Label);
    Payload.vitc.Flag1 = Label.bDropFrame ? VITC_FLAG1_DROP_FRAME : 0;
    if (Timecode_SetUTC(m_nInput, TCSOURCE_SMPTE12M_TIMESTAMP, nPTS, &Payload) == TRUE)
        m_Tally.Count(Event::StampSmpte12M);
}

} // namespace encoder
