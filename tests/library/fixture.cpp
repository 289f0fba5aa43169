// Stands in for the clock and the services that the library resolves by name, and records what it asks of them.
#include "fixture.h"

#include <dlfcn.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <regex>
#include <span>

#include "cfgfile_api.h"
#include "threadcheck.h"

constinit Services g_Services;

namespace {

constexpr INT64 FIRST_NOON_SEC = 1'700'049'600; // a noon, 2023-11-15
constexpr INT64 DAY_SEC = 86'400;
constexpr INT64 NSEC_PER_SEC = 1'000'000'000;
constexpr int UNTOUCHED = 0xA5;

INT64 g_llStartSec = FIRST_NOON_SEC;
std::mutex g_RecordMutex;
Texts g_Traces;
Texts g_Asserts;

void Record(Texts &Where, const std::string &sText) {
    const std::lock_guard Lock(g_RecordMutex);
    if (g_Services.bRecords)
        Where.push_back(sText);
}

Texts Take(Texts &From) {
    const std::lock_guard Lock(g_RecordMutex);
    return std::exchange(From, {});
}

std::string Formatted(const char *szFormat, va_list Arguments) {
    char szText[1024];
    vsnprintf(szText, sizeof(szText), szFormat, Arguments);
    return szText;
}

// Every report names a function, a source file of the library and a line.
bool IsPlace(const char *szFunction, const char *szFile, int nLine) {
    return szFunction && *szFunction && szFile && std::string(szFile).find('.') != std::string::npos && nLine > 0;
}

template <class T>
bool IsUntouched(const T &Object) {
    return std::ranges::count(std::as_bytes(std::span(&Object, 1)), std::byte{UNTOUCHED}) == sizeof(T);
}

template <class F>
F *Real(const char *szName) {
    return reinterpret_cast<F *>(dlsym(RTLD_NEXT, szName));
}

Answer Untouched(void *pCursor) {
    Answer Got;
    memset(static_cast<void *>(&Got), UNTOUCHED, sizeof(Got));
    Got.pCursor = pCursor;
    return Got;
}

} // namespace

extern "C" {

int clock_gettime(clockid_t nClock, struct timespec *ptpNow) noexcept {
    if (nClock != CLOCK_REALTIME)
        return static_cast<int>(syscall(SYS_clock_gettime, nClock, ptpNow));
    if (g_Services.bClockFails) {
        errno = EINVAL;
        return -1;
    }
    const INT64 nNsec = g_Services.nClockNsec;
    *ptpNow = {g_Services.nClockSec + nNsec / NSEC_PER_SEC, nNsec % NSEC_PER_SEC};
    return 0;
}

time_t time(time_t *ptNow) noexcept {
    const time_t tNow = g_Services.nClockSec + g_Services.nClockNsec / NSEC_PER_SEC;
    if (ptNow)
        *ptNow = tNow;
    return tNow;
}

struct tm *localtime_r(const time_t *ptTime, struct tm *pResult) noexcept {
    static const auto pReal = Real<struct tm *(const time_t *, struct tm *)>("localtime_r");
    return g_Services.bLocalTimeFails ? nullptr : pReal(ptTime, pResult);
}

BOOL _DoDbgInit(const char *szModule, HDBG *phDbg) {
    if (g_Services.bHandleStaysNull)
        return FALSE;
    const BOOL bOpened = Real<BOOL(const char *, HDBG *)>("_DoDbgInit")(szModule, phDbg);
    (*phDbg)->nMaxLevel = DBG_LEVEL_DEBUG;
    return bOpened;
}

void _DoDbgPrintEx(HDBG hDbg, int nLevel, const char *szFunction, const char *szFile, int nLine, const char *szFormat,
                   ...) {
    va_list Arguments;
    va_start(Arguments, szFormat);
    std::string sText = Formatted(szFormat, Arguments) + (IsPlace(szFunction, szFile, nLine) ? "" : " (no place)");
    va_end(Arguments);
    if (sText.ends_with('\n'))
        sText.pop_back();
    else
        sText += " (no line end)";
    Record(g_Traces, (nLevel > hDbg->nMaxLevel ? "untested level " : "") + std::to_string(nLevel) + " " + sText);
}

void _DoAssert(const char *szCondition, const char *szFunction, const char *szFile, int nLine) {
    Record(g_Asserts, IsPlace(szFunction, szFile, nLine) ? szCondition : "no place");
}

void _DoTextAssert(const char *szFunction, const char *szFile, int nLine, const char *szFormat, ...) {
    va_list Arguments;
    va_start(Arguments, szFormat);
    Record(g_Asserts, IsPlace(szFunction, szFile, nLine) ? Formatted(szFormat, Arguments) : "no place");
    va_end(Arguments);
}

void FastLinkAtStartD(FNODE_D *pNode, void *pvObject, FLIST_D *pList) {
    static const auto pReal = Real<void(FNODE_D *, void *, FLIST_D *)>("FastLinkAtStartD");
    if (g_Services.bWatchesLinks && ++g_Services.nLinking > 1)
        g_Services.bMetInList = true;
    if (!g_Services.bListLosesRecords)
        pReal(pNode, pvObject, pList);
    if (g_Services.bWatchesLinks) {
        sched_yield(); // lets another thread come in, if none keeps it out
        --g_Services.nLinking;
    }
}

void __SaveThreadState(const char *, const char *, int) {
    ++g_Services.nThreadStates;
}

BOOL CfgFile_GetIntValue(const char *szPath, const char *szSection, const char *szKey, int *pnValue, int nDefault) {
    Record(g_Asserts,
           std::string("settings ") + szPath + " " + szSection + " " + szKey + " " + std::to_string(nDefault));
    *pnValue = g_Services.nSettingsValue;
    return TRUE;
}

} // extern "C"

