/* A platform's own services beneath libtimecode.so: messages go to the system log, settings come from the environment,
 * the calendar is the C library's. Everything that libtimecode.so imports is here, and nothing else; programs that call
 * further services need those too. How to put it in place: docs/porting.md.
 *
 * TIMECODE_TRACE_LEVEL is left to syslog's own filters: all messages up to DBG_LEVEL_NOTICE are handed on, the rest after
 * the application raises the handle's level. syslog() may block while the log's socket is full; a platform with
 * real-time threads puts a queue here. */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>
#include <time.h>

#include "cfgfile_api.h"
#include "clock_api.h"
#include "dbgtrace.h"
#include "flist_api.h"
#include "pts_api.h"
#include "strutil.h"
#include "threadcheck.h"

#define NSEC_PER_SECOND 1000000000L
#define USEC_PER_SECOND 1000000L

/* Trace and assertion reports. One handle serves all modules; syslog needs none. */

static DBG_RECORD g_tRecord;

XTYPES_EXPORT BOOL _DoDbgInit(const char *szModule, HDBG *phDbg) {
    (void)szModule;
    g_tRecord.nMaxLevel = DBG_LEVEL_NOTICE;
    openlog("timecode", LOG_PERROR, LOG_USER);
    *phDbg = &g_tRecord;
    return TRUE;
}

static void Log(int nLevel, const char *szFormat, va_list tArguments) {
    vsyslog(LOG_MAKEPRI(LOG_USER, nLevel), szFormat, tArguments);
}

XTYPES_EXPORT void _DoDbgPrintEx(HDBG hDbg, int nLevel, const char *szFunction, const char *szFile, int nLine,
                                 const char *szFormat, ...) {
    (void)hDbg, (void)szFunction, (void)szFile, (void)nLine;
    va_list tArguments;
    va_start(tArguments, szFormat);
    Log(nLevel, szFormat, tArguments);
    va_end(tArguments);
}

XTYPES_EXPORT void _DoDbgUninitEx(HDBG *phDbg, const char *szFunction, const char *szFile, int nLine) {
    (void)szFunction, (void)szFile, (void)nLine;
    *phDbg = NULL;
}

XTYPES_EXPORT void _DoAssert(const char *szCondition, const char *szFunction, const char *szFile, int nLine) {
    syslog(LOG_USER | LOG_ERR, "%s:%d %s: %s does not hold", szFile, nLine, szFunction, szCondition);
}

XTYPES_EXPORT void _DoTextAssert(const char *szFunction, const char *szFile, int nLine, const char *szFormat, ...) {
    (void)szFunction, (void)szFile, (void)nLine;
    va_list tArguments;
    va_start(tArguments, szFormat);
    Log(LOG_ERR, szFormat, tArguments);
    va_end(tArguments);
}

/* Thread states: this platform looks at stuck threads with a debugger. */

XTYPES_EXPORT BOOL g_bThreadStateDebuggingEnabled = FALSE;

XTYPES_EXPORT void __SaveThreadState(const char *szFunction, const char *szFile, int nLine) {
    static _Thread_local struct {
        const char *szFunction;
        const char *szFile;
        int nLine;
    } tLastPosition;
    tLastPosition.szFunction = szFunction;
    tLastPosition.szFile = szFile;
    tLastPosition.nLine = nLine;
    __asm__ volatile("" : : "r"(&tLastPosition) : "memory"); /* for the debugger's eyes */
}

/* List. */

XTYPES_EXPORT void FastListInitD(FLIST_D *pList) {
    memset(pList, 0, sizeof *pList);
}

XTYPES_EXPORT void FastLinkAtStartD(FNODE_D *pNode, void *pvObject, FLIST_D *pList) {
    pNode->pvObject = pvObject;
    pNode->pList = pList;
    pNode->pPrev = NULL;
    pNode->pNext = pList->pHead;
    if (pList->pHead != NULL)
        pList->pHead->pPrev = pNode;
    else
        pList->pTail = pNode;
    pList->pHead = pNode;
    pList->nNumOfEntries++;
}

XTYPES_EXPORT void FastUnlinkD(FNODE_D *pNode) {
    FLIST_D *pList = pNode->pList;
    if (pList == NULL)
        return;
    if (pNode->pPrev != NULL)
        pNode->pPrev->pNext = pNode->pNext;
    else
        pList->pHead = pNode->pNext;
    if (pNode->pNext != NULL)
        pNode->pNext->pPrev = pNode->pPrev;
    else
        pList->pTail = pNode->pPrev;
    pNode->pNext = pNode->pPrev = NULL;
    pNode->pList = NULL;
    pList->nNumOfEntries--;
}

/* Clock and calendar, for the years that the C library's calendar holds. */

static int ToUsec(time_t tSecond, INT64 llMicroseconds, INT64 *pllUTC) {
    INT64 llUTC;
    if (__builtin_mul_overflow(tSecond, USEC_PER_SECOND, &llUTC) ||
        __builtin_add_overflow(llUTC, llMicroseconds, &llUTC))
        return CLOCK_ERROR_FIELD_RANGE;
    *pllUTC = llUTC;
    return CLOCK_OK;
}

XTYPES_EXPORT INT64 ClockGetUtc(void) {
    struct timespec tpNow;
    INT64 llUTC = -1;
    if (clock_gettime(CLOCK_REALTIME, &tpNow) == 0)
        ToUsec(tpNow.tv_sec, tpNow.tv_nsec / 1000, &llUTC);
    return llUTC;
}

