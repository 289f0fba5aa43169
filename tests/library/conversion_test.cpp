// The exported conversions: UTC to timecode at every rate, and the distance of two timecodes in frames.
#include <cstring>

#include "fixture.h"

namespace {

class Conversion : public LibraryTest {};

TEST_F(Conversion, UtcBecomesTheTimecodeOfItsDay) {
    constexpr INT64 DAY = 86'400'000'000;
    const struct {
        INT64 llUTC;
        int nRate;
        ULONG nCode;
        const char *szExpected;
    } Rows[] = {
        {33366, 30, 29000, "00:00:00:00"},
        {33367, 30, 29000, "00:00:00:01"},
        {999999, 30, 29000, "00:00:00:29"},
        {33333, 30, 30, "00:00:00:00"},
        {33334, 30, 30, "00:00:00:01"},
        {999999, 30, 30, "00:00:00:29"},
        {16677, 60, 59000, "00:00:00:00"},
        {16678, 60, 59000, "00:00:00:01"},
        {999999, 60, 59000, "00:00:00:59"},
        {41699, 24, 23000, "00:00:00:00"},
        {41700, 24, 23000, "00:00:00:01"},
        {999999, 24, 23000, "00:00:00:23"},
        {39999, 25, 25, "00:00:00:00"},
        {40000, 25, 25, "00:00:00:01"},
        {DAY - 1, 25, 0, "23:59:59:24"},
        {20011, 50, 59000, "00:00:00:00"},
        {20012, 50, 23000, "00:00:00:01"},
        {33334, 30, 29970, "00:00:00:01"},
        {33334, 30, (1ULL << 32) + 29000, "00:00:00:01"},
        {999999, 1, 1, "00:00:00:00"},
        {500000, 2, 2, "00:00:00:01"},
        {DAY + 45'296'000'000, 25, 25, "12:34:56:00"},
        {-1, 25, 25, "23:59:59:24"},
        {INT64_MAX, 25, 25, "04:00:54:19"},
        {INT64_MIN, 25, 25, "19:59:05:05"},
    };
    for (const auto &Row : Rows) {
        INT64 llUTC = Row.llUTC;
        vitc_t Vitc;
        memset(&Vitc, 0xA5, sizeof(Vitc));
        EXPECT_EQ(TimeCode_UTCToSMPTE12M(&llUTC, Row.nRate, Row.nCode, &Vitc), TRUE);
        EXPECT_EQ(Text(Vitc), Row.szExpected) << Row.llUTC << " at " << Row.nRate << "/" << Row.nCode;
        const vitc_t Expected = Timecode(Row.szExpected);
        EXPECT_EQ(memcmp(&Vitc, &Expected, sizeof(Vitc)), 0) << "a field beside the digits was set";
        EXPECT_EQ(llUTC, Row.llUTC);
    }
}

TEST_F(Conversion, DatesBefore2010AreWarnedAbout) {
    const struct {
        INT64 llUTC;
        Texts Expected;
    } Rows[] = {
        {1262304000000000, {"7 Sucessfully converted UTC:1262304000000000 to (2010-Jan-1-00h00m00s000000us)"}},
        {1262303999999999,
         {"4 Date information might be wrong on system! UTC:1262303999999999 (2009-Dec-31-23h59m59s999999us)",
          "7 Sucessfully converted UTC:1262303999999999 to (2009-Dec-31-23h59m59s999999us)"}},
        {5,
         {"4 Date information might be wrong on system! UTC:0000000000000005 (1970-Jan-1-00h00m00s000005us)",
          "7 Sucessfully converted UTC:0000000000000005 to (1970-Jan-1-00h00m00s000005us)"}},
        {-1,
         {"4 Date information might be wrong on system! UTC:18446744073709551615 (1969-Dec-31-23h59m59s999999us)",
          "7 Sucessfully converted UTC:18446744073709551615 to (1969-Dec-31-23h59m59s999999us)"}},
    };
    INT64 nMs = 0;
    for (const auto &Row : Rows) {
        SetClockMs(nMs += 30'000);
        TakeTraces();
        INT64 llUTC = Row.llUTC;
        vitc_t Vitc;
        TimeCode_UTCToSMPTE12M(&llUTC, 25, 25, &Vitc);
        EXPECT_EQ(TakeTraces(), Row.Expected);
    }
    TimeCode_UTCToSMPTE12M(&nMs, 0, 25, nullptr);
    vitc_t Vitc;
    TakeTraces();
    TimeCode_UTCToSMPTE12M(&nMs, 0, 25, &Vitc);
    EXPECT_EQ(TakeTraces(), Texts{"7 nEncodedPictureRate:0 is 0. Cannot translate."});
}

TEST_F(Conversion, FrameDistancesCountDroppedLabelsAndTheShortWayOverMidnight) {
    const struct {
        UINT nRate, nCode;
        const char *szOld, *szNew;
        int nExpected;
    } Rows[] = {
        {30, 29000, "00:00:59:29", "00:01:00:02", 1},
        {30, 29000, "00:09:59:29", "00:10:00:00", 1},
        {60, 59000, "00:00:59:59", "00:01:00:04", 1},
        {60, 59000, "00:09:59:59", "00:10:00:00", 1},
        {30, 29000, "23:59:59:29", "00:00:00:00", 1},
        {30, 29000, "00:00:00:00", "23:59:59:29", -1},
        {60, 59000, "23:59:59:59", "00:00:00:00", 1},
        {25, 25000, "10:00:00:24", "10:00:01:00", 1},
        {25, 25000, "22:00:00:00", "00:00:00:00", -1980000},
        {25, 25000, "00:00:00:00", "22:59:59:24", 2069999},
        {25, 25000, "23:30:00:00", "00:30:00:00", 90000},
        {25, 25000, "00:30:00:00", "23:30:00:00", -90000},
        {25, 25000, "23:00:00:00", "23:00:00:01", 1},
        {25, 25000, "00:00:00:05", "00:00:00:00", -5},
        {1, 29000, "00:00:00:00", "01:00:00:00", 107892},
        {1, 59000, "00:00:00:00", "01:00:00:00", 215784},
        {1, 29000, "00:00:00:00", "01:11:01:03", 107892 + 19780 + 33},
        {7, 0, "00:00:00:00", "01:00:00:00", 25200},
        {30, 29000, "12:34:56:07", "12:34:56:07", 0},
    };
    for (const auto &Row : Rows) {
        int nDiff = 12345;
        vitc_t Old = Timecode(Row.szOld);
        Old.Flag1 = Old.Flag4 = Old.VitcCrc = 0xFF;
        TakeTraces();
        Timecode_CalcFrameCountDiff(Row.nRate, Row.nCode, Old, Timecode(Row.szNew), &nDiff);
        EXPECT_EQ(nDiff, Row.nExpected) << Row.nCode << ": " << Row.szOld << " to " << Row.szNew;
        const Texts Traces = TakeTraces();
        ASSERT_EQ(Traces.size(), 1U);
        EXPECT_TRUE(Traces[0].ends_with(", FrameCountDiff:" + std::to_string(Row.nExpected) + ".")) << Traces[0];
    }
    int nDiff = 0;
    vitc_t Wild;
    memset(&Wild, 0xFF, sizeof(Wild));
    Timecode_CalcFrameCountDiff(UINT32_MAX, 0, Timecode("00:00:00:00"), Wild, &nDiff); // must only stay defined
    Timecode_CalcFrameCountDiff(UINT32_MAX, 59000, Wild, Timecode("23:00:00:00"), &nDiff);
}

} // namespace
