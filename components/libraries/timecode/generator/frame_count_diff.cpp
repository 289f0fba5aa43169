// The number of frames between two timecodes.
#include "core/digits.h"
#include "core/rate_codes.h"
#include "core/trace.h"
#include "timecode.h"

using namespace timecode;

namespace {

// How frames are counted: drop-frame numbering takes labels out of every minute but each tenth.
struct Counting {
    UINT nFramesPerSecond;
    UINT nDroppedPerMinute;
};

Counting CountingOf(UINT nEncodedPictureRate, UINT nVUIFramerate) {
    switch (nVUIFramerate) {
    case RATE_CODE_59_94:
        return {60, 4};
    case RATE_CODE_29_97:
        return {30, 2};
    default:
        return {nEncodedPictureRate, 0};
    }
}

// Unsigned, so that digits and rates out of range wrap instead of overflowing.
UINT FrameCount(const Hmsf &Time, const Counting &Rule) {
    const auto nMinutes = static_cast<UINT>(Time.nHours * 60 + Time.nMinutes);
    const auto nSeconds = nMinutes * 60 + static_cast<UINT>(Time.nSeconds);
    return nSeconds * Rule.nFramesPerSecond + static_cast<UINT>(Time.nFrames) -
           (nMinutes - nMinutes / 10) * Rule.nDroppedPerMinute;
}

} // namespace

void Timecode_CalcFrameCountDiff(UINT nEncodedPictureRate, UINT nVUIFramerate, vitc_t OldSystemTC, vitc_t NewSystemTC,
                                 int *pnFrameCountDiff) {
    const bool bWritable = TC_ASSERT(pnFrameCountDiff != NULL);
    Hmsf Old = DigitsOf(OldSystemTC);
    Hmsf New = DigitsOf(NewSystemTC);
    if (New.nHours == 0 && Old.nHours == 23)
        New.nHours = 24;
    else if (Old.nHours == 0 && New.nHours == 23)
        Old.nHours = 24;
    const Counting Rule = CountingOf(nEncodedPictureRate, nVUIFramerate);
    const UINT OldFrameCount = FrameCount(Old, Rule);
    const UINT NewFrameCount = FrameCount(New, Rule);
    const auto FrameCountDiff = static_cast<int>(NewFrameCount - OldFrameCount);
    TC_TRACE(DBG_LEVEL_DEBUG, "OldFrameCount:%d, NewFrameCount:%d, FrameCountDiff:%d.\n",
             static_cast<int>(OldFrameCount), static_cast<int>(NewFrameCount), FrameCountDiff);
    if (bWritable)
        *pnFrameCountDiff = FrameCountDiff;
}
