// The source in use: given up after more than 5000 ms of silence, taken up again after more than 750 ms of presence.
#include "fixture.h"

namespace {

class Switching : public LibraryTest {};

// Pictures of a stream whose PTS keeps pace with the clock; the time stamps given are those of the picture.
UINT64 PtsAt(INT64 nMs) {
    return 900'000 + static_cast<UINT64>(nMs) * 90;
}

struct Picture {
    const char *szRule;
    INT64 nMs;
    int enInUse; // after the picture
    UINT64 nSwitches;
    std::vector<int> Given{}; // sources with a time stamp for it
};

// At either direction of the clock: elapsed times are absolute.
void PlayBothWays(int enConfigured, const std::vector<Picture> &Pictures) {
    for (const int nDirection : {1, -1}) {
        StartDay(MISP_PROFILE_62);
        for (const Picture &Each : Pictures) {
            SetClockMs(Each.nMs * nDirection);
            for (const int enSource : Each.Given)
                Queue({.enSource = enSource, .nPts = PtsAt(Each.nMs)});
            Ask({.enSource = enConfigured, .bSwitch = TRUE, .nPts = PtsAt(Each.nMs)});
            EXPECT_EQ(Stats(), (model::Statistics{Each.enInUse, Each.nSwitches}))
                << Each.szRule << ", clock running by " << nDirection;
        }
    }
}

TEST_F(Switching, FailsOverAfterMoreThan5000Ms) {
    const std::vector<Picture> PICTURES = {
        {.szRule = "the first choice counts",
         .nMs = 0,
         .enInUse = HIGH_PRECISION,
         .nSwitches = 1,
         .Given = {HIGH_PRECISION}},
        {.szRule = "5000 ms is not too long yet", .nMs = 5000, .enInUse = HIGH_PRECISION, .nSwitches = 1},
        {.szRule = "5001 ms is, and counts twice", .nMs = 5001, .enInUse = TIMECODE, .nSwitches = 3},
        {.szRule = "timecode has 5000 ms of its own", .nMs = 10'001, .enInUse = TIMECODE, .nSwitches = 3},
        {.szRule = "then local sets are next", .nMs = 10'002, .enInUse = LOCAL_SET, .nSwitches = 5},
        {.szRule = "and have 5000 ms of their own", .nMs = 15'002, .enInUse = LOCAL_SET, .nSwitches = 5},
        {.szRule = "then the system clock is next", .nMs = 15'003, .enInUse = SYSTEM_CLOCK, .nSwitches = 7},
        {.szRule = "and stays", .nMs = 99'999, .enInUse = SYSTEM_CLOCK, .nSwitches = 7},
    };
    PlayBothWays(HIGH_PRECISION, PICTURES);
}

TEST_F(Switching, CountsSilenceFromTheLastGoodTimeStamp) {
    const std::vector<Picture> PICTURES = {
        {.szRule = "the first", .nMs = 0, .enInUse = HIGH_PRECISION, .nSwitches = 1, .Given = {HIGH_PRECISION}},
        {.szRule = "another one", .nMs = 3000, .enInUse = HIGH_PRECISION, .nSwitches = 1, .Given = {HIGH_PRECISION}},
        {.szRule = "5000 ms after it", .nMs = 8000, .enInUse = HIGH_PRECISION, .nSwitches = 1},
        {.szRule = "5001 ms after it", .nMs = 8001, .enInUse = TIMECODE, .nSwitches = 3},
    };
    PlayBothWays(HIGH_PRECISION, PICTURES);
}

TEST_F(Switching, RecoversAfterMoreThan750Ms) {
    const std::vector<Picture> PICTURES = {
        {.szRule = "first seen", .nMs = 1000, .enInUse = SYSTEM_CLOCK, .nSwitches = 1, .Given = {HIGH_PRECISION}},
        {.szRule = "750 ms is too short",
         .nMs = 1750,
         .enInUse = SYSTEM_CLOCK,
         .nSwitches = 1,
         .Given = {HIGH_PRECISION}},
        {.szRule = "751 ms is not", .nMs = 1751, .enInUse = HIGH_PRECISION, .nSwitches = 2, .Given = {HIGH_PRECISION}},
    };
    PlayBothWays(SYSTEM_CLOCK, PICTURES);
}

TEST_F(Switching, KeepsTheFirstSightingThroughAGap) {
    const std::vector<Picture> PICTURES = {
        {.szRule = "first seen", .nMs = 1000, .enInUse = SYSTEM_CLOCK, .nSwitches = 1, .Given = {LOCAL_SET}},
        {.szRule = "not seen", .nMs = 1300, .enInUse = SYSTEM_CLOCK, .nSwitches = 1},
        {.szRule = "751 ms after the first", .nMs = 1751, .enInUse = LOCAL_SET, .nSwitches = 2, .Given = {LOCAL_SET}},
    };
    PlayBothWays(SYSTEM_CLOCK, PICTURES);
}

TEST_F(Switching, TakesALowerSourceThatIsReadyBeforeABetterOneThatIsNot) {
    const std::vector<Picture> PICTURES = {
        {.szRule = "timecode seen", .nMs = 0, .enInUse = LOCAL_SET, .nSwitches = 1, .Given = {TIMECODE}},
        {.szRule = "high precision seen", .nMs = 600, .enInUse = LOCAL_SET, .nSwitches = 1, .Given = {HIGH_PRECISION}},
        {.szRule = "timecode is ready",
         .nMs = 800,
         .enInUse = TIMECODE,
         .nSwitches = 2,
         .Given = {HIGH_PRECISION, TIMECODE}},
        {.szRule = "then high precision is",
         .nMs = 1351,
         .enInUse = HIGH_PRECISION,
         .nSwitches = 3,
         .Given = {HIGH_PRECISION}},
    };
    PlayBothWays(LOCAL_SET, PICTURES);
}

TEST_F(Switching, WithoutPermissionKeepsTheConfiguredSource) {
    Queue({.enSource = LOCAL_SET, .nPts = 9000});
    Ask({.enSource = LOCAL_SET, .nPts = 9000});
    SetClockMs(60'000);
    EXPECT_EQ(Ask({.enSource = LOCAL_SET, .nPts = 90'000}).Time()->enSource, LOCAL_SET);
    EXPECT_EQ(Stats(), (model::Statistics{TCSOURCE_NOT_CHOSEN, 0}));
}

TEST_F(Switching, CheckMovesOnAfterMoreThan5000Ms) {
    const struct {
        const char *szRule;
        INT64 nMs;
        int enSource, enWanted;
        BOOL bAllowed = TRUE;
    } ROWS[] = {
        {.szRule = "5000 ms is not too long yet", .nMs = 5000, .enSource = HIGH_PRECISION, .enWanted = HIGH_PRECISION},
        {.szRule = "not allowed",
         .nMs = 5001,
         .enSource = HIGH_PRECISION,
         .enWanted = HIGH_PRECISION,
         .bAllowed = FALSE},
        {.szRule = "5001 ms is", .nMs = 5001, .enSource = HIGH_PRECISION, .enWanted = TIMECODE},
        {.szRule = "the next one has a period of its own", .nMs = 5001, .enSource = TIMECODE, .enWanted = TIMECODE},
        {.szRule = "timecode", .nMs = 10'002, .enSource = TIMECODE, .enWanted = LOCAL_SET},
        {.szRule = "local sets", .nMs = 15'003, .enSource = LOCAL_SET, .enWanted = SYSTEM_CLOCK},
        {.szRule = "then there is none", .nMs = 20'004, .enSource = SYSTEM_CLOCK, .enWanted = TCSOURCE_NONE},
    };
    Queue({.nPts = 9000});
    Ask({.nPts = 9000});
    for (const auto &Row : ROWS) {
        SetClockMs(Row.nMs);
        int enSource = Row.enSource;
        _VerifyTimeSourceSwitch(0, Row.bAllowed, &enSource);
        EXPECT_EQ(enSource, Row.enWanted) << Row.szRule;
    }
}

// Under MISP_PROFILE_2016_2 the source in use is that of the last success, for 750 ms of PTS.
TEST_F(Switching, UnderTheOtherRevisionASuccessLasts750MsOfPts) {
    constexpr UINT64 SUCCESS = 900'000'000;
    constexpr UINT64 LAST = 750 * 90 + 89; // the last tick that is cut to 750 ms
    const struct {
        const char *szRule;
        UINT64 nPts;
        int enWanted;
    } ROWS[] = {{.szRule = "a success", .nPts = SUCCESS, .enWanted = HIGH_PRECISION},
                {.szRule = "750 ms later", .nPts = SUCCESS + LAST, .enWanted = HIGH_PRECISION},
                {.szRule = "751 ms later", .nPts = SUCCESS + LAST + 1, .enWanted = TCSOURCE_NONE},
                {.szRule = "before the success", .nPts = SUCCESS - 1000, .enWanted = TCSOURCE_NONE}};
    StartDay(MISP_PROFILE_2016_2);
    Queue({.nPts = SUCCESS});
    for (const auto &Row : ROWS) {
        Ask({.nPts = Row.nPts});
        EXPECT_EQ(Stats().enSource, Row.enWanted) << Row.szRule;
    }
}

} // namespace
