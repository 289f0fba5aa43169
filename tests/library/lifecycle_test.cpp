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
    EXPECT_THAT(TakeTraces(), ElementsAre("7 Called."));
    EXPECT_EQ(g_hTCLibDbg, nullptr);
    TimecodeLib_Shutdown();
    TimecodeLib_Init(MISP_PROFILE_62);
    EXPECT_THAT(TakeTraces(), ElementsAre("7 Called.", "5 Identified MISP revision as:20116."));
    Timecode_ResetStats(3);
    Stats(2);
    EXPECT_THAT(TakeTraces(), ElementsAre("7 Called.", "7 Successfully located Timecode info with input interface:3.",
                                          "7 Called.", "7 Successfully located Timecode info with input interface:2."));
    g_Services.bHandleStaysNull = true;
    TimecodeLib_Shutdown();
    TakeTraces();
    TimecodeLib_Init(MISP_PROFILE_62);
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
    const std::string sEpoch = std::to_string(-StartUsec());
    Queue(1, 12600, (sEpoch + " 1f").c_str());
    EXPECT_EQ(Text(Ask({1, 12600, TRUE})), "1 " + sEpoch + " 1f 12600 1 00:00:00:00") << "not compared with 0";
    Queue(1, 16200, "500 1f");
    Ask({1, 16200, TRUE});
    Queue(1, 19800, "400 1f");
    EXPECT_EQ(Text(Ask({1, 19800, TRUE})), "1 400 7f 19800 1 12:00:00:00") << "forgotten more than once";
    TimecodeLib_Shutdown();
    TimecodeLib_Init(MISP_PROFILE_62);
    EXPECT_EQ(Stats(0), "57005/0") << "a new start kept old state";
}

