// An input's producer thread.
// A picture waits in line until what is sent behind it has been read; when it leaves, its time stamps are complete.
#include "producer.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "clock_api.h"

namespace encoder {

namespace {

// A packet that was sent before a video packet may be read up to this many video packets earlier: a video packet is
// complete only when the next one begins, and its parser looks one farther.
constexpr int MOST_VIDEO_AHEAD = 4;
constexpr size_t MOST_BESIDE = 2000;          // of an input whose video has ended
constexpr std::int64_t MOST_IN_DECODER = 100; // packets; what has gone farther became no picture

} // namespace

Producer::Producer(const Options &Settings, const PictureRate &Rate, AVPixelFormat enPixels, CopyCoder *pCopy,
                   Demuxer &In, FrameQueue &Out, PassedStreams &Passed, Tally &Counts, const std::atomic<bool> &bStop)
    : m_bRealtime(Settings.bRealtime), m_bAsksForLocalSets(Settings.Reaches(TCSOURCE_LDS_TIMESTAMP)), m_Demuxer(In),
      m_Queue(Out), m_pCopy(pCopy), m_Passed(Passed), m_Tally(Counts), m_bStop(bStop),
      m_Decoder(In.Video(), "input '" + In.Path() + "'"),
      m_Filter(Settings.enTimecodeFrom == TimecodeFrom::Auto || Settings.enTimecodeFrom == TimecodeFrom::Vitc,
               enPixels),
      m_Intake(Settings, In.Video(), Rate, Counts), m_Timeline(Rate.Exact), m_Clock(Rate.Exact),
      m_KlvStream(Settings.KlvStream), m_LocalSets(TicksOf(1, Rate.Exact), Settings.llLdsReach),
      m_Pacer(Settings.llStartAtUTC), m_nHeld(Settings.HeldPictures()) {}

void Producer::Run() {
    std::exception_ptr Failed;
    const auto Try = [&Failed](const auto &Do) {
        try {
            Do();
        } catch (const Failure &) {
            if (!Failed)
                Failed = std::current_exception();
        }
    };
    Try([this] { ReadAll(); });
    // Where the input breaks off, the decoder still has pictures that were read before.
    Try([this] {
        TakeRestBeside();
        m_Decoder.Flush([this](FramePtr Frame, std::int64_t nPacket) { TakeFrame(std::move(Frame), nPacket); });
    });
    Queue(0);
    if (Failed)
        std::rethrow_exception(Failed);
}

void Producer::ReadAll() {
    // What was read ahead to find the source is coded in any case.
    while ((!m_bStop || m_Demuxer.HasPutBack()) && !m_bEnded) {
        PacketPtr Packet = MakePacket();
        if (!m_Demuxer.Read(*Packet)) {
            m_Tally.Count(Event::FallenSilent, m_Demuxer.HasFallenSilent() ? 1 : 0);
            return;
        }
        if ((Packet->flags & AV_PKT_FLAG_CORRUPT) != 0)
            m_Tally.Count(Event::DamagedPacket);
        if (m_Demuxer.IsVideo(*Packet))
            TakeVideoPacket(*Packet);
        else
            m_Beside.push_back({std::move(Packet), 0});
        if (m_Beside.size() > MOST_BESIDE)
            TakeRestBeside();
    }
}

void Producer::TakeVideoPacket(AVPacket &Packet) {
    m_Timeline.MoveVideo(Packet, m_Demuxer.IsMarked(Packet));
    Coded &Of = m_InDecoder[++m_nVideoPackets];
    Of.nStretch = m_Timeline.Stretch();
    TakePacketsBeside(&Packet, Of);
    Of.Stamps = m_Intake.OfVideoPacket(Packet);
    m_InDecoder.erase(m_InDecoder.begin(), m_InDecoder.lower_bound(m_nVideoPackets - MOST_IN_DECODER));
    if (m_pCopy != nullptr)
        m_pCopy->Take(Packet, m_nVideoPackets);
    const auto Take = [this](FramePtr Frame, std::int64_t nPacket) { TakeFrame(std::move(Frame), nPacket); };
    if (!m_Decoder.Decode(Packet, m_nVideoPackets, Take))
        m_Tally.Count(Event::UndecodablePacket);
}

// Takes the packets that lie before the video packet in the file, or without one all that are left. Where the file does
// not tell, they were sent in the order in which they were read.
void Producer::TakePacketsBeside(const AVPacket *pVideo, Coded &Into) {
    const auto IsBefore = [pVideo](const Beside &Waiting) {
        const std::int64_t llPlace = Waiting.Packet->pos;
        return pVideo == nullptr || llPlace < 0 || pVideo->pos < 0 || llPlace < pVideo->pos ||
               Waiting.nVideoPackets >= MOST_VIDEO_AHEAD;
    };
    while (!m_Beside.empty() && IsBefore(m_Beside.front())) {
        TakePacketBeside(*m_Beside.front().Packet, pVideo, Into);
        m_Beside.pop_front();
    }
    for (Beside &Waiting : m_Beside)
        Waiting.nVideoPackets++;
}

void Producer::TakeRestBeside() {
    Coded OfNoPicture;
    TakePacketsBeside(nullptr, OfNoPicture);
}

// Asynchronous carriage gives local sets no PTS: they belong to the picture that is sent next.
void Producer::TakePacketBeside(AVPacket &Packet, const AVPacket *pVideo, Coded &Into) {
    const unsigned nStretch = m_Timeline.MoveOther(Packet);
    m_Passed.Take(Packet, pVideo != nullptr ? pVideo->pts : AV_NOPTS_VALUE);
    if (!m_Demuxer.IsKlv(Packet))
        return;
    const std::vector<INT64> UTCs = m_Intake.OfKlvPacket(Packet);
    if (!IsOfChosenStream(Packet, UTCs.size()))
        return;
    if (Packet.pts != AV_NOPTS_VALUE) {
        AddLocalSets(UTCs, nStretch, Packet.pts);
        return;
    }
    m_Tally.Count(pVideo != nullptr ? Event::LocalSetWithoutPts : Event::LocalSetBehindVideo, UTCs.size());
    if (pVideo != nullptr && pVideo->pts != AV_NOPTS_VALUE)
        AddLocalSets(UTCs, Into.nStretch, pVideo->pts);
    else
        Into.LocalSets.insert(Into.LocalSets.end(), UTCs.begin(), UTCs.end());
}

// The first stream that has a set, where none was chosen.
bool Producer::IsOfChosenStream(const AVPacket &Packet, size_t nSets) {
    if (!m_KlvStream && nSets > 0)
        m_KlvStream = Packet.stream_index;
    const bool bChosen = m_KlvStream == Packet.stream_index;
    if (!bChosen)
        m_Tally.Count(Event::LocalSetOfOther, nSets, "stream " + std::to_string(Packet.stream_index) + ": ");
    return bChosen;
}

void Producer::AddLocalSets(const std::vector<INT64> &UTCs, unsigned nStretch, INT64 llPTS) {
    for (const INT64 llUTC : UTCs)
        if (!m_LocalSets.Add({nStretch, llPTS, llUTC}) && m_bAsksForLocalSets)
            m_Tally.Count(Event::LocalSetLate);
}

void Producer::TakeFrame(FramePtr Frame, std::int64_t nPacket) {
    if (m_pCopy == nullptr)
        CheckSize(*Frame);
    const auto Found = m_InDecoder.extract(nPacket);
    Coded Of = Found.empty() ? Coded{m_Timeline.Stretch(), {}, {}} : std::move(Found.mapped());
    const std::int64_t llOwnPTS = Frame->pts;
    Frame->pts = m_Clock.Next(llOwnPTS, Frame->best_effort_timestamp);
    if (llOwnPTS == AV_NOPTS_VALUE)
        m_Tally.Count(Event::PictureWithoutPts);
    else if (llOwnPTS != Frame->pts)
        m_Tally.Count(Event::PictureNotLater);
    if (m_pCopy != nullptr)
        m_pCopy->Place(nPacket, Frame->pts);
    if (m_bRealtime)
        m_Pacer.WaitUntilDue(Frame->pts, m_bStop);
    m_Tally.Begin();
    Picture Taken{nullptr, llOwnPTS != AV_NOPTS_VALUE ? llOwnPTS : Frame->pts, Of.nStretch, ClockGetUtc(),
                  std::move(Of.Stamps)};
    AddLocalSets(Of.LocalSets, Taken.nStretch, Taken.llOwnPTS);
    Taken.Frame = m_Filter.Filter(std::move(Frame));
    m_Held.push_back(std::move(Taken));
    TakeTimecode(*m_Held.back().Frame);
    Queue(m_nHeld);
}

// A VITC reading is believed when the next one follows from it, and is that of a picture which waits by then.
void Producer::TakeTimecode(const AVFrame &Frame) {
    for (const TimecodeReading &Read : m_Intake.OfPicture(Frame, m_Decoder.Rate())) {
        const auto Shows = [&Read](const Picture &Waiting) {
            return Waiting.Frame->pts == static_cast<std::int64_t>(Read.nPTS);
        };
        const auto Of = std::ranges::find_if(m_Held, Shows);
        if (Of != m_Held.end())
            Of->Stamps.push_back(StampIntake::OfTimecode(Read.Label));
    }
}

void Producer::Queue(size_t nKeep) {
    while (!m_bEnded && m_Held.size() > nKeep) {
        Picture &Leaving = m_Held.front();
        if (const auto Set = m_LocalSets.Reaching(Leaving.nStretch, Leaving.llOwnPTS))
            Leaving.Stamps.push_back(m_Intake.OfLocalSet(Set->llUTC));
        m_bEnded = !m_Queue.Push(std::move(Leaving));
        m_Held.pop_front();
    }
}

void Producer::CheckSize(const AVFrame &Frame) const {
    const AVCodecParameters &Announced = *m_Demuxer.Video().codecpar;
    if (Frame.width != Announced.width || Frame.height != Announced.height) {
        throw Failure(ExitCode::Input, "input '" + m_Demuxer.Path() + "' changes its picture size from " +
                                           std::to_string(Announced.width) + "x" + std::to_string(Announced.height) +
                                           " to " + std::to_string(Frame.width) + "x" + std::to_string(Frame.height) +
                                           "; what was read before is coded, code the rest on its own");
    }
}

} // namespace encoder
