// The system clock as a source of UTC, and the plausibility of a date.
#ifndef TIMECODE_CONVERSION_SYSTEM_CLOCK_H
#define TIMECODE_CONVERSION_SYSTEM_CLOCK_H

#include "timecode.h"

namespace timecode {

// Stores the system UTC. Returns FALSE, with *pllUTC untouched, when the clock cannot be read.
BOOL _GetUTCFromSystemClock(long long *pllUTC);

// Warns of a year below 2000, at most once in 10 seconds. Returns FALSE for such a year only, or for null.
BOOL _VerifyDateFromUTC(const INT64 *pllUTC);

} // namespace timecode

#endif
