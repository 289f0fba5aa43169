// A session's choices from a fuzzer's bytes: read from the front; where nothing is left, zeros.
#pragma once

#include <algorithm>
#include <cstring>

#include "model/session.h"

class FuzzedBytes : public model::Choices {
public:
    FuzzedBytes(const std::uint8_t *pBytes, std::size_t nSize) : m_pBytes(pBytes), m_nLeft(nSize) {}

    [[nodiscard]] bool IsEmpty() const override { return m_nLeft == 0; }
    UINT64 Bits(unsigned nBytes) override {
        const std::size_t nTaken = std::min<std::size_t>(m_nLeft, nBytes);
        UINT64 nBits = 0;
        if (nTaken > 0)
            std::memcpy(&nBits, m_pBytes, nTaken);
        m_pBytes += nTaken;
        m_nLeft -= nTaken;
        return nBits;
    }

private:
    const std::uint8_t *m_pBytes;
    std::size_t m_nLeft;
};
