// Reads bits from the most significant one on. Past the end it gives zeros, and says so.
#ifndef ENCODER_FORMATS_BIT_READER_H
#define ENCODER_FORMATS_BIT_READER_H

#include <cstddef>

#include "formats/result.h"

namespace encoder {

class BitReader {
public:
    explicit BitReader(Bytes Data) : m_Data(Data) {}

    // Up to 32 bits.
    std::uint32_t Take(int nBits) {
        std::uint32_t nValue = 0;
        for (int n = 0; n < nBits; ++n)
            nValue = nValue << 1 | TakeBit();
        return nValue;
    }

    bool Flag() { return TakeBit() != 0; }

    void Skip(std::size_t nBits) { m_nNext += nBits; }

    // Exp-Golomb code ue(v); se(v) has the same length.
    std::uint32_t TakeGolomb() {
        constexpr int LONGEST = 32;
        int nZeros = 0;
        while (nZeros < LONGEST && !IsPastEnd() && !Flag())
            ++nZeros;
        return nZeros < LONGEST ? (std::uint32_t{1} << nZeros) - 1 + Take(nZeros) : Overrun();
    }

    bool IsPastEnd() const { return m_nNext > m_Data.size() * 8; }

private:
    std::uint32_t TakeBit() {
        const std::size_t nByte = m_nNext / 8;
        const std::size_t nShift = 7 - m_nNext % 8;
        ++m_nNext;
        return nByte < m_Data.size() ? static_cast<std::uint32_t>(m_Data[nByte] >> nShift & 1) : 0;
    }

    std::uint32_t Overrun() {
        m_nNext = m_Data.size() * 8 + 1;
        return 0;
    }

    Bytes m_Data;
    std::size_t m_nNext = 0;
};

} // namespace encoder

#endif