INT64 StartUsec() {
    return g_llStartSec * 1'000'000;
}

void StartDay(int enRevision) {
    TimecodeLib_Shutdown();
    setenv("TZ", "UTC0", 1);
    tzset();
    g_llStartSec += DAY_SEC;
    SetClockMs(0);
    TimecodeLib_Init(enRevision);
    TakeTraces();
    TakeAsserts();
}

LibraryTest::~LibraryTest() {
    for (auto *pFault : {&g_Services.bClockFails, &g_Services.bLocalTimeFails, &g_Services.bHandleStaysNull,
                         &g_Services.bListLosesRecords})
        *pFault = false;
    g_Services.nClockSec = 0;
    g_bThreadStateDebuggingEnabled = FALSE;
    TimecodeLib_Shutdown();
}

void SetClockMs(INT64 nMs) {
    g_Services.nClockNsec = g_llStartSec * NSEC_PER_SEC + nMs * 1'000'000;
}

Texts TakeTraces(int nMaxLevel) {
    Texts Traces = Take(g_Traces);
    std::erase_if(Traces, [nMaxLevel](const std::string &sText) { return sText[0] > '0' + nMaxLevel; });
    const std::chrono::year_month_day Today(std::chrono::sys_days(std::chrono::days(g_llStartSec / DAY_SEC)));
    const std::string sToday = std::to_string(int(Today.year())) + "-" + std::to_string(unsigned(Today.month())) + "-" +
                               std::to_string(unsigned(Today.day()));
    for (const auto &[sPattern, szName] :
         {std::pair(std::to_string(g_llStartSec), "NOON"), {sToday, "TODAY"}, {":0x[0-9a-f]{9,}", ":ADDRESS"}})
        for (auto &sText : Traces)
            sText = std::regex_replace(sText, std::regex(sPattern), szName);
    return Traces;
}

Texts TakeAsserts() {
    return Take(g_Asserts);
}

int CountTraces(const std::string &sStart) {
    const Texts Traces = TakeTraces();
    return static_cast<int>(
        std::ranges::count_if(Traces, [&](const auto &sText) { return sText.starts_with(sStart); }));
}

