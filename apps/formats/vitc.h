// Vertical interval timecode (SMPTE ST 12-2): painting it into a picture, and deciding which readings to believe.
// Eight check bits let one wrong reading in 256 pass, so a reading must also follow from those before it.
#ifndef ENCODER_FORMATS_VITC_H
#define ENCODER_FORMATS_VITC_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "formats/timecode_label.h"

namespace encoder {

// Rows of a picture's 8-bit luma plane, which belongs to the caller.
struct LumaRows {
    std::uint8_t *pFirst = nullptr;
    std::ptrdiff_t nStride = 0;
    int nWidth = 0;
    int nRows = 0;
};

// Paints the same VITC line into each row. Above 30 Hz the line carries the number of a pair of frames, and the field
// flag tells the second one. At least 192 pixels are needed (two for each bit); returns false for less and for a label
// that is not valid at the rate.
bool PaintVitc(const LumaRows &Rows, const TimecodeLabel &Label, int nRate);

// A label and the PTS (90 kHz) of the picture that showed it.
struct TimecodeReading {
    TimecodeLabel Label;
    std::uint64_t nPTS = 0;
};

// Believes a reading that follows from the last believed one by the PTS between them, give or take a frame. Any other,
// the first included, is held back until the next reading follows from it. One frame of tolerance lets no misread
// digit through: an error within one digit never passes the check bits.
class TimecodeFilter {
public:
    // The picture rate as a fraction: 30000, 1001 for 29.97 Hz. Without a rate (0) no reading is believed, nor above
    // 60 Hz, where a line's number stands for more than two frames.
    TimecodeFilter(int nRateNumerator, int nRateDenominator);

    // Takes one reading as the line carries it, and returns those that are believed with it, in order: none; this one;
    // or the one held back and this one. Above 30 Hz a line shows the number of a pair of frames, and what is returned
    // holds the number of the frame itself. The PTS may wrap at 33 bits.
    std::vector<TimecodeReading> Offer(const TimecodeLabel &Label, std::uint64_t nPTS);

    // Readings that were never believed, without the one now held back.
    std::uint64_t Rejected() const { return m_nRejected; }

private:
    std::optional<TimecodeReading> Following(const TimecodeReading &Before, const TimecodeReading &AsRead,
                                             int nTolerance) const;
    std::vector<TimecodeReading> Confirm(const TimecodeReading &AsRead) const;
    TimecodeReading FrameOf(const TimecodeReading &AsRead, int nFrameOfRead) const;

    double m_FramesPerTick;
    int m_nRate;          // at which frame numbers wrap
    int m_nFramesPerRead; // frames that show the same number: 2 above 30 Hz
    std::optional<TimecodeReading> m_LastBelieved;
    std::optional<TimecodeReading> m_Held; // as it was read
    std::uint64_t m_nRejected = 0;
};

} // namespace encoder

#endif
