// Retrieval under MISP_PROFILE_2016_2: the record of the configured source as it was stored, or nothing.
#include <climits>

#include "fixture.h"

namespace {

class Profile20162 : public LibraryTest {
protected:
    Profile20162() : LibraryTest(MISP_PROFILE_2016_2) {}
};

TEST_F(Profile20162, RecordsWithin359TicksAreHandedBackAsStored) {
    const struct {
        int enSource;
        INT64 nDistance;
        const char *szExpected;
    } Rows[] = {{1, -359, "1 5 3f 9000 1 -"},
                {1, 359, "1 5 3f 9000 1 -"},
                {1, 360, "0 - -"},
                {1, -360, "0 - -"},
                {3, -359, "1 5 3f 9000 3 -"},
                {3, 359, "1 5 3f 9000 3 -"},
                {3, 360, "0 - -"},
                {3, -360, "0 - -"},
                {2, 360, "0 - -"},
                {2, -360, "0 - -"},
                {4, 0, "0 - -"},
                {0, 0, "0 - -"},
                {77, 0, "0 - -"},
                {-1, 0, "0 - -"}};
    for (const int enSource : {0, 1, 3, 4, 77, -1})
        Queue(enSource, 9000, "5 3f");
    Queue(2, 9000, "13:24:35:06");
    for (const auto &Row : Rows) {
        TakeTraces();
        const UINT64 nPts = 9000U + static_cast<UINT64>(Row.nDistance);
        EXPECT_EQ(Text(Ask({Row.enSource, nPts})), Row.szExpected) << Row.enSource << " at " << Row.nDistance;
        EXPECT_EQ(Text(Ask({Row.enSource, nPts, TRUE, INT_MIN, INT_MAX, 0, UINT64_MAX, -1})), Row.szExpected);
        EXPECT_EQ(
            CountTraces("6 PTSDiff:360(4ms) is bigger than threshold:3ms, CodedPicturePTS64:" + std::to_string(nPts) +
                        ", TCPTS:9000. enConfigMISBTimesource:2(VITC Commercial TimeStamp), *ppRecordAddress:(nil)."),
            Row.enSource == 2 ? 2 : 0);
    }
    for (const INT64 nDistance : {-359, 359}) {
        SetClockMs(60000 + nDistance * 10);
        const Answer Got = Ask({2, 9000U + static_cast<UINT64>(nDistance)});
        EXPECT_EQ(Got.bResult, TRUE);
        EXPECT_EQ(Text(Got.Vitc), "13:24:35:06");
        EXPECT_EQ(Text(Got.Utc.MotionImageryTimestamp.vitc), "13:24:35:06");
    }
}

TEST_F(Profile20162, MessagesCarryTheRecord) {
    Queue(1, 9000, "5 7f");
    Queue(2, 9000, "13:24:35:06");
    Queue(3, 9000, (std::to_string(-1 - StartUsec()) + " 9f").c_str());
    const std::string sStartSec = std::to_string(StartUsec() / 1'000'000 + 7);
    SetClockMs(7089);
    Ask({1, 9001});
    EXPECT_THAT(TakeTraces(),
                testing::IsSupersetOf(Texts{"6 enConfigMISBTimesource:1(High Precision TimeStamp), enInputInterface:0 "
                                            "at the beginning of the function! tpNow:" +
                                                sStartSec + ".089000s.",
                                            "6 Success retrieved MTSPack UTC:: " + std::to_string(StartUsec() + 5) +
                                                ". UTC enConfigMISBTimesource:1(High Precision TimeStamp)",
                                            "7  DEBUG - Function end, enConfigMISBTimesource:1, MISPStatusByte:0x7f, "
                                            "GPSLocked:LOCKED, Status:DISCONTINUITY, Disc:REVERSE"}));
    SetClockMs(20000);
    Ask({2, 9001});
    EXPECT_EQ(
        CountTraces(
            "6 Retreived TC on interface:0:: H:M:S:F(13:24:35:6). enConfigMISBTimesource:2(VITC Commercial TimeStamp), "
            "CodedPicturePTS64:9001, TCPTS:9000."),
        1);
    SetClockMs(30000);
    Ask({3, 9001});
    EXPECT_THAT(
        TakeTraces(),
        testing::IsSupersetOf(Texts{
            "6 Success retrieved LDS Tag2 UTC::  18446744073709551615. UTC enConfigMISBTimesource:3(LDS Timestamp)",
            "7  DEBUG - Function end, enConfigMISBTimesource:3, MISPStatusByte:0x9f, GPSLocked:FLYWHEEL, "
            "Status:NORMAL, Disc:FORWARD"}));
}

TEST_F(Profile20162, SourceInUseFallsToNoneAfter750MsOfPts) {
    constexpr UINT64 BASE = 900'000'000;
    constexpr UINT64 MS_750 = 750 * 90 + 89; // the last tick that truncates to 750 ms
    const struct {
        const char *szWhat;
        Request Asked;
        const char *szExpected;
    } Rows[] = {
        {"nothing yet, within 750 ms of the stored PTS 0", {4, MS_750}, "4/0"},
        {"nothing yet, beyond", {4, MS_750 + 1}, "0/0"},
        {"success", {1, BASE}, "1/0"},
        {"750 ms later", {3, BASE + MS_750}, "1/0"},
        {"751 ms later", {1, BASE + MS_750 + 1}, "0/0"},
        {"before the last success", {1, BASE - 1000}, "0/0"},
        {"timecode success, UTC still fresh", {2, BASE + 50}, "1/0"},
        {"timecode fresh, UTC stale", {3, BASE + MS_750 + 1}, "3/0"},
        {"both stale", {2, BASE + 51 + MS_750}, "0/0"},
        {"switching is never counted", {1, BASE, TRUE}, "1/0"},
    };
    Queue(1, BASE + 359, "0 1f");
    Queue(2, BASE + 409, "10:00:00:00");
    for (const auto &Row : Rows) {
        Ask(Row.Asked);
        EXPECT_EQ(Stats(0), Row.szExpected) << Row.szWhat;
    }
}

TEST_F(Profile20162, SystemTimeCountsFromTheBase) {
    const struct {
        int enRevision;
        Request Asked;
        const char *szExpected;
        Texts Traces; // of levels up to 6
    } Rows[] = {
        {20162,
         {0, 90000},
         "1 999999 9f 90000 4 12:00:00:24",
         {"6 Success getting system UTC:H:M:S:mS:(12:0:0.999). UTC64:%, CodedPicPTS64:0x15f90, UTC "
          "enTimecodeSource:4(System TimeStamp)"}},
        {20162,
         {.nPts = 991, .nRate = 0, .nBasePts = 1000},
         "0 -99 9f 991 4 -",
         {"6 Failed to format SMPTE12M VITC from UTC."}},
        {20116,
         {.nPts = 991, .nRate = 0, .nBasePts = 1000},
         "0 -99 9f 991 4 -",
         {"6 TCBasePTS64:1000, UnchangedEncoderPTS64:991, Diff64:-9.",
          "6 Success getting system UTC:H:M:S:mS:(11:59:59.999). UTC64:%, CodedPicPTS64:0x3df, UTC "
          "enTimecodeSource:4(System TimeStamp)",
          "3 Failed to format SMPTE12M VITC from UTC."}},
        {20116,
         {.nPts = 991, .nBasePts = 1000, .llBaseUsec = 1099},
         "1 1000 9f 991 4 12:00:00:00",
         {"6 TCBasePTS64:1000, UnchangedEncoderPTS64:991, Diff64:-9."}},
        {20116,
         {.nPts = 100, .nRate = -1},
         "0 1111 9f 100 4 -",
         {"6 TCBasePTS64:0, UnchangedEncoderPTS64:100, Diff64:100.", "3 Failed to format SMPTE12M VITC from UTC."}},
    };
    int enRevision = 0;
    for (const auto &Row : Rows) {
        if (std::exchange(enRevision, Row.enRevision) != Row.enRevision) {
            TimecodeLib_Shutdown();
            StartDay(Row.enRevision);
        }
        const Answer Got = AskSystem(Row.Asked);
        EXPECT_EQ(Text(Got), Row.szExpected);
        EXPECT_EQ(Got.Utc.tpInsertionTime.tv_sec, 0);
        Texts Expected = Row.Traces;
        for (auto &sText : Expected)
            if (const size_t nAt = sText.find('%'); nAt != std::string::npos)
                sText.replace(nAt, 1, std::to_string(Got.Utc.MotionImageryTimestamp.KLVTC.llUTCTime));
        EXPECT_EQ(TakeTraces(6), Expected) << Row.szExpected;
    }
}

} // namespace
