// What is to be said about one source of an input: how many, how regular, how true.
// Differences of times are taken in unsigned arithmetic, since a time stamp may hold anything; only differences within
// a run, which are small, become floating-point numbers.
#include "series_report.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "timecode.h"

namespace report {

using namespace encoder;

namespace {

constexpr std::int64_t USEC_PER_SECOND = 1'000'000;
constexpr double USEC_PER_TICK = 100.0 / 9;
constexpr std::int64_t LARGEST_DEVIATION_USEC = USEC_PER_SECOND / 2; // from one time stamp to the next, in a run
constexpr double USUAL_SHARE = 0.9;    // of the intervals are no longer than the usual one ...
constexpr double GAP_INTERVALS = 1.5;  // ... and a gap is longer than so many of it
constexpr double SHORTEST_SILENCE = 1; // seconds without time stamps at begin or end that count as a gap

std::int64_t Difference(std::int64_t llLater, std::int64_t llEarlier) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(llLater) - static_cast<std::uint64_t>(llEarlier));
}

bool SameStretch(const Sighting &First, const Sighting &Second) {
    return First.At.nStretch == Second.At.nStretch;
}

// What a timecode counts, in real time, on the day that brings it nearest to the one before.
std::int64_t TimecodeUsec(const TimecodeLabel &Label, const PictureRate &Rate, std::optional<std::int64_t> Before) {
    const auto nRate = static_cast<int>(Rate.nWhole);
    const auto ToUsec = [&](std::int64_t nFrames) {
        return av_rescale(nFrames, USEC_PER_SECOND * Rate.Exact.den, Rate.Exact.num);
    };
    const std::int64_t llUsec = ToUsec(ToFrameCount(Label, nRate));
    const std::int64_t llDay = ToUsec(FramesPerDay(nRate, Label.bDropFrame));
    const auto Days = static_cast<double>(Before.value_or(llUsec) - llUsec) / static_cast<double>(llDay);
    return llUsec + std::llround(Days) * llDay;
}

void MeasureTimes(SeriesReport &Out, const std::optional<PictureRate> &Rate) {
    std::optional<std::int64_t> Before;
    for (const Sighting &Stamp : Out.Sightings) {
        if (HasTimecode(Out.enCarriage))
            Before = TimecodeUsec(Stamp.Label, Rate.value_or(PictureRate{}), Before);
        Out.Usec.push_back(Before.value_or(Stamp.llUTC));
        Out.nAbsurd += IsOfOurTime(Stamp, Out.enCarriage) ? 0 : 1;
        if (Out.enCarriage == Carriage::Stamp)
            Out.StatusBytes[Stamp.nStatusByte]++;
    }
}

double Quantile(std::vector<double> Values, double Share) {
    const auto nIndex = static_cast<std::ptrdiff_t>(Share * static_cast<double>(Values.size() - 1));
    std::nth_element(Values.begin(), Values.begin() + nIndex, Values.end());
    return Values[static_cast<std::size_t>(nIndex)];
}

std::vector<double> IntervalsOf(const std::vector<Sighting> &Sightings) {
    std::vector<double> Intervals;
    for (std::size_t n = 1; n < Sightings.size(); n++)
        if (SameStretch(Sightings[n - 1], Sightings[n]) && Sightings[n].At.llTime > Sightings[n - 1].At.llTime)
            Intervals.push_back(SecondsOf(Sightings[n].At) - SecondsOf(Sightings[n - 1].At));
    return Intervals;
}

// Where pictures are missing, too, it is not the time stamps that are.
bool HasPictureBetween(const Survey &Seen, const Place &First, const Place &Second) {
    const auto Next = std::ranges::upper_bound(Seen.Pictures, First.Order(), {}, &Place::Order);
    return Next != Seen.Pictures.end() && Next->Order() < Second.Order();
}

void FindGaps(SeriesReport &Out, const Survey &Seen, double Longest) {
    const double Silence = std::max(SHORTEST_SILENCE, Longest);
    const Gap Before = {0, SecondsOf(Out.Sightings.front().At)};
    const Gap Behind = {SecondsOf(Out.Sightings.back().At), Out.SecondsLooked};
    if (Before.Length() > Silence)
        Out.Gaps.push_back(Before);
    for (std::size_t n = 1; n < Out.Sightings.size(); n++) {
        const Place &First = Out.Sightings[n - 1].At;
        const Place &Second = Out.Sightings[n].At;
        const Gap Between = {SecondsOf(First), SecondsOf(Second)};
        if (First.nStretch == Second.nStretch && Between.Length() > Longest && HasPictureBetween(Seen, First, Second))
            Out.Gaps.push_back(Between);
    }
    if (Behind.Length() > Silence)
        Out.Gaps.push_back(Behind);
}

void MeasureIntervals(SeriesReport &Out, const Survey &Seen) {
    const std::vector<double> Intervals = IntervalsOf(Out.Sightings);
    if (Out.Sightings.empty())
        return;
    double Longest = 0;
    if (!Intervals.empty()) {
        double Sum = 0;
        for (const double Interval : Intervals)
            Sum += Interval;
        Out.RateHz = static_cast<double>(Intervals.size()) / Sum;
        Out.IntervalMs = 1000 * Quantile(Intervals, 0.5);
        Longest = GAP_INTERVALS * Quantile(Intervals, USUAL_SHARE);
    }
    FindGaps(Out, Seen, Longest);
}

