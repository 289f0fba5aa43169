// Fields that several threads touch without a lock, and the throttles of repeated messages.
// Relaxed accesses: each field stands for itself, and a race only changes how often a message is written.
#ifndef TIMECODE_CORE_SHARED_H
#define TIMECODE_CORE_SHARED_H

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
