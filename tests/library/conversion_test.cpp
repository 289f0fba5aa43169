// Conversions between UTC, timecode and frames.
#include "fixture.h"

namespace {

class Conversion : public LibraryTest {};

// The frame period: at the 1000/1001 rates in whole ticks of 90 kHz, cut.
TEST_F(Conversion, UtcBecomesTheFrameOfItsFraction) {
    const struct {
        int nRate;
        ULONG nCode;
        INT64 llFirstUsec; // of frame 1 in its second
        const char *szPeriod;
    } ROWS[] = {
        {.nRate = 25, .nCode = 25000, .llFirstUsec = 40'000, .szPeriod = "40 ms"},
        {.nRate = 30, .nCode = 30000, .llFirstUsec = 33'334, .szPeriod = "33333.332 us"},
        {.nRate = 30, .nCode = 29000, .llFirstUsec = 33'367, .szPeriod = "3003 ticks"},
        {.nRate = 60, .nCode = 59000, .llFirstUsec = 16'678, .szPeriod = "1501 ticks, not 1501.5"},
        {.nRate = 24, .nCode = 23000, .llFirstUsec = 41'700, .szPeriod = "3753 ticks"},
        {.nRate = 30, .nCode = (1ULL << 32) + 29000, .llFirstUsec = 33'334, .szPeriod = "a code has 64 bits"},
    };
    for (const auto &Row : ROWS)
        for (const int nFrame : {0, 1}) {
            INT64 llUTC = NoonUsec() + Row.llFirstUsec - 1 + nFrame;
            vitc_t Vitc = Timecode(77, 77, 77, 77);
            EXPECT_EQ(TimeCode_UTCToSMPTE12M(&llUTC, Row.nRate, Row.nCode, &Vitc), TRUE);
            EXPECT_EQ(Vitc, Timecode(12, 0, 0, nFrame)) << Row.szPeriod;
        }
}

// A timecode has no date: it gets that of the local calendar, by the time zone at the start-up. In the east it is
// tomorrow. Other zones, and midnight, are compared with the model.
TEST_F(Conversion, TimecodeGetsTheLocalDateOfNow) {
    setenv("TZ", "EAST-13", 1);
    TimecodeLib_Init(MISP_PROFILE_62);
    Queue({.enSource = TIMECODE, .Label = Timecode(1, 0, 0, 0)});
    EXPECT_EQ(TimeOf(Ask({.enSource = TIMECODE, .nPTS = 9000}))->llUsec, 13 * INT64{3'600'000'000});
}

// A timecode that is silent for so many ticks.
std::optional<vitc_t> Carried(const vitc_t &Old, UINT64 nTicks, int nRate, int nCode) {
    StartDay(MISP_PROFILE_62);
    Queue({.enSource = TIMECODE, .nPTS = 1000, .Label = Old});
    Ask({.enSource = TIMECODE, .nPTS = 1000});
    Timecode_Flush(0);
    return Ask({.enSource = TIMECODE, .nRate = nRate, .nCode = nCode, .nPTS = 1000 + nTicks}).Label;
}

// Whole seconds count as they are; the rest makes frames, at least one. No label is dropped.
TEST_F(Conversion, ElapsedTimeMovesATimecode) {
    EXPECT_EQ(Carried(Timecode(10, 20, 30, 5), 335'295'004, 30, 30000), Timecode(11, 22, 35, 20)) << "3725.5 s";
    EXPECT_EQ(Carried(Timecode(10, 20, 30, 29), 900, 30, 30000), Timecode(10, 20, 31, 0)) << "less than a frame";
    EXPECT_EQ(Carried(Timecode(23, 59, 59, 29), 900, 30, 30000), Timecode(0, 0, 0, 0)) << "midnight";
    EXPECT_EQ(Carried(Timecode(0, 1, 59, 29), 3003, 30, 29000), Timecode(0, 2, 0, 0)) << "a label was dropped";
    EXPECT_EQ(Carried(Timecode(10, 59, 50, 0), 1'350'002, 30, 30000), Timecode(11, 0, 5, 1)) << "15 s, over an hour";
}

// 11.111111 us a tick, cut. A base may be 13 hours old where the PTS wraps at 33 bits.
TEST_F(Conversion, SystemTimeCountsFromTheBase) {
    constexpr UINT64 WRAP = UINT64{1} << 33, HOUR = UINT64{90'000} * 3600;
    const struct {
        const char *szRule;
        UINT64 nBasePTS, nPTS;
        INT64 llUsec; // from the base
    } ROWS[] = {
        {.szRule = "a second", .nBasePTS = 0, .nPTS = 90'000, .llUsec = 999'999},
        {.szRule = "9 ticks before the base", .nBasePTS = 1000, .nPTS = 991, .llUsec = -99},
        {.szRule = "to the wrap", .nBasePTS = WRAP - HOUR / 2, .nPTS = 0, .llUsec = 1'799'999'982},
        {.szRule = "13 hours across it", .nBasePTS = WRAP - HOUR, .nPTS = 12 * HOUR, .llUsec = 46'799'999'532},
        {.szRule = "before a wrapped base", .nBasePTS = 90'000, .nPTS = WRAP - 90'000, .llUsec = -1'999'999},
        {.szRule = "a count that does not wrap", .nBasePTS = 0, .nPTS = 26 * HOUR, .llUsec = 93'599'999'064},
    };
    for (const auto &[szRule, nBasePTS, nPTS, llUsec] : ROWS)
        EXPECT_EQ(TimeOf(GetSystemUtc({.nPTS = nPTS, .nBasePTS = nBasePTS, .llBaseUTC = NoonUsec()}))->llUsec, llUsec)
            << szRule;
}

} // namespace
