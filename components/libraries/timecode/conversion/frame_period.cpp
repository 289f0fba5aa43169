// The frame period in single-precision microseconds and in integer nanoseconds.
#include "conversion/frame_period.h"

#include "core/units.h"

namespace timecode {

namespace {

constexpr double TICKS_PER_MS = static_cast<double>(TICKS_PER_SECOND) / 1'000;

// Ticks of 1.001 s, one step below 90090: a quotient that is a whole number of ticks is reached from below.
constexpr double TICKS_PER_1001_MS = TICKS_PER_MS * 1001 - 0x1p-36;
static_assert(TICKS_PER_1001_MS == 90089.99999999999);

} // namespace

float MicroSecPerFrame(UINT64 nPicRate, ULONG nVUIFramerate) {
    const auto fPicRate = static_cast<float>(nPicRate);
    if (!IsThousandAndOneRate(nVUIFramerate))
        return 1000000.0F / fPicRate;
    const auto fTicks = static_cast<float>(TICKS_PER_1001_MS / static_cast<double>(fPicRate));
    // At most 90,090, so the cut fits.
    const auto nWholeTicks = static_cast<int>(fTicks);
    return static_cast<float>(nWholeTicks * 1000.0 / TICKS_PER_MS);
}

UINT64 NanoSecPerFrame(UINT64 nPicRate, ULONG nVUIFramerate) {
    const UINT64 nPeriodNsec = 1'000'000'000 / nPicRate;
    return IsThousandAndOneRate(nVUIFramerate) ? nPeriodNsec * 1001 / 1000 : nPeriodNsec;
}

} // namespace timecode
