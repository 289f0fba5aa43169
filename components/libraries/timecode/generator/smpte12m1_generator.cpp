// SMPTE 12M-1 timecode of coded pictures, from the previous picture's timecode and the PTS distance.
// Drop-frame numbering follows the order of coding: a short back-fill state mends the pictures coded after a skip
// that lie before it in display order.
#include <ctime>

#include "core/digits.h"
#include "core/rate_codes.h"
#include "core/trace.h"
#include "core/units.h"
#include "pts_api.h"
#include "timecode.h"

using namespace timecode;

namespace {

// Seconds of the wall clock during which no second skip is made.
constexpr UINT SKIP_GUARD_SECONDS = 30;

// The numbers of drop-frame counting; all 0 where nothing is dropped.
struct DropRule {
    INT64 nSkipped;        // frame numbers skipped a minute
    INT64 nHighest;        // the highest of them
    INT64 nTailOfSecond;   // the lowest frame number of the tail of a second
    UINT nBframesForExtra; // the least number of B pictures with which an extra skip is owed
};

// One picture on its way to a timecode.
struct Picture {
    SMPTE12M1_CONTEXT &Context; // the caller's
    DropRule Rule{};
    INT64 nFrameDistance = 0; // from the previously coded picture, in frames
    UINT nTimeDelta = 0;      // wall-clock seconds since the last skip
    Hmsf Time{};
};

// All 0 for a rate that drops nothing.
DropRule DropRuleOf(UINT nVUIFramerate) {
    switch (nVUIFramerate) {
    case RATE_CODE_29_97:
        return {2, 1, 26, 0};
    case RATE_CODE_59_94:
        return {4, 3, 51, 3};
    default:
        return {};
    }
}

INT64 FloorDivide(INT64 &nValue, INT64 nUnit) {
    INT64 nQuotient = nValue / nUnit;
    nValue %= nUnit;
    if (nValue < 0) {
        nValue += nUnit;
        --nQuotient;
    }
    return nQuotient;
}

// Ticks to frames, halves away from zero. Quotient and remainder apart, so that no distance overflows.
INT64 RoundToFrames(INT64 DiffTS64, UINT nTicksPerFrame) {
    const INT64 nTicks = nTicksPerFrame;
    const INT64 nHalf = nTicks / 2;
    const INT64 nFrames = DiffTS64 / nTicks;
    const INT64 nRest = DiffTS64 % nTicks;
    if (nRest + nHalf >= nTicks)
        return nFrames + 1;
    return nRest - nHalf <= -nTicks ? nFrames - 1 : nFrames;
}

// Seconds and minutes start anew when they are left, whatever they held.
INT64 OverflowOnce(INT64 &nValue) {
    if (nValue > 59) {
        nValue = 0;
        return 1;
    }
    if (nValue < 0) {
        nValue = 59;
        return -1;
    }
    return 0;
}

// Moves the old timecode by less than a second: each unit overflows once, also from digits out of their range.
Hmsf MoveWithinSecond(Hmsf Time, INT64 nFrameDistance, INT64 nPictureRate) {
    Time.nFrames += nFrameDistance;
    INT64 nSecondsUp = 0;
    if (Time.nFrames >= nPictureRate)
        nSecondsUp = 1;
    else if (Time.nFrames < 0)
        nSecondsUp = -1;
    Time.nFrames -= nSecondsUp * nPictureRate;
    Time.nSeconds += nSecondsUp;
    Time.nMinutes += OverflowOnce(Time.nSeconds);
    Time.nHours += OverflowOnce(Time.nMinutes);
    if (Time.nHours < 0)
        Time.nHours = 23;
    else if (Time.nHours >= 24)
        Time.nHours %= 24;
    return Time;
}

// Moves it by any distance. The units overflow as far as needed, so the digits are valid after every jump.
Hmsf MoveFar(Hmsf Time, INT64 nFrameDistance, INT64 nPictureRate) {
    const INT64 nFramesPerDay = nPictureRate * 86400;
    Time.nFrames += nFrameDistance % nFramesPerDay;
    Time.nSeconds += FloorDivide(Time.nFrames, nPictureRate);
    Time.nMinutes += FloorDivide(Time.nSeconds, 60);
    Time.nHours += FloorDivide(Time.nMinutes, 60);
    FloorDivide(Time.nHours, 24);
    return Time;
}

// A picture before the previously coded one. A skipped label, or one in a second's last frames, moves back by the
// skipped count.
void BackFillEarlier(Picture &Pic) {
    Hmsf &Time = Pic.Time;
    if (Time.nFrames > Pic.Rule.nHighest && Time.nFrames < Pic.Rule.nTailOfSecond)
        return;
    Time.nFrames -= Pic.Rule.nSkipped;
    if (Time.nFrames >= 0)
        return;
    Time.nFrames += Pic.Context.nEncodedPictureRate;
    Time.nSeconds = 59;
    if (--Time.nMinutes >= 0)
        return;
    Time.nMinutes = 59;
    Time.nHours = Time.nHours == 0 ? 23 : Time.nHours - 1;
}

void BackFillLater(Picture &Pic) {
    SMPTE12M1_CONTEXT &Context = Pic.Context;
    if (Pic.Time.nFrames <= Pic.Rule.nHighest) {
        Pic.Time.nFrames += Pic.Rule.nSkipped;
    } else if (Context.BackFillStateCount == 1 && Context.bExtraSkipAllowed == TRUE) {
        Pic.Time.nFrames += Pic.Rule.nSkipped;
        Context.bExtraSkipAllowed = FALSE;
        TC_TRACE(DBG_LEVEL_DEBUG, "Extra Skip frame.\n");
    }
}

void BackFillStep(Picture &Pic) {
    SMPTE12M1_CONTEXT &Context = Pic.Context;
    TC_TRACE(DBG_LEVEL_DEBUG, "BackFill State count:%d, after frame drop.\n", Context.BackFillStateCount);
    if (Pic.nFrameDistance < 0)
        BackFillEarlier(Pic);
    else
        BackFillLater(Pic);
    if (--Context.BackFillStateCount == 0)
        TC_TRACE(DBG_LEVEL_DEBUG, "BackFill State end.\n");
}

void DropTest(Picture &Pic) {
    SMPTE12M1_CONTEXT &Context = Pic.Context;
    if (Pic.nTimeDelta <= SKIP_GUARD_SECONDS || Pic.Time.nFrames > static_cast<int>(Context.nBframes))
        return;
    if (Pic.Time.nFrames == 0 && Context.nBframes >= Pic.Rule.nBframesForExtra)
        Context.bExtraSkipAllowed = TRUE;
    if (Context.nBframes != 0)
        Context.BackFillStateCount = static_cast<int>(Context.nBframes + 1);
    Context.tDropFrameOccurred = time(nullptr);
    Pic.Time.nFrames += Pic.Rule.nSkipped;
    TC_TRACE(DBG_LEVEL_INFO, "NTSC drop frame.\n");
}

void NumberDropFrames(Picture &Pic) {
    const bool bDropZone = Pic.Time.nSeconds == 0 && Pic.Time.nMinutes % 10 != 0;
    if (Pic.Context.BackFillStateCount > 0) {
        BackFillStep(Pic);
        DropTest(Pic);
    } else if (bDropZone) {
        DropTest(Pic);
    }
}

Hmsf MoveByFrames(const Hmsf &Time, INT64 nFrameDistance, INT64 nPictureRate) {
    const bool bWithinSecond = nFrameDistance > -nPictureRate && nFrameDistance < nPictureRate;
    return bWithinSecond ? MoveWithinSecond(Time, nFrameDistance, nPictureRate)
                         : MoveFar(Time, nFrameDistance, nPictureRate);
}

bool IsUsable(const SMPTE12M1_CONTEXT &Context) {
    return TC_ASSERT(Context.PTSTicksPerFrame != 0) && TC_ASSERT(static_cast<int>(Context.nEncodedPictureRate) > 0);
}

void TraceDistance(const Picture &Pic, const Hmsf &OldSysTC, INT64 DiffTS64, UINT NewPoc) {
    if (!TraceEnabled(DBG_LEVEL_DEBUG))
        return;
    const SMPTE12M1_CONTEXT &Context = Pic.Context;
    const INT64 DiffPocFromTS = Pic.nFrameDistance;
    TC_TRACE(DBG_LEVEL_DEBUG, "nEncodedPictureRate:%d, nVUIFramerate:%d.\n",
             static_cast<int>(Context.nEncodedPictureRate), static_cast<int>(Context.nVUIFramerate));
    TC_TRACE(DBG_LEVEL_DEBUG, "OldPoc:%d, NewPoc:%d, DiffPoc:%d, DiffTS64:%ld(FR-Diff:%d), FramesTotal:%d.\n",
             static_cast<int>(Context.OldPoc), static_cast<int>(NewPoc),
             static_cast<int>(WrappingProduct(2, DiffPocFromTS)), DiffTS64, static_cast<int>(DiffPocFromTS),
             static_cast<int>(WrappingSum(OldSysTC.nFrames, DiffPocFromTS)));
    TC_TRACE(DBG_LEVEL_DEBUG, "H:M:S:F before drop frame adjustements:[%02d:%02d:%02d:%02d].\n",
             static_cast<int>(Pic.Time.nHours), static_cast<int>(Pic.Time.nMinutes),
             static_cast<int>(Pic.Time.nSeconds), static_cast<int>(Pic.Time.nFrames));
}

} // namespace

