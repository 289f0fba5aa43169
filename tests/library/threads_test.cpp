// Producers, retrievers, flushes and statistics of all inputs at once: every answer was queued, and nothing is torn.
#include <functional>
#include <latch>
#include <thread>

#include "fixture.h"

namespace {

class Threads : public testing::TestWithParam<int> {};

constexpr int STAMPS = 4000;
constexpr INT64 USEC_PER_TICK = 7; // so that a payload tells which PTS it was queued with

std::atomic<int> g_nAnswers;
std::atomic<UINT64> g_nNewest[NUM_VIDEO_INPUTS];

INT64 UtcOf(int nInput, int enSource, UINT64 nPts) {
    return static_cast<INT64>(nPts) * USEC_PER_TICK + nInput * 4 + enSource;
}

void Produce(int nInput, std::latch &Start) {
    Start.arrive_and_wait();
    for (UINT64 nFrame = 1; nFrame <= STAMPS; ++nFrame) {
        const int enSource = nFrame % 2 ? TCSOURCE_HIGH_PRECISION_TIMESTAMP : TCSOURCE_LDS_TIMESTAMP;
        const UINT64 nPts = nFrame * 100;
        TCPayload Payload = {};
        Payload.KLVTC = {0x1F, UtcOf(nInput, enSource, nPts)};
        EXPECT_EQ(Timecode_SetUTC(nInput, enSource, nPts, &Payload), TRUE);
        Payload.vitc = Timecode("12:00:00:00");
        Timecode_SetUTC(nInput, TCSOURCE_SMPTE12M_TIMESTAMP, nPts, &Payload);
        g_nNewest[nInput] = nPts;
        g_Services.nClockNsec += 1'000'000;
    }
}

void Retrieve(int nInput, bool bStored, bool bKeepsCursor, std::latch &Start) {
    Start.arrive_and_wait();
    while (g_nNewest[nInput] == 0)
        std::this_thread::yield();
    void *pCursor = nullptr;
    for (int nRequest = 0; nRequest < STAMPS; ++nRequest) {
        int enSource = nRequest % 3 + 1;
        MISP_UTC Utc = {};
        vitc_t Vitc = {};
        BOOL bSame = FALSE;
        const BOOL bResult = Timecode_GetUTC(nInput, &enSource, nRequest % 5 ? TRUE : FALSE, 30, 29000,
                                             g_nNewest[nInput], 0, 0, &Utc, &Vitc, &bSame, &pCursor);
        const bool bTold = bResult && bStored && enSource != TCSOURCE_SMPTE12M_TIMESTAMP;
        EXPECT_TRUE(!bTold || Utc.MotionImageryTimestamp.KLVTC.llUTCTime == UtcOf(nInput, enSource, Utc.nTimestamp64));
        g_nAnswers += bResult;
        _VerifyTimeSourceSwitch(nInput, TRUE, &enSource); // takes no lock: in the thread of the input's requests
        if (!bResult || !bKeepsCursor)
            pCursor = nullptr;
    }
}

void Disturb(std::latch &Start) {
    Start.arrive_and_wait();
    for (int nRound = 0; nRound < STAMPS; ++nRound) {
        const int nInput = nRound % NUM_VIDEO_INPUTS;
        TIMECODE_STATS Read;
        EXPECT_EQ(Timecode_GetStats(nInput, &Read), TRUE);
        if (nRound % 3 == 0)
            Timecode_ResetStats(nInput);
        if (nRound % 64 < NUM_VIDEO_INPUTS)
            Timecode_Flush(nInput);
        MISP_UTC Utc;
        vitc_t Vitc;
        EXPECT_EQ(Timecode_GetSystemUTC(30, 29000, 90000, 0, 0, &Utc, &Vitc), TRUE);
        EXPECT_EQ(Utc.MotionImageryTimestamp.KLVTC.llUTCTime, 999'999);
    }
}

TEST_P(Threads, EveryAnswerWasQueuedAsItIs) {
    StartDay(GetParam());
    g_Services.bRecords = false;
    g_nAnswers = 0;
    std::latch Start(2 * NUM_VIDEO_INPUTS + 2);
    std::vector<std::jthread> Running;
    for (int nInput = 0; nInput < NUM_VIDEO_INPUTS; ++nInput) {
        g_nNewest[nInput] = 0;
        Running.emplace_back(Produce, nInput, std::ref(Start));
        Running.emplace_back(Retrieve, nInput, GetParam() == MISP_PROFILE_2016_2, nInput % 2 == 0, std::ref(Start));
    }
    for (int nThread = 0; nThread < 2; ++nThread)
        Running.emplace_back(Disturb, std::ref(Start));
    Running.clear();
    EXPECT_GT(g_nAnswers, 0);
    g_Services.bRecords = true;
    TimecodeLib_Shutdown();
}

TEST_P(Threads, OnlyOneIsInAnInputsList) {
    StartDay(GetParam());
    g_Services.bRecords = false;
    g_Services.bWatchesLinks = true;
    std::vector<std::jthread> Running;
    for (int nThread = 0; nThread < 3; ++nThread)
        Running.emplace_back([] {
            for (int nStamp = 0; nStamp < 1000; ++nStamp)
                Queue(1, 9000, "0 1f");
        });
    Running.clear();
    g_Services.bWatchesLinks = false;
    EXPECT_FALSE(g_Services.bMetInList);
    g_Services.bRecords = true;
    TimecodeLib_Shutdown();
}

INSTANTIATE_TEST_SUITE_P(BothRevisions, Threads, testing::Values(MISP_PROFILE_62, MISP_PROFILE_2016_2));

} // namespace
