// The rate codes that mean something to the library; any other value marks no 1000/1001 rate.
#ifndef TIMECODE_CORE_RATE_CODES_H
#define TIMECODE_CORE_RATE_CODES_H

#include "xtypes.h"

namespace timecode {

constexpr UINT RATE_CODE_23_976 = 23000;
constexpr UINT RATE_CODE_29_97 = 29000; // with drop-frame numbering
constexpr UINT RATE_CODE_59_94 = 59000; // with drop-frame numbering

// The rate code as the conversions take it: a request holds it as an int, which is widened with its sign.
inline ULONG RateCode(int nVUIFrameRate) {
    return static_cast<ULONG>(static_cast<INT64>(nVUIFrameRate));
}

} // namespace timecode

#endif
