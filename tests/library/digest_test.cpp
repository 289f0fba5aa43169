// Single-precision results must be the same on every machine: digests over a day of conversions, taken on x86-64.
#include "fixture.h"

namespace {

class Digest : public LibraryTest {
protected:
    void Add(UINT64 nValue) {
        for (int nByte = 0; nByte < 8; ++nByte)
            m_nDigest = (m_nDigest ^ (nValue >> (8 * nByte) & 0xFF)) * 0x100000001B3; // FNV-1a
    }
    void Add(const vitc_t &Vitc) {
        const char *const pDigits = reinterpret_cast<const char *>(&Vitc);
        for (size_t nByte = 0; nByte < sizeof Vitc; nByte += 4)
            Add(*reinterpret_cast<const UINT *>(pDigits + nByte));
    }
    static constexpr UINT64 FNV_BASIS = 0xCBF29CE484222325;
    UINT64 m_nDigest = FNV_BASIS;
};

struct Row {
    int nRate, nCode;
    UINT64 nToTimecode, nToUtc; // digests
};

constexpr Row ROWS[] = {
    {.nRate = 24, .nCode = 24000, .nToTimecode = 0x9EDA6C20479427A3, .nToUtc = 0x14F5262C6C40CBC2},
    {.nRate = 24, .nCode = 23000, .nToTimecode = 0x08E3B5414AAEBE5D, .nToUtc = 0x9991EFFF877EC388},
    {.nRate = 25, .nCode = 25000, .nToTimecode = 0x392F147ADB93F5F7, .nToUtc = 0x71A182E8EB212C9A},
    {.nRate = 30, .nCode = 30000, .nToTimecode = 0x683DF81F0E1D2FFC, .nToUtc = 0x25E001EB3A567776},
    {.nRate = 30, .nCode = 29000, .nToTimecode = 0xC7E1255DD523F88E, .nToUtc = 0x62C88FA7CDFE89DC},
    {.nRate = 50, .nCode = 50000, .nToTimecode = 0xE4C402C7D012FBA1, .nToUtc = 0x919FE89B94775B9C},
    {.nRate = 60, .nCode = 60000, .nToTimecode = 0x6578E587B445C366, .nToUtc = 0xC501B08A62CB6454},
    {.nRate = 60, .nCode = 59000, .nToTimecode = 0x020D5CE8FBB1DE9F, .nToUtc = 0x23252520A2DF34D8},
    {.nRate = 120, .nCode = 59000, .nToTimecode = 0x38D02B8BD29935FE, .nToUtc = 0xC8F65D6A745941E1},
    {.nRate = 1, .nCode = 23000, .nToTimecode = 0xE0162D6A1B0EEEA1, .nToUtc = 0xA8C7F832281A39C5},
};

TEST_F(Digest, ADayOfUtcGivesTheSameTimecodeOnEveryMachine) {
    constexpr INT64 DAY_USEC = 86'400'000'000;
    constexpr INT64 STEP_USEC = 99'991; // prime: the fractions of a second come all over it
    for (const auto &Row : ROWS) {
        m_nDigest = FNV_BASIS;
        for (INT64 llUTC = 0; llUTC < DAY_USEC; llUTC += STEP_USEC) {
            vitc_t Vitc{};
            INT64 llTime = NoonUsec() + llUTC;
            TimeCode_UTCToSMPTE12M(&llTime, Row.nRate, static_cast<ULONG>(Row.nCode), &Vitc);
            Add(Vitc);
        }
        EXPECT_EQ(m_nDigest, Row.nToTimecode) << Row.nRate << " at code " << Row.nCode;
    }
}

TEST_F(Digest, EveryFrameGivesTheSameUtcOnEveryMachine) {
    for (const auto &Row : ROWS) {
        m_nDigest = FNV_BASIS;
        for (int nFrame = 0; nFrame < std::min(Row.nRate, 100); ++nFrame) {
            const UINT64 nPts = 9000 + static_cast<UINT64>(nFrame) * 3600;
            Queue({.enSource = TIMECODE, .nPts = nPts, .Label = Timecode(12, 0, 0, nFrame)});
            const Request Asked{.enSource = TIMECODE, .nRate = Row.nRate, .nCode = Row.nCode, .nPts = nPts};
            Add(static_cast<UINT64>(Ask(Asked).Time()->llUsec));
        }
        EXPECT_EQ(m_nDigest, Row.nToUtc) << Row.nRate << " at code " << Row.nCode;
    }
}

} // namespace
