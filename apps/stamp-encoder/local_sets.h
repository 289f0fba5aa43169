// The local sets of one input that still wait for pictures, and the time that each picture gets from them. Local sets
// come at a rate of their own, and lie between the pictures as often as on them: the time of a picture is that of the
// set which reaches it, moved by the PTS distance between the two.
#ifndef ENCODER_LOCAL_SETS_H
#define ENCODER_LOCAL_SETS_H

#include "xtypes.h"

#include <deque>
#include <optional>

namespace encoder {

struct LocalSet {
    unsigned nStretch = 0; // of the timeline
    INT64 llPTS = 0;       // on the timeline
    INT64 llUTC = 0;       // microseconds since 1970
};

class LocalSets {
public:
    // llReach: how far before a picture a set may lie when there is none within half a picture either way.
    LocalSets(INT64 llPictureTicks, INT64 llReach) : m_llHalf(llPictureTicks / 2), m_llReach(llReach) {}

    // False for a set that comes too late for a picture which has been given its time. Of sets with one PTS, the first
    // counts.
    bool Add(const LocalSet &Set);

    // The set of the same stretch that reaches a picture at this PTS, moved to it. Pictures ask in display order.
    std::optional<LocalSet> Reaching(unsigned nStretch, INT64 llPTS);

private:
    void DropFarthest();
    void Forget(unsigned nStretch, INT64 llPTS);

    const INT64 m_llHalf;
    const INT64 m_llReach;
    std::deque<LocalSet> m_Sets; // by stretch and PTS
    std::optional<LocalSet> m_LastPicture;
};

} // namespace encoder

#endif
