// The library's requests, by a caller whose variables tell what was written.
#ifndef TESTS_MODEL_CALLS_H
#define TESTS_MODEL_CALLS_H

#include <algorithm>

#include "model/library.h"

namespace model {

// A variable of the caller before a call, so that a write shows.
template <class T>
class Marked {
public:
    Marked() { std::memset(static_cast<void *>(&m_Value), UNTOUCHED, sizeof m_Value); }
    [[nodiscard]] T *Unless(bool bNull) { return bNull ? nullptr : &m_Value; }
    [[nodiscard]] std::optional<T> Written() const {
        const auto *const pBytes = reinterpret_cast<const unsigned char *>(&m_Value);
        const bool bUntouched =
            std::all_of(pBytes, pBytes + sizeof m_Value, [](unsigned char nByte) { return nByte == UNTOUCHED; });
        return bUntouched ? std::nullopt : std::optional(m_Value);
    }

private:
    static constexpr unsigned char UNTOUCHED = 0xA5;
    T m_Value;
};

// What a request wrote, and where it left the cursor.
struct Written {
    BOOL bResult = FALSE;
    std::optional<MISP_UTC> Utc{};
    std::optional<vitc_t> Label{};
    std::optional<BOOL> bSame{};
    void *pCursor = nullptr;
};
Written GetUtc(const Request &Asked, void *pCursor);
Written GetSystemUtc(const Request &Asked);

} // namespace model

#endif
