// Reading CLOCK_REALTIME; a clock that cannot be read is reported.
#ifndef TIMECODE_CORE_CLOCK_H
#define TIMECODE_CORE_CLOCK_H

#include <ctime>

#include "core/trace.h"

namespace timecode {

// Says whether the clock could be read. The report says szCondition, the condition as the caller would write it.
// Through a pointer, as the system does it: reading back at once what it has just stored in parts stalls, which costs a
// fifth of the time of queuing a stamp.
bool ReadClock(timespec *ptpNow, const char *szCondition, const Position &Here);

// The instant. Where the clock cannot be read, the whole second of time() is nearer to the truth than 1970.
timespec ReadInstant(const Position &Here);

} // namespace timecode

#endif
