// A long run in a short time: four inputs at 59.94 Hz, all sources with drop-outs, hours of a clock that the program
// owns. One input asks later than the others and keeps its record cursor; now and then an input is flushed, its
// statistics are reset, and the switch check is called. Every picture must be answered from the source that the
// documented rules name, times must be true, statistics must count exactly, and the process must neither grow nor keep
// files open.
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "timecode.h"

namespace {

constexpr INT64 START_SEC = 1'767'225'600; // 2026-01-01 00:00:00 UTC
constexpr INT64 NSEC_PER_SEC = 1'000'000'000;
constexpr UINT64 PTS_MASK = (UINT64{1} << 33) - 1;
constexpr UINT64 FIRST_PTS = PTS_MASK - UINT64{90'000} * 3600; // the PTS wraps after an hour
constexpr int PICTURE_RATE = 60;
constexpr int RATE_CODE = 59000;
constexpr INT64 NSEC_PER_USEC = 1000;
constexpr INT64 NSEC_PER_MSEC = 1'000'000;
constexpr INT64 FAILURE_MSEC = 5000;
constexpr INT64 RECOVERY_MSEC = 750;
constexpr int QUEUE_SOURCES = 3; // high-precision, timecode, local sets

INT64 g_nNowNsec = START_SEC * NSEC_PER_SEC;

} // namespace

extern "C" {
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library names them otherwise.
int clock_gettime(clockid_t nClock, timespec *pTime) noexcept {
    if (nClock != CLOCK_REALTIME)
        return static_cast<int>(syscall(SYS_clock_gettime, nClock, pTime));
    *pTime = {g_nNowNsec / NSEC_PER_SEC, g_nNowNsec % NSEC_PER_SEC};
    return 0;
}
time_t time(time_t *ptNow) noexcept {
    const time_t tNow = g_nNowNsec / NSEC_PER_SEC;
    if (ptNow != nullptr)
        *ptNow = tNow;
    return tNow;
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
}

namespace {

// Ends the run with what went wrong, and when.
void Demand(bool bHolds, const char *szPromise, int nInput) {
    if (bHolds)
        return;
    std::fprintf(stderr, "input %d, second %lld: %s\n", nInput,
                 static_cast<long long>(g_nNowNsec / NSEC_PER_SEC - START_SEC), szPromise);
    std::exit(1); // NOLINT(concurrency-mt-unsafe): the only thread
}

struct Resources {
    long nResidentPages = 0;
    long nDescriptors = 0;
    friend bool operator==(const Resources &, const Resources &) = default;
};

Resources ReadResources() {
    Resources Now;
    long nIgnored = 0;
    std::ifstream("/proc/self/statm") >> nIgnored >> Now.nResidentPages;
    for ([[maybe_unused]] const auto &Entry : std::filesystem::directory_iterator("/proc/self/fd"))
        ++Now.nDescriptors;
    return Now;
}

// Each picture of an input, by its number.
INT64 NsecOf(INT64 nPicture) {
    return START_SEC * NSEC_PER_SEC + nPicture * 1001 * (NSEC_PER_SEC / 1000) / 60;
}

INT64 SecondOf(INT64 nPicture) {
    return NsecOf(nPicture) / NSEC_PER_SEC - START_SEC;
}

INT64 UtcOf(INT64 nPicture) {
    return NsecOf(nPicture) / NSEC_PER_USEC;
}

UINT64 PtsOf(INT64 nPicture) {
    return (FIRST_PTS + static_cast<UINT64>(nPicture) * 3003 / 2) & PTS_MASK;
}

bool IsLongerAgo(INT64 nSinceNsec, INT64 nMsec) {
    return (g_nNowNsec - nSinceNsec) / NSEC_PER_MSEC > nMsec;
}

// An input, and what the library must have made of it by the documented rules.
struct Input {
    int nInput = 0;
    int enConfigured = TCSOURCE_HIGH_PRECISION_TIMESTAMP;
    INT64 nDelay = 0; // pictures between a time stamp and the question for it
    void *pCursor = nullptr;

    int enSource = TCSOURCE_NOT_CHOSEN; // in use
    UINT64 nSwitches = 0;
    INT64 nLastGoodNsec = 0;    // the source in use served a picture, or was switched to
    INT64 nLastChangeNsec = 0;  // another source came into use
    INT64 nLastFlushed = -1;    // picture whose time stamps were flushed, with all before
    INT64 nLastFlushSecond = 0; // of the clock
    std::array<bool, QUEUE_SOURCES> bSighted{};
    std::array<INT64, QUEUE_SOURCES> nSightedNsec{};
    INT64 nAheadNsec = 0;         // by how much a time carried forward runs ahead
    INT64 nTimecodeNsec = 0;      // when the last timecode came, or was made from a carried UTC
    INT64 nTimecodeLostNsec = -1; // when timecode failed over to local sets that have not answered yet

    UINT64 nTimed = 0;
    UINT64 nAllSwitches = 0; // the statistics' count begins anew at each reset
    UINT64 nFlushes = 0;
    INT64 nWorstErrorUsec = 0;
};

// What answers a picture.
struct Answer {
    int enSource = TCSOURCE_NONE;
    bool bServed = false; // by a time stamp of its own or by the system clock, not by a time carried forward
};

// Each source falls silent for a stretch of every few minutes, another stretch on each input; now and then all do.
bool IsSilent(const Input &In, int enSource, INT64 nPicture) {
    constexpr std::array<INT64, QUEUE_SOURCES> PERIOD_SEC = {97, 151, 211};
    constexpr std::array<INT64, QUEUE_SOURCES> SILENT_SEC = {20, 45, 70};
    const auto nIndex = static_cast<size_t>(enSource) - 1;
    const INT64 nSecond = SecondOf(nPicture);
    return nSecond > 10 && (nSecond + INT64{In.nInput} * 13) % PERIOD_SEC[nIndex] < SILENT_SEC[nIndex];
}

bool HasStamp(const Input &In, int enSource, INT64 nPicture) {
    return nPicture > In.nLastFlushed && !IsSilent(In, enSource, nPicture);
}

// A second of every period, another one on each input.
bool IsTime(const Input &In, INT64 nPeriodSec) {
    return (g_nNowNsec / NSEC_PER_SEC + INT64{In.nInput} * 17) % nPeriodSec == 0;
}

TCPayload UtcPayload(INT64 llUTC) {
    TCPayload Payload{};
    Payload.KLVTC.MISPStatusByte = 0x1F;
    Payload.KLVTC.llUTCTime = llUTC;
    return Payload;
}

vitc_t TimecodeOf(INT64 nPicture) {
    INT64 llUTC = UtcOf(nPicture);
    vitc_t Vitc{};
    TimeCode_UTCToSMPTE12M(&llUTC, PICTURE_RATE, RATE_CODE, &Vitc);
    return Vitc;
}

void HandIn(const Input &In, INT64 nPicture) {
    for (int enSource = 1; enSource <= QUEUE_SOURCES; ++enSource) {
        if (IsSilent(In, enSource, nPicture))
            continue;
        TCPayload Payload = UtcPayload(UtcOf(nPicture));
        if (enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
            Payload.vitc = TimecodeOf(nPicture);
        Demand(Timecode_SetUTC(In.nInput, enSource, PtsOf(nPicture), &Payload) == TRUE, "a time stamp was refused",
               In.nInput);
    }
}

void CountSwitch(Input &In) {
    ++In.nSwitches;
    ++In.nAllSwitches;
    In.nLastGoodNsec = g_nNowNsec;
}

// Flushes between the time stamps of a picture and the question for it, so that this picture has none; the next picture
// comes in the same second, in which a second flush does nothing. Not just after a change of source: a time can only
// be carried on from one that the source in use has given.
void Flush(Input &In, INT64 nPicture) {
    const INT64 nNowSec = g_nNowNsec / NSEC_PER_SEC;
    if (!IsTime(In, 499) || !IsLongerAgo(In.nLastChangeNsec, 1000))
        return;
    Timecode_Flush(In.nInput);
    if (nNowSec == In.nLastFlushSecond)
        return;
    In.nLastFlushSecond = nNowSec;
    In.nLastFlushed = nPicture;
    In.pCursor = nullptr;
    ++In.nFlushes;
}

// Counts a switch where the source in use has been silent for too long, and leaves that source in use.
void CheckSwitch(Input &In) {
    if (!IsTime(In, 331) || In.enSource == TCSOURCE_NOT_CHOSEN)
        return;
    const bool bGivenUp = IsLongerAgo(In.nLastGoodNsec, FAILURE_MSEC);
    const bool bHasNext = In.enSource >= 1 && In.enSource <= QUEUE_SOURCES;
    const int enNext = bHasNext ? In.enSource + 1 : TCSOURCE_NONE;
    int enSource = In.enSource;
    _VerifyTimeSourceSwitch(In.nInput, TRUE, &enSource);
    Demand(enSource == (bGivenUp ? enNext : In.enSource), "the switch check answers another source", In.nInput);
    if (bGivenUp)
        CountSwitch(In);
}

// The best source above enSource that has been usable for long enough, else enSource. A sighting stays noted.
int Recover(Input &In, int enSource, INT64 nPicture) {
    for (int enCandidate = 1; enCandidate < enSource; ++enCandidate) {
        if (!HasStamp(In, enCandidate, nPicture))
            continue;
        const auto nIndex = static_cast<size_t>(enCandidate) - 1;
        if (!In.bSighted[nIndex])
            In.nSightedNsec[nIndex] = g_nNowNsec;
        In.bSighted[nIndex] = !IsLongerAgo(In.nSightedNsec[nIndex], RECOVERY_MSEC);
        if (!In.bSighted[nIndex])
            return enCandidate;
    }
    return enSource;
}

// A UTC carried on runs ahead by the delay between time stamp and question. Local sets that are silent when timecode
// has just failed carry its UTC on from the last timecode, whose silence that UTC already holds, and run ahead by it
// too.
void FollowCarriedTime(Input &In, const Answer &Expected, INT64 nPicture) {
    const bool bTimecode = Expected.enSource == TCSOURCE_SMPTE12M_TIMESTAMP;
    if (Expected.bServed)
        In.nAheadNsec = bTimecode ? 0 : g_nNowNsec - NsecOf(nPicture);
    else if (Expected.enSource == TCSOURCE_LDS_TIMESTAMP && In.nTimecodeLostNsec >= 0)
        In.nAheadNsec += In.nTimecodeLostNsec - In.nTimecodeNsec;
    In.nTimecodeLostNsec = -1;
    if (bTimecode && Expected.bServed)
        In.nTimecodeNsec = NsecOf(nPicture);
    else if (Expected.enSource == TCSOURCE_HIGH_PRECISION_TIMESTAMP && !Expected.bServed)
        In.nTimecodeNsec = g_nNowNsec;
}

// Under MISP_PROFILE_62: the source in use answers; it fails over when it has been silent for too long, and a better
// one that has returned takes its place, both from the next picture on.
Answer ExpectCarrying(Input &In, INT64 nPicture) {
    if (In.nLastGoodNsec == 0)
        In.nLastGoodNsec = g_nNowNsec;
    int enSource = In.enSource == TCSOURCE_NOT_CHOSEN ? In.enConfigured : In.enSource;
    const bool bQueued = enSource <= QUEUE_SOURCES;
    const Answer Expected = {enSource, !bQueued || HasStamp(In, enSource, nPicture)};
    FollowCarriedTime(In, Expected, nPicture);
    if (bQueued && Expected.bServed) {
        In.nLastGoodNsec = g_nNowNsec;
    } else if (bQueued && IsLongerAgo(In.nLastGoodNsec, FAILURE_MSEC)) {
        if (enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
            In.nTimecodeLostNsec = g_nNowNsec;
        ++enSource;
        CountSwitch(In);
    }
    enSource = Recover(In, enSource, nPicture);
    if (enSource != In.enSource) {
        CountSwitch(In);
        In.nLastChangeNsec = g_nNowNsec;
    }
    In.enSource = enSource;
    return Expected;
}

// Under MISP_PROFILE_2016_2: the configured source's own time stamp or nothing.
Answer ExpectMatching(Input &In, INT64 nPicture) {
    const Answer Expected = {In.enConfigured, HasStamp(In, In.enConfigured, nPicture)};
    if (Expected.bServed)
        In.nLastGoodNsec = g_nNowNsec;
    In.enSource = In.enConfigured;
    return Expected;
}

bool HasTimecode(const vitc_t &Vitc, INT64 nPicture) {
    int nFrames = 0;
    Timecode_CalcFrameCountDiff(PICTURE_RATE, 0, Vitc, TimecodeOf(nPicture), &nFrames);
    return nFrames == 0;
}

// A timecode of just before midnight that is asked for just after it gets the new date, and the other way round.
INT64 WithoutDate(INT64 nErrorUsec, INT64 nPicture) {
    constexpr INT64 DAY_SEC = 86'400;
    constexpr INT64 NEAR_SEC = 20; // a wrong date is carried on for a while
    if ((SecondOf(nPicture) + NEAR_SEC) % DAY_SEC >= 2 * NEAR_SEC)
        return nErrorUsec;
    const INT64 nDays = std::llround(static_cast<double>(nErrorUsec) / (DAY_SEC * 1e6));
    return nErrorUsec - nDays * DAY_SEC * 1'000'000;
}

// A time stamp is handed out as it came. Timecode made into UTC and a time carried forward are good to a few frames.
void CheckTime(Input &In, const Answer &Expected, const MISP_UTC &Utc, const vitc_t &Vitc, INT64 nPicture) {
    constexpr INT64 TOLERANCE_USEC = 33'367; // two frames
    const bool bTimecode = Expected.enSource == TCSOURCE_SMPTE12M_TIMESTAMP;
    if (bTimecode && Expected.bServed)
        Demand(HasTimecode(Vitc, nPicture), "a timecode is not the one handed in", In.nInput);
    if (bTimecode && Timecode_GetMISPRevision() == MISP_PROFILE_2016_2)
        return;
    const INT64 nErrorUsec = Utc.MotionImageryTimestamp.KLVTC.llUTCTime - UtcOf(nPicture);
    if (Expected.bServed && !bTimecode) {
        Demand(nErrorUsec == 0, "a time is not the one handed in", In.nInput);
        return;
    }
    const INT64 nTimeErrorUsec = WithoutDate(nErrorUsec, nPicture);
    Demand(std::abs(nTimeErrorUsec - In.nAheadNsec / NSEC_PER_USEC) <= TOLERANCE_USEC, "a time is too far off",
           In.nInput);
    In.nWorstErrorUsec = std::max(In.nWorstErrorUsec, std::abs(nTimeErrorUsec));
}

// The statistics tell the source in use, and count the switches since the last reset. A source that is only matched
// is in use no more when it has been silent for a while.
void CheckStatistics(Input &In, const Answer &Expected, bool bMatching) {
    TIMECODE_STATS Stats{};
    Demand(Timecode_GetStats(In.nInput, &Stats) == TRUE, "no statistics", In.nInput);
    if (bMatching && !Expected.bServed && Stats.enTimecodeSource == TCSOURCE_NONE)
        In.enSource = TCSOURCE_NONE;
    Demand(Stats.enTimecodeSource == In.enSource, "another source is in use", In.nInput);
    Demand(Stats.nTimeSourceSwitches == In.nSwitches, "the switch count is not what was seen", In.nInput);
    if (!Expected.bServed || !IsTime(In, 613))
        return;
    Demand(Timecode_ResetStats(In.nInput) == TRUE, "no reset", In.nInput);
    In.nSwitches = 0;
}

// A cursor is kept from picture to picture by the input that asks late: only there is a newer record to move on to. It
// is cleared where a picture was missed, since it would stay ahead for good, and where another source comes into use.
void KeepCursor(Input &In, const Answer &Expected, INT64 nPicture, void *pCursor) {
    const bool bKept = In.nDelay > 0 && Expected.bServed && Expected.enSource == In.enSource;
    const bool bHasNewer = bKept && In.enSource <= QUEUE_SOURCES && HasStamp(In, In.enSource, nPicture + 1);
    Demand(!bHasNewer || pCursor != nullptr, "the cursor lost the next time stamp", In.nInput);
    In.pCursor = bKept ? pCursor : nullptr;
}

void Ask(Input &In, INT64 nPicture) {
    const bool bMatching = Timecode_GetMISPRevision() == MISP_PROFILE_2016_2;
    int enConfigured = In.enConfigured;
    MISP_UTC Utc{};
    vitc_t Vitc{};
    BOOL bSame = TRUE;
    void *pCursor = In.pCursor;
    const BOOL bTimed = Timecode_GetUTC(In.nInput, &enConfigured, TRUE, PICTURE_RATE, RATE_CODE, PtsOf(nPicture),
                                        PtsOf(nPicture), UtcOf(nPicture), &Utc, &Vitc, &bSame, &pCursor);
    const Answer Expected = bMatching ? ExpectMatching(In, nPicture) : ExpectCarrying(In, nPicture);
    CheckStatistics(In, Expected, bMatching);
    KeepCursor(In, Expected, nPicture, pCursor);
    Demand(bSame == FALSE, "two time stamps as near as each other", In.nInput);
    const bool bExpected = Expected.bServed || !bMatching;
    Demand(bTimed == (bExpected ? TRUE : FALSE), "a picture was not answered as its sources allow", In.nInput);
    if (bTimed == FALSE)
        return;
    ++In.nTimed;
    Demand(Utc.enTimecodeSource == Expected.enSource, "a time of another source", In.nInput);
    CheckTime(In, Expected, Utc, Vitc, nPicture);
}

void TakePicture(Input &In, INT64 nPicture) {
    HandIn(In, nPicture);
    Flush(In, nPicture);
    CheckSwitch(In);
    if (nPicture >= In.nDelay)
        Ask(In, nPicture - In.nDelay);
}

// Four inputs of different habits. Where sources are switched, the configured one matters at the start only.
std::array<Input, NUM_VIDEO_INPUTS> MakeInputs() {
    std::array<Input, NUM_VIDEO_INPUTS> Inputs{};
    int nInput = 0;
    for (Input &In : Inputs)
        In.nInput = nInput++;
    Inputs[1].enConfigured = TCSOURCE_SMPTE12M_TIMESTAMP;
    Inputs[2].enConfigured = TCSOURCE_LDS_TIMESTAMP;
    Inputs[3].nDelay = 2;
    return Inputs;
}

void Run(int enRevision, INT64 nHours) {
    TimecodeLib_Init(enRevision);
    std::array<Input, NUM_VIDEO_INPUTS> Inputs = MakeInputs();
    const INT64 nPictures = nHours * 3600 * 60'000 / 1001;
    Resources Settled = ReadResources(); // the first reading itself takes memory
    for (INT64 nPicture = 0; nPicture < nPictures; ++nPicture) {
        g_nNowNsec = NsecOf(nPicture);
        for (Input &In : Inputs)
            TakePicture(In, nPicture);
        // Everything that is ever touched has been touched after some minutes.
        if (nPicture == nPictures / 10)
            Settled = ReadResources();
    }
    const Resources AtEnd = ReadResources();
    if (AtEnd != Settled)
        std::fprintf(stderr, "%ld pages and %ld descriptors, later %ld and %ld\n", Settled.nResidentPages,
                     Settled.nDescriptors, AtEnd.nResidentPages, AtEnd.nDescriptors);
    Demand(AtEnd == Settled, "memory or file descriptors grew", -1);
    TimecodeLib_Shutdown();
    for (const Input &In : Inputs)
        std::printf(
            "revision %d, input %d: %lld h, %lld pictures, %llu timed, %llu switches, %llu flushes, worst error "
            "%lld us\n",
            enRevision, In.nInput, static_cast<long long>(nHours), static_cast<long long>(nPictures),
            static_cast<unsigned long long>(In.nTimed), static_cast<unsigned long long>(In.nAllSwitches),
            static_cast<unsigned long long>(In.nFlushes), static_cast<long long>(In.nWorstErrorUsec));
}

} // namespace

int main(int nArguments, char **pszArguments) {
    INT64 nHours = 24;
    if (nArguments > 1) {
        const char *const pEnd = pszArguments[1] + std::strlen(pszArguments[1]);
        const auto [pStop, enError] = std::from_chars(pszArguments[1], pEnd, nHours);
        if (enError != std::errc{} || pStop != pEnd || nHours < 1 || nHours > 1000 || nArguments > 2) {
            std::fprintf(stderr, "usage: %s [HOURS]   (1 to 1000, default 24)\n", pszArguments[0]);
            return 1;
        }
    }
    setenv("TZ", "UTC0", 1); // NOLINT(concurrency-mt-unsafe): the only thread
    for (const int enRevision : {MISP_PROFILE_2016_2, MISP_PROFILE_62})
        Run(enRevision, nHours);
    return 0;
}
