/* Clock service: the current UTC and the calendar.
 *
 * The calendar repeats every 400 years. Dates are reduced to such a cycle and back, because std::chrono's years end
 * at 32767 and 64 bits of microseconds reach some 290,000 years either way. */
#include "clock_api.h"

#include <chrono>
#include <time.h>

namespace {

constexpr INT64 USEC_PER_SECOND = 1'000'000;
constexpr INT64 USEC_PER_DAY = 86'400 * USEC_PER_SECOND;
constexpr INT64 DAYS_PER_CYCLE = 146'097;
constexpr int YEARS_PER_CYCLE = 400;
constexpr int FIRST_CYCLE_YEAR = 2000;

struct FLOORED {
    INT64 llQuotient;
    INT64 llRemainder; /* 0 to divisor - 1 */
};

/* Division that rounds towards the past. */
constexpr FLOORED FloorDivide(INT64 llValue, INT64 llDivisor) {
    const INT64 llRemainder = llValue % llDivisor;
    const bool bNegative = llRemainder < 0;
    return {llValue / llDivisor - (bNegative ? 1 : 0), llRemainder + (bNegative ? llDivisor : 0)};
}

void SetDate(INT64 llDays, date_time_t &tDateTime) {
    const FLOORED tCycle = FloorDivide(llDays, DAYS_PER_CYCLE);
    const std::chrono::sys_days tDay{std::chrono::days{tCycle.llRemainder}};
    const std::chrono::year_month_day tDate{tDay};
    tDateTime.year = static_cast<int>(tDate.year()) + static_cast<int>(tCycle.llQuotient) * YEARS_PER_CYCLE;
    tDateTime.month = static_cast<int>(static_cast<unsigned>(tDate.month()));
    tDateTime.dayOfMonth = static_cast<int>(static_cast<unsigned>(tDate.day()));
}

void SetTimeOfDay(INT64 llUsecOfDay, date_time_t &tDateTime) {
    const auto nSecondOfDay = static_cast<unsigned>(llUsecOfDay / USEC_PER_SECOND);
    const unsigned nMinuteOfDay = nSecondOfDay / 60;
    tDateTime.hour = static_cast<int>(nMinuteOfDay / 60);
    tDateTime.min = static_cast<int>(nMinuteOfDay % 60);
    tDateTime.sec = static_cast<int>(nSecondOfDay % 60);
    tDateTime.microsec = static_cast<int>(llUsecOfDay % USEC_PER_SECOND);
}

constexpr bool IsWithin(int nValue, int nLowest, int nHighest) {
    return nValue >= nLowest && nValue <= nHighest;
}

bool IsTimeOfDay(const date_time_t &tDateTime) {
    return IsWithin(tDateTime.hour, 0, 23) && IsWithin(tDateTime.min, 0, 59) && IsWithin(tDateTime.sec, 0, 59) &&
           IsWithin(tDateTime.microsec, 0, 999'999);
}

INT64 UsecOfDay(const date_time_t &tDateTime) {
    const INT64 llSecondOfDay = (INT64{tDateTime.hour} * 60 + tDateTime.min) * 60 + tDateTime.sec;
    return llSecondOfDay * USEC_PER_SECOND + tDateTime.microsec;
}

/* The days since 1970 of a date, or false when the calendar has no such date. */
bool CountDays(const date_time_t &tDateTime, INT64 &llDays) {
    // std::chrono keeps months and days in a byte, where other values would come back as valid ones.
    if (!IsWithin(tDateTime.month, 1, 12) || !IsWithin(tDateTime.dayOfMonth, 1, 31))
        return false;
    const FLOORED tCycle = FloorDivide(INT64{tDateTime.year} - FIRST_CYCLE_YEAR, YEARS_PER_CYCLE);
    const std::chrono::year_month_day tDate{std::chrono::year{FIRST_CYCLE_YEAR + static_cast<int>(tCycle.llRemainder)},
                                            std::chrono::month{static_cast<unsigned>(tDateTime.month)},
                                            std::chrono::day{static_cast<unsigned>(tDateTime.dayOfMonth)}};
    if (!tDate.ok())
        return false;
    llDays = std::chrono::sys_days{tDate}.time_since_epoch().count() + tCycle.llQuotient * DAYS_PER_CYCLE;
    return true;
}

/* Days and time of day together, or false when 64 bits do not hold the sum. */
bool Combine(INT64 llDays, INT64 llUsecOfDay, INT64 &llUTC) {
    if (llDays < 0) { // counts from the end of the day: its start may lie outside 64 bits, and its end inside
        ++llDays;
        llUsecOfDay -= USEC_PER_DAY;
    }
    INT64 llMidnightUTC = 0;
    return !__builtin_mul_overflow(llDays, USEC_PER_DAY, &llMidnightUTC) &&
           !__builtin_add_overflow(llMidnightUTC, llUsecOfDay, &llUTC);
}

} // namespace

INT64 ClockGetUtc(void) {
    timespec tpNow{};
    INT64 llUTC = 0;
    if (clock_gettime(CLOCK_REALTIME, &tpNow) != 0 || __builtin_mul_overflow(tpNow.tv_sec, USEC_PER_SECOND, &llUTC) ||
        __builtin_add_overflow(llUTC, tpNow.tv_nsec / 1000, &llUTC))
        return -1;
    return llUTC;
}

int ClockCvtUtc2DateTime(INT64 llUTC, date_time_t *pDateTime) {
    if (pDateTime == nullptr)
        return CLOCK_ERROR_NULL;
    const FLOORED tDay = FloorDivide(llUTC, USEC_PER_DAY);
    SetDate(tDay.llQuotient, *pDateTime);
    SetTimeOfDay(tDay.llRemainder, *pDateTime);
    return CLOCK_OK;
}

int ClockCvtDateTime2Utc(const date_time_t *pDateTime, INT64 *pllUTC) {
    if (pDateTime == nullptr || pllUTC == nullptr)
        return CLOCK_ERROR_NULL;
    INT64 llDays = 0;
    INT64 llUTC = 0;
    if (!IsTimeOfDay(*pDateTime) || !CountDays(*pDateTime, llDays) || !Combine(llDays, UsecOfDay(*pDateTime), llUTC))
        return CLOCK_ERROR_FIELD_RANGE;
    *pllUTC = llUTC;
    return CLOCK_OK;
}

int ClockCvtUtc2Time(INT64 llUTC, date_time_t *pDateTime) {
    return ClockCvtUtc2DateTime(llUTC, pDateTime);
}
