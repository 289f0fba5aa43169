// Timecode has no date, no status byte and no lock: the request makes them.
#include "retrieval/smpte12m_source.h"

#include "conversion/elapsed_time.h"
#include "conversion/smpte12m_to_utc.h"
#include "core/digits.h"
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

void TraceSilence(const Request &Req, const timespec &tpMove) {
    if (!ThrottlePasses(Req.Tc.tLastFailedRetrievalLogTime, Req.tCurrent, USUAL_THROTTLE_SECONDS))
        return;
    const Hmsf Old = DigitsOf(VitcIn(Req.Tc.LastRetrivedSMPTE12mTC));
    TC_TRACE(DBG_LEVEL_INFO,
             "Fail to get timecode on interface:%d. OLD TC:: H:M:S:F(%d:%d:%d:%d) TimeDiff:%lu.%09lus.\n",
             Req.enInputInterface, static_cast<int>(Old.nHours), static_cast<int>(Old.nMinutes),
             static_cast<int>(Old.nSeconds), static_cast<int>(Old.nFrames), static_cast<unsigned long>(tpMove.tv_sec),
             static_cast<unsigned long>(tpMove.tv_nsec));
}

void TraceCorrection(const Request &Req, const timespec &tpMove, const vitc_t &Vitc) {
    const Hmsf New = DigitsOf(Vitc);
    const timespec &tpLast = Req.Tc.LastRetrivedSMPTE12mTC.tpInsertionTime;
    TC_TRACE(DBG_LEVEL_INFO,
             "NowTime:%lu.%09lus, LasRetrivedTime:%lu.%09lus, TimeDiff:%lu.%09lus. After correction, NEW TC:: "
             "H:M:S:F(%d:%d:%d:%d) on interface:%d.\n",
             static_cast<unsigned long>(Req.tpNow.tv_sec), static_cast<unsigned long>(Req.tpNow.tv_nsec),
             static_cast<unsigned long>(tpLast.tv_sec), static_cast<unsigned long>(tpLast.tv_nsec),
             static_cast<unsigned long>(tpMove.tv_sec), static_cast<unsigned long>(tpMove.tv_nsec),
             static_cast<int>(New.nHours), static_cast<int>(New.nMinutes), static_cast<int>(New.nSeconds),
             static_cast<int>(New.nFrames), Req.enInputInterface);
}

// The source is silent: the last timecode moves on by the PTS distance from the picture that had it. Returns that
// distance in time.
timespec CarryForward(Request &Req) {
    tc_private_t &Tc = Req.Tc;
    const timespec tpMove = _ConvertNsecToTimespec(TicksToNsec(TicksToPicture(Req, Tc.LastRetrivedSMPTE12mTC)));
    timespec tpGoodInterval{};
    CalcTimeSpecAbsDiff(&Req.tpNow, &Tc.tpLastGoodTime, &tpGoodInterval);
    TraceSilence(Req, tpMove);
    vitc_t Vitc = VitcOf(Tc.LastRetrivedSMPTE12mTC);
    if (_ElapsedNsecToSMPTE12M(&tpMove, Req.nEncodedFrameRate, RateCode(Req.nVUIFrameRate), &Vitc) == TRUE) {
        TraceCorrection(Req, tpMove, Vitc);
        Tc.bTimeDiscontinuity = FALSE;
    }
    SetVitc(Tc.LocalUTC, Vitc);
    SetVitc(Tc.LastRetrivedSMPTE12mTC, Vitc);
    Tc.LastRetrivedSMPTE12mTC.enTimecodeSource = TCSOURCE_SMPTE12M_TIMESTAMP;
    Tc.LastRetrivedSMPTE12mTC.nTimestamp64 = Req.UnchangedEncoderPTS64;
    FailOver(Req, tpGoodInterval);
    return tpMove;
}

bool ConvertToUtc(const Request &Req) {
    tc_private_t &Tc = Req.Tc;
    INT64 llUTC = UtcOf(Tc.LastRetrivedUTC);
    const BOOL bConverted =
        _SMPTE12MtoUTC(&VitcIn(Tc.LocalUTC), Req.nEncodedFrameRate, RateCode(Req.nVUIFrameRate), &llUTC);
    // On failure llUTC may have become 0; that is stored too.
    SetUtc(Tc.LastRetrivedUTC, llUTC);
    return bConverted == TRUE;
}

void HandOutConverted(const Request &Req, const timespec &tpMove, INT64 llLastUTCTime) {
    tc_private_t &Tc = Req.Tc;
    MISP_UTC &Last = Tc.LastRetrivedUTC;
    TC_TRACE(DBG_LEVEL_DEBUG, "Timecode source:%d, successfully converted SMPTE12M to UTC time.\n",
             TCSOURCE_SMPTE12M_TIMESTAMP);
    SetStatusByte(Last, _GetMISPStatusByte(Tc.bTimeSourceAlive, Tc.bTimeDiscontinuity, Tc.bGPSLocked, llLastUTCTime,
                                           UtcOf(Last)));
    Last.enTimecodeSource = TCSOURCE_SMPTE12M_TIMESTAMP;
    Last.nTimestamp64 += static_cast<UINT64>(SpanToTicks(tpMove));
    Last.tpInsertionTime = Tc.LastRetrivedSMPTE12mTC.tpInsertionTime;
    *Req.pUTC = Last;
    if (Req.pVitcRecord != nullptr)
        CopyVitc(*Req.pVitcRecord, VitcIn(Tc.LocalUTC));
}

} // namespace

Outcome UseSmpte12mSource(Request &Req) {
    const MISP_UTC *const pUsed = UseQueuedTimecode(Req);
    // A timecode used directly is not moved, and neither is the PTS.
    timespec tpMove{};
    if (pUsed != nullptr)
        RememberTimecode(Req, *pUsed);
    else
        tpMove = CarryForward(Req);
    const INT64 llLastUTCTime = UtcOf(Req.Tc.LastRetrivedUTC);
    if (!ConvertToUtc(Req))
        return Outcome::NoTime;
    HandOutConverted(Req, tpMove, llLastUTCTime);
    return Outcome::Time;
}

} // namespace timecode
