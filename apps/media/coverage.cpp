// How far the time stamps of an input reach its pictures, and which of its sources serves best.
#include "media/coverage.h"

#include <algorithm>

#include "common/our_time.h"
#include "timecode.h"

namespace encoder {

namespace {

constexpr std::int64_t LIBRARY_REACH = 359;
constexpr std::int64_t MOVED_REACH = TICKS_PER_SECOND;
constexpr double ENOUGH = 0.5; // of the pictures

struct CarriageRow {
    int enSource;
    const char *szWord;
    const char *szText;
};

// In the order of Carriage.
constexpr CarriageRow CARRIAGE_ROWS[] = {
    {TCSOURCE_HIGH_PRECISION_TIMESTAMP, WORD_HIGH_PRECISION,
     "precision time stamps beside the pictures (MISB ST 0604)"},
    {TCSOURCE_SMPTE12M_TIMESTAMP, WORD_SMPTE12M, "timecode beside the pictures (SMPTE ST 12-1, in SEI)"},
    {TCSOURCE_SMPTE12M_TIMESTAMP, WORD_VITC, "timecode in the pictures' lines (VITC)"},
    {TCSOURCE_LDS_TIMESTAMP, WORD_LDS, "KLV local sets (MISB ST 0601, tag 2)"},
};

const CarriageRow &RowOf(Carriage enCarriage) {
    return CARRIAGE_ROWS[static_cast<std::size_t>(enCarriage)];
}

bool IsTimecode(Carriage enCarriage) {
    return SourceOf(enCarriage) == TCSOURCE_SMPTE12M_TIMESTAMP;
}

// How well a series serves; the greatest is the best.
auto Merit(const Survey &Seen, const StampSeries &Series) {
    // stamp-encoder moves local sets to their pictures.
    const Coverage Reach = CoverageOf(Seen, Series);
    const double Reached = Series.enCarriage == Carriage::LocalSet ? Reach.Moved : Reach.AtPicture;
    return std::tuple(!IsTimecode(Series.enCarriage), Reached >= ENOUGH,
                      Reached >= ENOUGH ? -SourceOf(Series.enCarriage) : 0, Reached, Series.Sightings.size());
}

} // namespace

std::int64_t UntilOf(const Survey &Seen, const StampSeries &Series) {
    return Series.LookedUntil.value_or(Seen.llDuration);
}

int SourceOf(Carriage enCarriage) {
    return RowOf(enCarriage).enSource;
}

const char *SourceWord(Carriage enCarriage) {
    return RowOf(enCarriage).szWord;
}

const char *CarriageText(Carriage enCarriage) {
    return RowOf(enCarriage).szText;
}

bool IsOfOurTime(const Sighting &Stamp, Carriage enCarriage) {
    return IsTimecode(enCarriage) || IsOfOurTime(Stamp.llUTC);
}

std::int64_t PicturePeriod(const Survey &Seen) {
    const std::vector<Place> &Pictures = Seen.Pictures;
    std::vector<std::int64_t> Periods;
    for (std::size_t n = 1; n < Pictures.size(); n++)
        if (Pictures[n].nStretch == Pictures[n - 1].nStretch)
            Periods.push_back(Pictures[n].llTime - Pictures[n - 1].llTime);
    if (Periods.empty())
        return 0;
    const auto Middle = Periods.begin() + static_cast<std::ptrdiff_t>(Periods.size() / 2);
    std::nth_element(Periods.begin(), Middle, Periods.end());
    return *Middle;
}

Coverage CoverageOf(const Survey &Seen, const StampSeries &Series) {
    const std::vector<Sighting> &Sightings = Series.Sightings;
    const std::int64_t llUntil = UntilOf(Seen, Series);
    const std::int64_t llHalfPeriod = PicturePeriod(Seen) / 2;
    std::size_t nPictures = 0;
    std::size_t nAtPicture = 0;
    std::size_t nMoved = 0;
    for (const Place &Picture : Seen.Pictures) {
        if (Picture.llTime > llUntil)
            continue;
        nPictures++;
        const auto Next = std::ranges::lower_bound(
            Sightings, Picture.Order(), {}, [](const Sighting &Stamp) { return Stamp.At.Order(); });
        const auto Distance = [&](auto Stamp) { return Stamp->At.llTime - Picture.llTime; };
        const bool bNext = Next != Sightings.end() && Next->At.nStretch == Picture.nStretch;
        const bool bBefore = Next != Sightings.begin() && std::prev(Next)->At.nStretch == Picture.nStretch;
        const auto IsWithin = [&](std::int64_t llAfter, std::int64_t llBefore) {
            return (bNext && Distance(Next) <= llAfter) || (bBefore && -Distance(std::prev(Next)) <= llBefore);
        };
        nAtPicture += IsWithin(LIBRARY_REACH, LIBRARY_REACH) ? 1 : 0;
        nMoved += IsWithin(std::max(LIBRARY_REACH, llHalfPeriod), MOVED_REACH) ? 1 : 0;
    }
    const double All = std::max(1.0, static_cast<double>(nPictures + Seen.nPicturesWithoutPTS));
    return {static_cast<double>(nAtPicture) / All, static_cast<double>(nMoved) / All};
}

const StampSeries *BestSeries(const Survey &Seen) {
    const StampSeries *pBest = nullptr;
    for (const StampSeries &Series : Seen.Series) {
        const auto IsUsable = [&](const Sighting &Stamp) { return IsOfOurTime(Stamp, Series.enCarriage); };
        // Beside pictures without a PTS, time stamps have no place and serve their pictures all the same.
        const bool bBeside = Series.enCarriage == Carriage::Stamp && Series.nWithoutPlace > Series.nAbsurdWithoutPlace;
        if ((bBeside || std::ranges::any_of(Series.Sightings, IsUsable)) &&
            (pBest == nullptr || Merit(Seen, Series) > Merit(Seen, *pBest)))
            pBest = &Series;
    }
    return pBest;
}

} // namespace encoder
