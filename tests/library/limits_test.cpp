// What the queue can hold and how far its search goes: the figures that docs/integration.md tells an integrator.
#include "fixture.h"

namespace {

class Limits : public LibraryTest {
protected:
    Limits() : LibraryTest(MISP_PROFILE_2016_2) {}

    static void Stamp(int enSource, UINT64 nPts) {
        TCPayload Payload = {};
        Timecode_SetUTC(0, enSource, nPts, &Payload);
    }

    static BOOL HasTime(int enSource, UINT64 nPts) {
        MISP_UTC Utc;
        vitc_t Vitc;
        BOOL bSame = FALSE;
        void *pCursor = nullptr;
        return Timecode_GetUTC(0, &enSource, FALSE, 25, 25000, nPts, 0, 0, &Utc, &Vitc, &bSame, &pCursor);
    }
};

constexpr UINT64 TICKS_PER_PICTURE = 3600;

TEST_F(Limits, SourcesShareTheDepthOfTheQueue) {
    const struct {
        int nSources;
        UINT64 nLostAfter; // pictures
    } Rows[] = {
        {.nSources = 1, .nLostAfter = 180}, {.nSources = 2, .nLostAfter = 90}, {.nSources = 3, .nLostAfter = 60}};
    for (const auto &Row : Rows) {
        StartDay(MISP_PROFILE_2016_2);
        const UINT64 nFirstPts = 900'000;
        for (UINT64 nLater = 0; nLater <= Row.nLostAfter; ++nLater) {
            EXPECT_EQ(nLater == 0 || HasTime(1, nFirstPts) == TRUE, true) << nLater << " pictures later";
            for (int enSource = 1; enSource <= Row.nSources; ++enSource)
                Stamp(enSource, nFirstPts + nLater * TICKS_PER_PICTURE);
        }
        EXPECT_EQ(HasTime(1, nFirstPts), FALSE) << Row.nLostAfter << " pictures later, of " << Row.nSources;
    }
}

TEST_F(Limits, TheSearchGivesUpBehindTwelveRecordsThatLieFarther) {
    const struct {
        UINT64 nAfterStep; // records queued after the PTS stepped back
        BOOL bFound;
    } Rows[] = {{.nAfterStep = 12, .bFound = TRUE}, {.nAfterStep = 13, .bFound = FALSE}};
    for (const auto &Row : Rows) {
        StartDay(MISP_PROFILE_2016_2);
        Stamp(1, 900'000);
        for (UINT64 nRecord = 0; nRecord < Row.nAfterStep; ++nRecord)
            Stamp(1, nRecord * TICKS_PER_PICTURE);
        EXPECT_EQ(HasTime(1, 900'000), Row.bFound) << Row.nAfterStep;
    }
}

} // namespace
