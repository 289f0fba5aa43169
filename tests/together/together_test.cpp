// The library on its real services: what holds of the two together.
#include <atomic>
#include <barrier>
#include <deque>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <thread>
#include <vector>

#include "clock_api.h"
#include "interpose/standard_error.h"
#include "timecode.h"

using interpose::DumpedThreads;

namespace {

// Where a thread is seen: it arrives there, and goes on when the test does.
void StayAt(std::barrier<> &Seen) {
    Seen.arrive_and_wait();
    Seen.arrive_and_wait();
}

// Holds up a thread that has one inside the library.
thread_local std::barrier<> *g_pHoldUp = nullptr;

void HoldUp() {
    if (std::barrier<> *const pHoldUp = std::exchange(g_pHoldUp, nullptr))
        StayAt(*pHoldUp);
}

constexpr UINT64 PTS = 9000;

BOOL Queue(int nInput) {
    TCPayload Payload = {};
    Payload.KLVTC = {0x1F, 1'700'000'000'000'000};
    return Timecode_SetUTC(nInput, TCSOURCE_HIGH_PRECISION_TIMESTAMP, PTS, &Payload);
}

BOOL Ask(int nInput, int enSource) {
    MISP_UTC Utc;
    vitc_t Vitc;
    BOOL bSame = FALSE;
    void *pCursor = nullptr;
    return Timecode_GetUTC(nInput, &enSource, FALSE, 25, 25000, PTS, 0, 0, &Utc, &Vitc, &bSame, &pCursor);
}

class Together : public testing::Test {
protected:
    Together() { TimecodeLib_Init(MISP_PROFILE_62); }
    ~Together() override {
        ThreadState_Enable(FALSE);
        TimecodeLib_Shutdown();
    }

private:
    const interpose::StandardError m_Unread{interpose::Channel::Pipe};
};

struct Cancelled {
    int nMaxLevel;
    int enSource;
    bool bReturned = false;
};

// The request is pending before the first cancellation point of the call, which lies in a message under the input's
// lock.
void *AskAndEnd(void *pCancelled) {
    pthread_cancel(pthread_self());
    Ask(0, static_cast<Cancelled *>(pCancelled)->enSource);
    static_cast<Cancelled *>(pCancelled)->bReturned = true;
    pthread_testcancel();
    return nullptr;
}

TEST_F(Together, AThreadCancelledInAMessageLeavesNoLockBehind) {
    for (Cancelled Asked : {Cancelled{.nMaxLevel = DBG_LEVEL_DEBUG, .enSource = TCSOURCE_HIGH_PRECISION_TIMESTAMP},
                            Cancelled{.nMaxLevel = DBG_LEVEL_ERROR, .enSource = 9}}) {
        DbgSetMaxLevel(g_hTCLibDbg, Asked.nMaxLevel);
        pthread_t Thread{};
        pthread_create(&Thread, nullptr, AskAndEnd, &Asked);
        void *pResult = nullptr;
        pthread_join(Thread, &pResult);
        EXPECT_EQ(pResult, PTHREAD_CANCELED) << "the request was lost";
        ASSERT_TRUE(Asked.bReturned) << "it ended in the library, at level " << Asked.nMaxLevel;
        EXPECT_EQ(Queue(0), TRUE);
    }
}

TEST_F(Together, ADumpTellsWaiterHolderAndThoseThatHaveLeft) {
    const struct {
        const char *szShown;
        void (*pAct)(std::barrier<> &); // ends the barrier's first phase where the thread is to be seen
    } ROWS[] = {
        {.szShown = "Timecode_SetUTC: holds lock ingest.cpp",
         .pAct = [](std::barrier<> &Seen) { g_pHoldUp = &Seen, Queue(0); }},
        {.szShown = "Timecode_SetUTC: waits for lock ingest.cpp",
         .pAct = [](std::barrier<> &Seen) { Seen.arrive_and_wait(), Queue(0), Seen.arrive_and_wait(); }},
        {.szShown = "Timecode_SetUTC: has unlocked ingest.cpp",
         .pAct = [](std::barrier<> &Seen) { Queue(1), Queue(1), StayAt(Seen); }},
        {.szShown = "AnswerUnderLock: holds lock profile62.cpp",
         .pAct = [](std::barrier<> &Seen) { Queue(2), g_pHoldUp = &Seen, Ask(2, TCSOURCE_HIGH_PRECISION_TIMESTAMP); }},
    };
    ThreadState_Enable(TRUE);
    std::deque<std::barrier<>> Barriers;
    std::vector<std::jthread> Threads;
    std::vector<std::string> Expected;
    for (const auto &Row : ROWS) {
        pid_t nThread = 0;
        std::barrier<> &Seen = Barriers.emplace_back(2);
        Threads.emplace_back([&nThread, &Row, &Seen] {
            nThread = gettid();
            Row.pAct(Seen);
        });
        Seen.arrive_and_wait();
        Expected.push_back("thread " + std::to_string(nThread) + " " + Row.szShown);
    }
    // Nothing tells when a thread has begun to wait for a lock but the dump.
    while (DumpedThreads().find("waits for lock") == std::string::npos)
        sched_yield();
    const std::string szDump = DumpedThreads();
    for (const std::string &szExpected : Expected)
        EXPECT_THAT(szDump, testing::HasSubstr(szExpected));
    for (std::barrier<> &Seen : Barriers)
        Seen.arrive_and_wait();
    Threads.clear();
    EXPECT_EQ(DumpedThreads(), "");
}

// The thread sanitizer is the judge.
TEST_F(Together, LevelAndThreadStatesMayBeSetWhileOthersTrace) {
    std::atomic<bool> bStop = false;
    std::vector<std::jthread> Threads;
    for (int nThread = 0; nThread < 2; ++nThread)
        Threads.emplace_back([&bStop] {
            while (!bStop)
                EXPECT_TRUE(Queue(0) && Ask(0, TCSOURCE_HIGH_PRECISION_TIMESTAMP));
        });
    for (int nChange = 0; nChange < 1000; ++nChange) {
        DbgSetMaxLevel(g_hTCLibDbg, nChange % 2 == 0 ? DBG_LEVEL_DEBUG : DBG_LEVEL_ERROR);
        EXPECT_EQ(DbgIsWritten(g_hTCLibDbg, DBG_LEVEL_DEBUG), nChange % 2 == 0 ? TRUE : FALSE);
        ThreadState_Enable(nChange % 3 == 0 ? TRUE : FALSE);
        DumpedThreads();
    }
    bStop = true;
    Threads.clear();
    DbgSetMaxLevel(nullptr, DBG_LEVEL_DEBUG);
    EXPECT_EQ(DbgIsWritten(nullptr, DBG_LEVEL_ERROR), FALSE);
}

} // namespace

extern "C" void FastLinkAtStartD(FNODE_D *pNode, void *pvObject, FLIST_D *pList) {
    static const auto pReal = reinterpret_cast<decltype(&FastLinkAtStartD)>(dlsym(RTLD_NEXT, "FastLinkAtStartD"));
    HoldUp();
    pReal(pNode, pvObject, pList);
}

extern "C" int ClockCvtUtc2DateTime(INT64 llUTC, date_time_t *pDateTime) {
    static const auto pReal =
        reinterpret_cast<decltype(&ClockCvtUtc2DateTime)>(dlsym(RTLD_NEXT, "ClockCvtUtc2DateTime"));
    HoldUp();
    return pReal(llUTC, pDateTime);
}