XTYPES_EXPORT int ClockCvtUtc2DateTime(INT64 llUTC, date_time_t *pDateTime) {
    INT64 llMicroseconds = llUTC % USEC_PER_SECOND;
    time_t tSecond = llUTC / USEC_PER_SECOND;
    struct tm tDate;
    if (llMicroseconds < 0) {
        llMicroseconds += USEC_PER_SECOND;
        tSecond--;
    }
    gmtime_r(&tSecond, &tDate);
    pDateTime->year = tDate.tm_year + 1900;
    pDateTime->month = tDate.tm_mon + 1;
    pDateTime->dayOfMonth = tDate.tm_mday;
    pDateTime->hour = tDate.tm_hour;
    pDateTime->min = tDate.tm_min;
    pDateTime->sec = tDate.tm_sec;
    pDateTime->microsec = (int)llMicroseconds;
    return CLOCK_OK;
}

XTYPES_EXPORT int ClockCvtDateTime2Utc(const date_time_t *pDateTime, INT64 *pllUTC) {
    if (pDateTime->year < 0 || pDateTime->month < 1 || pDateTime->month > 12)
        return CLOCK_ERROR_FIELD_RANGE;
    struct tm tDate = {.tm_year = pDateTime->year - 1900,
                       .tm_mon = pDateTime->month - 1,
                       .tm_mday = pDateTime->dayOfMonth,
                       .tm_hour = pDateTime->hour,
                       .tm_min = pDateTime->min,
                       .tm_sec = pDateTime->sec};
    /* timegm() carries over what is out of range, and then the date is not the one asked for. */
    const time_t tSecond = timegm(&tDate);
    if (tDate.tm_mday != pDateTime->dayOfMonth || tDate.tm_hour != pDateTime->hour || tDate.tm_min != pDateTime->min ||
        tDate.tm_sec != pDateTime->sec)
        return CLOCK_ERROR_FIELD_RANGE;
    return ToUsec(tSecond, pDateTime->microsec, pllUTC);
}

XTYPES_EXPORT int ClockCvtUtc2Time(INT64 llUTC, date_time_t *pDateTime) {
    return ClockCvtUtc2DateTime(llUTC, pDateTime);
}

/* Time-stamp arithmetic. */

static INT64 DiffTicks(UINT64 nFirst, UINT64 nSecond) {
    const INT64 nWrap = INT64_C(1) << 33;
    const INT64 nHour = INT64_C(90000) * 3600;
    const INT64 nDiff = (INT64)(nSecond - nFirst);
    if (nFirst >= (UINT64)nWrap || nSecond >= (UINT64)nWrap)
        return nDiff;
    return nDiff <= nHour - nWrap ? nDiff + nWrap : nDiff >= nWrap - nHour ? nDiff - nWrap : nDiff;
}

XTYPES_EXPORT INT64 CalcPTSDiff(UINT64 nFirstPTS64, UINT64 nSecondPTS64) {
    return DiffTicks(nFirstPTS64, nSecondPTS64);
}

XTYPES_EXPORT INT64 CalcPTSDiffEx(UINT64 nFirstPTS64, UINT64 nSecondPTS64) {
    return DiffTicks(nFirstPTS64, nSecondPTS64);
}

XTYPES_EXPORT void CalcTimeSpecAbsDiff(const struct timespec *ptpFirst, const struct timespec *ptpSecond,
                                       struct timespec *ptpDiff) {
    const int bInOrder = ptpFirst->tv_sec < ptpSecond->tv_sec ||
                         (ptpFirst->tv_sec == ptpSecond->tv_sec && ptpFirst->tv_nsec <= ptpSecond->tv_nsec);
    const struct timespec tpEarly = bInOrder ? *ptpFirst : *ptpSecond;
    const struct timespec tpLate = bInOrder ? *ptpSecond : *ptpFirst;
    const int bBorrow = tpLate.tv_nsec < tpEarly.tv_nsec;
    ptpDiff->tv_nsec = tpLate.tv_nsec - tpEarly.tv_nsec + (bBorrow ? NSEC_PER_SECOND : 0);
    if (__builtin_sub_overflow(tpLate.tv_sec, tpEarly.tv_sec, &ptpDiff->tv_sec))
        ptpDiff->tv_sec = INT64_MAX;
    else
        ptpDiff->tv_sec -= bBorrow;
}

/* Settings: the environment variable SECTION_KEY stands for a key of a section, whatever the file. */

XTYPES_EXPORT BOOL CfgFile_GetIntValue(const char *szPath, const char *szSection, const char *szKey, int *pnValue,
                                       int nDefault) {
    (void)szPath;
    char szName[128];
    snprintf(szName, sizeof szName, "%s_%s", szSection, szKey);
    const char *szValue = getenv(szName); // NOLINT(concurrency-mt-unsafe): read at start-up, before there are threads
    *pnValue = szValue != NULL ? (int)strtol(szValue, NULL, 10) : nDefault;
    return szValue != NULL;
}

XTYPES_EXPORT BOOL CopyString(char *szDestination, const char *szSource, UINT64 nSize) {
    if ((INT64)nSize <= 0)
        return FALSE;
    return snprintf(szDestination, nSize, "%s", szSource) < (int)nSize;
}
