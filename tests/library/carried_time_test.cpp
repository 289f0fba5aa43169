// A picture's time under MISP_PROFILE_62: as received, or carried on while its source is silent; and its status byte.
#include "fixture.h"

namespace {

class CarriedTime : public LibraryTest {};

// A picture: the clock, a time stamp that comes just before it, and what it is to get.
struct Picture {
    const char *szRule;
    INT64 nMs = 0;
    std::optional<Stamp> Given{};
    Request Asked{};
    std::optional<Time> Wanted{}; // nothing: refused
};

void Play(const std::vector<Picture> &Pictures) {
    for (const Picture &Each : Pictures) {
        SCOPED_TRACE(Each.szRule);
        SetClockMs(Each.nMs);
        if (Each.Given)
            Queue(*Each.Given);
        const Answer Got = Ask(Each.Asked);
        EXPECT_EQ(Got.Time(), Each.Wanted);
        EXPECT_EQ(Got.bResult, Each.Wanted ? TRUE : FALSE);
    }
}

TEST_F(CarriedTime, OfHighPrecisionGoesOnByTheClock) {
    Play({
        {.szRule = "a time stamp of the picture is its time",
         .Given = Stamp{.nPts = 9000},
         .Asked = {.nPts = 9000},
         .Wanted = Time{.nPts = 9000, .Label = Timecode(12, 0, 0, 0)}},
        {.szRule = "40 ms of silence add 40 ms, with the picture's PTS",
         .nMs = 40,
         .Asked = {.nPts = 12'600},
         .Wanted = Time{.llUsec = 40'000, .nPts = 12'600, .Label = Timecode(12, 0, 0, 1)}},
        {.szRule = "the next silent picture counts from there",
         .nMs = 80,
         .Asked = {.nPts = 16'200},
         .Wanted = Time{.llUsec = 80'000, .nPts = 16'200, .Label = Timecode(12, 0, 0, 2)}},
        {.szRule = "a clock that steps back by 40 ms adds as much",
         .nMs = 40,
         .Asked = {.nPts = 19'800},
         .Wanted = Time{.llUsec = 120'000, .nPts = 19'800, .Label = Timecode(12, 0, 0, 3)}},
        {.szRule = "a clock that stands still adds nothing",
         .nMs = 40,
         .Asked = {.nPts = 23'400},
         .Wanted = Time{.llUsec = 120'000, .nPts = 23'400, .Label = Timecode(12, 0, 0, 3)}},
    });
}

TEST_F(CarriedTime, OfLocalSetsAdvancesTheirPts) {
    Play({
        {.szRule = "a time stamp of the picture",
         .Given = Stamp{.enSource = LOCAL_SET, .nPts = 9000},
         .Asked = {.enSource = LOCAL_SET, .nPts = 9000},
         .Wanted = Time{.nPts = 9000, .enSource = LOCAL_SET, .Label = Timecode(12, 0, 0, 0)}},
        {.szRule = "40 ms are 3600 ticks, whatever the picture's PTS",
         .nMs = 40,
         .Asked = {.enSource = LOCAL_SET, .nPts = 500'000},
         .Wanted = Time{.llUsec = 40'000, .nPts = 12'600, .enSource = LOCAL_SET, .Label = Timecode(12, 0, 0, 1)}},
    });
}

TEST_F(CarriedTime, OfTimecodeGoesOnByThePts) {
    Play({
        {.szRule = "a timecode gets its UTC; the first after silence is a discontinuity",
         .Given = Stamp{.enSource = TIMECODE, .nPts = 9000, .Label = Timecode(12, 0, 0, 10)},
         .Asked = {.enSource = TIMECODE, .nPts = 9000},
         .Wanted = Time{.llUsec = 400'000, .nStatus = 0xDF, .enSource = TIMECODE, .Label = Timecode(12, 0, 0, 10)}},
        {.szRule = "3600 ticks add a frame at 25 Hz while the clock stands still; a PTS of its own counts along",
         .Asked = {.enSource = TIMECODE, .nPts = 12'600},
         .Wanted = Time{.llUsec = 440'000,
                        .nStatus = 0x9F,
                        .nPts = 3600,
                        .enSource = TIMECODE,
                        .Label = Timecode(12, 0, 0, 11)}},
        {.szRule = "the next silent picture counts from there",
         .Asked = {.enSource = TIMECODE, .nPts = 16'200},
         .Wanted = Time{.llUsec = 480'000,
                        .nStatus = 0x9F,
                        .nPts = 7200,
                        .enSource = TIMECODE,
                        .Label = Timecode(12, 0, 0, 12)}},
        {.szRule = "a timecode that is no time of day is refused",
         .Given = Stamp{.enSource = TIMECODE, .nPts = 19'800, .Label = Timecode(24, 0, 0, 0)},
         .Asked = {.enSource = TIMECODE, .nPts = 19'800}},
    });
}

// Bit 7: not locked to the reference; bit 6: discontinuity; bit 5: backwards; bits 4 to 0 are set.
TEST_F(CarriedTime, StatusByteOfAUtc) {
    const struct {
        const char *szRule;
        BYTE nReceived;
        INT64 llUsec; // after a time of noon
        int nWanted;
        int nCarried; // by the silent picture after it
    } ROWS[] = {
        {.szRule = "locked", .nReceived = 0x1F, .llUsec = 1, .nWanted = 0x1F, .nCarried = 0x1F},
        {.szRule = "not locked", .nReceived = 0x9F, .llUsec = 1, .nWanted = 0x9F, .nCarried = 0x9F},
        {.szRule = "a carried time ends a discontinuity",
         .nReceived = 0x5F,
         .llUsec = 1,
         .nWanted = 0x5F,
         .nCarried = 0x1F},
        {.szRule = "an equal time did not go back", .nReceived = 0x1F, .llUsec = 0, .nWanted = 0x1F, .nCarried = 0x1F},
        {.szRule = "back, locked", .nReceived = 0x1F, .llUsec = -1, .nWanted = 0x7F, .nCarried = 0x1F},
        {.szRule = "back, not locked", .nReceived = 0x9F, .llUsec = -1, .nWanted = 0xFF, .nCarried = 0x9F},
        {.szRule = "reserved bits pass", .nReceived = 0x40, .llUsec = 1, .nWanted = 0x40, .nCarried = 0x1F},
    };
    for (const auto &Row : ROWS) {
        SCOPED_TRACE(Row.szRule);
        StartDay(MISP_PROFILE_62);
        Queue({.nPts = 9000});
        Ask({.nPts = 9000});
        Queue({.nPts = 12'600, .llUsec = Row.llUsec, .nStatus = Row.nReceived});
        EXPECT_EQ(Ask({.nPts = 12'600}).Time()->nStatus, Row.nWanted);
        EXPECT_EQ(Ask({.nPts = 90'000}).Time()->nStatus, Row.nCarried);
    }
}

TEST_F(CarriedTime, StatusByteOfATimecode) {
    const struct {
        const char *szRule;
        int nBefore; // hour of a timecode handed out before; none at 0
        int nHour;
        BOOL bSwitch;
        int nWanted;
    } ROWS[] = {
        {.szRule = "the first one", .nBefore = 0, .nHour = 13, .bSwitch = FALSE, .nWanted = 0xDF},
        {.szRule = "the first one, earlier than the start-up",
         .nBefore = 0,
         .nHour = 11,
         .bSwitch = FALSE,
         .nWanted = 0xFF},
        {.szRule = "the next one", .nBefore = 12, .nHour = 13, .bSwitch = FALSE, .nWanted = 0x9F},
        {.szRule = "back, without a discontinuity", .nBefore = 12, .nHour = 11, .bSwitch = FALSE, .nWanted = 0x9F},
        {.szRule = "the first choice of a source counts as a switch",
         .nBefore = 12,
         .nHour = 13,
         .bSwitch = TRUE,
         .nWanted = 0xDF},
    };
    for (const auto &Row : ROWS) {
        SCOPED_TRACE(Row.szRule);
        StartDay(MISP_PROFILE_62);
        std::optional<Time> Last;
        for (const int nHour : {Row.nBefore, Row.nHour}) {
            const UINT64 nPts = 90'000U * static_cast<UINT64>(nHour);
            Queue({.enSource = TIMECODE, .nPts = nPts, .Label = Timecode(nHour, 0, 0, 0)});
            if (nHour != 0)
                Last = Ask({.enSource = TIMECODE, .bSwitch = Row.bSwitch, .nPts = nPts}).Time();
        }
        EXPECT_EQ(Last->nStatus, Row.nWanted);
    }
}

} // namespace
