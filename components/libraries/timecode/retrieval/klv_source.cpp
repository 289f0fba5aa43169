// One procedure for both KLV-borne sources, and a row of differences.
#include "retrieval/klv_source.h"

#include "conversion/elapsed_time.h"
#include "conversion/frame_period.h"
#include "conversion/system_clock.h"
#include "core/record.h"
#include "core/shared.h"
#include "core/trace.h"
#include "core/units.h"
#include "pts_api.h"
#include "retrieval/source_switching.h"
#include "retrieval/status_byte.h"

namespace timecode {

struct KlvRow {
    int enTimecodeSource;
    bool bContinuesFromTimecode; // after a failover from timecode, carries on from the UTC derived from it
    bool bTakesPicturePTS;       // a carried record gets the picture's PTS; otherwise its own moves on
    bool bCarriedIntoTimecode;   // a carried record also becomes the last timecode record
    bool bNamesTimecodeRecord;   // the last timecode record gets this record's source and PTS
    const char *szSilent;
    int nCorrectedLevel;
    const char *szCorrected;
};

static constexpr KlvRow HIGH_PRECISION_ROW = {
    .enTimecodeSource = TCSOURCE_HIGH_PRECISION_TIMESTAMP,
    .bContinuesFromTimecode = false,
    .bTakesPicturePTS = true,
    .bCarriedIntoTimecode = true,
    .bNamesTimecodeRecord = false,
    .szSilent = "Fail to get timecode. OLD UTC::  %016llu, TimeDiff:%lu.%09lus.\n",
    .nCorrectedLevel = DBG_LEVEL_DEBUG,
    .szCorrected = "After correction, NEW UTC::  %016llu.\n",
};

static constexpr KlvRow LDS_ROW = {
    .enTimecodeSource = TCSOURCE_LDS_TIMESTAMP,
    .bContinuesFromTimecode = true,
    .bTakesPicturePTS = false,
    .bCarriedIntoTimecode = false,
    .bNamesTimecodeRecord = true,
    .szSilent = "Fail to get timecode. OLD UTC:: %016llu, TimeDiff:%lu.%09lus.\n",
    .nCorrectedLevel = DBG_LEVEL_INFO,
    .szCorrected = "After correction, NEW UTC:: %016llu.\n",
};

static consteval bool IsSound(const KlvRow &Row) {
    return HasConversions(Row.szSilent, "%016llu%lu%09lu") && HasConversions(Row.szCorrected, "%016llu");
}
static_assert(IsSound(HIGH_PRECISION_ROW) && IsSound(LDS_ROW));

// The state right after timecode has failed over to local sets.
static bool HasJustLostTimecode(const tc_private_t &Tc) {
    return Tc.bTimeSourceAlive == FALSE && Tc.bTimeDiscontinuity == TRUE && Tc.bGPSLocked == FALSE &&
           Tc.LastRetrivedUTC.enTimecodeSource == TCSOURCE_SMPTE12M_TIMESTAMP;
}

static void TraceSilence(const Request &Req, const KlvRow &Row) {
    if (ThrottlePasses(Req.pTc->tLastFailedRetrievalLogTime, Req.tCurrent, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_INFO, Row.szSilent, static_cast<unsigned long long>(UtcOf(Req.pTc->LastRetrivedUTC)),
                 static_cast<unsigned long>(Req.tpNanosecTdiff.tv_sec),
                 static_cast<unsigned long>(Req.tpNanosecTdiff.tv_nsec));
}

// Moves the working record on by the elapsed time and gives it a status byte of its own.
static void CorrectUtc(const Request &Req, const KlvRow &Row) {
    tc_private_t &Tc = *Req.pTc;
    INT64 llUTC = UtcOf(Tc.LocalUTC);
    // It fails for null only.
    if (_ElapsedUsecToUTC(&Req.tpNanosecTdiff, &llUTC) != TRUE)
        return;
    SetUtc(Tc.LocalUTC, llUTC);
    TC_TRACE(Row.nCorrectedLevel, Row.szCorrected, static_cast<unsigned long long>(llUTC));
    _VerifyDateFromUTC(&llUTC);
    Tc.bTimeDiscontinuity = FALSE;
    SetStatusByte(Tc.LocalUTC, _GetMISPStatusByte(Tc.bTimeSourceAlive, Tc.bTimeDiscontinuity, Tc.bGPSLocked,
                                                  UtcOf(Tc.LastRetrivedUTC), llUTC));
}

static void HandOutCarriedRecord(Request &Req, const KlvRow &Row) {
    tc_private_t &Tc = *Req.pTc;
    Tc.LocalUTC.enTimecodeSource = Row.enTimecodeSource;
    Tc.LocalUTC.nTimestamp64 = Row.bTakesPicturePTS
                                   ? Req.UnchangedEncoderPTS64
                                   : Tc.LocalUTC.nTimestamp64 + static_cast<UINT64>(SpanToTicks(Req.tpNanosecTdiff));
    Store(Req.pUTC, Tc.LocalUTC);
    // The remembered record counts from now, so the next silent request adds only the time since this one.
    Tc.LastRetrivedUTC = Tc.LocalUTC;
    Tc.LastRetrivedUTC.tpInsertionTime = Req.tpNow;
    if (Row.bCarriedIntoTimecode)
        Tc.LastRetrivedSMPTE12mTC = Tc.LastRetrivedUTC;
}

// The source is silent: the last UTC is carried forward by the wall-clock time that has passed.
static void CarryForward(Request &Req, const KlvRow &Row) {
    tc_private_t &Tc = *Req.pTc;
    if (Row.bContinuesFromTimecode && HasJustLostTimecode(Tc))
        SetUtc(Tc.LocalUTC, UtcOf(Tc.LastRetrivedUTC));
    CalcTimeSpecAbsDiff(&Req.tpNow, &Tc.LastRetrivedUTC.tpInsertionTime, &Req.tpNanosecTdiff);
    CalcTimeSpecAbsDiff(&Req.tpNow, &Tc.tpLastGoodTime, &Req.tpGoodInterval);
    TraceSilence(Req, Row);
    CorrectUtc(Req, Row);
    HandOutCarriedRecord(Req, Row);
    FailOver(Req);
    Req.bRetCode = TRUE;
}

static bool FormatTimecode(const Request &Req, const KlvRow &Row) {
    tc_private_t &Tc = *Req.pTc;
    INT64 llUTC = UtcOf(Fetch(Req.pUTC));
    vitc_t Vitc{};
    if (TimeCode_UTCToSMPTE12M(&llUTC, Req.nEncodedFrameRate, RateCode(Req.nVUIFrameRate), &Vitc) != TRUE) {
        TC_TRACE(DBG_LEVEL_INFO, "Failed to format SMPTE12M VITC from UTC.\n");
        return false;
    }
    SetVitc(Tc.LastRetrivedSMPTE12mTC, Vitc);
    if (Req.pVitcRecord != nullptr)
        Store(Req.pVitcRecord, Vitc);
    if (Row.bNamesTimecodeRecord) {
        Tc.LastRetrivedSMPTE12mTC.enTimecodeSource = Tc.LocalUTC.enTimecodeSource;
        Tc.LastRetrivedSMPTE12mTC.nTimestamp64 = Tc.LocalUTC.nTimestamp64;
    }
    return true;
}

bool UseKlvSource(Request &Req) {
    // Failover changes the request's source on the way; the row stays that of the source it began with.
    const KlvRow &Row = Req.enTimecodeSource == TCSOURCE_LDS_TIMESTAMP ? LDS_ROW : HIGH_PRECISION_ROW;
    AnnounceSource(Req);
    UseQueuedUtc(Req);
    if (Req.bRetCode == FALSE)
        CarryForward(Req, Row);
    return FormatTimecode(Req, Row);
}

} // namespace timecode
