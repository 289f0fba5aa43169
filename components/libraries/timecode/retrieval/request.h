// A request: one picture's question, and the steps that both MISP revisions take to answer it. Every step but the end
// trace runs under the input's mutex.
#ifndef TIMECODE_RETRIEVAL_REQUEST_H
#define TIMECODE_RETRIEVAL_REQUEST_H

#include <ctime>

#include "core/state.h"
#include "timecode.h"

namespace timecode {

// A queued record serves a picture up to this PTS distance, just under 4 ms.
constexpr UINT64 MATCH_LIMIT_TICKS = 359;
constexpr int MATCH_LIMIT_MS = 3;

// It is made with what both revisions set at once; only the rest has defaults. To clear all of it first would take a
// twentieth of a request.
struct Request {
    Request(int enInput, UINT64 EncoderPTS64, MISP_UTC *pRecord, vitc_t *pVitc, void **ppCursor, time_t tNow)
        : enInputInterface(enInput), UnchangedEncoderPTS64(EncoderPTS64), pUTC(pRecord), pVitcRecord(pVitc),
          ppRecordAddress(ppCursor), Tc(_tcInfo[enInput]), tCurrent(tNow) {}

    bool bProfile62 = false; // under MISP_PROFILE_62, else under MISP_PROFILE_2016_2
    // Arguments, as Timecode_GetUTC has them. Switching, rates and base take part under Profile 62 only.
    int enInputInterface;
    BOOL bTimeSourceSwitchAllowed = FALSE;
    int nEncodedFrameRate = 0;
    int nVUIFrameRate = 0;
    UINT64 UnchangedEncoderPTS64;
    UINT64 TCBasePTS64 = 0;
    INT64 llTCBaseUTC64 = 0;
    MISP_UTC *pUTC;
    vitc_t *pVitcRecord;
    void **ppRecordAddress;
    // The input and the moment.
    tc_private_t &Tc;
    time_t tCurrent; // drives every throttle of the request
    timespec tpNow{};
    // What the steps decide.
    int enTimecodeSource = TCSOURCE_NONE; // the source used for this picture; failover moves it on
    BOOL bSameTSRecord = FALSE;           // as the search found
};

// What a source gave the picture.
enum class Outcome {
    NoTime,
    Time,      // record and timecode, as far as the revision hands them out
    NoTimecode // a record, but its timecode could not be formed: the request ends without its closing step
};

// The absolute PTS distance from a record of the past to the picture.
UINT64 TicksToPicture(const Request &Req, const MISP_UTC &Record);

// Does what Timecode_ResetStats asked for. First step under the lock.
void ApplyPendingReset(tc_private_t &Tc);

// Hands out the queued record of the request's KLV-borne source when it lies near enough. Returns it, where it lies in
// the pool, or null.
const MISP_UTC *UseQueuedUtc(Request &Req);

// Takes the queued timecode when it lies near enough. Returns its record, where it lies in the pool, or null.
const MISP_UTC *UseQueuedTimecode(Request &Req);

// A source that gives no time.
void UseNoSource(const Request &Req);

// Remember the record that was used, under the source and the PTS of the picture.
void RememberUtc(const Request &Req, const MISP_UTC &Used);
void RememberTimecode(const Request &Req, const MISP_UTC &Used);

// The end-of-function message, decoding the status byte that the caller now has. After the unlock.
void TraceEnd(const Request &Req);

} // namespace timecode

#endif
