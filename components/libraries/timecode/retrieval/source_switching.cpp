// Failover within a request, and the exported switch check, by the same period and order.
#include "retrieval/source_switching.h"

#include "core/clock.h"
#include "core/shared.h"
#include "core/state.h"
#include "core/trace.h"
#include "core/units.h"
#include "pts_api.h"
#include "retrieval/status_byte.h"
#include "timecode.h"

namespace timecode {

namespace {

// How long a source may be silent before it is given up.
constexpr int FAILURE_PERIOD_MS = 5000;

int NextSource(int enTimecodeSource) {
    const bool bHasNext =
        enTimecodeSource >= TCSOURCE_HIGH_PRECISION_TIMESTAMP && enTimecodeSource <= TCSOURCE_LDS_TIMESTAMP;
    return bHasNext ? enTimecodeSource + 1 : TCSOURCE_NONE;
}

bool IsGivenUp(BOOL bTimeSourceSwitchAllowed, const timespec &tpGoodInterval) {
    return bTimeSourceSwitchAllowed == TRUE && SpanToMs(tpGoodInterval) > FAILURE_PERIOD_MS;
}

void TraceFailure(int nLevel, int enTimecodeSource, const timespec &tpGoodInterval) {
    TC_TRACE(nLevel,
             "Timecode source:%d, Failed to extract timecode for:%lu.%09lus. Defined Period:%d ms before failure is "
             "announced.\n",
             enTimecodeSource, static_cast<unsigned long>(tpGoodInterval.tv_sec),
             static_cast<unsigned long>(tpGoodInterval.tv_nsec), FAILURE_PERIOD_MS);
}

// The message of timecode alone names the input.
void TraceTimecodeFailure(const Request &Req, const timespec &tpGoodInterval) {
    TC_TRACE(DBG_LEVEL_INFO,
             "Interface:%d, Timecode source:%d, Failed to extract timecode for:%lu.%09lus. Defined Period:%d ms before "
             "failure is announced.\n",
             Req.enInputInterface, Req.enTimecodeSource, static_cast<unsigned long>(tpGoodInterval.tv_sec),
             static_cast<unsigned long>(tpGoodInterval.tv_nsec), FAILURE_PERIOD_MS);
}

} // namespace

void RecordSourceSwitch(tc_private_t &Tc, const timespec &tpNow) {
    SetFlagsNotAlive(Tc);
    Tc.tpLastGoodTime = tpNow;
    CountShared(Tc.nTimeSourceSwitches);
}

void FailOver(Request &Req, const timespec &tpGoodInterval) {
    if (!IsGivenUp(Req.bTimeSourceSwitchAllowed, tpGoodInterval))
        return;
    if (Req.enTimecodeSource == TCSOURCE_SMPTE12M_TIMESTAMP)
        TraceTimecodeFailure(Req, tpGoodInterval);
    else
        TraceFailure(Req.enTimecodeSource == TCSOURCE_LDS_TIMESTAMP ? DBG_LEVEL_DEBUG : DBG_LEVEL_INFO,
                     Req.enTimecodeSource, tpGoodInterval);
    Req.enTimecodeSource = NextSource(Req.enTimecodeSource);
    RecordSourceSwitch(Req.Tc, Req.tpNow);
}

} // namespace timecode

using namespace timecode;

void _VerifyTimeSourceSwitch(int enInputInterface, BOOL bTimeSourceSwitchAllowed, int *penNewTimecodeSouce) {
    const bool bSource = TC_ASSERT(penNewTimecodeSouce != NULL);
    if (!AssertInput(enInputInterface, TC_HERE) || !bSource)
        return;
    tc_private_t &Tc = _tcInfo[enInputInterface];
    const timespec tpNow = ReadInstant(TC_HERE);
    timespec tpGoodInterval{};
    CalcTimeSpecAbsDiff(&tpNow, &Tc.tpLastGoodTime, &tpGoodInterval);
    if (!IsGivenUp(bTimeSourceSwitchAllowed, tpGoodInterval))
        return;
    TraceFailure(DBG_LEVEL_DEBUG, *penNewTimecodeSouce, tpGoodInterval);
    *penNewTimecodeSouce = NextSource(*penNewTimecodeSouce);
    RecordSourceSwitch(Tc, tpNow);
}
