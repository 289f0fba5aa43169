#include "model/arithmetic.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace model {

namespace {

constexpr INT64 USEC_PER_SEC = 1'000'000;
constexpr INT64 SEC_PER_DAY = 86'400;

bool IsThousandAndOne(ULONG nCode) {
    return nCode == 23000 || nCode == 29000 || nCode == 59000;
}

// In single precision, like the times that come of it. At the 1000/1001 rates in whole ticks.
float UsecPerFrame(const PictureRate &Rate) {
    const auto fRate = static_cast<float>(Rate.nWhole);
    if (!IsThousandAndOne(Rate.nCode))
        return 1000000.0F / fRate;
    const auto fTicks = std::trunc(static_cast<float>(90089.99999999999 / double{fRate}));
    return static_cast<float>(double{fTicks} * 1000.0 / 90.0);
}

INT64 SecondOfDay(const Digits &Time) {
    return (Time.nHours * 60 + Time.nMinutes) * 60 + Time.nSeconds;
}

Digits AtSecond(INT64 nSecond, INT64 nFrame) {
    return {nSecond / 3600 % 24, nSecond / 60 % 60, nSecond % 60, nFrame};
}

} // namespace

INT64 In64(Wide nValue) {
    return static_cast<INT64>(static_cast<UINT64>(nValue));
}

Wide FloorDiv(Wide nValue, Wide nUnit) {
    return (nValue - FloorMod(nValue, nUnit)) / nUnit;
}

Wide FloorMod(Wide nValue, Wide nUnit) {
    return (nValue % nUnit + nUnit) % nUnit;
}

INT64 PTSDistance(UINT64 nFirst, UINT64 nSecond) {
    constexpr Wide WRAP = Wide{1} << 33;
    constexpr Wide MINUTE = 60 * 90'000;
    const Wide nLater = Wide{nSecond} - Wide{nFirst};
    const bool bMayWrap = nFirst < WRAP && nSecond < WRAP;
    if (bMayWrap && nLater < -WRAP / 2)
        return In64(nLater + WRAP);
    if (bMayWrap && nLater >= WRAP - MINUTE)
        return In64(nLater - WRAP);
    return In64(nLater);
}

UINT64 PTSGap(UINT64 nOne, UINT64 nOther) {
    const Wide nLater = PTSDistance(nOne, nOther);
    return static_cast<UINT64>(nLater < 0 ? -nLater : nLater);
}

Wide SpanBetween(Wide nOne, Wide nOther) {
    constexpr Wide LONGEST = Wide{std::numeric_limits<INT64>::max()} * NSEC_PER_SEC + NSEC_PER_SEC - 1;
    return std::min(nOne < nOther ? nOther - nOne : nOne - nOther, LONGEST);
}

INT64 MsBetween(Wide nOne, Wide nOther) {
    return In64(SpanBetween(nOne, nOther) / 1'000'000);
}

INT64 TicksOf(Wide nSpan) {
    return In64(nSpan / NSEC_PER_SEC * 90'000 + nSpan % NSEC_PER_SEC / 11'111);
}

vitc_t TimecodeOfUtc(INT64 llUTC, const PictureRate &Rate) {
    const auto fUsec = static_cast<float>(In64(FloorMod(llUTC, USEC_PER_SEC)));
    const float fPeriod = UsecPerFrame(Rate);
    const INT64 nFrame = fPeriod > 0 && fUsec >= fPeriod ? static_cast<INT64>(fUsec / fPeriod) % Rate.nWhole : 0;
    vitc_t Vitc{};
    SetDigits(Vitc, AtSecond(In64(FloorMod(FloorDiv(llUTC, USEC_PER_SEC), SEC_PER_DAY)), nFrame));
    return Vitc;
}

std::optional<INT64> UtcOfTimecode(const vitc_t &Vitc, INT64 nDay, const PictureRate &Rate) {
    const Digits Time = DigitsOf(Vitc);
    const float fUsec = static_cast<float>(Time.nFrames) * UsecPerFrame(Rate);
    if (Time.nHours > 23 || Time.nMinutes > 59 || Time.nSeconds > 59 || fUsec >= 1e6F)
        return std::nullopt;
    const Wide nUtc = (Wide{nDay} * SEC_PER_DAY + SecondOfDay(Time)) * USEC_PER_SEC + static_cast<INT64>(fUsec);
    return nUtc == In64(nUtc) ? std::optional(In64(nUtc)) : std::nullopt;
}

// The whole seconds are added to the time of day. The fraction is added to the frames, and the seconds that these make
// to the time of day.
Advanced Advance(vitc_t Vitc, Wide nSpan, const PictureRate &Rate) {
    INT64 nNsecPerFrame = 1'000'000'000 / Rate.nWhole;
    if (IsThousandAndOne(Rate.nCode))
        nNsecPerFrame = nNsecPerFrame * 1001 / 1000;
    const INT64 nNsec = In64(nSpan % NSEC_PER_SEC);
    const bool bWholeFrames = nNsecPerFrame > 0 && nNsec >= nNsecPerFrame;
    const Digits Old = DigitsOf(Vitc);
    const INT64 nFrames = Old.nFrames + (bWholeFrames ? nNsec / nNsecPerFrame : 1);
    const Wide nSeconds = SecondOfDay(Old) + nSpan / NSEC_PER_SEC + nFrames / Rate.nWhole;
    SetDigits(Vitc, AtSecond(In64(nSeconds % SEC_PER_DAY), nFrames % Rate.nWhole));
    return {Vitc, nFrames >= Rate.nWhole};
}

