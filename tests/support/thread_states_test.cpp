// Positions of threads, and dumps of them.
#include <barrier>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>

#include "interpose/standard_error.h"
#include "system_calls.h"

using interpose::DumpedThreads;
using testing::EndsWith;

#ifndef __SANITIZE_THREAD__ // which calls it for threads that it has not set up yet
namespace {
int g_nDumpedWhileClaiming = -1;
} // namespace

// A thread gets its place in pthread_setspecific, before it has a position.
extern "C" int pthread_setspecific(pthread_key_t nKey, const void *pvValue) noexcept {
    static const auto pReal =
        reinterpret_cast<int (*)(pthread_key_t, const void *)>(dlsym(RTLD_NEXT, "pthread_setspecific"));
    if (g_nDumpedWhileClaiming >= 0)
        g_nDumpedWhileClaiming = ThreadState_Dump(STDERR_FILENO);
    return pReal(nKey, pvValue);
}
#endif

namespace {

constexpr int PLACES = 64;
const std::string LONG(200, 'x');

class ThreadStates : public testing::Test {
protected:
    ThreadStates() { __SaveThreadState("Here", "/a/file.cpp", 2); }
    const std::string m_szHere = "thread " + std::to_string(gettid()) + " Here file.cpp:2\n";
};

// Threads that keep a position as long as this lives.
class Others {
public:
    explicit Others(int nThreads) : m_Meeting(nThreads + 1) {
        for (int nThread = 0; nThread < nThreads; ++nThread)
            m_Threads.emplace_back([this] {
                __SaveThreadState(nullptr, nullptr, 4);
                m_Meeting.arrive_and_wait();
                m_Meeting.arrive_and_wait();
            });
        m_Meeting.arrive_and_wait();
    }
    ~Others() { m_Meeting.arrive_and_wait(); }

private:
    std::barrier<> m_Meeting;
    std::vector<std::jthread> m_Threads;
};

TEST_F(ThreadStates, AreForgottenWithTheirThread) {
    for (int nThread = 0; nThread < PLACES + 10; ++nThread) {
        std::string szDumped;
        std::thread([&szDumped] {
            __SaveThreadState("Other", "b.cpp", 3);
            szDumped = DumpedThreads();
        }).join();
        EXPECT_THAT(szDumped, testing::MatchesRegex(m_szHere + "thread [0-9]+ Other b.cpp:3\n"));
        EXPECT_EQ(DumpedThreads(), m_szHere);
    }
}

#ifndef __SANITIZE_THREAD__
TEST_F(ThreadStates, ANewThreadDoesNotShowThePositionOfItsPlacesLastOwner) {
    const interpose::StandardError Dumped;
    std::thread([] { __SaveThreadState("Last", "last.cpp", 4); }).join();
    g_nDumpedWhileClaiming = 0;
    std::thread([] { __SaveThreadState("Next", "next.cpp", 5); }).join();
    EXPECT_EQ(std::exchange(g_nDumpedWhileClaiming, -1), 1);
}
#endif

TEST_F(ThreadStates, AreWrittenWholeOrTheDumpFails) {
    interpose::StandardError Dumped(interpose::Channel::Pipe);
    g_enWrites = Writes::ByteByByte;
    EXPECT_EQ(ThreadState_Dump(STDERR_FILENO), 1);
    EXPECT_EQ(Dumped.Read(), m_szHere);
    g_enWrites = Writes::Nothing;
    EXPECT_EQ(ThreadState_Dump(STDERR_FILENO), -1);
    g_enWrites = Writes::AsAsked;
    EXPECT_EQ(Dumped.Read(), "");
    Dumped.CloseReader();
    EXPECT_EQ(ThreadState_Dump(STDERR_FILENO), -1) << "SIGPIPE would end the test program";
    EXPECT_EQ(ThreadState_Dump(-1), -1);
}

TEST_F(ThreadStates, NamesAreCutAndOutliveTheirLibrary) {
    void *const pUnloaded = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    char *const szFunction = static_cast<char *>(pUnloaded);
    char *const szFile = szFunction + 1000;
    LONG.copy(szFunction, 999);
    ("/x/" + LONG).copy(szFile, 999);
    __SaveThreadState(szFunction, szFile, 7);
    munmap(pUnloaded, 4096);
    EXPECT_THAT(DumpedThreads(), EndsWith(" " + LONG.substr(0, 79) + " " + LONG.substr(0, 39) + ":7\n"));
}

TEST_F(ThreadStates, AreNotTornWhileTheirThreadMoves) {
    std::atomic<bool> bStop = false;
    std::jthread Mover([&bStop] {
        for (unsigned nMove = 0; !bStop; ++nMove)
            nMove % 2 == 0 ? __SaveThreadState("Even", "even.cpp", 2) : __SaveThreadState("Odd", "odd.cpp", 1);
    });
    for (int nDump = 0; nDump < 5000; ++nDump)
        EXPECT_THAT(DumpedThreads(),
                    testing::MatchesRegex(m_szHere + "(thread [0-9]+ (Even even.cpp:2|Odd odd.cpp:1)\n)?"));
    bStop = true;
}

TEST_F(ThreadStates, BeyondSixtyFourThreadsAreNotRecorded) {
    const Others Running(PLACES + 6);
    const interpose::StandardError Dumped(interpose::Channel::Pipe);
    EXPECT_EQ(ThreadState_Dump(STDERR_FILENO), PLACES);
}

TEST_F(ThreadStates, OfAForkedChildAreItsOwnThreadOnly) {
    const Others Running(1);
    const interpose::StandardError Dumped(interpose::Channel::Pipe);
    const pid_t nChild = fork();
    if (nChild == 0) {
        ThreadState_Dump(STDERR_FILENO);
        __SaveThreadState("Child", "c.cpp", 3); // in the same place
        ThreadState_Dump(STDERR_FILENO);
        _exit(0);
    }
    waitpid(nChild, nullptr, 0);
    const std::string szThread = "thread " + std::to_string(nChild);
    EXPECT_EQ(Dumped.Read(), szThread + " Here file.cpp:2\n" + szThread + " Child c.cpp:3\n");
    EXPECT_EQ(ThreadState_Dump(STDERR_FILENO), 2) << "in the parent";
}

} // namespace
