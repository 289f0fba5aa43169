// Retrieval under MISP_PROFILE_2016_2: no failover, no recovery, nothing carried forward, nothing converted.
#include "retrieval/profile20162.h"

#include "core/lock.h"
#include "core/record.h"
#include "core/shared.h"
#include "core/state.h"
#include "core/trace.h"
#include "core/units.h"
#include "retrieval/request.h"

namespace timecode {

// For how long after the last match its source still counts as the one in use.
static constexpr UINT64 SOURCE_IN_USE_MS = 750;

static void TraceStart(const Request &Req) {
    if (ThrottlePasses(Req.pTc->tLastLogTime, Req.tCurrent, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_INFO,
                 "enConfigMISBTimesource:%d(%s), enInputInterface:%d at the beginning of the function! "
                 "tpNow:%lu.%06lus.\n",
                 Req.enTimecodeSource, SourceName(Req.enTimecodeSource).Text(), Req.enInputInterface,
                 static_cast<unsigned long>(Req.tpNow.tv_sec), static_cast<unsigned long>(Req.tpNow.tv_nsec / 1'000));
}

static void UseConfiguredSource(Request &Req) {
    switch (Req.enTimecodeSource) {
    case TCSOURCE_HIGH_PRECISION_TIMESTAMP:
    case TCSOURCE_LDS_TIMESTAMP:
        AnnounceSource(Req);
        UseQueuedUtc(Req);
        break;
    case TCSOURCE_SMPTE12M_TIMESTAMP:
        AnnounceSource(Req);
        UseQueuedTimecode(Req);
        break;
    default:
        UseNoSource(Req);
    }
}

// The distance is unsigned: a picture before the remembered one counts as far away.
static bool IsRecent(const Request &Req, const MISP_UTC &LastRecord) {
    return TicksToMs(Req.UnchangedEncoderPTS64 - LastRecord.nTimestamp64) <= SOURCE_IN_USE_MS;
}

static int SourceInUse(const Request &Req) {
    const tc_private_t &Tc = *Req.pTc;
    if (Tc.LastRetrivedUTC.enTimecodeSource != TCSOURCE_NONE && IsRecent(Req, Tc.LastRetrivedUTC))
        return Tc.LastRetrivedUTC.enTimecodeSource;
    return IsRecent(Req, Tc.LastRetrivedSMPTE12mTC) ? Req.enTimecodeSource : TCSOURCE_NONE;
}

static void AnswerUnderLock(Request &Req) {
    TC_LOCK(ListLock, Req.pTc->UTCListMutex);
    TakePendingReset(*Req.pTc);
    TraceStart(Req);
    SaveThreadState(TC_HERE);
    UseConfiguredSource(Req);
    Req.pTc->tpOldTime = Req.tpNow;
    RememberHandedOut(Req);
    StoreShared(Req.pTc->enLastTimecodeSource, SourceInUse(Req));
}

BOOL _GetUTC_Profile20162(int enInputInterface, int enConfigMISBTimesource, UINT64 UnchangedEncoderPTS64,
                          MISP_UTC *pUTC, vitc_t *pVitcRecord, BOOL *pbSameTSRecord, void **ppRecordAddress) {
    Request Req{.Revision = PROFILE_20162_ROW,
                .enInputInterface = enInputInterface,
                .UnchangedEncoderPTS64 = UnchangedEncoderPTS64,
                .pUTC = pUTC,
                .pVitcRecord = pVitcRecord,
                .ppRecordAddress = ppRecordAddress,
                .enTimecodeSource = enConfigMISBTimesource,
                .tCurrent = time(nullptr)};
    const bool bInput = AssertInput(enInputInterface, TC_HERE);
    const bool bUTC = TC_ASSERT(pUTC != NULL);
    TC_ASSERT(pVitcRecord != NULL);
    if (TC_ASSERT(pbSameTSRecord != NULL))
        Store(pbSameTSRecord, FALSE);
    TC_ASSERT(ppRecordAddress != NULL);
    timespec tpNow{};
    if (!TC_ASSERT(clock_gettime(CLOCK_REALTIME, &tpNow) == 0))
        tpNow = WholeSecond(Req.tCurrent);
    if (_g_bTCLibInitialized != TRUE) {
        TC_TRACE(DBG_LEVEL_ERROR, "Library is not initialized!\n");
        return FALSE;
    }
    if (!bInput || !bUTC)
        return FALSE;
    Req.tpNow = tpNow;
    Req.pTc = &_tcInfo[enInputInterface];
    AnswerUnderLock(Req);
    TraceEnd(Req);
    if (pbSameTSRecord != nullptr)
        Store(pbSameTSRecord, Req.bSameTSRecord);
    return Req.bRetCode;
}

} // namespace timecode
