// The one failover rule: when a silent source is given up, for which one, and what a switch marks.
#ifndef TIMECODE_RETRIEVAL_SOURCE_SWITCHING_H
#define TIMECODE_RETRIEVAL_SOURCE_SWITCHING_H

#include <ctime>

#include "core/state.h"
#include "retrieval/request.h"

namespace timecode {

// Marks a change of source on an input: flags not alive, a full period for the new source, one more switch.
void RecordSourceSwitch(tc_private_t &Tc, const timespec &tpNow);

// Moves the request on to the next source when switching is allowed and tpGoodInterval exceeds the failure period.
void FailOver(Request &Req, const timespec &tpGoodInterval);

} // namespace timecode

#endif
