/* The library on its real services: what holds of the two together. */
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "clock_api.h"
#include "threadcheck.h"
#include "timecode.h"

namespace {

// Where a thread that has one is held up inside the library: it arrives there and goes on when the test does.
thread_local std::barrier<> *t_pHoldUp = nullptr;

void HoldUp() {
    if (std::barrier<> *const pHoldUp = std::exchange(t_pHoldUp, nullptr)) {
        pHoldUp->arrive_and_wait();
        pHoldUp->arrive_and_wait();
    }
}

template <class F>
F *Real(const char *szName) {
    return reinterpret_cast<F *>(dlsym(RTLD_NEXT, szName));
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

// Nobody reads standard error.
class Together : public testing::Test {
protected:
    Together() {
        EXPECT_EQ(pipe(m_anUnread), 0);
        dup2(m_anUnread[1], STDERR_FILENO);
        TimecodeLib_Init(MISP_PROFILE_62);
    }
    ~Together() override {
        ThreadState_Enable(FALSE);
        TimecodeLib_Shutdown();
        dup2(m_nSaved, STDERR_FILENO);
        for (const int nFile : {m_nSaved, m_anUnread[0], m_anUnread[1]})
            close(nFile);
    }

private:
    int m_nSaved = dup(STDERR_FILENO);
    int m_anUnread[2] = {-1, -1};
};

std::string Dumped() {
    int anEnds[2];
    EXPECT_EQ(pipe(anEnds), 0);
    ThreadState_Dump(anEnds[1]);
    close(anEnds[1]);
    char acText[8192];
    const ssize_t nRead = read(anEnds[0], acText, sizeof(acText));
    close(anEnds[0]);
    return {acText, nRead > 0 ? static_cast<size_t>(nRead) : 0};
}

struct Cancelled {
    int enSource;
    std::atomic<bool> bReturned = false;
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
    const struct {
        int nMaxLevel;
        int enSource;
    } Rows[] = {{DBG_LEVEL_DEBUG, TCSOURCE_HIGH_PRECISION_TIMESTAMP}, {DBG_LEVEL_ERROR, 9}};
    for (const auto &[nMaxLevel, enSource] : Rows) {
        DbgSetMaxLevel(g_hTCLibDbg, nMaxLevel);
        Cancelled Asked{.enSource = enSource};
        pthread_t Thread{};
        pthread_create(&Thread, nullptr, AskAndEnd, &Asked);
        void *pResult = nullptr;
        pthread_join(Thread, &pResult);
        EXPECT_EQ(pResult, PTHREAD_CANCELED) << "the request was lost";
        ASSERT_TRUE(Asked.bReturned) << "it ended in the library, at level " << nMaxLevel;
        EXPECT_EQ(Queue(0), TRUE);
    }
}

TEST_F(Together, ADumpTellsWaiterHolderAndThoseThatHaveLeft) {
    const struct {
        const char *szWho;
        std::function<void(std::barrier<> &)> Act; // brings the barrier's first phase to its end where it is to be seen
        const char *szShown;
    } Rows[] = {{"the holder",
                 [](std::barrier<> &Hold) {
                     t_pHoldUp = &Hold;
                     Queue(0);
                 },
                 "Timecode_SetUTC: holds lock ingest.cpp"},
                {"the waiter",
                 [](std::barrier<> &Hold) {
                     Hold.arrive_and_wait();
                     Queue(0);
                     Hold.arrive_and_wait();
                 },
                 "Timecode_SetUTC: waits for lock ingest.cpp"},
                {"one that has left",
                 [](std::barrier<> &Hold) {
                     Queue(1);
                     Hold.arrive_and_wait();
                     Hold.arrive_and_wait();
                 },
                 "Timecode_SetUTC: has unlocked ingest.cpp"},
                {"the holder of an outer lock, after the inner one",
                 [](std::barrier<> &Hold) {
                     Queue(2);
                     t_pHoldUp = &Hold;
                     Ask(2, TCSOURCE_HIGH_PRECISION_TIMESTAMP);
                 },
                 "AnswerUnderLock: holds lock profile62.cpp"}};
    ThreadState_Enable(TRUE);
    std::vector<std::jthread> Threads;
    std::vector<std::barrier<> *> Holds;
    std::vector<std::string> Expected;
    for (const auto &[szWho, Act, szShown] : Rows) {
        std::atomic<pid_t> nThread = 0;
        Holds.push_back(new std::barrier<>(2));
        Threads.emplace_back([&nThread, &Act = Act, &Hold = *Holds.back()] {
            nThread = gettid();
            nThread.notify_one();
            Act(Hold);
        });
        nThread.wait(0);
        Holds.back()->arrive_and_wait();
        Expected.push_back("thread " + std::to_string(nThread) + " " + szShown);
    }
    // Nothing tells when a thread has begun to wait for a lock but the dump.
    while (Dumped().find("waits for lock") == std::string::npos)
        sched_yield();
    const std::string sDump = Dumped();
    for (size_t nRow = 0; nRow < Expected.size(); ++nRow)
        EXPECT_THAT(sDump, testing::HasSubstr(Expected[nRow])) << Rows[nRow].szWho;
    for (std::barrier<> *const pHold : Holds)
        pHold->arrive_and_wait();
    Threads.clear();
    for (const std::barrier<> *const pHold : Holds)
        delete pHold;
    EXPECT_EQ(Dumped(), "");
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
        Dumped();
    }
    bStop = true;
    Threads.clear();
    DbgSetMaxLevel(nullptr, DBG_LEVEL_DEBUG);
    EXPECT_EQ(DbgIsWritten(nullptr, DBG_LEVEL_ERROR), FALSE);
}

} // namespace

extern "C" void FastLinkAtStartD(FNODE_D *pNode, void *pvObject, FLIST_D *pList) {
    static const auto pReal = Real<void(FNODE_D *, void *, FLIST_D *)>("FastLinkAtStartD");
    HoldUp();
    pReal(pNode, pvObject, pList);
}

extern "C" int ClockCvtUtc2DateTime(INT64 llUTC, date_time_t *pDateTime) {
    static const auto pReal = Real<int(INT64, date_time_t *)>("ClockCvtUtc2DateTime");
    HoldUp();
    return pReal(llUTC, pDateTime);
}
