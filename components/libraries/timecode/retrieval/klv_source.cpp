// One procedure for both KLV-borne sources; local sets differ in a few places.
#include "retrieval/klv_source.h"

#include "conversion/elapsed_time.h"
#include "conversion/system_clock.h"
#include "core/rate_codes.h"
#include "core/record.h"
#include "core/shared.h"
#include "core/state.h"
#include "core/trace.h"
#include "core/units.h"
#include "pts_api.h"
#include "retrieval/source_switching.h"
#include "retrieval/status_byte.h"
#include "timecode.h"

namespace timecode {

namespace {

// The state right after timecode has failed over to local sets.
bool HasJustLostTimecode(const tc_private_t &Tc) {
    return Tc.bTimeSourceAlive == FALSE && Tc.bTimeDiscontinuity == TRUE && Tc.bGPSLocked == FALSE &&
           Tc.LastRetrivedUTC.enTimecodeSource == TCSOURCE_SMPTE12M_TIMESTAMP;
}

void TraceSilence(const Request &Req, bool bLds, const timespec &tpElapsed) {
    if (ThrottlePasses(Req.Tc.tLastFailedRetrievalLogTime, Req.tCurrent, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_INFO,
                 bLds ? "Fail to get timecode. OLD UTC:: %016llu, TimeDiff:%lu.%09lus.\n"
                      : "Fail to get timecode. OLD UTC::  %016llu, TimeDiff:%lu.%09lus.\n",
                 static_cast<unsigned long long>(UtcOf(Req.Tc.LastRetrivedUTC)),
                 static_cast<unsigned long>(tpElapsed.tv_sec), static_cast<unsigned long>(tpElapsed.tv_nsec));
}

// Moves the working record on by the elapsed time and gives it a status byte of its own.
void CorrectUtc(tc_private_t &Tc, bool bLds, const timespec &tpElapsed) {
    INT64 llUTC = UtcOf(Tc.LocalUTC);
    // It fails for null only.
    if (_ElapsedUsecToUTC(&tpElapsed, &llUTC) != TRUE)
        return;
    SetUtc(Tc.LocalUTC, llUTC);
    TC_TRACE(bLds ? DBG_LEVEL_INFO : DBG_LEVEL_DEBUG,
             bLds ? "After correction, NEW UTC:: %016llu.\n" : "After correction, NEW UTC::  %016llu.\n",
             static_cast<unsigned long long>(llUTC));
    _VerifyDateFromUTC(&llUTC);
    Tc.bTimeDiscontinuity = FALSE;
    SetStatusByte(Tc.LocalUTC, _GetMISPStatusByte(Tc.bTimeSourceAlive, Tc.bTimeDiscontinuity, Tc.bGPSLocked,
                                                  UtcOf(Tc.LastRetrivedUTC), llUTC));
}

void HandOutCarriedRecord(const Request &Req, bool bLds, const timespec &tpElapsed) {
    tc_private_t &Tc = Req.Tc;
    Tc.LocalUTC.enTimecodeSource = Req.enTimecodeSource;
    // High precision gets the PTS of the picture, a record of local sets moves its own on.
    Tc.LocalUTC.nTimestamp64 =
        bLds ? Tc.LocalUTC.nTimestamp64 + static_cast<UINT64>(SpanToTicks(tpElapsed)) : Req.UnchangedEncoderPTS64;
    *Req.pUTC = Tc.LocalUTC;
    // The remembered record counts from now, so the next silent request adds only the time since this one.
    Tc.LastRetrivedUTC = Tc.LocalUTC;
    Tc.LastRetrivedUTC.tpInsertionTime = Req.tpNow;
    if (!bLds)
        Tc.LastRetrivedSMPTE12mTC = Tc.LastRetrivedUTC;
}

// The source is silent: the last UTC is carried forward by the wall-clock time that has passed.
void CarryForward(Request &Req, bool bLds) {
    tc_private_t &Tc = Req.Tc;
    // After timecode, local sets go on from the UTC derived from it.
    if (bLds && HasJustLostTimecode(Tc))
        SetUtc(Tc.LocalUTC, UtcOf(Tc.LastRetrivedUTC));
    timespec tpElapsed{};
    CalcTimeSpecAbsDiff(&Req.tpNow, &Tc.LastRetrivedUTC.tpInsertionTime, &tpElapsed);
    timespec tpGoodInterval{};
    CalcTimeSpecAbsDiff(&Req.tpNow, &Tc.tpLastGoodTime, &tpGoodInterval);
    TraceSilence(Req, bLds, tpElapsed);
    CorrectUtc(Tc, bLds, tpElapsed);
    HandOutCarriedRecord(Req, bLds, tpElapsed);
    FailOver(Req, tpGoodInterval);
}

bool FormatTimecode(const Request &Req, bool bLds) {
    tc_private_t &Tc = Req.Tc;
    INT64 llUTC = UtcOf(Tc.LocalUTC);
    vitc_t Vitc{};
    if (TimeCode_UTCToSMPTE12M(&llUTC, Req.nEncodedFrameRate, RateCode(Req.nVUIFrameRate), &Vitc) != TRUE) {
        TC_TRACE(DBG_LEVEL_INFO, "Failed to format SMPTE12M VITC from UTC.\n");
        return false;
    }
    SetVitc(Tc.LastRetrivedSMPTE12mTC, Vitc);
    if (Req.pVitcRecord != nullptr)
        CopyVitc(*Req.pVitcRecord, Vitc);
    if (bLds) {
        Tc.LastRetrivedSMPTE12mTC.enTimecodeSource = Tc.LocalUTC.enTimecodeSource;
        Tc.LastRetrivedSMPTE12mTC.nTimestamp64 = Tc.LocalUTC.nTimestamp64;
    }
    return true;
}

} // namespace

Outcome UseKlvSource(Request &Req) {
    // Failover changes the request's source on the way; the steps stay those of the source that it began with.
    const bool bLds = Req.enTimecodeSource == TCSOURCE_LDS_TIMESTAMP;
    const MISP_UTC *const pUsed = UseQueuedUtc(Req);
    if (pUsed == nullptr)
        CarryForward(Req, bLds);
    if (!FormatTimecode(Req, bLds))
        return Outcome::NoTimecode;
    if (pUsed != nullptr)
        RememberUtc(Req, *pUsed);
    return Outcome::Time;
}

} // namespace timecode
