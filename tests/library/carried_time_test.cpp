// A picture's time under MISP_PROFILE_62: as received, or carried while its source is silent; and its status byte.
#include "fixture.h"

namespace {

class CarriedTime : public LibraryTest {};

struct Picture {
    const char *szRule;
    bool bStamped = false; // a time stamp of the picture comes just before it
    INT64 nMs = 0;         // of the clock, from noon
    UINT64 nPTS = 9000;
    INT64 llUsec = 0; // its time from noon
    vitc_t Label = Timecode(12, 0, 0, 0);
    std::optional<UINT64> nTimePTS{}; // the PTS of its time, where that is another
    int nStatus = 0x1F;
};

void Play(int enSource, const std::vector<Picture> &Pictures) {
    for (const Picture &Each : Pictures) {
        SetClockMs(Each.nMs);
        if (Each.bStamped)
            Queue({.enSource = enSource, .nPTS = Each.nPTS, .Label = Each.Label});
        const Time Wanted{Each.llUsec, Each.nStatus, Each.nTimePTS.value_or(Each.nPTS), enSource, Each.Label};
        EXPECT_EQ(Ask({.enSource = enSource, .nPTS = Each.nPTS}).Time(), Wanted) << Each.szRule;
    }
}

TEST_F(CarriedTime, OfHighPrecisionGoesOnByTheClock) {
    const vitc_t FRAME_1 = Timecode(12, 0, 0, 1), FRAME_2 = Timecode(12, 0, 0, 2), FRAME_3 = Timecode(12, 0, 0, 3);
    Play(HIGH_PRECISION,
         {{.szRule = "a time stamp of the picture is its time", .bStamped = true},
          {.szRule = "40 ms of silence add 40 ms", .nMs = 40, .nPTS = 12'600, .llUsec = 40'000, .Label = FRAME_1},
          {.szRule = "the next counts from there", .nMs = 80, .nPTS = 16'200, .llUsec = 80'000, .Label = FRAME_2},
          {.szRule = "40 ms back add as much", .nMs = 40, .nPTS = 19'800, .llUsec = 120'000, .Label = FRAME_3},
          {.szRule = "a clock at rest adds nothing", .nMs = 40, .nPTS = 23'400, .llUsec = 120'000, .Label = FRAME_3}});
}

TEST_F(CarriedTime, OfLocalSetsAdvancesTheirPTS) {
    Play(LOCAL_SET, {{.szRule = "a time stamp of the picture is its time", .bStamped = true},
                     {.szRule = "40 ms are 3600 ticks, whatever the picture's PTS",
                      .nMs = 40,
                      .nPTS = 500'000,
                      .llUsec = 40'000,
                      .Label = Timecode(12, 0, 0, 1),
                      .nTimePTS = 12'600}});
}

TEST_F(CarriedTime, OfTimecodeGoesOnByThePTS) {
    Play(TIMECODE, {{.szRule = "its UTC is that of the start-up: the first is a discontinuity, but did not go back",
                     .bStamped = true,
                     .nTimePTS = 0,
                     .nStatus = 0xDF},
                    {.szRule = "3600 ticks add a frame at 25 Hz while the clock stands still",
                     .nPTS = 12'600,
                     .llUsec = 40'000,
                     .Label = Timecode(12, 0, 0, 1),
                     .nTimePTS = 3600,
                     .nStatus = 0x9F},
                    {.szRule = "the next silent picture counts from there",
                     .nPTS = 16'200,
                     .llUsec = 80'000,
                     .Label = Timecode(12, 0, 0, 2),
                     .nTimePTS = 7200,
                     .nStatus = 0x9F}});
}

// Bit 7: not locked to the reference; bit 6: discontinuity; bit 5: backwards; bits 4 to 0 are set.
TEST_F(CarriedTime, StatusByteOfAUtc) {
    const struct {
        const char *szRule;
        BYTE nReceived;
        int nWanted;
        int nCarried = 0x1F; // by the silent picture after it
        INT64 llUsec = 1;    // after the time before it
    } ROWS[] = {
        {.szRule = "locked", .nReceived = 0x1F, .nWanted = 0x1F},
        {.szRule = "not locked", .nReceived = 0x9F, .nWanted = 0x9F, .nCarried = 0x9F},
        {.szRule = "a carried time ends a discontinuity", .nReceived = 0x5F, .nWanted = 0x5F},
        {.szRule = "an equal time did not go back", .nReceived = 0x1F, .nWanted = 0x1F, .llUsec = 0},
        {.szRule = "back, locked", .nReceived = 0x1F, .nWanted = 0x7F, .llUsec = -1},
        {.szRule = "back, not locked", .nReceived = 0x9F, .nWanted = 0xFF, .nCarried = 0x9F, .llUsec = -1},
        {.szRule = "reserved bits pass", .nReceived = 0x40, .nWanted = 0x40},
    };
    for (const auto &Row : ROWS) {
        StartDay(MISP_PROFILE_62);
        Queue({.nPTS = 9000});
        Ask({.nPTS = 9000});
        Queue({.nPTS = 12'600, .llUsec = Row.llUsec, .nStatus = Row.nReceived});
        EXPECT_EQ(Ask({.nPTS = 12'600}).Time()->nStatus, Row.nWanted) << Row.szRule;
        EXPECT_EQ(Ask({.nPTS = 90'000}).Time()->nStatus, Row.nCarried) << Row.szRule;
    }
}

} // namespace
