// An input's producer thread.
// A picture waits in line until what is sent behind it has been read; when it leaves, its time stamps are complete.
#include "producer.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "clock_api.h"

namespace encoder {

namespace {

constexpr std::int64_t MOST_WITHOUT_TIME = 100; // video packets that are looked into for the first time
constexpr std::int64_t MANY_BESIDE = 1000;      // packets before the first of the video
constexpr std::int64_t MOST_IN_DECODER = 100;   // packets; what has gone farther became no picture

} // namespace

Producer::Producer(const Options &Settings, const PictureRate &Rate, AVPixelFormat enPixels, CopyCoder *pCopy,
                   Demuxer &In, FrameQueue &Out, PassedStreams &Passed, Tally &Counts, const std::atomic<bool> &bStop)
    : m_bRealtime(Settings.bRealtime), m_bAsksForLocalSets(Settings.Reaches(TCSOURCE_LDS_TIMESTAMP)), m_Demuxer(In),
      m_Queue(Out), m_pCopy(pCopy), m_Passed(Passed), m_Tally(Counts), m_bStop(bStop),
      m_Decoder(In.Video(), "input '" + In.Path() + "'"),
      m_Filter(Settings.enTimecodeFrom == TimecodeFrom::Auto || Settings.enTimecodeFrom == TimecodeFrom::Vitc,
               enPixels),
      m_Intake(Settings, In.Video(), Rate, Counts), m_Rate(Rate.Exact), m_Timeline(m_Rate),
      m_DecodingClock(m_Rate, In.Video().codecpar->video_delay), m_Clock(m_Rate), m_KlvStream(Settings.KlvStream),
      m_LocalSets(TicksOf(1, Rate.Exact), Settings.llLdsReach), m_Pacer(Settings.llStartAtUTC),
      m_nHeld(Settings.HeldPictures()) {}

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
    Try([this] {
        FindBegin();
        ReadAll();
    });
    // Where the input breaks off, the decoder still has pictures that were read before.
    Try([this] {
        HandleRestBeside();
        m_Decoder.Flush([this](FramePtr Frame, std::int64_t nPacket) { HandleFrame(std::move(Frame), nPacket); });
    });
    Queue(0);
    if (Failed)
        std::rethrow_exception(Failed);
}

// Video may begin without times. The pictures before the first that has one are counted back from it, so that what lies
// beside them keeps its place; where none comes soon, they begin together with what is sent beside them.
void Producer::FindBegin() {
    const AVStream &Video = m_Demuxer.Video();
    std::int64_t nVideo = 0;
    std::int64_t nBeside = 0;
    std::int64_t llVideo = AV_NOPTS_VALUE;
    std::int64_t llBeside = AV_NOPTS_VALUE;
    m_Demuxer.PutBack(ReadAhead(m_Demuxer, [&](const AVPacket &Packet) {
        const bool bVideo = m_Demuxer.IsVideo(Packet);
        const bool bHasDts = Packet.dts != AV_NOPTS_VALUE;
        std::int64_t &llTime = bVideo ? llVideo : llBeside;
        if (llTime == AV_NOPTS_VALUE)
            llTime = bHasDts ? Packet.dts + (bVideo ? TicksOf(Video.codecpar->video_delay, m_Rate) : 0) : Packet.pts;
        (bVideo ? nVideo : nBeside)++;
        return llVideo != AV_NOPTS_VALUE || nVideo > MOST_WITHOUT_TIME;
    }));
    // Much beside the video is taken before it.
    if (llVideo != AV_NOPTS_VALUE && (nVideo > 1 || nBeside > MANY_BESIDE))
        m_DecodingClock.BeginAt(m_Timeline.BeginAt(llVideo - TicksOf(nVideo - 1, m_Rate)));
    else if (llVideo == AV_NOPTS_VALUE && llBeside != AV_NOPTS_VALUE)
        m_DecodingClock.BeginAt(m_Timeline.BeginAt(llBeside));
}

void Producer::ReadAll() {
    // What was read ahead to find the source is coded in any case.
    while ((!m_bStop || m_Demuxer.HasPutBack()) && !m_bEnded) {
        PacketPtr Packet = MakePacket();
        if (!m_Demuxer.Read(*Packet)) {
            m_Tally.Count(Event::FallenSilent, m_Demuxer.HasFallenSilent() ? 1 : 0);
            return;
        }
        for (const std::string &szStream : m_Demuxer.PopLeftOut())
            m_Tally.Tell(szStream);
        m_Tally.Count(Event::DamagedPacket, IsDamaged(*Packet) ? 1 : 0);
        if (m_Demuxer.IsVideo(*Packet))
            HandleVideoPacket(*Packet);
        else
            m_Beside.Put(std::move(Packet));
        if (m_Beside.IsFull())
            HandleRestBeside();
    }
}

