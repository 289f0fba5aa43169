// Fields that several threads touch without a lock, and the throttles of repeated messages.
// Relaxed accesses: each field stands for itself, and a race only changes how often a message is written.
#ifndef TIMECODE_CORE_SHARED_H
#define TIMECODE_CORE_SHARED_H

#include "xtypes.h"

#include <atomic>
#include <ctime>

#include "core/units.h"

namespace timecode {

template <class T>
T LoadShared(T &Field) {
    return std::atomic_ref<T>(Field).load(std::memory_order_relaxed);
}

template <class T>
void StoreShared(T &Field, T Value) {
    std::atomic_ref<T>(Field).store(Value, std::memory_order_relaxed);
}

inline void CountShared(UINT64 &nField) {
    std::atomic_ref<UINT64>(nField).fetch_add(1, std::memory_order_relaxed);
}

// More than so many whole seconds lie between two passages of a message: at most one in 5 seconds, one a second, one in
// 10 and one in 30 seconds.
constexpr time_t USUAL_THROTTLE_SECONDS = 4;
constexpr time_t TIMECODE_THROTTLE_SECONDS = 0;
constexpr time_t SLOW_THROTTLE_SECONDS = 9;
constexpr time_t CLOCK_THROTTLE_SECONDS = 29;

// Lets a message pass when more than nSeconds have gone by since it last did. After the clock steps back, no message
// passes until the old time is reached. The stamp advances even if the level suppresses the message.
inline bool ThrottlePasses(time_t &tLastPassage, time_t tCurrent, time_t nSeconds) {
    if (WrappingDifference(tCurrent, LoadShared(tLastPassage)) <= nSeconds)
        return false;
    StoreShared(tLastPassage, tCurrent);
    return true;
}

} // namespace timecode

#endif
