/* Settings file, trace on standard error and thread states. */
#include "cfgfile_api.h"
#include "dbgtrace.h"
#include "threadcheck.h"
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using testing::HasSubstr;
using testing::MatchesRegex;

TEST(Settings, ReadsTheValueThatTheFileSays) {
    const std::string szLong(500, 'x');
    const std::pair<std::string, int> atRows[] = {
        {"[SYSTEM]\nMISPRevision=20162", 20162},
        {"\xEF\xBB\xBF[SYSTEM]\r\n\tMISPRevision\t= -5 \r\n", -5},
        {"[ SYSTEM ] ; x\nMISPRevision = +7 # x\n", 7},
        {"[SYSTEM]\nMISPRevision=1\nMISPRevision=2\n", 2},
        {"[SYSTEM]\nMISPRevision=1\n[OTHER]\nMISPRevision=2\n[SYSTEM]\n", 1},
        {"MISPRevision=1\n", -99},
        {"[SYSTEM\nMISPRevision=1\n", -99},
        {"[SYSTEM]\n#MISPRevision=1\n ;MISPRevision=1\n", -99},
        {"[system]\nMISPRevision=1\n[SYSTEM]\nmisprevision=1\nMISPRevision2=1\nMISPRevision\n", -99},
        {"[SYSTEM]\nMISPRevision=1;x\n", -99},
        {"[SYSTEM]\nMISPRevision=+-1\n", -99},
        {"[SYSTEM]\nMISPRevision=0x10\n", -99},
        {"[SYSTEM]\nMISPRevision=2147483647\n", INT32_MAX},
        {"[SYSTEM]\nMISPRevision=2147483648\n", -99},
        {"[SYSTEM]\nMISPRevision=1\n" + szLong + "\nMISPRevision=2 #" + szLong + "\n",
         1}, // too long: passed over whole
        {"[SYSTEM]\n" + std::string(495, ' ') + "MISPRevision=12\r\n", 12},
        {std::string("\0[SYSTEM]\n\0=1\n[SYSTEM]\nMISPRevision=3\n", 39), 3},
        {"", -99}};
    const std::string szPath = testing::TempDir() + "settings" + std::to_string(getpid());
    int nValue = 0;
    for (const auto &[szText, nExpected] : atRows) {
        std::ofstream(szPath, std::ios::binary) << szText;
        EXPECT_EQ(CfgFile_GetIntValue(szPath.c_str(), "SYSTEM", "MISPRevision", &nValue, -99), nExpected != -99)
            << szText;
        EXPECT_EQ(nValue, nExpected) << szText;
    }
    unlink(szPath.c_str());
    mkfifo(szPath.c_str(), 0600); // without a writer: opening it the ordinary way would wait for ever
    for (const char *szOther : {szPath.c_str(), "/", "/dev/zero", "/nowhere/x", static_cast<const char *>(nullptr)}) {
        nValue = 0;
        EXPECT_EQ(CfgFile_GetIntValue(szOther, "SYSTEM", "MISPRevision", &nValue, 20116), FALSE);
        EXPECT_EQ(nValue, 20116);
    }
    unlink(szPath.c_str());
}

