// The eight digits of a timecode as four numbers.
// They are read as bytes: the timecode may lie in a payload that was written through another view.
#ifndef TIMECODE_CORE_DIGITS_H
#define TIMECODE_CORE_DIGITS_H

#include "xtypes.h"

#include <cstddef>

#include "vanc.h"

namespace timecode {

// Hours, minutes, seconds and frames of a timecode. Wide and signed, so that sums of any digits fit.
struct Hmsf {
    INT64 nHours;
    INT64 nMinutes;
    INT64 nSeconds;
    INT64 nFrames;
};

inline Hmsf DigitsOf(const vitc_t &Vitc) {
    const auto *const pBytes = reinterpret_cast<const unsigned char *>(&Vitc);
    const auto Value = [pBytes](size_t nTens, size_t nUnits) { return pBytes[nTens] * 10 + pBytes[nUnits]; };
    return {Value(offsetof(vitc_t, HourTens), offsetof(vitc_t, HourUnits)),
            Value(offsetof(vitc_t, MinuteTens), offsetof(vitc_t, MinuteUnits)),
            Value(offsetof(vitc_t, SecondTens), offsetof(vitc_t, SecondUnits)),
            Value(offsetof(vitc_t, FrameTens), offsetof(vitc_t, FrameUnits))};
}

// Writes a value as two digits; the tens of one above 99 are cut to a byte.
inline void SplitInto(unsigned char &nTens, unsigned char &nUnits, INT64 nValue) {
    nTens = static_cast<unsigned char>(nValue / 10);
    nUnits = static_cast<unsigned char>(nValue % 10);
}

// The digits alone; all else of the timecode stays.
inline void SetDigits(vitc_t &Vitc, const Hmsf &Time) {
    SplitInto(Vitc.HourTens, Vitc.HourUnits, Time.nHours);
    SplitInto(Vitc.MinuteTens, Vitc.MinuteUnits, Time.nMinutes);
    SplitInto(Vitc.SecondTens, Vitc.SecondUnits, Time.nSeconds);
    SplitInto(Vitc.FrameTens, Vitc.FrameUnits, Time.nFrames);
}

} // namespace timecode

#endif
