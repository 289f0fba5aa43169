// Recovery: whether a better source has come back and stayed usable long enough to switch to it.
#ifndef TIMECODE_RETRIEVAL_RECOVERY_H
#define TIMECODE_RETRIEVAL_RECOVERY_H

#include <ctime>

#include "timecode.h"

namespace timecode {

// Stores in *penNewTimecodeSouce the source to use from now on: one ranked above the current one that has been usable
// for more than 750 ms, else the current one, or TCSOURCE_NONE for an unknown one. The caller holds the input's mutex.
// FALSE, with nothing written, only for a null pointer or an input outside 0 to 3.
BOOL _RecoveryTimecodeSource(int enConfiguredMISBTimeSource, int enCurrentTimecodeSouce, int *penNewTimecodeSouce,
                             const timespec *pCurrentTime, UINT64 UnchangedEncoderPTS64, int enInputInterface);

// Whether more than 750 ms lie between the first sighting and now, either way round. FALSE for null.
BOOL _IsRecoveryComplete(const timespec *pSourceGoodTime, const timespec *pCurrentTime);

} // namespace timecode

#endif
