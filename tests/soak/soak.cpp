// A long run in a short time: four inputs at 59.94 Hz, all sources with drop-outs, hours of a clock that the program
// owns, a PTS that wraps. Every call is compared with the model. Beside that, times must be true, and the process must
// neither grow nor keep files open.
#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string_view>

#include "interpose/clock.h"
#include "model/comparison.h"

namespace {

constexpr INT64 START_SEC = 1'767'225'600; // 2026-01-01 00:00:00 UTC
constexpr INT64 NSEC_PER_SEC = 1'000'000'000;
constexpr INT64 PICTURES_PER_HOUR = 215'784;
constexpr INT64 BASE_HOURS = 13; // the age of a base pair at which it is replaced
constexpr UINT64 WRAP = UINT64{1} << 33;
constexpr UINT64 FIRST_PTS = WRAP - UINT64{90'000} * 1800; // the PTS wraps after half an hour
constexpr model::PictureRate RATE = {60, 59000};

// Pages of memory and open files.
std::string Resources() {
    std::string szSize, szResident;
    std::ifstream("/proc/self/statm") >> szSize >> szResident;
    const auto nFiles = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    return szResident + " pages, " + std::to_string(nFiles) + " files";
}

// Each picture by its number.
INT64 NsecOf(INT64 nPicture) {
    return nPicture * 1001 * (NSEC_PER_SEC / 1000) / 60;
}

INT64 SecondOf(INT64 nPicture) {
    return NsecOf(nPicture) / NSEC_PER_SEC;
}

INT64 UtcOf(INT64 nPicture) {
    return START_SEC * 1'000'000 + NsecOf(nPicture) / 1000;
}

UINT64 PTSOf(INT64 nPicture) {
    return (FIRST_PTS + static_cast<UINT64>(nPicture) * 3003 / 2) % WRAP;
}

struct Input {
    int nInput = 0;
    int enConfigured = TCSOURCE_HIGH_PRECISION_TIMESTAMP;
    INT64 nDelay = 0; // pictures between a time stamp and the question for it
    void *pCursor = nullptr;

    std::array<UINT64, 5> nTimed{}; // pictures, by source
    INT64 nWorstUsec = 0;
};

// A second of every period, another one on each input.
bool IsTime(const Input &In, INT64 nPicture, INT64 nPeriodSec) {
    return (SecondOf(nPicture) + INT64{In.nInput} * 17) % nPeriodSec == 0;
}

// Each source falls silent for a stretch of every few minutes, another stretch on each input; now and then all do.
bool IsSilent(const Input &In, int enSource, INT64 nPicture) {
    constexpr std::array<INT64, 3> PERIOD_SEC = {97, 151, 211};
    constexpr std::array<INT64, 3> SILENT_SEC = {20, 45, 70};
    const auto nIndex = static_cast<size_t>(enSource) - 1;
    const INT64 nSecond = SecondOf(nPicture);
    return nSecond > 10 && (nSecond + INT64{In.nInput} * 13) % PERIOD_SEC[nIndex] < SILENT_SEC[nIndex];
}

void HandIn(model::Comparison &Both, const Input &In, INT64 nPicture) {
    model::Payload Utc;
    Utc.SetStatus(0x1F);
    Utc.SetUtc(UtcOf(nPicture));
    model::Payload Timecode;
    Timecode.SetTimecode(model::TimecodeOfUtc(UtcOf(nPicture), RATE));
    for (int enSource = TCSOURCE_HIGH_PRECISION_TIMESTAMP; enSource <= TCSOURCE_LDS_TIMESTAMP; ++enSource)
        if (!IsSilent(In, enSource, nPicture))
            Both.Queue(In.nInput, enSource, PTSOf(nPicture), enSource == TCSOURCE_SMPTE12M_TIMESTAMP ? Timecode : Utc);
}

// By source, how far off a time may be. A timecode and a carried time are good to two frames; but silent local sets
// that follow a lost timecode run ahead by its silence, and by that of the source before it. A time from the base lacks
// what is cut of each tick, 36 us an hour, and the half tick that a PTS may lack.
constexpr std::array<INT64, 5> TOLERANCE_USEC = {0, 33'367, 33'367, 10'040'000, BASE_HOURS * 36 + 12};

void CheckTime(Input &In, const model::Answer &Given, INT64 nPicture) {
    const model::Record &Record = *Given.Utc;
    const INT64 nErrorUsec = std::abs(Record.Payload.Utc() - UtcOf(nPicture));
    const auto nSource = static_cast<size_t>(Record.enSource);
    ++In.nTimed.at(nSource);
    constexpr INT64 DAY_SEC = 86'400;
    if ((SecondOf(nPicture) + 30) % DAY_SEC < 60 && Record.enSource != TCSOURCE_SYSTEM_TIMESTAMP)
        return; // a timecode asked for across midnight has the other date
    if (Timecode_GetMISPRevision() == MISP_PROFILE_2016_2 && Record.enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
        return; // no UTC is made of it
    if (nErrorUsec > TOLERANCE_USEC.at(nSource))
        DemandEqual(UtcOf(nPicture), Record.Payload.Utc(), "the time by the ", model::SourceText(Record.enSource));
    In.nWorstUsec = std::max(In.nWorstUsec, nErrorUsec);
}

void Ask(model::Comparison &Both, Input &In, INT64 nPicture) {
    const INT64 nBase = nPicture - nPicture % (BASE_HOURS * PICTURES_PER_HOUR);
    const model::Request Asked{.nInput = In.nInput,
                               .enSource = In.enConfigured,
                               .bSwitch = TRUE,
                               .nRate = RATE.nWhole,
                               .nCode = static_cast<int>(RATE.nCode),
                               .nPTS = PTSOf(nPicture),
                               .nBasePTS = PTSOf(nBase),
                               .llBaseUTC = UtcOf(nBase)};
    const model::Answer Given = Both.Ask(Asked, In.pCursor);
    const int enInUse = Both.ReadStatistics(In.nInput)->enSource;
    // Only behind the newest time stamp is there one to move on to, and only within a source.
    const bool bKept = In.nDelay > 0 && Given.bResult == TRUE && Given.Utc->enSource == enInUse;
    if (!bKept || enInUse == TCSOURCE_SYSTEM_TIMESTAMP || IsSilent(In, enInUse, nPicture))
        In.pCursor = nullptr;
    if (Given.bResult == TRUE)
        CheckTime(In, Given, nPicture);
}

void PlayPicture(model::Comparison &Both, Input &In, INT64 nPicture) {
    HandIn(Both, In, nPicture);
    if (IsTime(In, nPicture, 499)) {
        Both.Flush(In.nInput);
        In.pCursor = nullptr;
    }
    if (IsTime(In, nPicture, 331))
        Both.CheckSwitch(In.nInput, TRUE, Both.ReadStatistics(In.nInput)->enSource);
    if (IsTime(In, nPicture, 613))
        Both.ResetStatistics(In.nInput);
    if (nPicture >= In.nDelay)
        Ask(Both, In, nPicture - In.nDelay);
}

void Run(model::Comparison &Both, int enRevision, INT64 nHours) {
    Both.Start(enRevision);
    std::array<Input, NUM_VIDEO_INPUTS> Inputs{Input{.nInput = 0},
                                               {.nInput = 1, .enConfigured = TCSOURCE_SMPTE12M_TIMESTAMP},
                                               {.nInput = 2, .enConfigured = TCSOURCE_LDS_TIMESTAMP},
                                               {.nInput = 3, .nDelay = 2}};
    const INT64 nPictures = nHours * PICTURES_PER_HOUR;
    std::string szSettled = Resources(); // the first reading itself takes memory
    for (INT64 nPicture = 0; nPicture < nPictures; ++nPicture) {
        interpose::g_Clock.nSec = START_SEC + SecondOf(nPicture);
        interpose::g_Clock.nNsec = NsecOf(nPicture) % NSEC_PER_SEC;
        for (Input &In : Inputs)
            PlayPicture(Both, In, nPicture);
        // Everything that is ever touched has been touched after some minutes.
        if (nPicture == nPictures / 10)
            szSettled = Resources();
    }
    DemandEqual(szSettled, Resources(), "memory and open files");
    Both.Stop();
    for (const Input &In : Inputs) {
        std::cout << "revision " << enRevision << ", input " << In.nInput << ", " << nHours << " h: pictures timed by";
        for (size_t nSource = 1; nSource < In.nTimed.size(); ++nSource)
            std::cout << ' ' << model::SourceText(static_cast<int>(nSource)) << ' ' << In.nTimed.at(nSource) << ',';
        std::cout << " worst time off by " << In.nWorstUsec << " us\n";
    }
}

} // namespace

int main(int nArguments, char **pszArguments) {
    const std::string_view szHours = nArguments > 1 ? pszArguments[1] : "24";
    INT64 nHours = 0;
    const auto Read = std::from_chars(szHours.data(), szHours.data() + szHours.size(), nHours);
    if (*Read.ptr != 0 || nHours < 1 || nHours > 1000 || nArguments > 2) {
        std::cerr << "usage: " << pszArguments[0] << " [HOURS]   (1 to 1000, default 24)\n";
        return 1;
    }
    interpose::SetZone("UTC0");
    model::Comparison Both(nullptr); // the services say what they like
    try {
        for (const int enRevision : {MISP_PROFILE_2016_2, MISP_PROFILE_62})
            Run(Both, enRevision, nHours);
    } catch (const BrokenPromise &Broken) {
        std::cerr << "second " << interpose::g_Clock.nSec - START_SEC << ": " << Broken.what() << '\n';
        return 1;
    }
    std::cout << Both.Calls() << " calls compared\n";
    return 0;
}
