// The streams beside the video of one input on their way from the input to the output.
// A waiting packet without a PTS keeps its place in the DTS.
#include "passed_streams.h"

#include <algorithm>
#include <new>
#include <utility>

namespace encoder {

namespace {

// Video that has ended or stalled does not let the rest pile up.
constexpr std::size_t MAX_BYTES = 64 << 20;
constexpr std::size_t MAX_PACKETS = 20'000;

} // namespace

void PassedStreams::AddTo(TsWriter &Writer) {
    m_pWriter = &Writer;
    for (const AVStream *const pStream : m_Demuxer.Passed())
        m_Tracks.emplace(pStream->index, Track{Writer.AddPassed(*pStream, m_Demuxer.IsSynchronousKlv(*pStream)),
                                               pStream->codecpar->codec_id == AV_CODEC_ID_SMPTE_KLV});
}

bool PassedStreams::Add(const AVPacket &Packet, std::int64_t llVideoPTS) {
    const std::lock_guard Lock(m_Mutex);
    const auto Into = m_Tracks.find(Packet.stream_index);
    if (Into == m_Tracks.end())
        return false;
    PacketPtr Copy(av_packet_clone(&Packet));
    if (!Copy)
        throw std::bad_alloc();
    const bool bDoesWithout = Into->second.bKlv && Packet.dts == AV_NOPTS_VALUE;
    // Behind the last picture, and where that has no PTS either, the place is that of the packet before.
    m_llPlace = llVideoPTS != AV_NOPTS_VALUE ? llVideoPTS : m_llPlace;
    if (Copy->dts == AV_NOPTS_VALUE)
        Copy->dts = Copy->pts != AV_NOPTS_VALUE ? Copy->pts : m_llPlace;
    if (Copy->dts == AV_NOPTS_VALUE || (Copy->pts == AV_NOPTS_VALUE && !bDoesWithout)) {
        m_Tally.Count(Event::PassedLost);
        return false;
    }
    m_nBytes += static_cast<std::size_t>(Packet.size);
    m_nPackets++;
    Into->second.Waiting.push_back(std::move(Copy));
    return IsTooMuch();
}

bool PassedStreams::IsTooMuch() const {
    return m_nBytes > MAX_BYTES || m_nPackets > MAX_PACKETS;
}

template <typename Condition>
PacketPtr PassedStreams::PopFirst(Track &From, Condition IsWanted) {
    const std::lock_guard Lock(m_Mutex);
    if (From.Waiting.empty() || !IsWanted(*From.Waiting.front()))
        return nullptr;
    PacketPtr Packet = std::move(From.Waiting.front());
    From.Waiting.pop_front();
    m_nBytes -= static_cast<std::size_t>(Packet->size);
    m_nPackets--;
    return Packet;
}

// An output that stalls does not keep the producer from its packets.
template <typename Condition>
void PassedStreams::WriteWhile(Track &From, Condition IsWanted) {
    while (const PacketPtr Packet = PopFirst(From, IsWanted))
        Write(From, *Packet);
}

// A packet without a PTS goes right before the picture that it was sent before; any other before the pictures that are
// decoded later than it is.
void PassedStreams::WriteBefore(std::int64_t llPTS, std::int64_t llDTS) {
    const auto IsDue = [=](const AVPacket &Packet) {
        return Packet.dts <= (Packet.pts == AV_NOPTS_VALUE ? llPTS : llDTS);
    };
    for (auto &[nInput, From] : m_Tracks)
        WriteWhile(From, IsDue);
}

// Of the streams the one that is behind goes first, so that the output stays interleaved by time.
PassedStreams::Track *PassedStreams::FirstInExcess() {
    const std::lock_guard Lock(m_Mutex);
    Track *pFirst = nullptr;
    for (auto &[nInput, Of] : m_Tracks)
        if (!Of.Waiting.empty() && (pFirst == nullptr || Of.Waiting.front()->dts < pFirst->Waiting.front()->dts))
            pFirst = &Of;
    return IsTooMuch() ? pFirst : nullptr;
}

void PassedStreams::WriteExcess() {
    while (Track *const pFirst = FirstInExcess())
        if (const PacketPtr Packet = PopFirst(*pFirst, [](const AVPacket &) { return true; }))
            Write(*pFirst, *Packet);
}

void PassedStreams::WriteRest() {
    for (auto &[nInput, From] : m_Tracks)
        WriteWhile(
            From, [](const AVPacket &) { return true; });
}

// The muxer takes no sound that does not come later than what it has: where a step of the PTS lets two pieces overlap,
// the second waits. Several packets of data may have one time.
void PassedStreams::Write(Track &From, AVPacket &Packet) {
    if (Packet.pts != AV_NOPTS_VALUE) {
        const std::int64_t llEarliest = From.LastDTS ? *From.LastDTS + (From.bKlv ? 0 : 1) : Packet.dts;
        if (Packet.dts < llEarliest) {
            Packet.dts = llEarliest;
            Packet.pts = std::max(Packet.pts, llEarliest);
            m_Tally.Count(Event::PassedLater);
        }
        From.LastDTS = Packet.dts;
    }
    m_pWriter->Write(Packet, From.nStream);
    m_Tally.Count(Event::PassedOn);
}

} // namespace encoder
