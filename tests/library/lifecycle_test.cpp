// Life of the library: revisions, statistics, names, settings, traces' levels and throttles, thread-state records.
#include <functional>

#include "fixture.h"
#include "threadcheck.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Lifecycle : public LibraryTest {};

// Runs in a process of its own, since a revision outlives a shut-down.
TEST(LifecycleDeathTest, UnsupportedRevisionIsReportedAndNeverReplacesASupportedOne) {
    const auto Check = [] {
        EXPECT_EQ(Timecode_GetMISPRevision(), -1);
        EXPECT_EQ(Queue(1, 9000, "0 1f"), FALSE);
        EXPECT_EQ(Text(AskSystem({})), "0 - -");
        g_Services.nClockNsec = StartUsec() * 1000;
        TimecodeLib_Init(4711);
        EXPECT_THAT(TakeAsserts(), ElementsAre("MISPRevision:4711 NOT supported"));
        EXPECT_EQ(Timecode_GetMISPRevision(), 0);
        EXPECT_EQ(Queue(1, 9000, "0 1f"), TRUE);
        EXPECT_EQ(Text(Ask({1, 9000})), "0 - -");
        EXPECT_EQ(Text(AskSystem({})), "0 - -");
        EXPECT_THAT(TakeAsserts(), ElementsAre("MISPRevision:0 NOT supported", "MISPRevision:0 NOT supported"));
        for (const int enRevision : {20162, 7, 20116, -1}) {
            TimecodeLib_Shutdown();
            TimecodeLib_Init(enRevision);
            EXPECT_EQ(Timecode_GetMISPRevision(), enRevision == 7 ? 20162 : enRevision < 0 ? 20116 : enRevision);
        }
        exit(testing::Test::HasFailure());
    };
    EXPECT_EXIT(Check(), testing::ExitedWithCode(0), "");
}

TEST_F(Lifecycle, StartAndStopSayWhatTheyDo) {
    TimecodeLib_Shutdown();
    EXPECT_EQ(g_hTCLibDbg, nullptr);
    TimecodeLib_Shutdown();
    TimecodeLib_Init(MISP_PROFILE_62);
    Timecode_ResetStats(3);
    Stats(2);
    EXPECT_THAT(TakeTraces(), ElementsAre("7 Called.", "7 Called.", "5 Identified MISP revision as:20116.", "7 Called.",
                                          "7 Successfully located Timecode info with input interface:3.", "7 Called.",
                                          "7 Successfully located Timecode info with input interface:2."));
    g_Services.bHandleStaysNull = true;
    StartDay(MISP_PROFILE_62);
    EXPECT_EQ(Queue(1, 9000, "0 1f"), TRUE);
    EXPECT_EQ(Text(Ask({1, 9000})), "1 0 1f 9000 1 12:00:00:00");
    EXPECT_THAT(TakeTraces(), IsEmpty()) << "traced without a handle";
}

TEST_F(Lifecycle, CallsBeforeStartOrAfterStopAreRefused) {
    for (const int enRevision : {MISP_PROFILE_62, MISP_PROFILE_2016_2}) {
        TimecodeLib_Shutdown();
        TimecodeLib_Init(enRevision);
        Queue(1, 9000, "0 1f");
        TimecodeLib_Shutdown();
        DBG_RECORD Open = {0, DBG_LEVEL_DEBUG}; // the application's own handle lets the refusals be seen
        g_hTCLibDbg = &Open;
        TakeTraces();
        EXPECT_EQ(Queue(1, 9000, "0 1f"), FALSE);
        const Answer Got = Ask({1, 9000});
        EXPECT_EQ(Text(Got), "0 - -");
        EXPECT_EQ(Got.bSame, FALSE);
        EXPECT_EQ(Text(AskSystem({})), "0 - -");
        Timecode_Flush(0);
        EXPECT_EQ(Timecode_GetMISPRevision(), -1);
        EXPECT_EQ(TakeTraces(), Texts(5, "3 Library is not initialized!"));
        g_hTCLibDbg = nullptr;
        EXPECT_EQ(Stats(0), "57005/0") << "statistics need a started library";
    }
}

