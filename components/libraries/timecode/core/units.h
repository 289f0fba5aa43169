// Conversions between PTS ticks (90 kHz), wall-clock spans and microseconds.
// All arithmetic wraps in 64 bits: no pair of arguments overflows.
#ifndef TIMECODE_CORE_UNITS_H
#define TIMECODE_CORE_UNITS_H

#include "xtypes.h"

#include <ctime>

static_assert(sizeof(long) == 8 && sizeof(time_t) == 8, "built for 64-bit Linux");

namespace timecode {

inline INT64 WrappingSum(INT64 nLeft, INT64 nRight) {
    return static_cast<INT64>(static_cast<UINT64>(nLeft) + static_cast<UINT64>(nRight));
}

inline INT64 WrappingDifference(INT64 nLeft, INT64 nRight) {
    return static_cast<INT64>(static_cast<UINT64>(nLeft) - static_cast<UINT64>(nRight));
}

inline INT64 WrappingProduct(INT64 nLeft, INT64 nRight) {
    return static_cast<INT64>(static_cast<UINT64>(nLeft) * static_cast<UINT64>(nRight));
}

// The absolute value as unsigned, so that the most negative one has one too.
inline UINT64 Absolute(INT64 nValue) {
    return nValue < 0 ? 0 - static_cast<UINT64>(nValue) : static_cast<UINT64>(nValue);
}

constexpr INT64 TICKS_PER_SECOND = 90'000;

// A tick is taken as 11,111,111 ps; the product comes first, then the cut.
constexpr INT64 PICOS_PER_TICK = 11'111'111;

inline UINT64 TicksToNsec(UINT64 nTicks) {
    return nTicks * static_cast<UINT64>(PICOS_PER_TICK) / 1'000;
}

inline INT64 TicksToUsec(INT64 nTicks) {
    return WrappingProduct(nTicks, PICOS_PER_TICK) / 1'000'000;
}

inline UINT64 TicksToMs(UINT64 nTicks) {
    return nTicks / static_cast<UINT64>(TICKS_PER_SECOND / 1'000);
}

// Nanoseconds as seconds and the rest.
inline timespec _ConvertNsecToTimespec(UINT64 nsec) {
    return {static_cast<time_t>(nsec / 1'000'000'000), static_cast<long>(nsec % 1'000'000'000)};
}

// A span as PTS ticks: 11,111 ns each below the second.
inline INT64 SpanToTicks(const timespec &tpSpan) {
    return WrappingSum(WrappingProduct(tpSpan.tv_sec, TICKS_PER_SECOND), tpSpan.tv_nsec / 11'111);
}

inline INT64 SpanToUsec(const timespec &tpSpan) {
    return WrappingSum(WrappingProduct(tpSpan.tv_sec, 1'000'000), tpSpan.tv_nsec / 1'000);
}

inline INT64 SpanToMs(const timespec &tpSpan) {
    return WrappingSum(WrappingProduct(tpSpan.tv_sec, 1'000), tpSpan.tv_nsec / 1'000'000);
}

} // namespace timecode

#endif
