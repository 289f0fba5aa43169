// Retrieval under MISP_PROFILE_2016_2: no failover, no recovery, nothing carried forward, nothing converted.
#include "retrieval/profile20162.h"

#include "core/clock.h"
#include "core/lock.h"
#include "core/record.h"
#include "core/shared.h"
#include "core/source_names.h"
#include "core/state.h"
#include "core/trace.h"
#include "core/units.h"
#include "retrieval/request.h"

namespace timecode {

namespace {

// For how long after the last match its source still counts as the one in use.
constexpr UINT64 SOURCE_IN_USE_MS = 750;

void TraceStart(const Request &Req) {
    if (ThrottlePasses(Req.Tc.tLastLogTime, Req.tCurrent, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_INFO,
                 "enConfigMISBTimesource:%d(%s), enInputInterface:%d at the beginning of the function! "
                 "tpNow:%lu.%06lus.\n",
                 Req.enTimecodeSource, SourceName(Req.enTimecodeSource).Text(), Req.enInputInterface,
                 static_cast<unsigned long>(Req.tpNow.tv_sec), static_cast<unsigned long>(Req.tpNow.tv_nsec / 1'000));
}

Outcome UseUtc(Request &Req) {
    const MISP_UTC *const pUsed = UseQueuedUtc(Req);
    if (pUsed == nullptr)
        return Outcome::NoTime;
    RememberUtc(Req, *pUsed);
    return Outcome::Time;
}

// A timecode goes out as it was stored.
Outcome UseTimecode(Request &Req) {
    const MISP_UTC *const pUsed = UseQueuedTimecode(Req);
    if (pUsed == nullptr)
        return Outcome::NoTime;
    if (Req.pVitcRecord != nullptr)
        CopyVitc(*Req.pVitcRecord, VitcIn(*pUsed));
    *Req.pUTC = *pUsed;
    RememberTimecode(Req, *pUsed);
    return Outcome::Time;
}

Outcome UseConfiguredSource(Request &Req) {
    switch (Req.enTimecodeSource) {
    case TCSOURCE_HIGH_PRECISION_TIMESTAMP:
    case TCSOURCE_LDS_TIMESTAMP:
        return UseUtc(Req);
    case TCSOURCE_SMPTE12M_TIMESTAMP:
        return UseTimecode(Req);
    default:
        UseNoSource(Req);
        return Outcome::NoTime;
    }
}

// The distance is unsigned: a picture before the remembered one counts as far away.
bool IsRecent(const Request &Req, const MISP_UTC &LastRecord) {
    return TicksToMs(Req.UnchangedEncoderPTS64 - LastRecord.nTimestamp64) <= SOURCE_IN_USE_MS;
}

int SourceInUse(const Request &Req) {
    const tc_private_t &Tc = Req.Tc;
    if (Tc.LastRetrivedUTC.enTimecodeSource != TCSOURCE_NONE && IsRecent(Req, Tc.LastRetrivedUTC))
        return Tc.LastRetrivedUTC.enTimecodeSource;
    return IsRecent(Req, Tc.LastRetrivedSMPTE12mTC) ? Req.enTimecodeSource : TCSOURCE_NONE;
}

Outcome AnswerUnderLock(Request &Req) {
    TC_LOCK(ListLock, Req.Tc.UTCListMutex);
    ApplyPendingReset(Req.Tc);
    TraceStart(Req);
    ListLockPlace.SaveHolds();
    const Outcome Given = UseConfiguredSource(Req);
    Req.Tc.tpOldTime = Req.tpNow;
    StoreShared(Req.Tc.enLastTimecodeSource, SourceInUse(Req));
    return Given;
}

} // namespace

BOOL _GetUTC_Profile20162(int enInputInterface, int enConfigMISBTimesource, UINT64 UnchangedEncoderPTS64,
                          MISP_UTC *pUTC, vitc_t *pVitcRecord, BOOL *pbSameTSRecord, void **ppRecordAddress) {
    const time_t tCurrent = time(nullptr);
    const bool bInput = AssertInput(enInputInterface, TC_HERE);
    const bool bUTC = TC_ASSERT(pUTC != NULL);
    TC_ASSERT(pVitcRecord != NULL);
    if (TC_ASSERT(pbSameTSRecord != NULL))
        *pbSameTSRecord = FALSE;
    TC_ASSERT(ppRecordAddress != NULL);
    const timespec tpNow = ReadInstant(TC_HERE);
    if (!IsInitialised(TC_HERE) || !bInput || !bUTC)
        return FALSE;
    Request Req(enInputInterface, UnchangedEncoderPTS64, pUTC, pVitcRecord, ppRecordAddress, tCurrent);
    Req.tpNow = tpNow;
    Req.enTimecodeSource = enConfigMISBTimesource;
    const Outcome Given = AnswerUnderLock(Req);
    TraceEnd(Req);
    if (pbSameTSRecord != nullptr)
        *pbSameTSRecord = Req.bSameTSRecord;
    return Given == Outcome::Time ? TRUE : FALSE;
}

} // namespace timecode
