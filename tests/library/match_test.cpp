// Which time stamp belongs to a picture. Read under MISP_PROFILE_2016_2, which hands it out as it was stored.
#include "fixture.h"

namespace {

class Match : public LibraryTest {
protected:
    Match() : LibraryTest(MISP_PROFILE_2016_2) {}
};

constexpr UINT64 WRAP = UINT64{1} << 33;
constexpr int NONE = -1;

// Queued in this order; the UTC is the place in it.
struct Queued {
    int enSource = HIGH_PRECISION;
    UINT64 nPts = 0;
};

struct Row {
    const char *szRule;
    std::vector<Queued> Stamps;
    UINT64 nPts; // of the picture
    int nMatch;  // place of the time stamp that it gets
    int nNext;   // place of the one that the cursor leads to
    BOOL bSame = FALSE;
};

int PlaceOf(const Answer &Got) {
    return Got.bResult == TRUE ? static_cast<int>(Got.Time()->llUsec) : NONE;
}

const std::vector<Row> ROWS = {
    {.szRule = "the nearest, and the next newer one",
     .Stamps = {{.nPts = 1000}, {.nPts = 2000}, {.nPts = 3000}},
     .nPts = 2100,
     .nMatch = 1,
     .nNext = 2},
    {.szRule = "359 ticks are near enough", .Stamps = {{.nPts = 1000}}, .nPts = 1359, .nMatch = 0, .nNext = NONE},
    {.szRule = "360 ticks are too far", .Stamps = {{.nPts = 1000}}, .nPts = 1360, .nMatch = NONE, .nNext = NONE},
    {.szRule = "359 ticks before", .Stamps = {{.nPts = 1000}}, .nPts = 641, .nMatch = 0, .nNext = NONE},
    {.szRule = "360 ticks before", .Stamps = {{.nPts = 1000}}, .nPts = 640, .nMatch = NONE, .nNext = NONE},
    {.szRule = "of two with one PTS the older, and the flag",
     .Stamps = {{.nPts = 2000}, {.nPts = 2000}},
     .nPts = 2000,
     .nMatch = 0,
     .nNext = 1,
     .bSame = TRUE},
    {.szRule = "of two as far on either side the older, and the flag",
     .Stamps = {{.nPts = 2200}, {.nPts = 1800}},
     .nPts = 2000,
     .nMatch = 0,
     .nNext = 1,
     .bSame = TRUE},
    {.szRule = "other sources do not count",
     .Stamps = {{.nPts = 1000}, {LOCAL_SET, 1000}, {TIMECODE, 1000}, {.nPts = 1001}},
     .nPts = 1000,
     .nMatch = 0,
     .nNext = 3},
    {.szRule = "across the 33-bit wrap", .Stamps = {{.nPts = WRAP - 10}}, .nPts = 10, .nMatch = 0, .nNext = NONE},
    {.szRule = "across the wrap of 64 bits", .Stamps = {{.nPts = UINT64_MAX}}, .nPts = 1, .nMatch = 0, .nNext = NONE},
};

TEST_F(Match, IsTheNearestOfTheSource) {
    for (const Row &Each : ROWS) {
        SCOPED_TRACE(Each.szRule);
        StartDay(MISP_PROFILE_2016_2);
        INT64 nPlace = 0;
        for (const Queued &Given : Each.Stamps)
            Queue({.enSource = Given.enSource, .nPts = Given.nPts, .llUsec = nPlace++});
        const Answer Got = Ask({.nPts = Each.nPts});
        EXPECT_EQ(PlaceOf(Got), Each.nMatch);
        EXPECT_EQ(Got.bSame, Each.bSame);
        EXPECT_EQ(Got.pCursor != nullptr, Each.nNext != NONE);
        if (Each.nNext == NONE)
            continue;
        const UINT64 nNextPts = Each.Stamps.at(static_cast<size_t>(Each.nNext)).nPts;
        EXPECT_EQ(PlaceOf(Ask({.nPts = nNextPts}, Got.pCursor)), Each.nNext);
    }
}

// The newest time stamp is the second nearest; so many farther ones lie between it and the nearest.
TEST_F(Match, EndsBehindTwelveFartherOnes) {
    for (const UINT64 nFarther : {11U, 12U}) {
        StartDay(MISP_PROFILE_2016_2);
        Queue({.nPts = 1000, .llUsec = 1});
        for (UINT64 nStamp = 0; nStamp < nFarther; ++nStamp)
            Queue({.nPts = 1310 + nStamp});
        Queue({.nPts = 1300, .llUsec = 2});
        EXPECT_EQ(PlaceOf(Ask({.nPts = 1000})), nFarther == 11 ? 1 : 2) << nFarther << " farther ones";
    }
}

TEST_F(Match, AtTheCursorMovesOnWhateverTheDistance) {
    for (const UINT64 nPts : {1000U, 2000U, 3000U})
        Queue({.nPts = nPts});
    const Answer First = Ask({.nPts = 1000});
    const Answer Far = Ask({.nPts = 90'000}, First.pCursor);
    EXPECT_EQ(Far.bResult, FALSE) << "the time stamp at 2000 is taken, and is too far";
    EXPECT_EQ(Ask({.nPts = 3000}, Far.pCursor).Time()->nPts, 3000U);
}

TEST_F(Match, AtTheCursorOfAFlushedRecordFailsUntilItHoldsTheSourceAgain) {
    Queue({.nPts = 1000});
    Queue({.nPts = 2000});
    void *const pCursor = Ask({.nPts = 1000}).pCursor;
    Timecode_Flush(0);
    const Answer Flushed = Ask({.nPts = 2000}, pCursor);
    EXPECT_EQ(Flushed.bResult, FALSE);
    EXPECT_EQ(Flushed.pCursor, pCursor);
    for (int nRecord = 0; nRecord < model::RECORDS_PER_INPUT; ++nRecord)
        Queue({.nPts = 2000, .llUsec = 7});
    EXPECT_EQ(PlaceOf(Ask({.nPts = 2000}, pCursor)), 7);
}

// Sources of an input share its records: each shortens how long a picture may be under way.
TEST_F(Match, IsForgottenWith180NewerTimeStampsOfAllSources) {
    for (const int nSources : {1, 2, 3}) {
        StartDay(MISP_PROFILE_2016_2);
        const auto Stamp = [&](int nPicture) {
            for (int enSource = 1; enSource <= nSources; ++enSource)
                Queue({.enSource = enSource, .nPts = 3000U * static_cast<UINT64>(nPicture)});
        };
        const int nLast = model::RECORDS_PER_INPUT / nSources;
        for (int nPicture = 0; nPicture < nLast; ++nPicture)
            Stamp(nPicture);
        EXPECT_EQ(Ask({.nPts = 0}).bResult, TRUE) << nSources;
        Stamp(nLast);
        EXPECT_EQ(Ask({.nPts = 0}).bResult, FALSE) << nSources;
    }
}

} // namespace
