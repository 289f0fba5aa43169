// A picture's time under MISP_PROFILE_62: as received, or carried while its source is silent; and its status byte.
#include "fixture.h"

namespace {

class CarriedTime : public LibraryTest {};

struct Picture {
    const char *szRule;
    INT64 nMs = 0; // of the clock, from noon
    UINT64 nPTS = 9000;
    std::optional<UINT64> nTimePTS{}; // the PTS of its time, where that is another
    int nFrame = 0;                   // its time: frames of 40 ms from noon
    int nStatus = 0x1F;
};

// A time stamp of noon for PTS 9000, and pictures, of which only the first has a time stamp.
void Play(int enSource, const std::vector<Picture> &Pictures) {
    Queue({.enSource = enSource, .nPTS = 9000});
    for (const auto &[szRule, nMs, nPTS, nTimePTS, nFrame, nStatus] : Pictures) {
        SetClockMs(nMs);
        const Time Wanted{nFrame * INT64{40'000}, nStatus, nTimePTS.value_or(nPTS), enSource,
                          Timecode(12, 0, 0, nFrame)};
        EXPECT_EQ(TimeOf(Ask({.enSource = enSource, .nPTS = nPTS})), Wanted) << szRule;
    }
}

TEST_F(CarriedTime, OfHighPrecisionGoesOnByTheClock) {
    Play(HIGH_PRECISION, {{.szRule = "a time stamp of the picture is its time"},
                          {.szRule = "40 ms of silence add 40 ms", .nMs = 40, .nPTS = 12'600, .nFrame = 1},
                          {.szRule = "the next counts from there", .nMs = 80, .nPTS = 16'200, .nFrame = 2},
                          {.szRule = "40 ms back add as much", .nMs = 40, .nPTS = 19'800, .nFrame = 3},
                          {.szRule = "a clock at rest adds nothing", .nMs = 40, .nPTS = 23'400, .nFrame = 3}});
}

// 40 ms are 3600 ticks, whatever the PTS of the silent picture.
TEST_F(CarriedTime, OfLocalSetsAdvancesTheirPTS) {
    Play(LOCAL_SET, {{.szRule = "a time stamp of the picture is its time"},
                     {.szRule = "3600 ticks on", .nMs = 40, .nPTS = 500'000, .nTimePTS = 12'600, .nFrame = 1}});
}

// The clock stands still. The UTC follows that of the start-up: the first is a discontinuity, but did not go back.
TEST_F(CarriedTime, OfTimecodeGoesOnByThePTS) {
    Play(TIMECODE,
         {{.szRule = "the first", .nTimePTS = 0, .nStatus = 0xDF},
          {.szRule = "3600 ticks are a frame", .nPTS = 12'600, .nTimePTS = 3600, .nFrame = 1, .nStatus = 0x9F},
          {.szRule = "the next counts from there", .nPTS = 16'200, .nTimePTS = 7200, .nFrame = 2, .nStatus = 0x9F}});
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
        EXPECT_EQ(TimeOf(Ask({.nPTS = 12'600}))->nStatus, Row.nWanted) << Row.szRule;
        EXPECT_EQ(TimeOf(Ask({.nPTS = 90'000}))->nStatus, Row.nCarried) << Row.szRule;
    }
}

} // namespace
