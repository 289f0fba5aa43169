// Chooses the timecode that is written into the stream beside each coded picture of one input, so that it always agrees
// with the picture's time: the picture's own label where source 2 gave it one, else the next number of the generator,
// which is seeded with the first picture's time and again when the two have come apart.
#ifndef ENCODER_STREAM_TIMECODE_H
#define ENCODER_STREAM_TIMECODE_H

#include <optional>

#include "generated_timecode.h"
#include "options.h"
#include "picture_time.h"
#include "tally.h"

namespace encoder {

class StreamTimecode {
public:
    StreamTimecode(const PictureRate &Rate, const Options &Settings, Tally &Counts);

    // The next picture in coding order. Own: the label that the picture itself shows. Nothing before the first time,
    // unless the options say what to begin with, and above 60 Hz, where SMPTE ST 12-1 has no labels.
    std::optional<TimecodeLabel> Next(UINT64 nPTS, const PictureTime &Time, const std::optional<TimecodeLabel> &Own);

    // The next picture begins a new stretch of the input.
    void StartAnew();

private:
    std::optional<TimecodeLabel> Generated(UINT64 nPTS);
    bool IsApart(const TimecodeLabel &Label, const PictureTime &Time) const;
    double LabelFrames(const TimecodeLabel &Label) const;
    double TimeFrames(const PictureTime &Time) const;

    const PictureRate m_Rate;
    const double m_Hz; // of seconds of the day
    const int m_nResync;
    const std::optional<TimecodeLabel> m_First;
    Tally &m_Tally;
    GeneratedTimecode m_Generator;
    bool m_bSeededByTime = false;
    double m_SeedOffset = 0; // of the label that was seeded, from the time that it stands for, in frames
};

} // namespace encoder

#endif
