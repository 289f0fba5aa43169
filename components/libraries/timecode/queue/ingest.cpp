// Queuing: each time stamp handed in takes the place of the input's oldest record.
#include "core/lock.h"
#include "core/record.h"
#include "core/shared.h"
#include "core/state.h"
#include "core/trace.h"
#include "queue/oldest_record.h"

using namespace timecode;

// For high-precision only the two fields of its view are written; the rest of the payload keeps what was there.
static void CopyPayload(MISP_UTC &Record, int enTimeCodeSource, const TCPayload *pPayload) {
    TCPayload Payload;
    std::memcpy(&Payload, static_cast<const void *>(pPayload),
                enTimeCodeSource == TCSOURCE_HIGH_PRECISION_TIMESTAMP ? sizeof(UTCPayload) : sizeof(vitc_t));
    if (enTimeCodeSource == TCSOURCE_HIGH_PRECISION_TIMESTAMP) {
        SetStatusByte(Record, PayloadField<BYTE>(Payload, offsetof(UTCPayload, MISPStatusByte)));
        SetUtc(Record, PayloadField<INT64>(Payload, offsetof(UTCPayload, llUTCTime)));
    } else {
        SetVitc(Record, PayloadField<vitc_t>(Payload, 0));
    }
}

BOOL Timecode_SetUTC(int enInputInterface, int enTimeCodeSource, UINT64 nTimestamp64,
                     TCPayload *pMotionImageryTimestamp) {
    static time_t _tLastLogTime;
    const time_t tCurrent = time(nullptr);
    const bool bPayload = TC_ASSERT(pMotionImageryTimestamp != NULL);
    const bool bInput = AssertInput(enInputInterface, TC_HERE);
    if (_g_bTCLibInitialized != TRUE) {
        TC_TRACE(DBG_LEVEL_ERROR, "Library is not initialized!\n");
        return FALSE;
    }
    if (!bPayload || !bInput)
        return FALSE;
    tc_private_t &Tc = _tcInfo[enInputInterface];
    timespec tpNow{};
    if (!TC_ASSERT(clock_gettime(CLOCK_REALTIME, &tpNow) == 0))
        tpNow = WholeSecond(tCurrent);
    if (ThrottlePasses(_tLastLogTime, tCurrent, 4))
        TC_TRACE(DBG_LEVEL_INFO, "SetUTC - enTimeCodeSource:%d(%s), enInputInterface:%d, Putting it in the list.\n",
                 enTimeCodeSource, SourceName(enTimeCodeSource).Text(), enInputInterface);

    TC_LOCK(ListLock, Tc.UTCListMutex);
    MISP_UTC *const pRecord = UnlinkOldestRecord(Tc.UTCList);
    if (pRecord == nullptr) {
        TC_TRACE(DBG_LEVEL_ERROR, "Failed to get list tail at time:%lu.%lu. Something must be wrong with the list.\n",
                 static_cast<unsigned long>(tpNow.tv_sec), static_cast<unsigned long>(tpNow.tv_nsec / 1'000));
        return FALSE;
    }
    CopyPayload(*pRecord, enTimeCodeSource, pMotionImageryTimestamp);
    pRecord->nTimestamp64 = nTimestamp64;
    pRecord->enTimecodeSource = enTimeCodeSource;
    pRecord->tpInsertionTime = tpNow;
    FastLinkAtStartD(&pRecord->DNode, pRecord, &Tc.UTCList);
    return TRUE;
}
