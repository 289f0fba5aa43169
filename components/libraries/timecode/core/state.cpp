// Laying out the state at start-up, and finding an input's part of it.
#include "core/state.h"

#include <cstring>

#include "clock_api.h"
#include "core/clock.h"
#include "core/lock.h"
#include "core/record.h"
#include "core/trace.h"

HDBG g_hTCLibDbg;

namespace timecode {

tc_private_t _tcInfo[NUM_VIDEO_INPUTS];
TC_SYSTEM_TIME _SystemTcInfo;
BOOL _g_bTCLibInitialized;
int _g_enMISPRevision;

namespace {

void InitRecursiveMutex(pthread_mutex_t &Mutex) {
    pthread_mutexattr_t Attributes;
    pthread_mutexattr_init(&Attributes);
    pthread_mutexattr_settype(&Attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&Mutex, &Attributes);
    pthread_mutexattr_destroy(&Attributes);
}

void LayOutPool(tc_private_t &Tc, const timespec &tpNow) {
    TC_LOCK(ListLock, Tc.UTCListMutex);
    FastListInitD(&Tc.UTCList);
    for (MISP_UTC &Record : Tc.UTCTimeStamp) {
        Record.tpInsertionTime = tpNow;
        FastLinkAtStartD(&Record.DNode, &Record, &Tc.UTCList);
    }
}

// The input's state is all zero before; only fields that start with another value are set.
void LayOutInput(tc_private_t &Tc, const timespec &tpNow) {
    Tc.bTimeDiscontinuity = TRUE;
    Tc.enLastTimecodeSource = TCSOURCE_NOT_CHOSEN;
    SetUtc(Tc.LocalUTC, ClockGetUtc());
    SetStatusByte(Tc.LocalUTC, INITIAL_STATUS_BYTE);
    Tc.LastRetrivedUTC = Tc.LocalUTC;
    InitRecursiveMutex(Tc.UTCListMutex);
    LayOutPool(Tc, tpNow);
}

} // namespace

void _Timecode_InternalInit() {
    const timespec tpNow = ReadInstant(TC_HERE);
    // Loads the time zone here, so that no request has to open its file.
    tzset();
    std::memset(static_cast<void *>(_tcInfo), 0, sizeof _tcInfo);
    for (tc_private_t &Tc : _tcInfo)
        LayOutInput(Tc, tpNow);
    std::memset(static_cast<void *>(&_SystemTcInfo), 0, sizeof _SystemTcInfo);
    InitRecursiveMutex(_SystemTcInfo.Lock);
    SetStatusByte(_SystemTcInfo.LastRetrivedSystemUTC, INITIAL_STATUS_BYTE);
}

BOOL _LocateTCInfoByInputInterface(int enInputInterface, tc_private_t **ppTcInfo) {
    SaveThreadState(TC_HERE);
    const bool bFound = TC_ASSERT(ppTcInfo != NULL) && IsInput(enInputInterface);
    if (bFound) {
        *ppTcInfo = &_tcInfo[enInputInterface];
        TC_TRACE(DBG_LEVEL_DEBUG, "Successfully located Timecode info with input interface:%d.\n", enInputInterface);
    } else {
        TC_TRACE(DBG_LEVEL_ERROR, "Couldn't locate Timecode info with enInputInterface:%d.\n", enInputInterface);
        if (ppTcInfo != nullptr)
            *ppTcInfo = nullptr;
    }
    SaveThreadState(TC_HERE);
    return bFound ? TRUE : FALSE;
}

} // namespace timecode
