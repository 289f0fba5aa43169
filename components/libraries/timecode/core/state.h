// The library's state: the four inputs with their pools, system-time retrieval, and the chosen revision.
// UTCListMutex guards an input's list, records and retrieval fields; what is marked shared is touched without it.
#ifndef TIMECODE_CORE_STATE_H
#define TIMECODE_CORE_STATE_H

#include <cstddef>
#include <ctime>
#include <pthread.h>

#include "core/trace.h"
#include "timecode.h"

namespace timecode {

constexpr size_t RECORDS_PER_INPUT = 180;

// The status byte before any time is known: not locked, discontinuity.
constexpr BYTE INITIAL_STATUS_BYTE = 0xDF;

// The state of one input.
typedef struct tc_private_s {
    timespec tpOldTime;              // instant of the previous request
    timespec tpLastGoodTime;         // when the source in use last delivered, or was switched to
    MISP_UTC LocalUTC;               // the record last matched, or the time carried forward
    MISP_UTC LastRetrivedUTC;        // the last UTC record handed out
    MISP_UTC LastRetrivedSMPTE12mTC; // the last timecode record handed out
    BOOL bTimeSourceAlive;           // the source in use delivers
    BOOL bTimeDiscontinuity;         // a discontinuity is to be signalled
    BOOL bGPSLocked;                 // the time is locked to its reference
    int enLastTimecodeSource;        // the source in use; shared
    time_t tLastLogTime;             // throttles of the request's messages
    time_t tLastOKRetrievalLogTime;
    time_t tLastFailedRetrievalLogTime;
    time_t tCurrentSourceLogTime;
    timespec tpSourceGoodTimeArray[4]; // per source value - 1: first sighting while recovery is pending
    BOOL bSourceOkArray[4];            // same index: recovery pending
    FLIST_D UTCList;                   // all records of the pool, the one written last at the head
    pthread_mutex_t UTCListMutex;      // recursive
    MISP_UTC UTCTimeStamp[RECORDS_PER_INPUT];
    UINT64 nTimeSourceSwitches; // shared
    time_t tLastFlushTime;      // shared
    BOOL bForgetLastUTC;        // the next request is to set the UTC of LastRetrivedUTC to 0 first; shared
} tc_private_t;

// State of system-time retrieval.
typedef struct tagTC_SYSTEM_TIME {
    MISP_UTC LastRetrivedSystemUTC; // the last record made; its UTC is shared
    pthread_mutex_t Lock;           // recursive; taken after an input's mutex, never before
} TC_SYSTEM_TIME;

extern tc_private_t _tcInfo[NUM_VIDEO_INPUTS];
extern TC_SYSTEM_TIME _SystemTcInfo;
extern BOOL _g_bTCLibInitialized;
extern int _g_enMISPRevision;

inline bool IsInput(int enInputInterface) {
    return enInputInterface >= 0 && enInputInterface < NUM_VIDEO_INPUTS;
}

// Traces a call that comes before start-up or after shut-down. Says whether the call can go on.
inline bool IsInitialised(const Position &Here) {
    if (_g_bTCLibInitialized == TRUE)
        return true;
    if (TraceEnabled(DBG_LEVEL_ERROR))
        _DoDbgPrintEx(g_hTCLibDbg, DBG_LEVEL_ERROR, Here.szFunction, Here.szFile, Here.nLine,
                      "Library is not initialized!\n");
    return false;
}

// Reports a revision that the library cannot run under.
inline void ReportUnsupported(int enMISPRevision, const Position &Here) {
    _DoTextAssert(Here.szFunction, Here.szFile, Here.nLine, "MISPRevision:%d NOT supported", enMISPRevision);
}

// Reports an input outside 0 to 3; the report names the limit that is violated.
inline bool AssertInput(int enInputInterface, const Position &Here) {
    return Verify(enInputInterface < NUM_VIDEO_INPUTS, "enInputInterface < NUM_VIDEO_INPUTS", Here) &&
           Verify(enInputInterface >= 0, "enInputInterface >= 0", Here);
}

void _Timecode_InternalInit();
BOOL _LocateTCInfoByInputInterface(int enInputInterface, tc_private_t **ppTcInfo);

} // namespace timecode

#endif
