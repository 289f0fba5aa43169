// The clock of a program under test: CLOCK_REALTIME, time() and localtime_r are answered from here.
#ifndef TESTS_INTERPOSE_CLOCK_H
#define TESTS_INTERPOSE_CLOCK_H

#include "xtypes.h"

#include <atomic>

namespace interpose {

struct Clock {
    std::atomic<INT64> nSec{0};
    std::atomic<INT64> nNsec{0}; // added, also beyond a second
    std::atomic<bool> bFails{false};
    std::atomic<bool> bLocalTimeFails{false};
    std::atomic<bool> bReal{false}; // for what runs beside the tests in the same program
};
extern Clock g_Clock;

// Sets the local time zone of the process, in the notation of TZ.
void SetZone(const char *szZone);

} // namespace interpose

#endif
