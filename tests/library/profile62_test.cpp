// Retrieval under MISP_PROFILE_62: carried time, failover and recovery, picture by picture.
#include <sstream>

#include "fixture.h"

namespace {

class Profile62 : public LibraryTest {};

// Elapsed times are absolute: a clock that runs backwards, then one that runs on, give the pictures the same times.
void PlayBothWays(std::vector<Step> Pictures) {
    for (int nWay = 0; nWay < 2; ++nWay) {
        StartDay(MISP_PROFILE_62);
        for (auto &Picture : Pictures)
            Picture.nMs = -Picture.nMs;
        Play(Pictures);
    }
}

TEST_F(Profile62, HighPrecisionIsUsedWithin359TicksElseCarriedByTheClock) {
    PlayBothWays({
        {0, 1, 9000, "0 1f", {1, 9000}, "1 0 1f 9000 1 12:00:00:00"},
        {40, 0, 0, "", {1, 12600}, "1 40000 1f 12600 1 12:00:00:01"},
        {80, 0, 0, "", {1, 16200}, "1 80000 1f 16200 1 12:00:00:02"},
        {80, 0, 0, "", {1, 19800}, "1 80000 1f 19800 1 12:00:00:02"}, // the clock stands still
        {120, 1, 20159, "120000 9f", {1, 19800}, "1 120000 9f 20159 1 12:00:00:03"},
        {160, 1, 23040, "0 1f", {1, 23400}, "1 160000 9f 23400 1 12:00:00:04"},
        {200, 1, 27000, "100000 1f", {1, 27000}, "1 100000 7f 27000 1 12:00:00:02"}, // back: reverse, locked
        {240, 1, 30600, "100000 1f", {1, 30600}, "1 100000 1f 30600 1 12:00:00:02"}, // equal is not back
        {280, 1, 34200, "99999 9f", {1, 34200}, "1 99999 ff 34200 1 12:00:00:02"},
        {320, 1, 37800, "100000 40", {1, 37800}, "1 100000 40 37800 1 12:00:00:02"}, // bits 5 to 0 pass
        {360, 0, 0, "", {1, 90000}, "1 140000 1f 90000 1 12:00:00:03", "57005/0"},   // a carry ends the discontinuity
        {400, 0, 0, "", {.enSource = 4, .nPts = 100, .nRate = 0}, "0 1111 9f 100 4 -"},
        {400, 0, 0, "", {0, 0}, "0 - -"}, // no source: no longer locked
        {440, 0, 0, "", {1, 93600}, "1 220000 9f 93600 1 12:00:00:05"},
    });
    EXPECT_EQ(CountTraces("6 Discontinuity identified. Time jumped backward!"), 2);
}

TEST_F(Profile62, LdsIsCarriedWithThePtsOfTheElapsedTime) {
    PlayBothWays({
        {0, 3, 9000, "0 1f", {3, 9000}, "1 0 1f 9000 3 12:00:00:00"},
        {40, 0, 0, "", {3, 500000}, "1 40000 1f 12600 3 12:00:00:01"},
        {1540, 0, 0, "", {3, 900000}, "1 1540000 1f 147600 3 12:00:01:13", "57005/0"},
        {1540, 0, 0, "", {3, 900000}, "1 1540000 1f 147600 3 12:00:01:13"}, // the clock stands still
        {1500, 0, 0, "", {3, 900000}, "1 1580000 1f 151200 3 12:00:01:14"}, // and turns round
        {1580, 3, 9360, "0 1f", {3, 9000}, "1 0 7f 9000 3 12:00:00:00"},    // the nearer record still serves
    });
}

TEST_F(Profile62, TheFirstSilentPictureCountsFromTheStartUpTime) {
    for (const INT64 nMs : {500, 540}) { // no insertion time yet: the whole clock is added
        SetClockMs(nMs);
        EXPECT_EQ(Text(Ask({1, 9000})).substr(0, 22), "1 " + std::to_string(StartUsec() + nMs * 1000) + " 9f ");
    }
}

TEST_F(Profile62, SilenceOfMoreThan5000MsFailsOverSourceBySourceUntilOneRecovers) {
    const auto System = [](UINT64 nPts) { return Request{1, nPts, TRUE, 25, 25000, 0, 1'000'000, 0}; };
    PlayBothWays({
        {0, 1, 9000, "0 1f", {1, 9000, TRUE}, "1 0 1f 9000 1 12:00:00:00", "1/1"}, // the first choice counts
        {5000, 0, 0, "", {1, 459000, TRUE}, "1 5000000 9f 459000 1 12:00:05:00", "1/1"},
        {5001, 0, 0, "", {3, 459090, TRUE}, "1 5001000 9f 459090 1 12:00:05:00", "2/3"}, // configured source: no effect
        {5041, 0, 0, "", {1, 462690, TRUE}, "1 5040000 9f 462690 2 12:00:05:01", "2/3"},
        {10001, 0, 0, "", {1, 466290, TRUE}, "1 5080000 9f 466290 2 12:00:05:02", "2/3"},
        {10002, 0, 0, "", {1, 912780, TRUE}, "1 10040000 df 912780 2 12:00:10:01", "3/5"},
        {10042, 0, 0, "", {1, 916380, TRUE}, "1 15081000 9f 912780 3 12:00:15:02", "3/5"}, // from the timecode's time
        {15002, 0, 0, "", {1, 920000, TRUE}, "1 20041000 9f 1359180 3 12:00:20:01", "3/5"},
        {15003, 0, 0, "", {1, 920000, TRUE}, "1 20042000 9f 1359270 3 12:00:20:01", "4/7"},
        {15043, 0, 0, "", System(1'090'000), "1 999999 9f 1090000 4 12:00:00:24", "4/7"},
        {99999, 0, 0, "", System(1'000'000), "1 0 9f 1000000 4 12:00:00:00", "4/7"},
        {100000, 1, 1'000'000, "0 1f", System(1'000'000), "1 0 9f 1000000 4 12:00:00:00", "4/7"},
        {100751, 1, 1'000'000, "5 1f", System(1'000'000), "1 0 9f 1000000 4 12:00:00:00", "1/8"},
        {100791, 0, 0, "", System(1'000'000), "1 0 7f 1000000 1 12:00:00:00 same", "1/8"}, // only now
    });
}

TEST_F(Profile62, WithoutSwitchingNothingFailsOverOrRecovers) {
    for (const BOOL bSwitch : {FALSE, BOOL{2}}) { // only TRUE says TRUE
        const Request Asked = {.enSource = 3, .nPts = 9000, .bSwitch = bSwitch, .nInput = bSwitch};
        Play({{0, 3, 9000, "0 9f", Asked, "1 0 9f 9000 3 12:00:00:00", "57005/0"}});
        Queue(1, 9000, "0 1f", Asked.nInput);
        SetClockMs(60'000);
        Ask({.enSource = 3, .nPts = 90'000'000, .bSwitch = bSwitch, .nInput = bSwitch});
        EXPECT_EQ(Stats(Asked.nInput), "57005/0");
    }
}

TEST_F(Profile62, ABetterSourceRecoversAfterMoreThan750Ms) {
    // The source in use, then sightings of time stamps with PTS 9000: time in ms, source queued before (0: none), the
    // picture's PTS, the statistics.
    const std::tuple<const char *, int, const char *, const char *> Rows[] = {
        {"above timecode", 2, "0 1 9000 2/1  750 1 9000 2/1  751 1 9000 1/2",
         "7 Timecode source:1(High Precision TimeStamp), recovered."},
        {"359 ticks off", 4, "0 3 9359 4/1  751 3 8641 3/2", "6 Timecode source:3(LDS Timestamp), recovered."},
        {"360 ticks off", 4, "0 3 9360 4/1  751 3 8640 4/1", "6 Timecode source:4,"},
        {"the first sighting is kept", 4, "0 2 9000 4/1  99 0 90000 4/1  999 0 9000 2/2", "6 Timecode source:2("},
        {"a lower one that is ready wins", 3,
         "0 2 9000 3/1  600 1 9000 3/1  800 0 9000 2/2  1350 0 9000 2/2  1351 0 9000 1/3", "6 Timecode source:2("},
        {"none to system", 0, "0 0 0 0/1  750 0 0 0/1  751 0 0 4/2  752 0 0 4/2", "6 Timecode source:4("},
        {"unknown to none", 77, "0 0 0 0/1  1 0 0 0/1  752 0 0 4/2",
         "3 We have a enTimeSource:77((Unknown)) that is unknown! Put it back to NONE."},
        {"nothing above the best", 1, "0 2 9000 1/1  4000 0 9000 1/1", "6 Timecode source:1,"},
    };
    for (const INT64 nDirection : {1, -1}) // of the clock
        for (const auto &[szWhat, enSource, szSightings, szTrace] : Rows) {
            StartDay(MISP_PROFILE_62);
            std::istringstream Sightings(szSightings);
            INT64 nMs = 0;
            int enStamp = 0;
            UINT64 nPts = 0;
            for (std::string sStats; Sightings >> nMs >> enStamp >> nPts >> sStats;) {
                SetClockMs(nDirection * nMs);
                if (enStamp)
                    Queue(enStamp, 9000, "12:00:00:00");
                Ask({enSource, nPts, TRUE});
                EXPECT_EQ(Stats(0), sStats) << szWhat << " at " << nDirection * nMs << " ms";
            }
            EXPECT_EQ(CountTraces(szTrace), 1) << szWhat;
        }
    g_Services.bClockFails = true; // then it is no source
    TakeTraces();
    for (const INT64 nMs : {10'000, 12'000}) {
        SetClockMs(nMs);
        EXPECT_EQ(Text(Ask({.enSource = 0, .bSwitch = TRUE, .nInput = 3})), "0 - -");
        EXPECT_EQ(Stats(3), "0/1") << "at " << nMs << " ms";
    }
    EXPECT_EQ(CountTraces("3 Fail to retreive UTC time from system time. RetCode:-1"), 2);
}

TEST_F(Profile62, ARateOfZeroLeavesTheRequestBeforeItsBookkeeping) {
    for (const int enSource : {1, 3}) {
        const int nInput = enSource - 1;
        const std::string sSource = std::to_string(enSource);
        Queue(enSource, 9000, "1000 1f", nInput);
        Queue(enSource, 9000, "1000 1f", nInput);
        Answer Got = Ask({.enSource = enSource, .nPts = 9000, .bSwitch = TRUE, .nRate = 0, .nInput = nInput});
        EXPECT_EQ(Text(Got), "0 1000 1f 9000 " + sSource + " -");
        EXPECT_EQ(Got.bSame, FALSE);
        EXPECT_EQ(Stats(nInput), "57005/0");
        Queue(enSource, 90000, "500 1f", nInput);
        Got = Ask({.enSource = enSource, .nPts = 90000, .nInput = nInput}); // 1000 was never recorded as handed out
        EXPECT_EQ(Text(Got), "1 500 1f 90000 " + sSource + " 12:00:00:00");
    }
}

TEST_F(Profile62, TheCursorIsSharedWithTheSearch) {
    for (const char *szStamp : {"0 1f", "10 1f", "20 1f"})
        Queue(1, 9000, szStamp);
    Answer Got = Ask({1, 9000});
    EXPECT_EQ(Got.bSame, TRUE);
    Got = Ask({1, 9000}, Got.pCursor);
    EXPECT_EQ(Text(Got), "1 10 1f 9000 1 12:00:00:00 same");
    Got = Ask({1, 9360}, Got.pCursor);
    EXPECT_EQ(Text(Got), "1 10 1f 9360 1 12:00:00:00") << "a record too far is passed over and the time carried";
    EXPECT_EQ(Got.pCursor, nullptr);
}

TEST_F(Profile62, SwitchCheckMovesOnAfterMoreThan5000Ms) {
    const std::tuple<INT64, BOOL, int, int, const char *> Rows[] = {
        {5000, TRUE, 1, 1, "57005/0"},   {5001, FALSE, 1, 1, "57005/0"}, {5001, 2, 1, 1, "57005/0"},
        {5001, TRUE, 1, 2, "57005/1"},   {5001, TRUE, 2, 2, "57005/1"},  {10002, TRUE, 2, 3, "57005/2"},
        {15003, TRUE, 3, 4, "57005/3"},  {20004, TRUE, 4, 0, "57005/4"}, {25005, TRUE, 0, 0, "57005/5"},
        {30006, TRUE, 77, 0, "57005/6"}, {20000, TRUE, 1, 2, "57005/7"}, // the clock set back
    };
    Queue(1, 9000, "0 1f");
    Ask({1, 9000});
    for (const auto &[nMs, bAllowed, enSource, enExpected, szStats] : Rows) {
        SetClockMs(nMs);
        int enNew = enSource;
        _VerifyTimeSourceSwitch(0, bAllowed, &enNew);
        EXPECT_EQ(enNew, enExpected) << enSource << " at " << nMs;
        EXPECT_EQ(Stats(0), szStats) << enSource << " at " << nMs;
    }
    EXPECT_EQ(CountTraces("7 Timecode source:1, Failed to extract timecode for:5.001000000s. Defined Period:5000 ms "
                          "before failure is announced."),
              1);
}

TEST_F(Profile62, AUsedTimeStampProvesItsSourceGood) {
    // The last column is the picture, the first or the second one, from which the 5000 ms count.
    const std::tuple<int, int, BOOL, INT64> Rows[] = {
        {20116, 1, FALSE, 3000}, {20116, 3, FALSE, 3000}, {20116, 2, FALSE, 0},    {20116, 2, TRUE, 3000},
        {20116, 1, 2, 3000},     {20162, 1, FALSE, 3000}, {20162, 2, FALSE, 3000}, {20162, 3, FALSE, 3000}};
    for (const auto &[enRevision, enSource, bSwitch, nGoodMs] : Rows) {
        StartDay(enRevision);
        for (const INT64 nMs : {0, 3000}) {
            SetClockMs(nMs);
            Queue(enSource, 9000, "12:00:00:00");
            Ask({enSource, 9000, bSwitch});
        }
        for (const int nLate : {0, 1}) {
            SetClockMs(nGoodMs + 5000 + nLate);
            int enNew = TCSOURCE_SYSTEM_TIMESTAMP;
            _VerifyTimeSourceSwitch(0, TRUE, &enNew);
            EXPECT_EQ(enNew, nLate ? 0 : 4) << enRevision << " " << enSource << " " << bSwitch;
        }
    }
}

TEST_F(Profile62, SilenceCountsFromTheFirstPictureAndFromARecovery) {
    Ask({1, 9000, TRUE});
    EXPECT_EQ(Stats(0), "1/1") << "silent since the first picture only";
    // The middle column tells whether the picture has a high-precision record.
    const std::tuple<INT64, bool, const char *> Rows[] = {
        {1000, true, "4/1"},  {1751, true, "1/2"}, {6751, false, "1/2"},
        {6752, false, "2/4"}, {6800, true, "2/4"}, {7551, true, "1/5"}}; // each recovery waits anew
    Queue(1, 9000, "0 1f", 1);
    for (const auto &[nMs, bSeen, szStats] : Rows) {
        SetClockMs(nMs);
        Ask({.enSource = 4, .nPts = bSeen ? 9000U : 90000U, .bSwitch = TRUE, .nInput = 1});
        EXPECT_EQ(Stats(1), szStats) << nMs << " ms";
    }
}

} // namespace
