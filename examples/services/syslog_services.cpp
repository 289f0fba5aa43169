// A platform's own services beneath libtimecode.so: messages go to the system log, settings come from the environment,
// the calendar is the C library's. Everything that libtimecode.so imports is here, and nothing else; programs that call
// further services need those too, as by preloading. How to put it in place: docs/porting.md.
//
// TIMECODE_TRACE_LEVEL is left to syslog's own filters: all messages up to DBG_LEVEL_NOTICE are handed on, the rest
// after the application raises the handle's level. syslog() may block while the log's socket is full; a platform with
// real-time threads puts a queue here.
#include <charconv>
#include <cstdarg>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <pthread.h>
#include <string>
#include <string_view>
#include <syslog.h>

#include "cfgfile_api.h"
#include "clock_api.h"
#include "dbgtrace.h"
#include "flist_api.h"
#include "pts_api.h"
#include "strutil.h"
#include "threadcheck.h"

namespace {

// Holds the sum and the difference of any two instants.
__extension__ typedef __int128 WideInteger;

constexpr long NSEC_PER_SECOND = 1'000'000'000;
constexpr INT64 USEC_PER_SECOND = 1'000'000;

// Trace and assertion reports. One handle serves all modules; syslog needs none.

DBG_RECORD g_Record;

// The library reports while it holds a mutex: a thread that is cancelled must not end inside syslog() and leave it
// locked.
class CancelGuard {
public:
    CancelGuard() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_nBefore); }
    ~CancelGuard() { pthread_setcancelstate(m_nBefore, nullptr); }
    CancelGuard(const CancelGuard &) = delete;
    CancelGuard &operator=(const CancelGuard &) = delete;

private:
    int m_nBefore = PTHREAD_CANCEL_ENABLE;
};

} // namespace

BOOL _DoDbgInit(const char * /*szModule*/, HDBG *phDbg) {
    if (phDbg == nullptr)
        return FALSE;
    DbgSetMaxLevel(&g_Record, DBG_LEVEL_NOTICE);
    openlog("timecode", LOG_PERROR, LOG_USER);
    *phDbg = &g_Record;
    return TRUE;
}

void _DoDbgPrintEx(HDBG /*hDbg*/, int nLevel, const char * /*szFunction*/, const char * /*szFile*/, int /*nLine*/,
                   const char *szFormat, ...) {
    const CancelGuard Guard;
    va_list Arguments;
    va_start(Arguments, szFormat);
    vsyslog(LOG_MAKEPRI(LOG_USER, nLevel), szFormat, Arguments);
    va_end(Arguments);
}

void _DoDbgUninitEx(HDBG *phDbg, const char * /*szFunction*/, const char * /*szFile*/, int /*nLine*/) {
    if (phDbg != nullptr)
        *phDbg = nullptr;
}

void _DoAssert(const char *szCondition, const char *szFunction, const char *szFile, int nLine) {
    const CancelGuard Guard;
    syslog(LOG_USER | LOG_ERR, "%s:%d %s: %s does not hold", szFile, nLine, szFunction, szCondition);
}

void _DoTextAssert(const char * /*szFunction*/, const char * /*szFile*/, int /*nLine*/, const char *szFormat, ...) {
    const CancelGuard Guard;
    va_list Arguments;
    va_start(Arguments, szFormat);
    vsyslog(LOG_USER | LOG_ERR, szFormat, Arguments);
    va_end(Arguments);
}

// Thread states: this platform looks at stuck threads with a debugger.

BOOL g_bThreadStateDebuggingEnabled = FALSE;

namespace {

// What the debugger looks at. The positions' texts live as long as the library that recorded them.
struct Position {
    const char *szFunction;
    const char *szFile;
    int nLine;
};
thread_local volatile Position g_LastPosition;

} // namespace

void __SaveThreadState(const char *szFunction, const char *szFile, int nLine) {
    g_LastPosition.szFunction = szFunction;
    g_LastPosition.szFile = szFile;
    g_LastPosition.nLine = nLine;
}

// List.

