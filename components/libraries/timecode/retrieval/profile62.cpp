// A picture's request under MISP_PROFILE_62, from the choice of source to the closing step.
#include "retrieval/profile62.h"

#include "core/clock.h"
#include "core/lock.h"
#include "core/shared.h"
#include "core/source_names.h"
#include "core/state.h"
#include "core/trace.h"
#include "retrieval/klv_source.h"
#include "retrieval/recovery.h"
#include "retrieval/request.h"
#include "retrieval/smpte12m_source.h"
#include "retrieval/source_switching.h"
#include "retrieval/system_time.h"

namespace timecode {

namespace {

bool IsZero(const timespec &tpTime) {
    return tpTime.tv_sec == 0 && tpTime.tv_nsec == 0;
}

// The clock is read once, with the lock held: the whole request happens at one instant.
void SetInstant(Request &Req) {
    Req.tpNow = ReadInstant(TC_HERE);
    if (IsZero(Req.Tc.tpLastGoodTime))
        Req.Tc.tpLastGoodTime = Req.tpNow;
    if (IsZero(Req.Tc.tpOldTime))
        Req.Tc.tpOldTime = Req.tpNow;
}

// With switching the configured source decides only until a source has been recorded.
void ChooseSource(Request &Req, int enConfiguredSource) {
    const int enLastSource = LoadShared(Req.Tc.enLastTimecodeSource);
    const bool bUseLast = Req.bTimeSourceSwitchAllowed == TRUE && enLastSource != TCSOURCE_NOT_CHOSEN;
    Req.enTimecodeSource = bUseLast ? enLastSource : enConfiguredSource;
    if (ThrottlePasses(Req.Tc.tLastLogTime, Req.tCurrent, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_INFO, "enTimecodeSource:%d(%s), SwitchingAllowed:%s at the beginning of the function!\n",
                 Req.enTimecodeSource, SourceName(Req.enTimecodeSource).Text(),
                 Req.bTimeSourceSwitchAllowed == TRUE ? "TRUE" : "FALSE");
}

Outcome UseSystemClock(const Request &Req) {
    if (ThrottlePasses(Req.Tc.tCurrentSourceLogTime, Req.tCurrent, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_INFO, "Timecode source:%d, is system time.\n", Req.enTimecodeSource);
    if (_GetSystemUTC_Profile62(Req.nEncodedFrameRate, Req.nVUIFrameRate, Req.UnchangedEncoderPTS64, Req.TCBasePTS64,
                                Req.llTCBaseUTC64, Req.pUTC, Req.pVitcRecord) != FALSE)
        return Outcome::Time;
    TC_TRACE(DBG_LEVEL_WARNING, "Failed to get system timecode.\n");
    return Outcome::NoTime;
}

Outcome UseSource(Request &Req) {
    switch (Req.enTimecodeSource) {
    case TCSOURCE_HIGH_PRECISION_TIMESTAMP:
    case TCSOURCE_LDS_TIMESTAMP:
        return UseKlvSource(Req);
    case TCSOURCE_SMPTE12M_TIMESTAMP:
        return UseSmpte12mSource(Req);
    case TCSOURCE_SYSTEM_TIMESTAMP:
        return UseSystemClock(Req);
    default:
        UseNoSource(Req);
        return Outcome::NoTime;
    }
}

// Asks whether a better source has come back, and records a source that differs from the last one.
void Recover(const Request &Req, int enConfiguredSource) {
    int enNewTimecodeSource = TCSOURCE_NONE;
    // It fails for null and for inputs that the request has refused.
    if (_RecoveryTimecodeSource(enConfiguredSource, Req.enTimecodeSource, &enNewTimecodeSource, &Req.tpNow,
                                Req.UnchangedEncoderPTS64, Req.enInputInterface) != TRUE)
        return;
    if (LoadShared(Req.Tc.enLastTimecodeSource) != enNewTimecodeSource)
        RecordSourceSwitch(Req.Tc, Req.tpNow);
    StoreShared(Req.Tc.enLastTimecodeSource, enNewTimecodeSource);
}

Outcome AnswerUnderLock(Request &Req, const int *penConfigMISBTimesource) {
    TC_LOCK(ListLock, Req.Tc.UTCListMutex);
    ApplyPendingReset(Req.Tc);
    SetInstant(Req);
    ChooseSource(Req, *penConfigMISBTimesource);
    ListLockPlace.SaveHolds();
    const Outcome Given = UseSource(Req);
    if (Given == Outcome::NoTimecode)
        return Given;
    Req.Tc.tpOldTime = Req.tpNow;
    if (Req.bTimeSourceSwitchAllowed == TRUE)
        Recover(Req, *penConfigMISBTimesource);
    return Given;
}

} // namespace

BOOL _GetUTC_Profile62(int enInputInterface, int *penConfigMISBTimesource, BOOL bTimeSourceSwitchAllowed,
                       int nEncodedFrameRate, int nVUIFrameRate, UINT64 UnchangedEncoderPTS64, UINT64 TCBasePTS64,
                       INT64 llTCBaseUTC64, MISP_UTC *pUTC, vitc_t *pVitcRecord, BOOL *pbSameTSRecord,
                       void **ppRecordAddress) {
    const time_t tCurrent = time(nullptr);
    const bool bSource = TC_ASSERT(penConfigMISBTimesource != NULL);
    TC_ASSERT(pUTC != NULL);
    TC_ASSERT(pVitcRecord != NULL);
    if (TC_ASSERT(pbSameTSRecord != NULL))
        *pbSameTSRecord = FALSE;
    TC_ASSERT(ppRecordAddress != NULL);
    const bool bInput = AssertInput(enInputInterface, TC_HERE);
    if (!IsInitialised(TC_HERE) || !TC_IS_GIVEN(pUTC) || !bSource || !bInput)
        return FALSE;
    // Instant and source are taken under the lock.
    Request Req(enInputInterface, UnchangedEncoderPTS64, pUTC, pVitcRecord, ppRecordAddress, tCurrent);
    Req.bProfile62 = true;
    Req.bTimeSourceSwitchAllowed = bTimeSourceSwitchAllowed;
    Req.nEncodedFrameRate = nEncodedFrameRate;
    Req.nVUIFrameRate = nVUIFrameRate;
    Req.TCBasePTS64 = TCBasePTS64;
    Req.llTCBaseUTC64 = llTCBaseUTC64;
    const Outcome Given = AnswerUnderLock(Req, penConfigMISBTimesource);
    if (Given == Outcome::NoTimecode)
        return FALSE;
    TraceEnd(Req);
    if (pbSameTSRecord != nullptr)
        *pbSameTSRecord = Req.bSameTSRecord;
    return Given == Outcome::Time ? TRUE : FALSE;
}

} // namespace timecode
