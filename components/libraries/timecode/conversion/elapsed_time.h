// Moving a time forward by an elapsed time: a timecode by whole frames, a UTC time by microseconds.
#ifndef TIMECODE_CONVERSION_ELAPSED_TIME_H
#define TIMECODE_CONVERSION_ELAPSED_TIME_H

#include <ctime>

#include "timecode.h"

namespace timecode {

// Advances the timecode in place: whole seconds unit by unit, the fraction as frames, at least one frame. Days are
// dropped; there is no drop-frame rule. Returns FALSE, with the record untouched, for a null pointer or a rate that
// is not positive.
BOOL _ElapsedNsecToSMPTE12M(const timespec *pElapsedNsec, int nEncodedPictureRate, ULONG nVUIFramerate,
                            vitc_t *pVitcRecord);

// Adds the elapsed time to the UTC, cut to microseconds. Returns FALSE for a null pointer.
BOOL _ElapsedUsecToUTC(const timespec *pElapsedNsec, INT64 *pllUTC);

} // namespace timecode

#endif
