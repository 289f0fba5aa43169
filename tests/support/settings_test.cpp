// The settings file: the value that counts, and what is said of one that cannot be used.
#include <fstream>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "cfgfile_api.h"
#include "interpose/standard_error.h"
#include "system_calls.h"

namespace {

constexpr int DEFAULT_VALUE = 5;
constexpr const char *NO_INTEGER = " holds no integer within the range of int.";
constexpr const char *TOO_LONG = " is too long.";
constexpr const char *UNREADABLE = " and what follows it cannot be read.";
const std::string FILLER(510, 'x'); // as much as a line may hold
const std::string BLANKS(506, ' ');

class Settings : public testing::Test {
protected:
    ~Settings() override { unlink(m_szPath.c_str()); }
    const std::string m_szPath = testing::TempDir() + "settings" + std::to_string(getpid());
};

TEST_F(Settings, TheLastValueOfTheKeyInItsSectionCounts) {
    const struct {
        const char *szFault;
        std::string szText;
        int nValue = DEFAULT_VALUE;
        int nLine = 0; // that a warning names; none at 0
        const char *szWarning = NO_INTEGER;
        bool bReadFails = false;
    } ROWS[] = {
        {.szFault = "no end of line", .szText = "[S]\nK=20162", .nValue = 20162},
        {.szFault = "mark of the byte order, blanks", .szText = "\xEF\xBB\xBF[S]\r\n\tK\t= -5 \r\n", .nValue = -5},
        {.szFault = "comment behind", .szText = "[ S ] ; x\nK = +7 # x\n", .nValue = 7},
        {.szFault = "comment without a blank behind its mark", .szText = "[S]\nK=8 #x\n", .nValue = 8},
        {.szFault = "twice, and in another section", .szText = "[S]\nK=1\nK=2\n[T]\nK=3\n[S]\n", .nValue = 2},
        {.szFault = "the largest", .szText = "[S]\nK=2147483647\n", .nValue = INT32_MAX},
        {.szFault = "a long line of another key", .szText = "[S]\nK=" + FILLER + "\nK=2\n", .nValue = 2},
        {.szFault = "blanks up to the longest line", .szText = "[S]\n" + BLANKS + "K=12\r\n", .nValue = 12},
        {.szFault = "a long header ends it", .szText = "[S]\nK=1\n[T" + FILLER + FILLER + "]\nK=2", .nValue = 1},
        {.szFault = "no header", .szText = "[S]\nK=1\n" + FILLER + "[\n#[" + FILLER + "\nK=2\n", .nValue = 2},
        {.szFault = "a header behind many blanks", .szText = "[S]\nK=1\n" + BLANKS + BLANKS + "[T]\nK=2", .nValue = 1},
        {.szFault = "zero bytes", .szText = std::string("\0[S]\n\0=1\n[S]\nK=3\n", 17), .nValue = 3},
        {.szFault = "nothing", .szText = ""},
        {.szFault = "no section", .szText = "K=1"},
        {.szFault = "a header that is not closed", .szText = "[S]\n[S\nK=1"},
        {.szFault = "comments only", .szText = "[S]\n#K=1\n ;K=1"},
        {.szFault = "names of another spelling", .szText = "[s]\nK=1\n[S]\nk=1\nK2=1\nK"},
        {.szFault = "no blank before the comment", .szText = "[S]\nK=1;x", .nLine = 2},
        {.szFault = "the same with a blank behind it", .szText = "[S]\nK=1; x", .nLine = 2},
        {.szFault = "two signs", .szText = "[S]\nK=+-1", .nLine = 2},
        {.szFault = "too large", .szText = "[S]\n\nK=2147483648", .nLine = 3},
        {.szFault = "told once", .szText = "[S]\nK=1\nK=x\nK=y\n", .nLine = 4},
        {.szFault = "of no account", .szText = "[S]\nK=x\nK=1\n[T]\nK=x\n#K=" + FILLER, .nValue = 1},
        {.szFault = "long", .szText = "[S]\nK=1\nK=2 #" + FILLER, .nValue = 1, .nLine = 3, .szWarning = TOO_LONG},
        {.szFault = "longer", .szText = "[S]\nK=2 #" + FILLER + FILLER, .nLine = 2, .szWarning = TOO_LONG},
        {.szFault = "unreadable", .szText = "[S]\nK=1\n", .nLine = 3, .szWarning = UNREADABLE, .bReadFails = true},
        {.szFault = "unreadable, without the key", .szText = "[S]\nL=1\n", .bReadFails = true},
    };
    const interpose::StandardError Told;
    for (const char *szLevel : {"4", "3"})
        for (const auto &Row : ROWS) {
            SCOPED_TRACE(Row.szFault);
            std::ofstream(m_szPath, std::ios::binary) << Row.szText;
            setenv("TIMECODE_TRACE_LEVEL", szLevel, 1);
            g_bReadFails = Row.bReadFails;
            int nValue = 0;
            const BOOL bFound = CfgFile_GetIntValue(m_szPath.c_str(), "S", "K", &nValue, DEFAULT_VALUE);
            g_bReadFails = false;
            unsetenv("TIMECODE_TRACE_LEVEL");
            EXPECT_EQ(nValue, Row.nValue);
            EXPECT_EQ(bFound, Row.nValue != DEFAULT_VALUE);
            const std::string szWarning = "[S] K is taken as " + std::to_string(Row.nValue) + ": line " +
                                          std::to_string(Row.nLine) + " of " + m_szPath + Row.szWarning + "\n";
            const std::string szTold = Told.Read();
            if (Row.nLine != 0 && *szLevel == '4')
                EXPECT_THAT(szTold,
                            testing::AllOf(testing::HasSubstr(" SETTINGS warning "), testing::EndsWith(szWarning)));
            else
                EXPECT_EQ(szTold, "");
            EXPECT_EQ(Told.Read(), "") << "a second message";
        }
}

TEST_F(Settings, WhatIsNoFileGivesTheDefaultAndIsNotWaitedFor) {
    mkfifo(m_szPath.c_str(), 0600); // nobody writes to it
    for (const char *szPath : {m_szPath.c_str(), "/", "/dev/zero", "/nowhere/x", static_cast<const char *>(nullptr)}) {
        int nValue = 0;
        EXPECT_EQ(CfgFile_GetIntValue(szPath, "S", "K", &nValue, DEFAULT_VALUE), FALSE);
        EXPECT_EQ(nValue, DEFAULT_VALUE);
    }
}

TEST_F(Settings, NullIsRefused) {
    int nValue = 0;
    EXPECT_EQ(CfgFile_GetIntValue("/", "S", "K", nullptr, 0), FALSE);
    EXPECT_EQ(CfgFile_GetIntValue("/", nullptr, "K", &nValue, 0), FALSE);
    EXPECT_EQ(CfgFile_GetIntValue("/", "S", nullptr, &nValue, 0), FALSE);
}

} // namespace
