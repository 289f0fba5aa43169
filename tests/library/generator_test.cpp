// Drop-frame numbering of coded pictures.
#include "fixture.h"

namespace {

class Generator : public LibraryTest {};

struct Stream {
    UINT nCode, nRate, nTicks;
};
constexpr Stream NTSC_30{.nCode = 29000, .nRate = 30, .nTicks = 3003};
constexpr Stream NTSC_60{.nCode = 59000, .nRate = 60, .nTicks = 1501};
constexpr Stream WHOLE_30{.nCode = 30000, .nRate = 30, .nTicks = 3000};

// Numbers one picture after another; each goes on from the one before.
class Numbering {
public:
    Numbering(const Stream &Of, const vitc_t &First, UINT nBframes, int nSinceSkipSec) {
        m_Context.PTSTicksPerFrame = Of.nTicks;
        m_Context.nEncodedPictureRate = Of.nRate;
        m_Context.nVUIFramerate = Of.nCode;
        m_Context.nBframes = nBframes;
        m_Context.OldSystemTC = First;
        m_Context.OldTimestamp64 = 900'000'000;
        m_Context.tDropFrameOccurred = NoonUsec() / 1'000'000 - nSinceSkipSec;
    }
    vitc_t Next(INT64 nTicks) {
        const UINT64 nPTS = m_Context.OldTimestamp64 + static_cast<UINT64>(nTicks);
        Timecode_MakeSMPTE12M1VITC(&m_Context, 0, nPTS, &m_Context.OldSystemTC);
        m_Context.OldTimestamp64 = nPTS;
        return m_Context.OldSystemTC;
    }

private:
    SMPTE12M1_CONTEXT m_Context{};
};

TEST_F(Generator, NumbersTheNextPicture) {
    const struct {
        const char *szRule;
        vitc_t From, Wanted;
        INT64 nTicks = 3003;
        Stream Of = NTSC_30;
        int nSinceSkipSec = 99; // by the clock
    } ROWS[] = {
        {.szRule = "29.97 Hz", .From = Timecode(0, 1, 59, 28), .Wanted = Timecode(0, 1, 59, 29)},
        {.szRule = "drops 00 and 01", .From = Timecode(0, 1, 59, 29), .Wanted = Timecode(0, 2, 0, 2)},
        {.szRule = "of a minute", .From = Timecode(0, 2, 0, 2), .Wanted = Timecode(0, 2, 0, 3)},
        {.szRule = "but not of a tenth", .From = Timecode(0, 9, 59, 29), .Wanted = Timecode(0, 10, 0, 0)},
        {.szRule = "59.94 Hz drops 00 to 03",
         .From = Timecode(0, 1, 59, 59),
         .Wanted = Timecode(0, 2, 0, 4),
         .nTicks = 1501,
         .Of = NTSC_60},
        {.szRule = "30 Hz drops nothing",
         .From = Timecode(0, 1, 59, 29),
         .Wanted = Timecode(0, 2, 0, 0),
         .Of = WHOLE_30},
        {.szRule = "too soon", .From = Timecode(0, 1, 59, 29), .Wanted = Timecode(0, 2, 0, 0), .nSinceSkipSec = 30},
        {.szRule = "not so", .From = Timecode(0, 1, 59, 29), .Wanted = Timecode(0, 2, 0, 2), .nSinceSkipSec = 31},
        {.szRule = "midnight", .From = Timecode(23, 59, 59, 29), .Wanted = Timecode(0, 0, 0, 0)},
        {.szRule = "and back", .From = Timecode(0, 0, 0, 0), .Wanted = Timecode(23, 59, 59, 29), .nTicks = -3003},
        {.szRule = "an hour on",
         .From = Timecode(22, 58, 59, 5),
         .Wanted = Timecode(0, 0, 0, 5),
         .nTicks = 329'819'490},
        {.szRule = "less than half", .From = Timecode(10, 0, 10, 5), .Wanted = Timecode(10, 0, 10, 5), .nTicks = 1501},
        {.szRule = "half a frame", .From = Timecode(10, 0, 10, 5), .Wanted = Timecode(10, 0, 10, 6), .nTicks = 1502},
        {.szRule = "back too", .From = Timecode(10, 0, 10, 5), .Wanted = Timecode(10, 0, 10, 5), .nTicks = -1501},
        {.szRule = "half back", .From = Timecode(10, 0, 10, 5), .Wanted = Timecode(10, 0, 10, 4), .nTicks = -1502},
    };
    for (const auto &Row : ROWS)
        EXPECT_EQ(Numbering(Row.Of, Row.From, 0, Row.nSinceSkipSec).Next(Row.nTicks), Row.Wanted) << Row.szRule;
}

TEST_F(Generator, TwoBPicturesCodedBehindTheSkipLieBeforeIt) {
    Numbering Pictures(NTSC_30, Timecode(0, 1, 59, 27), 2, 99);
    EXPECT_EQ(Pictures.Next(3 * 3003), Timecode(0, 2, 0, 2));
    EXPECT_EQ(Pictures.Next(-2 * 3003), Timecode(0, 1, 59, 28));
    EXPECT_EQ(Pictures.Next(3003), Timecode(0, 1, 59, 29));
    EXPECT_EQ(Pictures.Next(4 * 3003), Timecode(0, 2, 0, 5)) << "the next behind the skip";
}

} // namespace
