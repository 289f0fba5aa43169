// Reading CLOCK_REALTIME; a clock that cannot be read is reported.
#ifndef TIMECODE_CORE_CLOCK_H
#define TIMECODE_CORE_CLOCK_H

#include <ctime>
#include <optional>

#include "core/trace.h"

namespace timecode {

// The instant, or nothing. The report says szCondition, the condition as the caller would write it.
std::optional<timespec> ReadClock(const char *szCondition, const Position &Here);

// The instant. Where the clock cannot be read, the whole second of time() is nearer to the truth than 1970.
timespec ReadInstant(const Position &Here);

} // namespace timecode

#endif
