// SMPTE 12M timecode as the source under MISP_PROFILE_62: its UTC and status byte, and how it is carried while silent.
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "fixture.h"

namespace {

class TimecodeSource : public LibraryTest {};

TEST_F(TimecodeSource, TimecodeBecomesUtcWithAStatusByteOfItsOwn) {
    Play({
        {0, 2, 9000, "12:00:00:10", {2, 9000}, "1 400000 df 0 2 12:00:00:10"}, // first after silence
        {40, 2, 12959, "12:00:00:11", {2, 12600}, "1 440000 9f 0 2 12:00:00:11"},
        {40, 0, 0, "", {2, 16200}, "1 480000 9f 3600 2 12:00:00:12"}, // silent: by the PTS, whatever the clock does
        {20, 2, 19440, "23:00:00:00", {2, 19800}, "1 520000 9f 7200 2 12:00:00:13"},       // 360 ticks are too far
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
        int nRate, nCode;
        const char *szPictures; // timecode of the last one, ticks, timecode
    } Rows[] = {
        {30, 30, "10:20:30:05 335295004 11:22:35:20  10:20:30:29 900 10:20:31:00  23:59:59:29 900 00:00:00:00"},
        {25, 25,
         "12:00:00:00 8100000100 13:00:00:01  10:59:50:00 1350002 11:00:05:01  10:20:30:05 0 10:20:30:06  10:20:30:05 "
         "18446744073709550716 10:20:30:06  00:00:00:00 9223372036854775808 18:02:52:01  10:59:59:00 5489999 "
         "11:00:59:24  22:58:59:00 329497322 00:00:00:02  23:00:00:00 648000010 01:00:00:01"},
        {30, 29000,
         "10:20:30:05 335295004 11:22:35:19  10:20:30:05 6005 10:20:30:06  10:20:30:05 6006 10:20:30:07  00:01:59:29 "
         "3003 00:02:00:00"},
        {60, 59000, "10:20:30:05 3004 10:20:30:07"},
        {24, 23000, "10:20:30:05 7508 10:20:30:07"},
        {INT_MAX, 25, "10:20:30:05 90 10:20:30:06"},
    };
    INT64 nMs = 0;
    for (const auto &Row : Rows) {
        std::istringstream Pictures(Row.szPictures);
        UINT64 nTicks = 0;
        for (std::string sOld, sExpected; Pictures >> sOld >> nTicks >> sExpected;) {
            SetClockMs(nMs += 1000);
            Queue(2, 1000, sOld.c_str());
            Ask({2, 1000, FALSE, 100});
            Timecode_Flush(0);
            const Answer Got = Ask({2, 1000 + nTicks, FALSE, Row.nRate, Row.nCode});
            EXPECT_EQ(Text(Got.Vitc), sExpected) << sOld << " by " << nTicks << " at " << Row.nRate << "/" << Row.nCode;
        }
    }
}

TEST_F(TimecodeSource, TimecodeTakesTheLocalDateOfNow) {
    constexpr INT64 HOUR = 3'600'000'000;
    const std::tuple<const char *, INT64, const char *, int, int, INT64> Rows[] = {
        {"EAST-13", 0, "01:00:00:00", 25, 25, 13 * HOUR},
        {"UTC0", 0, "12:00:00:00", 25, 25, 0},
        {"UTC0", 43'199'000, "00:00:00:00", 25, 25, -12 * HOUR},        // still today
        {"UTC0", 43'200'000, "23:59:59:24", 25, 25, 36 * HOUR - 40000}, // just tomorrow
        {"WEST13", 0, "23:00:00:00", 25, 25, -13 * HOUR},
        {"UTC0", 0, "12:00:00:29", 30, 29000, 967633},
        {"UTC0", 0, "12:00:00:29", 30, 30, 966666},
        {"UTC0", 0, "12:00:00:59", 60, 59000, 983988},
        {"UTC0", 0, "12:00:00:23", 24, 23000, 959100}};
    UINT64 nPts = 0;
    for (const auto &[szZone, nMs, szTimecode, nRate, nCode, llExpected] : Rows) {
        setenv("TZ", szZone, 1);
        nPts == 0 ? TimecodeLib_Init(MISP_PROFILE_62) : tzset(); // start-up loads the zone
        SetClockMs(nMs);
        Queue(2, nPts += 3600, szTimecode);
        const Answer Got = Ask({2, nPts, FALSE, nRate, nCode});
        EXPECT_EQ(Got.Utc.MotionImageryTimestamp.KLVTC.llUTCTime - StartUsec(), llExpected)
            << szTimecode << " in " << szZone << " at " << nMs << " ms, " << nRate << "/" << nCode;
    }
    g_Services.bLocalTimeFails = true;
    EXPECT_EQ(Text(Ask({2, nPts})), "0 - -") << "no date";
    g_Services.bLocalTimeFails = false;
    g_Services.nClockNsec = 0, g_Services.nClockSec = 67'768'036'191'676'799; // the last second of the calendar
    EXPECT_EQ(Text(Ask({2, nPts})), "0 - -") << "a year beyond all integers";
    EXPECT_EQ(CountTraces("3 Fail to convert date time to UTC time. RetCode:-1"), 2);
    TakeAsserts();
    EXPECT_EQ(Text(Ask({2, 9000, FALSE, -1})), "0 - - same") << "half-way between two records";
    EXPECT_THAT(TakeAsserts(), testing::Each("nEncodedPictureRate > 0"));
}

TEST_F(TimecodeSource, ATimecodeAfterKlvTimesCountsFromTheirLastPicture) {
    // The source, and whether a silent picture comes before the change to timecode.
    const std::tuple<int, bool, const char *> Rows[] = {
        {3, false, "1 80000 1f 16201 2 12:00:00:02"}, // from the record's PTS, 9100
        {3, true, "1 80000 1f 16301 2 12:00:00:02"},  // from the advanced PTS, 12700
        {1, true, "1 80000 1f 16301 2 12:00:00:02"}}; // from the picture's PTS, 12600
    for (const auto &[enSource, bSilent, szExpected] : Rows) {
        StartDay(MISP_PROFILE_62);
        Queue(enSource, 9100, "0 1f");
        Ask({enSource, 9000});
        SetClockMs(40);
        if (bSilent)
            Ask({enSource, 12600});
        const Answer Got = Ask({2, 16301});
        EXPECT_EQ(Text(Got), szExpected) << enSource;
        EXPECT_EQ(Got.Utc.tpInsertionTime.tv_nsec, enSource == 1 ? 40'000'000 : 0);
        EXPECT_EQ(Got.Utc.tpInsertionTime.tv_sec, enSource == 1 ? StartUsec() / 1'000'000 : 0);
    }
}

TEST_F(TimecodeSource, AKlvTimeAfterTimecodeIsCarriedFromTheSharedPayload) {
    for (const int nInput : {0, 1, 2, 3}) {
        const int enSource = nInput < 2 ? 1 : 3;
        TCPayload Payload = {};
        Payload.vitc = Timecode("12:34:56:07");
        SetClockMs(0);
        Timecode_SetUTC(nInput, 2, 9000, &Payload);
        const Answer Got = Ask({.enSource = 2, .nPts = 9000, .nInput = nInput});
        INT64 llBase = Payload.KLVTC.llUTCTime; // the working record's timecode, which a silent KLV source reads as UTC
        if (nInput % 2)
            Ask({.enSource = 0, .nInput = nInput}); // then LDS goes on from the timecode's time
        if (nInput == 3)
            llBase = Got.Utc.MotionImageryTimestamp.KLVTC.llUTCTime;
        SetClockMs(40);
        const Answer Carried = Ask({.enSource = enSource, .nPts = 90000, .nInput = nInput});
        EXPECT_EQ(Carried.Utc.MotionImageryTimestamp.KLVTC.llUTCTime, llBase + 40'000) << nInput;
    }
}

} // namespace
