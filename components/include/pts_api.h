/* Arithmetic on presentation time stamps and on wall-clock instants.
 *
 * A PTS is an unsigned count of 90 kHz ticks, as carried in the video stream: there a 33-bit count that wraps every
 * 26.5 hours; an application may hand on the 33-bit values or a count of its own that does not wrap. The functions
 * hold no state and may be called from any thread at any time.
 */
#ifndef PTS_API_H
#define PTS_API_H

#include <time.h>

#include "xtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Second minus first in ticks: positive when the second PTS is later.
 *
 * The difference is taken modulo 2^64 and read as signed. When both values are 33-bit counts that lie within one hour
 * of each other across the 2^33 wrap, the short way round is taken, so a stream that wraps keeps its
 * distances; further apart, the long distance of a count that does not wrap is kept. */
XTYPES_EXPORT INT64 CalcPTSDiff(UINT64 nFirstPTS64, UINT64 nSecondPTS64);

/* The same rule as CalcPTSDiff; a separate name, so that a platform can treat an encoder's own time stamps
 * differently. */
XTYPES_EXPORT INT64 CalcPTSDiffEx(UINT64 nFirstPTS64, UINT64 nSecondPTS64);

/* Stores the absolute difference of two instants, normalised (tv_nsec 0 to 999,999,999). The order of the first two
 * does not matter. Instants whose tv_nsec is outside its range are taken at their value; a difference beyond the
 * range of time_t is stored as the largest. Any null pointer: nothing is written. */
XTYPES_EXPORT void CalcTimeSpecAbsDiff(const struct timespec *ptpFirst, const struct timespec *ptpSecond,
                                       struct timespec *ptpDiff);

#ifdef __cplusplus
}
#endif

#endif
