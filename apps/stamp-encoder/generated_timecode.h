// Numbers the coded pictures of one input with SMPTE 12M-1 timecode, drop-frame at 29.97 and 59.94 Hz.
// Wraps the library's generator: its context, the seed, and its guard time. One thread.
#ifndef ENCODER_GENERATED_TIMECODE_H
#define ENCODER_GENERATED_TIMECODE_H

#include <optional>

#include "formats/timecode_label.h"
#include "media/picture_rate.h"
#include "timecode.h"

namespace encoder {

class GeneratedTimecode {
public:
    // Bframes: B pictures between two others in the coding structure, by which the library's generator finds its way
    // around a drop-frame skip. Where that is not known, the pictures are counted by their PTS.
    GeneratedTimecode(const PictureRate &Rate, std::optional<int> Bframes);

    bool IsSeeded() const { return m_bSeeded; }
    void Forget() { m_bSeeded = false; }

    // Makes Next give the first coded picture, of PTS nPTS, this timecode. At the drop-frame rates a label that
    // drop-frame numbering leaves out becomes the next one that exists.
    void Seed(const vitc_t &FirstPicture, UINT64 nPTS);

    // The timecode of the next picture in coding order.
    TimecodeLabel Next(UINT64 nPTS);

private:
    void SetGuard(UINT64 nPTS);
    TimecodeLabel Counted(UINT64 nPTS) const;

    const PictureRate m_Rate;
    const bool m_bCounts;
    SMPTE12M1_CONTEXT m_Context{};
    UINT64 m_nFirstPTS = 0;
    std::int64_t m_nFirstCount = 0; // of the first picture's label
    UINT64 m_nSkipPTS = 0;          // of the last drop-frame skip
    bool m_bSkipped = false;        // there has been one
    bool m_bSeeded = false;
};

} // namespace encoder

#endif
