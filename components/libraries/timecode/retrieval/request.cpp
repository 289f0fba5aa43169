// The steps of a request that both MISP revisions take.
#include "retrieval/request.h"

#include "core/digits.h"
#include "core/lock.h"
#include "core/record.h"
#include "core/shared.h"
#include "core/source_names.h"
#include "core/trace.h"
#include "core/units.h"
#include "pts_api.h"
#include "queue/pts_match.h"
#include "retrieval/status_byte.h"

namespace timecode {

UINT64 TicksToPicture(const Request &Req, const MISP_UTC &Record) {
    return Absolute(CalcPTSDiff(Record.nTimestamp64, Req.UnchangedEncoderPTS64));
}

void ApplyPendingReset(tc_private_t &Tc) {
    if (LoadShared(Tc.bForgetLastUTC) != TRUE)
        return;
    StoreShared(Tc.bForgetLastUTC, FALSE);
    SetUtc(Tc.LastRetrivedUTC, 0);
}

namespace {

// The record of the request's source that belongs to the picture, however far away, or null.
const MISP_UTC *FindMatch(Request &Req) {
    TC_LOCK(ListLock, Req.Tc.UTCListMutex);
    const Match Found = FindRecord(Req.Tc.UTCList, Req.UnchangedEncoderPTS64, Req.enTimecodeSource, Req.ppRecordAddress,
                                   Req.enInputInterface);
    Req.bSameTSRecord = Found.bSame ? TRUE : FALSE;
    return Found.pRecord;
}

// LocalUTC keeps the byte as it was received: only the picture is told of the jump. Equal times are no jump.
void MarkBackwardJump(const Request &Req, const MISP_UTC &Used) {
    if (UtcOf(Used) >= UtcOf(Req.Tc.LastRetrivedUTC))
        return;
    TC_TRACE(DBG_LEVEL_INFO, "Discontinuity identified. Time jumped backward!\n");
    const unsigned nLock = Req.Tc.bGPSLocked == TRUE ? 0 : STATUS_NOT_LOCKED;
    SetStatusByte(*Req.pUTC, static_cast<BYTE>(nLock | STATUS_DISCONTINUITY | STATUS_REVERSE | STATUS_RESERVED));
}

void HandOutUtc(const Request &Req, const MISP_UTC &Used) {
    tc_private_t &Tc = Req.Tc;
    SetStatusFlags(Tc, StatusByteOf(Used));
    Tc.LocalUTC = Used;
    *Req.pUTC = Used;
    if (Req.bProfile62)
        MarkBackwardJump(Req, Used);
    Tc.tpLastGoodTime = Req.tpNow;
    Tc.bTimeSourceAlive = TRUE;
}

void TraceUtc(const Request &Req, const MISP_UTC &Used) {
    if (!ThrottlePasses(Req.Tc.tLastOKRetrievalLogTime, Req.tCurrent, USUAL_THROTTLE_SECONDS))
        return;
    const bool bLds = Req.enTimecodeSource == TCSOURCE_LDS_TIMESTAMP;
    TC_TRACE(DBG_LEVEL_INFO,
             Req.bProfile62 ? "Success retrieved MSPack UTC::  %016llu. UTC enTimecodeSource:%d(%s)\n"
             : bLds         ? "Success retrieved LDS Tag2 UTC::  %016llu. UTC enConfigMISBTimesource:%d(%s)\n"
                            : "Success retrieved MTSPack UTC:: %016llu. UTC enConfigMISBTimesource:%d(%s)\n",
             static_cast<unsigned long long>(UtcOf(Used)), Req.enTimecodeSource,
             SourceName(Req.enTimecodeSource).Text());
}

} // namespace

const MISP_UTC *UseQueuedUtc(Request &Req) {
    if (ThrottlePasses(Req.Tc.tCurrentSourceLogTime, Req.tCurrent, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_INFO,
                 Req.enTimecodeSource == TCSOURCE_LDS_TIMESTAMP
                     ? "Timecode source:%d, is UTC coming from LDS.\n"
                     : "Timecode source:%d, is high precision timecode coming from VANC KLV.\n",
                 Req.enTimecodeSource);
    const MISP_UTC *const pMatch = FindMatch(Req);
    if (pMatch == nullptr || TicksToPicture(Req, *pMatch) > MATCH_LIMIT_TICKS)
        return nullptr;
    HandOutUtc(Req, *pMatch);
    TraceUtc(Req, *pMatch);
    return pMatch;
}

namespace {

void AcceptTimecode(const Request &Req, const MISP_UTC &Used) {
    tc_private_t &Tc = Req.Tc;
    Tc.LocalUTC = Used;
    // Under Profile 62 a timecode refreshes the last good time only with switching.
    if (!Req.bProfile62 || Req.bTimeSourceSwitchAllowed == TRUE)
        Tc.tpLastGoodTime = Req.tpNow;
    Tc.bTimeDiscontinuity = Tc.bTimeSourceAlive == TRUE ? FALSE : TRUE;
    Tc.bTimeSourceAlive = TRUE;
    Tc.bGPSLocked = FALSE;
}

void TraceTooFar(const Request &Req, const MISP_UTC &Found, UINT64 nDistanceTicks) {
    TC_TRACE(DBG_LEVEL_INFO,
             Req.bProfile62 ? "PTSDiff:%llu(%lldms) is bigger than threshold:%dms, CodedPicturePTS64:%llu, TCPTS:%llu. "
                              "enTimecodeSource:%d(%s), *ppRecordAddress:%p.\n"
                            : "PTSDiff:%llu(%lldms) is bigger than threshold:%dms, CodedPicturePTS64:%llu, TCPTS:%llu. "
                              "enConfigMISBTimesource:%d(%s), *ppRecordAddress:%p.\n",
             static_cast<unsigned long long>(nDistanceTicks), static_cast<long long>(TicksToMs(nDistanceTicks)),
             MATCH_LIMIT_MS, static_cast<unsigned long long>(Req.UnchangedEncoderPTS64),
             static_cast<unsigned long long>(Found.nTimestamp64), Req.enTimecodeSource,
             SourceName(Req.enTimecodeSource).Text(), Req.ppRecordAddress == nullptr ? nullptr : *Req.ppRecordAddress);
}

void TraceTimecode(const Request &Req, const MISP_UTC &Used) {
    if (!ThrottlePasses(Req.Tc.tLastOKRetrievalLogTime, Req.tCurrent, TIMECODE_THROTTLE_SECONDS))
        return;
    const Hmsf Time = DigitsOf(VitcIn(Used));
    TC_TRACE(DBG_LEVEL_INFO,
             Req.bProfile62 ? "Retreived TC on interface:%d:: H:M:S:F(%d:%d:%d:%d). enTimecodeSource:%d(%s), "
                              "CodedPicturePTS64:%llu, TCPTS:%llu.\n"
                            : "Retreived TC on interface:%d:: H:M:S:F(%d:%d:%d:%d). enConfigMISBTimesource:%d(%s), "
                              "CodedPicturePTS64:%llu, TCPTS:%llu.\n",
             Req.enInputInterface, static_cast<int>(Time.nHours), static_cast<int>(Time.nMinutes),
             static_cast<int>(Time.nSeconds), static_cast<int>(Time.nFrames), Req.enTimecodeSource,
             SourceName(Req.enTimecodeSource).Text(), static_cast<unsigned long long>(Req.UnchangedEncoderPTS64),
             static_cast<unsigned long long>(Used.nTimestamp64));
}

} // namespace

const MISP_UTC *UseQueuedTimecode(Request &Req) {
    if (ThrottlePasses(Req.Tc.tCurrentSourceLogTime, Req.tCurrent, TIMECODE_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_DEBUG, "Timecode source:%d, is commercial timecode coming from VITC.\n",
                 Req.enTimecodeSource);
    const MISP_UTC *const pMatch = FindMatch(Req);
    if (pMatch == nullptr)
        return nullptr;
    const UINT64 nDistanceTicks = TicksToPicture(Req, *pMatch);
    if (nDistanceTicks > MATCH_LIMIT_TICKS) {
        TraceTooFar(Req, *pMatch, nDistanceTicks);
        return nullptr;
    }
    AcceptTimecode(Req, *pMatch);
    TraceTimecode(Req, *pMatch);
    return pMatch;
}

void UseNoSource(const Request &Req) {
    SetFlagsNotAlive(Req.Tc);
    if (ThrottlePasses(Req.Tc.tLastFailedRetrievalLogTime, Req.tCurrent, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_ERROR,
                 Req.bProfile62 ? "Failed to get UTC. enTimecodeSource:%d is Unknown or Failed!\n"
                                : "Failed to get UTC. enConfigMISBTimesource:%d is Unknown or Failed!\n",
                 Req.enTimecodeSource);
}

void RememberUtc(const Request &Req, const MISP_UTC &Used) {
    MISP_UTC &LastUtc = Req.Tc.LastRetrivedUTC;
    LastUtc.enTimecodeSource = Req.enTimecodeSource;
    LastUtc.nTimestamp64 = Req.UnchangedEncoderPTS64;
    LastUtc.tpInsertionTime = Used.tpInsertionTime;
    SetUtc(LastUtc, UtcOf(Used));
    SetStatusByte(LastUtc, StatusByteOf(Used));
}

void RememberTimecode(const Request &Req, const MISP_UTC &Used) {
    MISP_UTC &LastTimecode = Req.Tc.LastRetrivedSMPTE12mTC;
    SetVitc(LastTimecode, VitcOf(Used));
    LastTimecode.enTimecodeSource = Req.enTimecodeSource;
    LastTimecode.nTimestamp64 = Req.UnchangedEncoderPTS64;
    LastTimecode.tpInsertionTime = Used.tpInsertionTime;
}

void TraceEnd(const Request &Req) {
    if (!TraceEnabled(DBG_LEVEL_DEBUG))
        return;
    const unsigned nStatusByte = StatusByteOf(*Req.pUTC);
    TC_TRACE(DBG_LEVEL_DEBUG,
             Req.bProfile62
                 ? " DEBUG - Function end, enTimecodeSource:%d, MISPStatusByte:%#x, GPSLocked:%s, Status:%s, "
                   "Disc:%s\n"
                 : " DEBUG - Function end, enConfigMISBTimesource:%d, MISPStatusByte:%#x, GPSLocked:%s, "
                   "Status:%s, Disc:%s\n",
             Req.enTimecodeSource, nStatusByte, (nStatusByte & STATUS_NOT_LOCKED) != 0 ? "FLYWHEEL" : "LOCKED",
             (nStatusByte & STATUS_DISCONTINUITY) != 0 ? "DISCONTINUITY" : "NORMAL",
             (nStatusByte & STATUS_REVERSE) != 0 ? "REVERSE" : "FORWARD");
}

} // namespace timecode