void Producer::HandleVideoPacket(AVPacket &Packet) {
    m_Timeline.MoveVideo(Packet, m_Demuxer.IsMarked(Packet));
    Coded &Of = m_InDecoder[++m_nVideoPackets];
    Of.nStretch = m_Timeline.Stretch();
    Of.Decoding = m_Newest = m_DecodingClock.Next(Packet);
    HandlePacketsBeside(&Packet, Of);
    Of.Stamps = m_Intake.OfVideoPacket(Packet);
    m_InDecoder.erase(m_InDecoder.begin(), m_InDecoder.lower_bound(m_nVideoPackets - MOST_IN_DECODER));
    if (m_pCopy != nullptr)
        m_pCopy->Add(Packet, m_nVideoPackets, Of.Decoding.llDecoded);
    const auto Handle = [this](FramePtr Frame, std::int64_t nPacket) { HandleFrame(std::move(Frame), nPacket); };
    if (!m_Decoder.Decode(Packet, m_nVideoPackets, Handle))
        m_Tally.Count(Event::UndecodablePacket);
    HandOnUndecoded();
}

// Packets that are copied leave with the pictures. Where none comes for long, they leave without, so that they do not
// pile up, behind the pictures that came before.
void Producer::HandOnUndecoded() {
    if (m_pCopy == nullptr || m_bEnded || m_nVideoPackets - m_nLastDecoded <= MOST_IN_DECODER)
        return;
    Queue(0);
    WakeEncoding(m_nVideoPackets - MOST_IN_DECODER);
}

void Producer::WakeEncoding(std::int64_t nUndecodedUpTo) {
    Picture None;
    None.nUndecodedUpTo = nUndecodedUpTo;
    m_bEnded = m_bEnded || !m_Queue.Push(std::move(None));
}

// Takes the packets that lie before the video packet in the file, or without one all that are left.
void Producer::HandlePacketsBeside(const AVPacket *pVideo, Coded &Into) {
    while (const PacketPtr Packet = m_Beside.PopBefore(pVideo))
        HandlePacketBeside(*Packet, pVideo, Into);
    m_Beside.PassVideo();
}

void Producer::HandleRestBeside() {
    Coded OfNoPicture;
    HandlePacketsBeside(nullptr, OfNoPicture);
}

// Asynchronous carriage gives local sets no PTS: they belong to the picture that is sent next.
void Producer::HandlePacketBeside(AVPacket &Packet, const AVPacket *pVideo, Coded &Into) {
    const unsigned nStretch = m_Timeline.MoveOther(Packet);
    if (m_Passed.Add(Packet, pVideo != nullptr ? pVideo->pts : AV_NOPTS_VALUE))
        WakeEncoding(0);
    if (!m_Demuxer.IsKlv(Packet))
        return;
    const std::vector<INT64> UTCs = m_Intake.OfKlvPacket(Packet);
    if (!IsOfChosenStream(Packet, UTCs.size()))
        return;
    if (Packet.pts != AV_NOPTS_VALUE) {
        AddLocalSets(UTCs, nStretch, Packet.pts);
        return;
    }
    m_Tally.Count(pVideo != nullptr ? Event::LocalSetWithoutPTS : Event::LocalSetBehindVideo, UTCs.size());
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

void Producer::HandleFrame(FramePtr Frame, std::int64_t nPacket) {
    m_nLastDecoded = m_nVideoPackets;
    if (m_pCopy == nullptr)
        CheckSize(*Frame);
    const auto Found = m_InDecoder.extract(nPacket);
    Coded Of = Found.empty() ? Coded{m_Timeline.Stretch()} : std::move(Found.mapped());
    const std::int64_t llOwnPTS = Frame->pts;
    Frame->pts = m_Clock.Next({llOwnPTS, Frame->best_effort_timestamp, Of.Decoding.llEarliest, m_Newest.llDecoded});
    if (llOwnPTS == AV_NOPTS_VALUE)
        m_Tally.Count(Event::PictureWithoutPTS);
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
    ReadTimecode(*m_Held.back().Frame);
    Queue(m_nHeld);
}

// A VITC reading is believed when the next one follows from it, and is that of a picture which waits by then.
void Producer::ReadTimecode(const AVFrame &Frame) {
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
