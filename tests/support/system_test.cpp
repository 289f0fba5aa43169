/* Settings file, trace on standard error and thread states. */
#include "cfgfile_api.h"
#include "dbgtrace.h"
#include "threadcheck.h"
#include <barrier>
#include <csignal>
#include <dlfcn.h>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using testing::HasSubstr;

extern const timespec *g_ptpFakeNow; /* the clock; below zero nanoseconds it fails */

static int g_nWriteResult = -1; /* from 0 on, writes are interrupted and take one byte in turn; then this result */
static bool g_bReadFails = false;

/* Writes in the smallest steps that the kernel may take, or to something that takes nothing any more. */
extern "C" ssize_t write(int nFile, const void *pBytes, size_t nSize) {
    static bool bInterrupted = false;
    if (g_nWriteResult < 0)
        return syscall(SYS_write, nFile, pBytes, nSize);
    bInterrupted = !bInterrupted;
    if (bInterrupted)
        errno = EINTR;
    return bInterrupted ? -1 : g_nWriteResult == 0 ? 0 : syscall(SYS_write, nFile, pBytes, 1);
}

/* Fails where a file ought to end. */
extern "C" ssize_t read(int nFile, void *pBytes, size_t nSize) {
    const ssize_t nRead = syscall(SYS_read, nFile, pBytes, nSize);
    if (nRead != 0 || !g_bReadFails)
        return nRead;
    errno = EIO;
    return -1;
}

#ifndef __SANITIZE_THREAD__ /* which calls it for threads that it has not set up yet */
/* A thread gets its place in pthread_setspecific, before it has a position. */
static int g_nDumpedWhileClaiming = -1;

extern "C" int pthread_setspecific(pthread_key_t nKey, const void *pvValue) noexcept {
    static const auto pReal =
        reinterpret_cast<int (*)(pthread_key_t, const void *)>(dlsym(RTLD_NEXT, "pthread_setspecific"));
    if (g_nDumpedWhileClaiming >= 0)
        g_nDumpedWhileClaiming = ThreadState_Dump(STDERR_FILENO);
    return pReal(nKey, pvValue);
}
#endif

TEST(Settings, ReadsTheValueThatTheFileSays) {
    const std::string szLong(506, 'x');
    constexpr int nNone = -99;
    std::map<std::string, int> tRows = {{"[S]\nK=20162", 20162},
                                        {"\xEF\xBB\xBF[S]\r\n\tK\t= -5 \r\n", -5},
                                        {"[ S ] ; x\nK = +7 # x\n", 7},
                                        {"[S]\nK=8 #x\n", 8},
                                        {"[S]\nK=1\nK=2\n[T]\nK=3\n[S]\n", 2},
                                        {"[S]\nK=2147483647\n", INT32_MAX},
                                        {"[S]\nK=" + szLong + "1234\nK=2\n", 2},
                                        {"[S]\nK=1\nK=2 #" + szLong + "\n", 1},
                                        {"[S]\nK=1\nK=2 #" + szLong + szLong + "\n", 1},
                                        {"[S]\n" + std::string(506, ' ') + "K=12\r\n", 12},
                                        {"[S]\nK=1\n[T" + szLong + szLong + "]\nK=2\n", 1},
                                        {"[S]\nK=1\n" + szLong + "[\n#[" + szLong + "\nK=2\n", 2},
                                        {"[S]\nK=1\n" + std::string(600, ' ') + "[T]\nK=2\n", 1},
                                        {std::string("\0[S]\n\0=1\n[S]\nK=3\n", 17), 3}};
    for (const char *szText : {"", "K=1", "[S]\n[S\nK=1", "[S]\n#K=1\n ;K=1", "[s]\nK=1\n[S]\nk=1\nK2=1\nK",
                               "[S]\nK=1;x", "[S]\nK=1; x", "[S]\nK=+-1", "[S]\nK=2147483648", "[S]\nK=1\nK=x"})
        tRows[szText] = nNone;
    const std::string szPath = testing::TempDir() + "settings" + std::to_string(getpid());
    int nValue = 0;
    for (const auto &[szText, nExpected] : tRows) {
        std::ofstream(szPath, std::ios::binary) << szText;
        EXPECT_EQ(CfgFile_GetIntValue(szPath.c_str(), "S", "K", &nValue, nNone), nExpected != nNone) << szText;
        EXPECT_EQ(nValue, nExpected) << szText;
    }
    unlink(szPath.c_str());
    mkfifo(szPath.c_str(), 0600); // without a writer: opening it the ordinary way would wait for ever
    for (const char *szOther : {szPath.c_str(), "/", "/dev/zero", "/nowhere/x", static_cast<const char *>(nullptr)}) {
        nValue = 0;
        EXPECT_EQ(CfgFile_GetIntValue(szOther, "S", "K", &nValue, 20116), FALSE);
        EXPECT_EQ(nValue, 20116);
    }
    unlink(szPath.c_str());
    EXPECT_EQ(CfgFile_GetIntValue("/", "S", "K", nullptr, 0), FALSE);
    EXPECT_EQ(CfgFile_GetIntValue("/", nullptr, "K", &nValue, 0), FALSE);
    EXPECT_EQ(CfgFile_GetIntValue("/", "S", nullptr, &nValue, 0), FALSE);
}

