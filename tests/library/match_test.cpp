// Which time stamp belongs to a picture. Read under MISP_PROFILE_2016_2, which hands it out as it was stored. Cursors,
// flushes, the oldest of 180 time stamps and where a search ends are compared with the model.
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

} // namespace
