// One SMPTE 12M timecode as a label of a picture, with its drop-frame flag, and the frame count behind it.
// nRate is the whole-number rate at which frame numbers wrap: 30 at 29.97 Hz, 60 at 59.94 Hz.
#ifndef ENCODER_FORMATS_TIMECODE_LABEL_H
#define ENCODER_FORMATS_TIMECODE_LABEL_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "vanc.h"

namespace encoder {

struct TimecodeLabel {
    int nHours = 0;
    int nMinutes = 0;
    int nSeconds = 0;
    int nFrames = 0;
    bool bDropFrame = false;

    friend bool operator==(const TimecodeLabel &, const TimecodeLabel &) = default;
};

// A real label: each part in its range, and none of those that drop-frame numbering leaves out. False for a rate
// below 1, and for a drop-frame label at a rate that is no multiple of 30.
bool IsValid(const TimecodeLabel &Label, int nRate);

// The digits alone; all other fields of the record are 0. The label's parts must be 0 to 99.
vitc_t ToVitc(const TimecodeLabel &Label);
TimecodeLabel FromVitc(const vitc_t &Vitc, bool bDropFrame);

// "HH:MM:SS:FF", or "HH:MM:SS;FF" with drop frame. Reading takes exactly that, with hours to 23 and minutes and
// seconds to 59; whether the frame number exists at a rate is for IsValid to say.
std::string ToText(const TimecodeLabel &Label);
std::optional<TimecodeLabel> FromText(std::string_view Text);

// The 32-bit form in which FFmpeg hands out SMPTE ST 12-1 timecode: BCD digits, and above 30 Hz the number of a pair of
// frames with the field flag telling its second frame. Nothing when it is no valid label at the rate, nor above 60 Hz:
// the tens have two bits, too few for the numbers of more than 40 pairs.
std::optional<TimecodeLabel> FromSmpte12M(std::uint32_t nValue, int nRate);

// Frames since midnight, with drop-frame numbering where the label says so; the label must be valid at the rate.
std::int64_t ToFrameCount(const TimecodeLabel &Label, int nRate);

// The label of any frame count, which may lie days before or after midnight. nRate must be 1 or more, and a multiple
// of 30 with drop frame.
TimecodeLabel FromFrameCount(std::int64_t nCount, int nRate, bool bDropFrame);

// Frames in 24 hours of labels.
std::int64_t FramesPerDay(int nRate, bool bDropFrame);

} // namespace encoder

#endif