/* Standard error is replaced by one end of a channel; the test reads the other. */
class Trace : public testing::Test {
protected:
    Trace() {
        pthread_sigmask(SIG_BLOCK, nullptr, &m_tMask);
        _DoDbgInit("MODULE-WITH-A-NAME-THAT-IS-TOO-LONG", &m_hDbg); // 31 characters fit
        Redirect(true);
    }
    ~Trace() override {
        _DoDbgUninitEx(&m_hDbg, __func__, __FILE__, __LINE__);
        dup2(m_nSaved, STDERR_FILENO);
        close(m_nSaved);
        close(m_anEnds[0]);
        sigset_t tMask{};
        pthread_sigmask(SIG_BLOCK, nullptr, &tMask);
        EXPECT_EQ(memcmp(&tMask, &m_tMask, sizeof tMask), 0);
    }
    void Redirect(bool bMessages) {
        close(m_anEnds[0]);
        EXPECT_EQ(bMessages ? socketpair(AF_UNIX, SOCK_SEQPACKET, 0, m_anEnds) : pipe(m_anEnds), 0);
        dup2(m_anEnds[1], STDERR_FILENO);
        close(m_anEnds[1]);
        fcntl(m_anEnds[0], F_SETFL, O_NONBLOCK);
    }
    std::string Read() const {
        char acBytes[8192];
        const ssize_t nRead = read(m_anEnds[0], acBytes, sizeof acBytes);
        return nRead > 0 ? std::string(acBytes, static_cast<size_t>(nRead)) : "";
    }
    void Print(const char *szText) const { _DoDbgPrintEx(m_hDbg, 4, "Function", "/a/file.cpp", 12, "%s", szText); }
    void PrintOften() const {
        for (int nMessage = 0; nMessage < 1000; ++nMessage)
            Print(std::string(200, 'x').c_str());
    }

    HDBG m_hDbg = nullptr;
    sigset_t m_tMask{};
    int m_nSaved = dup(STDERR_FILENO);
    int m_anEnds[2] = {-1, -1};
};

TEST_F(Trace, WritesEachMessageAtOnceAndInOneLine) {
    const std::string szLong(5000, 'x');
    for (const auto &[szText, szEnd] :
         {std::pair("a", " a\n"), {"a\n\n", " a\n"}, {"", " \n"}, {szLong.c_str(), "xxx\n"}}) {
        Print(szText);
        const std::string szMessage = Read();
        EXPECT_THAT(szMessage, testing::MatchesRegex("....-..-.. ..:..:..[.]......Z MODULE-WITH-A-NAME-THAT-IS-TOO- "
                                                     "warning .[0-9]+. Function file.cpp:12: .*\n"));
        EXPECT_TRUE(szMessage.ends_with(szEnd) && szMessage.size() <= 1024) << szMessage;
    }
    _DoAssert("p != NULL", "Function", "file.cpp", 3);
    EXPECT_THAT(Read(), HasSubstr(" ASSERT error "));
    EXPECT_EQ(Read(), "");
    Redirect(false);
    for (const int nResult : {0, 1}) {
        g_nWriteResult = nResult;
        Print("cut short");
    }
    g_nWriteResult = -1;
    Print("next");
    Print("after");
    EXPECT_THAT(Read(), testing::MatchesRegex("2\n2[^\n]* [(]2 messages lost[)] next\n2[^\n]*:12: after\n"));
    const timespec tpFailing{0, -1};
    g_ptpFakeNow = &tpFailing;
    Print("undated");
    g_ptpFakeNow = nullptr;
    EXPECT_THAT(Read(), testing::StartsWith("0000-00-00 00:00:00.000000Z "));
    setenv("TIMECODE_ASSERT_ABORT", "0", 1);
    _DoAssert("p", "", "", 0);
    setenv("TIMECODE_ASSERT_ABORT", "1", 1);
    EXPECT_EXIT(_DoAssert("p", "", "", 0), testing::KilledBySignal(SIGABRT), "");
    unsetenv("TIMECODE_ASSERT_ABORT");
}

