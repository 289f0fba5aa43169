// Walks an input's list, newest record first, for the record nearest to a picture, or takes the one at the cursor.
#include "queue/pts_match.h"

#include <cstdint>

#include "core/lock.h"
#include "core/record.h"
#include "core/state.h"
#include "core/trace.h"
#include "core/units.h"
#include "pts_api.h"

namespace timecode {

// The farthest distance at which the first record still becomes the best.
static constexpr UINT64 FARTHEST_TICKS = 0x7FFF'FFFF'FFFF'FFFF;

// The walk ends when this many records in a row lie farther away than the best.
static constexpr int WORSE_RECORDS_TO_CHECK = 12;

static MISP_UTC *RecordOf(const FNODE_D *pNode) {
    return pNode == nullptr ? nullptr : static_cast<MISP_UTC *>(pNode->pvObject);
}

static UINT64 DistanceTicks(UINT64 CodedPicturePTS64, const MISP_UTC &Record) {
    return Absolute(CalcPTSDiff(CodedPicturePTS64, Record.nTimestamp64));
}

// What the full search found, and where its walk ended.
struct Nearest {
    MISP_UTC *pBestUTCBuffer = nullptr;
    MISP_UTC *pUTCBuffer = nullptr;
    UINT64 BestDiff = FARTHEST_TICKS;
    int nNextRecordsToCheck = WORSE_RECORDS_TO_CHECK;
};

static Nearest FindNearest(const FLIST_D &UTCList, UINT64 CodedPicturePTS64, int enDesiredTCSource) {
    Nearest Found;
    Found.pUTCBuffer = RecordOf(UTCList.pHead);
    for (; Found.pUTCBuffer != nullptr; Found.pUTCBuffer = RecordOf(Found.pUTCBuffer->DNode.pNext)) {
        if (Found.pUTCBuffer->enTimecodeSource != enDesiredTCSource)
            continue;
        const UINT64 Diff = DistanceTicks(CodedPicturePTS64, *Found.pUTCBuffer);
        // Equality replaces: of records equally far away the oldest wins.
        if (Diff <= Found.BestDiff) {
            Found.BestDiff = Diff;
            Found.pBestUTCBuffer = Found.pUTCBuffer;
            Found.nNextRecordsToCheck = WORSE_RECORDS_TO_CHECK;
        } else if (--Found.nNextRecordsToCheck <= 0) {
            break;
        }
    }
    return Found;
}

static MISP_UTC *NextNewer(const MISP_UTC &Record, int enDesiredTCSource) {
    MISP_UTC *pNewer = RecordOf(Record.DNode.pPrev);
    while (pNewer != nullptr && pNewer->enTimecodeSource != enDesiredTCSource)
        pNewer = RecordOf(pNewer->DNode.pPrev);
    return pNewer;
}

// The record at the cursor, or null when the address is none of the list's records; only then is it followed.
static MISP_UTC *RecordAtCursor(const void *pRecordAddress, const FLIST_D &UTCList, int enInputInterface) {
    // Every caller has tested the input.
    if (!IsInput(enInputInterface))
        return nullptr;
    MISP_UTC *const pPool = _tcInfo[enInputInterface].UTCTimeStamp;
    // Unsigned: an address below the pool becomes a distance beyond its end.
    const uintptr_t nDistance = reinterpret_cast<uintptr_t>(pRecordAddress) - reinterpret_cast<uintptr_t>(pPool);
    if (nDistance >= sizeof(_tcInfo[0].UTCTimeStamp) || nDistance % sizeof(MISP_UTC) != 0)
        return nullptr;
    MISP_UTC &Record = pPool[nDistance / sizeof(MISP_UTC)];
    return Record.DNode.pList == &UTCList ? &Record : nullptr;
}

// The full search with its messages; null when the list holds no record of the source.
static MISP_UTC *SearchWholeList(const FLIST_D &UTCList, UINT64 CodedPicturePTS64, int enDesiredTCSource,
                                 int enInputInterface) {
    const Nearest Found = FindNearest(UTCList, CodedPicturePTS64, enDesiredTCSource);
    if (Found.pBestUTCBuffer == nullptr) {
        TC_TRACE(DBG_LEVEL_DEBUG,
                 "pBestUTCBuffer:%p is NULL after walking the list. pCurrentUTCBuffer:%p, nNextRecordsToCheck:%d, "
                 "timecode desired type:%d(%s) for inputInterface:%d.\n",
                 static_cast<void *>(Found.pBestUTCBuffer), static_cast<void *>(Found.pUTCBuffer),
                 Found.nNextRecordsToCheck, enDesiredTCSource, SourceName(enDesiredTCSource).Text(), enInputInterface);
        return nullptr;
    }
    TC_TRACE(DBG_LEVEL_DEBUG,
             "BestDiff:%llu(0x%llx), pBestUTCBuffer:%p, CodedPicturePTS64:%llu, timecode desired type:%d(%s) for "
             "inputInterface:%d.\n",
             static_cast<unsigned long long>(Found.BestDiff), static_cast<unsigned long long>(Found.BestDiff),
             static_cast<void *>(Found.pBestUTCBuffer), static_cast<unsigned long long>(CodedPicturePTS64),
             enDesiredTCSource, SourceName(enDesiredTCSource).Text(), enInputInterface);
    return Found.pBestUTCBuffer;
}

// The record at a cursor when it still holds the source. A cursor that is none of the list's records is cleared; one
// whose record has been rewritten since stays, until the record holds the source again.
static MISP_UTC *TakeCursor(void **ppRecordAddress, const FLIST_D &UTCList, int enDesiredTCSource,
                            int enInputInterface) {
    MISP_UTC *const pTarget = RecordAtCursor(Fetch(ppRecordAddress), UTCList, enInputInterface);
    if (pTarget == nullptr) {
        Store<void *>(ppRecordAddress, nullptr);
        return nullptr;
    }
    if (pTarget->enTimecodeSource == enDesiredTCSource)
        return pTarget;
    TC_TRACE(DBG_LEVEL_ERROR,
             "BestRecord: Timecodesource:%d(%s), located at address:%p is not of the expected type:%d(%s).\n",
             pTarget->enTimecodeSource, SourceName(pTarget->enTimecodeSource).Text(), static_cast<void *>(pTarget),
             enDesiredTCSource, SourceName(enDesiredTCSource).Text());
    return nullptr;
}

BOOL _FindPTSMatchForSource(FLIST_D *pUTCList, pthread_mutex_t *pUTCListMutex, UINT64 CodedPicturePTS64,
                            int enDesiredTCSource, MISP_UTC *pUTC, BOOL *pbSameTSRecord, void **ppRecordAddress,
                            int enInputInterface) {
    // No caller inside the library hands in null, so no test reaches a refusal for it.
    TC_ASSERT(pUTCList != NULL);
    TC_ASSERT(pUTCListMutex != NULL);
    TC_ASSERT(pUTC != NULL);
    if (pUTCList == nullptr) {
        TC_TRACE(DBG_LEVEL_ERROR, "pUTCList:%p is NULL cannot find a PTS match!\n", static_cast<void *>(pUTCList));
        return FALSE;
    }
    if (pUTCListMutex == nullptr || pUTC == nullptr)
        return FALSE;
    if (pbSameTSRecord != nullptr)
        Store(pbSameTSRecord, FALSE);
    const bool bHasCursor = ppRecordAddress != nullptr && Fetch(ppRecordAddress) != nullptr;

    TC_LOCK(ListLock, *pUTCListMutex);
    const MISP_UTC *const pTarget =
        bHasCursor ? TakeCursor(ppRecordAddress, *pUTCList, enDesiredTCSource, enInputInterface)
                   : SearchWholeList(*pUTCList, CodedPicturePTS64, enDesiredTCSource, enInputInterface);
    if (pTarget == nullptr)
        return FALSE;
    MISP_UTC *const pPrevUTCBuffer = NextNewer(*pTarget, enDesiredTCSource);
    const bool bSame = pPrevUTCBuffer != nullptr &&
                       DistanceTicks(CodedPicturePTS64, *pPrevUTCBuffer) == DistanceTicks(CodedPicturePTS64, *pTarget);
    if (bSame && pbSameTSRecord != nullptr)
        Store(pbSameTSRecord, TRUE);
    *pUTC = *pTarget;
    if (ppRecordAddress != nullptr)
        Store<void *>(ppRecordAddress, pPrevUTCBuffer);
    return TRUE;
}

} // namespace timecode
