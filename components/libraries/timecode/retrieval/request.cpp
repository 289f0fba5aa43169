// The steps of a request that both MISP revisions take.
#include "retrieval/request.h"

#include <array>

#include "core/record.h"
#include "core/shared.h"
#include "core/trace.h"
#include "core/units.h"
#include "pts_api.h"
#include "queue/pts_match.h"
#include "retrieval/status_byte.h"

namespace timecode {

constexpr RevisionRow PROFILE_62_ROW = {
    .bTimecodeIsGoodTime = false,
    .bHandsOutTimecodeRecord = false,
    .bMarksBackwardJump = true,
    .szHighPrecisionOk = "Success retrieved MSPack UTC::  %016llu. UTC enTimecodeSource:%d(%s)\n",
    .szLdsOk = "Success retrieved MSPack UTC::  %016llu. UTC enTimecodeSource:%d(%s)\n",
    .szTimecodeOk = "Retreived TC on interface:%d:: H:M:S:F(%d:%d:%d:%d). enTimecodeSource:%d(%s), "
                    "CodedPicturePTS64:%llu, TCPTS:%llu.\n",
    .szTimecodeTooFar = "PTSDiff:%llu(%lldms) is bigger than threshold:%dms, CodedPicturePTS64:%llu, TCPTS:%llu. "
                        "enTimecodeSource:%d(%s), *ppRecordAddress:%p.\n",
    .szUnknownSource = "Failed to get UTC. enTimecodeSource:%d is Unknown or Failed!\n",
    .szEnd = " DEBUG - Function end, enTimecodeSource:%d, MISPStatusByte:%#x, GPSLocked:%s, Status:%s, Disc:%s\n",
};

constexpr RevisionRow PROFILE_20162_ROW = {
    .bTimecodeIsGoodTime = true,
    .bHandsOutTimecodeRecord = true,
    .bMarksBackwardJump = false,
    .szHighPrecisionOk = "Success retrieved MTSPack UTC:: %016llu. UTC enConfigMISBTimesource:%d(%s)\n",
    .szLdsOk = "Success retrieved LDS Tag2 UTC::  %016llu. UTC enConfigMISBTimesource:%d(%s)\n",
    .szTimecodeOk = "Retreived TC on interface:%d:: H:M:S:F(%d:%d:%d:%d). enConfigMISBTimesource:%d(%s), "
                    "CodedPicturePTS64:%llu, TCPTS:%llu.\n",
    .szTimecodeTooFar = "PTSDiff:%llu(%lldms) is bigger than threshold:%dms, CodedPicturePTS64:%llu, TCPTS:%llu. "
                        "enConfigMISBTimesource:%d(%s), *ppRecordAddress:%p.\n",
    .szUnknownSource = "Failed to get UTC. enConfigMISBTimesource:%d is Unknown or Failed!\n",
    .szEnd = " DEBUG - Function end, enConfigMISBTimesource:%d, MISPStatusByte:%#x, GPSLocked:%s, Status:%s, Disc:%s\n",
};

static consteval bool IsSound(const RevisionRow &Row) {
    return HasConversions(Row.szHighPrecisionOk, "%016llu%d%s") && HasConversions(Row.szLdsOk, "%016llu%d%s") &&
           HasConversions(Row.szTimecodeOk, "%d%d%d%d%d%d%s%llu%llu") &&
           HasConversions(Row.szTimecodeTooFar, "%llu%lld%d%llu%llu%d%s%p") &&
           HasConversions(Row.szUnknownSource, "%d") && HasConversions(Row.szEnd, "%d%#x%s%s%s");
}
static_assert(IsSound(PROFILE_62_ROW) && IsSound(PROFILE_20162_ROW));

// How each queue-borne source is announced; indexed by source value - 1.
struct AnnouncementRow {
    int nLevel;
    time_t nThrottleSeconds;
    const char *szText;
};

static constexpr std::array<AnnouncementRow, 3> ANNOUNCEMENTS = {{
    {DBG_LEVEL_INFO, USUAL_THROTTLE_SECONDS, "Timecode source:%d, is high precision timecode coming from VANC KLV.\n"},
    {DBG_LEVEL_DEBUG, TIMECODE_THROTTLE_SECONDS, "Timecode source:%d, is commercial timecode coming from VITC.\n"},
    {DBG_LEVEL_INFO, USUAL_THROTTLE_SECONDS, "Timecode source:%d, is UTC coming from LDS.\n"},
}};
static_assert(HasConversions(ANNOUNCEMENTS[0].szText, "%d") && HasConversions(ANNOUNCEMENTS[1].szText, "%d") &&
              HasConversions(ANNOUNCEMENTS[2].szText, "%d"));

UINT64 TicksToPicture(const Request &Req, const MISP_UTC &Record) {
    return Absolute(CalcPTSDiff(Record.nTimestamp64, Req.UnchangedEncoderPTS64));
}

void TakePendingReset(tc_private_t &Tc) {
    if (LoadShared(Tc.bForgetLastUTC) != TRUE)
        return;
    StoreShared(Tc.bForgetLastUTC, FALSE);
    SetUtc(Tc.LastRetrivedUTC, 0);
}

void AnnounceSource(const Request &Req) {
    const AnnouncementRow &Row = ANNOUNCEMENTS[static_cast<size_t>(Req.enTimecodeSource) - 1];
    if (ThrottlePasses(Req.pTc->tCurrentSourceLogTime, Req.tCurrent, Row.nThrottleSeconds))
        TC_TRACE(Row.nLevel, Row.szText, Req.enTimecodeSource);
}

bool FindMatch(Request &Req) {
    if (_FindPTSMatchForSource(&Req.pTc->UTCList, &Req.pTc->UTCListMutex, Req.UnchangedEncoderPTS64,
                               Req.enTimecodeSource, &Req.CurrentUTC, &Req.bSameTSRecord, Req.ppRecordAddress,
                               Req.enInputInterface) != TRUE)
        return false;
    Req.nPTSDiffTicks = TicksToPicture(Req, Req.CurrentUTC);
    return true;
}

// LocalUTC keeps the byte as it was received: only the picture is told of the jump. Equal times are no jump.
static void MarkBackwardJump(Request &Req) {
    if (UtcOf(Req.pTc->LocalUTC) >= UtcOf(Req.pTc->LastRetrivedUTC))
        return;
    TC_TRACE(DBG_LEVEL_INFO, "Discontinuity identified. Time jumped backward!\n");
    const unsigned nLock = Req.pTc->bGPSLocked == TRUE ? 0 : STATUS_NOT_LOCKED;
    SetStatusByte(Req.CurrentUTC, static_cast<BYTE>(nLock | STATUS_DISCONTINUITY | STATUS_REVERSE | STATUS_RESERVED));
}

static void HandOutUtc(Request &Req) {
    tc_private_t &Tc = *Req.pTc;
    TakeStatusFlags(Tc, StatusByteOf(Req.CurrentUTC));
    Tc.LocalUTC = Req.CurrentUTC;
    if (Req.Revision.bMarksBackwardJump)
        MarkBackwardJump(Req);
    Store(Req.pUTC, Req.CurrentUTC);
    Tc.tpLastGoodTime = Req.tpNow;
    Tc.bTimeSourceAlive = TRUE;
    Req.bKLVSourceOk = TRUE;
    Req.bRetCode = TRUE;
}

void UseQueuedUtc(Request &Req) {
    tc_private_t &Tc = *Req.pTc;
    if (FindMatch(Req) && Req.nPTSDiffTicks <= MATCH_LIMIT_TICKS)
        HandOutUtc(Req);
    if (Req.bRetCode == TRUE && ThrottlePasses(Tc.tLastOKRetrievalLogTime, Req.tCurrent, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_INFO,
                 Req.enTimecodeSource == TCSOURCE_LDS_TIMESTAMP ? Req.Revision.szLdsOk : Req.Revision.szHighPrecisionOk,
                 static_cast<unsigned long long>(UtcOf(Tc.LocalUTC)), Req.enTimecodeSource,
                 SourceName(Req.enTimecodeSource).Text());
}

static void TakeTimecode(Request &Req) {
    tc_private_t &Tc = *Req.pTc;
    Tc.LocalUTC = Req.CurrentUTC;
    if (Req.Revision.bHandsOutTimecodeRecord) {
        if (Req.pVitcRecord != nullptr)
            Store(Req.pVitcRecord, VitcOf(Req.CurrentUTC));
        Store(Req.pUTC, Req.CurrentUTC);
    }
    if (Req.Revision.bTimecodeIsGoodTime || Req.bTimeSourceSwitchAllowed == TRUE)
        Tc.tpLastGoodTime = Req.tpNow;
    Tc.bTimeDiscontinuity = Tc.bTimeSourceAlive == TRUE ? FALSE : TRUE;
    Tc.bTimeSourceAlive = TRUE;
    Tc.bGPSLocked = FALSE;
    Req.bANCSourceOk = TRUE;
    Req.bRetCode = TRUE;
}

static void TraceTooFar(const Request &Req) {
    TC_TRACE(DBG_LEVEL_INFO, Req.Revision.szTimecodeTooFar, static_cast<unsigned long long>(Req.nPTSDiffTicks),
             static_cast<long long>(TicksToMs(Req.nPTSDiffTicks)), MATCH_LIMIT_MS,
             static_cast<unsigned long long>(Req.UnchangedEncoderPTS64),
             static_cast<unsigned long long>(Req.CurrentUTC.nTimestamp64), Req.enTimecodeSource,
             SourceName(Req.enTimecodeSource).Text(),
             Req.ppRecordAddress == nullptr ? nullptr : Fetch(Req.ppRecordAddress));
}

void UseQueuedTimecode(Request &Req) {
    if (!FindMatch(Req))
        return;
    if (Req.nPTSDiffTicks <= MATCH_LIMIT_TICKS)
        TakeTimecode(Req);
    else
        TraceTooFar(Req);
    tc_private_t &Tc = *Req.pTc;
    if (Req.bRetCode != TRUE || !ThrottlePasses(Tc.tLastOKRetrievalLogTime, Req.tCurrent, TIMECODE_THROTTLE_SECONDS))
        return;
    const Hmsf Time = DigitsOf(VitcOf(Tc.LocalUTC));
    TC_TRACE(DBG_LEVEL_INFO, Req.Revision.szTimecodeOk, Req.enInputInterface, static_cast<int>(Time.nHours),
             static_cast<int>(Time.nMinutes), static_cast<int>(Time.nSeconds), static_cast<int>(Time.nFrames),
             Req.enTimecodeSource, SourceName(Req.enTimecodeSource).Text(),
             static_cast<unsigned long long>(Req.UnchangedEncoderPTS64),
             static_cast<unsigned long long>(Req.CurrentUTC.nTimestamp64));
}

void UseNoSource(const Request &Req) {
    SetFlagsNotAlive(*Req.pTc);
    if (ThrottlePasses(Req.pTc->tLastFailedRetrievalLogTime, Req.tCurrent, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_ERROR, Req.Revision.szUnknownSource, Req.enTimecodeSource);
}

void RememberHandedOut(const Request &Req) {
    tc_private_t &Tc = *Req.pTc;
    if (Req.bKLVSourceOk == TRUE) {
        Tc.LastRetrivedUTC.enTimecodeSource = Req.enTimecodeSource;
        Tc.LastRetrivedUTC.nTimestamp64 = Req.UnchangedEncoderPTS64;
        Tc.LastRetrivedUTC.tpInsertionTime = Tc.LocalUTC.tpInsertionTime;
        SetUtc(Tc.LastRetrivedUTC, UtcOf(Tc.LocalUTC));
        SetStatusByte(Tc.LastRetrivedUTC, StatusByteOf(Tc.LocalUTC));
    }
    if (Req.bANCSourceOk == TRUE) {
        SetVitc(Tc.LastRetrivedSMPTE12mTC, VitcOf(Tc.LocalUTC));
        Tc.LastRetrivedSMPTE12mTC.enTimecodeSource = Req.enTimecodeSource;
        Tc.LastRetrivedSMPTE12mTC.nTimestamp64 = Req.UnchangedEncoderPTS64;
        Tc.LastRetrivedSMPTE12mTC.tpInsertionTime = Tc.LocalUTC.tpInsertionTime;
    }
}

void TraceEnd(const Request &Req) {
    if (!TraceEnabled(DBG_LEVEL_DEBUG))
        return;
    const unsigned nStatusByte = StatusByteOf(Fetch(Req.pUTC));
    TC_TRACE(DBG_LEVEL_DEBUG, Req.Revision.szEnd, Req.enTimecodeSource, nStatusByte,
             (nStatusByte & STATUS_NOT_LOCKED) != 0 ? "FLYWHEEL" : "LOCKED",
             (nStatusByte & STATUS_DISCONTINUITY) != 0 ? "DISCONTINUITY" : "NORMAL",
             (nStatusByte & STATUS_REVERSE) != 0 ? "REVERSE" : "FORWARD");
}

} // namespace timecode
