// Arithmetic on presentation time stamps and on wall-clock instants.
//
// Differences are formed in types that hold every one of them, so no argument overflows.
#include <limits>

#include "pts_api.h"

namespace {

constexpr UINT64 WRAP_TICKS = UINT64{1} << 33;
constexpr INT64 TICKS_PER_MINUTE = INT64{90000} * 60;
constexpr INT64 NSEC_PER_SECOND = 1'000'000'000;

// Two 64-bit seconds differ by up to 65 bits.
__extension__ typedef __int128 WideSeconds;

struct Instant {
    WideSeconds nSeconds;
    long nNsec; // 0 to NSEC_PER_SECOND - 1
};

Instant Normalise(const timespec &tpInstant) {
    const long nNsec = tpInstant.tv_nsec;
    if (nNsec >= 0 && nNsec < NSEC_PER_SECOND) [[likely]]
        return {tpInstant.tv_sec, nNsec};
    const long nBorrow = nNsec % NSEC_PER_SECOND < 0 ? 1 : 0;
    return {static_cast<WideSeconds>(tpInstant.tv_sec) + nNsec / NSEC_PER_SECOND - nBorrow,
            nNsec % NSEC_PER_SECOND + nBorrow * NSEC_PER_SECOND};
}

// The later one first.
Instant Difference(const Instant &Later, const Instant &Earlier) {
    const long nBorrow = Later.nNsec < Earlier.nNsec ? 1 : 0;
    return {Later.nSeconds - Earlier.nSeconds - nBorrow, Later.nNsec - Earlier.nNsec + nBorrow * NSEC_PER_SECOND};
}

timespec ToTimespec(const Instant &Span) {
    constexpr time_t LARGEST = std::numeric_limits<time_t>::max();
    if (Span.nSeconds > LARGEST)
        return {LARGEST, NSEC_PER_SECOND - 1};
    return {static_cast<time_t>(Span.nSeconds), Span.nNsec};
}

// The difference of two 33-bit counts. Time goes forward, so a second value that is far below the first lies behind the
// wrap, by up to half of it. Pictures out of order go back by little, so only a minute is taken as back before the
// wrap: a count that does not wrap keeps its long distances forward.
INT64 AcrossWrap(INT64 nDiffTicks) {
    constexpr INT64 WRAP = WRAP_TICKS;
    if (nDiffTicks < -(WRAP / 2))
        return nDiffTicks + WRAP;
    if (nDiffTicks >= WRAP - TICKS_PER_MINUTE)
        return nDiffTicks - WRAP;
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
    const Instant First = Normalise(*ptpFirst);
    const Instant Second = Normalise(*ptpSecond);
    const Instant Diff = Difference(Second, First);
    *ptpDiff = ToTimespec(Diff.nSeconds >= 0 ? Diff : Difference(First, Second));
}
