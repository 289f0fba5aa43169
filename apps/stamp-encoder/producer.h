// An input's producer thread: reads packets, takes their time stamps out, decodes, and queues each picture with the
// time stamps that belong to it. It stands in for the capture side of an encoder.
#ifndef ENCODER_PRODUCER_H
#define ENCODER_PRODUCER_H

#include <atomic>
#include <deque>
#include <map>

#include "frame_queue.h"
#include "local_sets.h"
#include "media/copy_coder.h"
#include "media/decoder.h"
#include "media/demuxer.h"
#include "media/packets_beside.h"
#include "media/picture_filter.h"
#include "media/pts_clock.h"
#include "media/timeline.h"
#include "passed_streams.h"
#include "stamp_intake.h"

namespace encoder {

class Producer {
public:
    // All references must outlive the producer. With pCopy the pictures are decoded for their time stamps only, and the
    // video packets go there.
    Producer(const Options &Settings, const PictureRate &Rate, AVPixelFormat enPixels, CopyCoder *pCopy, Demuxer &In,
             FrameQueue &Out, PassedStreams &Passed, Tally &Counts, const std::atomic<bool> &bStop);

    // The thread's body. Returns at the end of the input, when bStop is set, or when the encoding thread takes no more;
    // throws a Failure when the input fails, after the pictures read before have been queued.
    void Run();

private:
    // What a video packet brought along for its picture.
    struct Coded {
        unsigned nStretch = 0;
        DecodingTime Decoding{};
        std::vector<TimeStamp> Stamps{};
        std::vector<INT64> LocalSets{}; // without a PTS, where the picture has none either
    };

    void FindBegin();
    void ReadAll();
    void HandleVideoPacket(AVPacket &Packet);
    void HandlePacketsBeside(const AVPacket *pVideo, Coded &Into);
    bool IsOfChosenStream(const AVPacket &Packet, size_t nSets);
    void HandlePacketBeside(AVPacket &Packet, const AVPacket *pVideo, Coded &Into);
    void HandleRestBeside();
    void AddLocalSets(const std::vector<INT64> &UTCs, unsigned nStretch, INT64 llPTS);
    void HandleFrame(FramePtr Frame, std::int64_t nPacket);
    void ReadTimecode(const AVFrame &Frame);
    void Queue(size_t nKeep);
    void HandOnUndecoded();
    void WakeEncoding(std::int64_t nUndecodedUpTo);
    void CheckSize(const AVFrame &Frame) const;

    const bool m_bRealtime;
    const bool m_bAsksForLocalSets;
    Demuxer &m_Demuxer;
    FrameQueue &m_Queue;
    CopyCoder *const m_pCopy;
    PassedStreams &m_Passed;
    Tally &m_Tally;
    const std::atomic<bool> &m_bStop;
    Decoder m_Decoder;
    PictureFilter m_Filter;
    StampIntake m_Intake;
    const AVRational m_Rate;
    Timeline m_Timeline;
    DecodingClock m_DecodingClock;
    DecodingTime m_Newest; // of the newest video packet
    PictureClock m_Clock;
    std::optional<int> m_KlvStream; // whose local sets are taken: each stream may tell another time
    LocalSets m_LocalSets;
    Pacer m_Pacer;
    PacketsBeside m_Beside;
    std::map<std::int64_t, Coded> m_InDecoder; // by number of the video packet
    std::int64_t m_nVideoPackets = 0;
    std::int64_t m_nLastDecoded = 0; // the number of the newest video packet when a picture came last
    const size_t m_nHeld;            // the last pictures decoded are held back until as many more have been
    std::deque<Picture> m_Held;
    bool m_bEnded = false; // the encoding thread takes no more
};

} // namespace encoder

#endif
