// The streams beside the video of one input, sound and KLV, on their way from the input to the output: byte for byte,
// with times on the output's timeline. The producer puts in, the encoding thread writes.
#ifndef ENCODER_PASSED_STREAMS_H
#define ENCODER_PASSED_STREAMS_H

#include <deque>
#include <map>
#include <mutex>
#include <optional>

#include "media/demuxer.h"
#include "media/ts_writer.h"
#include "tally.h"

namespace encoder {

class PassedStreams {
public:
    // All must outlive the object.
    PassedStreams(const Demuxer &In, Tally &Counts) : m_Demuxer(In), m_Tally(Counts) {}

    // Adds the streams to the program opened last.
    void AddTo(TsWriter &Writer);

    // Producer: a packet of another stream than the video, with times on the timeline. The PTS of the video packet
    // behind it in the file is the place of KLV without a PTS. Packets of streams that are not passed on are ignored.
    // True when too many wait: the encoding thread is to write those in excess.
    [[nodiscard]] bool Add(const AVPacket &Packet, std::int64_t llVideoPTS);

    // Encoding thread: writes what goes before the picture with these times, which is written next. Throws as
    // TsWriter::Write does.
    void WriteBefore(std::int64_t llPTS, std::int64_t llDTS);
    // Writes those in excess.
    void WriteExcess();
    // No picture comes any more.
    void WriteRest();

private:
    struct Track {
        int nStream = -1; // of the output
        bool bKlv = false;
        std::deque<PacketPtr> Waiting{};
        std::optional<std::int64_t> LastDTS{}; // written
    };

    bool IsTooMuch() const;
    Track *FirstInExcess();
    template <typename Condition>
    PacketPtr PopFirst(Track &From, Condition IsWanted);
    template <typename Condition>
    void WriteWhile(Track &From, Condition IsWanted);
    void Write(Track &From, AVPacket &Packet);

    const Demuxer &m_Demuxer;
    Tally &m_Tally;
    TsWriter *m_pWriter = nullptr;
    std::mutex m_Mutex;
    std::map<int, Track> m_Tracks; // by stream of the input; the mutex guards what waits
    std::size_t m_nBytes = 0;      // that wait
    std::size_t m_nPackets = 0;    // that wait
    std::int64_t m_llPlace = AV_NOPTS_VALUE;
};

} // namespace encoder

#endif