TEST_F(Trace, JournalLinesCarryTheLevelOnly) {
    struct stat tStatus {};
    fstat(STDERR_FILENO, &tStatus);
    setenv("JOURNAL_STREAM", (std::to_string(tStatus.st_dev) + ":" + std::to_string(tStatus.st_ino)).c_str(), 1);
    HDBG hOther = nullptr;
    _DoDbgInit("OTHER", &hOther); // looks for the journal
    Print("text");
    EXPECT_EQ(Read(), "<4>text\n");
    _DoDbgUninitEx(&hOther, "", "", 0);
    _DoTextAssert("Function", "file.cpp", 3, "revision:%d", 5);
    EXPECT_EQ(Read(), "<3>Function file.cpp:3: revision:5\n");
    Print("text");
    EXPECT_EQ(Read(), "<4>text\n");
    Redirect(true); // no longer the journal
    Print("text");
    EXPECT_THAT(Read(), HasSubstr("MODULE"));
    for (const char *szStream : {"", "1", ":1", "1:", "1:2x", "x"}) {
        setenv("JOURNAL_STREAM", szStream, 1);
        _DoAssert("p", "", "", 0);
        EXPECT_THAT(Read(), HasSubstr(" ASSERT ")) << szStream;
    }
    unsetenv("JOURNAL_STREAM");
}

TEST_F(Trace, StalledGoneAndClosedChannelsLoseMessagesAndNothingElse) {
    for (const bool bMessages : {true, false}) {
        Redirect(bMessages);
        std::vector<std::thread> tWriters;
        for (int nWriter = 0; nWriter < 4; ++nWriter)
            tWriters.emplace_back([this] { PrintOften(); });
        for (std::thread &tWriter : tWriters)
            tWriter.join(); // hangs if a message waits for a reader
        std::string szAll;
        for (std::string szRead = Read(); !szRead.empty(); szRead = Read())
            szAll += szRead;
        const long nPassed = std::count(szAll.begin(), szAll.end(), '\n');
        Print("next");
        EXPECT_THAT(Read(), HasSubstr("(" + std::to_string(4000 - nPassed) + " messages lost) next\n"));
    }
    close(m_anEnds[0]);
    errno = 77;
    Print("to a reader that has gone"); // SIGPIPE would end the test program
    close(STDERR_FILENO);
    Print("to nowhere");
    EXPECT_EQ(errno, 77);
    dup2(m_nSaved, STDERR_FILENO);
    m_anEnds[0] = -1;
    Redirect(false);
    Print("back");
    EXPECT_THAT(Read(), HasSubstr("(2 messages lost) back\n"));
}