TEST_F(Lifecycle, StatisticsShowNoSourceUntilOneIsChosenAndResetKeepsTheSource) {
    for (int nInput = 0; nInput < NUM_VIDEO_INPUTS; ++nInput)
        EXPECT_EQ(Stats(nInput), "57005/0");
    Queue(1, 9000, "1000 1f");
    EXPECT_EQ(Text(Ask({1, 9000, TRUE})), "1 1000 1f 9000 1 12:00:00:00");
    EXPECT_EQ(Stats(0), "1/1");
    EXPECT_EQ(Timecode_ResetStats(0), TRUE);
    EXPECT_EQ(Stats(0), "1/0");
    Queue(1, 16200, "500 1f");
    EXPECT_EQ(Text(Ask({1, 16200, TRUE})), "1 500 1f 16200 1 12:00:00:00") << "not compared with 0";
    Queue(1, 19800, "400 1f");
    EXPECT_EQ(Text(Ask({1, 19800, TRUE})), "1 400 7f 19800 1 12:00:00:00") << "forgotten more than once";
    TimecodeLib_Shutdown();
    TimecodeLib_Init(MISP_PROFILE_62);
    EXPECT_EQ(Stats(0), "57005/0") << "a new start kept old state";
}

TEST_F(Lifecycle, SourceNamesFitTheBuffer) {
    for (const auto &[enSource, nSize, szExpected] : {std::tuple(2, 26, "VITC Commercial TimeStamp"),
                                                      {2, 25, "VITC Commercial TimeStam"},
                                                      {1, 1, ""},
                                                      {0, 40, "None"},
                                                      {4, 40, "System TimeStamp"},
                                                      {5, 40, "(Unknown)"},
                                                      {-1, 40, "(Unknown)"}}) {
        char szName[41] = "****************************************";
        EXPECT_EQ(Timecode_GetTimecodeSourceString(enSource, szName, nSize), szName);
        EXPECT_STREQ(szName, szExpected) << enSource << " in " << nSize;
    }
    char szKept[] = "kept";
    for (const int nSize : {0, -1, INT32_MIN})
        EXPECT_STREQ(Timecode_GetTimecodeSourceString(1, szKept, nSize), "Invalid input buffer");
    EXPECT_STREQ(Timecode_GetTimecodeSourceString(1, nullptr, 40), "Invalid input buffer");
    EXPECT_STREQ(szKept, "kept");
}

TEST_F(Lifecycle, SettingsAreAskedForTheRevisionAndHandedOnUnchecked) {
    for (const int nValue : {20116, 20162, 5}) {
        int enRevision = 0;
        g_Services.nSettingsValue = nValue;
        Timecode_GetMISPRevisionFromSystemSettings(&enRevision);
        EXPECT_EQ(enRevision, nValue);
        EXPECT_THAT(TakeAsserts(), ElementsAre("settings /etc/plixo.ini SYSTEM MISPRevision 20116"));
    }
    EXPECT_THAT(TakeTraces(), IsEmpty());
}

TEST_F(Lifecycle, EveryLockAndUnlockIsBracketedByThreadStates) {
    const std::tuple<const char *, int, int, std::function<void()>> Rows[] = {
        {"SetUTC", 20116, 4, [] { Queue(1, 9000, "0 1f"); }},
        {"Flush", 20116, 4, [] { Timecode_Flush(0); }},
        {"GetStats", 20116, 2, [] { Stats(0); }},
        {"ResetStats", 20116, 2, [] { Timecode_ResetStats(-1); }},
        {"2016.2 with search", 20162, 9, [] { Ask(Request()); }},
        {"2016.2 without search", 20162, 5, [] { Ask({.enSource = 4}); }},
        {"62 KLV, timecode failing", 20116, 9, [] { Ask({.nRate = 0}); }},
        {"62 system with recovery", 20116, 21, [] { Ask({.enSource = 4, .bSwitch = TRUE}); }},
        {"62 system time", 20116, 4, [] { AskSystem({}); }},
        {"2016.2 system time", 20162, 0, [] { AskSystem({}); }},
        {"start", 20116, 16, [] { TimecodeLib_Init(20116); }},
    };
    for (const auto &[szWhat, enRevision, nExpected, Act] : Rows)
        for (const BOOL bEnabled : {FALSE, TRUE}) {
            StartDay(enRevision);
            g_bThreadStateDebuggingEnabled = bEnabled;
            g_Services.nThreadStates = 0;
            Act();
            EXPECT_EQ(g_Services.nThreadStates, bEnabled ? nExpected : 0) << szWhat;
            g_bThreadStateDebuggingEnabled = FALSE;
        }
}

} // namespace
