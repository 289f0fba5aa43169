// Clock service: the current UTC and the calendar.
//
// The calendar repeats every 400 years. Dates are reduced to such a cycle and back, because std::chrono's years end
// at 32767 and 64 bits of microseconds reach some 290,000 years either way.
#include <chrono>
#include <ctime>
#include <optional>

#include "clock_api.h"

namespace {

constexpr INT64 USEC_PER_SECOND = 1'000'000;
constexpr INT64 USEC_PER_DAY = 86'400 * USEC_PER_SECOND;
constexpr INT64 DAYS_PER_CYCLE = 146'097;
constexpr int YEARS_PER_CYCLE = 400;
constexpr int FIRST_CYCLE_YEAR = 2000;

struct Floored {
    INT64 llQuotient;
    INT64 llRemainder; // 0 to divisor - 1
};

// Division that rounds towards the past.
constexpr Floored FloorDivide(INT64 llValue, INT64 llDivisor) {
    const INT64 llRemainder = llValue % llDivisor;
    const bool bNegative = llRemainder < 0;
    return {llValue / llDivisor - (bNegative ? 1 : 0), llRemainder + (bNegative ? llDivisor : 0)};
}

void SetDate(INT64 llDays, date_time_t &DateTime) {
    const Floored Cycle = FloorDivide(llDays, DAYS_PER_CYCLE);
    const std::chrono::sys_days Day{std::chrono::days{Cycle.llRemainder}};
    const std::chrono::year_month_day Date{Day};
    DateTime.year = static_cast<int>(Date.year()) + static_cast<int>(Cycle.llQuotient) * YEARS_PER_CYCLE;
    DateTime.month = static_cast<int>(static_cast<unsigned>(Date.month()));
    DateTime.dayOfMonth = static_cast<int>(static_cast<unsigned>(Date.day()));
}

void SetTimeOfDay(INT64 llUsecOfDay, date_time_t &DateTime) {
    const auto nSecondOfDay = static_cast<unsigned>(llUsecOfDay / USEC_PER_SECOND);
    const unsigned nMinuteOfDay = nSecondOfDay / 60;
    DateTime.hour = static_cast<int>(nMinuteOfDay / 60);
    DateTime.min = static_cast<int>(nMinuteOfDay % 60);
    DateTime.sec = static_cast<int>(nSecondOfDay % 60);
    DateTime.microsec = static_cast<int>(llUsecOfDay % USEC_PER_SECOND);
}

constexpr bool IsWithin(int nValue, int nLowest, int nHighest) {
    return nValue >= nLowest && nValue <= nHighest;
}

bool IsTimeOfDay(const date_time_t &DateTime) {
    return IsWithin(DateTime.hour, 0, 23) && IsWithin(DateTime.min, 0, 59) && IsWithin(DateTime.sec, 0, 59) &&
           IsWithin(DateTime.microsec, 0, 999'999);
}

INT64 UsecOfDay(const date_time_t &DateTime) {
    const INT64 llSecondOfDay = (INT64{DateTime.hour} * 60 + DateTime.min) * 60 + DateTime.sec;
    return llSecondOfDay * USEC_PER_SECOND + DateTime.microsec;
}

// The days since 1970 of a date; nothing when the calendar has no such date.
std::optional<INT64> CountDays(const date_time_t &DateTime) {
    // std::chrono keeps months and days in a byte, where other values would come back as valid ones.
    if (!IsWithin(DateTime.month, 1, 12) || !IsWithin(DateTime.dayOfMonth, 1, 31))
        return std::nullopt;
    const Floored Cycle = FloorDivide(INT64{DateTime.year} - FIRST_CYCLE_YEAR, YEARS_PER_CYCLE);
    const std::chrono::year_month_day Date{std::chrono::year{FIRST_CYCLE_YEAR + static_cast<int>(Cycle.llRemainder)},
                                           std::chrono::month{static_cast<unsigned>(DateTime.month)},
                                           std::chrono::day{static_cast<unsigned>(DateTime.dayOfMonth)}};
    if (!Date.ok())
        return std::nullopt;
    return std::chrono::sys_days{Date}.time_since_epoch().count() + Cycle.llQuotient * DAYS_PER_CYCLE;
}

// Days and time of day together; nothing when 64 bits do not hold the sum.
std::optional<INT64> Combine(INT64 llDays, INT64 llUsecOfDay) {
    if (llDays < 0) { // counts from the end of the day: its start may lie outside 64 bits, and its end inside
        ++llDays;
        llUsecOfDay -= USEC_PER_DAY;
    }
    INT64 llUTC = 0;
    if (__builtin_mul_overflow(llDays, USEC_PER_DAY, &llUTC) || __builtin_add_overflow(llUTC, llUsecOfDay, &llUTC))
        return std::nullopt;
    return llUTC;
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
    const Floored Day = FloorDivide(llUTC, USEC_PER_DAY);
    SetDate(Day.llQuotient, *pDateTime);
    SetTimeOfDay(Day.llRemainder, *pDateTime);
    return CLOCK_OK;
}

int ClockCvtDateTime2Utc(const date_time_t *pDateTime, INT64 *pllUTC) {
    if (pDateTime == nullptr || pllUTC == nullptr)
        return CLOCK_ERROR_NULL;
    const auto llDays = IsTimeOfDay(*pDateTime) ? CountDays(*pDateTime) : std::nullopt;
    const auto llUTC = llDays ? Combine(*llDays, UsecOfDay(*pDateTime)) : std::nullopt;
    if (!llUTC)
        return CLOCK_ERROR_FIELD_RANGE;
    *pllUTC = *llUTC;
    return CLOCK_OK;
}

int ClockCvtUtc2Time(INT64 llUTC, date_time_t *pDateTime) {
    return ClockCvtUtc2DateTime(llUTC, pDateTime);
}
