// The number of frames between two timecodes.
#include "core/record.h"
#include "core/trace.h"

using namespace timecode;

// How frames are counted: drop-frame numbering takes labels out of every minute and gives them back every tenth.
struct Counting {
    UINT nFramesPerSecond;
    UINT nFramesPerMinute;
    UINT nGivenBackPerTenMinutes;
    UINT nFramesPerHour;
};

static Counting CountingOf(UINT nEncodedPictureRate, UINT nVUIFramerate) {
    switch (nVUIFramerate) {
    case 59000:
        return {60, 3596, 4, 215784};
    case 29000:
        return {30, 1798, 2, 107892};
    default:
        return {nEncodedPictureRate, 60 * nEncodedPictureRate, 0, 3600 * nEncodedPictureRate};
    }
}

// Unsigned, so that digits and rates out of range wrap instead of overflowing.
static UINT FrameCount(const Hmsf &Time, const Counting &Rule) {
    const auto nMinutes = static_cast<UINT>(Time.nMinutes);
    return static_cast<UINT>(Time.nHours) * Rule.nFramesPerHour + nMinutes * Rule.nFramesPerMinute +
           nMinutes / 10 * Rule.nGivenBackPerTenMinutes + static_cast<UINT>(Time.nSeconds) * Rule.nFramesPerSecond +
           static_cast<UINT>(Time.nFrames);
}

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
