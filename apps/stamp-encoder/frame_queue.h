// The bounded queue between an input's producer and its encoding thread.
// One thread puts in, one takes out; either side may end it.
#ifndef ENCODER_FRAME_QUEUE_H
#define ENCODER_FRAME_QUEUE_H

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

#include "media/av.h"
#include "xtypes.h"

namespace encoder {

// A decoded picture on its way to the encoder.
struct Picture {
    FramePtr Frame;      // pts: 90 kHz, unwrapped
    INT64 llReadUTC = 0; // system time at which it was read, microseconds
};

class FrameQueue {
public:
    // Time stamps are handed in when their packet is read. Until their picture is coded, more are handed in: for the
    // pictures in the decoder (2 in most streams, 16 at most), those held back and the one that waits for room here,
    // those here, and those in the encoder (its B pictures and one). The library has room for 60 pictures with three
    // time stamps each. And its search gives up after 12 time stamps that lie farther off than the best: where the PTS
    // of a stream jump, a picture that is more than 12 behind loses its time. With 3 pictures held back and 2 B
    // pictures it is 2 + 4 + 2 + 3 = 11.
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
