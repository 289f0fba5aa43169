// How two sources of one input agree.
#include "agreement.h"

#include <algorithm>
#include <cmath>

namespace report {

using namespace encoder;

namespace {

constexpr std::int64_t USEC_PER_SECOND = 1'000'000;
constexpr std::int64_t USEC_PER_DAY = 86'400 * USEC_PER_SECOND;

// The time of a time stamp; of timecode the time of day that it shows, which is what people compare.
std::int64_t ShownUsec(const SeriesReport &Series, const Sighting &Stamp, const PictureRate &Rate) {
    if (!HasTimecode(Series.enCarriage))
        return Stamp.llUTC;
    const TimecodeLabel &Label = Stamp.Label;
    const std::int64_t nSeconds = (std::int64_t{Label.nHours} * 60 + Label.nMinutes) * 60 + Label.nSeconds;
    return nSeconds * USEC_PER_SECOND + Label.nFrames * USEC_PER_SECOND / Rate.nWhole;
}

std::int64_t WithinHalfADay(std::int64_t llUsec) {
    const std::int64_t llOfDay = (llUsec % USEC_PER_DAY + USEC_PER_DAY) % USEC_PER_DAY;
    return llOfDay < USEC_PER_DAY / 2 ? llOfDay : llOfDay - USEC_PER_DAY;
}

const Sighting *Nearest(const std::vector<Sighting> &Sightings, const Place &At) {
    const auto Next =
        std::ranges::lower_bound(Sightings, At.Order(), {}, [](const Sighting &Stamp) { return Stamp.At.Order(); });
    const Sighting *pNearest = nullptr;
    std::int64_t llLeast = TICKS_PER_SECOND;
    for (auto Candidate = Next == Sightings.begin() ? Next : std::prev(Next);
         Candidate != Sightings.end() && Candidate <= Next; ++Candidate) {
        const std::int64_t llDistance = std::abs(Candidate->At.llTime - At.llTime);
        if (Candidate->At.nStretch == At.nStretch && llDistance <= llLeast) {
            llLeast = llDistance;
            pNearest = &*Candidate;
        }
    }
    return pNearest;
}

} // namespace

Agreement Compare(const SeriesReport &First, const SeriesReport &Second, const PictureRate &Rate) {
    const bool bTimesOfDay = HasTimecode(First.enCarriage) || HasTimecode(Second.enCarriage);
    std::vector<double> Offsets;
    for (const Sighting &Stamp : Second.Sightings) {
        const Sighting *const pOther = Nearest(First.Sightings, Stamp.At);
        if (pOther == nullptr)
            continue;
        const auto nOff = static_cast<std::uint64_t>(ShownUsec(Second, Stamp, Rate)) -
                          static_cast<std::uint64_t>(ShownUsec(First, *pOther, Rate));
        const auto Moved = static_cast<double>(Stamp.At.llTime - pOther->At.llTime) * 100 / 9;
        const auto llOff = static_cast<std::int64_t>(nOff);
        Offsets.push_back(static_cast<double>(bTimesOfDay ? WithinHalfADay(llOff) : llOff) - Moved);
    }
    Agreement Out{.nCompared = Offsets.size()};
    if (Offsets.empty())
        return Out;
    std::ranges::sort(Offsets);
    Out.OffsetUsec = Offsets[Offsets.size() / 2];
    Out.PeakUsec = std::max(Offsets.back() - Out.OffsetUsec, Out.OffsetUsec - Offsets.front());
    return Out;
}

} // namespace report
