// The bounded queue between an input's producer and its encoding thread.
// One thread puts in, one takes out; either side may end it.
#ifndef ENCODER_FRAME_QUEUE_H
#define ENCODER_FRAME_QUEUE_H

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

#include "media/av.h"
#include "timecode.h"

namespace encoder {

// A time stamp that belongs to a picture, as it is handed to the library.
struct TimeStamp {
    int enSource = TCSOURCE_NONE;
    TCPayload Payload{};
};

// A decoded picture on its way to the encoder, with its time stamps.
struct Picture {
    FramePtr Frame;            // pts: 90 kHz, on the output's timeline; none: only what waits too long is to leave
    std::int64_t llOwnPTS = 0; // its place among the local sets: what the input says, where it says something
    unsigned nStretch = 0;     // changes where the input's PTS step
    INT64 llReadUTC = 0;       // system time at which it was read, microseconds
    std::vector<TimeStamp> Stamps;
    std::int64_t nUndecodedUpTo = 0; // without a frame: the video packet up to which all is handed on
};

class FrameQueue {
public:
    static constexpr size_t CAPACITY = 2;

    // Waits for room. False when nobody takes pictures out any more.
    bool Push(Picture Item) {
        std::unique_lock Lock(m_Mutex);
        m_Changed.wait(Lock, [this] { return m_bAbandoned || m_Items.size() < CAPACITY; });
        if (m_bAbandoned)
            return false;
        m_Items.push_back(std::move(Item));
        m_Changed.notify_all();
        return true;
    }

    // Waits for a picture. Nothing when the producer has ended and all pictures are taken.
    std::optional<Picture> Pop() {
        std::unique_lock Lock(m_Mutex);
        m_Changed.wait(Lock, [this] { return m_bEnded || !m_Items.empty(); });
        if (m_Items.empty())
            return std::nullopt;
        Picture Item = std::move(m_Items.front());
        m_Items.pop_front();
        m_Changed.notify_all();
        return Item;
    }

    // The producer has no more pictures.
    void End() { Set(m_bEnded); }

    // The encoding thread takes no more pictures.
    void Abandon() { Set(m_bAbandoned); }

private:
    void Set(bool &bFlag) {
        const std::lock_guard Lock(m_Mutex);
        bFlag = true;
        m_Changed.notify_all();
    }

    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    std::deque<Picture> m_Items;
    bool m_bEnded = false;
    bool m_bAbandoned = false;
};

} // namespace encoder

#endif