/* Standard error is replaced by one end of a channel; the test reads the other. */
class Trace : public testing::Test {
protected:
    Trace() {
        _DoDbgInit("MODULE", &m_hDbg);
        Redirect(true);
    }
    ~Trace() override {
        _DoDbgUninitEx(&m_hDbg, __func__, __FILE__, __LINE__);
        dup2(m_nSaved, STDERR_FILENO);
        for (const int nOpen : {m_nSaved, m_anEnds[0]})
            close(nOpen);
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

    HDBG m_hDbg = nullptr;
    int m_nSaved = dup(STDERR_FILENO);
    int m_anEnds[2] = {-1, -1};
};

TEST_F(Trace, WritesEachMessageAtOnceAndInOneLine) {
    const std::string szLong(5000, 'x');
    for (const auto &[szText, szEnd] :
         {std::pair("a", " a\n"), {"a\n\n", " a\n"}, {"", " \n"}, {szLong.c_str(), "xxx\n"}}) {
        Print(szText);
        const std::string szMessage = Read();
        EXPECT_THAT(szMessage,
                    MatchesRegex("....-..-.. ..:..:..[.]......Z MODULE warning .[0-9]+. Function file.cpp:12: .*\n"));
        EXPECT_TRUE(szMessage.ends_with(szEnd) && szMessage.size() <= 1024) << szMessage;
    }
    _DoAssert("p != NULL", "Function", "file.cpp", 3);
    EXPECT_THAT(Read(), HasSubstr(" ASSERT error "));
    EXPECT_EQ(Read(), "");
}

TEST_F(Trace, JournalLinesCarryTheLevelOnly) {
    struct stat tStatus {};
    fstat(STDERR_FILENO, &tStatus);
    setenv("JOURNAL_STREAM", (std::to_string(tStatus.st_dev) + ":" + std::to_string(tStatus.st_ino)).c_str(), 1);
    _DoTextAssert("Function", "file.cpp", 3, "revision:%d", 5);
    EXPECT_EQ(Read(), "<3>Function file.cpp:3: revision:5\n");
    Print("text");
    EXPECT_EQ(Read(), "<4>text\n");
    Redirect(true); // no longer the journal
    Print("text");
    EXPECT_THAT(Read(), HasSubstr("MODULE"));
    unsetenv("JOURNAL_STREAM");
}

TEST_F(Trace, StalledGoneAndClosedChannelsLoseMessagesAndNothingElse) {
    for (const bool bMessages : {true, false}) {
        Redirect(bMessages);
        std::vector<std::thread> tWriters;
        for (int nWriter = 0; nWriter < 4; ++nWriter)
            tWriters.emplace_back([this] {
                for (int n = 0; n < 1000; ++n)
                    Print(std::string(200, 'x').c_str());
            });
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

TEST_F(Trace, HandlesOpenOnceCloseTwiceAndRunOut) {
    const HDBG hFirst = m_hDbg;
    EXPECT_TRUE(_DoDbgInit("OTHER", &m_hDbg) == TRUE && m_hDbg == hFirst);
    HDBG ahDbg[16]{};
    setenv("TIMECODE_TRACE_LEVEL", "6", 1);
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

TEST_F(Trace, AssertionsAbortOnlyWhenAsked) {
    setenv("TIMECODE_ASSERT_ABORT", "1", 1);
    EXPECT_EXIT(_DoAssert("p", "", "", 0), testing::KilledBySignal(SIGABRT), "");
    unsetenv("TIMECODE_ASSERT_ABORT");
}

TEST_F(Trace, ThreadStatesAreDumpedWhileTheThreadLives) {
    __SaveThreadState("Before", "/a/file.cpp", 1);
    __SaveThreadState("After", "/a/file.cpp", 2);
    const std::string szLine = "thread " + std::to_string(gettid()) + " After file.cpp:2\n";
    for (int nRound = 0; nRound < 100; ++nRound)
        std::thread([] { __SaveThreadState("Short", "b.cpp", 3); }).join();
    std::atomic<bool> bStop{false};
    std::thread tBusy([&bStop] {
        while (!bStop)
            __SaveThreadState("Busy", "b.cpp", 3);
    });
    for (int nRound = 0; nRound < 100; ++nRound) {
        EXPECT_GE(ThreadState_Dump(STDERR_FILENO), 1);
        EXPECT_THAT(Read(), HasSubstr(szLine));
        Redirect(false);
    }
    bStop = true;
    tBusy.join();
    EXPECT_EQ(ThreadState_Dump(STDERR_FILENO), 1);
    EXPECT_EQ(Read(), szLine);
    EXPECT_EQ(ThreadState_Dump(-1), -1);
}
