// Per-input statistics: read and reset at any time, without the input's mutex.
#include "core/shared.h"
#include "core/state.h"
#include "core/trace.h"
#include "timecode.h"

using namespace timecode;

BOOL Timecode_GetStats(int enInputInterface, TIMECODE_STATS *pStats) {
    const bool bWritable = TC_ASSERT(pStats != NULL);
    TC_ASSERT(enInputInterface < NUM_VIDEO_INPUTS);
    TC_TRACE(DBG_LEVEL_DEBUG, "Called.\n");
    tc_private_t *pTc = nullptr;
    if (_LocateTCInfoByInputInterface(enInputInterface, &pTc) != TRUE || !bWritable)
        return FALSE;
    pStats->enTimecodeSource = LoadShared(pTc->enLastTimecodeSource);
    pStats->nTimeSourceSwitches = LoadShared(pTc->nTimeSourceSwitches);
    return TRUE;
}

BOOL Timecode_ResetStats(int enInputInterface) {
    TC_ASSERT(enInputInterface < NUM_VIDEO_INPUTS);
    TC_TRACE(DBG_LEVEL_DEBUG, "Called.\n");
    tc_private_t *pTc = nullptr;
    if (_LocateTCInfoByInputInterface(enInputInterface, &pTc) != TRUE)
        return FALSE;
    StoreShared(pTc->nTimeSourceSwitches, UINT64{0});
    // A request copies the last UTC record whole under the input's mutex, so the next request resets it there.
    StoreShared(pTc->bForgetLastUTC, TRUE);
    return TRUE;
}