TEST_F(Trace, SettingsThatCannotBeUsedAreToldOnceWithWhatWasTaken) {
    const struct {
        std::string szText;
        const char *szTold; /* null: nothing */
        bool bReadFails = false;
    } atRows[] = {
        {"[S]\nK=x\n", "[S] K is taken as 5: line 2 of PATH holds no integer within the range of int."},
        {"[S]\n\nK=2147483648", "[S] K is taken as 5: line 3 of PATH holds no integer within the range of int."},
        {"[S]\nK=1\nK=x\nK=y\n", "[S] K is taken as 5: line 4 of PATH holds no integer within the range of int."},
        {"[S]\nK=1\nK=2 #" + std::string(510, 'x'), "[S] K is taken as 1: line 3 of PATH is too long."},
        {"[S]\nK=1\n", "[S] K is taken as 5: line 3 of PATH and what follows it cannot be read.", true},
        {"[S]\nK=x\nK=1\n[T]\nK=x\n#K=" + std::string(510, 'x'), nullptr},
        {"[S]\nL=1\n", nullptr, true}};
    const std::string szPath = testing::TempDir() + "faults" + std::to_string(getpid());
    for (const char *szLevel : {"4", "3"}) {
        setenv("TIMECODE_TRACE_LEVEL", szLevel, 1);
        for (const auto &[szText, szTold, bReadFails] : atRows) {
            std::ofstream(szPath, std::ios::binary) << szText;
            int nValue = 0;
            g_bReadFails = bReadFails;
            CfgFile_GetIntValue(szPath.c_str(), "S", "K", &nValue, 5);
            g_bReadFails = false;
            if (szTold == nullptr || *szLevel == '3') {
                EXPECT_EQ(Read(), "") << szText;
                continue;
            }
            std::string szExpected = szTold;
            szExpected.replace(szExpected.find("PATH"), 4, szPath);
            EXPECT_THAT(Read(), testing::AllOf(HasSubstr(" SETTINGS warning "), testing::EndsWith(szExpected + "\n")));
            EXPECT_EQ(Read(), "") << "told twice: " << szText;
        }
    }
    unsetenv("TIMECODE_TRACE_LEVEL");
    unlink(szPath.c_str());
}

TEST_F(Trace, HandlesOpenOnceCloseTwiceAndRunOut) {
    const HDBG hFirst = m_hDbg;
    EXPECT_EQ(_DoDbgInit("NULL", nullptr), FALSE);
    _DoDbgUninitEx(nullptr, "", "", 0);
    EXPECT_TRUE(_DoDbgInit("OTHER", &m_hDbg) == TRUE && m_hDbg == hFirst);
    HDBG ahDbg[16]{};
    for (const auto &[szLevel, nLevel] :
         {std::pair("0", 0), {"7", 7}, {"8", 3}, {"66", 3}, {"-", 3}, {"", 3}, {"6", 6}}) {
        setenv("TIMECODE_TRACE_LEVEL", szLevel, 1);
        _DoDbgInit("LEVEL", &ahDbg[0]);
        EXPECT_EQ(ahDbg[0]->nMaxLevel, nLevel) << szLevel;
        _DoDbgUninitEx(&ahDbg[0], "", "", 0);
    }
    for (HDBG &hDbg : ahDbg)
        EXPECT_EQ(_DoDbgInit("MANY", &hDbg) == TRUE, &hDbg != &ahDbg[15]) << &hDbg - ahDbg;
    unsetenv("TIMECODE_TRACE_LEVEL");
    EXPECT_TRUE(ahDbg[15] == nullptr && ahDbg[0]->nMaxLevel == 6 && m_hDbg->nMaxLevel == 3);
    for (int nTime = 0; nTime < 2; ++nTime) {
        for (HDBG &hDbg : ahDbg)
            _DoDbgUninitEx(&hDbg, "", "", 0);
        _DoDbgUninitEx(&m_hDbg, "", "", 0);
    }
    _DoDbgPrintEx(hFirst, 3, "", "", 0, "closed");
    EXPECT_EQ(Read(), "");
}

