// Forming the MISP status byte.
#include "retrieval/status_byte.h"

#include "core/units.h"

namespace timecode {

BYTE _GetMISPStatusByte(BOOL /*bTimeSourceAlive*/, BOOL bTimeDiscontinuity, BOOL bGPSLocked, long long llOldUTCTime,
                        long long llCurrentUTCTime) {
    unsigned nStatusByte = STATUS_RESERVED;
    if (bGPSLocked != TRUE)
        nStatusByte |= STATUS_NOT_LOCKED;
    if (bTimeDiscontinuity == TRUE) {
        nStatusByte |= STATUS_DISCONTINUITY;
        if (WrappingDifference(llCurrentUTCTime, llOldUTCTime) < 0)
            nStatusByte |= STATUS_REVERSE;
    }
    return static_cast<BYTE>(nStatusByte);
}

} // namespace timecode
