// The SMPTE 12M-1 generator: drop-frame numbering picture by picture, with and without pictures coded out of order.
#include <cstring>
#include <map>
#include <sstream>

#include "fixture.h"

namespace {

class Generator : public LibraryTest {
protected:
    // The timecode of a coded picture so many ticks after the one before; keeps the context as a caller does.
    static std::string Next(SMPTE12M1_CONTEXT &Context, INT64 nTicks) {
        const UINT64 nPts = Context.OldTimestamp64 + static_cast<UINT64>(nTicks);
        Timecode_MakeSMPTE12M1VITC(&Context, 8, nPts, &Context.OldSystemTC);
        Context.OldTimestamp64 = nPts;
        return Text(Context.OldSystemTC);
    }
};

const std::map<UINT, UINT> TICKS = {{23000, 3753}, {25000, 3600}, {29000, 3003}, {30000, 3000}, {59000, 1501}};

SMPTE12M1_CONTEXT Context(UINT nCode, UINT nBframes, const std::string &sOld) {
    const UINT nTicks = TICKS.at(nCode);
    return {nTicks, (90100 + nTicks / 2) / nTicks, nCode, nBframes, Timecode(sOld.c_str()), 7, 1ULL << 40, 0, 0, FALSE};
}

TEST_F(Generator, SinglePictures) {
    const struct {
        UINT nCode, nBframes;
        INT64 nSinceSkipSec; // by the wall clock
        int nBackFill;
        BOOL bExtra;
        const char *szPictures; // timecode of the one before, ticks, timecode
    } Rows[] = {
        {29000, 0, 99, 0, FALSE,
         "00:01:59:29 3003 00:02:00:02  00:01:59:29 6006 00:02:00:01  00:09:59:29 3003 00:10:00:00  23:59:59:29 3003 "
         "00:00:00:00  00:00:00:00 -3003 23:59:59:29  10:00:10:05 0 10:00:10:05  10:00:10:05 1501 10:00:10:05  "
         "10:00:10:05 1502 10:00:10:06  10:00:10:05 -1501 10:00:10:05  10:00:10:05 -1502 10:00:10:04"},
        {29000, 0, 30, 0, FALSE, "00:01:59:29 3003 00:02:00:00"},
        {29000, 0, 31, 0, FALSE, "00:01:59:29 3003 00:02:00:02"},
        {29000, 0, -9, 0, FALSE, "00:01:59:29 3003 00:02:00:02"},
        {29000, 1, 99, 0, FALSE, "00:01:59:29 6006 00:02:00:03"},
        {59000, 0, 99, 0, FALSE, "00:01:59:59 1501 00:02:00:04"},
        {30000, 0, 99, 0, FALSE,
         "00:01:59:29 3000 00:02:00:00  00:00:00:00 9000000 00:01:40:00  00:00:00:00 -9000000 23:58:20:00"},
        {25000, 0, 99, 0, FALSE, "23:00:00:00 23328003600 23:00:00:01"},
        {29000, 2, 5, 3, FALSE,
         "00:02:00:03 -6006 00:01:59:29  00:02:00:04 -6006 00:02:00:02  00:02:00:05 -27027 00:01:59:24  00:02:00:05 "
         "-30030 00:01:59:25  05:00:00:02 -6006 04:59:59:28  00:00:00:02 -6006 23:59:59:28  00:02:00:01 0 00:02:00:03  "
         "00:01:59:29 6006 00:02:00:03"},
        {29000, 2, 5, 1, TRUE, "00:01:59:29 9009 00:02:00:04"},
        {29000, 2, 5, 2, TRUE, "00:01:59:29 9009 00:02:00:02"},
        {29000, 2, 5, 1, FALSE, "00:01:59:29 9009 00:02:00:02"},
        {29000, 2, 31, 3, FALSE, "00:01:59:29 3003 00:02:00:04"},
        {59000, 2, 5, 3, FALSE,
         "00:02:00:05 -3002 00:01:59:59  00:02:00:06 -3002 00:02:00:04  00:02:00:05 -21014 00:01:59:47  00:02:00:05 "
         "-22515 00:01:59:50  00:01:59:59 6004 00:02:00:07  00:01:59:59 7505 00:02:00:04"},
    };
    for (const auto &Row : Rows) {
        std::istringstream Pictures(Row.szPictures);
        INT64 nTicks = 0;
        for (std::string sOld, sExpected; Pictures >> sOld >> nTicks >> sExpected;) {
            SMPTE12M1_CONTEXT Stream = Context(Row.nCode, Row.nBframes, sOld);
            Stream.tDropFrameOccurred = StartUsec() / 1'000'000 - Row.nSinceSkipSec;
            Stream.BackFillStateCount = Row.nBackFill;
            Stream.bExtraSkipAllowed = Row.bExtra;
            EXPECT_EQ(Next(Stream, nTicks), sExpected) << Row.nCode << ": " << sOld << " by " << nTicks
                                                       << " ticks, last skip " << Row.nSinceSkipSec << " s ago";
        }
    }
}

TEST_F(Generator, BelowASecondEachUnitCarriesOnceFromDigitsOutOfRange) {
    const struct {
        const char *szFault, *szOld;
        INT64 nFrames;
        const char *szNew;
    } Rows[] = {
        {.szFault = "29 frames: once", .szOld = "99:99:99:99", .nFrames = 29, .szNew = "04:00:00:98"},
        {.szFault = "not at all", .szOld = "99:99:99:10", .nFrames = 0, .szNew = "04:00:00:10"},
        {.szFault = "back", .szOld = "24:60:60:30", .nFrames = -29, .szNew = "01:00:00:01"},
        {.szFault = "forward", .szOld = "24:60:60:30", .nFrames = 1, .szNew = "01:00:00:01"},
        {.szFault = "a second carries as far as needed", .szOld = "24:60:60:30", .nFrames = 30, .szNew = "01:01:02:00"},
        {.szFault = "and back", .szOld = "99:99:99:99", .nFrames = -30, .szNew = "04:40:41:09"},
    };
    for (const auto &Row : Rows) {
        SMPTE12M1_CONTEXT Stream = Context(30000, 0, Row.szOld);
        EXPECT_EQ(Next(Stream, Row.nFrames * 3000), Row.szNew) << Row.szFault << ", from " << Row.szOld;
    }
}

TEST_F(Generator, AnExtraSkipIsOwedOnlyWhenTheFlagIsOne) {
    for (const auto &[bExtraSkipAllowed, szNew] : {std::pair(TRUE, "00:02:00:04"), {2, "00:02:00:02"}}) {
        SMPTE12M1_CONTEXT Stream = Context(29000, 2, "00:01:59:29");
        Stream.tDropFrameOccurred = StartUsec() / 1'000'000;
        Stream.BackFillStateCount = 1;
        Stream.bExtraSkipAllowed = bExtraSkipAllowed;
        EXPECT_EQ(Next(Stream, 9009), szNew) << bExtraSkipAllowed;
    }
}

TEST_F(Generator, SaysWhatItSkips) {
    SMPTE12M1_CONTEXT Stream = Context(29000, 2, "00:01:59:27");
    for (const INT64 nFrames : {3, -2, 1, 4})
        Next(Stream, nFrames * 3003);
    const Texts Said = TakeTraces();
    EXPECT_EQ(Said.back(), "7 BackFill State end.");
    EXPECT_THAT(Said, testing::IsSupersetOf(Texts{
                          "7 nEncodedPictureRate:30, nVUIFramerate:29000.",
                          "7 OldPoc:7, NewPoc:8, DiffPoc:-4, DiffTS64:-6006(FR-Diff:-2), FramesTotal:0.",
                          "7 H:M:S:F before drop frame adjustements:[00:02:00:00].", "6 NTSC drop frame.",
                          "7 BackFill State count:3, after frame drop.", "7 BackFill State count:2, after frame drop.",
                          "7 BackFill State count:1, after frame drop.", "7 Extra Skip frame."}));
}

TEST_F(Generator, OtherRatesDropNothing) {
    SMPTE12M1_CONTEXT Stream = Context(30000, 2, "00:01:59:29");
    EXPECT_EQ(Next(Stream, 3000), "00:02:00:00");
    EXPECT_EQ(Stream.tDropFrameOccurred + Stream.BackFillStateCount + Stream.bExtraSkipAllowed, 0);
}

TEST_F(Generator, OnlyDigitsAreWrittenAndBadConfigurationWritesNothing) {
    SMPTE12M1_CONTEXT Stream = Context(29000, 0, "00:00:00:00");
    vitc_t Got;
    memset(&Got, 0xA5, sizeof(Got));
    Timecode_MakeSMPTE12M1VITC(&Stream, 5, Stream.OldTimestamp64 + 3003, &Got);
    EXPECT_EQ(Text(Got), "00:00:00:01");
    EXPECT_EQ(Got.TimeStampAssociated, 0xA5A5A5A5U);
    EXPECT_EQ(Got.Flag1 & Got.Flag2 & Got.Flag3 & Got.Flag4 & Got.VitcCrc & Got.BinaryGroups.BinaryGroup8, 0xA5);
    TakeAsserts();
    for (const auto &[nTicks, nRate] : {std::pair(0U, 30U), {3003U, 0U}, {3003U, 1U << 31}, {3003U, UINT32_MAX}}) {
        Stream.PTSTicksPerFrame = nTicks, Stream.nEncodedPictureRate = nRate;
        EXPECT_EQ(Next(Stream, 90000), "00:00:00:00");
        EXPECT_EQ(TakeAsserts().size(), 1U) << nTicks << " at " << nRate;
    }
    for (const UINT nRate : {1U, 30U, 0x7FFFFFFFU}) // any jump leaves valid digits below the frames
        for (const INT64 nTicks : {INT64{-8}, INT64_MAX, INT64_MIN, INT64{-7}}) {
            SMPTE12M1_CONTEXT Wild = Context(29000, 0, "12:00:00:00");
            Wild.PTSTicksPerFrame = 1, Wild.nEncodedPictureRate = nRate, Wild.OldTimestamp64 = 7;
            Next(Wild, nTicks);
            EXPECT_TRUE(Wild.OldSystemTC.HourTens <= 2 && Wild.OldSystemTC.MinuteTens <= 5 &&
                        Wild.OldSystemTC.SecondTens <= 5)
                << nTicks;
        }
}

} // namespace
