// How two sources of one input agree.
#ifndef REPORT_AGREEMENT_H
#define REPORT_AGREEMENT_H

#include "series_report.h"

namespace report {

// Each time stamp of the second source is compared with the nearest of the first within a second of PTS, moved by the
// PTS between them. Where one has timecode, times of day are compared, and the offset lies within half a day.
struct Agreement {
    std::size_t nFirst = 0;
    std::size_t nSecond = 0;
    std::uint64_t nCompared = 0;
    double OffsetUsec = 0; // second minus first, the median
    double PeakUsec = 0;   // the farthest from it
};

Agreement Compare(const SeriesReport &First, const SeriesReport &Second, const encoder::PictureRate &Rate);

} // namespace report

#endif
