// Which time stamp belongs to a picture. Read under MISP_PROFILE_2016_2, which hands it out as it was stored. Cursors,
// flushes and the oldest of 180 time stamps are compared with the model.
#include "fixture.h"

namespace {

class Match : public LibraryTest {
protected:
    Match() : LibraryTest(MISP_PROFILE_2016_2) {}
};

constexpr UINT64 WRAP = UINT64{1} << 33;
constexpr int NONE = -1;

TEST_F(Match, IsTheNearestOfTheSource) {
    const struct {
        const char *szRule;
        std::vector<UINT64> Stamps; // in the order in which they are queued
        UINT64 nPTS;                // of the picture
        int nMatch = NONE;          // the place of its time stamp in that order
        BOOL bSame = FALSE;
    } ROWS[] = {
        {.szRule = "the nearest", .Stamps = {1000, 2000, 3000}, .nPTS = 2100, .nMatch = 1},
        {.szRule = "359 ticks are near enough", .Stamps = {1000}, .nPTS = 1359, .nMatch = 0},
        {.szRule = "360 ticks are too far", .Stamps = {1000}, .nPTS = 1360},
        {.szRule = "359 ticks before", .Stamps = {1000}, .nPTS = 641, .nMatch = 0},
        {.szRule = "360 ticks before", .Stamps = {1000}, .nPTS = 640},
        {.szRule = "of two with one PTS the older", .Stamps = {2000, 2000}, .nPTS = 2000, .nMatch = 0, .bSame = TRUE},
        {.szRule = "of two as far the older", .Stamps = {2200, 1800}, .nPTS = 2000, .nMatch = 0, .bSame = TRUE},
        {.szRule = "across the 33-bit wrap", .Stamps = {WRAP - 10}, .nPTS = 10, .nMatch = 0},
        {.szRule = "across the wrap of 64 bits", .Stamps = {UINT64_MAX}, .nPTS = 1, .nMatch = 0},
    };
    for (const auto &Row : ROWS) {
        StartDay(MISP_PROFILE_2016_2);
        INT64 nPlace = 0;
        for (const UINT64 nPTS : Row.Stamps)
            Queue({.nPTS = nPTS, .llUsec = nPlace++});
        Queue({.enSource = LOCAL_SET, .nPTS = Row.nPTS}); // of another source: it does not count
        const model::Written Got = Ask({.nPTS = Row.nPTS});
        EXPECT_EQ(Got.bResult == TRUE ? TimeOf(Got)->llUsec : NONE, Row.nMatch) << Row.szRule;
        EXPECT_EQ(Got.bSame, Row.bSame) << Row.szRule;
    }
}

// The newest time stamp is the second nearest; so many farther ones lie between it and the nearest.
TEST_F(Match, EndsBehindTwelveFartherOnes) {
    for (const UINT64 nFarther : {11U, 12U}) {
        StartDay(MISP_PROFILE_2016_2);
        Queue({.nPTS = 1000});
        for (UINT64 nStamp = 0; nStamp < nFarther; ++nStamp)
            Queue({.nPTS = 1310 + nStamp});
        Queue({.nPTS = 1300});
        EXPECT_EQ(TimeOf(Ask({.nPTS = 1000}))->nPTS, nFarther == 11 ? 1000 : 1300) << nFarther << " farther ones";
    }
}

// Sources of an input share its records: each shortens how long a picture may be under way.
TEST_F(Match, IsForgottenWith180NewerTimeStampsOfAllSources) {
    const struct {
        int nSources, nPictures; // that an input remembers
    } ROWS[] = {{.nSources = 1, .nPictures = 180}, {.nSources = 2, .nPictures = 90}, {.nSources = 3, .nPictures = 60}};
    for (const auto &Row : ROWS)
        for (const int nNewer : {Row.nPictures - 1, Row.nPictures}) {
            StartDay(MISP_PROFILE_2016_2);
            for (int nPicture = 0; nPicture <= nNewer; ++nPicture)
                for (int enSource = 1; enSource <= Row.nSources; ++enSource)
                    Queue({.enSource = enSource, .nPTS = 3000 * static_cast<UINT64>(nPicture)});
            EXPECT_EQ(Ask({.nPTS = 0}).bResult == TRUE, nNewer < Row.nPictures) << Row.nSources << " sources";
        }
}

} // namespace
