// Reading CLOCK_REALTIME.
#include "core/clock.h"

namespace timecode {

std::optional<timespec> ReadClock(const char *szCondition, const Position &Here) {
    timespec tpNow{};
    return Verify(clock_gettime(CLOCK_REALTIME, &tpNow) == 0, szCondition, Here) ? std::optional(tpNow) : std::nullopt;
}

timespec ReadInstant(const Position &Here) {
    const std::optional<timespec> tpNow = ReadClock("clock_gettime(CLOCK_REALTIME, &tpNow) == 0", Here);
    return tpNow ? *tpNow : timespec{time(nullptr), 0};
}

} // namespace timecode
