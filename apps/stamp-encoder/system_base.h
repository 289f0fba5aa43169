// The base pair of system time: a picture's PTS, and the UTC of the system clock at which that picture came.
#ifndef ENCODER_SYSTEM_BASE_H
#define ENCODER_SYSTEM_BASE_H

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "common/pts.h"
#include "pts_api.h"

namespace encoder {

// A pair serves for some hours only: the input's clock drifts from the system's, and its PTS wrap. So it is renewed
// once a minute, from the picture that was read soonest for its PTS since: none is read before it comes, but many wait
// until they are read. Where pictures do not come at the pace of their PTS, as from a file, the time at which one is
// read says nothing, and the pair is moved along the PTS instead.
// The first pictures of a live input have waited while FFmpeg looked into the streams. In the first seconds each one
// that was read sooner than the pair says becomes the pair: it has its own time of reading, which is no earlier than
// that of the picture before. A renewal takes back less than a picture lasts. So the time of pictures as they are read
// never runs backwards.
class SystemBase {
public:
    // bLive: pictures come at the pace of their PTS, apart from those that have waited.
    explicit SystemBase(bool bLive) : m_bLive(bLive) {}

    void Renew(UINT64 nPTS, INT64 llReadUTC) {
        const INT64 llElapsed = CalcPTSDiff(m_nPTS, nPTS);
        const INT64 llLate = llReadUTC - (m_llUTC + llElapsed * 100 / 9);
        if (!m_bSet) {
            Set(nPTS, llReadUTC);
            m_nFirstPTS = nPTS;
            m_bFirstSeconds = true;
            return;
        }
        m_bFirstSeconds = m_bFirstSeconds && CalcPTSDiff(m_nFirstPTS, nPTS) < FIRST_TICKS;
        if (m_bFirstSeconds && m_bLive && llElapsed > 0 && llLate < 0) {
            Set(nPTS, llReadUTC);
            return;
        }
        m_llLeastLate = std::min(m_llLeastLate, llLate);
        if (llElapsed < RENEWAL_TICKS)
            return;
        const bool bAtPace = std::llabs(m_llLeastLate) < AT_PACE_USEC;
        Set(nPTS, llReadUTC - llLate + (bAtPace ? std::max(m_llLeastLate, -MOST_BACK_USEC) : 0));
    }

    void StartAnew() { m_bSet = false; }

    UINT64 PTS() const { return m_nPTS; }
    INT64 UTC() const { return m_llUTC; }

private:
    static constexpr INT64 FIRST_TICKS = 5 * TICKS_PER_SECOND;
    static constexpr INT64 RENEWAL_TICKS = 60 * TICKS_PER_SECOND;
    static constexpr INT64 AT_PACE_USEC = 1'000'000;
    static constexpr INT64 MOST_BACK_USEC = 3'000; // below a picture at 300 Hz

    void Set(UINT64 nPTS, INT64 llUTC) {
        m_nPTS = nPTS;
        m_llUTC = llUTC;
        m_llLeastLate = INT64_MAX;
        m_bSet = true;
    }

    const bool m_bLive;
    bool m_bSet = false;
    bool m_bFirstSeconds = false;
    UINT64 m_nFirstPTS = 0;
    INT64 m_llLeastLate = INT64_MAX; // microseconds by which a picture since the pair was read later than it says
    UINT64 m_nPTS = 0;
    INT64 m_llUTC = 0;
};

} // namespace encoder

#endif
