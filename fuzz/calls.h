// How the library's fuzzer reads bytes as calls; shared with the program that writes its seeds.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace fuzz {

// The first byte of each step, modulo their number.
enum class Call : std::uint8_t {
    Queue,
    Retrieve,
    Clock,
    Start,
    Stop,
    Flush,
    Statistics,
    SystemTime,
    SwitchCheck,
    Convert,
    Generate,
    Texts,
};
constexpr std::size_t NUM_CALLS = 12;

// Reads from the front; where nothing is left, zeros.
class Reader {
public:
    Reader(const std::uint8_t *pBytes, std::size_t nSize) : m_pBytes(pBytes), m_nLeft(nSize) {}

    [[nodiscard]] bool IsEmpty() const { return m_nLeft == 0; }

    template <class T>
    void Fill(T &Value) {
        const std::size_t nTaken = std::min(m_nLeft, sizeof Value);
        std::memset(static_cast<void *>(&Value), 0, sizeof Value);
        if (nTaken > 0)
            std::memcpy(static_cast<void *>(&Value), m_pBytes, nTaken);
        m_pBytes += nTaken;
        m_nLeft -= nTaken;
    }

    template <class T>
    T Next() {
        T Value;
        Fill(Value);
        return Value;
    }

    std::size_t Below(std::size_t nLimit) { return Next<std::uint8_t>() % nLimit; }

private:
    const std::uint8_t *m_pBytes;
    std::size_t m_nLeft;
};

} // namespace fuzz
