// The SMPTE 12M-1 generator: drop-frame numbering picture by picture, with and without pictures coded out of order.
#include <algorithm>
#include <cstring>

#include "fixture.h"

namespace {

class Generator : public LibraryTest {
protected:
    // The next coded picture's timecode; keeps the context as a caller does.
    static std::string Next(SMPTE12M1_CONTEXT &Context, UINT64 nPts) {
        Timecode_MakeSMPTE12M1VITC(&Context, 0, nPts, &Context.OldSystemTC);
        Context.OldTimestamp64 = nPts;
        return Text(Context.OldSystemTC);
    }
};

SMPTE12M1_CONTEXT Context(UINT nTicks, UINT nRate, UINT nCode, UINT nBframes, const char *szOld,
                          UINT64 nPts = 1'000'000) {
    return {nTicks, nRate, nCode, nBframes, Timecode(szOld), 0, nPts, 0, 0, FALSE};
}

// The twin: the label of the n-th frame since midnight, found by counting labels.
std::string Label(UINT64 nFrame, UINT64 nRate, UINT64 nDropped) {
    const UINT64 nMinute = nRate * 60 - nDropped;
    const UINT64 nTenMinutes = nMinute * 10 + nDropped;
    nFrame %= nTenMinutes * 144;
    const UINT64 nRest = nFrame % nTenMinutes;
    const UINT64 nSkips = nFrame / nTenMinutes * 9 + (nRest < nRate * 60 ? 0 : (nRest - nRate * 60) / nMinute + 1);
    nFrame += nSkips * nDropped;
    char szText[32];
    snprintf(szText, sizeof(szText), "%02u:%02u:%02u:%02u", static_cast<unsigned>(nFrame / nRate / 3600),
             static_cast<unsigned>(nFrame / nRate / 60 % 60), static_cast<unsigned>(nFrame / nRate % 60),
             static_cast<unsigned>(nFrame % nRate));
    return szText;
}

TEST_F(Generator, LongRunsNumberEveryFrameAsTheStandardDoes) {
    const struct {
        UINT nTicks, nRate, nCode, nBframes;
        UINT64 nFirst, nFrames;
    } Rows[] = {
        {3003, 30, 29000, 0, 2588000, 120000}, {1501, 60, 59000, 0, 5176000, 120000},
        {3600, 25, 25000, 0, 2150000, 20000},  {3753, 24, 23000, 0, 2070000, 20000},
        {3003, 30, 29000, 2, 2588000, 60000},  {3003, 30, 29000, 1, 2588001, 60000},
        {1501, 60, 59000, 3, 5176002, 60000},  {1501, 60, 59000, 2, 5176001, 60000},
        {3003, 30, 29000, 3, 2588003, 60000},
    };
    g_hTCLibDbg->nMaxLevel = DBG_LEVEL_ERROR;
    for (const auto &Row : Rows) {
        const bool bNtsc = Row.nCode != 25000;
        const UINT64 nDropped = Row.nCode == 29000 ? 2 : Row.nCode == 59000 ? 4 : 0;
        const auto Pts = [&](UINT64 nFrame) { return nFrame * 90 * (bNtsc ? 1001 : 1000) / Row.nRate; };
        SMPTE12M1_CONTEXT Stream = Context(Row.nTicks, Row.nRate, Row.nCode, Row.nBframes,
                                           Label(Row.nFirst, Row.nRate, nDropped).c_str(), Pts(Row.nFirst));
        const auto Code = [&](UINT64 nFrame) {
            const std::string sGot = Next(Stream, Pts(nFrame));
            const std::string sTwin = Label(nFrame, Row.nRate, nDropped);
            if (sGot != sTwin)
                ADD_FAILURE() << Row.nCode << " with " << Row.nBframes << " B pictures, frame " << nFrame << ": "
                              << sGot << ", not " << sTwin;
            return sGot == sTwin;
        };
        bool bGood = true;
        for (UINT64 nAnchor = Row.nFirst; bGood && nAnchor < Row.nFirst + Row.nFrames; nAnchor += Row.nBframes + 1) {
            SetClockMs(static_cast<INT64>(Pts(nAnchor) - Pts(Row.nFirst)) / 90); // the clock follows the coding order
            bGood = Code(nAnchor + Row.nBframes + 1);
            for (UINT64 nB = 1; bGood && nB <= Row.nBframes; ++nB)
                bGood = Code(nAnchor + nB);
        }
    }
}

TEST_F(Generator, WorkedSequenceOverADropMinute) {
    SMPTE12M1_CONTEXT Stream = Context(3003, 30, 29000, 2, "00:01:59:27");
    const struct {
        INT64 nFrames;
        const char *szExpected, *szTrace;
        int nBackFill;
        BOOL bExtra;
    } Rows[] = {{3, "00:02:00:02", "6 NTSC drop frame.", 3, TRUE},
                {-2, "00:01:59:28", "7 BackFill State count:3, after frame drop.", 2, TRUE},
                {1, "00:01:59:29", "7 BackFill State count:2, after frame drop.", 1, TRUE},
                {4, "00:02:00:05", "7 BackFill State end.", 0, FALSE}};
    for (const auto &Row : Rows) {
        TakeTraces();
        EXPECT_EQ(Next(Stream, Stream.OldTimestamp64 + static_cast<UINT64>(Row.nFrames * 3003)), Row.szExpected);
        EXPECT_EQ(Stream.BackFillStateCount, Row.nBackFill) << Row.szExpected;
        EXPECT_EQ(Stream.bExtraSkipAllowed, Row.bExtra) << Row.szExpected;
        const Texts Traces = TakeTraces();
        EXPECT_THAT(Traces, testing::Contains(Row.szTrace));
        EXPECT_EQ(std::count(Traces.begin(), Traces.end(), "7 Extra Skip frame."), Row.nBackFill == 0);
    }
}

TEST_F(Generator, BackFillCorrectsThePicturesAfterASkip) {
    const struct {
        UINT nCode;
        const char *szOld;
        INT64 nFrames, nSinceSkipSec;
        int nBackFill;
        BOOL bExtra;
        const char *szExpected;
    } Rows[] = {
        {29000, "00:02:00:03", -2, 5, 3, FALSE, "00:01:59:29"},
        {29000, "00:02:00:04", -2, 5, 3, FALSE, "00:02:00:02"},
        {29000, "00:02:00:05", -9, 5, 3, FALSE, "00:01:59:24"},
        {29000, "00:02:00:05", -10, 5, 3, FALSE, "00:01:59:25"},
        {29000, "05:00:00:02", -2, 5, 3, FALSE, "04:59:59:28"},
        {29000, "00:00:00:02", -2, 5, 3, FALSE, "23:59:59:28"},
        {29000, "00:02:00:01", 0, 5, 3, FALSE, "00:02:00:03"},
        {29000, "00:01:59:29", 1, 5, 3, FALSE, "00:02:00:02"},
        {29000, "00:01:59:29", 2, 5, 3, FALSE, "00:02:00:03"},
        {29000, "00:01:59:29", 3, 5, 1, TRUE, "00:02:00:04"},
        {29000, "00:01:59:29", 3, 5, 2, TRUE, "00:02:00:02"},
        {29000, "00:01:59:29", 3, 5, 1, FALSE, "00:02:00:02"},
        {29000, "00:01:59:29", 1, 31, 3, FALSE, "00:02:00:04"},
        {59000, "00:02:00:05", -2, 5, 3, FALSE, "00:01:59:59"},
        {59000, "00:02:00:06", -2, 5, 3, FALSE, "00:02:00:04"},
        {59000, "00:02:00:05", -14, 5, 3, FALSE, "00:01:59:47"},
        {59000, "00:02:00:05", -15, 5, 3, FALSE, "00:01:59:50"},
        {59000, "00:01:59:59", 4, 5, 3, FALSE, "00:02:00:07"},
        {59000, "00:01:59:59", 5, 5, 3, FALSE, "00:02:00:04"},
    };
    for (const auto &Row : Rows) {
        SMPTE12M1_CONTEXT Stream = Context(3003, Row.nCode / 1000 + 1, Row.nCode, 2, Row.szOld);
        Stream.tDropFrameOccurred = StartUsec() / 1'000'000 - Row.nSinceSkipSec;
        Stream.BackFillStateCount = Row.nBackFill;
        Stream.bExtraSkipAllowed = Row.bExtra;
        EXPECT_EQ(Next(Stream, Stream.OldTimestamp64 + static_cast<UINT64>(Row.nFrames * 3003)), Row.szExpected)
            << Row.nCode << ": " << Row.szOld << " by " << Row.nFrames << ", count " << Row.nBackFill;
    }
}

TEST_F(Generator, SinglePictures) {
    const struct {
        UINT nTicks, nRate, nCode, nBframes;
        const char *szOld;
        INT64 nDistance;     // ticks
        INT64 nSinceSkipSec; // wall clock since the last skip
        const char *szExpected;
    } Rows[] = {
        {3003, 30, 29000, 0, "00:01:59:29", 3003, 99, "00:02:00:02"},
        {3003, 30, 29000, 0, "00:01:59:29", 3003, 30, "00:02:00:00"},
        {3003, 30, 29000, 0, "00:01:59:29", 3003, 31, "00:02:00:02"},
        {3003, 30, 29000, 0, "00:01:59:29", 3003, -9, "00:02:00:02"},
        {3003, 30, 29000, 0, "00:09:59:29", 3003, 99, "00:10:00:00"},
        {3003, 30, 29000, 0, "00:01:59:29", 6006, 99, "00:02:00:01"},
        {3003, 30, 29000, 1, "00:01:59:29", 6006, 99, "00:02:00:03"},
        {1501, 60, 59000, 0, "00:01:59:59", 1501, 99, "00:02:00:04"},
        {1501, 60, 59000, 0, "00:01:59:59", 1502, 99, "00:02:00:04"},
        {3000, 30, 30000, 0, "00:01:59:29", 3000, 99, "00:02:00:00"},
        {3753, 24, 23000, 0, "00:01:59:23", 3753, 99, "00:02:00:00"},
        {3003, 30, 29000, 0, "23:59:59:29", 3003, 99, "00:00:00:00"},
        {3003, 30, 29000, 0, "00:00:00:00", -3003, 99, "23:59:59:29"},
        {3003, 30, 29000, 0, "10:00:10:05", 0, 99, "10:00:10:05"},
        {3003, 30, 29000, 0, "10:00:10:05", 1501, 99, "10:00:10:05"},
        {3003, 30, 29000, 0, "10:00:10:05", 1502, 99, "10:00:10:06"},
        {3003, 30, 29000, 0, "10:00:10:05", -1501, 99, "10:00:10:05"},
        {3003, 30, 29000, 0, "10:00:10:05", -1502, 99, "10:00:10:04"},
        {3000, 30, 30000, 0, "00:00:00:00", 9'000'000, 99, "00:01:40:00"},
        {3000, 30, 30000, 0, "00:00:00:00", -9'000'000, 99, "23:58:20:00"},
        {3600, 25, 25000, 0, "23:00:00:00", 90000LL * 86400 * 3 + 3600, 99, "23:00:00:01"},
    };
    for (const auto &Row : Rows) {
        SMPTE12M1_CONTEXT Stream = Context(Row.nTicks, Row.nRate, Row.nCode, Row.nBframes, Row.szOld, 1ULL << 40);
        Stream.tDropFrameOccurred = StartUsec() / 1'000'000 - Row.nSinceSkipSec;
        EXPECT_EQ(Next(Stream, Stream.OldTimestamp64 + static_cast<UINT64>(Row.nDistance)), Row.szExpected)
            << Row.nCode << ": " << Row.szOld << " by " << Row.nDistance << " ticks, last skip " << Row.nSinceSkipSec
            << " s ago";
    }
}

TEST_F(Generator, OnlyDigitsAreWrittenAndBadConfigurationWritesNothing) {
    SMPTE12M1_CONTEXT Stream = Context(3003, 30, 29000, 0, "00:00:00:00");
    vitc_t Got;
    memset(&Got, 0xA5, sizeof(Got));
    Timecode_MakeSMPTE12M1VITC(&Stream, 5, Stream.OldTimestamp64 + 3003, &Got);
    EXPECT_EQ(Text(Got), "00:00:00:01");
    EXPECT_EQ(Got.TimeStampAssociated, 0xA5A5A5A5U);
    EXPECT_EQ(Got.Flag1 & Got.Flag2 & Got.Flag3 & Got.Flag4 & Got.VitcCrc & Got.BinaryGroups.BinaryGroup8, 0xA5);
    const struct { UINT nTicks, nRate; } Bad[] = {{0, 30}, {3003, 0}, {3003, 1U << 31}, {3003, UINT32_MAX}};
    for (const auto &Row : Bad) {
        TakeAsserts();
        Stream.PTSTicksPerFrame = Row.nTicks, Stream.nEncodedPictureRate = Row.nRate;
        EXPECT_EQ(Next(Stream, 90000), "00:00:00:00");
        EXPECT_EQ(TakeAsserts().size(), 1U) << Row.nTicks << " at " << Row.nRate;
    }
    for (const UINT nRate : {1U, 30U, 0x7FFFFFFFU}) // any jump leaves valid digits below the frames
        for (const UINT64 nPts : {UINT64_MAX, UINT64_MAX / 2 + 1, UINT64_MAX / 2, UINT64{0}}) {
            SMPTE12M1_CONTEXT Wild = Context(1, nRate, 29000, 0, "12:00:00:00", 7);
            Next(Wild, nPts);
            EXPECT_TRUE(Wild.OldSystemTC.HourTens <= 2 && Wild.OldSystemTC.MinuteTens <= 5 &&
                        Wild.OldSystemTC.SecondTens <= 5)
                << nPts;
        }
}

} // namespace
