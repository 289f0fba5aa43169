// The library's requests, by a caller whose variables tell what was written.
#ifndef TESTS_MODEL_CALLS_H
#define TESTS_MODEL_CALLS_H

#include "model/library.h"

namespace model {

// A variable of the caller before a call, so that a write shows.
template <class T>
class Marked {
public:
    Marked() { std::memset(static_cast<void *>(&m_Value), 0xA5, sizeof m_Value); }
    [[nodiscard]] T *Unless(bool bNull) { return bNull ? nullptr : &m_Value; }
    [[nodiscard]] std::optional<T> Written() const {
        const Marked Untouched;
        const auto Bytes = [](const Marked &Of) { return static_cast<const void *>(&Of.m_Value); };
        const bool bUntouched = std::memcmp(Bytes(*this), Bytes(Untouched), sizeof m_Value) == 0;
        return bUntouched ? std::nullopt : std::optional(m_Value);
    }

private:
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
