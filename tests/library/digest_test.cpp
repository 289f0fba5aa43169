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

const struct {
    int nRate, nCode;
    UINT64 nToTimecode, nToUtc;
} ROWS[] = {
    {24, 24000, 0x9EDA6C20479427A3, 0x14F5262C6C40CBC2},  {24, 23000, 0x08E3B5414AAEBE5D, 0x9991EFFF877EC388},
    {25, 25000, 0x392F147ADB93F5F7, 0x71A182E8EB212C9A},  {30, 30000, 0x683DF81F0E1D2FFC, 0x25E001EB3A567776},
    {30, 29000, 0xC7E1255DD523F88E, 0x62C88FA7CDFE89DC},  {50, 50000, 0xE4C402C7D012FBA1, 0x919FE89B94775B9C},
    {60, 60000, 0x6578E587B445C366, 0xC501B08A62CB6454},  {60, 59000, 0x020D5CE8FBB1DE9F, 0x23252520A2DF34D8},
    {120, 59000, 0x38D02B8BD29935FE, 0xC8F65D6A745941E1}, {1, 23000, 0xE0162D6A1B0EEEA1, 0xA8C7F832281A39C5},
};

TEST_F(Digest, ADayOfUtcGivesTheSameTimecodeOnEveryMachine) {
    constexpr INT64 DAY_USEC = 86'400'000'000;
    constexpr INT64 STEP_USEC = 99'991; // prime: the fractions of a second come all over it
    for (const auto &Row : ROWS) {
        m_nDigest = FNV_BASIS;
        for (INT64 llUTC = 0; llUTC < DAY_USEC; llUTC += STEP_USEC) {
            vitc_t Vitc{};
            INT64 llTime = StartUsec() + llUTC;
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
            Queue(2, nPts, ("12:00:00:" + std::to_string(nFrame)).c_str());
            Add(static_cast<UINT64>(
                Ask({2, nPts, FALSE, Row.nRate, Row.nCode}).Utc.MotionImageryTimestamp.KLVTC.llUTCTime - StartUsec()));
        }
        EXPECT_EQ(m_nDigest, Row.nToUtc) << Row.nRate << " at code " << Row.nCode;
    }
}

} // namespace
