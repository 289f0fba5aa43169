// Retrieval under MISP_PROFILE_2016_2: the record of the configured source as it was stored, or nothing.
#include <climits>

#include "fixture.h"

namespace {

class Profile20162 : public LibraryTest {
protected:
    Profile20162() : LibraryTest(MISP_PROFILE_2016_2) {}
};

TEST_F(Profile20162, RecordsWithin359TicksAreHandedBackAsStored) {
    for (const int enSource : {0, 1, 3, 4, 77, -1})
        Queue(enSource, 9000, "5 3f");
    Queue(2, 9000, "13:24:35:06");
    for (const int enSource : {0, 1, 2, 3, 4, 77, -1})
        for (const INT64 nDistance : {-360, -359, 0, 359, 360}) {
            const UINT64 nPts = 9000U + static_cast<UINT64>(nDistance);
            const bool bFound = enSource >= 1 && enSource <= 3 && std::abs(nDistance) < 360;
            const std::string sSource = std::to_string(enSource);
            for (const Answer &Got :
                 {Ask({enSource, nPts}), Ask({enSource, nPts, TRUE, INT_MIN, INT_MAX, 0, UINT64_MAX, -1})})
                if (bFound && enSource == 2)
                    EXPECT_EQ(Text(Got.Vitc) + Text(Got.Utc.MotionImageryTimestamp.vitc), "13:24:35:0613:24:35:06")
                        << nDistance;
                else
                    EXPECT_EQ(Text(Got), bFound ? "1 5 3f 9000 " + sSource + " -" : "0 - -")
                        << enSource << " at " << nDistance;
        }
}

TEST_F(Profile20162, SourceInUseFallsToNoneAfter750MsOfPts) {
    constexpr UINT64 BASE = 900'000'000;
    constexpr UINT64 MS_750 = 750 * 90 + 89; // the last tick that truncates to 750 ms
    const std::tuple<const char *, Request, const char *> Rows[] = {
        {"nothing yet, within 750 ms of the stored PTS 0", {4, MS_750}, "4/0"},
        {"nothing yet, beyond", {4, MS_750 + 1}, "0/0"},
        {"success", {1, BASE}, "1/0"},
        {"750 ms later", {3, BASE + MS_750}, "1/0"},
        {"751 ms later", {1, BASE + MS_750 + 1}, "0/0"},
        {"before the last success", {1, BASE - 1000}, "0/0"},
        {"timecode success, UTC still fresh", {2, BASE + 50}, "1/0"},
        {"timecode fresh, UTC stale", {3, BASE + MS_750 + 1}, "3/0"},
        {"both stale", {2, BASE + 51 + MS_750}, "0/0"},
    };
    Queue(1, BASE + 359, "0 1f");
    Queue(2, BASE + 409, "10:00:00:00");
    for (const auto &[szWhat, Asked, szExpected] : Rows) {
        Ask(Asked);
        EXPECT_EQ(Stats(0), szExpected) << szWhat;
    }
}

TEST_F(Profile20162, SystemTimeCountsFromTheBase) {
    const struct {
        Request Asked;
        const char *szExpected;
    } Rows[] = {{{0, 90000}, "1 999999 9f 90000 4 12:00:00:24"},
                {{.nPts = 991, .nRate = 0, .nBasePts = 1000}, "0 -99 9f 991 4 -"},
                {{.nPts = 991, .nBasePts = 1000, .llBaseUsec = 1099}, "1 1000 9f 991 4 12:00:00:00"},
                {{.nPts = 100, .nRate = -1}, "0 1111 9f 100 4 -"}};
    for (const int enRevision : {MISP_PROFILE_2016_2, MISP_PROFILE_62}) {
        StartDay(enRevision);
        for (const auto &Row : Rows) {
            const Answer Got = AskSystem(Row.Asked);
            EXPECT_EQ(Text(Got), Row.szExpected) << enRevision;
            EXPECT_EQ(Got.Utc.tpInsertionTime.tv_sec, 0);
        }
    }
}

} // namespace
