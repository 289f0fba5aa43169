// Single-precision results must be the same on every machine: digests over a day of conversions, taken on x86-64.
#include "fixture.h"

namespace {

class Digest : public LibraryTest {};

template <class T>
void Add(UINT64 &nDigest, const T &Value) { // FNV-1a
    for (size_t nByte = 0; nByte < sizeof Value; ++nByte)
        nDigest = (nDigest ^ reinterpret_cast<const unsigned char *>(&Value)[nByte]) * 0x100000001B3;
}

constexpr UINT64 EMPTY = 0xCBF29CE484222325;
constexpr struct {
    int nRate, nCode;
    UINT64 nToTimecode, nToUtc; // digests
} ROWS[] = {
    {.nRate = 24, .nCode = 24000, .nToTimecode = 0x9050750F0B0D0CF3, .nToUtc = 0x14F5262C6C40CBC2},
    {.nRate = 24, .nCode = 23000, .nToTimecode = 0x8D637C92085E66CD, .nToUtc = 0x9991EFFF877EC388},
    {.nRate = 25, .nCode = 25000, .nToTimecode = 0xC15BD1AC59A9C6A7, .nToUtc = 0x71A182E8EB212C9A},
    {.nRate = 30, .nCode = 30000, .nToTimecode = 0x0278A639428FBE9C, .nToUtc = 0x25E001EB3A567776},
    {.nRate = 30, .nCode = 29000, .nToTimecode = 0x3EAE750294F7235E, .nToUtc = 0x62C88FA7CDFE89DC},
    {.nRate = 50, .nCode = 50000, .nToTimecode = 0xD1C8348B6FBACD21, .nToUtc = 0x919FE89B94775B9C},
    {.nRate = 60, .nCode = 60000, .nToTimecode = 0x7AC84D51E24C7856, .nToUtc = 0xC501B08A62CB6454},
    {.nRate = 60, .nCode = 59000, .nToTimecode = 0x0091EB9FADFAAF4F, .nToUtc = 0x23252520A2DF34D8},
    {.nRate = 120, .nCode = 59000, .nToTimecode = 0xECC58A8AF049483E, .nToUtc = 0xC8F65D6A745941E1},
    {.nRate = 1, .nCode = 23000, .nToTimecode = 0xD1103283B66AB611, .nToUtc = 0xA8C7F832281A39C5},
};

TEST_F(Digest, ADayOfUtcGivesTheSameTimecodeOnEveryMachine) {
    constexpr INT64 DAY_USEC = 86'400'000'000;
    constexpr INT64 STEP_USEC = 99'991; // prime: the fractions of a second come all over it
    for (const auto &Row : ROWS) {
        UINT64 nDigest = EMPTY;
        for (INT64 llTime = NoonUsec(); llTime < NoonUsec() + DAY_USEC; llTime += STEP_USEC) {
            vitc_t Vitc{};
            TimeCode_UTCToSMPTE12M(&llTime, Row.nRate, static_cast<ULONG>(Row.nCode), &Vitc);
            Add(nDigest, Vitc);
        }
        EXPECT_EQ(nDigest, Row.nToTimecode) << Row.nRate << " at code " << Row.nCode;
    }
}

TEST_F(Digest, EveryFrameGivesTheSameUtcOnEveryMachine) {
    for (const auto &Row : ROWS) {
        UINT64 nDigest = EMPTY;
        for (int nFrame = 0; nFrame < std::min(Row.nRate, 100); ++nFrame) {
            const UINT64 nPTS = 9000 + static_cast<UINT64>(nFrame) * 3600;
            Queue({.enSource = TIMECODE, .nPTS = nPTS, .Label = Timecode(12, 0, 0, nFrame)});
            Add(nDigest,
                TimeOf(Ask({.enSource = TIMECODE, .nRate = Row.nRate, .nCode = Row.nCode, .nPTS = nPTS}))->llUsec);
        }
        EXPECT_EQ(nDigest, Row.nToUtc) << Row.nRate << " at code " << Row.nCode;
    }
}

} // namespace
