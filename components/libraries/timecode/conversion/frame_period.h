// The frame period of a picture rate, and which rate codes mark the 1000/1001 rates.
// Single-precision steps in a fixed order: the period must come out the same on every machine.
#ifndef TIMECODE_CONVERSION_FRAME_PERIOD_H
#define TIMECODE_CONVERSION_FRAME_PERIOD_H

#include "xtypes.h"

namespace timecode {

// 59000, 29000 and 23000: 59.94, 29.97 and 23.976 Hz.
inline bool IsThousandAndOneRate(ULONG nVUIFramerate) {
    return nVUIFramerate == 59000 || nVUIFramerate == 29000 || nVUIFramerate == 23000;
}

// The rate code as the conversions take it: a request carries it as an int, which is widened with its sign.
inline ULONG RateCode(int nVUIFrameRate) {
    return static_cast<ULONG>(static_cast<INT64>(nVUIFrameRate));
}

// Microseconds a frame. At the 1000/1001 rates whole 90 kHz ticks, cut: 3003 at 30, 1501 at 60, 3753 at 24.
// There, 0 for rates whose period is below a tick.
float MicroSecPerFrame(UINT64 nPicRate, ULONG nVUIFramerate);

// Nanoseconds a frame, in integers: cut first, then stretched by 1001/1000. 0 for rates above 1 GHz.
UINT64 NanoSecPerFrame(UINT64 nPicRate, ULONG nVUIFramerate);

} // namespace timecode

#endif
