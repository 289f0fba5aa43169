// Messages and reports on standard error.
#include <csignal>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "dbgtrace.h"
#include "interpose/clock.h"
#include "interpose/standard_error.h"
#include "system_calls.h"

using interpose::Channel;
using interpose::g_Clock;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

class Trace : public testing::Test {
protected:
    Trace() {
        g_Clock.nSec = 1'700'000'000;
        g_Clock.nNsec = 12'000;
        pthread_sigmask(SIG_BLOCK, nullptr, &m_Signals);
        _DoDbgInit("MODULE-WITH-A-NAME-THAT-IS-TOO-LONG", &m_hDbg); // 31 characters fit
    }
    ~Trace() override {
        _DoDbgUninitEx(&m_hDbg, __func__, __FILE__, __LINE__);
        for (const char *szName : {"TIMECODE_TRACE_LEVEL", "TIMECODE_ASSERT_ABORT", "JOURNAL_STREAM"})
            unsetenv(szName);
        sigset_t Signals{};
        pthread_sigmask(SIG_BLOCK, nullptr, &Signals);
        EXPECT_EQ(memcmp(&Signals, &m_Signals, sizeof Signals), 0);
    }
    void Print(const std::string &szText) const {
        _DoDbgPrintEx(m_hDbg, 4, "Function", "/a/file.cpp", 12, "%s", szText.c_str());
    }
    static void NameTheJournal() {
        struct stat Status {};
        fstat(STDERR_FILENO, &Status);
        setenv("JOURNAL_STREAM", (std::to_string(Status.st_dev) + ":" + std::to_string(Status.st_ino)).c_str(), 1);
        HDBG hLooking = nullptr; // for the journal
        _DoDbgInit("OTHER", &hLooking);
        _DoDbgUninitEx(&hLooking, "", "", 0);
    }

    interpose::StandardError m_Error;
    HDBG m_hDbg = nullptr;
    sigset_t m_Signals{};
};

TEST_F(Trace, AMessageIsOneLine) {
    const struct {
        std::string szText;
        const char *szEnd;
    } ROWS[] = {{.szText = "a", .szEnd = ":12: a\n"},
                {.szText = "a\n\n", .szEnd = ":12: a\n"},
                {.szText = "", .szEnd = ":12: \n"},
                {.szText = std::string(5000, 'x'), .szEnd = "xxx\n"}};
    for (const auto &Row : ROWS) {
        Print(Row.szText);
        const std::string szMessage = m_Error.Read();
        EXPECT_THAT(szMessage, MatchesRegex("2023-11-14 22:13:20.000012Z MODULE-WITH-A-NAME-THAT-IS-TOO- warning "
                                            ".[0-9]+. Function file.cpp:12: [^\n]*\n"));
        EXPECT_THAT(szMessage, EndsWith(Row.szEnd));
        EXPECT_LE(szMessage.size(), 1024U);
    }
}

TEST_F(Trace, AReportIsOneMessage) {
    _DoAssert("p != NULL", "Function", "file.cpp", 3);
    EXPECT_THAT(m_Error.Read(), HasSubstr(" ASSERT error "));
    EXPECT_EQ(m_Error.Read(), "");
}

TEST_F(Trace, AMessageThatIsCutShortIsEndedAndCounted) {
    m_Error.Replace(Channel::Pipe);
    g_enWrites = Writes::Nothing;
    Print("not written at all");
    g_enWrites = Writes::ByteByByte;
    Print("one byte of it is");
    g_enWrites = Writes::AsAsked;
    Print("next");
    Print("after");
    EXPECT_THAT(m_Error.Read(), MatchesRegex("2\n2[^\n]* [(]2 messages lost[)] next\n2[^\n]*:12: after\n"));
}

TEST_F(Trace, WithoutAClockAMessageIsUndated) {
    g_Clock.bFails = true;
    Print("text");
    g_Clock.bFails = false;
    EXPECT_THAT(m_Error.Read(), StartsWith("0000-00-00 00:00:00.000000Z "));
}