void Timecode_MakeSMPTE12M1VITC(SMPTE12M1_CONTEXT *pContext, UINT NewPoc, UINT64 Timestamp64, vitc_t *pNewSystemTC) {
    const time_t tNow = time(nullptr);
    const bool bWritable = TC_ASSERT(pNewSystemTC != NULL);
    if (!TC_ASSERT(pContext != NULL) || !bWritable)
        return;
    if (!IsUsable(*pContext))
        return;
    Picture Pic{.Context = *pContext};
    const SMPTE12M1_CONTEXT &Context = *pContext;
    const Hmsf OldSysTC = DigitsOf(Context.OldSystemTC);
    const INT64 DiffTS64 = CalcPTSDiffEx(Context.OldTimestamp64, Timestamp64);
    Pic.nTimeDelta = static_cast<UINT>(WrappingDifference(tNow, Context.tDropFrameOccurred));
    Pic.nFrameDistance = RoundToFrames(DiffTS64, Context.PTSTicksPerFrame);
    Pic.Time = MoveByFrames(OldSysTC, Pic.nFrameDistance, Context.nEncodedPictureRate);
    TraceDistance(Pic, OldSysTC, DiffTS64, NewPoc);
    Pic.Rule = DropRuleOf(Context.nVUIFramerate);
    if (Pic.Rule.nSkipped > 0)
        NumberDropFrames(Pic);
    // Only now, and only the digits: pNewSystemTC may lie in the context.
    SetDigits(*pNewSystemTC, Pic.Time);
}
