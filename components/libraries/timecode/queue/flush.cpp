// Flushing: every record of an input is emptied, and the list turned once round so that its order stays.
#include "core/clock.h"
#include "core/lock.h"
#include "core/record.h"
#include "core/shared.h"
#include "core/state.h"
#include "core/trace.h"
#include "core/units.h"
#include "queue/oldest_record.h"
#include "timecode.h"

using namespace timecode;

namespace {

void EmptyRecord(MISP_UTC &Record, const timespec &tpNow) {
    ClearPayload(Record);
    Record.nTimestamp64 = 0;
    Record.enTimecodeSource = TCSOURCE_NONE;
    Record.tpInsertionTime = tpNow;
}

// FALSE when the list ran out of records on the way: its service miscounts, or its memory was overwritten.
BOOL EmptyAllRecords(tc_private_t &Tc, const timespec &tpNow) {
    TC_LOCK(ListLock, Tc.UTCListMutex);
    const UINT64 nItems = Tc.UTCList.nNumOfEntries;
    for (UINT64 nItem = 0; nItem < nItems; ++nItem) {
        MISP_UTC *const pRecord = UnlinkOldestRecord(Tc.UTCList);
        if (pRecord == nullptr) {
            TC_TRACE(DBG_LEVEL_ERROR,
                     "Failed to get list tail at time:%lu.%09lus. Something must be wrong with the list.\n",
                     static_cast<unsigned long>(tpNow.tv_sec), static_cast<unsigned long>(tpNow.tv_nsec));
            return FALSE;
        }
        EmptyRecord(*pRecord, tpNow);
        FastLinkAtStartD(&pRecord->DNode, pRecord, &Tc.UTCList);
    }
    return TRUE;
}

} // namespace

void Timecode_Flush(int enInputInterface) {
    const time_t tCurrent = time(nullptr);
    const bool bInput = AssertInput(enInputInterface, TC_HERE);
    if (!IsInitialised(TC_HERE) || !bInput)
        return;
    tc_private_t &Tc = _tcInfo[enInputInterface];
    if (WrappingDifference(tCurrent, LoadShared(Tc.tLastFlushTime)) <= 0) {
        TC_TRACE(DBG_LEVEL_INFO, "Last Timecode flush for enInputInterface:%d was less than 1 seconds ago. Skipping.\n",
                 enInputInterface);
        return;
    }
    if (EmptyAllRecords(Tc, ReadInstant(TC_HERE)) != TRUE)
        return;
    StoreShared(Tc.tLastFlushTime, tCurrent);
    TC_TRACE(DBG_LEVEL_INFO, "TC Flush finished for inputInterface:%d.\n", enInputInterface);
}
