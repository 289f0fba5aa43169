// The PTS that a stream carries, and a clock that keeps pace with the wall by them.
// A stream carries 33 bits of PTS and starts again at 0 every 26.5 hours.
#ifndef ENCODER_MEDIA_PTS_CLOCK_H
#define ENCODER_MEDIA_PTS_CLOCK_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>

namespace encoder {

constexpr std::int64_t PTS_WRAP = std::int64_t{1} << 33;
constexpr std::int64_t TICKS_PER_SECOND = 90000;
constexpr std::int64_t MAX_START_DISTANCE_USEC = 86'400'000'000; // a day

// The PTS as the stream carries it: what the timecode library and the reports are given.
constexpr std::uint64_t StreamPTS(std::int64_t llPTS) {
    return static_cast<std::uint64_t>(llPTS) & static_cast<std::uint64_t>(PTS_WRAP - 1);
}

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
