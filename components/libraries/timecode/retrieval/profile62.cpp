// A picture's request under MISP_PROFILE_62, from the choice of source to the closing step.
#include "retrieval/profile62.h"

#include "core/lock.h"
#include "core/record.h"
#include "core/shared.h"
#include "core/state.h"
#include "core/trace.h"
#include "retrieval/klv_source.h"
#include "retrieval/recovery.h"
#include "retrieval/request.h"
#include "retrieval/smpte12m_source.h"
#include "retrieval/source_switching.h"

namespace timecode {

static bool IsZero(const timespec &tpTime) {
    return tpTime.tv_sec == 0 && tpTime.tv_nsec == 0;
}

// The clock is read once, with the lock held: the whole request happens at one instant.
static void ReadInstant(Request &Req) {
    timespec tpNow{};
    if (!TC_ASSERT(clock_gettime(CLOCK_REALTIME, &tpNow) == 0))
        tpNow = WholeSecond(Req.tCurrent);
    Req.tpNow = tpNow;
    if (IsZero(Req.pTc->tpLastGoodTime))
        Req.pTc->tpLastGoodTime = tpNow;
    if (IsZero(Req.pTc->tpOldTime))
        Req.pTc->tpOldTime = tpNow;
}

// With switching the configured source decides only until a source has been recorded.
static void ChooseSource(Request &Req, int enConfiguredSource) {
    const int enLastSource = LoadShared(Req.pTc->enLastTimecodeSource);
    const bool bUseLast = Req.bTimeSourceSwitchAllowed == TRUE && enLastSource != TCSOURCE_NOT_CHOSEN;
    Req.enTimecodeSource = bUseLast ? enLastSource : enConfiguredSource;
    if (ThrottlePasses(Req.pTc->tLastLogTime, Req.tCurrent, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_INFO, "enTimecodeSource:%d(%s), SwitchingAllowed:%s at the beginning of the function!\n",
                 Req.enTimecodeSource, SourceName(Req.enTimecodeSource).Text(),
                 Req.bTimeSourceSwitchAllowed == TRUE ? "TRUE" : "FALSE");
}

static void UseSystemClock(Request &Req) {
    if (ThrottlePasses(Req.pTc->tCurrentSourceLogTime, Req.tCurrent, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_INFO, "Timecode source:%d, is system time.\n", Req.enTimecodeSource);
    if (Timecode_GetSystemUTC(Req.nEncodedFrameRate, Req.nVUIFrameRate, Req.UnchangedEncoderPTS64, Req.TCBasePTS64,
                              Req.llTCBaseUTC64, Req.pUTC, Req.pVitcRecord) != FALSE)
        Req.bRetCode = TRUE;
    else
        TC_TRACE(DBG_LEVEL_WARNING, "Failed to get system timecode.\n");
}

// FALSE: the picture's timecode could not be formed, and the request ends at once.
static bool UseSource(Request &Req) {
    switch (Req.enTimecodeSource) {
    case TCSOURCE_HIGH_PRECISION_TIMESTAMP:
    case TCSOURCE_LDS_TIMESTAMP:
        return UseKlvSource(Req);
    case TCSOURCE_SMPTE12M_TIMESTAMP:
        UseSmpte12mSource(Req);
        return true;
    case TCSOURCE_SYSTEM_TIMESTAMP:
        UseSystemClock(Req);
        return true;
    default:
        UseNoSource(Req);
        return true;
    }
}

// Asks whether a better source has come back, and records a source that differs from the last one.
static void Recover(const Request &Req, int enConfiguredSource) {
    int enNewTimecodeSource = TCSOURCE_NONE;
    // It fails for null and for inputs that the request has refused.
    if (_RecoveryTimecodeSource(enConfiguredSource, Req.enTimecodeSource, &enNewTimecodeSource, &Req.tpNow,
                                Req.UnchangedEncoderPTS64, Req.enInputInterface) != TRUE)
        return;
    if (LoadShared(Req.pTc->enLastTimecodeSource) != enNewTimecodeSource)
        RecordSourceSwitch(*Req.pTc, Req.tpNow);
    StoreShared(Req.pTc->enLastTimecodeSource, enNewTimecodeSource);
}

static bool AnswerUnderLock(Request &Req, const int *penConfigMISBTimesource) {
    TC_LOCK(ListLock, Req.pTc->UTCListMutex);
    TakePendingReset(*Req.pTc);
    ReadInstant(Req);
    ChooseSource(Req, Fetch(penConfigMISBTimesource));
    SaveThreadState(TC_HERE);
    if (!UseSource(Req))
        return false;
    Req.pTc->tpOldTime = Req.tpNow;
    RememberHandedOut(Req);
    if (Req.bTimeSourceSwitchAllowed == TRUE)
        Recover(Req, Fetch(penConfigMISBTimesource));
    return true;
}

BOOL _GetUTC_Profile62(int enInputInterface, int *penConfigMISBTimesource, BOOL bTimeSourceSwitchAllowed,
                       int nEncodedFrameRate, int nVUIFrameRate, UINT64 UnchangedEncoderPTS64, UINT64 TCBasePTS64,
                       INT64 llTCBaseUTC64, MISP_UTC *pUTC, vitc_t *pVitcRecord, BOOL *pbSameTSRecord,
                       void **ppRecordAddress) {
    Request Req{.Revision = PROFILE_62_ROW,
                .enInputInterface = enInputInterface,
                .bTimeSourceSwitchAllowed = bTimeSourceSwitchAllowed,
                .nEncodedFrameRate = nEncodedFrameRate,
                .nVUIFrameRate = nVUIFrameRate,
                .UnchangedEncoderPTS64 = UnchangedEncoderPTS64,
                .TCBasePTS64 = TCBasePTS64,
                .llTCBaseUTC64 = llTCBaseUTC64,
                .pUTC = pUTC,
                .pVitcRecord = pVitcRecord,
                .ppRecordAddress = ppRecordAddress,
                .tCurrent = time(nullptr)};
    const bool bSource = TC_ASSERT(penConfigMISBTimesource != NULL);
    TC_ASSERT(pUTC != NULL);
    TC_ASSERT(pVitcRecord != NULL);
    if (TC_ASSERT(pbSameTSRecord != NULL))
        Store(pbSameTSRecord, FALSE);
    TC_ASSERT(ppRecordAddress != NULL);
    const bool bInput = AssertInput(enInputInterface, TC_HERE);
    if (_g_bTCLibInitialized != TRUE) {
        TC_TRACE(DBG_LEVEL_ERROR, "Library is not initialized!\n");
        return FALSE;
    }
    if (!TC_IS_GIVEN(pUTC) || !bSource || !bInput)
        return FALSE;
    Req.pTc = &_tcInfo[enInputInterface];
    if (!AnswerUnderLock(Req, penConfigMISBTimesource))
        return FALSE;
    TraceEnd(Req);
    if (pbSameTSRecord != nullptr)
        Store(pbSameTSRecord, Req.bSameTSRecord);
    return Req.bRetCode;
}

} // namespace timecode
