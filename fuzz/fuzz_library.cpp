// Bytes become a session of calls of the library and of its model, which must answer, write and say the same.
// Built twice: thorough, and fast (see model::Care).
#include <csignal>
#include <cstdio>

#include "interpose/clock.h"
#include "model/session.h"

#ifndef FUZZ_CARE
#define FUZZ_CARE Thorough
#endif

using interpose::g_Clock;

namespace {

constexpr model::Care CARE = model::Care::FUZZ_CARE;

// Says at the end how many calls there were.
struct Counted : model::Comparison {
    Counted() : model::Comparison(&interpose::g_Services) {}
    ~Counted() { std::fprintf(stderr, "%llu calls compared\n", static_cast<unsigned long long>(Calls())); }
};

Counted &Both() {
    static Counted Calls;
    return Calls;
}

struct sigaction g_Watchdog;

// libFuzzer looks for inputs that hang from a signal's handler, by the same clock: there it must be the real one.
void OnAlarm(int nSignal, siginfo_t *pInfo, void *pvContext) {
    const bool bReal = g_Clock.bReal.exchange(true);
    g_Watchdog.sa_sigaction(nSignal, pInfo, pvContext);
    g_Clock.bReal = bReal;
}

bool LetWatchdogSeeTheTime() {
    if (sigaction(SIGALRM, nullptr, &g_Watchdog) != 0 || g_Watchdog.sa_handler == SIG_DFL)
        return true; // a single input is run again, without the watchdog
    struct sigaction Own = g_Watchdog;
    Own.sa_sigaction = OnAlarm;
    return sigaction(SIGALRM, &Own, nullptr) == 0;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    g_Clock.bReal = true;
    // Where there is time for it, messages are formed, so that their arguments are read.
    constexpr bool THOROUGH = CARE == model::Care::Thorough;
    interpose::g_Services.enMessages = THOROUGH ? interpose::Messages::Formed : interpose::Messages::Counted;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *pBytes, size_t nSize) {
    static const bool bWatchdogSeesTheTime = LetWatchdogSeeTheTime();
    Demand(bWatchdogSeesTheTime, "the watchdog is set");
    g_Clock.bReal = false;
    model::RunSession(Both(), {pBytes, nSize}, CARE);
    g_Clock.bReal = true;
    return 0;
}
