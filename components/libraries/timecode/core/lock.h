// The one lock scope: thread-state records just before and just after the lock and the unlock.
#ifndef TIMECODE_CORE_LOCK_H
#define TIMECODE_CORE_LOCK_H

#include "xtypes.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <pthread.h>
#include <string_view>

#include "core/shared.h"
#include "core/trace.h"
#include "threadcheck.h"

namespace timecode {

inline bool ThreadStatesAreRecorded() {
    return LoadShared(g_bThreadStateDebuggingEnabled) != FALSE;
}

inline void SaveThreadState(const Position &Here) {
    if (ThreadStatesAreRecorded()) [[unlikely]]
        __SaveThreadState(Here.szFunction, Here.szFile, Here.nLine);
}

// The four records of a lock in the code: the same place under four names, each of which lives as long as the library.
class LockPlace {
public:
    template <size_t SIZE>
    consteval LockPlace(const char (&szFunction)[SIZE], const char *szFile, int nLine)
        : m_szFile(szFile), m_nLine(nLine) {
        static_assert(SIZE + LONGEST_STAGE.size() <= std::size(Name{}.acText));
        Join(m_Waits, szFunction, ": waits for lock");
        Join(m_Holds, szFunction, ": holds lock");
        Join(m_Unlocks, szFunction, LONGEST_STAGE);
        Join(m_HasUnlocked, szFunction, ": has unlocked");
    }

    void SaveWaits() const { Save(m_Waits); }
    void SaveHolds() const { Save(m_Holds); }
    void SaveUnlocks() const { Save(m_Unlocks); }
    void SaveHasUnlocked() const { Save(m_HasUnlocked); }

private:
    struct Name {
        char acText[72];
    };
    static constexpr std::string_view LONGEST_STAGE = ": is about to unlock";

    static consteval void Join(Name &To, std::string_view szFunction, std::string_view szStage) {
        std::copy(szStage.begin(), szStage.end(), std::copy(szFunction.begin(), szFunction.end(), To.acText));
    }
    void Save(const Name &Under) const { SaveThreadState({Under.acText, m_szFile, m_nLine}); }

    Name m_Waits{};
    Name m_Holds{};
    Name m_Unlocks{};
    Name m_HasUnlocked{};
    const char *m_szFile;
    int m_nLine;
};

// No function is given a Lock's address, so that the compiler keeps all of it in registers.
class Lock {
public:
    Lock(pthread_mutex_t &Mutex, const LockPlace &Place) : m_Mutex(Mutex), m_Place(Place) {
        m_Place.SaveWaits();
        pthread_mutex_lock(&m_Mutex);
        if (ThreadStatesAreRecorded()) [[unlikely]] {
            m_bEntered = true;
            m_pOuter = Enter(m_Place);
        }
    }
    ~Lock() {
        m_Place.SaveUnlocks();
        pthread_mutex_unlock(&m_Mutex);
        if (m_bEntered || ThreadStatesAreRecorded()) [[unlikely]]
            Leave(m_Place, m_bEntered ? m_pOuter : s_pInnermost);
    }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

private:
    static const LockPlace *Enter(const LockPlace &Place) {
        Place.SaveHolds();
        const LockPlace *const pOuter = s_pInnermost;
        s_pInnermost = &Place;
        return pOuter;
    }
    // A thread that holds another lock still has not left.
    static void Leave(const LockPlace &Place, const LockPlace *pOuter) {
        s_pInnermost = pOuter;
        if (pOuter != nullptr)
            pOuter->SaveHolds();
        else
            Place.SaveHasUnlocked();
    }

    // Where the calling thread took the innermost of its locks that were taken while thread states were recorded. In
    // the memory that every thread has from its start: any other is allocated when it is first used.
    [[gnu::tls_model("initial-exec")]] static inline constinit thread_local const LockPlace *s_pInnermost = nullptr;

    pthread_mutex_t &m_Mutex;
    const LockPlace &m_Place;
    const LockPlace *m_pOuter = nullptr;
    bool m_bEntered = false;
};

} // namespace timecode

// Locks a mutex to the end of the scope. A macro because it takes the caller's position.
#define TC_LOCK(Name, Mutex)                                                                                           \
    static constexpr ::timecode::LockPlace Name##Place(TC_PLACE);                                                      \
    const ::timecode::Lock Name((Mutex), Name##Place)

#endif
