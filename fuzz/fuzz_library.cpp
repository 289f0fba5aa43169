// Bytes become a sequence of calls with extreme arguments under a moving clock, start-up and shut-down among them.
// After every call the library's state must be sound, what it handed out must have been handed in or follow from it, and
// what it must leave alone must be as it was.
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <limits>
#include <utility>

#include "calls.h"
#include "cfgfile_api.h"
#include "core/record.h"
#include "core/state.h"
#include "core/units.h"
#include "pts_api.h"
#include "retrieval/request.h"
#include "timecode.h"

namespace {

// libFuzzer keeps its own time by the same functions, so the fake clock runs inside a session only.
bool g_bInSession = false;
timespec g_tpClock{1'700'000'000, 0};
bool g_bClockFails = false;
int g_nSetting = 0;

// Ends the run with the place of the broken promise; libFuzzer keeps the input.
void Demand(bool bHolds, const char *szPromise, int nLine) {
    if (bHolds)
        return;
    std::fprintf(stderr, "line %d: broken promise: %s\n", nLine, szPromise);
    std::abort();
}

} // namespace

#define DEMAND(bCondition) Demand((bCondition), #bCondition, __LINE__)

// The library's clock and services are these.
extern "C" {
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library names them otherwise.
int clock_gettime(clockid_t nClock, timespec *pTime) {
    if (!g_bInSession)
        return static_cast<int>(syscall(SYS_clock_gettime, nClock, pTime));
    if (g_bClockFails)
        return -1;
    *pTime = g_tpClock;
    return 0;
}
time_t time(time_t *ptNow) {
    timespec tpNow = g_tpClock;
    if (!g_bInSession)
        clock_gettime(CLOCK_REALTIME, &tpNow);
    if (ptNow != nullptr)
        *ptNow = tpNow.tv_sec;
    return tpNow.tv_sec;
}
tm *localtime_r(const time_t *ptTime, tm *pLocal) {
    return g_bInSession && g_bClockFails ? nullptr : gmtime_r(ptTime, pLocal);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

// Messages are formed, so that their arguments are read, but not printed.
void _DoDbgPrintEx(HDBG, int, const char *, const char *, int, const char *szFormat, ...) {
    char szMessage[1024];
    va_list Arguments;
    va_start(Arguments, szFormat);
    DEMAND(vsnprintf(szMessage, sizeof szMessage, szFormat, Arguments) > 0);
    va_end(Arguments);
}
void _DoAssert(const char *, const char *, const char *, int) {}
void _DoTextAssert(const char *, const char *, int, const char *, ...) {}
BOOL CfgFile_GetIntValue(const char *, const char *, const char *, int *pnValue, int) {
    *pnValue = g_nSetting;
    return TRUE;
}
}

namespace {

using namespace timecode;
using fuzz::Call;

struct Queued {
    int enSource;
    UINT64 nTimestamp64;
    TCPayload Payload;
};

struct Asked {
    int nInput;
    int enSource;
    BOOL bSwitch;
    int nRate;
    int nCode;
    UINT64 nPts;
    UINT64 nBasePts;
    INT64 llBaseUTC;
    int nNull; // which pointer is null: 1 source, 2 record, 3 timecode, 4 flag, 5 cursor
};

struct Answer {
    BOOL bResult;
    MISP_UTC Utc;
    vitc_t Vitc;
    BOOL bSame;
    void *pCursorBefore;
    void *pCursor;
};

constexpr unsigned char UNTOUCHED = 0xA5;
constexpr BOOL NO_BOOL = 7;

// For what a call must leave alone.
template <class T>
void Mark(T &Record) {
    std::memset(static_cast<void *>(&Record), UNTOUCHED, sizeof Record);
}

template <class T>
bool IsUntouched(const T &Record) {
    const auto *const pBytes = reinterpret_cast<const unsigned char *>(&Record);
    return std::all_of(pBytes, pBytes + sizeof Record, [](unsigned char n) { return n == UNTOUCHED; });
}

template <class T>
bool Equal(const T &Left, const T &Right) {
    return std::memcmp(static_cast<const void *>(&Left), static_cast<const void *>(&Right), sizeof Left) == 0;
}

template <class T, size_t N>
T Pick(fuzz::Reader &Data, const T (&Values)[N]) {
    return Values[Data.Below(N)];
}

bool RunsUnderRevision() {
    return Timecode_GetMISPRevision() == MISP_PROFILE_62 || Timecode_GetMISPRevision() == MISP_PROFILE_2016_2;
}

bool IsUtcSource(int enSource) {
    return enSource == TCSOURCE_HIGH_PRECISION_TIMESTAMP || enSource == TCSOURCE_LDS_TIMESTAMP;
}

void CheckRanges(const vitc_t &Vitc, INT64 nFrameLimit) {
    const Hmsf Time = DigitsOf(Vitc);
    DEMAND(Time.nHours < 24 && Time.nMinutes < 60 && Time.nSeconds < 60);
    DEMAND(nFrameLimit > 100 || Time.nFrames < nFrameLimit);
    DEMAND(Vitc.HourUnits <= 9 && Vitc.MinuteUnits <= 9 && Vitc.SecondUnits <= 9 && Vitc.FrameUnits <= 9);
}

// The timecode of a UTC: what the library says of it alone, digits in range and all else 0.
void CheckTimecodeOf(INT64 llUTC, int nRate, int nCode, const vitc_t &Vitc) {
    vitc_t Expected;
    DEMAND(TimeCode_UTCToSMPTE12M(&llUTC, nRate, static_cast<ULONG>(static_cast<INT64>(nCode)), &Expected) == TRUE);
    DEMAND(Equal(Vitc, Expected));
    CheckRanges(Vitc, nRate);
    vitc_t OnlyDigits{};
    SetDigits(OnlyDigits, DigitsOf(Vitc));
    DEMAND(Equal(Vitc, OnlyDigits));
}

// A time from the system clock: the base and 11.111111 us for each tick from it.
void CheckSystemTime(const MISP_UTC &Utc, UINT64 nPts, UINT64 nBasePts, INT64 llBaseUTC) {
    const auto nPicos = static_cast<INT64>(static_cast<UINT64>(CalcPTSDiff(nBasePts, nPts)) * UINT64{11'111'111});
    DEMAND(static_cast<UINT64>(UtcOf(Utc)) == static_cast<UINT64>(llBaseUTC) + static_cast<UINT64>(nPicos / 1'000'000));
    DEMAND(StatusByteOf(Utc) == 0x9F && Utc.enTimecodeSource == TCSOURCE_SYSTEM_TIMESTAMP && Utc.nTimestamp64 == nPts);
}

class Session {
public:
    explicit Session(fuzz::Reader &Data) : m_Data(Data) {}

    void Run() {
        while (!m_Data.IsEmpty()) {
            Step();
            CheckPools();
        }
        TimecodeLib_Shutdown();
    }

private:
    void Step() {
        switch (static_cast<Call>(m_Data.Below(fuzz::NUM_CALLS))) {
        case Call::Start:
            return Start();
        case Call::Stop:
            TimecodeLib_Shutdown();
            return DEMAND(Timecode_GetMISPRevision() == -1);
        case Call::Queue:
            return Queue();
        case Call::Retrieve:
            return Retrieve();
        case Call::Flush:
            return Flush();
        case Call::Statistics:
            return Statistics();
        case Call::SystemTime:
            return SystemTime();
        case Call::SwitchCheck:
            return SwitchCheck();
        case Call::Convert:
            return Convert();
        case Call::Generate:
            return Generate();
        case Call::Texts:
            return Texts();
        case Call::Clock:
            return MoveClock();
        }
    }

    // The values below 4 of a byte are the inputs; the others stand for what a caller might get wrong.
    int Input() {
        const auto nByte = m_Data.Next<BYTE>();
        return nByte < 252
                   ? nByte % NUM_VIDEO_INPUTS
                   : std::array{-1, 4, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}[nByte % 4U];
    }

    int Source() {
        const auto nByte = m_Data.Next<BYTE>();
        return nByte < 240 ? nByte % 5 : m_Data.Next<int>();
    }

    // Mostly near one another, so that matches happen.
    UINT64 Pts() {
        const auto nByte = m_Data.Next<BYTE>();
        if (nByte < 200)
            return UINT64{900'000} + UINT64{nByte} * 180;
        if (nByte < 240)
            return m_Data.Next<UINT64>();
        return Pick<UINT64>(m_Data, {0, 1, (UINT64{1} << 33) - 1, UINT64{1} << 33, UINT64{1} << 63,
                                     std::numeric_limits<UINT64>::max()});
    }

    int Rate() {
        const auto nByte = m_Data.Next<BYTE>();
        return nByte < 200 ? std::array{24, 25, 30, 50, 60}[nByte % 5U] : m_Data.Next<int>();
    }

    int Code() {
        const auto nByte = m_Data.Next<BYTE>();
        return nByte < 200 ? std::array{23000, 29000, 59000, 30000}[nByte % 4U] : m_Data.Next<int>();
    }

    void Start() {
        const auto nByte = m_Data.Next<BYTE>();
        const int enRevision = nByte % 2 == 0 ? MISP_PROFILE_62 : MISP_PROFILE_2016_2;
        const int enBefore = _g_enMISPRevision;
        const int enGiven = nByte < 240 ? enRevision : m_Data.Next<int>();
        TimecodeLib_Init(enGiven);
        const bool bSupported = enGiven == MISP_PROFILE_62 || enGiven == MISP_PROFILE_2016_2;
        DEMAND(Timecode_GetMISPRevision() == (bSupported ? enGiven : enBefore));
        g_hTCLibDbg->nMaxLevel = (nByte & 2) != 0 ? DBG_LEVEL_DEBUG : DBG_LEVEL_ERROR;
        for (auto &Queue : m_Queued)
            Queue.clear();
        m_bStarted = true;
    }

    void Queue() {
        const int nInput = Input();
        Queued New{Source(), Pts(), {}};
        m_Data.Fill(New.Payload);
        TCPayload *const pPayload = m_Data.Next<BYTE>() == 255 ? nullptr : &New.Payload;
        const TCPayload Given = New.Payload;
        const BOOL bQueued = Timecode_SetUTC(nInput, New.enSource, New.nTimestamp64, pPayload);
        const bool bCanQueue = Timecode_GetMISPRevision() >= 0 && IsInput(nInput) && pPayload != nullptr;
        DEMAND(bQueued == (bCanQueue ? TRUE : FALSE));
        DEMAND(Equal(New.Payload, Given));
        if (bQueued != TRUE)
            return;
        auto &Pool = m_Queued[static_cast<size_t>(nInput)];
        Pool.push_back(New);
        if (Pool.size() > RECORDS_PER_INPUT)
            Pool.pop_front();
    }

    // What was queued, but for the status byte, which is the payload's first; of high precision only the UTC counts.
    static bool IsSameTime(const Queued &Stamp, const MISP_UTC &Record) {
        if (Stamp.enSource != Record.enTimecodeSource || Stamp.nTimestamp64 != Record.nTimestamp64)
            return false;
        if (Stamp.enSource == TCSOURCE_HIGH_PRECISION_TIMESTAMP)
            return PayloadField<INT64>(Stamp.Payload, offsetof(UTCPayload, llUTCTime)) == UtcOf(Record);
        return std::memcmp(reinterpret_cast<const char *>(&Stamp.Payload) + sizeof(BYTE),
                           reinterpret_cast<const char *>(&Record.MotionImageryTimestamp) + sizeof(BYTE),
                           sizeof(vitc_t) - sizeof(BYTE)) == 0;
    }

    static bool IsSame(const Queued &Stamp, const MISP_UTC &Record) {
        return IsSameTime(Stamp, Record) && PayloadField<BYTE>(Stamp.Payload, 0) == StatusByteOf(Record);
    }

    template <class F>
    bool IsAnyQueued(int nInput, const MISP_UTC &Record, F Matches) const {
        return std::ranges::any_of(
            m_Queued[static_cast<size_t>(nInput)], [&](const Queued &Stamp) { return Matches(Stamp, Record); });
    }

    Asked ReadRequest() {
        Asked Request{};
        Request.nInput = Input();
        Request.enSource = Source();
        Request.bSwitch = static_cast<BOOL>(m_Data.Below(3));
        Request.nRate = Rate();
        Request.nCode = Code();
        Request.nPts = Pts();
        Request.nBasePts = Pts();
        Request.llBaseUTC = m_Data.Next<INT64>();
        Request.nNull = static_cast<int>(m_Data.Below(60));
        return Request;
    }

    void Retrieve() {
        const Asked Request = ReadRequest();
        int enSource = Request.enSource;
        Answer Got{};
        Mark(Got.Utc);
        Mark(Got.Vitc);
        Got.bSame = NO_BOOL;
        const auto nCursor = m_Data.Next<BYTE>();
        void *pLoose = nullptr;
        if (nCursor >= 250)                                              // any bits as a cursor
            pLoose = reinterpret_cast<void *>(m_Data.Next<uintptr_t>()); // NOLINT(performance-no-int-to-ptr)
        const bool bKeep = IsInput(Request.nInput) && nCursor % 2 == 0;
        void *&pCursor = bKeep ? m_Cursors[static_cast<size_t>(Request.nInput)] : pLoose;
        Got.pCursorBefore = pCursor;
        const auto UnlessNull = [&Request](int nWhich, auto *pOut) { return Request.nNull == nWhich ? nullptr : pOut; };
        Got.bResult =
            Timecode_GetUTC(Request.nInput, UnlessNull(1, &enSource), Request.bSwitch, Request.nRate, Request.nCode,
                            Request.nPts, Request.nBasePts, Request.llBaseUTC, UnlessNull(2, &Got.Utc),
                            UnlessNull(3, &Got.Vitc), UnlessNull(4, &Got.bSame), UnlessNull(5, &pCursor));
        Got.pCursor = pCursor;
        DEMAND(enSource == Request.enSource);
        CheckAnswer(Request, Got);
    }

    void CheckAnswer(const Asked &Request, const Answer &Got) const {
        DEMAND(Got.bResult == TRUE || Got.bResult == FALSE);
        const bool bCanAnswer =
            RunsUnderRevision() && IsInput(Request.nInput) && Request.nNull != 1 && Request.nNull != 2;
        CheckFlagAndCursor(Request, Got, bCanAnswer);
        if (Got.bResult == FALSE) {
            DEMAND(IsUntouched(Got.Vitc));
            // Where only the timecode could not be formed, the record has been written.
            DEMAND(IsUntouched(Got.Utc) ||
                   (bCanAnswer && Timecode_GetMISPRevision() == MISP_PROFILE_62 && Request.nRate <= 0));
        }
        if (!bCanAnswer)
            DEMAND(Got.bResult == FALSE);
        else if (Timecode_GetMISPRevision() == MISP_PROFILE_2016_2)
            CheckStoredAnswer(Request, Got);
        else
            CheckFormedAnswer(Request, Got);
    }

    static void CheckFlagAndCursor(const Asked &Request, const Answer &Got, bool bCanAnswer) {
        const bool bDispatched = _g_enMISPRevision == MISP_PROFILE_62 || _g_enMISPRevision == MISP_PROFILE_2016_2;
        if (Request.nNull == 4 || !bDispatched)
            DEMAND(Got.bSame == NO_BOOL);
        else if (Request.nNull != 1)
            DEMAND(Got.bSame == FALSE || (bCanAnswer && Got.bSame == TRUE));
        if (Got.pCursor == Got.pCursorBefore)
            return;
        DEMAND(bCanAnswer && Request.nNull != 5);
        const auto &Pool = _tcInfo[Request.nInput].UTCTimeStamp;
        const auto *const pRecord = static_cast<const MISP_UTC *>(Got.pCursor);
        DEMAND(pRecord == nullptr ||
               (pRecord >= Pool && pRecord < Pool + RECORDS_PER_INPUT &&
                static_cast<size_t>(reinterpret_cast<const char *>(pRecord) - reinterpret_cast<const char *>(Pool)) %
                        sizeof(MISP_UTC) ==
                    0));
    }

    // 2016.2: a record of the configured source as it was queued, near the picture, or nothing.
    void CheckStoredAnswer(const Asked &Request, const Answer &Got) const {
        const bool bQueueBorne =
            Request.enSource >= TCSOURCE_HIGH_PRECISION_TIMESTAMP && Request.enSource <= TCSOURCE_LDS_TIMESTAMP;
        DEMAND(bQueueBorne || (Got.bResult == FALSE && Got.pCursor == Got.pCursorBefore && Got.bSame != TRUE));
        if (Got.bResult != TRUE)
            return;
        DEMAND(Got.Utc.enTimecodeSource == Request.enSource);
        DEMAND(IsAnyQueued(Request.nInput, Got.Utc, IsSame));
        DEMAND(Absolute(CalcPTSDiff(Got.Utc.nTimestamp64, Request.nPts)) <= MATCH_LIMIT_TICKS);
        if (Request.enSource == TCSOURCE_SMPTE12M_TIMESTAMP && Request.nNull != 3)
            DEMAND(Equal(Got.Vitc, VitcOf(Got.Utc)));
        else
            DEMAND(IsUntouched(Got.Vitc));
    }

    // Profile 62: a queued record, or a time formed from an earlier one or from the base.
    void CheckFormedAnswer(const Asked &Request, const Answer &Got) const {
        const bool bSwitches = Request.bSwitch == TRUE;
        const bool bAlwaysTimed = IsUtcSource(Request.enSource) || Request.enSource == TCSOURCE_SYSTEM_TIMESTAMP;
        if (!bSwitches && Request.enSource != TCSOURCE_SMPTE12M_TIMESTAMP)
            DEMAND(Got.bResult == (bAlwaysTimed && Request.nRate > 0 ? TRUE : FALSE));
        if (Got.bResult != TRUE)
            return;
        const int enSource = Got.Utc.enTimecodeSource;
        const BYTE nStatus = StatusByteOf(Got.Utc);
        DEMAND(bSwitches ? enSource >= TCSOURCE_HIGH_PRECISION_TIMESTAMP && enSource <= TCSOURCE_SYSTEM_TIMESTAMP
                         : enSource == Request.enSource);
        if (enSource == TCSOURCE_SYSTEM_TIMESTAMP) {
            CheckSystemTime(Got.Utc, Request.nPts, Request.nBasePts, Request.llBaseUTC);
            DEMAND(Got.bSame != TRUE);
        } else if (enSource == TCSOURCE_SMPTE12M_TIMESTAMP) {
            DEMAND((nStatus & 0x1F) == 0x1F && (nStatus & 0x60) != 0x20);
        } else { // as received, marked as a backward jump, or carried without a discontinuity
            const bool bJump = (nStatus | 0x80) == 0xFF && IsAnyQueued(Request.nInput, Got.Utc, IsSameTime);
            DEMAND(IsAnyQueued(Request.nInput, Got.Utc, IsSame) || bJump || (nStatus | 0x80) == 0x9F);
        }
        if (enSource != TCSOURCE_SMPTE12M_TIMESTAMP && Request.nNull != 3)
            CheckTimecodeOf(UtcOf(Got.Utc), Request.nRate, Request.nCode, Got.Vitc);
    }

    void Flush() {
        const int nInput = Input();
        const bool bDue = Timecode_GetMISPRevision() >= 0 && IsInput(nInput) &&
                          WrappingDifference(g_tpClock.tv_sec, _tcInfo[nInput].tLastFlushTime) > 0;
        Timecode_Flush(nInput);
        if (bDue)
            m_Queued[static_cast<size_t>(nInput)].clear();
    }

    void Statistics() {
        const int nInput = Input();
        const auto nByte = m_Data.Next<BYTE>();
        TIMECODE_STATS Stats;
        Mark(Stats);
        const BOOL bRead = Timecode_GetStats(nInput, nByte == 255 ? nullptr : &Stats);
        DEMAND(bRead == (IsInput(nInput) && nByte != 255 ? TRUE : FALSE));
        DEMAND(bRead == TRUE || IsUntouched(Stats));
        if (nByte % 2 == 0)
            return;
        DEMAND(Timecode_ResetStats(nInput) == (IsInput(nInput) ? TRUE : FALSE));
        if (!IsInput(nInput))
            return;
        const int enSource = Stats.enTimecodeSource;
        DEMAND(Timecode_GetStats(nInput, &Stats) == TRUE && Stats.nTimeSourceSwitches == 0);
        DEMAND(nByte == 255 || Stats.enTimecodeSource == enSource);
    }

    void SystemTime() {
        const Asked Request = ReadRequest();
        MISP_UTC Utc;
        vitc_t Vitc;
        Mark(Utc);
        Mark(Vitc);
        const BOOL bResult =
            Timecode_GetSystemUTC(Request.nRate, Request.nCode, Request.nPts, Request.nBasePts, Request.llBaseUTC,
                                  Request.nNull == 2 ? nullptr : &Utc, Request.nNull == 3 ? nullptr : &Vitc);
        const bool bGives = RunsUnderRevision() && Request.nNull != 2;
        DEMAND(bResult == (bGives && Request.nRate > 0 ? TRUE : FALSE));
        if (bGives)
            CheckSystemTime(Utc, Request.nPts, Request.nBasePts, Request.llBaseUTC);
        else
            DEMAND(IsUntouched(Utc));
        if (bResult == TRUE && Request.nNull != 3)
            CheckTimecodeOf(UtcOf(Utc), Request.nRate, Request.nCode, Vitc);
        else
            DEMAND(IsUntouched(Vitc));
    }

    void SwitchCheck() {
        const int nInput = Input();
        const int enBefore = Source();
        const BOOL bAllowed = static_cast<BOOL>(m_Data.Below(3));
        const bool bNull = m_Data.Next<BYTE>() == 255;
        int enSource = enBefore;
        bool bMoves = false;
        UINT64 nSwitches = 0;
        if (m_bStarted && IsInput(nInput) && !bNull) {
            const timespec tpNow{g_tpClock.tv_sec, g_bClockFails ? 0 : g_tpClock.tv_nsec};
            timespec tpSilent{};
            CalcTimeSpecAbsDiff(&tpNow, &_tcInfo[nInput].tpLastGoodTime, &tpSilent);
            bMoves = bAllowed == TRUE && SpanToMs(tpSilent) > 5000;
            nSwitches = _tcInfo[nInput].nTimeSourceSwitches;
        }
        if (!m_bStarted)
            return;
        _VerifyTimeSourceSwitch(nInput, bAllowed, bNull ? nullptr : &enSource);
        const bool bHasNext = enBefore >= TCSOURCE_HIGH_PRECISION_TIMESTAMP && enBefore <= TCSOURCE_LDS_TIMESTAMP;
        DEMAND(enSource == (!bMoves ? enBefore : bHasNext ? enBefore + 1 : TCSOURCE_NONE));
        DEMAND(!IsInput(nInput) || bNull || _tcInfo[nInput].nTimeSourceSwitches == nSwitches + (bMoves ? 1 : 0));
    }

    void Convert() {
        const auto llUTC = m_Data.Next<INT64>();
        const int nRate = Rate();
        const int nCode = Code();
        const auto nByte = m_Data.Next<BYTE>();
        INT64 llGiven = llUTC;
        vitc_t Vitc;
        Mark(Vitc);
        const BOOL bResult =
            TimeCode_UTCToSMPTE12M(nByte == 255 ? nullptr : &llGiven, nRate,
                                   static_cast<ULONG>(static_cast<INT64>(nCode)), nByte == 254 ? nullptr : &Vitc);
        DEMAND(llGiven == llUTC);
        DEMAND(bResult == (nRate > 0 && nByte < 254 ? TRUE : FALSE));
        if (bResult == TRUE)
            CheckTimecodeOf(llUTC, nRate, nCode, Vitc);
        else
            DEMAND(IsUntouched(Vitc));
        vitc_t Other;
        m_Data.Fill(Other);
        int nFrames = 0;
        int nBack = 0;
        Timecode_CalcFrameCountDiff(static_cast<UINT>(nRate), static_cast<UINT>(nCode), Vitc, Other, &nFrames);
        Timecode_CalcFrameCountDiff(static_cast<UINT>(nRate), static_cast<UINT>(nCode), Other, Vitc, &nBack);
        DEMAND(static_cast<UINT>(nFrames) + static_cast<UINT>(nBack) == 0);
        Timecode_CalcFrameCountDiff(static_cast<UINT>(nRate), static_cast<UINT>(nCode), Other, Vitc, nullptr);
    }

    // A few pictures of one stream.
    void Generate() {
        const auto nByte = m_Data.Next<BYTE>();
        SMPTE12M1_CONTEXT Context;
        std::memset(&Context, 0, sizeof Context);
        Context.PTSTicksPerFrame = nByte < 200 ? 3003 : m_Data.Next<UINT>();
        Context.nEncodedPictureRate = static_cast<UINT>(Rate());
        Context.nVUIFramerate = static_cast<UINT>(Code());
        Context.nBframes = nByte < 100 ? nByte % 5U : m_Data.Next<UINT>();
        Context.OldTimestamp64 = Pts();
        m_Data.Fill(Context.OldSystemTC);
        if (nByte % 8 == 7) {
            Context.BackFillStateCount = m_Data.Next<int>();
            Context.tDropFrameOccurred = m_Data.Next<time_t>();
            Context.bExtraSkipAllowed = m_Data.Next<BOOL>();
        }
        const bool bUsable = Context.PTSTicksPerFrame != 0 && static_cast<int>(Context.nEncodedPictureRate) > 0;
        for (int nPicture = 0; nPicture < 4; ++nPicture) {
            SMPTE12M1_CONTEXT Before = Context;
            const UINT64 nPts = Pts();
            vitc_t New;
            Mark(New);
            Timecode_MakeSMPTE12M1VITC(nByte == 255 ? nullptr : &Context, 0, nPts, nByte == 254 ? nullptr : &New);
            if (!bUsable || nByte >= 254)
                return DEMAND(IsUntouched(New) && Equal(Before, Context));
            CheckRanges(New, INT64{Context.nEncodedPictureRate} + 4); // a skip may go beyond the second
            Before.tDropFrameOccurred = Context.tDropFrameOccurred;
            Before.BackFillStateCount = Context.BackFillStateCount;
            Before.bExtraSkipAllowed = Context.bExtraSkipAllowed;
            DEMAND(Equal(Before, Context));
            vitc_t OnlyDigits;
            Mark(OnlyDigits);
            SetDigits(OnlyDigits, DigitsOf(New));
            DEMAND(Equal(OnlyDigits, New));
            Context.OldSystemTC = New;
            Context.OldTimestamp64 = nPts;
        }
    }

    void Texts() {
        const int enSource = Source();
        const int nSize = static_cast<int>(m_Data.Below(44)) - 2;
        char szName[48];
        Mark(szName);
        const char *const szGot = Timecode_GetTimecodeSourceString(enSource, szName, nSize);
        const auto nWritten = static_cast<size_t>(std::max(nSize, 0));
        DEMAND(nSize > 0 ? szGot == szName : std::strcmp(szGot, "Invalid input buffer") == 0);
        DEMAND(nSize <= 0 || strnlen(szName, nWritten) < nWritten);
        for (size_t nAt = nWritten; nAt < sizeof szName; ++nAt)
            DEMAND(IsUntouched(szName[nAt]));
        g_nSetting = m_Data.Next<int>();
        int enRevision = 0;
        Timecode_GetMISPRevisionFromSystemSettings(&enRevision);
        DEMAND(enRevision == g_nSetting);
    }

    void MoveClock() {
        const auto nByte = m_Data.Next<BYTE>();
        g_bClockFails = nByte >= 245;
        if (nByte % 8 == 0)
            g_tpClock.tv_sec = m_Data.Next<time_t>();
        else if (nByte % 8 == 1)
            g_tpClock.tv_sec = WrappingDifference(g_tpClock.tv_sec, 3600);
        else
            g_tpClock.tv_sec = WrappingSum(g_tpClock.tv_sec, nByte % 8 - 2);
        g_tpClock.tv_nsec = static_cast<long>(m_Data.Next<UINT>() % 1'000'000'000);
    }

    // All records are linked, in a ring that holds both ways: those queued from the newest on, then those never written.
    void CheckPools() const {
        for (int nInput = 0; m_bStarted && nInput < NUM_VIDEO_INPUTS; ++nInput) {
            const tc_private_t &Tc = _tcInfo[nInput];
            const auto &Pool = m_Queued[static_cast<size_t>(nInput)];
            DEMAND(Tc.UTCList.nNumOfEntries == RECORDS_PER_INPUT);
            size_t nLinked = 0;
            const FNODE_D *pBefore = nullptr;
            for (const FNODE_D *pNode = Tc.UTCList.pHead; pNode != nullptr; pNode = pNode->pNext) {
                const auto *pRecord = static_cast<const MISP_UTC *>(pNode->pvObject);
                DEMAND(pRecord >= Tc.UTCTimeStamp && pRecord < Tc.UTCTimeStamp + RECORDS_PER_INPUT);
                DEMAND(&pRecord->DNode == pNode && pNode->pList == &Tc.UTCList && pNode->pPrev == pBefore);
                if (nLinked < Pool.size())
                    DEMAND(IsSame(Pool[Pool.size() - 1 - nLinked], *pRecord));
                else
                    DEMAND(pRecord->enTimecodeSource == TCSOURCE_NONE && pRecord->nTimestamp64 == 0);
                DEMAND(++nLinked <= RECORDS_PER_INPUT);
                pBefore = pNode;
            }
            DEMAND(nLinked == RECORDS_PER_INPUT && Tc.UTCList.pTail == pBefore);
        }
    }

    fuzz::Reader &m_Data;
    std::array<std::deque<Queued>, NUM_VIDEO_INPUTS> m_Queued;
    std::array<void *, NUM_VIDEO_INPUTS> m_Cursors{};
    bool m_bStarted = false;
};

} // namespace

// libFuzzer looks for inputs that hang from a signal's handler, by the same clock: there it must be the real one.
static struct sigaction g_Watchdog;

static void OnAlarm(int nSignal, siginfo_t *pInfo, void *pvContext) {
    const bool bInSession = std::exchange(g_bInSession, false);
    g_Watchdog.sa_sigaction(nSignal, pInfo, pvContext);
    g_bInSession = bInSession;
}

static bool LetWatchdogSeeTheTime() {
    if (sigaction(SIGALRM, nullptr, &g_Watchdog) != 0 || g_Watchdog.sa_handler == SIG_DFL)
        return true; // a single input is run again, without the watchdog
    struct sigaction Own = g_Watchdog;
    Own.sa_sigaction = OnAlarm;
    return sigaction(SIGALRM, &Own, nullptr) == 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pBytes, size_t nSize) {
    fuzz::Reader Data(pBytes, nSize);
    g_tpClock = {1'700'000'000, 0};
    g_bClockFails = false;
    static const bool bWatchdogSeesTheTime = LetWatchdogSeeTheTime();
    DEMAND(bWatchdogSeesTheTime);
    g_bInSession = true;
    Session(Data).Run();
    g_bInSession = false;
    return 0;
}
