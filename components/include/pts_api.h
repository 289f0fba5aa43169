/** @file
 * Arithmetic on presentation time stamps and on wall-clock instants.
 *
 * A PTS is an unsigned count of 90 kHz ticks, as carried in the video stream: there a 33-bit count that wraps every
 * 26.5 hours; an application may hand on the 33-bit values or a count of its own that does not wrap. The functions
 * hold no state and may be called from any thread at any time.
 */
#ifndef PTS_API_H
#define PTS_API_H

#include "xtypes.h"

#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The difference of two time stamps, second minus first.
 *
 * It is taken modulo 2^64 and read as signed. Two values below 2^33 may lie on either side of the wrap of a 33-bit
 * count:
 *
 * - difference below -2^32: the second is later across the wrap, 2^33 is added;
 * - difference of at least 2^33 - 5,400,000: it is up to a minute earlier across the wrap, 2^33 is subtracted;
 * - anything between: the difference as it stands.
 *
 * So a first value that is a base may be less than 2^32 ticks (13 hours and 15 minutes) old, and a reordered picture
 * may lie just before one that has wrapped. A count that does not wrap keeps its distance forward up to a minute
 * below 2^33, and back down to -2^32; it is free of the rule once it has passed 2^33. Exchanging the arguments need
 * not just change the sign.
 *
 * @param nFirstPTS64 the time stamp to count from, 90 kHz ticks, any value
 * @param nSecondPTS64 the time stamp to count to, 90 kHz ticks, any value
 * @return ticks, positive when the second is later.
 */
XTYPES_EXPORT INT64 CalcPTSDiff(UINT64 nFirstPTS64, UINT64 nSecondPTS64);

/**
 * The same rule as CalcPTSDiff; a separate name, so that a platform can treat an encoder's own time stamps differently.
 *
 * @param nFirstPTS64 the time stamp to count from, 90 kHz ticks, any value
 * @param nSecondPTS64 the time stamp to count to, 90 kHz ticks, any value
 * @return ticks, positive when the second is later.
 */
XTYPES_EXPORT INT64 CalcPTSDiffEx(UINT64 nFirstPTS64, UINT64 nSecondPTS64);

/**
 * The absolute difference of two instants. Their order does not matter. Instants whose tv_nsec is outside its range are
 * taken at their value.
 *
 * @param ptpFirst one instant
 * @param ptpSecond the other
 * @param ptpDiff receives the difference, normalised (tv_nsec 0 to 999,999,999); one beyond the range of time_t is
 *     stored as the largest. It may be one of the two. With any null pointer nothing is written.
 */
XTYPES_EXPORT void CalcTimeSpecAbsDiff(const struct timespec *ptpFirst, const struct timespec *ptpSecond,
                                       struct timespec *ptpDiff);

#ifdef __cplusplus
}
#endif

#endif
