// Two clocks made of a video's PTS: one that never wraps, and one that keeps pace with the wall.
#include "media/pts_clock.h"

#include <algorithm>
#include <thread>

#include "clock_api.h"

namespace encoder {

namespace {

constexpr std::int64_t LARGEST_STEP_BACK = TICKS_PER_SECOND;
constexpr std::int64_t LARGEST_PAUSE = 10 * TICKS_PER_SECOND;
constexpr std::chrono::milliseconds LONGEST_NAP{50};

} // namespace

std::int64_t PtsUnwrapper::Unwrap(std::uint64_t nStreamPTS) {
    const auto llStreamPTS = static_cast<std::int64_t>(nStreamPTS);
    if (!m_Last) {
        m_Last = llStreamPTS + PTS_WRAP;
        return *m_Last;
    }
    std::int64_t llStep = static_cast<std::int64_t>(StreamPTS(llStreamPTS - *m_Last));
    if (llStep >= PTS_WRAP - LARGEST_STEP_BACK)
        llStep -= PTS_WRAP;
    const std::int64_t llPTS = *m_Last + llStep;
    m_Last = std::max(*m_Last, llPTS);
    return llPTS;
}

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
