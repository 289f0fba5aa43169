// The base pair of system time: a picture's PTS, and the UTC of the system clock at which that picture was read.
#ifndef ENCODER_SYSTEM_BASE_H
#define ENCODER_SYSTEM_BASE_H

#include <cstdlib>

#include "pts_api.h"

namespace encoder {

// A pair serves for some hours only: the input's clock drifts from the system's, and its PTS wrap. So it is renewed
// once a minute from the picture just read. Where pictures do not come at the pace of their PTS, as from a file, the
// time at which one is read says nothing, and the pair is moved along the PTS instead.
class SystemBase {
public:
    void Renew(UINT64 nPTS, INT64 llReadUTC) {
        const INT64 llElapsed = CalcPTSDiff(m_nPTS, nPTS);
        if (m_bSet && llElapsed < RENEWAL_TICKS)
            return;
        const INT64 llMoved = m_llUTC + llElapsed * 100 / 9;
        const bool bAtPace = !m_bSet || std::llabs(llReadUTC - llMoved) < AT_PACE_USEC;
        m_llUTC = bAtPace ? llReadUTC : llMoved;
        m_nPTS = nPTS;
        m_bSet = true;
    }

    void StartAnew() { m_bSet = false; }

    UINT64 PTS() const { return m_nPTS; }
    INT64 UTC() const { return m_llUTC; }

private:
    static constexpr INT64 RENEWAL_TICKS = 60 * 90000;
    static constexpr INT64 AT_PACE_USEC = 1'000'000;

    bool m_bSet = false;
    UINT64 m_nPTS = 0;
    INT64 m_llUTC = 0;
};

} // namespace encoder

#endif
