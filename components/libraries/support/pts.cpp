/* Arithmetic on presentation time stamps and on wall-clock instants.
 *
 * Differences are formed in types that hold every one of them, so no argument overflows. */
#include "pts_api.h"

#include <limits>

namespace {

constexpr UINT64 WRAP_TICKS = UINT64{1} << 33;
constexpr INT64 TICKS_PER_MINUTE = INT64{90000} * 60;
constexpr INT64 NSEC_PER_SECOND = 1'000'000'000;

/* Two 64-bit seconds differ by up to 65 bits, and by up to 95 bits in nanoseconds. */
__extension__ typedef __int128 WideNsec;

WideNsec ToNsec(const timespec &tpInstant) {
    return static_cast<WideNsec>(tpInstant.tv_sec) * NSEC_PER_SECOND + tpInstant.tv_nsec;
}

timespec ToTimespec(WideNsec nNsec) {
    constexpr time_t tLargest = std::numeric_limits<time_t>::max();
    const WideNsec nSeconds = nNsec / NSEC_PER_SECOND;
    if (nSeconds > tLargest)
        return {tLargest, NSEC_PER_SECOND - 1};
    return {static_cast<time_t>(nSeconds), static_cast<long>(nNsec % NSEC_PER_SECOND)};
}

/* The difference of two 33-bit counts. Time goes forward, so a second value that is far below the first lies behind the
 * wrap, by up to half of it. Pictures out of order go back by little, so only a minute is taken as back before the wrap:
 * a count that does not wrap keeps its long distances forward. */
INT64 AcrossWrap(INT64 nDiffTicks) {
    constexpr INT64 nWrapTicks = WRAP_TICKS;
    if (nDiffTicks < -(nWrapTicks / 2))
        return nDiffTicks + nWrapTicks;
    if (nDiffTicks >= nWrapTicks - TICKS_PER_MINUTE)
        return nDiffTicks - nWrapTicks;
    return nDiffTicks;
}

INT64 DiffTicks(UINT64 nFirstTicks, UINT64 nSecondTicks) {
    const INT64 nDiffTicks = static_cast<INT64>(nSecondTicks - nFirstTicks);
    const bool bMayHaveWrapped = nFirstTicks < WRAP_TICKS && nSecondTicks < WRAP_TICKS;
    return bMayHaveWrapped ? AcrossWrap(nDiffTicks) : nDiffTicks;
}

} // namespace

INT64 CalcPTSDiff(UINT64 nFirstPTS64, UINT64 nSecondPTS64) {
    return DiffTicks(nFirstPTS64, nSecondPTS64);
}

INT64 CalcPTSDiffEx(UINT64 nFirstPTS64, UINT64 nSecondPTS64) {
    return DiffTicks(nFirstPTS64, nSecondPTS64);
}

void CalcTimeSpecAbsDiff(const struct timespec *ptpFirst, const struct timespec *ptpSecond, struct timespec *ptpDiff) {
    if (ptpFirst == nullptr || ptpSecond == nullptr || ptpDiff == nullptr)
        return;
    const WideNsec nDiffNsec = ToNsec(*ptpSecond) - ToNsec(*ptpFirst);
    *ptpDiff = ToTimespec(nDiffNsec < 0 ? -nDiffNsec : nDiffNsec);
}
