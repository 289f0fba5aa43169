// The source in use: given up after more than 5000 ms of silence, taken up again after more than 750 ms of presence.
#include "fixture.h"

namespace {

class Switching : public LibraryTest {};

constexpr UINT64 FIRST_PTS = 900'000;
constexpr int BEST = HIGH_PRECISION;

struct Picture {
    const char *szRule;
    INT64 nMs = 0;
    int enInUse; // after the picture
    UINT64 nSwitches = 1;
    int enGiven = TCSOURCE_NONE; // the source with a time stamp for it
};

// Pictures of a stream whose PTS keeps pace with the clock, which may run in either direction: elapsed times are
// absolute.
void PlayBothWays(int enConfigured, const std::vector<Picture> &Pictures) {
    for (const int nDirection : {1, -1}) {
        StartDay(MISP_PROFILE_62);
        for (const Picture &Each : Pictures) {
            const UINT64 nPTS = FIRST_PTS + static_cast<UINT64>(Each.nMs) * 90;
            SetClockMs(Each.nMs * nDirection);
            if (Each.enGiven != TCSOURCE_NONE)
                Queue({.enSource = Each.enGiven, .nPTS = nPTS});
            Ask({.enSource = enConfigured, .bSwitch = TRUE, .nPTS = nPTS});
            EXPECT_EQ(Stats(), (model::Statistics{Each.enInUse, Each.nSwitches}))
                << Each.szRule << ", clock running by " << nDirection;
        }
    }
}

TEST_F(Switching, FailsOverAfterMoreThan5000Ms) {
    PlayBothWays(BEST,
                 {{.szRule = "the first choice counts", .enInUse = BEST, .enGiven = BEST},
                  {.szRule = "a good time stamp", .nMs = 3000, .enInUse = BEST, .enGiven = BEST},
                  {.szRule = "5000 ms after it is not too long yet", .nMs = 8000, .enInUse = BEST},
                  {.szRule = "5001 ms is, and counts twice", .nMs = 8001, .enInUse = TIMECODE, .nSwitches = 3},
                  {.szRule = "timecode has 5000 ms of its own", .nMs = 13'001, .enInUse = TIMECODE, .nSwitches = 3},
                  {.szRule = "then local sets are next", .nMs = 13'002, .enInUse = LOCAL_SET, .nSwitches = 5},
                  {.szRule = "and have 5000 ms of their own", .nMs = 18'002, .enInUse = LOCAL_SET, .nSwitches = 5},
                  {.szRule = "then the system clock is next", .nMs = 18'003, .enInUse = SYSTEM_CLOCK, .nSwitches = 7},
                  {.szRule = "and stays", .nMs = 99'999, .enInUse = SYSTEM_CLOCK, .nSwitches = 7}});
}

TEST_F(Switching, RecoversAfterMoreThan750Ms) {
    PlayBothWays(SYSTEM_CLOCK,
                 {{.szRule = "first seen", .nMs = 1000, .enInUse = SYSTEM_CLOCK, .enGiven = BEST},
                  {.szRule = "a gap does not matter", .nMs = 1300, .enInUse = SYSTEM_CLOCK},
                  {.szRule = "750 ms is too short", .nMs = 1750, .enInUse = SYSTEM_CLOCK, .enGiven = BEST},
                  {.szRule = "751 ms is not", .nMs = 1751, .enInUse = BEST, .nSwitches = 2, .enGiven = BEST}});
}

// Under MISP_PROFILE_2016_2 the source in use is that of the last success, for 750 ms of PTS.
TEST_F(Switching, UnderTheOtherRevisionASuccessLasts750MsOfPTS) {
    constexpr UINT64 LAST = 750 * 90 + 89; // the last tick that is cut to 750 ms
    const struct {
        const char *szRule;
        UINT64 nPTS;
        int enWanted;
    } ROWS[] = {{.szRule = "a success", .nPTS = FIRST_PTS, .enWanted = HIGH_PRECISION},
                {.szRule = "750 ms later", .nPTS = FIRST_PTS + LAST, .enWanted = HIGH_PRECISION},
                {.szRule = "751 ms later", .nPTS = FIRST_PTS + LAST + 1, .enWanted = TCSOURCE_NONE},
                {.szRule = "before the success", .nPTS = FIRST_PTS - 1000, .enWanted = TCSOURCE_NONE}};
    StartDay(MISP_PROFILE_2016_2);
    Queue({.nPTS = FIRST_PTS});
    for (const auto &Row : ROWS) {
        Ask({.nPTS = Row.nPTS});
        EXPECT_EQ(Stats().enSource, Row.enWanted) << Row.szRule;
    }
}

} // namespace
