// Hands on the coded pictures of an input instead of coding them again.
// Decoded pictures come in display order: when one comes, all that are shown before it have come, or will not come.
#include "media/copy_coder.h"

#include <algorithm>
#include <new>

namespace encoder {

namespace {

constexpr std::int64_t MOST_IN_DECODER = 40; // packets; what has gone farther became no picture

const AVBitStreamFilter *StartCodeFilter(AVCodecID enCodec, const std::string &szName) {
    const char *szFilter = nullptr;
    if (enCodec == AV_CODEC_ID_H264)
        szFilter = "h264_mp4toannexb";
    else if (enCodec == AV_CODEC_ID_HEVC)
        szFilter = "hevc_mp4toannexb";
    if (szFilter == nullptr)
        throw Failure(ExitCode::Input, szName + ": --copy writes into H.264 and HEVC, not into " +
                                           avcodec_get_name(enCodec) + "; leave it out to code the video again");
    const AVBitStreamFilter *const pFilter = av_bsf_get_by_name(szFilter);
    Check(pFilter == nullptr ? AVERROR_BSF_NOT_FOUND : 0, ExitCode::Encoder, szFilter);
    return pFilter;
}

} // namespace

CopyCoder::CopyCoder(const AVStream &Video, AVRational Rate, const std::string &szName)
    : m_llPeriod(TicksOf(1, Rate)), m_llReordering(Video.codecpar->video_delay * m_llPeriod) {
    AVBSFContext *pFilter = nullptr;
    Check(av_bsf_alloc(StartCodeFilter(Video.codecpar->codec_id, szName), &pFilter), ExitCode::Encoder, szName);
    m_Filter.reset(pFilter);
    Check(avcodec_parameters_copy(m_Filter->par_in, Video.codecpar), ExitCode::Encoder, szName);
    m_Filter->time_base_in = TIME_BASE_90_KHZ;
    Check(av_bsf_init(m_Filter.get()), ExitCode::Input, szName);
}

// One packet goes in and one comes out; one that the filter cannot read is left out, as FFmpeg's muxer would.
void CopyCoder::Add(const AVPacket &Packet, std::int64_t nPacket, std::int64_t llDecoded) {
    PacketPtr Copy(av_packet_clone(&Packet));
    if (!Copy)
        throw std::bad_alloc();
    if (av_bsf_send_packet(m_Filter.get(), Copy.get()) < 0 || av_bsf_receive_packet(m_Filter.get(), Copy.get()) < 0)
        return;
    const std::lock_guard Lock(m_Mutex);
    m_Waiting.push_back({std::move(Copy), nPacket, llDecoded, std::nullopt});
}

void CopyCoder::Place(std::int64_t nPacket, std::int64_t llPTS) {
    const std::lock_guard Lock(m_Mutex);
    m_nLatestPlaced = std::max(m_nLatestPlaced, nPacket);
    const auto Of = std::ranges::find(m_Waiting, nPacket, &Waiting::nPacket);
    if (Of != m_Waiting.end())
        Of->PTS = llPTS;
}

template <typename Condition>
std::optional<CopyCoder::Waiting> CopyCoder::PopFirst(Condition IsWanted) {
    const std::lock_guard Lock(m_Mutex);
    if (m_Waiting.empty() || !IsWanted(m_Waiting.front()))
        return std::nullopt;
    Waiting Item = std::move(m_Waiting.front());
    m_Waiting.pop_front();
    return Item;
}

// An output that stalls does not keep the producer from its packets.
template <typename Condition>
void CopyCoder::HandOnWhile(Condition IsWanted, const PacketSink &Sink) {
    while (const std::optional<Waiting> Item = PopFirst(IsWanted))
        HandOn(*Item, Sink);
}

void CopyCoder::Encode(AVFrame &Frame, bool, const PacketSink &Sink) {
    const std::int64_t llPTS = Frame.pts;
    av_frame_unref(&Frame);
    HandOnWhile([=, this](const Waiting &Item) { return IsDue(Item, llPTS); }, Sink);
}

void CopyCoder::HandOnUpTo(std::int64_t nPacket, const PacketSink &Sink) {
    HandOnWhile([=](const Waiting &Item) { return Item.nPacket <= nPacket; }, Sink);
}

// The picture of this PTS has come. A packet without a picture waits for a while, since a picture may have been put
// behind another whose PTS was in its way.
bool CopyCoder::IsDue(const Waiting &Item, std::int64_t llPTS) const {
    if (Item.PTS)
        return *Item.PTS <= llPTS;
    if (Item.nPacket + MOST_IN_DECODER < m_nLatestPlaced)
        return true;
    return Item.Packet->pts != AV_NOPTS_VALUE && Item.Packet->pts + 2 * m_llPeriod < llPTS;
}

// Where a stretch of the input follows another, its first DTS may lie before the last ones.
void CopyCoder::HandOn(const Waiting &Item, const PacketSink &Sink) {
    AVPacket &Packet = *Item.Packet;
    if (Item.PTS)
        Packet.pts = *Item.PTS;
    else if (Packet.pts == AV_NOPTS_VALUE)
        Packet.pts = std::max(m_llLastPTS + m_llPeriod / 2, Item.llDecoded);
    if (Packet.dts == AV_NOPTS_VALUE)
        Packet.dts = m_LastDTS ? std::min(*m_LastDTS + m_llPeriod, Packet.pts) : Packet.pts - m_llReordering;
    if (m_LastDTS)
        Packet.dts = std::max(Packet.dts, *m_LastDTS + 1);
    Packet.pts = std::max(Packet.pts, Packet.dts);
    m_LastDTS = Packet.dts;
    m_llLastPTS = Packet.pts;
    Sink(Packet, Item.PTS.value_or(AV_NOPTS_VALUE));
}

void CopyCoder::Flush(const PacketSink &Sink) {
    HandOnWhile([](const Waiting &) { return true; }, Sink);
}

} // namespace encoder
