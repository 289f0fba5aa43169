// How far the time stamps of an input reach its pictures, and which of its sources serves best.
// Surveys must be finished.
#ifndef ENCODER_MEDIA_COVERAGE_H
#define ENCODER_MEDIA_COVERAGE_H

#include <optional>
#include <string>
#include <vector>

#include "media/stamp_survey.h"

namespace encoder {

struct Coverage {
    double AtPicture = 0; // share of the pictures that have a time stamp within 359 ticks (4 ms), as the library looks
    double Moved = 0;     // ... or one within half a picture period, or else a last one up to a second before
};

Coverage CoverageOf(const Survey &Seen, const StampSeries &Series);

// The running time up to which a series was looked for.
std::int64_t UntilOf(const Survey &Seen, const StampSeries &Series);

// Ticks between pictures, the median; 0 with fewer than two.
std::int64_t PicturePeriod(const Survey &Seen);

// A time in the years 1990 to 2099; any timecode.
bool IsOfOurTime(const Sighting &Stamp, Carriage enCarriage);

// The words for the library's sources.
constexpr const char *WORD_HIGH_PRECISION = "high-precision";
constexpr const char *WORD_SMPTE12M = "smpte12m";
constexpr const char *WORD_VITC = "vitc";
constexpr const char *WORD_LDS = "lds";

// What stamp-encoder's --source and --timecode call it, and people.
int SourceOf(Carriage enCarriage); // TCSOURCE_...
const char *SourceWord(Carriage enCarriage);
const char *CarriageText(Carriage enCarriage);

// The series to take: one with UTC rather than one with timecode, which has no date; among those that reach half of the
// pictures the better source, else the one that reaches most. Nothing when there is no usable time stamp.
const StampSeries *BestSeries(const Survey &Seen);

} // namespace encoder

#endif
