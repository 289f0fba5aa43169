// What is to be said about one source of an input: how many, how regular, how true.
// A *run* is a row of time stamps in which UTC and PTS move alike; a step of either begins a new one.
#ifndef REPORT_SERIES_REPORT_H
#define REPORT_SERIES_REPORT_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "media/coverage.h"
#include "media/stamp_survey.h"

namespace report {

struct Gap {
    double FromSeconds = 0; // running time of the input
    double ToSeconds = 0;
    double Length() const { return ToSeconds - FromSeconds; }
};

// The straight line through the time stamps, one slope for all runs.
struct Drift {
    double Ppm = 0;      // UTC gains on the PTS
    double ErrorPpm = 0; // standard error of it
    double RmsUsec = 0;  // of the time stamps around the line
    double PeakUsec = 0;
};

struct SeriesReport {
    encoder::Carriage enCarriage{};
    int nStream{};
    double SecondsLooked = 0; // the running time up to which it was looked for ...
    bool bLookedAtAll = true; // ... and whether that is all there is
    std::uint64_t nCount{};
    std::vector<encoder::Sighting> Sightings{}; // those that have a place, in its order
    std::vector<std::int64_t> Usec{};           // of each: UTC, or timecode as microseconds since its first midnight
    std::vector<double> DeviationUsec{};        // of each, from the middle of its run
    double RateHz = 0;
    double IntervalMs = 0; // the median
    encoder::Coverage Reach{};
    std::vector<Gap> Gaps{};
    std::uint64_t nStepsBack = 0; // earlier than the time stamp before
    std::uint64_t nJumps = 0;     // off by more than half a second otherwise
    std::uint64_t nRepeated = 0;  // the time of the one before
    std::uint64_t nAbsurd = 0;    // outside the years 1990 to 2099
    std::map<std::uint8_t, std::uint64_t> StatusBytes{};
    std::optional<Drift> Line{}; // with three time stamps or more
    std::map<std::string, encoder::Trouble> Malformed{};
    std::uint64_t nMalformed{};
    std::uint64_t nWithoutPTS{};
    std::uint64_t nWithoutPlace{};
};

// The rate is the video's, as a fraction.
SeriesReport ReportSeries(const encoder::Survey &Seen, const encoder::StampSeries &Series,
                          const std::optional<encoder::PictureRate> &Rate);

double SecondsOf(const encoder::Place &At);
bool HasTimecode(encoder::Carriage enCarriage);

} // namespace report

#endif
