// Numbers and small rules that the model's files share.
#ifndef TESTS_MODEL_RULES_H
#define TESTS_MODEL_RULES_H

#include <ctime>

#include "model/library.h"

namespace model {

constexpr UINT64 MATCH_TICKS = 359;
constexpr INT64 FAILURE_MS = 5000;
constexpr INT64 RECOVERY_MS = 750;

// The status byte.
constexpr BYTE NOT_LOCKED = 0x80;
constexpr BYTE DISCONTINUITY = 0x40;
constexpr BYTE REVERSE = 0x20;
constexpr BYTE RESERVED = 0x1F;

inline bool IsInput(int nInput) {
    return nInput >= 0 && nInput < NUM_VIDEO_INPUTS;
}

inline bool IsQueued(int enSource) {
    return enSource >= TCSOURCE_HIGH_PRECISION_TIMESTAMP && enSource <= TCSOURCE_LDS_TIMESTAMP;
}

inline time_t Seconds() {
    return time(nullptr);
}

// A rate code is an int in a request; the conversions take it as 64 bits.
inline PictureRate RateOf(const Request &Asked) {
    return {Asked.nRate, static_cast<ULONG>(INT64{Asked.nCode})};
}

// The clock in microseconds; none where 64 bits do not hold it.
inline std::optional<INT64> UsecOfClock(const timespec &Now) {
    const Wide nUsec = Wide{Now.tv_sec} * 1'000'000 + Now.tv_nsec / 1000;
    return nUsec == In64(nUsec) ? std::optional(In64(nUsec)) : std::nullopt;
}

} // namespace model

#endif