TEST_F(Trace, AReportAbortsWhereThatIsAskedFor) {
    setenv("TIMECODE_ASSERT_ABORT", "0", 1);
    _DoAssert("p", "", "", 0);
    setenv("TIMECODE_ASSERT_ABORT", "1", 1);
    EXPECT_EXIT(_DoAssert("p", "", "", 0), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(Trace, InTheJournalAMessageBeginsWithItsLevel) {
    NameTheJournal();
    Print("text");
    EXPECT_EQ(m_Error.Read(), "<4>text\n");
    _DoTextAssert("Function", "file.cpp", 3, "revision:%d", 5);
    EXPECT_EQ(m_Error.Read(), "<3>Function file.cpp:3: revision:5\n");
}

TEST_F(Trace, AnotherChannelThanTheJournalGetsWholeLines) {
    NameTheJournal();
    m_Error.Replace(Channel::Messages);
    Print("text");
    EXPECT_THAT(m_Error.Read(), HasSubstr("MODULE"));
}

TEST_F(Trace, AJournalThatIsNotNamedAsDeviceAndInodeIsNone) {
    for (const char *szStream : {"", "1", ":1", "1:", "1:2x", "x"}) {
        setenv("JOURNAL_STREAM", szStream, 1);
        _DoAssert("p", "", "", 0);
        EXPECT_THAT(m_Error.Read(), HasSubstr(" ASSERT ")) << szStream;
    }
}

// SIGPIPE would end the test program.
TEST_F(Trace, AReaderThatHasGoneAndAClosedFileLoseMessagesOnly) {
    m_Error.CloseReader();
    errno = 77;
    Print("to a reader that has gone");
    close(STDERR_FILENO);
    Print("to nowhere");
    EXPECT_EQ(errno, 77);
    m_Error.Replace(Channel::Messages);
    Print("back");
    EXPECT_THAT(m_Error.Read(), HasSubstr("(2 messages lost) back\n"));
}

TEST_F(Trace, TheEnvironmentSetsTheLevel) {
    const auto LevelBy = [](const char *szLevel) {
        setenv("TIMECODE_TRACE_LEVEL", szLevel, 1);
        HDBG hDbg = nullptr;
        _DoDbgInit("LEVEL", &hDbg);
        const int nLevel = hDbg->nMaxLevel;
        _DoDbgUninitEx(&hDbg, "", "", 0);
        return nLevel;
    };
    for (const int nLevel : {0, 6, 7})
        EXPECT_EQ(LevelBy(std::to_string(nLevel).c_str()), nLevel);
    for (const char *szNone : {"8", "-", "66", ""})
        EXPECT_EQ(LevelBy(szNone), 3) << szNone;
    EXPECT_EQ(m_hDbg->nMaxLevel, 3) << "another module's";
}

TEST_F(Trace, AHandleOpensOnceAndClosesTwice) {
    const HDBG hFirst = m_hDbg;
    EXPECT_EQ(_DoDbgInit("OTHER", &m_hDbg), TRUE);
    EXPECT_EQ(m_hDbg, hFirst);
    for (int nTime = 0; nTime < 2; ++nTime)
        _DoDbgUninitEx(&m_hDbg, "", "", 0);
    _DoDbgPrintEx(hFirst, 3, "", "", 0, "closed");
    EXPECT_EQ(m_Error.Read(), "");
    EXPECT_EQ(_DoDbgInit("NULL", nullptr), FALSE);
    _DoDbgUninitEx(nullptr, "", "", 0);
}

TEST_F(Trace, ThereAreSixteenHandles) {
    HDBG ahDbg[16]{};
    for (HDBG &hDbg : ahDbg)
        EXPECT_EQ(_DoDbgInit("MANY", &hDbg) == TRUE, &hDbg != &ahDbg[15]) << &hDbg - ahDbg;
    EXPECT_EQ(ahDbg[15], nullptr);
    for (HDBG &hDbg : ahDbg)
        _DoDbgUninitEx(&hDbg, "", "", 0);
}

} // namespace
