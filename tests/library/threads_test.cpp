// Producers, retrievers, flushes and statistics of all inputs at once: every answer was queued, and nothing is torn.
#include <functional>
#include <latch>
#include <thread>

#include "fixture.h"

namespace {

class Threads : public LibraryTest, public testing::WithParamInterface<int> {
protected:
    Threads() : LibraryTest(GetParam()) { g_Services.enMessages = interpose::Messages::Formed; }
    ~Threads() override { g_Services.enMessages = interpose::Messages::Recorded; }
};

constexpr UINT64 LAST_PTS = 400'000;
constexpr UINT64 LAG_TICKS = 2000;   // of a picture behind the newest time stamp
constexpr UINT64 LEAD_TICKS = 6000;  // of the producer before the picture; an input's records span 9000
constexpr INT64 USEC_PER_TICK = 7;   // so that a payload tells which PTS it was queued with
constexpr BYTE QUEUED_STATUS = 0x00; // a carried time has 0x1F or 0x9F

std::atomic<int> g_nTakenAtCursor;
std::atomic<UINT64> g_nNewest[NUM_VIDEO_INPUTS];
std::atomic<UINT64> g_nAllowed[NUM_VIDEO_INPUTS];

INT64 UtcOf(int nInput, int enSource, UINT64 nPTS) {
    return static_cast<INT64>(nPTS) * USEC_PER_TICK + nInput * 4 + enSource;
}

// Keeps an input's producer and requests in step, so that a picture's records are queued and not yet overwritten.
// Relaxed, like the stores, so as not to do the work of the library's locks.
void WaitFor(const std::atomic<UINT64> &nReached, UINT64 nPTS) {
    while (nReached.load(std::memory_order_relaxed) < nPTS)
        std::this_thread::yield();
}

void Produce(int nInput, std::latch &Start) {
    Start.arrive_and_wait();
    for (UINT64 nPTS = 100; nPTS <= LAST_PTS; nPTS += 100) {
        WaitFor(g_nAllowed[nInput], nPTS);
        const int enSource = nPTS % 200 ? TCSOURCE_HIGH_PRECISION_TIMESTAMP : TCSOURCE_LDS_TIMESTAMP;
        TCPayload Payload = {};
        Payload.KLVTC = {QUEUED_STATUS, UtcOf(nInput, enSource, nPTS)};
        EXPECT_EQ(Timecode_SetUTC(nInput, enSource, nPTS, &Payload), TRUE);
        Payload.vitc = Timecode(12, 0, 0, 0);
        Timecode_SetUTC(nInput, TCSOURCE_SMPTE12M_TIMESTAMP, nPTS, &Payload);
        g_nNewest[nInput].store(nPTS, std::memory_order_relaxed);
        g_Clock.nNsec.fetch_add(1'000'000, std::memory_order_relaxed);
    }
}

// Even inputs keep their cursor, and with it one source (1 or 3); odd ones ask for all.
void Retrieve(int nInput, std::latch &Start) {
    Start.arrive_and_wait();
    void *pCursor = nullptr;
    for (UINT64 nPTS = 150; nPTS + LAG_TICKS <= LAST_PTS; nPTS += 200) {
        g_nAllowed[nInput].store(nPTS + LEAD_TICKS, std::memory_order_relaxed);
        WaitFor(g_nNewest[nInput], nPTS + LAG_TICKS);
        const bool bKeepsCursor = nInput % 2 == 0;
        const BOOL bSwitch = !bKeepsCursor && nPTS % 400 == 150 ? TRUE : FALSE;
        const int enSource = bKeepsCursor ? nInput + 1 : static_cast<int>(nPTS / 200 % 5);
        const auto Got = Ask({.nInput = nInput, .enSource = enSource, .bSwitch = bSwitch, .nPTS = nPTS}, pCursor);
        const model::Record Used = Got.bResult ? model::RecordOf(*Got.Utc) : model::Record{};
        const bool bQueued = Used.enSource % 2 == 1 && (Used.Payload.Status() & 0x7F) != 0x1F;
        EXPECT_TRUE(!bQueued || Used.Payload.Utc() == UtcOf(nInput, Used.enSource, Used.nPTS));
        g_nTakenAtCursor.fetch_add(bQueued && pCursor ? 1 : 0, std::memory_order_relaxed);
        pCursor = bQueued && bKeepsCursor ? Got.pCursor : nullptr;
        int enNext = enSource;
        _VerifyTimeSourceSwitch(nInput, TRUE, &enNext); // takes no lock: in the thread of the input's requests
        EXPECT_THAT(enNext, testing::AnyOf(enSource, enSource % 4 ? enSource + 1 : 0));
    }
}

void Disturb(std::latch &Start) {
    Start.arrive_and_wait();
    for (int nRound = 0; g_nNewest[nRound % NUM_VIDEO_INPUTS] < LAST_PTS; ++nRound) {
        const int nInput = nRound % NUM_VIDEO_INPUTS;
        Stats(nInput);
        if (nRound % 3 == 0)
            Timecode_ResetStats(nInput);
        if (nRound % 64 < NUM_VIDEO_INPUTS)
            Timecode_Flush(nInput);
        EXPECT_EQ(GetSystemUtc({.nPTS = 90'000, .llBaseUTC = NoonUsec()}).Label, Timecode(12, 0, 0, 24));
    }
}

TEST_P(Threads, EveryAnswerWasQueuedAsItIs) {
    g_nTakenAtCursor = 0;
    std::latch Start(2 * NUM_VIDEO_INPUTS + 2);
    std::vector<std::jthread> Running;
    for (int nInput = 0; nInput < NUM_VIDEO_INPUTS; ++nInput) {
        g_nNewest[nInput] = g_nAllowed[nInput] = 0;
        Running.emplace_back(Produce, nInput, std::ref(Start));
        Running.emplace_back(Retrieve, nInput, std::ref(Start));
    }
    for (int nThread = 0; nThread < 2; ++nThread)
        Running.emplace_back(Disturb, std::ref(Start));
    Running.clear();
    EXPECT_GT(g_nTakenAtCursor, 0);
}

TEST_P(Threads, OnlyOneIsInAnInputsList) {
    g_Services.bWatchesLinks = true;
    std::vector<std::jthread> Running;
    for (int nThread = 0; nThread < 3; ++nThread)
        Running.emplace_back([] {
            for (int nStamp = 0; nStamp < 1000; ++nStamp)
                Queue({});
        });
    Running.clear();
    g_Services.bWatchesLinks = false;
    EXPECT_FALSE(g_Services.bMetInList);
}

INSTANTIATE_TEST_SUITE_P(BothRevisions, Threads, testing::Values(MISP_PROFILE_62, MISP_PROFILE_2016_2));

} // namespace
