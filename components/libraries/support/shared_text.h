// A short text that one thread stores while others load it.
//
// It is kept in whole words, each of them atomic: a load that meets a store may mix the two texts, and no more. Which
// text is the right one is for the owner to know: the words are released by the store and acquired by the load.
#ifndef SUPPORT_SHARED_TEXT_H
#define SUPPORT_SHARED_TEXT_H

#include "xtypes.h"

#include <array>
#include <atomic>
#include <cstring>

#include "strutil.h"

template <size_t SIZE>
class SharedText {
public:
    using Text = std::array<char, SIZE>;

    // Cuts what does not fit; null is the empty text.
    void Store(const char *szText) {
        Text acText{};
        CopyString(acText.data(), szText, SIZE);
        for (size_t nWord = 0; nWord < m_Words.size(); ++nWord) {
            UINT64 nBytes = 0;
            std::memcpy(&nBytes, acText.data() + nWord * sizeof nBytes, sizeof nBytes);
            m_Words[nWord].store(nBytes, std::memory_order_release);
        }
    }

    Text Load() const {
        Text acText{};
        for (size_t nWord = 0; nWord < m_Words.size(); ++nWord) {
            const UINT64 nBytes = m_Words[nWord].load(std::memory_order_acquire);
            std::memcpy(acText.data() + nWord * sizeof nBytes, &nBytes, sizeof nBytes);
        }
        acText.back() = '\0';
        return acText;
    }

private:
    static_assert(SIZE > 0 && SIZE % sizeof(UINT64) == 0);
    std::array<std::atomic<UINT64>, SIZE / sizeof(UINT64)> m_Words;
};

#endif
