// Queuing: each time stamp handed in takes the place of the input's oldest record.
#include "core/clock.h"
#include "core/lock.h"
#include "core/record.h"
#include "core/shared.h"
#include "core/source_names.h"
#include "core/state.h"
#include "core/trace.h"
#include "queue/oldest_record.h"
#include "timecode.h"

using namespace timecode;

namespace {

void CopyPayload(TCPayload &To, int enTimeCodeSource, const TCPayload &From) {
    if (enTimeCodeSource == TCSOURCE_HIGH_PRECISION_TIMESTAMP)
        CopyUtcFields(To, From);
    else
        CopyVitcView(To, From);
}

} // namespace

BOOL Timecode_SetUTC(int enInputInterface, int enTimeCodeSource, UINT64 nTimestamp64,
                     TCPayload *pMotionImageryTimestamp) {
    static time_t _tLastLogTime;
    const time_t tCurrent = time(nullptr);
    const bool bPayload = TC_ASSERT(pMotionImageryTimestamp != NULL);
    const bool bInput = AssertInput(enInputInterface, TC_HERE);
    if (!IsInitialised(TC_HERE) || !bPayload || !bInput)
        return FALSE;
    tc_private_t &Tc = _tcInfo[enInputInterface];
    const timespec tpNow = ReadInstant(TC_HERE);
    if (ThrottlePasses(_tLastLogTime, tCurrent, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_INFO, "SetUTC - enTimeCodeSource:%d(%s), enInputInterface:%d, Putting it in the list.\n",
                 enTimeCodeSource, SourceName(enTimeCodeSource).Text(), enInputInterface);

    TC_LOCK(ListLock, Tc.UTCListMutex);
    MISP_UTC *const pRecord = UnlinkOldestRecord(Tc.UTCList);
    if (pRecord == nullptr) {
        TC_TRACE(DBG_LEVEL_ERROR, "Failed to get list tail at time:%lu.%lu. Something must be wrong with the list.\n",
                 static_cast<unsigned long>(tpNow.tv_sec), static_cast<unsigned long>(tpNow.tv_nsec / 1'000));
        return FALSE;
    }
    CopyPayload(pRecord->MotionImageryTimestamp, enTimeCodeSource, *pMotionImageryTimestamp);
    pRecord->nTimestamp64 = nTimestamp64;
    pRecord->enTimecodeSource = enTimeCodeSource;
    pRecord->tpInsertionTime = tpNow;
    FastLinkAtStartD(&pRecord->DNode, pRecord, &Tc.UTCList);
    return TRUE;
}
