// The MISP time-stamp status byte (MISB ST 0603): its bits, its words, and how the library forms it.
#ifndef TIMECODE_RETRIEVAL_STATUS_BYTE_H
#define TIMECODE_RETRIEVAL_STATUS_BYTE_H

#include "core/state.h"
#include "timecode.h"

namespace timecode {

constexpr BYTE STATUS_NOT_LOCKED = 0x80;
constexpr BYTE STATUS_DISCONTINUITY = 0x40;
constexpr BYTE STATUS_REVERSE = 0x20;
constexpr BYTE STATUS_RESERVED = 0x1F;

// Forms the byte from the input's flags and the direction in which the time moved; the direction counts only with a
// discontinuity. Only TRUE is true. bTimeSourceAlive takes no part.
BYTE _GetMISPStatusByte(BOOL bTimeSourceAlive, BOOL bTimeDiscontinuity, BOOL bGPSLocked, long long llOldUTCTime,
                        long long llCurrentUTCTime);

// Sets the lock and discontinuity flags of an input from a received byte.
inline void SetStatusFlags(tc_private_t &Tc, BYTE nStatusByte) {
    Tc.bGPSLocked = (nStatusByte & STATUS_NOT_LOCKED) == 0 ? TRUE : FALSE;
    Tc.bTimeDiscontinuity = (nStatusByte & STATUS_DISCONTINUITY) != 0 ? TRUE : FALSE;
}

// The flags of an input whose source has just been lost or changed.
inline void SetFlagsNotAlive(tc_private_t &Tc) {
    Tc.bTimeSourceAlive = FALSE;
    Tc.bTimeDiscontinuity = TRUE;
    Tc.bGPSLocked = FALSE;
}

} // namespace timecode

#endif
