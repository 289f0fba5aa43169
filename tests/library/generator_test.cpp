// Drop-frame numbers of coded pictures. Whole days, and pictures coded out of display order: tests/arithmetic.
#include "fixture.h"

namespace {

class Generator : public LibraryTest {};

TEST_F(Generator, NumbersTheNextPicture) {
    const struct {
        const char *szRule;
        model::Digits From, Wanted;
        INT64 nTicks = 3003;
        UINT nCode = 29000;
        int nSinceSkipSec = 99; // by the clock
    } ROWS[] = {
        {.szRule = "29.97 Hz", .From = {0, 1, 59, 28}, .Wanted = {0, 1, 59, 29}},
        {.szRule = "drops 00 and 01", .From = {0, 1, 59, 29}, .Wanted = {0, 2, 0, 2}},
        {.szRule = "of a minute", .From = {0, 2, 0, 2}, .Wanted = {0, 2, 0, 3}},
        {.szRule = "but not of a tenth", .From = {0, 9, 59, 29}, .Wanted = {0, 10, 0, 0}},
        {.szRule = "59.94 Hz: 00..03", .From = {0, 1, 59, 59}, .Wanted = {0, 2, 0, 4}, .nTicks = 1501, .nCode = 59000},
        {.szRule = "30 Hz drops nothing", .From = {0, 1, 59, 29}, .Wanted = {0, 2, 0, 0}, .nCode = 30000},
        {.szRule = "too soon", .From = {0, 1, 59, 29}, .Wanted = {0, 2, 0, 0}, .nSinceSkipSec = 30},
        {.szRule = "not so", .From = {0, 1, 59, 29}, .Wanted = {0, 2, 0, 2}, .nSinceSkipSec = 31},
        {.szRule = "midnight", .From = {23, 59, 59, 29}, .Wanted = {0, 0, 0, 0}},
        {.szRule = "and back", .From = {0, 0, 0, 0}, .Wanted = {23, 59, 59, 29}, .nTicks = -3003},
        {.szRule = "an hour on", .From = {22, 58, 59, 5}, .Wanted = {0, 0, 0, 5}, .nTicks = 329'819'490},
        {.szRule = "less than half", .From = {10, 0, 10, 5}, .Wanted = {10, 0, 10, 5}, .nTicks = 1501},
        {.szRule = "half a frame", .From = {10, 0, 10, 5}, .Wanted = {10, 0, 10, 6}, .nTicks = 1502},
        {.szRule = "back too", .From = {10, 0, 10, 5}, .Wanted = {10, 0, 10, 5}, .nTicks = -1501},
        {.szRule = "half back", .From = {10, 0, 10, 5}, .Wanted = {10, 0, 10, 4}, .nTicks = -1502},
    };
    for (const auto &Row : ROWS) {
        SMPTE12M1_CONTEXT Context{};
        Context.PTSTicksPerFrame = Row.nCode == 59000 ? 1501 : 3003;
        Context.nEncodedPictureRate = Row.nCode == 59000 ? 60 : 30;
        Context.nVUIFramerate = Row.nCode;
        Context.OldTimestamp64 = 900'000'000;
        Context.tDropFrameOccurred = NoonUsec() / 1'000'000 - Row.nSinceSkipSec;
        model::SetDigits(Context.OldSystemTC, Row.From);
        vitc_t Wanted{}, Got{};
        model::SetDigits(Wanted, Row.Wanted);
        Timecode_MakeSMPTE12M1VITC(&Context, 0, Context.OldTimestamp64 + static_cast<UINT64>(Row.nTicks), &Got);
        EXPECT_EQ(Got, Wanted) << Row.szRule;
    }
}

} // namespace
