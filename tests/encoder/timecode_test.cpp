// Timecode labels and the filter of VITC readings.
#include <gtest/gtest.h>
#include <sstream>

#include "formats/vitc.h"

namespace encoder {
namespace {

TEST(TimecodeLabel, EveryLabelOfADayHasItsCount) {
    const std::tuple<int, bool, std::int64_t> Rows[] = {{24, false, 2073600}, {25, false, 2160000},
                                                        {30, false, 2592000}, {30, true, 2589408},
                                                        {50, false, 4320000}, {60, true, 5178816}};
    for (const auto &[nRate, bDropFrame, nDay] : Rows) {
        std::int64_t nCount = 0;
        TimecodeLabel Label = {0, 0, 0, 0, bDropFrame};
        // Every number is visited; those that are no label are passed over without counting.
        for (int nSecond = 0; nSecond < 86400; ++nSecond) {
            for (int nFrame = 0; nFrame < nRate; ++nFrame) {
                Label = {nSecond / 3600, nSecond / 60 % 60, nSecond % 60, nFrame, bDropFrame};
                if (!IsValid(Label, nRate))
                    continue;
                // Nineteen million times: plain comparisons, for the sake of emulated machines.
                if (ToFrameCount(Label, nRate) != nCount || FromFrameCount(nCount, nRate, bDropFrame) != Label)
                    FAIL() << ToText(Label) << " is number " << ToFrameCount(Label, nRate) << " at " << nRate
                           << ", not " << nCount;
                ++nCount;
            }
        }
        EXPECT_EQ(nCount, nDay);
        EXPECT_EQ(FramesPerDay(nRate, bDropFrame), nDay);
        EXPECT_EQ(FromFrameCount(-1 - nDay, nRate, bDropFrame), Label);
    }
}

TEST(TimecodeLabel, TextIsReadStrictly) {
    EXPECT_FALSE(IsValid(*FromText("00:00:00;00"), 25));
    EXPECT_FALSE(IsValid(*FromText("00:00:00:00"), 0));
    for (const char *szText : {"00:00:00:00", "23:59:59;29", "12:34:56:59"}) {
        EXPECT_EQ(ToText(FromText(szText).value()), szText);
        EXPECT_EQ(FromVitc(ToVitc(*FromText(szText)), szText[8] == ';'), FromText(szText)) << szText;
    }
    for (const char *szText : {"", "1:2:3:4", "24:00:00:00", "00:60:00:00", "00:00:60:00", "00:00:00.00", "00;00:00:00",
                               "00:00:00:0a", "00:00:00:000", "-1:00:00:00", "00:00:00: 1"})
        EXPECT_FALSE(FromText(szText)) << szText;
}

TEST(TimecodeLabel, Smpte12MWord) {
    // A null text stands for no label.
    const std::tuple<std::uint32_t, int, const char *> Rows[] = {
        {0x24452312, 30, "12:23:45:24"}, {0x69595923, 30, "23:59:59;29"}, {0x24452312, 50, "12:23:45:48"},
        {0x24452392, 50, "12:23:45:49"}, {0x69D95923, 60, "23:59:59;59"}, {0x0A000000, 30, nullptr},
        {0x00000024, 30, nullptr},       {0x25000000, 25, nullptr},       {0x40000100, 30, nullptr},
        {0x24452319, 120, nullptr}};
    for (const auto &[nValue, nRate, szExpected] : Rows) {
        const auto Label = FromSmpte12M(nValue, nRate);
        EXPECT_EQ(Label ? ToText(*Label) : "none", szExpected ? szExpected : "none") << std::hex << nValue;
    }
}

// Readings of pictures that follow one another; "-" is a picture without one.
TEST(TimecodeFilter, BelievesOnlyWhatFollows) {
    const std::tuple<int, int, std::uint64_t, const char *, const char *, unsigned> Rows[] = {
        {25, 1, 3600, "00:00:00:00", "", 0},
        {25, 1, 3600, "00:00:00:00 00:00:00:01", "00:00:00:00 00:00:00:01 ", 0},
        {25, 1, 3600, "00:00:00:00 00:00:00:03", "", 1},
        {25, 1, 3600, "08:00:00:00 09:00:00:01 10:00:00:02", "", 2},
        {25, 1, 3600, "00:00:00:00 00:00:00:01 08:00:00:02 00:00:00:03", "00:00:00:00 00:00:00:01 00:00:00:03 ", 1},
        {25, 1, 3600, "00:00:00:00 00:00:00:01 08:00:00:02 08:00:00:03",
         "00:00:00:00 00:00:00:01 08:00:00:02 08:00:00:03 ", 0},
        {25, 1, 3600, "00:00:00:23 - - 00:00:01:01", "00:00:00:23 00:00:01:01 ", 0},
        {25, 1, 3600, "00:00:00:24 00:00:00:25 00:00:01:01", "00:00:00:24 00:00:01:01 ", 1},
        {30000, 1001, 3003, "00:00:59;29 00:01:00;02", "00:00:59;29 00:01:00;02 ", 0},
        {30000, 1001, 3003, "23:59:59;28 00:00:00;00", "23:59:59;28 00:00:00;00 ", 0},
        {30000, 1001, 3003, "00:00:59;27 00:00:59:28", "", 1},
        {60000, 1001, 1501, "00:00:59;29 00:01:00;02 00:01:00;02", "00:00:59;59 00:01:00;04 00:01:00;05 ", 0},
        {0, 0, 3003, "00:00:00:00 00:00:00:01", "", 2},
    };
    for (const auto &[nNumerator, nDenominator, nTicks, szReadings, szBelieved, nRejected] : Rows) {
        TimecodeFilter Filter(nNumerator, nDenominator);
        std::string Believed;
        std::istringstream Readings(szReadings);
        std::uint64_t nPTS = 0x1FFFFFFFF; // wraps behind the first picture
        for (std::string Text; Readings >> Text; nPTS = (nPTS + nTicks) & 0x1FFFFFFFF) {
            const auto Label = FromText(Text);
            for (const auto &Reading : Label ? Filter.Offer(*Label, nPTS) : std::vector<TimecodeReading>{})
                Believed += ToText(Reading.Label) + ' ';
        }
        EXPECT_EQ(Believed, szBelieved) << szReadings;
        EXPECT_EQ(Filter.Rejected(), nRejected) << szReadings;
    }
}

} // namespace
} // namespace encoder
