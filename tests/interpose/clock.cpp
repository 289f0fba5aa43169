#include "interpose/clock.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr INT64 NSEC_PER_SEC = 1'000'000'000;

} // namespace

constinit interpose::Clock interpose::g_Clock;

using interpose::g_Clock;

void interpose::SetZone(const char *szZone) {
    setenv("TZ", szZone, 1); // NOLINT(concurrency-mt-unsafe): before other threads start
    tzset();
}

extern "C" {
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the C library names them otherwise.

int clock_gettime(clockid_t nClock, timespec *pTime) noexcept {
    if (nClock != CLOCK_REALTIME || g_Clock.bReal)
        return static_cast<int>(syscall(SYS_clock_gettime, nClock, pTime));
    if (g_Clock.bFails) {
        errno = EINVAL;
        return -1;
    }
    *pTime = {g_Clock.nSec + g_Clock.nNsec / NSEC_PER_SEC, g_Clock.nNsec % NSEC_PER_SEC};
    return 0;
}

// Still tells the time where clock_gettime fails.
time_t time(time_t *ptNow) noexcept {
    timespec tpNow{g_Clock.nSec + g_Clock.nNsec / NSEC_PER_SEC, 0};
    if (g_Clock.bReal)
        clock_gettime(CLOCK_REALTIME, &tpNow);
    if (ptNow != nullptr)
        *ptNow = tpNow.tv_sec;
    return tpNow.tv_sec;
}

tm *localtime_r(const time_t *ptTime, tm *pLocal) noexcept {
    static const auto pReal = reinterpret_cast<decltype(&localtime_r)>(dlsym(RTLD_NEXT, "localtime_r"));
    return g_Clock.bLocalTimeFails && !g_Clock.bReal ? nullptr : pReal(ptTime, pLocal);
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
}
