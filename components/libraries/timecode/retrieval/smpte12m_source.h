// SMPTE 12M timecode as the source under MISP_PROFILE_62.
#ifndef TIMECODE_RETRIEVAL_SMPTE12M_SOURCE_H
#define TIMECODE_RETRIEVAL_SMPTE12M_SOURCE_H

#include "retrieval/request.h"

namespace timecode {

// Takes the queued timecode, or the last one moved on by the PTS distance, and hands it out with the UTC that it
// converts to. No time, and nothing written, when it converts to none.
Outcome UseSmpte12mSource(Request &Req);

} // namespace timecode

#endif
