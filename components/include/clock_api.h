/** @file
 * Clock service: the current UTC and the calendar.
 *
 * A UTC time is a signed 64-bit count of microseconds since 1970-01-01 00:00:00 UTC, without leap seconds (POSIX
 * time, proleptic Gregorian calendar). The functions hold no state and may be called from any thread at any time.
 */
#ifndef CLOCK_API_H
#define CLOCK_API_H

#include "xtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A broken-down date and time of day. */
typedef struct date_time_s {
    int year;       /**< the full year, such as 2024; any int */
    int month;      /**< 1 to 12 */
    int dayOfMonth; /**< 1 to 31 */
    int hour;       /**< 0 to 23 */
    int min;        /**< 0 to 59 */
    int sec;        /**< 0 to 59 */
    int microsec;   /**< 0 to 999,999 */
} date_time_t;

/** Results of the conversions; 0 is success. */
enum {
    CLOCK_OK = 0,               /**< converted */
    CLOCK_ERROR_NULL = 1,       /**< a null pointer was given; nothing written */
    CLOCK_ERROR_FIELD_RANGE = 2 /**< a field lies outside its range, or the instant outside 64 bits; nothing written */
};

/**
 * Reads the current UTC from CLOCK_REALTIME.
 *
 * @return microseconds since 1970-01-01 00:00:00 UTC, or -1 when the clock cannot be read.
 */
XTYPES_EXPORT INT64 ClockGetUtc(void);

/**
 * Breaks an instant down into UTC calendar date and time of day. Times before 1970 are rounded towards the past, so
 * that the fields stay in their ranges.
 *
 * @param llUTC the instant, microseconds; every value is convertible
 * @param pDateTime receives all fields
 * @return CLOCK_OK, or CLOCK_ERROR_NULL for a null record.
 */
XTYPES_EXPORT int ClockCvtUtc2DateTime(INT64 llUTC, date_time_t *pDateTime);

/**
 * Forms the instant of a UTC calendar date and time of day.
 *
 * @param pDateTime the broken-down instant
 * @param pllUTC receives the instant, microseconds; keeps its value on failure
 * @return CLOCK_OK; CLOCK_ERROR_FIELD_RANGE for a field outside its range (the day of the month included: 30 February
 *     is refused) or a year beyond what 64 bits of microseconds hold; CLOCK_ERROR_NULL for a null pointer.
 */
XTYPES_EXPORT int ClockCvtDateTime2Utc(const date_time_t *pDateTime, INT64 *pllUTC);

/**
 * The same as ClockCvtUtc2DateTime, for callers who want the time of day only.
 *
 * @param llUTC the instant, microseconds; every value is convertible
 * @param pDateTime receives all fields
 * @return CLOCK_OK, or CLOCK_ERROR_NULL for a null record.
 */
XTYPES_EXPORT int ClockCvtUtc2Time(INT64 llUTC, date_time_t *pDateTime);

#ifdef __cplusplus
}
#endif

#endif
