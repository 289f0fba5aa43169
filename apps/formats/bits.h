// Bit fields of H.264 and HEVC headers and SEI messages, high bit first.
#ifndef ENCODER_FORMATS_BITS_H
#define ENCODER_FORMATS_BITS_H

#include <utility>
#include <vector>

#include "formats/result.h"

namespace encoder {

// Reading past the end gives zeros; IsPast tells.
class BitReader {
public:
    explicit BitReader(Bytes Data) : m_Data(Data) {}

    // At most 32 bits.
    std::uint32_t Read(unsigned nBits) {
        std::uint32_t nValue = 0;
        for (; nBits > 0; --nBits, ++m_nAt) {
            const std::size_t nByte = m_nAt / 8;
            const unsigned nBit = nByte < m_Data.size() ? m_Data[nByte] >> (7 - m_nAt % 8) & 1U : 0;
            nValue = nValue << 1 | nBit;
        }
        return nValue;
    }

    bool Flag() { return Read(1) != 0; }

    // Exponential-Golomb code, unsigned; 0 for one that has no end in 32 bits. A signed one has the same length.
    std::uint32_t Golomb() {
        unsigned nZeros = 0;
        while (!IsPast() && nZeros < 32 && !Flag())
            ++nZeros;
        return nZeros < 32 ? (1U << nZeros) - 1 + Read(nZeros) : 0;
    }

    std::int32_t SignedGolomb() {
        const std::uint32_t nCode = Golomb();
        const auto nHalf = static_cast<std::int32_t>(nCode / 2 + nCode % 2);
        return nCode % 2 == 1 ? nHalf : -nHalf;
    }

    bool IsPast() const { return m_nAt > m_Data.size() * 8; }

private:
    Bytes m_Data;
    std::size_t m_nAt = 0; // bits taken
};

class BitWriter {
public:
    void Put(std::uint32_t nValue, unsigned nBits) {
        for (; nBits > 0; --nBits) {
            if (m_nFilled == 0)
                m_Data.push_back(0);
            m_Data.back() = static_cast<std::uint8_t>(m_Data.back() | (nValue >> (nBits - 1) & 1) << (7 - m_nFilled));
            m_nFilled = (m_nFilled + 1) % 8;
        }
    }

    // Ends an SEI payload: a one and zeros up to the next whole byte.
    std::vector<std::uint8_t> Finish() {
        if (m_nFilled != 0)
            Put(1, 1);
        m_nFilled = 0;
        return std::move(m_Data);
    }

private:
    std::vector<std::uint8_t> m_Data;
    unsigned m_nFilled = 0; // bits used of the last byte
};

} // namespace encoder

#endif
