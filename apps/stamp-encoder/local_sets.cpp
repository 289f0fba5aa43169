// The local sets of one input that still wait for pictures, and the time that each picture gets from them.
#include "local_sets.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

namespace encoder {

namespace {

constexpr size_t MOST_WAITING = 10'000; // of an input that sends nothing but sets

bool IsBefore(const LocalSet &First, const LocalSet &Second) {
    return std::tie(First.nStretch, First.llPTS) < std::tie(Second.nStretch, Second.llPTS);
}

// 90 kHz ticks in microseconds, to the nearest; the distance is a second or so. The sum wraps for a UTC near its end.
INT64 MovedUTC(INT64 llUTC, INT64 llTicks) {
    const INT64 llUsec = (llTicks * 100 + (llTicks < 0 ? -4 : 4)) / 9;
    return static_cast<INT64>(static_cast<UINT64>(llUTC) + static_cast<UINT64>(llUsec));
}

} // namespace

bool LocalSets::Add(const LocalSet &Set) {
    const auto Place = std::lower_bound(m_Sets.begin(), m_Sets.end(), Set, IsBefore);
    if (Place == m_Sets.end() || IsBefore(Set, *Place))
        m_Sets.insert(Place, Set);
    if (m_Sets.size() > MOST_WAITING)
        DropFarthest();
    return !m_LastPicture || !IsBefore(Set, {m_LastPicture->nStretch, m_LastPicture->llPTS + m_llHalf, 0});
}

std::optional<LocalSet> LocalSets::Reaching(unsigned nStretch, INT64 llPTS) {
    Forget(nStretch, llPTS);
    m_LastPicture = {nStretch, llPTS, 0};
    const LocalSet *pNearest = nullptr;
    const LocalSet *pLastBefore = nullptr;
    for (const LocalSet &Set : m_Sets) {
        if (Set.nStretch != nStretch || Set.llPTS > llPTS + m_llHalf)
            break;
        if (Set.llPTS >= llPTS - m_llHalf &&
            (pNearest == nullptr || std::llabs(Set.llPTS - llPTS) < std::llabs(pNearest->llPTS - llPTS)))
            pNearest = &Set;
        if (Set.llPTS <= llPTS && llPTS - Set.llPTS <= m_llReach)
            pLastBefore = &Set;
    }
    const LocalSet *const pFound = pNearest != nullptr ? pNearest : pLastBefore;
    if (pFound == nullptr)
        return std::nullopt;
    return LocalSet{nStretch, llPTS, MovedUTC(pFound->llUTC, llPTS - pFound->llPTS)};
}

// From the last picture: sets far ahead of all pictures must not push the near ones out.
void LocalSets::DropFarthest() {
    const LocalSet &First = m_Sets.front();
    const LocalSet &Last = m_Sets.back();
    const bool bLast = m_LastPicture && (Last.nStretch != First.nStretch ||
                                         Last.llPTS - m_LastPicture->llPTS > m_LastPicture->llPTS - First.llPTS);
    if (bLast)
        m_Sets.pop_back();
    else
        m_Sets.pop_front();
}

// What no later picture can be given: all of stretches that are over, and sets with another one behind them which lies
// before the picture.
void LocalSets::Forget(unsigned nStretch, INT64 llPTS) {
    while (!m_Sets.empty() && m_Sets.front().nStretch < nStretch)
        m_Sets.pop_front();
    while (m_Sets.size() > 1 && m_Sets[1].nStretch == nStretch && m_Sets[1].llPTS < llPTS - m_llHalf)
        m_Sets.pop_front();
}

} // namespace encoder
