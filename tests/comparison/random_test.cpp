// Random sessions of calls: the library and its model answer, write and say the same.
#include <chrono>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>
#include <random>

#include "model/counted.h"
#include "model/session.h"

namespace {

// A session of a given length from a seed.
class RandomChoices : public model::Choices {
public:
    RandomChoices(UINT64 nSeed, UINT64 nChoices) : m_Random(nSeed), m_nLeft(nChoices) {}

    [[nodiscard]] bool IsEmpty() const override { return m_nLeft == 0; }
    UINT64 Bits(unsigned nBytes) override {
        m_nLeft -= m_nLeft > 0 ? 1 : 0;
        return m_Random() >> (64 - 8 * nBytes);
    }

private:
    std::mt19937_64 m_Random;
    UINT64 m_nLeft;
};

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
    model::Comparison Both(model::TakeCounted);
    for (UINT64 nSession = nFirst; nSession < nFirst + nSessions; ++nSession) {
        RandomChoices From(nSession, 20'000);
        const auto enCare = nSession % 4 == 0 ? model::Care::Thorough : model::Care::Fast;
        try {
            model::RunSession(Both, From, enCare);
        } catch (const BrokenPromise &Broken) {
            FAIL() << "session " << nSession << ": " << Broken.what();
        }
    }
    RecordProperty("calls", std::to_string(Both.Calls()));
    std::cout << Both.Calls() << " calls compared\n";
}

} // namespace