vitc_t Timecode(const char *szTimecode) {
    unsigned anParts[4] = {}; // from the frames up, as their digits lie in the record
    sscanf(szTimecode, "%u:%u:%u:%u", &anParts[3], &anParts[2], &anParts[1], &anParts[0]);
    vitc_t Vitc = {};
    for (size_t nPart = 0; nPart < 4; ++nPart) {
        auto *const pUnits = reinterpret_cast<unsigned char *>(&Vitc) + offsetof(vitc_t, FrameUnits) + 3 * nPart;
        pUnits[0] = static_cast<unsigned char>(anParts[nPart] % 10);
        pUnits[1] = static_cast<unsigned char>(anParts[nPart] / 10);
    }
    return Vitc;
}

std::string Text(const vitc_t &Vitc) {
    char szText[64];
    snprintf(szText, sizeof(szText), "%u%u:%u%u:%u%u:%u%u", Vitc.HourTens, Vitc.HourUnits, Vitc.MinuteTens,
             Vitc.MinuteUnits, Vitc.SecondTens, Vitc.SecondUnits, Vitc.FrameTens, Vitc.FrameUnits);
    return szText;
}

std::string Stats(int nInput) {
    TIMECODE_STATS Read = {};
    EXPECT_EQ(Timecode_GetStats(nInput, &Read), TRUE);
    return std::to_string(Read.enTimecodeSource) + "/" + std::to_string(Read.nTimeSourceSwitches);
}

BOOL Queue(int enSource, UINT64 nPts, const char *szPayload, int nInput) {
    TCPayload Payload = {};
    long long llUsec = 0;
    unsigned nStatus = 0;
    if (enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
        Payload.vitc = Timecode(szPayload);
    else if (sscanf(szPayload, "%lld %x", &llUsec, &nStatus) == 2)
        Payload.KLVTC = {static_cast<BYTE>(nStatus), StartUsec() + llUsec};
    return Timecode_SetUTC(nInput, enSource, nPts, &Payload);
}

Answer Ask(const Request &Asked, void *pCursor) {
    Answer Got = Untouched(pCursor);
    int enSource = Asked.enSource;
    Got.bResult =
        Timecode_GetUTC(Asked.nInput, &enSource, Asked.bSwitch, Asked.nRate, Asked.nCode, Asked.nPts, Asked.nBasePts,
                        StartUsec() + Asked.llBaseUsec, &Got.Utc, &Got.Vitc, &Got.bSame, &Got.pCursor);
    EXPECT_EQ(enSource, Asked.enSource) << "the configured source was written";
    return Got;
}

Answer AskSystem(const Request &Asked) {
    Answer Got = Untouched(nullptr);
    Got.bResult = Timecode_GetSystemUTC(Asked.nRate, Asked.nCode, Asked.nPts, Asked.nBasePts,
                                        StartUsec() + Asked.llBaseUsec, &Got.Utc, &Got.Vitc);
    return Got;
}

std::string Text(const Answer &Got) {
    char szUtc[128] = "-";
    const UTCPayload &Payload = Got.Utc.MotionImageryTimestamp.KLVTC;
    if (!IsUntouched(Got.Utc))
        snprintf(szUtc, sizeof(szUtc), "%lld %02x %llu %d", static_cast<long long>(Payload.llUTCTime - StartUsec()),
                 Payload.MISPStatusByte, static_cast<unsigned long long>(Got.Utc.nTimestamp64),
                 Got.Utc.enTimecodeSource);
    return std::to_string(Got.bResult) + " " + szUtc + " " + (IsUntouched(Got.Vitc) ? "-" : Text(Got.Vitc)) +
           (Got.bSame == TRUE ? " same" : "");
}

void Play(const std::vector<Step> &Pictures) {
    for (const auto &Picture : Pictures) {
        SetClockMs(Picture.nMs);
        if (Picture.enStamp)
            Queue(Picture.enStamp, Picture.nStampPts, Picture.szStamp, Picture.Asked.nInput);
        EXPECT_EQ(Text(Ask(Picture.Asked)), Picture.szExpected) << "picture at " << Picture.nMs << " ms";
        EXPECT_EQ(Stats(Picture.Asked.nInput), Picture.szStats) << "picture at " << Picture.nMs << " ms";
        EXPECT_EQ(TakeAsserts(), Texts{}) << "picture at " << Picture.nMs << " ms";
    }
}
