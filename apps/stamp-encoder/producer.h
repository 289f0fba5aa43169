// An input's producer thread: reads packets, hands their time stamps in, decodes, and queues the pictures.
// It stands in for the capture side of an encoder.
#ifndef ENCODER_PRODUCER_H
#define ENCODER_PRODUCER_H

#include <atomic>
#include <deque>

#include "frame_queue.h"
#include "media/decoder.h"
#include "media/demuxer.h"
#include "media/picture_filter.h"
#include "media/pts_clock.h"
#include "stamp_intake.h"

namespace encoder {

class Producer {
public:
    // All references must outlive the producer. nInput counts from 0.
    Producer(int nInput, const Options &Settings, const PictureRate &Rate, Demuxer &In, FrameQueue &Out, Tally &Counts,
             const std::atomic<bool> &bStop);

    // The thread's body. Returns at the end of the input, when bStop is set, or when the encoding thread takes no more;
    // throws a Failure when the input fails, after the pictures read before have been queued.
    void Run();

private:
    void ReadAll();
    void TakePacket(const AVPacket &Packet);
    void TakeFrame(FramePtr Frame);
    void Queue(size_t nKeep);
    void CheckSize(const AVFrame &Frame) const;

    const bool m_bRealtime;
    Demuxer &m_Demuxer;
    FrameQueue &m_Queue;
    Tally &m_Tally;
    const std::atomic<bool> &m_bStop;
    Decoder m_Decoder;
    PictureFilter m_Filter;
    StampIntake m_Intake;
    PtsUnwrapper m_Unwrapper;
    Pacer m_Pacer;
    int64_t m_llLastPTS = 0;
    const size_t m_nHeld; // the last pictures decoded are held back until as many more have been
    std::deque<Picture> m_Held;
    bool m_bEnded = false; // the encoding thread takes no more
};

} // namespace encoder

#endif
