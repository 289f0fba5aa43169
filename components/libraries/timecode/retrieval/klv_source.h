// The two KLV-borne sources under MISP_PROFILE_62: high-precision time stamps and local sets.
#ifndef TIMECODE_RETRIEVAL_KLV_SOURCE_H
#define TIMECODE_RETRIEVAL_KLV_SOURCE_H

#include "retrieval/request.h"

namespace timecode {

// Hands out the queued record, or the last UTC carried forward by the elapsed wall-clock time, and its timecode.
// Without the timecode, *pUTC has been written all the same.
Outcome UseKlvSource(Request &Req);

} // namespace timecode

#endif
