// Timecode to UTC, on the local calendar date of the moment.
#ifndef TIMECODE_CONVERSION_SMPTE12M_TO_UTC_H
#define TIMECODE_CONVERSION_SMPTE12M_TO_UTC_H

#include "timecode.h"

namespace timecode {

// Stores the UTC time whose date is today's local date and whose time of day is the timecode's. The digits are taken
// as they stand; the clock service refuses what is out of range. Returns FALSE, with *pllUTC 0, when there is no date
// or no such time; with *pllUTC untouched for a null pointer or a rate that is not positive.
BOOL _SMPTE12MtoUTC(const vitc_t *pSMPTE12mRecord, int nEncodedPictureRate, ULONG nVUIFramerate, INT64 *pllUTC);

} // namespace timecode

#endif
