// A request: one picture's question, with its arguments, its working values, and the steps that both MISP revisions
// take. Every step but the end trace runs under the input's mutex.
#pragma once

#include <ctime>

#include "core/state.h"
#include "timecode.h"

namespace timecode {

// A queued record serves a picture up to this PTS distance, just under 4 ms.
constexpr UINT64 MATCH_LIMIT_TICKS = 359;
constexpr int MATCH_LIMIT_MS = 3;

// Most messages pass at most once in 5 seconds, those of timecode once a second.
constexpr time_t USUAL_THROTTLE_SECONDS = 4;
constexpr time_t TIMECODE_THROTTLE_SECONDS = 0;

// What the two revisions do and say differently.
struct RevisionRow {
    bool bTimecodeIsGoodTime;     // a timecode used refreshes the last good time also without switching
    bool bHandsOutTimecodeRecord; // a timecode used goes out as it was stored
    bool bMarksBackwardJump;      // a UTC that went back gets its status byte replaced
    const char *szHighPrecisionOk;
    const char *szLdsOk;
    const char *szTimecodeOk;
    const char *szTimecodeTooFar;
    const char *szUnknownSource;
    const char *szEnd;
};

extern const RevisionRow PROFILE_62_ROW;
extern const RevisionRow PROFILE_20162_ROW;

struct Request {
    const RevisionRow &Revision;
    // Arguments, as Timecode_GetUTC has them.
    int enInputInterface = 0;
    BOOL bTimeSourceSwitchAllowed = FALSE;
    int nEncodedFrameRate = 0;
    int nVUIFrameRate = 0;
    UINT64 UnchangedEncoderPTS64 = 0;
    UINT64 TCBasePTS64 = 0;
    INT64 llTCBaseUTC64 = 0;
    MISP_UTC *pUTC = nullptr;
    vitc_t *pVitcRecord = nullptr;
    void **ppRecordAddress = nullptr;
    // Working values.
    tc_private_t *pTc = nullptr;
    int enTimecodeSource = TCSOURCE_NONE; // the source used for this picture; failover may change it
    time_t tCurrent = 0;                  // drives every throttle of the request
    timespec tpNow{};
    timespec tpNanosecTdiff{}; // by how much a silent source is carried forward
    timespec tpGoodInterval{}; // time since the last good time stamp
    MISP_UTC CurrentUTC{};     // the record found in the queue
    UINT64 nPTSDiffTicks = 0;  // its distance from the picture
    BOOL bSameTSRecord = FALSE;
    BOOL bRetCode = FALSE;
    BOOL bKLVSourceOk = FALSE; // a KLV-borne record was used directly
    BOOL bANCSourceOk = FALSE; // a timecode record was used directly
};

// The absolute PTS distance from a record of the past to the picture.
UINT64 TicksToPicture(const Request &Req, const MISP_UTC &Record);

// Carries out what Timecode_ResetStats asked for. First step under the lock.
void TakePendingReset(tc_private_t &Tc);

// Says which source is in use.
void AnnounceSource(const Request &Req);

// Searches the queue for the source of the request. TRUE: CurrentUTC and nPTSDiffTicks are set.
bool FindMatch(Request &Req);

// Hands out the queued record of a KLV-borne source when it lies near enough.
void UseQueuedUtc(Request &Req);

// Takes the queued timecode when it lies near enough.
void UseQueuedTimecode(Request &Req);

// A source that gives no time.
void UseNoSource(const Request &Req);

// Remembers what was handed out directly, under the source that the request ends with.
void RememberHandedOut(const Request &Req);

// The end-of-function message, decoding the status byte that the caller now has. After the unlock.
void TraceEnd(const Request &Req);

} // namespace timecode
