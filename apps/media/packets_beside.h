// Packets of the streams beside the video that have been read, but that may have been sent behind video which has not
// been read yet: a video packet is complete only when the next one begins, and its parser looks one farther.
#ifndef ENCODER_MEDIA_PACKETS_BESIDE_H
#define ENCODER_MEDIA_PACKETS_BESIDE_H

#include <deque>

#include "media/av.h"

namespace encoder {

class PacketsBeside {
public:
    void Put(PacketPtr Packet) {
        m_nBytes += static_cast<std::size_t>(Packet->size);
        m_Waiting.push_back({std::move(Packet), 0});
    }

    // So many wait that all are to be taken: the video has ended, or has no times.
    bool IsFull() const { return m_Waiting.size() > MOST_WAITING || m_nBytes > MOST_BYTES; }

    // The next one that was sent before the video packet, or without one the next that is left; null when there is
    // none. Where the input does not tell places, they were sent in the order in which they were read.
    PacketPtr PopBefore(const AVPacket *pVideo) {
        if (m_Waiting.empty() || !IsBefore(m_Waiting.front(), pVideo))
            return nullptr;
        PacketPtr Packet = std::move(m_Waiting.front().Packet);
        m_Waiting.pop_front();
        m_nBytes -= static_cast<std::size_t>(Packet->size);
        return Packet;
    }

    // A video packet has been read, and all that was sent before it is taken.
    void PassVideo() {
        for (Waiting &Item : m_Waiting)
            Item.nVideoPackets++;
    }

private:
    static constexpr std::size_t MOST_WAITING = 2000;
    static constexpr std::size_t MOST_BYTES = 32 << 20;
    // A packet that was sent before a video packet may be read up to so many video packets earlier.
    static constexpr int MOST_VIDEO_AHEAD = 4;

    struct Waiting {
        PacketPtr Packet;
        int nVideoPackets; // read since
    };

    static bool IsBefore(const Waiting &Item, const AVPacket *pVideo) {
        const std::int64_t llPlace = Item.Packet->pos;
        return pVideo == nullptr || llPlace < 0 || pVideo->pos < 0 || llPlace < pVideo->pos ||
               Item.nVideoPackets >= MOST_VIDEO_AHEAD;
    }

    std::deque<Waiting> m_Waiting;
    std::size_t m_nBytes = 0; // that wait
};

} // namespace encoder

#endif