TEST_F(Trace, ThreadStatesAreDumpedWhileTheThreadLives) {
    __SaveThreadState("Before", "/a/file.cpp", 1);
    __SaveThreadState("After", "/a/file.cpp", 2);
    const std::string szLine = "thread " + std::to_string(gettid()) + " After file.cpp:2\n";
    for (int nRound = 0; nRound < 100; ++nRound) { // more threads than places, one after another
        int nDumped = 0;
        std::thread tOther([&nDumped] {
            __SaveThreadState("Other", "b.cpp", 3);
            nDumped = ThreadState_Dump(STDERR_FILENO);
        });
        __SaveThreadState("After", "/a/file.cpp", 2);
        tOther.join();
        EXPECT_EQ(nDumped, 2);
        EXPECT_EQ(Read(), szLine);
        EXPECT_THAT(Read(), HasSubstr(" Other b.cpp:3\n"));
    }
#ifndef __SANITIZE_THREAD__
    g_nDumpedWhileClaiming = 0;
    std::thread([] { __SaveThreadState("Next", "next.cpp", 5); }).join();
    EXPECT_EQ(std::exchange(g_nDumpedWhileClaiming, -1), 1) << "the position of the place's last owner";
    Read();
#endif
    for (const int nResult : {-1, 1, 0}) {
        Redirect(false);
        g_nWriteResult = nResult;
        EXPECT_EQ(ThreadState_Dump(STDERR_FILENO), nResult == 0 ? -1 : 1);
        g_nWriteResult = -1;
        EXPECT_EQ(Read(), nResult == 0 ? "" : szLine);
    }
    EXPECT_EQ(ThreadState_Dump(-1), -1);
    const std::string szLong(200, 'x');
    auto *const pUnloaded =
        static_cast<char *>(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    std::string("Unloaded").copy(pUnloaded, 100);
    ("/x/" + szLong).copy(pUnloaded + 100, 1000);
    __SaveThreadState(pUnloaded, pUnloaded + 100, 7);
    munmap(pUnloaded, 4096);
    Redirect(true);
    ThreadState_Dump(STDERR_FILENO);
    EXPECT_THAT(Read(), testing::EndsWith(" Unloaded " + szLong.substr(0, 39) + ":7\n"));
    __SaveThreadState((szLong + "!").c_str(), "/a/file.cpp", 2);
    ThreadState_Dump(STDERR_FILENO);
    EXPECT_THAT(Read(), testing::EndsWith(" " + szLong.substr(0, 79) + " file.cpp:2\n"));
    __SaveThreadState("After", "/a/file.cpp", 2);
    std::atomic<bool> bStop = false;
    std::thread tMover([&bStop] {
        for (unsigned n = 0; !bStop; ++n)
            n % 2 == 0 ? __SaveThreadState("Even", "even.cpp", 2) : __SaveThreadState("Odd", "odd.cpp", 1);
    });
    Redirect(true);
    for (int nDump = 0; nDump < 5000; ++nDump) {
        ThreadState_Dump(STDERR_FILENO);
        for (std::string szRead = Read(); !szRead.empty(); szRead = Read())
            EXPECT_THAT(szRead, testing::ContainsRegex("After file.cpp:2|Even even.cpp:2|Odd odd.cpp:1"));
    }
    bStop = true;
    tMover.join();
    std::vector<std::thread> tThreads;
    std::barrier tAllSaved(71);
    for (int nThread = 0; nThread < 70; ++nThread)
        tThreads.emplace_back([&tAllSaved] {
            __SaveThreadState(nullptr, nullptr, 4);
            tAllSaved.arrive_and_wait();
            tAllSaved.arrive_and_wait();
        });
    tAllSaved.arrive_and_wait();
    EXPECT_EQ(ThreadState_Dump(STDERR_FILENO), 64);
    tAllSaved.arrive_and_wait();
    for (std::thread &tThread : tThreads)
        tThread.join();
    close(m_anEnds[0]);
    EXPECT_EQ(ThreadState_Dump(STDERR_FILENO), -1); // SIGPIPE would end the test program
    m_anEnds[0] = -1;
}

TEST_F(Trace, AForkedChildStartsWithItsOwnThreadOnly) {
    __SaveThreadState("Forking", "a.cpp", 1);
    std::barrier tOtherIsThere(2);
    std::thread tOther([&tOtherIsThere] {
        __SaveThreadState("Other", "b.cpp", 2);
        tOtherIsThere.arrive_and_wait();
        tOtherIsThere.arrive_and_wait();
    });
    tOtherIsThere.arrive_and_wait();
    const pid_t nChild = fork();
    if (nChild == 0) {
        const int nDumped = ThreadState_Dump(STDERR_FILENO);
        __SaveThreadState("Child", "c.cpp", 3); // in the same place
        _exit(nDumped * 10 + ThreadState_Dump(STDERR_FILENO));
    }
    int nStatus = 0;
    waitpid(nChild, &nStatus, 0);
    EXPECT_EQ(WEXITSTATUS(nStatus), 11);
    const std::string szThread = "thread " + std::to_string(nChild);
    EXPECT_EQ(Read(), szThread + " Forking a.cpp:1\n");
    EXPECT_EQ(Read(), szThread + " Child c.cpp:3\n");
    EXPECT_EQ(ThreadState_Dump(STDERR_FILENO), 2) << "in the parent";
    tOtherIsThere.arrive_and_wait();
    tOther.join();
}
