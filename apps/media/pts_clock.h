// A clock that keeps pace with the wall by a video's PTS.
#ifndef ENCODER_MEDIA_PTS_CLOCK_H
#define ENCODER_MEDIA_PTS_CLOCK_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>

#include "common/pts.h"

namespace encoder {

constexpr std::int64_t MAX_START_DISTANCE_USEC = 86'400'000'000; // a day

// Holds a thread up until a picture is due, as a camera would have delivered it.
class Pacer {
public:
    // The first picture is due at this UTC (microseconds since 1970), within a day, or at once without it.
    explicit Pacer(std::optional<std::int64_t> llStartAtUTC) : m_llStartAtUTC(llStartAtUTC) {}

    // Returns early when bStop is set. A picture after a jump of the PTS is due at once.
    void WaitUntilDue(std::int64_t llPTS, const std::atomic<bool> &bStop);

private:
    using Clock = std::chrono::steady_clock;

    std::chrono::microseconds DelayOfFirst() const;

    const std::optional<std::int64_t> m_llStartAtUTC;
    Clock::time_point m_Start;
    std::int64_t m_llStartPTS = 0;
    std::optional<std::int64_t> m_LastPTS;
};

} // namespace encoder

#endif
