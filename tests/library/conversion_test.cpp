// Conversions between UTC, timecode and frames.
#include <chrono>

#include "fixture.h"

namespace {

class Conversion : public LibraryTest {};

// The frame period: at the 1000/1001 rates in whole ticks of 90 kHz, cut.
TEST_F(Conversion, UtcBecomesTheFrameOfItsFraction) {
    const struct {
        const char *szRule;
        int nRate;
        ULONG nCode;
        INT64 llFirstUsec; // of frame 1 in its second
    } ROWS[] = {
        {.szRule = "25 Hz: 40 ms", .nRate = 25, .nCode = 25000, .llFirstUsec = 40'000},
        {.szRule = "30 Hz: 33333.332 us", .nRate = 30, .nCode = 30000, .llFirstUsec = 33'334},
        {.szRule = "29.97 Hz: 3003 ticks", .nRate = 30, .nCode = 29000, .llFirstUsec = 33'367},
        {.szRule = "59.94 Hz: 1501 ticks, not 1501.5", .nRate = 60, .nCode = 59000, .llFirstUsec = 16'678},
        {.szRule = "23.976 Hz: 3753 ticks", .nRate = 24, .nCode = 23000, .llFirstUsec = 41'700},
        {.szRule = "a code has 64 bits", .nRate = 30, .nCode = (1ULL << 32) + 29000, .llFirstUsec = 33'334},
    };
    for (const auto &Row : ROWS)
        for (const int nFrame : {0, 1}) {
            vitc_t Vitc = Timecode(77, 77, 77, 77);
            INT64 llUTC = NoonUsec() + Row.llFirstUsec - 1 + nFrame;
            EXPECT_EQ(TimeCode_UTCToSMPTE12M(&llUTC, Row.nRate, Row.nCode, &Vitc), TRUE);
            EXPECT_EQ(Vitc, Timecode(12, 0, 0, nFrame)) << Row.szRule;
        }
}

// A timecode carries no date: it gets that of the local calendar at the moment of the request.
TEST_F(Conversion, TimecodeTakesTheLocalDateOfNow) {
    using std::chrono::hours;
    const struct {
        const char *szRule;
        const char *szZone;
        INT64 nMs; // from noon UTC
        int nHour;
        hours Wanted; // from noon UTC
    } ROWS[] = {
        {.szRule = "UTC", .szZone = "UTC0", .nMs = 0, .nHour = 12, .Wanted = hours(0)},
        {.szRule = "the last second of the day", .szZone = "UTC0", .nMs = 43'199'999, .nHour = 0, .Wanted = hours(-12)},
        {.szRule = "the first of the next", .szZone = "UTC0", .nMs = 43'200'000, .nHour = 23, .Wanted = hours(35)},
        {.szRule = "in the east it is tomorrow", .szZone = "EAST-13", .nMs = 0, .nHour = 1, .Wanted = hours(13)},
        {.szRule = "in the west it is yesterday", .szZone = "WEST13", .nMs = 0, .nHour = 23, .Wanted = hours(-13)},
    };
    for (const auto &Row : ROWS) {
        StartDay(MISP_PROFILE_62);
        interpose::SetZone(Row.szZone);
        SetClockMs(Row.nMs);
        Queue({.enSource = TIMECODE, .Label = Timecode(Row.nHour, 0, 0, 0)});
        EXPECT_EQ(std::chrono::microseconds(Ask({.enSource = TIMECODE, .nPts = 9000}).Time()->llUsec), Row.Wanted)
            << Row.szRule;
    }
}

TEST_F(Conversion, StartUpLoadsTheTimeZone) {
    setenv("TZ", "EAST-13", 1);
    TimecodeLib_Init(MISP_PROFILE_62);
    Queue({.enSource = TIMECODE, .Label = Timecode(1, 0, 0, 0)});
    EXPECT_EQ(Ask({.enSource = TIMECODE, .nPts = 9000}).Time()->llUsec, 13 * INT64{3'600'000'000});
}

// Whole seconds count as they are; the rest makes frames, at least one.
TEST_F(Conversion, ElapsedTimeMovesATimecode) {
    const struct {
        const char *szRule;
        vitc_t Old;
        UINT64 nTicks;
        vitc_t Wanted;
        int nRate = 30, nCode = 30000;
    } ROWS[] = {
        {.szRule = "hours, minutes, seconds and half a second",
         .Old = Timecode(10, 20, 30, 5),
         .nTicks = 335'295'004,
         .Wanted = Timecode(11, 22, 35, 20)},
        {.szRule = "the same at 29.97 Hz, where frames are longer",
         .Old = Timecode(10, 20, 30, 5),
         .nTicks = 335'295'004,
         .Wanted = Timecode(11, 22, 35, 19),
         .nCode = 29000},
        {.szRule = "less than a frame counts as one",
         .Old = Timecode(10, 20, 30, 29),
         .nTicks = 900,
         .Wanted = Timecode(10, 20, 31, 0)},
        {.szRule = "midnight", .Old = Timecode(23, 59, 59, 29), .nTicks = 900, .Wanted = Timecode(0, 0, 0, 0)},
        {.szRule = "no label is dropped",
         .Old = Timecode(0, 1, 59, 29),
         .nTicks = 3003,
         .Wanted = Timecode(0, 2, 0, 0),
         .nCode = 29000},
        {.szRule = "seconds carry into minutes, minutes into hours",
         .Old = Timecode(10, 59, 50, 0),
         .nTicks = 1'350'002,
         .Wanted = Timecode(11, 0, 5, 1)},
    };
    for (const auto &Row : ROWS) {
        StartDay(MISP_PROFILE_62);
        Queue({.enSource = TIMECODE, .nPts = 1000, .Label = Row.Old});
        Ask({.enSource = TIMECODE, .nPts = 1000});
        Timecode_Flush(0);
        EXPECT_EQ(Ask({.enSource = TIMECODE, .nRate = Row.nRate, .nCode = Row.nCode, .nPts = 1000 + Row.nTicks}).Label,
                  Row.Wanted)
            << Row.szRule;
    }
}

TEST_F(Conversion, SystemTimeCountsFromTheBase) {
    constexpr UINT64 WRAP = UINT64{1} << 33;
    constexpr UINT64 HOUR = UINT64{90'000} * 3600;
    const struct {
        const char *szRule;
        UINT64 nBasePts, nPts;
        INT64 llWanted;
    } ROWS[] = {
        {.szRule = "a second is 11.111111 us a tick, cut", .nBasePts = 0, .nPts = 90'000, .llWanted = 999'999},
        {.szRule = "9 ticks before the base", .nBasePts = 1000, .nPts = 991, .llWanted = -99},
        {.szRule = "an hour from half an hour before the wrap",
         .nBasePts = WRAP - HOUR / 2,
         .nPts = HOUR / 2,
         .llWanted = 3'599'999'964},
        {.szRule = "13 hours across the wrap", .nBasePts = WRAP - HOUR, .nPts = 12 * HOUR, .llWanted = 46'799'999'532},
        {.szRule = "a picture just before a wrapped base",
         .nBasePts = 90'000,
         .nPts = WRAP - 90'000,
         .llWanted = -1'999'999},
        {.szRule = "a count of 26 hours that does not wrap",
         .nBasePts = 0,
         .nPts = 26 * HOUR,
         .llWanted = 93'599'999'064},
    };
    for (const auto &Row : ROWS)
        EXPECT_EQ(AskSystem({.nPts = Row.nPts, .nBasePts = Row.nBasePts, .llBaseUTC = NoonUsec()}).Time()->llUsec,
                  Row.llWanted)
            << Row.szRule;
}

TEST_F(Conversion, FramesAreCountedWithoutTheDroppedLabels) {
    const struct {
        const char *szRule;
        UINT nRate, nCode;
        vitc_t Old, New;
        int nWanted;
    } ROWS[] = {
        {.szRule = "two labels dropped",
         .nRate = 30,
         .nCode = 29000,
         .Old = Timecode(0, 0, 59, 29),
         .New = Timecode(0, 1, 0, 2),
         .nWanted = 1},
        {.szRule = "none at a tenth minute",
         .nRate = 30,
         .nCode = 29000,
         .Old = Timecode(0, 9, 59, 29),
         .New = Timecode(0, 10, 0, 0),
         .nWanted = 1},
        {.szRule = "four labels dropped",
         .nRate = 60,
         .nCode = 59000,
         .Old = Timecode(0, 0, 59, 59),
         .New = Timecode(0, 1, 0, 4),
         .nWanted = 1},
        {.szRule = "an hour",
         .nRate = 30,
         .nCode = 29000,
         .Old = Timecode(0, 0, 0, 0),
         .New = Timecode(1, 0, 0, 0),
         .nWanted = 107'892},
        {.szRule = "an hour without drop",
         .nRate = 25,
         .nCode = 25000,
         .Old = Timecode(0, 0, 0, 0),
         .New = Timecode(1, 0, 0, 0),
         .nWanted = 90'000},
        {.szRule = "over midnight",
         .nRate = 25,
         .nCode = 25000,
         .Old = Timecode(23, 59, 59, 24),
         .New = Timecode(0, 0, 0, 0),
         .nWanted = 1},
        {.szRule = "back over midnight",
         .nRate = 25,
         .nCode = 25000,
         .Old = Timecode(0, 0, 0, 0),
         .New = Timecode(23, 59, 59, 24),
         .nWanted = -1},
        {.szRule = "from hour 22 there is no short way",
         .nRate = 25,
         .nCode = 25000,
         .Old = Timecode(22, 0, 0, 0),
         .New = Timecode(0, 0, 0, 0),
         .nWanted = -1'980'000},
    };
    for (const auto &Row : ROWS) {
        int nFrames = 0;
        Timecode_CalcFrameCountDiff(Row.nRate, Row.nCode, Row.Old, Row.New, &nFrames);
        EXPECT_EQ(nFrames, Row.nWanted) << Row.szRule;
    }
}

} // namespace