namespace {

constexpr DWORD INITIALISED = 1;

bool IsUsable(const FLIST_D *pList) {
    return pList != nullptr && pList->dwSignature == INITIALISED;
}

} // namespace

void FastListInitD(FLIST_D *pList) {
    if (pList != nullptr)
        *pList = {INITIALISED, 0, 0, 0, nullptr, nullptr};
}

void FastLinkAtStartD(FNODE_D *pNode, void *pvObject, FLIST_D *pList) {
    if (pNode == nullptr || !IsUsable(pList))
        return;
    FNODE_D *const pNext = pList->pHead;
    *pNode = {pNext, nullptr, pList, pNode->nReference, pvObject};
    if (pNext != nullptr)
        pNext->pPrev = pNode;
    else
        pList->pTail = pNode;
    pList->pHead = pNode;
    pList->nNumOfEntries++;
}

void FastUnlinkD(FNODE_D *pNode) {
    if (pNode == nullptr || pNode->pList == nullptr)
        return;
    FLIST_D &List = *pNode->pList;
    if (pNode->pPrev != nullptr)
        pNode->pPrev->pNext = pNode->pNext;
    else
        List.pHead = pNode->pNext;
    if (pNode->pNext != nullptr)
        pNode->pNext->pPrev = pNode->pPrev;
    else
        List.pTail = pNode->pPrev;
    List.nNumOfEntries--;
    *pNode = {nullptr, nullptr, nullptr, pNode->nReference, pNode->pvObject};
}

// Clock and calendar.

namespace {

int ToUsec(time_t tSecond, INT64 llMicroseconds, INT64 *pllUTC) {
    const WideInteger nUsec = static_cast<WideInteger>(tSecond) * USEC_PER_SECOND + llMicroseconds;
    if (nUsec != static_cast<INT64>(nUsec))
        return CLOCK_ERROR_FIELD_RANGE;
    *pllUTC = static_cast<INT64>(nUsec);
    return CLOCK_OK;
}

} // namespace

INT64 ClockGetUtc(void) {
    timespec tpNow{};
    INT64 llUTC = -1;
    if (clock_gettime(CLOCK_REALTIME, &tpNow) == 0)
        ToUsec(tpNow.tv_sec, tpNow.tv_nsec / 1000, &llUTC);
    return llUTC;
}

int ClockCvtUtc2DateTime(INT64 llUTC, date_time_t *pDateTime) {
    if (pDateTime == nullptr)
        return CLOCK_ERROR_NULL;
    INT64 llMicroseconds = llUTC % USEC_PER_SECOND;
    time_t tSecond = llUTC / USEC_PER_SECOND;
    if (llMicroseconds < 0) {
        llMicroseconds += USEC_PER_SECOND;
        tSecond--;
    }
    tm Date{};
    gmtime_r(&tSecond, &Date);
    *pDateTime = {Date.tm_year + 1900,
                  Date.tm_mon + 1,
                  Date.tm_mday,
                  Date.tm_hour,
                  Date.tm_min,
                  Date.tm_sec,
                  static_cast<int>(llMicroseconds)};
    return CLOCK_OK;
}

int ClockCvtDateTime2Utc(const date_time_t *pDateTime, INT64 *pllUTC) {
    if (pDateTime == nullptr || pllUTC == nullptr)
        return CLOCK_ERROR_NULL;
    tm Date{};
    if (pDateTime->month < 1 || pDateTime->month > 12 || pDateTime->microsec < 0 ||
        pDateTime->microsec >= USEC_PER_SECOND || __builtin_sub_overflow(pDateTime->year, 1900, &Date.tm_year))
        return CLOCK_ERROR_FIELD_RANGE;
    Date.tm_mon = pDateTime->month - 1;
    Date.tm_mday = pDateTime->dayOfMonth;
    Date.tm_hour = pDateTime->hour;
    Date.tm_min = pDateTime->min;
    Date.tm_sec = pDateTime->sec;
    // timegm() moves what is out of range into the next unit, and then the date is not the one asked for.
    const time_t tSecond = timegm(&Date);
    if (Date.tm_mday != pDateTime->dayOfMonth || Date.tm_hour != pDateTime->hour || Date.tm_min != pDateTime->min ||
        Date.tm_sec != pDateTime->sec)
        return CLOCK_ERROR_FIELD_RANGE;
    return ToUsec(tSecond, pDateTime->microsec, pllUTC);
}

