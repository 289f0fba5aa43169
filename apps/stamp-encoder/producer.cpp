// An input's producer thread.
// The order matters: a picture may reach the encoder only when the time stamps that belong to it have been handed in.
#include "producer.h"

#include <exception>

#include "clock_api.h"

namespace encoder {

Producer::Producer(int nInput, const Options &Settings, const PictureRate &Rate, Demuxer &In, FrameQueue &Out,
                   Tally &Counts, const std::atomic<bool> &bStop)
    : m_bRealtime(Settings.bRealtime), m_Demuxer(In), m_Queue(Out), m_Tally(Counts), m_bStop(bStop),
      m_Decoder(In.Video(), "input '" + In.Path() + "'"),
      m_Filter(Settings.enTimecodeFrom == TimecodeFrom::Auto || Settings.enTimecodeFrom == TimecodeFrom::Vitc),
      m_Intake(nInput, Settings, In.Video(), Rate, Counts), m_Pacer(Settings.llStartAtUTC),
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
    Try([this] { ReadAll(); });
    // Where the input breaks off, the decoder still has pictures that were read before.
    Try([this] { m_Decoder.Flush([this](FramePtr Frame) { TakeFrame(std::move(Frame)); }); });
    Queue(0);
    if (Failed)
        std::rethrow_exception(Failed);
}

void Producer::ReadAll() {
    const PacketPtr Packet = MakePacket();
    while (!m_bStop && !m_bEnded && m_Demuxer.Read(*Packet))
        TakePacket(*Packet);
}

void Producer::TakePacket(const AVPacket &Packet) {
    if ((Packet.flags & AV_PKT_FLAG_CORRUPT) != 0)
        m_Tally.Count(Event::DamagedPacket);
    if (!m_Demuxer.IsVideo(Packet)) {
        m_Intake.TakeKlvPacket(Packet);
        return;
    }
    m_Intake.TakeVideoPacket(Packet);
    if (!m_Decoder.Decode(Packet, [this](FramePtr Frame) { TakeFrame(std::move(Frame)); }))
        m_Tally.Count(Event::UndecodablePacket);
}

void Producer::TakeFrame(FramePtr Frame) {
    if (Frame->pts == AV_NOPTS_VALUE) {
        m_Tally.Count(Event::PictureWithoutPts);
        return;
    }
    CheckSize(*Frame);
    const int64_t llPTS = m_Unwrapper.Unwrap(StreamPTS(Frame->pts));
    if (llPTS <= m_llLastPTS) {
        m_Tally.Count(Event::PictureNotLater);
        return;
    }
    m_llLastPTS = llPTS;
    if (m_bRealtime)
        m_Pacer.WaitUntilDue(llPTS, m_bStop);
    m_Tally.Begin();
    Frame->pts = llPTS;
    Frame = m_Filter.Filter(std::move(Frame));
    m_Intake.TakePicture(*Frame, m_Decoder.Rate());
    m_Held.push_back({std::move(Frame), ClockGetUtc()});
    Queue(m_nHeld);
}

void Producer::Queue(size_t nKeep) {
    while (!m_bEnded && m_Held.size() > nKeep) {
        m_bEnded = !m_Queue.Push(std::move(m_Held.front()));
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
