// A long run in a short time: four inputs at 59.94 Hz, all sources with drop-outs, hours of a clock that the program owns.
// Every picture must be answered as its sources allow, times must be true, statistics must count what was seen, and the
// process must neither grow nor keep files open.
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
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

struct Input {
    int nInput = 0;
    int enLastSource = TCSOURCE_NOT_CHOSEN;
    UINT64 nExpectedSwitches = 0;
    UINT64 nTimed = 0;
    INT64 nWorstErrorUsec = 0;
};

// Each source falls silent for a stretch of every few minutes, another stretch on each input; now and then all do.
bool IsSilent(int nInput, int enSource, INT64 nSecond) {
    constexpr std::array<INT64, 3> PERIOD_SEC = {97, 151, 211};
    constexpr std::array<INT64, 3> SILENT_SEC = {20, 45, 70};
    const auto nIndex = static_cast<size_t>(enSource) - 1;
    return nSecond > 10 && (nSecond + INT64{nInput} * 13) % PERIOD_SEC[nIndex] < SILENT_SEC[nIndex];
}

TCPayload UtcPayload(INT64 llUTC) {
    TCPayload Payload{};
    Payload.KLVTC.MISPStatusByte = 0x1F;
    Payload.KLVTC.llUTCTime = llUTC;
    return Payload;
}

void HandIn(const Input &In, UINT64 nPTS, INT64 llUTC, INT64 nSecond) {
    for (const int enSource :
         {TCSOURCE_HIGH_PRECISION_TIMESTAMP, TCSOURCE_SMPTE12M_TIMESTAMP, TCSOURCE_LDS_TIMESTAMP}) {
        if (IsSilent(In.nInput, enSource, nSecond))
            continue;
        TCPayload Payload = UtcPayload(llUTC);
        if (enSource == TCSOURCE_SMPTE12M_TIMESTAMP) {
            vitc_t Vitc{};
            TimeCode_UTCToSMPTE12M(&llUTC, PICTURE_RATE, RATE_CODE, &Vitc);
            Payload.vitc = Vitc;
        }
        Demand(Timecode_SetUTC(In.nInput, enSource, nPTS, &Payload) == TRUE, "a time stamp was refused", In.nInput);
    }
}

// A failover counts twice, the first source and a recovery once.
void CheckStatistics(Input &In) {
    TIMECODE_STATS Stats{};
    Demand(Timecode_GetStats(In.nInput, &Stats) == TRUE, "no statistics", In.nInput);
    if (Stats.enTimecodeSource != In.enLastSource) {
        const bool bFailover = In.enLastSource != TCSOURCE_NOT_CHOSEN && Stats.enTimecodeSource > In.enLastSource;
        In.nExpectedSwitches += bFailover ? 2 : 1;
        In.enLastSource = Stats.enTimecodeSource;
    }
    Demand(Stats.nTimeSourceSwitches == In.nExpectedSwitches, "the switch count is not what was seen", In.nInput);
}

// Timecode is good to a few frames. Local sets that are silent when timecode has just failed carry its UTC on from the
// last timecode received, whose silence that UTC already holds: ahead by the failure period until a record comes.
void CheckTime(Input &In, const MISP_UTC &Utc, INT64 llTrueUTC, INT64 nSecond) {
    constexpr INT64 TOLERANCE_USEC = 500'000;
    constexpr INT64 CARRIED_LDS_TOLERANCE_USEC = 6'000'000;
    const bool bCarriedLds =
        Utc.enTimecodeSource == TCSOURCE_LDS_TIMESTAMP && IsSilent(In.nInput, TCSOURCE_LDS_TIMESTAMP, nSecond);
    const INT64 nErrorUsec = std::abs(Utc.MotionImageryTimestamp.KLVTC.llUTCTime - llTrueUTC);
    Demand(nErrorUsec <= (bCarriedLds ? CARRIED_LDS_TOLERANCE_USEC : TOLERANCE_USEC), "a time is too far off",
           In.nInput);
    In.nWorstErrorUsec = std::max(In.nWorstErrorUsec, nErrorUsec);
}

void Ask(Input &In, int enRevision, UINT64 nPTS, INT64 llUTC, INT64 nSecond) {
    int enSource = TCSOURCE_HIGH_PRECISION_TIMESTAMP;
    MISP_UTC Utc{};
    vitc_t Vitc{};
    BOOL bSame = FALSE;
    void *pCursor = nullptr;
    const BOOL bTimed = Timecode_GetUTC(In.nInput, &enSource, TRUE, PICTURE_RATE, RATE_CODE, nPTS, nPTS, llUTC, &Utc,
                                        &Vitc, &bSame, &pCursor);
    if (enRevision == MISP_PROFILE_2016_2) {
        const bool bHasStamp = !IsSilent(In.nInput, enSource, nSecond);
        Demand(bTimed == (bHasStamp ? TRUE : FALSE), "a picture was not answered as its source allows", In.nInput);
    } else {
        Demand(bTimed == TRUE, "a picture got no time", In.nInput);
        CheckStatistics(In);
    }
    if (bTimed == TRUE) {
        ++In.nTimed;
        CheckTime(In, Utc, llUTC, nSecond);
    }
}

void Run(int enRevision, INT64 nHours) {
    TimecodeLib_Init(enRevision);
    std::array<Input, NUM_VIDEO_INPUTS> Inputs{};
    for (int nInput = 0; nInput < NUM_VIDEO_INPUTS; ++nInput)
        Inputs[static_cast<size_t>(nInput)].nInput = nInput;
    const INT64 nPictures = nHours * 3600 * 60'000 / 1001;
    Resources Settled = ReadResources(); // the first reading itself takes memory
    for (INT64 nPicture = 0; nPicture < nPictures; ++nPicture) {
        const INT64 nElapsedNsec = nPicture * 1001 * (NSEC_PER_SEC / 1000) / 60;
        g_nNowNsec = START_SEC * NSEC_PER_SEC + nElapsedNsec;
        const INT64 nSecond = nElapsedNsec / NSEC_PER_SEC;
        const UINT64 nPTS = (FIRST_PTS + static_cast<UINT64>(nPicture) * 3003 / 2) & PTS_MASK;
        for (Input &In : Inputs) {
            HandIn(In, nPTS, g_nNowNsec / 1000, nSecond);
            Ask(In, enRevision, nPTS, g_nNowNsec / 1000, nSecond);
        }
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
        std::printf("revision %d, input %d: %lld h, %lld pictures, %llu timed, %llu switches, worst error %lld us\n",
                    enRevision, In.nInput, static_cast<long long>(nHours), static_cast<long long>(nPictures),
                    static_cast<unsigned long long>(In.nTimed), static_cast<unsigned long long>(In.nExpectedSwitches),
                    static_cast<long long>(In.nWorstErrorUsec));
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