int ClockCvtUtc2Time(INT64 llUTC, date_time_t *pDateTime) {
    return ClockCvtUtc2DateTime(llUTC, pDateTime);
}

// Time-stamp arithmetic.

namespace {

INT64 DiffTicks(UINT64 nFirst, UINT64 nSecond) {
    constexpr INT64 WRAP = INT64{1} << 33;
    constexpr INT64 MINUTE = INT64{90'000} * 60;
    const auto nDiff = static_cast<INT64>(nSecond - nFirst);
    if (nFirst >= static_cast<UINT64>(WRAP) || nSecond >= static_cast<UINT64>(WRAP))
        return nDiff;
    if (nDiff < -(WRAP / 2))
        return nDiff + WRAP;
    return nDiff >= WRAP - MINUTE ? nDiff - WRAP : nDiff;
}

} // namespace

INT64 CalcPTSDiff(UINT64 nFirstPTS64, UINT64 nSecondPTS64) {
    return DiffTicks(nFirstPTS64, nSecondPTS64);
}

INT64 CalcPTSDiffEx(UINT64 nFirstPTS64, UINT64 nSecondPTS64) {
    return DiffTicks(nFirstPTS64, nSecondPTS64);
}

void CalcTimeSpecAbsDiff(const timespec *ptpFirst, const timespec *ptpSecond, timespec *ptpDiff) {
    if (ptpFirst == nullptr || ptpSecond == nullptr || ptpDiff == nullptr)
        return;
    WideInteger nNsec = static_cast<WideInteger>(ptpSecond->tv_sec) * NSEC_PER_SECOND + ptpSecond->tv_nsec -
                        static_cast<WideInteger>(ptpFirst->tv_sec) * NSEC_PER_SECOND - ptpFirst->tv_nsec;
    nNsec = nNsec < 0 ? -nNsec : nNsec;
    constexpr time_t LAST = std::numeric_limits<time_t>::max();
    if (nNsec / NSEC_PER_SECOND > LAST)
        *ptpDiff = {LAST, NSEC_PER_SECOND - 1};
    else
        *ptpDiff = {static_cast<time_t>(nNsec / NSEC_PER_SECOND), static_cast<long>(nNsec % NSEC_PER_SECOND)};
}

// Settings: the environment variable SECTION_KEY stands for a key of a section, whatever the file.

BOOL CfgFile_GetIntValue(const char * /*szPath*/, const char *szSection, const char *szKey, int *pnValue,
                         int nDefault) {
    if (pnValue == nullptr)
        return FALSE;
    *pnValue = nDefault;
    if (szSection == nullptr || szKey == nullptr)
        return FALSE;
    const std::string szName = std::string(szSection) + "_" + szKey;
    const char *const szValue = getenv(szName.c_str()); // NOLINT(concurrency-mt-unsafe): read before there are threads
    if (szValue == nullptr)
        return FALSE;
    const std::string_view szText = szValue;
    int nValue = 0;
    const auto [pStop, enError] = std::from_chars(szText.begin(), szText.end(), nValue);
    if (enError != std::errc{} || pStop != szText.end()) {
        syslog(LOG_USER | LOG_WARNING, "%s is no integer within the range of int: %d is taken", szName.c_str(),
               nDefault);
        return FALSE;
    }
    *pnValue = nValue;
    return TRUE;
}

BOOL CopyString(char *szDestination, const char *szSource, UINT64 nSize) {
    if (szDestination == nullptr || static_cast<INT64>(nSize) <= 0)
        return FALSE;
    const std::string_view szText = szSource != nullptr ? szSource : "";
    const size_t nCopied = szText.copy(szDestination, nSize - 1);
    szDestination[nCopied] = '\0';
    return nCopied == szText.size() ? TRUE : FALSE;
}
