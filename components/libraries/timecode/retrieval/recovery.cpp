// The walk over the candidates, best first, and the 750 ms that each has to stay usable.
#include "retrieval/recovery.h"

#include "conversion/system_clock.h"
#include "core/shared.h"
#include "core/source_names.h"
#include "core/state.h"
#include "core/trace.h"
#include "core/units.h"
#include "pts_api.h"
#include "queue/pts_match.h"
#include "retrieval/request.h"

namespace timecode {

namespace {

constexpr INT64 RECOVERY_PERIOD_MS = 750;

// What the walk over the candidates needs to know.
struct Recovery {
    tc_private_t &Tc;
    int enInputInterface;
    int enCurrentSource;
    UINT64 UnchangedEncoderPTS64;
    const timespec *pCurrentTime;
};

// A queue-borne source is usable when a record of it belongs to the picture.
bool IsQueuedSourceUsable(const Recovery &Rec, int enCandidate) {
    MISP_UTC CurrentUTC;
    if (_FindPTSMatchForSource(&Rec.Tc.UTCList, &Rec.Tc.UTCListMutex, Rec.UnchangedEncoderPTS64, enCandidate,
                               &CurrentUTC, nullptr, nullptr, Rec.enInputInterface) != TRUE)
        return false;
    if (Absolute(CalcPTSDiff(CurrentUTC.nTimestamp64, Rec.UnchangedEncoderPTS64)) > MATCH_LIMIT_TICKS)
        return false;
    TC_TRACE(DBG_LEVEL_DEBUG, "Recovery - Identified Node carrying timecode source:%d(%s). Starting Recovery.\n",
             CurrentUTC.enTimecodeSource, SourceName(CurrentUTC.enTimecodeSource).Text());
    return true;
}

bool IsUsable(const Recovery &Rec, int enCandidate) {
    if (enCandidate != TCSOURCE_SYSTEM_TIMESTAMP)
        return IsQueuedSourceUsable(Rec, enCandidate);
    long long llUTCTime = 0;
    return _GetUTCFromSystemClock(&llUTCTime) == TRUE;
}

// Notes the first sighting of a usable candidate and says whether it has been usable for long enough. A pending
// sighting is not forgotten when the source is lost again.
bool IsRecovered(const Recovery &Rec, int enCandidate) {
    const size_t nSlot = static_cast<size_t>(enCandidate) - 1;
    BOOL &bPending = Rec.Tc.bSourceOkArray[nSlot];
    if (bPending == FALSE) {
        bPending = TRUE;
        Rec.Tc.tpSourceGoodTimeArray[nSlot] = *Rec.pCurrentTime;
    }
    if (_IsRecoveryComplete(&Rec.Tc.tpSourceGoodTimeArray[nSlot], Rec.pCurrentTime) != TRUE)
        return false;
    const bool bTimecodeToBest =
        Rec.enCurrentSource == TCSOURCE_SMPTE12M_TIMESTAMP && enCandidate == TCSOURCE_HIGH_PRECISION_TIMESTAMP;
    TC_TRACE(bTimecodeToBest ? DBG_LEVEL_DEBUG : DBG_LEVEL_INFO, "Timecode source:%d(%s), recovered.\n", enCandidate,
             SourceName(enCandidate).Text());
    bPending = FALSE;
    return true;
}

// The best source above the current one that has recovered. One that is usable but not for long enough does not
// end the walk.
int BestRecovered(const Recovery &Rec) {
    const int enLast = Rec.enCurrentSource == TCSOURCE_NONE ? TCSOURCE_SYSTEM_TIMESTAMP : Rec.enCurrentSource - 1;
    for (int enCandidate = TCSOURCE_HIGH_PRECISION_TIMESTAMP; enCandidate <= enLast; ++enCandidate)
        if (IsUsable(Rec, enCandidate) && IsRecovered(Rec, enCandidate))
            return enCandidate;
    return Rec.enCurrentSource;
}

} // namespace

BOOL _IsRecoveryComplete(const timespec *pSourceGoodTime, const timespec *pCurrentTime) {
    if (!TC_IS_GIVEN(pCurrentTime) || !TC_IS_GIVEN(pSourceGoodTime))
        return FALSE;
    timespec tpDiff{};
    CalcTimeSpecAbsDiff(pSourceGoodTime, pCurrentTime, &tpDiff);
    return SpanToMs(tpDiff) > RECOVERY_PERIOD_MS ? TRUE : FALSE;
}

BOOL _RecoveryTimecodeSource(int enConfiguredMISBTimeSource, int enCurrentTimecodeSouce, int *penNewTimecodeSouce,
                             const timespec *pCurrentTime, UINT64 UnchangedEncoderPTS64, int enInputInterface) {
    static time_t _tLastLogTime;
    const time_t tCurrent = time(nullptr);
    TC_ASSERT(penNewTimecodeSouce != NULL);
    TC_ASSERT(pCurrentTime != NULL);
    const bool bInput = AssertInput(enInputInterface, TC_HERE);
    if (!TC_IS_GIVEN(penNewTimecodeSouce) || !TC_IS_GIVEN(pCurrentTime) || !bInput)
        return FALSE;
    if (ThrottlePasses(_tLastLogTime, tCurrent, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_DEBUG, "Recovery - enConfiguredMISBTimeSource:%d, enCurrentTimecodeSouce:%d(%s).\n",
                 enConfiguredMISBTimeSource, enCurrentTimecodeSouce, SourceName(enCurrentTimecodeSouce).Text());
    if (enCurrentTimecodeSouce < TCSOURCE_NONE || enCurrentTimecodeSouce > TCSOURCE_SYSTEM_TIMESTAMP) {
        TC_TRACE(DBG_LEVEL_ERROR, "We have a enTimeSource:%d(%s) that is unknown! Put it back to NONE.\n",
                 enCurrentTimecodeSouce, SourceName(enCurrentTimecodeSouce).Text());
        *penNewTimecodeSouce = TCSOURCE_NONE;
        return TRUE;
    }
    *penNewTimecodeSouce = BestRecovered(
        {_tcInfo[enInputInterface], enInputInterface, enCurrentTimecodeSouce, UnchangedEncoderPTS64, pCurrentTime});
    return TRUE;
}

} // namespace timecode
