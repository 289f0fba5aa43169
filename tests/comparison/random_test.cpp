// Random sessions of calls: the library and its model answer, write and say the same.
#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>
#include <random>
#include <vector>

#include "model/session.h"

namespace {

// A number from the environment, for longer runs by hand.
UINT64 Setting(const char *szName, UINT64 nDefault) {
    const char *const szValue = std::getenv(szName);
    return szValue == nullptr ? nDefault : std::strtoull(szValue, nullptr, 10);
}

#ifdef __SANITIZE_THREAD__
constexpr UINT64 USUAL_SESSIONS = 20; // one thread only, and a slow one
#else
constexpr UINT64 USUAL_SESSIONS = 200;
#endif

TEST(Comparison, RandomSessionsAreAnsweredAsTheModelSays) {
    const UINT64 nFirst = Setting("TIMECODE_FIRST_SESSION", 1);
    const UINT64 nSessions = Setting("TIMECODE_SESSIONS", USUAL_SESSIONS);
    interpose::g_Services.enMessages = interpose::Messages::Counted;
    model::Comparison Both(&interpose::g_Services);
    for (UINT64 nSession = nFirst; nSession < nFirst + nSessions; ++nSession) {
        std::vector<UINT64> Choices(4000);
        std::generate(Choices.begin(), Choices.end(), std::mt19937_64(nSession));
        const std::span Bytes(reinterpret_cast<const BYTE *>(Choices.data()), Choices.size() * sizeof(UINT64));
        try {
            model::RunSession(Both, Bytes, nSession % 4 == 0 ? model::Care::Thorough : model::Care::Fast);
        } catch (const BrokenPromise &Broken) {
            FAIL() << "session " << nSession << ": " << Broken.what();
        }
    }
    RecordProperty("calls", std::to_string(Both.Calls()));
    std::cout << Both.Calls() << " calls compared\n";
}

} // namespace