// Whether the time stamp goes on from the one before; counts why it does not.
bool GoesOn(SeriesReport &Out, std::size_t n) {
    const std::int64_t llUsec = Difference(Out.Usec[n], Out.Usec[n - 1]);
    Out.nRepeated += llUsec == 0 ? 1 : 0;
    if (!SameStretch(Out.Sightings[n - 1], Out.Sightings[n]))
        return false;
    const std::int64_t llTicks = Out.Sightings[n].At.llTime - Out.Sightings[n - 1].At.llTime;
    const std::int64_t llOff = Difference(llUsec, llTicks * 100 / 9);
    const bool bJump = llOff > LARGEST_DEVIATION_USEC || llOff < -LARGEST_DEVIATION_USEC;
    if (llUsec < 0)
        Out.nStepsBack++;
    else if (bJump)
        Out.nJumps++;
    return !bJump;
}

struct Point {
    double Seconds;
    double Usec; // UTC beyond PTS
};

// The time stamps of one run, relative to their middle.
std::vector<Point> CentredRun(const SeriesReport &Out, std::size_t nBegin, std::size_t nEnd) {
    std::vector<Point> Run;
    Point Sum = {};
    for (std::size_t n = nBegin; n < nEnd; n++) {
        const auto Ticks = static_cast<double>(Out.Sightings[n].At.llTime - Out.Sightings[nBegin].At.llTime);
        const auto Usec = static_cast<double>(Difference(Out.Usec[n], Out.Usec[nBegin]));
        Run.push_back({Ticks / static_cast<double>(TICKS_PER_SECOND), Usec - Ticks * USEC_PER_TICK});
        Sum = {Sum.Seconds + Run.back().Seconds, Sum.Usec + Run.back().Usec};
    }
    const auto Count = static_cast<double>(nEnd - nBegin);
    for (Point &Stamp : Run)
        Stamp = {Stamp.Seconds - Sum.Seconds / Count, Stamp.Usec - Sum.Usec / Count};
    return Run;
}

// Least squares with a slope in common and a height for each run. Microseconds a second are parts in a million.
std::optional<Drift> FitLine(const std::vector<Point> &Points, std::size_t nRuns) {
    double SumSquares = 0;
    double SumProducts = 0;
    for (const Point &Stamp : Points) {
        SumSquares += Stamp.Seconds * Stamp.Seconds;
        SumProducts += Stamp.Seconds * Stamp.Usec;
    }
    if (Points.size() < nRuns + 2 || !(SumSquares > 0))
        return std::nullopt;
    Drift Line;
    Line.Ppm = SumProducts / SumSquares;
    double SumResiduals = 0;
    for (const Point &Stamp : Points) {
        const double Residual = Stamp.Usec - Line.Ppm * Stamp.Seconds;
        SumResiduals += Residual * Residual;
        Line.PeakUsec = std::max(Line.PeakUsec, std::fabs(Residual));
    }
    Line.RmsUsec = std::sqrt(SumResiduals / static_cast<double>(Points.size()));
    Line.ErrorPpm = std::sqrt(SumResiduals / static_cast<double>(Points.size() - nRuns - 1) / SumSquares);
    return Line;
}

void MeasureRuns(SeriesReport &Out) {
    std::vector<Point> Points;
    std::size_t nRuns = 0;
    std::size_t nBegin = 0;
    for (std::size_t n = 1; n <= Out.Sightings.size(); n++) {
        if (n < Out.Sightings.size() && GoesOn(Out, n))
            continue;
        const std::vector<Point> Run = CentredRun(Out, nBegin, n);
        Points.insert(Points.end(), Run.begin(), Run.end());
        nBegin = n;
        nRuns++;
    }
    for (const Point &Stamp : Points)
        Out.DeviationUsec.push_back(Stamp.Usec);
    Out.Line = FitLine(Points, nRuns);
}

} // namespace

double SecondsOf(const Place &At) {
    return static_cast<double>(At.llTime) / static_cast<double>(TICKS_PER_SECOND);
}

bool HasTimecode(Carriage enCarriage) {
    return SourceOf(enCarriage) == TCSOURCE_SMPTE12M_TIMESTAMP;
}

SeriesReport ReportSeries(const Survey &Seen, const StampSeries &Series, const std::optional<PictureRate> &Rate) {
    SeriesReport Out{.enCarriage = Series.enCarriage,
                     .nStream = Series.nStream,
                     .SecondsLooked = SecondsOf({.llTime = UntilOf(Seen, Series)}),
                     .bLookedAtAll = !Series.LookedUntil || *Series.LookedUntil >= Seen.llDuration,
                     .nCount = Series.Count(),
                     .Sightings = Series.Sightings,
                     .nAbsurd = Series.nAbsurdWithoutPlace,
                     .Malformed = Series.Malformed,
                     .nMalformed = Series.MalformedCount(),
                     .nWithoutPTS = Series.nWithoutPTS,
                     .nWithoutPlace = Series.nWithoutPlace};
    MeasureTimes(Out, Rate);
    Out.Reach = CoverageOf(Seen, Series);
    MeasureIntervals(Out, Seen);
    MeasureRuns(Out);
    return Out;
}

} // namespace report
