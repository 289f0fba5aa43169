#include "model/arithmetic.h"

#include <cmath>
#include <limits>

namespace model {

namespace {

constexpr Wide NSEC_PER_SEC = 1'000'000'000;
constexpr INT64 USEC_PER_SEC = 1'000'000;
constexpr INT64 SEC_PER_DAY = 86'400;

Wide NsecOf(const timespec &Time) {
    return Wide{Time.tv_sec} * NSEC_PER_SEC + Time.tv_nsec;
}

Wide FloorMod(Wide nValue, Wide nUnit) {
    return (nValue % nUnit + nUnit) % nUnit;
}

Wide FloorDiv(Wide nValue, Wide nUnit) {
    return (nValue - FloorMod(nValue, nUnit)) / nUnit;
}

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

} // namespace

INT64 In64(Wide nValue) {
    return static_cast<INT64>(static_cast<UINT64>(nValue));
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

timespec SpanBetween(const timespec &One, const timespec &Other) {
    const Wide nLater = NsecOf(Other) - NsecOf(One);
    const Wide nSpan = nLater < 0 ? -nLater : nLater;
    constexpr INT64 LONGEST = std::numeric_limits<INT64>::max();
    if (nSpan / NSEC_PER_SEC > LONGEST)
        return {LONGEST, 999'999'999};
    return {In64(nSpan / NSEC_PER_SEC), In64(nSpan % NSEC_PER_SEC)};
}

INT64 MsOf(const timespec &Span) {
    return In64(Wide{Span.tv_sec} * 1000 + Span.tv_nsec / 1'000'000);
}

INT64 UsecOf(const timespec &Span) {
    return In64(Wide{Span.tv_sec} * USEC_PER_SEC + Span.tv_nsec / 1000);
}

INT64 TicksOf(const timespec &Span) {
    return In64(Wide{Span.tv_sec} * 90'000 + Span.tv_nsec / 11'111);
}

INT64 UsecOfTicks(INT64 nTicks) {
    return In64(Wide{nTicks} * 11'111'111) / 1'000'000;
}

timespec SpanOfTicks(UINT64 nTicks) {
    const UINT64 nNsec = nTicks * UINT64{11'111'111} / 1000;
    return {static_cast<time_t>(nNsec / UINT64{1'000'000'000}), static_cast<long>(nNsec % UINT64{1'000'000'000})};
}

vitc_t TimecodeOfUtc(INT64 llUTC, const PictureRate &Rate) {
    const INT64 nSecondOfDay = In64(FloorMod(FloorDiv(llUTC, USEC_PER_SEC), SEC_PER_DAY));
    const auto fUsec = static_cast<float>(In64(FloorMod(llUTC, USEC_PER_SEC)));
    const float fPeriod = UsecPerFrame(Rate);
    const INT64 nFrame = fPeriod > 0 && fUsec >= fPeriod ? static_cast<INT64>(fUsec / fPeriod) % Rate.nWhole : 0;
    vitc_t Vitc{};
    SetDigits(Vitc, {nSecondOfDay / 3600, nSecondOfDay / 60 % 60, nSecondOfDay % 60, nFrame});
    return Vitc;
}

std::optional<INT64> UtcOfTimecode(const vitc_t &Vitc, INT64 nDay, const PictureRate &Rate) {
    const Digits Time = DigitsOf(Vitc);
    const float fUsec = static_cast<float>(Time.nFrames) * UsecPerFrame(Rate);
    if (Time.nHours > 23 || Time.nMinutes > 59 || Time.nSeconds > 59 || fUsec >= 1e6F)
        return std::nullopt;
    const INT64 nSecondOfDay = (Time.nHours * 60 + Time.nMinutes) * 60 + Time.nSeconds;
    const Wide nUtc = (Wide{nDay} * SEC_PER_DAY + nSecondOfDay) * USEC_PER_SEC + static_cast<INT64>(fUsec);
    if (nUtc != In64(nUtc))
        return std::nullopt;
    return In64(nUtc);
}

// The whole seconds are added to hours, minutes and seconds, each for itself, and the fraction to the frames. What then
// lies beyond a unit is added to the next larger one.
Advanced Advance(vitc_t Vitc, const timespec &Elapsed, const PictureRate &Rate) {
    Digits Time = DigitsOf(Vitc);
    INT64 nToHours = 0;
    INT64 nToMinutes = 0;
    const INT64 nSeconds = Elapsed.tv_sec % SEC_PER_DAY;
    if (nSeconds >= 3600)
        Time.nHours = (Time.nHours + nSeconds / 3600) % 24;
    if (nSeconds % 3600 >= 60) {
        const INT64 nTotal = Time.nMinutes + nSeconds % 3600 / 60;
        nToHours = nTotal / 60;
        Time.nMinutes = nTotal % 60;
    }
    if (nSeconds % 60 >= 1) {
        const INT64 nTotal = Time.nSeconds + nSeconds % 60;
        nToMinutes = nTotal / 60;
        Time.nSeconds = nTotal % 60;
    }
    INT64 nNsecPerFrame = 1'000'000'000 / Rate.nWhole;
    if (IsThousandAndOne(Rate.nCode))
        nNsecPerFrame = nNsecPerFrame * 1001 / 1000;
    const bool bWholeFrames = nNsecPerFrame > 0 && Elapsed.tv_nsec >= nNsecPerFrame;
    const INT64 nFrames = Time.nFrames + (bWholeFrames ? Elapsed.tv_nsec / nNsecPerFrame : 1);
    const INT64 nToSeconds = nFrames / Rate.nWhole;
    Time.nFrames = nFrames % Rate.nWhole;

    Time.nSeconds += nToSeconds;
    nToMinutes += Time.nSeconds / 60;
    Time.nSeconds %= 60;
    Time.nMinutes += nToMinutes;
    nToHours += Time.nMinutes / 60;
    Time.nMinutes %= 60;
    Time.nHours = (Time.nHours + nToHours) % 24;
    SetDigits(Vitc, Time);
    return {Vitc, nToSeconds > 0};
}

int FrameCountDiff(UINT nRate, UINT nCode, const vitc_t &Old, const vitc_t &New) {
    const auto Count = [nRate, nCode](const Digits &Time) {
        const Wide nMinutes = Wide{Time.nHours} * 60 + Time.nMinutes;
        if (nCode != 29000 && nCode != 59000)
            return (nMinutes * 60 + Time.nSeconds) * nRate + Time.nFrames;
        const Wide nWhole = nCode == 29000 ? 30 : 60;
        const Wide nSkipped = nCode == 29000 ? 2 : 4; // a minute, but not every tenth
        const Wide nTenths = Wide{Time.nHours} * 6 + Time.nMinutes / 10;
        return (nMinutes * 60 + Time.nSeconds) * nWhole + Time.nFrames - (nMinutes - nTenths) * nSkipped;
    };
    Digits From = DigitsOf(Old);
    Digits To = DigitsOf(New);
    if (From.nHours == 23 && To.nHours == 0)
        To.nHours = 24;
    else if (From.nHours == 0 && To.nHours == 23)
        From.nHours = 24;
    return static_cast<int>(static_cast<UINT>(Count(To) - Count(From)));
}

namespace {

// Halves count away from zero.
INT64 WholeFrames(Wide nTicks, UINT nTicksPerFrame) {
    const Wide nHalf = nTicksPerFrame / 2;
    return In64((nTicks > 0 ? nTicks + nHalf : nTicks - nHalf) / nTicksPerFrame);
}

// Below a second at most one is added to the next larger unit; over greater distances as many as there are.
Digits MoveByFrames(const Digits &Old, INT64 nDistance, INT64 nRate) {
    const bool bOnce = nDistance > -nRate && nDistance < nRate;
    Wide nOver = nDistance;
    const auto Move = [bOnce, &nOver](INT64 nOld, INT64 nLimit) {
        const Wide nTotal = nOld + nOver;
        if (!bOnce) {
            nOver = FloorDiv(nTotal, nLimit);
            return In64(FloorMod(nTotal, nLimit));
        }
        nOver = nTotal >= nLimit ? 1 : nTotal < 0 ? -1 : 0;
        return In64(nTotal);
    };
    Digits New;
    New.nFrames = Move(Old.nFrames, nRate);
    if (bOnce)
        New.nFrames -= In64(nOver) * nRate;
    // Beyond the last or before the first, a second or a minute begins or ends its unit.
    const auto MoveSixty = [&](INT64 nOld) {
        const INT64 nNew = Move(nOld, 60);
        return !bOnce || nOver == 0 ? nNew : nOver > 0 ? INT64{0} : INT64{59};
    };
    New.nSeconds = MoveSixty(Old.nSeconds);
    New.nMinutes = MoveSixty(Old.nMinutes);
    New.nHours = In64(FloorMod(Old.nHours + nOver, 24));
    return New;
}

struct DropRule {
    INT64 nSkipped;
    INT64 nTail; // the lowest frame number of the tail of a second
};

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
    Time.nHours = Time.nHours == 0 ? 23 : Time.nHours - 1;
}

} // namespace

Numbered NumberPicture(SMPTE12M1_CONTEXT &Context, UINT64 nPTS, time_t tNow, vitc_t &New) {
    Numbered Said;
    const INT64 nRate = Context.nEncodedPictureRate;
    const INT64 nDistance = WholeFrames(PTSDistance(Context.OldTimestamp64, nPTS), Context.PTSTicksPerFrame);
    Digits Time = MoveByFrames(DigitsOf(Context.OldSystemTC), nDistance, nRate);
    const bool bDrops = Context.nVUIFramerate == 29000 || Context.nVUIFramerate == 59000;
    const DropRule Rule = Context.nVUIFramerate == 29000 ? DropRule{2, 26} : DropRule{4, 51};
    const bool bBackFill = Context.BackFillStateCount > 0;
    if (bDrops && bBackFill) {
        ++Said.nDetails;
        if (nDistance < 0) {
            FillBefore(Time, Rule, nRate);
        } else if (Time.nFrames < Rule.nSkipped) {
            Time.nFrames += Rule.nSkipped;
        } else if (Context.BackFillStateCount == 1 && Context.bExtraSkipAllowed == TRUE) {
            Time.nFrames += Rule.nSkipped;
            Context.bExtraSkipAllowed = FALSE;
            ++Said.nDetails;
        }
        if (--Context.BackFillStateCount == 0)
            ++Said.nDetails;
    }
    const bool bDropZone = Time.nSeconds == 0 && Time.nMinutes % 10 != 0;
    const auto nSinceSkip = static_cast<UINT>(Wide{tNow} - Context.tDropFrameOccurred);
    if (bDrops && (bBackFill || bDropZone) && nSinceSkip > 30 && Time.nFrames <= static_cast<int>(Context.nBframes)) {
        if (Time.nFrames == 0 && (Context.nVUIFramerate == 29000 || Context.nBframes > 2))
            Context.bExtraSkipAllowed = TRUE;
        if (Context.nBframes != 0)
            Context.BackFillStateCount = static_cast<int>(Context.nBframes + 1);
        Context.tDropFrameOccurred = tNow;
        Time.nFrames += Rule.nSkipped;
        ++Said.nSkips;
    }
    SetDigits(New, Time);
    return Said;
}

} // namespace model
