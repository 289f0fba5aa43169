// Which picture rates can be counted in, which codes mark the 1000/1001 rates, and the frame period.
// Single-precision steps in a fixed order: the period must come out the same on every machine.
#ifndef TIMECODE_CONVERSION_FRAME_PERIOD_H
#define TIMECODE_CONVERSION_FRAME_PERIOD_H

#include "xtypes.h"

#include "core/rate_codes.h"
#include "core/trace.h"
#include "dbgtrace.h"

namespace timecode {

// A picture rate that can be counted in. 0 is traced, a negative one reported.
inline bool IsUsableRate(int nEncodedPictureRate, const Position &Here) {
    if (nEncodedPictureRate == 0 && TraceEnabled(DBG_LEVEL_DEBUG))
        _DoDbgPrintEx(g_hTCLibDbg, DBG_LEVEL_DEBUG, Here.szFunction, Here.szFile, Here.nLine,
                      "nEncodedPictureRate:%d is 0. Cannot translate.\n", nEncodedPictureRate);
    return nEncodedPictureRate != 0 && Verify(nEncodedPictureRate > 0, "nEncodedPictureRate > 0", Here);
}

// 59.94, 29.97 and 23.976 Hz.
inline bool IsThousandAndOneRate(ULONG nVUIFramerate) {
    return nVUIFramerate == RATE_CODE_59_94 || nVUIFramerate == RATE_CODE_29_97 || nVUIFramerate == RATE_CODE_23_976;
}

// Microseconds a frame. At the 1000/1001 rates whole 90 kHz ticks, cut: 3003 at 30, 1501 at 60, 3753 at 24.
// There, 0 for rates whose period is below a tick.
float MicroSecPerFrame(UINT64 nPicRate, ULONG nVUIFramerate);

// Nanoseconds a frame, in integers: cut first, then stretched by 1001/1000. 0 for rates above 1 GHz.
UINT64 NanoSecPerFrame(UINT64 nPicRate, ULONG nVUIFramerate);

} // namespace timecode

#endif
