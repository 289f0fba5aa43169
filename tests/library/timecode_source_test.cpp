// SMPTE 12M timecode as the source under MISP_PROFILE_62: its UTC and status byte, and how it is carried while silent.
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "fixture.h"

using testing::IsSupersetOf;

namespace {

class TimecodeSource : public LibraryTest {};

TEST_F(TimecodeSource, TimecodeBecomesUtcWithAStatusByteOfItsOwn) {
    Play({
        {0, 2, 9000, "12:00:00:10", {2, 9000}, "1 400000 df 0 2 12:00:00:10"}, // first after silence
        {40, 2, 12959, "12:00:00:11", {2, 12600}, "1 440000 9f 0 2 12:00:00:11"},
        {80, 0, 0, "", {2, 16200}, "1 480000 9f 3600 2 12:00:00:12"}, // silent: advanced from the last picture
        {120, 2, 19440, "23:00:00:00", {2, 19800}, "1 520000 9f 7200 2 12:00:00:13"},      // 360 ticks are too far
        {160, 2, 23400, "11:00:00:00", {2, 23400}, "1 -3600000000 9f 7200 2 11:00:00:00"}, // alive: no discontinuity
        {200, 2, 27000, "12:00:60:00", {2, 27000}, "0 - -"},
        {240, 2, 30600, "24:00:00:00", {2, 30600}, "0 - -"},
        {280, 2, 34200, "12:60:00:00", {2, 34200}, "0 - -"},
        {320, 2, 37800, "12:00:00:25", {2, 37800}, "0 - -"},
        {360, 2, 41400, "00:00:00:00", {.enSource = 2, .nPts = 41400, .nRate = 0}, "0 - -"},
        {400, 1, 45000, "-1 1f", {1, 45000}, "1 -1 1f 45000 1 11:59:59:24"}, // a failed conversion left the time at 0
        {440, 0, 0, "", {2, 48600}, "1 0 1f 52200 2 12:00:00:00"},           // from the KLV time, still locked
        {480, 2, 52200, "12:00:00:02", {2, 52200}, "1 80000 9f 52200 2 12:00:00:02"},       // the KLV source was alive
        {0, 2, 9000, "12:00:00:00", {2, 9000, FALSE, 25, 25, 2}, "1 0 df 0 2 12:00:00:00"}, // equal is not reverse
        {0, 2, 9000, "11:00:00:00", {2, 9000, TRUE, 25, 25, 1}, "1 -3600000000 ff 0 2 11:00:00:00", "2/1"}, // reverse
        {40, 2, 12600, "11:00:00:01", {2, 12600, TRUE, 25, 25, 1}, "1 -3599960000 df 0 2 11:00:00:01", "2/1"},
        {80, 2, 16200, "11:00:00:02", {2, 16200, TRUE, 25, 25, 1}, "1 -3599920000 9f 0 2 11:00:00:02", "2/1"},
    });
    EXPECT_THAT(
        TakeTraces(),
        IsSupersetOf(Texts{"6 PTSDiff:360(4ms) is bigger than threshold:3ms, CodedPicturePTS64:19800, TCPTS:19440. "
                           "enTimecodeSource:2(VITC Commercial "
                           "TimeStamp), *ppRecordAddress:(nil).",
                           "6 Retreived TC on interface:0:: H:M:S:F(12:0:0:10). enTimecodeSource:2(VITC Commercial "
                           "TimeStamp), CodedPicturePTS64:9000, TCPTS:9000.",
                           "6 Fail to get timecode on interface:0. OLD TC:: H:M:S:F(12:0:0:11) TimeDiff:0.039999999s.",
                           "7 Timecode source:2, successfully converted SMPTE12M to UTC time.",
                           "3 Fail to convert date time to UTC time. RetCode:2"}));
}

TEST_F(TimecodeSource, FlagsOfATimecodeAreHandedOnAndCarriedWhileItIsSilent) {
    TCPayload Payload = {};
    Payload.vitc = Timecode("12:00:00:00");
    Payload.vitc.TimeStampAssociated = 0x12345678;
    Payload.vitc.Flag1 = Payload.vitc.VitcCrc = Payload.vitc.BinaryGroups.BinaryGroup8 = 9;
    SetClockMs(250);
    Timecode_SetUTC(0, 2, 9000, &Payload);
    for (const UINT64 nPts : {9000U, 12600U}) {
        const Answer Answered = Ask({2, nPts});
        vitc_t Got = Answered.Vitc;
        Got.FrameUnits = 0;
        EXPECT_EQ(memcmp(&Got, &Payload.vitc, offsetof(vitc_t, BinaryGroups) + sizeof(vitc_bg_t)), 0) << nPts;
        EXPECT_EQ(Answered.Utc.tpInsertionTime.tv_nsec, 250'000'000) << nPts;
        SetClockMs(290);
    }
}

TEST_F(TimecodeSource, SilentTimecodeAdvancesByThePtsDistance) {
    const struct {
        const char *szOld;
        UINT64 nTicks;
        int nRate, nCode;
        const char *szExpected;
    } Rows[] = {
        {"10:20:30:05", 335295004, 30, 30, "11:22:35:20"},
        {"10:20:30:05", 335295004, 30, 29000, "11:22:35:19"},
        {"10:20:30:29", 900, 30, 30, "10:20:31:00"},
        {"10:20:30:05", 180002, 30, 30, "10:20:32:06"},
        {"23:59:59:29", 900, 30, 30, "00:00:00:00"},
        {"12:00:00:00", 8100000100, 25, 25, "13:00:00:01"},
        {"10:59:50:00", 1350002, 25, 25, "11:00:05:01"},
        {"10:20:30:05", 0, 25, 25, "10:20:30:06"},
        {"10:20:30:05", UINT64_MAX - 899, 25, 25, "10:20:30:06"},
        {"00:00:00:00", 1ULL << 63, 25, 25, "18:02:52:01"},
        {"10:20:30:05", 3003, 30, 29000, "10:20:30:06"},
        {"10:20:30:05", 3004, 30, 29000, "10:20:30:06"},
        {"10:20:30:05", 6005, 30, 29000, "10:20:30:06"},
        {"10:20:30:05", 6006, 30, 29000, "10:20:30:07"},
        {"10:20:30:05", 3004, 60, 59000, "10:20:30:07"},
        {"10:20:30:05", 7508, 24, 23000, "10:20:30:07"},
        {"00:01:59:29", 3003, 30, 29000, "00:02:00:00"},
        {"10:59:59:00", 89999 + 90000 * 60, 25, 25, "11:00:59:24"},
        {"22:58:59:00", 90002 * 3661ULL, 25, 25, "00:00:00:02"},
        {"23:00:00:00", 90000 * 7200 + 10, 25, 25, "01:00:00:01"},
        {"10:20:30:05", 90, INT_MAX, 25, "10:20:30:06"},
    };
    INT64 nMs = 0;
    for (const auto &Row : Rows) {
        SetClockMs(nMs += 1000);
        Queue(2, 1000, Row.szOld);
        Ask({2, 1000, FALSE, 100});
        Timecode_Flush(0);
        const Answer Got = Ask({2, 1000 + Row.nTicks, FALSE, Row.nRate, Row.nCode});
        EXPECT_EQ(Text(Got.Vitc), Row.szExpected)
            << Row.szOld << " by " << Row.nTicks << " at " << Row.nRate << "/" << Row.nCode;
    }
}

TEST_F(TimecodeSource, AnAdvancedTimecodeIsTracedStepByStep) {
    Queue(2, 9000, "10:59:59:29");
    Ask({2, 9000, FALSE, 30, 30});
    SetClockMs(500);
    TakeTraces();
    Ask({2, 9900, FALSE, 30, 30});
    const std::string sNow = std::to_string(StartUsec() / 1'000'000);
    EXPECT_THAT(
        TakeTraces(),
        IsSupersetOf(Texts{
            "7 ElapsedTime:0.009999999s, nPicRate:30, VUIFramerate:30.",
            "7 Overflow happened. nValue:30, nPictrate:30, OverflowsFrames:1. Remainder:0.",
            "7 Beginning to deal with overflow. Current TC H:10M:59S:59F:0. Overflows H:0M:0S:1",
            "6 NowTime:" + sNow + ".500000000s, LasRetrivedTime:" + sNow +
                ".000000000s, TimeDiff:0.009999999s. After correction, NEW TC:: H:M:S:F(11:0:0:0) on interface:0."}));
}

TEST_F(TimecodeSource, TimecodeTakesTheLocalDateOfNow) {
    constexpr INT64 HOUR = 3'600'000'000;
    const struct {
        const char *szZone;
        INT64 nMs;
        const char *szTimecode;
        int nRate, nCode;
        INT64 llExpected;
    } Rows[] = {
        {"UTC0", 0, "12:00:00:00", 25, 25, 0},
        {"UTC0", 11 * 3'600'000 + 3'599'000, "00:00:00:00", 25, 25, -12 * HOUR}, // still today
        {"UTC0", 12 * 3'600'000, "23:59:59:24", 25, 25, 36 * HOUR - 40000},      // just tomorrow
        {"EAST-13", 0, "01:00:00:00", 25, 25, 13 * HOUR},
        {"WEST13", 0, "23:00:00:00", 25, 25, -13 * HOUR},
        {"UTC0", 0, "12:00:00:29", 30, 29000, 967633},
        {"UTC0", 0, "12:00:00:29", 30, 30, 966666},
        {"UTC0", 0, "12:00:00:59", 60, 59000, 983988},
        {"UTC0", 0, "12:00:00:23", 24, 23000, 959100},
    };
    UINT64 nPts = 0;
    for (const auto &Row : Rows) {
        setenv("TZ", Row.szZone, 1);
        tzset();
        SetClockMs(Row.nMs);
        Queue(2, nPts += 3600, Row.szTimecode);
        const Answer Got = Ask({2, nPts, FALSE, Row.nRate, Row.nCode});
        EXPECT_EQ(Got.Utc.MotionImageryTimestamp.KLVTC.llUTCTime - StartUsec(), Row.llExpected)
            << Row.szTimecode << " in " << Row.szZone << " at " << Row.nMs << " ms, " << Row.nRate << "/" << Row.nCode;
    }
    g_Services.bLocalTimeFails = true;
    EXPECT_EQ(Text(Ask({2, 9000})), "0 - -") << "no date";
    g_Services.bLocalTimeFails = false;
    TakeAsserts();
    EXPECT_EQ(Text(Ask({2, 9000, FALSE, -1})), "0 - -");
    EXPECT_THAT(TakeAsserts(), testing::Each("nEncodedPictureRate > 0"));
}

TEST_F(TimecodeSource, ATimecodeAfterKlvTimesCountsFromTheirLastPicture) {
    const struct {
        int enSource;
        bool bSilent; // a silent picture before the change to timecode
        UINT64 nPts;
        const char *szExpected;
        INT64 nInsertedMs; // -1: never
    } Rows[] = {
        {3, false, 16301, "1 80000 1f 16201 2 12:00:00:02", -1}, // from the record's PTS, 9100
        {3, true, 16301, "1 80000 1f 16301 2 12:00:00:02", -1},  // from the advanced PTS, 12700
        {1, true, 16201, "1 80000 1f 16201 2 12:00:00:02", 40},  // from the picture's PTS, 12600
    };
    for (const auto &Row : Rows) {
        TimecodeLib_Shutdown();
        StartDay(MISP_PROFILE_62);
        Queue(Row.enSource, 9100, "0 1f");
        Ask({Row.enSource, 9000});
        SetClockMs(40);
        if (Row.bSilent)
            Ask({Row.enSource, 12600});
        const Answer Got = Ask({2, Row.nPts});
        EXPECT_EQ(Text(Got), Row.szExpected) << Row.enSource << " at " << Row.nPts;
        EXPECT_EQ(Got.Utc.tpInsertionTime.tv_nsec, Row.nInsertedMs < 0 ? 0 : Row.nInsertedMs * 1'000'000);
        EXPECT_EQ(Got.Utc.tpInsertionTime.tv_sec, Row.nInsertedMs < 0 ? 0 : StartUsec() / 1'000'000);
    }
}

TEST_F(TimecodeSource, AKlvTimeAfterTimecodeIsCarriedFromTheSharedPayload) {
    const struct {
        int enSource;
        bool bLost; // no source in between: then LDS goes on from the timecode's time
    } Rows[] = {{1, false}, {1, true}, {3, false}, {3, true}};
    for (const auto &Row : Rows) {
        const int nInput = Row.enSource + Row.bLost - 1;
        TCPayload Payload = {};
        Payload.vitc = Timecode("12:34:56:07");
        SetClockMs(0);
        Timecode_SetUTC(nInput, 2, 9000, &Payload);
        Answer Got = Ask({.enSource = 2, .nPts = 9000, .nInput = nInput}); // the working record now holds a timecode
        INT64 llBase = Payload.KLVTC.llUTCTime;                            // which a silent KLV source reads as UTC
        if (Row.bLost)
            Ask({.enSource = 0, .nInput = nInput});
        if (Row.bLost && Row.enSource == 3)
            llBase = Got.Utc.MotionImageryTimestamp.KLVTC.llUTCTime;
        SetClockMs(40);
        Got = Ask({.enSource = Row.enSource, .nPts = 90000, .nInput = nInput});
        EXPECT_EQ(Got.Utc.MotionImageryTimestamp.KLVTC.llUTCTime, llBase + 40'000) << Row.enSource << Row.bLost;
    }
}

} // namespace
