// Walks an input's list, newest record first, for the record nearest to a picture, or takes the one at the cursor.
#include "queue/pts_match.h"

#include <cstdint>

#include "core/lock.h"
#include "core/source_names.h"
#include "core/state.h"
#include "core/trace.h"
#include "core/units.h"
#include "pts_api.h"

namespace timecode {

namespace {

// The farthest distance at which the first record still becomes the best.
constexpr UINT64 FARTHEST_TICKS = 0x7FFF'FFFF'FFFF'FFFF;

// The walk ends when this many records in a row lie farther away than the best.
constexpr int WORSE_RECORDS_TO_CHECK = 12;

// The node is the record's first member.
MISP_UTC *RecordOf(FNODE_D *pNode) {
    return reinterpret_cast<MISP_UTC *>(pNode);
}

UINT64 DistanceTicks(UINT64 CodedPicturePTS64, const MISP_UTC &Record) {
    return Absolute(CalcPTSDiff(CodedPicturePTS64, Record.nTimestamp64));
}

// What the full search found, and where its walk ended.
struct Nearest {
    const MISP_UTC *pBestUTCBuffer;
    const MISP_UTC *pUTCBuffer;
    UINT64 BestDiff;
    int nNextRecordsToCheck;
};

Nearest FindNearest(const FLIST_D &UTCList, UINT64 CodedPicturePTS64, int enDesiredTCSource) {
    const MISP_UTC *pBestUTCBuffer = nullptr;
    UINT64 BestDiff = FARTHEST_TICKS;
    int nNextRecordsToCheck = WORSE_RECORDS_TO_CHECK;
    const MISP_UTC *pUTCBuffer = RecordOf(UTCList.pHead);
    for (; pUTCBuffer != nullptr; pUTCBuffer = RecordOf(pUTCBuffer->DNode.pNext)) {
        if (pUTCBuffer->enTimecodeSource != enDesiredTCSource)
            continue;
        const UINT64 Diff = DistanceTicks(CodedPicturePTS64, *pUTCBuffer);
        // Of records equally far away the oldest wins. Each one on the way to the nearest is nearer than the last.
        if (Diff <= BestDiff) [[likely]] {
            BestDiff = Diff;
            pBestUTCBuffer = pUTCBuffer;
            nNextRecordsToCheck = WORSE_RECORDS_TO_CHECK;
        } else if (--nNextRecordsToCheck <= 0) {
            break;
        }
    }
    return {pBestUTCBuffer, pUTCBuffer, BestDiff, nNextRecordsToCheck};
}

MISP_UTC *NextNewer(const MISP_UTC &Record, int enDesiredTCSource) {
    MISP_UTC *pNewer = RecordOf(Record.DNode.pPrev);
    while (pNewer != nullptr && pNewer->enTimecodeSource != enDesiredTCSource)
        pNewer = RecordOf(pNewer->DNode.pPrev);
    return pNewer;
}

// The record at the cursor. An address that is none of the list's records gives null and is not followed.
const MISP_UTC *RecordAtCursor(const void *pRecordAddress, const FLIST_D &UTCList, int enInputInterface) {
    // The pool cannot be told without an input; every caller has refused others.
    if (!IsInput(enInputInterface))
        return nullptr;
    const auto &Pool = _tcInfo[enInputInterface].UTCTimeStamp;
    // Unsigned: an address below the pool becomes a distance beyond its end.
    const uintptr_t nDistance = reinterpret_cast<uintptr_t>(pRecordAddress) - reinterpret_cast<uintptr_t>(Pool);
    if (nDistance >= sizeof Pool || nDistance % sizeof(MISP_UTC) != 0)
        return nullptr;
    const auto *const pRecord = static_cast<const MISP_UTC *>(pRecordAddress);
    return pRecord->DNode.pList == &UTCList ? pRecord : nullptr;
}

// The full search with its messages; null when the list holds no record of the source.
const MISP_UTC *SearchWholeList(const FLIST_D &UTCList, UINT64 CodedPicturePTS64, int enDesiredTCSource,
                                int enInputInterface) {
    const Nearest Found = FindNearest(UTCList, CodedPicturePTS64, enDesiredTCSource);
    if (Found.pBestUTCBuffer == nullptr) {
        TC_TRACE(DBG_LEVEL_DEBUG,
                 "pBestUTCBuffer:%p is NULL after walking the list. pCurrentUTCBuffer:%p, nNextRecordsToCheck:%d, "
                 "timecode desired type:%d(%s) for inputInterface:%d.\n",
                 static_cast<const void *>(Found.pBestUTCBuffer), static_cast<const void *>(Found.pUTCBuffer),
                 Found.nNextRecordsToCheck, enDesiredTCSource, SourceName(enDesiredTCSource).Text(), enInputInterface);
        return nullptr;
    }
    TC_TRACE(DBG_LEVEL_DEBUG,
             "BestDiff:%llu(0x%llx), pBestUTCBuffer:%p, CodedPicturePTS64:%llu, timecode desired type:%d(%s) for "
             "inputInterface:%d.\n",
             static_cast<unsigned long long>(Found.BestDiff), static_cast<unsigned long long>(Found.BestDiff),
             static_cast<const void *>(Found.pBestUTCBuffer), static_cast<unsigned long long>(CodedPicturePTS64),
             enDesiredTCSource, SourceName(enDesiredTCSource).Text(), enInputInterface);
    return Found.pBestUTCBuffer;
}

// The record at a cursor when it still holds the source. A cursor that is none of the list's records is cleared; one
// whose record has been rewritten since stays, until the record holds the source again.
const MISP_UTC *FollowCursor(void *&pRecordAddress, const FLIST_D &UTCList, int enDesiredTCSource,
                             int enInputInterface) {
    const MISP_UTC *const pTarget = RecordAtCursor(pRecordAddress, UTCList, enInputInterface);
    if (pTarget == nullptr) {
        pRecordAddress = nullptr;
        return nullptr;
    }
    if (pTarget->enTimecodeSource == enDesiredTCSource)
        return pTarget;
    TC_TRACE(DBG_LEVEL_ERROR,
             "BestRecord: Timecodesource:%d(%s), located at address:%p is not of the expected type:%d(%s).\n",
             pTarget->enTimecodeSource, SourceName(pTarget->enTimecodeSource).Text(),
             static_cast<const void *>(pTarget), enDesiredTCSource, SourceName(enDesiredTCSource).Text());
    return nullptr;
}

} // namespace

Match FindRecord(const FLIST_D &UTCList, UINT64 CodedPicturePTS64, int enDesiredTCSource, void **ppRecordAddress,
                 int enInputInterface) {
    const bool bHasCursor = ppRecordAddress != nullptr && *ppRecordAddress != nullptr;
    const MISP_UTC *const pTarget =
        bHasCursor ? FollowCursor(*ppRecordAddress, UTCList, enDesiredTCSource, enInputInterface)
                   : SearchWholeList(UTCList, CodedPicturePTS64, enDesiredTCSource, enInputInterface);
    if (pTarget == nullptr)
        return {};
    const UINT64 Diff = DistanceTicks(CodedPicturePTS64, *pTarget);
    MISP_UTC *const pPrevUTCBuffer = NextNewer(*pTarget, enDesiredTCSource);
    if (ppRecordAddress != nullptr)
        *ppRecordAddress = pPrevUTCBuffer;
    return {pTarget, pPrevUTCBuffer != nullptr && DistanceTicks(CodedPicturePTS64, *pPrevUTCBuffer) == Diff};
}

BOOL _FindPTSMatchForSource(FLIST_D *pUTCList, pthread_mutex_t *pUTCListMutex, UINT64 CodedPicturePTS64,
                            int enDesiredTCSource, MISP_UTC *pUTC, BOOL *pbSameTSRecord, void **ppRecordAddress,
                            int enInputInterface) {
    TC_ASSERT(pUTCList != NULL);
    TC_ASSERT(pUTCListMutex != NULL);
    TC_ASSERT(pUTC != NULL);
    if (pUTCList == nullptr) {
        TC_TRACE(DBG_LEVEL_ERROR, "pUTCList:%p is NULL cannot find a PTS match!\n", static_cast<void *>(pUTCList));
        return FALSE;
    }
    if (pUTCListMutex == nullptr || pUTC == nullptr)
        return FALSE;

    TC_LOCK(ListLock, *pUTCListMutex);
    const Match Found = FindRecord(*pUTCList, CodedPicturePTS64, enDesiredTCSource, ppRecordAddress, enInputInterface);
    if (pbSameTSRecord != nullptr)
        *pbSameTSRecord = Found.bSame ? TRUE : FALSE;
    if (Found.pRecord == nullptr)
        return FALSE;
    *pUTC = *Found.pRecord;
    return TRUE;
}

} // namespace timecode
