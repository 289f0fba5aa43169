// A picture rate in the forms in which the timecode library wants it.
// The 1000/1001 rates have codes of their own there: 23000, 29000 and 59000.
#ifndef ENCODER_MEDIA_PICTURE_RATE_H
#define ENCODER_MEDIA_PICTURE_RATE_H

#include "xtypes.h"

#include <optional>

#include "media/av.h"

namespace encoder {

struct PictureRate {
    AVRational Exact{30, 1};
    UINT nWhole = 30;           // at which frame numbers wrap: 30 at 29.97 Hz
    UINT nVUIFramerate = 30000; // rate code
    UINT nTicksPerFrame = 3000; // frame duration in 90 kHz ticks, truncated: 1501 at 59.94 Hz
    UINT nSkippedLabels = 0;    // frame numbers that drop-frame numbering leaves out at a minute's start
};

// Rates within a hundredth of a 1000/1001 rate count as that rate. Nothing for rates that no video has.
std::optional<PictureRate> MakePictureRate(AVRational Rate);

} // namespace encoder

#endif
