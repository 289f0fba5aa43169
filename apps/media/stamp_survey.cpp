// What an input carries: its pictures, and every time stamp beside them with its place.
#include "media/stamp_survey.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "common/our_time.h"
#include "formats/klv.h"

namespace encoder {

namespace {

constexpr std::int64_t TICKS_LOOKED_INTO = 2 * TICKS_PER_SECOND;
constexpr std::int64_t FARTHEST_FROM_PICTURES = 10 * TICKS_PER_SECOND;

} // namespace

void StampSeries::CountWithoutPlace(std::int64_t llUTC) {
    nWithoutPlace++;
    nAbsurdWithoutPlace += IsOfOurTime(llUTC) ? 0 : 1;
}

std::uint64_t StampSeries::MalformedCount() const {
    std::uint64_t nCount = 0;
    for (const auto &[szReason, Kind] : Malformed)
        nCount += Kind.nTimes;
    return nCount;
}

Surveyor::Surveyor(const Demuxer &In, const std::optional<PictureRate> &Rate, LookForVitc enVitc)
    : m_Demuxer(In), m_Rate(Rate), m_enVitc(enVitc), m_Stamps(*In.Video().codecpar),
      m_Labels(NalFormatOf(*In.Video().codecpar), HeadersOf(*In.Video().codecpar)),
      m_Timeline(Rate.value_or(PictureRate{}).Exact), m_bLooksForVitc(enVitc != LookForVitc::Nowhere) {}

void Surveyor::Add(AVPacket &Packet, bool bMarked) {
    m_Survey.nDamagedPackets += IsDamaged(Packet) ? 1 : 0;
    if (m_Demuxer.IsVideo(Packet)) {
        AddVideo(Packet, bMarked);
    } else {
        PacketPtr Taken = MakePacket();
        av_packet_move_ref(Taken.get(), &Packet);
        m_Beside.Put(std::move(Taken));
        if (m_Beside.IsFull())
            AddBeside(nullptr);
    }
}

void Surveyor::AddVideo(AVPacket &Packet, bool bMarked) {
    std::optional<Place> At;
    const std::int64_t llStreamPTS = Packet.pts;
    m_Timeline.MoveVideo(Packet, bMarked);
    if (!m_Begin && Packet.pts != AV_NOPTS_VALUE)
        m_Begin = Packet.pts;
    if (m_Begin)
        AddBeside(&Packet);
    if (Packet.pts == AV_NOPTS_VALUE) {
        m_Survey.nPicturesWithoutPTS++;
    } else {
        At = {Packet.pts - *m_Begin, StreamPTS(llStreamPTS), m_Timeline.Stretch()};
        m_Survey.Pictures.push_back(*At);
        m_Survey.llDuration = std::max(m_Survey.llDuration, At->llTime);
        for (const auto &[nStream, llUTC] : std::exchange(m_WithoutPTS, {}))
            SeriesOf(Carriage::LocalSet, nStream).Sightings.push_back({*At, llUTC, {}, 0});
    }
    AddStamps(Packet, At);
    if (At && m_Demuxer.Video().codecpar->codec_id != AV_CODEC_ID_MPEG2VIDEO)
        AddLabel(Packet, *At);
    if (At)
        LookIntoPicture(Packet);
}

void Surveyor::AddStamps(const AVPacket &Packet, const std::optional<Place> &At) {
    const StampsRead Read = m_Stamps.Of(Packet).Read;
    if (Read.Stamps.empty() && Read.Broken.empty())
        return;
    StampSeries &Series = SeriesOf(Carriage::Stamp, Packet.stream_index);
    for (const char *const szReason : Read.Broken)
        NoteMalformed(Series, szReason, Packet);
    for (const UtcStamp &Stamp : Read.Stamps)
        if (At)
            Series.Sightings.push_back({*At, Stamp.llUTC, {}, Stamp.nStatusByte});
        else
            Series.CountWithoutPlace(Stamp.llUTC);
}

void Surveyor::AddLabel(const AVPacket &Packet, const Place &At) {
    const std::optional<TimecodeLabel> Label = m_Labels.Read(BytesOf(Packet));
    if (!Label)
        return;
    StampSeries &Series = SeriesOf(Carriage::TimecodeSei, Packet.stream_index);
    if (IsValid(*Label, m_Rate ? static_cast<int>(m_Rate->nWhole) : 0))
        Series.Sightings.push_back({At, 0, *Label, 0});
    else
        NoteMalformed(Series, "a timecode that does not exist at the picture rate", Packet);
    // What VITC lines would tell beside it is of no use.
    if (m_enVitc == LookForVitc::FirstSeconds)
        EndVitc();
}

// Takes the packets that were sent before the video packet, or without one all that are left.
void Surveyor::AddBeside(const AVPacket *pVideo) {
    while (const PacketPtr Packet = m_Beside.PopBefore(pVideo))
        AddKlv(*Packet);
    m_Beside.PassVideo();
}

void Surveyor::AddKlv(AVPacket &Packet) {
    const LocalSetsRead Read = ReadLocalSets(BytesOf(Packet));
    m_Survey.nEg0104 += Read.nEg0104;
    for (const char *const szReason : Read.Broken)
        NoteMalformed(SeriesOf(Carriage::LocalSet, Packet.stream_index), szReason, Packet);
    const std::int64_t llStreamPTS = Packet.pts;
    const unsigned nStretch = m_Timeline.MoveOther(Packet);
    for (const std::int64_t llUTC : Read.UTCs) {
        StampSeries &Series = SeriesOf(Carriage::LocalSet, Packet.stream_index);
        if (llStreamPTS == AV_NOPTS_VALUE) {
            Series.nWithoutPTS++;
            m_WithoutPTS.emplace_back(Packet.stream_index, llUTC);
        } else if (m_Begin && std::abs(Packet.pts - *m_Begin - m_Survey.llDuration) < FARTHEST_FROM_PICTURES) {
            Series.Sightings.push_back({{Packet.pts - *m_Begin, StreamPTS(llStreamPTS), nStretch}, llUTC, {}, 0});
        } else {
            Series.CountWithoutPlace(llUTC);
        }
    }
}

void Surveyor::LookIntoPicture(AVPacket &Packet) {
    if (!m_bLooksForVitc)
        return;
    if (m_enVitc == LookForVitc::FirstSeconds && m_Survey.llDuration > TICKS_LOOKED_INTO) {
        EndVitc();
        return;
    }
    if (!m_Vitc) {
        m_Vitc.emplace(
            m_Demuxer.Video(), "input '" + m_Demuxer.Path() + "'", m_Rate,
            [this](const TimecodeReading &Reading) { AddReading(Reading); });
    }
    m_Vitc->Add(Packet);
    m_llLookedInto = m_Survey.llDuration;
}

// The PTS is that of a picture, on the timeline.
void Surveyor::AddReading(const TimecodeReading &Reading) {
    const std::int64_t llTime = static_cast<std::int64_t>(Reading.nPTS) - m_Begin.value_or(0);
    const auto At = std::ranges::find(m_Survey.Pictures.rbegin(), m_Survey.Pictures.rend(), llTime, &Place::llTime);
    if (At != m_Survey.Pictures.rend())
        SeriesOf(Carriage::Vitc, m_Demuxer.Video().index).Sightings.push_back({*At, 0, Reading.Label, 0});
}

void Surveyor::Finish() {
    EndVitc();
    AddBeside(nullptr);
    for (const auto &[nStream, llUTC] : std::exchange(m_WithoutPTS, {}))
        SeriesOf(Carriage::LocalSet, nStream).CountWithoutPlace(llUTC);
    std::ranges::sort(m_Survey.Pictures, {}, &Place::Order);
    std::ranges::stable_sort(m_Survey.Series, {}, &StampSeries::enCarriage);
    for (StampSeries &Series : m_Survey.Series)
        std::ranges::stable_sort(Series.Sightings, {}, [](const Sighting &Stamp) { return Stamp.At.Order(); });
}

void Surveyor::EndVitc() {
    m_bLooksForVitc = false;
    if (!m_Vitc)
        return;
    m_Vitc->Finish();
    m_Vitc.reset();
    for (StampSeries &Series : m_Survey.Series)
        if (Series.enCarriage == Carriage::Vitc)
            Series.LookedUntil = m_llLookedInto;
}

StampSeries &Surveyor::SeriesOf(Carriage enCarriage, int nStream) {
    const auto IsIt = [&](const StampSeries &Series) {
        return Series.enCarriage == enCarriage && Series.nStream == nStream;
    };
    const auto Found = std::ranges::find_if(m_Survey.Series, IsIt);
    if (Found != m_Survey.Series.end())
        return *Found;
    m_Survey.Series.push_back({.enCarriage = enCarriage, .nStream = nStream});
    return m_Survey.Series.back();
}

void Surveyor::NoteMalformed(StampSeries &Series, const std::string &szReason, const AVPacket &Packet) {
    Trouble &Kind = Series.Malformed[szReason];
    if (Kind.nTimes++ == 0)
        Kind = {1, Packet.pos, m_Survey.llDuration};
}

} // namespace encoder
