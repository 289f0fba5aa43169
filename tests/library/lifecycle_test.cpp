// Life of the library, its names and settings, and what it does when a service beneath it fails.
#include "fixture.h"
#include "threadcheck.h"

using testing::ElementsAre;

namespace {

class Lifecycle : public LibraryTest {};

// Runs in a process of its own, since a revision outlives a stop.
TEST(LifecycleDeathTest, AnUnsupportedRevisionIsReportedAndLeavesNone) {
    const auto Check = [] {
        TimecodeLib_Init(4711);
        EXPECT_EQ(Timecode_GetMISPRevision(), 0);
        EXPECT_EQ(Ask({}).bResult, FALSE);
        EXPECT_EQ(GetSystemUtc({}).bResult, FALSE);
        EXPECT_THAT(TakeReports(), ElementsAre("MISPRevision:4711 NOT supported", "MISPRevision:0 NOT supported",
                                               "MISPRevision:0 NOT supported"));
        exit(testing::Test::HasFailure());
    };
    EXPECT_EXIT(Check(), testing::ExitedWithCode(0), "");
}

TEST_F(Lifecycle, AStoppedLibrarySaysThatItIs) {
    for (const int enRevision : {MISP_PROFILE_62, MISP_PROFILE_2016_2}) {
        StartDay(enRevision);
        TimecodeLib_Shutdown();
        DBG_RECORD Open = {0, DBG_LEVEL_DEBUG}; // the application's own handle lets the refusals be seen
        g_hTCLibDbg = &Open;
        TakeTraces();
        Queue({}), Ask({}), GetSystemUtc({}), Timecode_Flush(0), Timecode_GetMISPRevision();
        EXPECT_EQ(TakeTraces(), Texts(5, "3 Library is not initialized!"));
        g_hTCLibDbg = nullptr;
    }
}

TEST_F(Lifecycle, WorksWithoutATraceHandle) {
    g_Services.bHandleStaysNull = true;
    StartDay(MISP_PROFILE_62);
    Queue({.nPTS = 9000});
    EXPECT_EQ(Ask({.nPTS = 9000}).bResult, TRUE);
    EXPECT_EQ(TakeTraces(), Texts{});
}

TEST_F(Lifecycle, AListThatLosesRecordsIsReportedOnceItHasNoneLeft) {
    const std::string szLost = ". Something must be wrong with the list.";
    g_Services.bListLosesRecords = true;
    for (int nRecord = 0; nRecord < model::RECORDS_PER_INPUT; ++nRecord)
        EXPECT_EQ(Queue({}), TRUE);
    SetClockMs(1);
    EXPECT_EQ(Queue({}), FALSE);
    EXPECT_EQ(TakeTraces().back(), "3 Failed to get list tail at time:NOON.1000" + szLost);
    EXPECT_EQ(Ask({}).bResult, TRUE) << "carried";
}

// The names themselves are shown by messages.
TEST_F(Lifecycle, SourceNamesAreCutToTheBuffer) {
    char szName[40] = {};
    for (const int nSize : {26, 25, 1}) {
        EXPECT_EQ(Timecode_GetTimecodeSourceString(TIMECODE, szName, nSize), szName);
        EXPECT_EQ(szName, std::string("VITC Commercial TimeStamp", static_cast<size_t>(nSize) - 1));
    }
    EXPECT_STREQ(Timecode_GetTimecodeSourceString(-1, szName, 40), "(Unknown)");
    EXPECT_STREQ(Timecode_GetTimecodeSourceString(5, szName, 40), "(Unknown)");
}

TEST_F(Lifecycle, SourceNamesNeedABuffer) {
    char szKept[] = "kept";
    for (const int nSize : {0, -1, INT32_MIN})
        EXPECT_STREQ(Timecode_GetTimecodeSourceString(1, szKept, nSize), "Invalid input buffer");
    EXPECT_STREQ(Timecode_GetTimecodeSourceString(1, nullptr, 40), "Invalid input buffer");
    EXPECT_STREQ(szKept, "kept");
}

TEST_F(Lifecycle, SettingsAreAskedForTheRevisionAndHandedOnUnchecked) {
    int enRevision = 0;
    g_Services.nSettingsValue = 5;
    Timecode_GetMISPRevisionFromSystemSettings(&enRevision);
    EXPECT_EQ(enRevision, 5);
    EXPECT_THAT(TakeReports(), ElementsAre("settings /etc/plixo.ini SYSTEM MISPRevision 20116"));
}

// Four of each lock; one more where a request turns to its source.
TEST_F(Lifecycle, EveryLockAndUnlockIsBracketedByThreadStates) {
    const struct {
        void (*pCall)();
        int nWanted;
        int enRevision = MISP_PROFILE_62;
    } ROWS[] = {
        {.pCall = [] { Queue({}); }, .nWanted = 4},
        {.pCall = [] { Timecode_Flush(0); }, .nWanted = 4},
        {.pCall = [] { Timecode_ResetStats(-1); }, .nWanted = 2},
        {.pCall = [] { Ask({.nRate = 0}); }, .nWanted = 9},
        {.pCall = [] { Ask({.enSource = SYSTEM_CLOCK, .bSwitch = TRUE}); }, .nWanted = 21},
        {.pCall = [] { GetSystemUtc({}); }, .nWanted = 4},
        {.pCall = [] { TimecodeLib_Init(MISP_PROFILE_62); }, .nWanted = 16},
        {.pCall = [] { Ask({}); }, .nWanted = 9, .enRevision = MISP_PROFILE_2016_2},
        {.pCall = [] { Ask({.enSource = SYSTEM_CLOCK}); }, .nWanted = 5, .enRevision = MISP_PROFILE_2016_2},
        {.pCall = [] { GetSystemUtc({}); }, .nWanted = 0, .enRevision = MISP_PROFILE_2016_2},
    };
    for (const auto &Row : ROWS)
        for (const BOOL bEnabled : {FALSE, TRUE}) {
            StartDay(Row.enRevision);
            g_bThreadStateDebuggingEnabled = bEnabled;
            g_Services.nThreadStates = 0;
            Row.pCall();
            EXPECT_EQ(g_Services.nThreadStates, bEnabled ? Row.nWanted : 0) << "row " << &Row - ROWS;
            g_bThreadStateDebuggingEnabled = FALSE;
        }
}

} // namespace
