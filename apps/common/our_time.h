// Which times a time stamp of a recording may tell. What lies outside is most likely a writer's mistake: microseconds
// taken for another unit, or a clock that was never set.
#ifndef ENCODER_COMMON_OUR_TIME_H
#define ENCODER_COMMON_OUR_TIME_H

#include <cstdint>

namespace encoder {

// In the years 1990 to 2099; microseconds since 1970.
constexpr bool IsOfOurTime(std::int64_t llUTC) {
    constexpr std::int64_t YEAR_1990_USEC = 631'152'000'000'000;
    constexpr std::int64_t YEAR_2100_USEC = 4'102'444'800'000'000;
    return llUTC >= YEAR_1990_USEC && llUTC < YEAR_2100_USEC;
}

} // namespace encoder

#endif
