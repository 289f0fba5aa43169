// Vertical interval timecode (SMPTE ST 12-2): painting it into a picture, and deciding which readings to believe.
// A line has 90 bits: eight groups of two synchronisation bits and eight data bits, and one with the check bits.
#include "formats/vitc.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "common/pts.h"

namespace encoder {
namespace {

constexpr std::size_t LINE_BITS = 90;
constexpr std::size_t GROUP_BITS = 10;
constexpr std::size_t SYNC_BITS = 2;
constexpr std::size_t CRC_POSITION = 82;
constexpr std::size_t CRC_BITS = 8;
constexpr std::size_t DROP_FLAG = 14;
constexpr std::size_t FIELD_FLAG = 35;       // at all rates but ...
constexpr std::size_t FIELD_FLAG_AT_50 = 75; // ... this one
constexpr int WIDTH_IN_BITS = 96;            // the line fills 90 of them
constexpr int BITS_BEFORE = 3;
constexpr int MIN_WIDTH = 2 * WIDTH_IN_BITS;
constexpr std::uint8_t LEVEL_ZERO = 16;
constexpr std::uint8_t LEVEL_ONE = 192;
constexpr int MAX_SINGLE_RATE = 30;
constexpr int MAX_RATE = 60;

using LineBits = std::array<bool, LINE_BITS>;

// The check bits make the sum of all bits eight places apart even (x^8 + 1).
void AddCheckBits(LineBits &Line) {
    for (std::size_t nBit = 0; nBit < CRC_POSITION; ++nBit) {
        const std::size_t nPlace = (nBit + CRC_BITS - CRC_POSITION % CRC_BITS) % CRC_BITS;
        Line[CRC_POSITION + nPlace] = Line[CRC_POSITION + nPlace] != Line[nBit];
    }
}

LineBits BitsOf(const TimecodeLabel &Label, int nRate) {
    const bool bPairs = nRate > MAX_SINGLE_RATE;
    TimecodeLabel Shown = Label;
    Shown.nFrames = bPairs ? Label.nFrames / 2 : Label.nFrames;
    const vitc_t Vitc = ToVitc(Shown);
    const std::array<unsigned, 8> Digits = {Vitc.FrameUnits,  Vitc.FrameTens,  Vitc.SecondUnits, Vitc.SecondTens,
                                            Vitc.MinuteUnits, Vitc.MinuteTens, Vitc.HourUnits,   Vitc.HourTens};
    LineBits Line = {};
    for (std::size_t nGroup = 0; nGroup * GROUP_BITS < LINE_BITS; ++nGroup)
        Line[nGroup * GROUP_BITS] = true;
    for (std::size_t nGroup = 0; nGroup < Digits.size(); ++nGroup)
        for (std::size_t nBit = 0; nBit < 4; ++nBit)
            Line[nGroup * GROUP_BITS + SYNC_BITS + nBit] = (Digits[nGroup] >> nBit & 1) != 0;
    Line[DROP_FLAG] = Label.bDropFrame;
    if (bPairs && Label.nFrames % 2 != 0)
        Line[nRate == 50 ? FIELD_FLAG_AT_50 : FIELD_FLAG] = true;
    AddCheckBits(Line);
    return Line;
}

int WholeRate(int nNumerator, int nDenominator) {
    if (nNumerator <= 0 || nDenominator <= 0)
        return 0;
    const auto nRate = (std::int64_t{nNumerator} * 2 + nDenominator) / (std::int64_t{nDenominator} * 2);
    return nRate <= MAX_RATE ? static_cast<int>(nRate) : 0;
}

} // namespace

bool PaintVitc(const LumaRows &Rows, const TimecodeLabel &Label, int nRate) {
    if (Rows.pFirst == nullptr || Rows.nWidth < MIN_WIDTH || !IsValid(Label, nRate))
        return false;
    const LineBits Line = BitsOf(Label, nRate);
    for (int nRow = 0; nRow < Rows.nRows; ++nRow) {
        std::uint8_t *const pRow = Rows.pFirst + nRow * Rows.nStride;
        for (int nX = 0; nX < Rows.nWidth; ++nX) {
            const std::int64_t nBit = std::int64_t{nX} * WIDTH_IN_BITS / Rows.nWidth - BITS_BEFORE;
            const bool bInLine = nBit >= 0 && nBit < static_cast<std::int64_t>(LINE_BITS);
            pRow[nX] = bInLine && Line[static_cast<std::size_t>(nBit)] ? LEVEL_ONE : LEVEL_ZERO;
        }
    }
    return true;
}

TimecodeFilter::TimecodeFilter(int nRateNumerator, int nRateDenominator)
    : m_FramesPerTick(0), m_nRate(WholeRate(nRateNumerator, nRateDenominator)),
      m_nFramesPerRead(m_nRate > MAX_SINGLE_RATE ? 2 : 1) {
    if (m_nRate > 0)
        m_FramesPerTick = nRateNumerator / (static_cast<double>(TICKS_PER_SECOND) * nRateDenominator);
}

std::vector<TimecodeReading> TimecodeFilter::Offer(const TimecodeLabel &Label, std::uint64_t nPTS) {
    if (!IsValid(Label, m_nRate / m_nFramesPerRead)) {
        ++m_nRejected;
        return {};
    }
    const TimecodeReading AsRead = {Label, nPTS};
    std::vector<TimecodeReading> Believed;
    if (const auto Next = m_LastBelieved ? Following(*m_LastBelieved, AsRead, 1) : std::nullopt)
        Believed = {*Next};
    else if (m_Held)
        Believed = Confirm(AsRead);

    const bool bHeldBelieved = Believed.size() > 1;
    m_nRejected += m_Held && !bHeldBelieved ? 1 : 0;
    m_Held = Believed.empty() ? std::optional(AsRead) : std::nullopt;
    if (!Believed.empty())
        m_LastBelieved = Believed.back();
    return Believed;
}

// The reading as the frame that comes nearest to where the one before says it should be.
std::optional<TimecodeReading> TimecodeFilter::Following(const TimecodeReading &Before, const TimecodeReading &AsRead,
                                                         int nTolerance) const {
    if (Before.Label.bDropFrame != AsRead.Label.bDropFrame)
        return std::nullopt;
    const auto Distance = static_cast<double>(PTSDistance(Before.nPTS, AsRead.nPTS));
    const std::int64_t nExpected = ToFrameCount(Before.Label, m_nRate) + std::llround(Distance * m_FramesPerTick);
    const std::int64_t nDay = FramesPerDay(m_nRate, AsRead.Label.bDropFrame);
    std::optional<TimecodeReading> Best;
    std::int64_t nLeast = std::int64_t{nTolerance} + 1;
    for (int nFrame = 0; nFrame < m_nFramesPerRead; ++nFrame) {
        const TimecodeReading Candidate = FrameOf(AsRead, nFrame);
        const std::int64_t nOff = std::abs(ToFrameCount(Candidate.Label, m_nRate) - nExpected) % nDay;
        if (std::min(nOff, nDay - nOff) >= nLeast)
            continue;
        nLeast = std::min(nOff, nDay - nOff);
        Best = Candidate;
    }
    return Best;
}

// The reading held back and this one, when this one follows; an exact fit tells which frame of a pair was held back.
std::vector<TimecodeReading> TimecodeFilter::Confirm(const TimecodeReading &AsRead) const {
    for (int nTolerance = 0; nTolerance <= 1; ++nTolerance) {
        for (int nFrame = 0; nFrame < m_nFramesPerRead; ++nFrame) {
            const TimecodeReading Held = FrameOf(*m_Held, nFrame);
            if (const auto Next = Following(Held, AsRead, nTolerance))
                return {Held, *Next};
        }
    }
    return {};
}

TimecodeReading TimecodeFilter::FrameOf(const TimecodeReading &AsRead, int nFrameOfRead) const {
    TimecodeReading Frame = AsRead;
    Frame.Label.nFrames = AsRead.Label.nFrames * m_nFramesPerRead + nFrameOfRead;
    return Frame;
}

} // namespace encoder
