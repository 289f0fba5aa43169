// The exported conversions: UTC to timecode at every rate, and the distance of two timecodes in frames.
#include <cstring>
#include <sstream>

#include "fixture.h"

namespace {

class Conversion : public LibraryTest {};

TEST_F(Conversion, UtcBecomesTheTimecodeOfItsDay) {
    // Rate, rate code, then UTC times and their timecodes.
    const std::tuple<int, ULONG, const char *> Rows[] = {
        {30, 29000, "33366 00:00:00:00  33367 00:00:00:01  999999 00:00:00:29"},
        {30, 30, "33333 00:00:00:00  33334 00:00:00:01"},
        {60, 59000, "16677 00:00:00:00  16678 00:00:00:01"},
        {24, 23000, "41699 00:00:00:00  41700 00:00:00:01"},
        {25, 25,
         "39999 00:00:00:00  40000 00:00:00:01  86399999999 23:59:59:24  131696000000 12:34:56:00  -1 23:59:59:24  "
         "9223372036854775807 04:00:54:19  -9223372036854775808 19:59:05:05"},
        {50, 59000, "20011 00:00:00:00  20012 00:00:00:01"},
        {50, 23000, "20011 00:00:00:00  20012 00:00:00:01"},
        {30, (1ULL << 32) + 29000, "33334 00:00:00:01"},
        {1, 1, "999999 00:00:00:00"},
        {90091, 29000, "999999 00:00:00:00"}, // the period is below a tick
        {2, 2, "500000 00:00:00:01"},
    };
    for (const auto &[nRate, nCode, szTimes] : Rows) {
        std::istringstream Times(szTimes);
        INT64 llUTC = 0;
        for (std::string sExpected; Times >> llUTC >> sExpected;) {
            const INT64 llGiven = llUTC;
            vitc_t Vitc;
            memset(&Vitc, 0xA5, sizeof(Vitc));
            EXPECT_EQ(TimeCode_UTCToSMPTE12M(&llUTC, nRate, nCode, &Vitc), TRUE);
            EXPECT_EQ(Text(Vitc), sExpected) << llUTC << " at " << nRate << "/" << nCode;
            const vitc_t Expected = Timecode(sExpected.c_str());
            // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison,cert-exp42-c,cert-flp37-c): both were cleared whole
            EXPECT_EQ(memcmp(&Vitc, &Expected, sizeof(Vitc)), 0) << "a field beside the digits was set";
            EXPECT_EQ(llUTC, llGiven);
        }
    }
}

TEST_F(Conversion, FrameDistancesCountDroppedLabelsAndTheShortWayOverMidnight) {
    const struct {
        UINT nRate, nCode;
        const char *szDistances; // from, to, frames
    } Rows[] = {
        {30, 29000,
         "00:00:59:29 00:01:00:02 1  00:09:59:29 00:10:00:00 1  23:59:59:29 00:00:00:00 1  00:00:00:00 23:59:59:29 -1"},
        {60, 59000, "00:00:59:59 00:01:00:04 1  00:09:59:59 00:10:00:00 1  23:59:59:59 00:00:00:00 1"},
        {25, 25000,
         "22:00:00:00 00:00:00:00 -1980000  00:00:00:00 22:59:59:24 2069999  23:30:00:00 00:30:00:00 90000  "
         "00:30:00:00 23:30:00:00 -90000  23:00:00:00 23:00:00:01 1"},
        {1, 29000, "00:00:00:00 01:00:00:00 107892  00:00:00:00 01:11:01:03 127705"},
        {1, 59000, "00:00:00:00 01:00:00:00 215784"},
        {7, 0, "00:00:00:00 01:00:00:00 25200"},
        {30, 29000, "12:34:56:07 12:34:56:08 1"},
    };
    for (const auto &Row : Rows) {
        std::istringstream Distances(Row.szDistances);
        int nExpected = 0;
        for (std::string sOld, sNew; Distances >> sOld >> sNew >> nExpected;) {
            int nDiff = 12345;
            vitc_t Old = Timecode(sOld.c_str());
            Old.Flag1 = Old.Flag4 = Old.VitcCrc = 0xFF;
            Timecode_CalcFrameCountDiff(Row.nRate, Row.nCode, Old, Timecode(sNew.c_str()), &nDiff);
            EXPECT_EQ(nDiff, nExpected) << Row.nRate << "/" << Row.nCode << ": " << sOld << " to " << sNew;
        }
    }
    EXPECT_EQ(TakeTraces().back(), "7 OldFrameCount:1357529, NewFrameCount:1357530, FrameCountDiff:1.");
}

} // namespace
