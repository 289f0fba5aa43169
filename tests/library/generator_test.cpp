// Drop-frame numbering of coded pictures, picture by picture.
#include "fixture.h"

namespace {

class Generator : public LibraryTest {};

struct Stream {
    UINT nCode, nRate, nTicks;
};
constexpr Stream NTSC_30{.nCode = 29000, .nRate = 30, .nTicks = 3003};
constexpr Stream NTSC_60{.nCode = 59000, .nRate = 60, .nTicks = 1501};
constexpr Stream WHOLE_30{.nCode = 30000, .nRate = 30, .nTicks = 3000};

struct Coded {
    int nFrames; // from the picture coded before, in display order
    vitc_t Wanted;
};

struct Sequence {
    const char *szRule;
    Stream Of;
    UINT nBframes;
    vitc_t Start;
    int nSinceSkipSec = 99; // by the wall clock
    std::vector<Coded> Pictures;
};

const Sequence SEQUENCES[] = {
    {.szRule = "29.97 Hz drops 00 and 01 of a minute",
     .Of = NTSC_30,
     .nBframes = 0,
     .Start = Timecode(0, 1, 59, 28),
     .Pictures = {{.nFrames = 1, .Wanted = Timecode(0, 1, 59, 29)},
                  {.nFrames = 1, .Wanted = Timecode(0, 2, 0, 2)},
                  {.nFrames = 1, .Wanted = Timecode(0, 2, 0, 3)}}},
    {.szRule = "59.94 Hz drops 00 to 03",
     .Of = NTSC_60,
     .nBframes = 0,
     .Start = Timecode(0, 1, 59, 59),
     .Pictures = {{.nFrames = 1, .Wanted = Timecode(0, 2, 0, 4)}}},
    {.szRule = "every tenth minute keeps all its labels",
     .Of = NTSC_30,
     .nBframes = 0,
     .Start = Timecode(0, 9, 59, 29),
     .Pictures = {{.nFrames = 1, .Wanted = Timecode(0, 10, 0, 0)}}},
    {.szRule = "other rates drop nothing",
     .Of = WHOLE_30,
     .nBframes = 0,
     .Start = Timecode(0, 1, 59, 29),
     .Pictures = {{.nFrames = 1, .Wanted = Timecode(0, 2, 0, 0)}}},
    {.szRule = "two B pictures coded behind the skip lie before it",
     .Of = NTSC_30,
     .nBframes = 2,
     .Start = Timecode(0, 1, 59, 27),
     .Pictures = {{.nFrames = 3, .Wanted = Timecode(0, 2, 0, 2)},
                  {.nFrames = -2, .Wanted = Timecode(0, 1, 59, 28)},
                  {.nFrames = 1, .Wanted = Timecode(0, 1, 59, 29)},
                  {.nFrames = 4, .Wanted = Timecode(0, 2, 0, 5)}}},
    {.szRule = "30 s after a skip is too early for another",
     .Of = NTSC_30,
     .nBframes = 0,
     .Start = Timecode(0, 1, 59, 29),
     .nSinceSkipSec = 30,
     .Pictures = {{.nFrames = 1, .Wanted = Timecode(0, 2, 0, 0)}}},
    {.szRule = "31 s is not",
     .Of = NTSC_30,
     .nBframes = 0,
     .Start = Timecode(0, 1, 59, 29),
     .nSinceSkipSec = 31,
     .Pictures = {{.nFrames = 1, .Wanted = Timecode(0, 2, 0, 2)}}},
    {.szRule = "midnight, and back",
     .Of = WHOLE_30,
     .nBframes = 0,
     .Start = Timecode(23, 59, 59, 29),
     .Pictures = {{.nFrames = 1, .Wanted = Timecode(0, 0, 0, 0)}, {.nFrames = -1, .Wanted = Timecode(23, 59, 59, 29)}}},
    {.szRule = "a long jump carries through all units",
     .Of = WHOLE_30,
     .nBframes = 0,
     .Start = Timecode(22, 58, 59, 0),
     .Pictures = {{.nFrames = 30 * 3661, .Wanted = Timecode(0, 0, 0, 0)}}},
};

TEST_F(Generator, NumbersCodedPictures) {
    for (const Sequence &Each : SEQUENCES) {
        SCOPED_TRACE(Each.szRule);
        SMPTE12M1_CONTEXT Context{};
        Context.PTSTicksPerFrame = Each.Of.nTicks;
        Context.nEncodedPictureRate = Each.Of.nRate;
        Context.nVUIFramerate = Each.Of.nCode;
        Context.nBframes = Each.nBframes;
        Context.OldSystemTC = Each.Start;
        Context.OldTimestamp64 = 900'000'000;
        Context.tDropFrameOccurred = NoonUsec() / 1'000'000 - Each.nSinceSkipSec;
        for (const Coded &Picture : Each.Pictures) {
            const INT64 nTicks = Picture.nFrames * INT64{Each.Of.nTicks};
            const UINT64 nPts = Context.OldTimestamp64 + static_cast<UINT64>(nTicks);
            Timecode_MakeSMPTE12M1VITC(&Context, 0, nPts, &Context.OldSystemTC);
            EXPECT_EQ(Context.OldSystemTC, Picture.Wanted);
            Context.OldTimestamp64 = nPts;
        }
    }
}

// At 3003 ticks a frame; halves count away from zero.
TEST_F(Generator, RoundsTicksToFrames) {
    const struct {
        INT64 nTicks;
        int nWantedFrame;
    } ROWS[] = {{.nTicks = 0, .nWantedFrame = 5},
                {.nTicks = 1501, .nWantedFrame = 5},
                {.nTicks = 1502, .nWantedFrame = 6},
                {.nTicks = -1501, .nWantedFrame = 5},
                {.nTicks = -1502, .nWantedFrame = 4}};
    for (const auto &Row : ROWS) {
        SMPTE12M1_CONTEXT Context{3003, 30, 29000, 0, Timecode(10, 0, 10, 5), 0, 90'000, 0, 0, FALSE};
        vitc_t New{};
        Timecode_MakeSMPTE12M1VITC(&Context, 0, static_cast<UINT64>(90'000 + Row.nTicks), &New);
        EXPECT_EQ(New, Timecode(10, 0, 10, Row.nWantedFrame)) << Row.nTicks << " ticks";
    }
}

} // namespace