namespace {

// How a rate code drops frame numbers.
struct DropRule {
    INT64 nWhole;   // the rate that it expects
    INT64 nSkipped; // numbers a minute, but not every tenth
    INT64 nTail;    // the lowest frame number of the tail of a second
};

std::optional<DropRule> DropRuleOf(UINT nCode) {
    if (nCode == 29000)
        return DropRule{30, 2, 26};
    return nCode == 59000 ? std::optional(DropRule{60, 4, 51}) : std::nullopt;
}

} // namespace

int FrameCountDiff(UINT nRate, UINT nCode, const vitc_t &Old, const vitc_t &New) {
    const DropRule Rule = DropRuleOf(nCode).value_or(DropRule{nRate, 0, 0});
    const auto Count = [&Rule](const Digits &Time) {
        const INT64 nMinutes = Time.nHours * 60 + Time.nMinutes;
        const INT64 nTenths = Time.nHours * 6 + Time.nMinutes / 10;
        return SecondOfDay(Time) * Rule.nWhole + Time.nFrames - (nMinutes - nTenths) * Rule.nSkipped;
    };
    Digits From = DigitsOf(Old);
    Digits To = DigitsOf(New);
    if (From.nHours == 23 && To.nHours == 0)
        To.nHours = 24;
    else if (From.nHours == 0 && To.nHours == 23)
        From.nHours = 24;
    return static_cast<int>(Count(To) - Count(From)); // as many bits as an int has
}

namespace {

// Halves count away from zero.
INT64 WholeFrames(Wide nTicks, UINT nTicksPerFrame) {
    const Wide nHalf = nTicksPerFrame / 2;
    return In64((nTicks > 0 ? nTicks + nHalf : nTicks - nHalf) / nTicksPerFrame);
}

// Over a second and more each unit hands on to the next larger one as many as there are. Below a second it hands on one
// at most, and then begins anew or, before its first, ends: also where digits were out of their range.
Digits MoveByFrames(const Digits &Old, INT64 nDistance, INT64 nRate) {
    const bool bOnce = nDistance > -nRate && nDistance < nRate;
    const auto Over = [bOnce](Wide nTotal, Wide nLimit) -> Wide {
        return !bOnce ? FloorDiv(nTotal, nLimit) : nTotal >= nLimit ? 1 : nTotal < 0 ? -1 : 0;
    };
    const auto Rest = [bOnce](Wide nTotal, Wide nOver) { return In64(bOnce && nOver > 0 ? 0 : nTotal - nOver * 60); };
    const Wide nFrames = Wide{Old.nFrames} + nDistance;
    const Wide nToSeconds = Over(nFrames, nRate);
    const Wide nSeconds = Old.nSeconds + nToSeconds;
    const Wide nToMinutes = Over(nSeconds, 60);
    const Wide nMinutes = Old.nMinutes + nToMinutes;
    const Wide nToHours = Over(nMinutes, 60);
    return {In64(FloorMod(Old.nHours + nToHours, 24)), Rest(nMinutes, nToHours), Rest(nSeconds, nToMinutes),
            In64(nFrames - nToSeconds * nRate)};
}

// A picture that lies before the previously coded one, and on a skipped number or in the tail of a second.
void FillBefore(Digits &Time, const DropRule &Rule, INT64 nRate) {
    if (Time.nFrames >= Rule.nSkipped && Time.nFrames < Rule.nTail)
        return;
    Time.nFrames -= Rule.nSkipped;
    if (Time.nFrames >= 0)
        return;
    Time.nFrames += nRate;
    Time.nSeconds = 59;
    if (--Time.nMinutes >= 0)
        return;
    Time.nMinutes = 59;
    Time.nHours = (Time.nHours + 23) % 24;
}

} // namespace

Numbered NumberPicture(SMPTE12M1_CONTEXT &Context, UINT64 nPTS, time_t tNow, vitc_t &New) {
    Numbered Said;
    const INT64 nRate = Context.nEncodedPictureRate;
    const INT64 nDistance = WholeFrames(PTSDistance(Context.OldTimestamp64, nPTS), Context.PTSTicksPerFrame);
    Digits Time = MoveByFrames(DigitsOf(Context.OldSystemTC), nDistance, nRate);
    const std::optional<DropRule> Rule = DropRuleOf(Context.nVUIFramerate);
    const bool bBackFill = Context.BackFillStateCount > 0;
    if (Rule && bBackFill) {
        ++Said.nDetails;
        if (nDistance < 0) {
            FillBefore(Time, *Rule, nRate);
        } else if (Time.nFrames < Rule->nSkipped) {
            Time.nFrames += Rule->nSkipped;
        } else if (Context.BackFillStateCount == 1 && Context.bExtraSkipAllowed == TRUE) {
            Time.nFrames += Rule->nSkipped;
            Context.bExtraSkipAllowed = FALSE;
            ++Said.nDetails;
        }
        if (--Context.BackFillStateCount == 0)
            ++Said.nDetails;
    }
    const bool bDropZone = Time.nSeconds == 0 && Time.nMinutes % 10 != 0;
    const auto nSinceSkip = static_cast<UINT>(Wide{tNow} - Context.tDropFrameOccurred);
    if (Rule && (bBackFill || bDropZone) && nSinceSkip > 30 && Time.nFrames <= static_cast<int>(Context.nBframes)) {
        if (Time.nFrames == 0 && (Context.nVUIFramerate == 29000 || Context.nBframes > 2))
            Context.bExtraSkipAllowed = TRUE;
        if (Context.nBframes != 0)
            Context.BackFillStateCount = static_cast<int>(Context.nBframes + 1);
        Context.tDropFrameOccurred = tNow;
        Time.nFrames += Rule->nSkipped;
        ++Said.nSkips;
    }
    SetDigits(New, Time);
    return Said;
}

} // namespace model
