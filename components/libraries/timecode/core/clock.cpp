// Reading CLOCK_REALTIME.
#include "core/clock.h"

namespace timecode {

bool ReadClock(timespec *ptpNow, const char *szCondition, const Position &Here) {
    return Verify(clock_gettime(CLOCK_REALTIME, ptpNow) == 0, szCondition, Here);
}

timespec ReadInstant(const Position &Here) {
    timespec tpNow{};
    if (!ReadClock(&tpNow, "clock_gettime(CLOCK_REALTIME, &tpNow) == 0", Here))
        tpNow = {time(nullptr), 0};
    return tpNow;
}

} // namespace timecode
