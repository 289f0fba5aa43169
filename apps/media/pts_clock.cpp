// A clock that keeps pace with the wall by a video's PTS.
#include "media/pts_clock.h"

#include <algorithm>
#include <thread>

#include "clock_api.h"

namespace encoder {

namespace {

constexpr std::int64_t LARGEST_PAUSE = 10 * TICKS_PER_SECOND;
constexpr std::chrono::milliseconds LONGEST_NAP{50};

} // namespace

std::chrono::microseconds Pacer::DelayOfFirst() const {
    const std::int64_t llDelay = m_llStartAtUTC ? *m_llStartAtUTC - ClockGetUtc() : 0;
    return std::chrono::microseconds(std::clamp<std::int64_t>(llDelay, 0, MAX_START_DISTANCE_USEC));
}

void Pacer::WaitUntilDue(std::int64_t llPTS, const std::atomic<bool> &bStop) {
    if (!m_LastPTS) {
        m_Start = Clock::now() + DelayOfFirst();
        m_llStartPTS = llPTS;
    } else if (llPTS < *m_LastPTS || llPTS - *m_LastPTS > LARGEST_PAUSE) {
        m_Start = Clock::now();
        m_llStartPTS = llPTS;
    }
    m_LastPTS = llPTS;
    const std::chrono::duration<std::int64_t, std::ratio<1, TICKS_PER_SECOND>> SinceStart(llPTS - m_llStartPTS);
    const Clock::time_point Due = m_Start + std::chrono::duration_cast<Clock::duration>(SinceStart);
    while (!bStop && Clock::now() < Due)
        std::this_thread::sleep_until(std::min(Due, Clock::now() + LONGEST_NAP));
}

} // namespace encoder