TEST_F(Lifecycle, SourceNamesFitTheBuffer) {
    const struct {
        int enSource, nSize;
        const char *szExpected;
    } Rows[] = {{0, 40, "None"},
                {1, 40, "High Precision TimeStamp"},
                {2, 40, "VITC Commercial TimeStamp"},
                {3, 40, "LDS Timestamp"},
                {4, 40, "System TimeStamp"},
                {5, 40, "(Unknown)"},
                {-1, 40, "(Unknown)"},
                {0xDEAD, 40, "(Unknown)"},
                {2, 26, "VITC Commercial TimeStamp"},
                {2, 25, "VITC Commercial TimeStam"},
                {3, 4, "LDS"},
                {1, 1, ""}};
    for (const auto &Row : Rows) {
        char szName[41] = "****************************************";
        EXPECT_EQ(Timecode_GetTimecodeSourceString(Row.enSource, szName, Row.nSize), szName);
        EXPECT_STREQ(szName, Row.szExpected) << Row.enSource << " in " << Row.nSize;
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
    const struct {
        const char *szWhat;
        int enRevision, nExpected;
        std::function<void()> Act;
    } Rows[] = {
        {"SetUTC", 20116, 4, [] { Queue(1, 9000, "0 1f"); }},
        {"Flush", 20116, 4, [] { Timecode_Flush(0); }},
        {"GetStats", 20116, 2, [] { Stats(0); }},
        {"ResetStats", 20116, 2, [] { Timecode_ResetStats(-1); }},
        {"2016.2 with search", 20162, 9, [] { Ask({1}); }},
        {"2016.2 without search", 20162, 5, [] { Ask({4}); }},
        {"62 KLV", 20116, 9, [] { Ask({1}); }},
        {"62 KLV, timecode failing", 20116, 9, [] { Ask({.enSource = 1, .nRate = 0}); }},
        {"62 timecode", 20116, 9, [] { Ask({2}); }},
        {"62 system", 20116, 9, [] { Ask({4}); }},
        {"62 system with recovery", 20116, 21,
         [] {
             Ask({4, 0, TRUE});
         }},
        {"62 system time", 20116, 4, [] { AskSystem({}); }},
        {"2016.2 system time", 20162, 0, [] { AskSystem({}); }},
        {"start", 20116, 16, [] { TimecodeLib_Init(20116); }},
    };
    for (const auto &Row : Rows) {
        for (const BOOL bEnabled : {FALSE, TRUE}) {
            TimecodeLib_Shutdown();
            StartDay(Row.enRevision);
            g_bThreadStateDebuggingEnabled = bEnabled;
            g_Services.nThreadStates = 0;
            Row.Act();
            EXPECT_EQ(g_Services.nThreadStates, bEnabled ? Row.nExpected : 0) << Row.szWhat;
            g_bThreadStateDebuggingEnabled = FALSE;
        }
    }
}

constexpr INT64 YEAR_2000_USEC = 946'684'800'000'000;

// A silent high-precision time, so that its date is checked.
void AskSilentAt(INT64 llUTC, int nInput) {
    Queue(1, 9000, (std::to_string(llUTC - StartUsec()) + " 1f").c_str(), nInput);
    Ask({.nPts = 9000, .nInput = nInput});
    Ask({.nPts = 900000, .nInput = nInput});
}

void AskGood(int enSource, int nInput) {
    Queue(enSource, 9000, enSource == 2 ? "12:00:00:00" : "0 1f", nInput);
    Ask({.enSource = enSource, .nPts = 9000, .nInput = nInput});
}

void ConvertUsec(INT64 llUTC) {
    vitc_t Vitc;
    TimeCode_UTCToSMPTE12M(&llUTC, 25, 25000, &Vitc);
}

TEST_F(Lifecycle, RepeatedMessagesAreThrottledPerInputOrForAll) {
    using Act = std::function<void(int)>;
    const auto AskFor = [](int enSource, BOOL bSwitch = FALSE) -> Act {
        return [=](int nInput) { Ask({.enSource = enSource, .bSwitch = bSwitch, .nInput = nInput}); };
    };
    const auto Good = [](int enSource) -> Act { return [=](int nInput) { AskGood(enSource, nInput); }; };
    const Act System = [](int) { AskSystem({}); };
    const struct {
        int enRevision, nSec; // passes again after more than nSec
        bool bShared;         // by all inputs
        const char *szText;
        Act Repeat;
    } Rows[] = {
        {20116, 4, true, "6 SetUTC - enTimeCodeSource:1(High Precision TimeStamp), enInputInterface:", Good(1)},
        {20116, 0, false, "6 TC Flush finished for inputInterface:", Timecode_Flush},
        {20116, 4, false, "6 enTimecodeSource:0(None), SwitchingAllowed:FALSE at the beginning of the function!",
         AskFor(0)},
        {20116, 4, false, "3 Failed to get UTC. enTimecodeSource:77 is Unknown or Failed!", AskFor(77)},
        {20116, 4, false, "6 Timecode source:1, is high precision timecode coming from VANC KLV.", AskFor(1)},
        {20116, 4, false, "6 Success retrieved MSPack UTC::  1", Good(1)},
        {20116, 4, false, "6 Fail to get timecode. OLD UTC::  ", AskFor(1)},
        {20116, 4, false, "6 Timecode source:3, is UTC coming from LDS.", AskFor(3)},
        {20116, 4, false, "6 Success retrieved MSPack UTC::  1", Good(3)},
        {20116, 4, false, "6 Fail to get timecode. OLD UTC:: ", AskFor(3)},
        {20116, 0, false, "7 Timecode source:2, is commercial timecode coming from VITC.", AskFor(2)},
        {20116, 0, false, "6 Retreived TC on interface:", Good(2)},
        {20116, 4, false, "6 Fail to get timecode on interface:", AskFor(2)},
        {20116, 4, true, "7 Sucessfully converted Date time to UTC. Date:: ", AskFor(2)},
        {20116, 4, false, "6 Timecode source:4, is system time.", AskFor(4)},
        {20116, 9, true, "6 Success getting system UTC:H:M:S:mS:(12:00:00.000). UTC64:", System},
        {20116, 4, true, "7 Recovery - enConfiguredMISBTimeSource:1, enCurrentTimecodeSouce:", AskFor(1, TRUE)},
        {20116, 9, true, "4 Year:1999 is below 2000.",
         [](int nInput) { AskSilentAt(YEAR_2000_USEC - 3'600'000'000, nInput); }},
        {20116, 4, true, "7 Sucessfully converted UTC:0", [](int) { ConvertUsec(0); }},
        {20116, 29, true, "4 Date information might be wrong on system! UTC:0", [](int) { ConvertUsec(0); }},
        {20162, 4, false, "6 enConfigMISBTimesource:0(None), enInputInterface:", AskFor(0)},
        {20162, 4, false, "3 Failed to get UTC. enConfigMISBTimesource:4 is Unknown or Failed!", AskFor(4)},
        {20162, 4, false, "6 Timecode source:1, is high precision timecode coming from VANC KLV.", AskFor(1)},
        {20162, 4, false, "6 Success retrieved MTSPack UTC:: 1", Good(1)},
        {20162, 4, false, "6 Timecode source:3, is UTC coming from LDS.", AskFor(3)},
        {20162, 4, false, "6 Success retrieved LDS Tag2 UTC::  1", Good(3)},
        {20162, 0, false, "7 Timecode source:2, is commercial timecode coming from VITC.", AskFor(2)},
        {20162, 0, false, "6 Retreived TC on interface:", Good(2)},
        {20162, 4, true, "6 Success getting system UTC:H:M:S:mS:(12:0:0.0). UTC64:", System},
    };
    for (const auto &Row : Rows) {
        SCOPED_TRACE(Row.szText + std::string(" under ") + std::to_string(Row.enRevision));
        TimecodeLib_Shutdown();
        StartDay(Row.enRevision);
        const auto Passes = [&Row](INT64 nSec, int nInput) {
            SetClockMs(nSec * 1000);
            TakeTraces();
            Row.Repeat(nInput);
            return CountTraces(Row.szText);
        };
        const INT64 nPeriod = Row.nSec + 1;
        EXPECT_EQ(Passes(0, 0), 1);
        EXPECT_EQ(Passes(nPeriod - 1, 0), 0) << "too early";
        EXPECT_EQ(Passes(nPeriod, 0), 1) << "too late";
        EXPECT_EQ(Passes(nPeriod, 1), Row.bShared ? 0 : 1) << "on another input";
        g_hTCLibDbg->nMaxLevel = Row.szText[0] - '0' - 1;
        EXPECT_EQ(Passes(2 * nPeriod, 0), 0) << "level not tested";
        g_hTCLibDbg->nMaxLevel = DBG_LEVEL_DEBUG;
        EXPECT_EQ(Passes(3 * nPeriod - 1, 0), 0) << "a suppressed message must move the throttle";
        EXPECT_EQ(Passes(-100, 0), 0) << "clock set back";
        EXPECT_EQ(Passes(3 * nPeriod, 0), 1);
    }
}

TEST_F(Lifecycle, OnlyYearsBefore2000AreWarnedAbout) {
    for (const int nEarlier : {0, 1}) {
        AskSilentAt(YEAR_2000_USEC - nEarlier, nEarlier);
        EXPECT_EQ(CountTraces("4 Year:1999 is below 2000."), nEarlier);
    }
}

TEST_F(Lifecycle, FailuresDoNotMoveTheThrottleOfSuccesses) {
    for (const int enRevision : {MISP_PROFILE_62, MISP_PROFILE_2016_2}) {
        TimecodeLib_Shutdown();
        StartDay(enRevision);
        AskGood(1, 0);
        SetClockMs(3000);
        Ask({1, 900000});
        SetClockMs(5000);
        TakeTraces();
        AskGood(1, 0);
        EXPECT_EQ(CountTraces("6 Success retrieved M"), 1);
    }
}

} // namespace
