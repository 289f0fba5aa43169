// The one lock scope: thread-state records just before and just after the lock and the unlock.
#pragma once

#include <pthread.h>

#include <atomic>

#include "core/trace.h"
#include "threadcheck.h"

namespace timecode {

inline void SaveThreadState(const Position &Here) {
    if (std::atomic_ref<BOOL>(g_bThreadStateDebuggingEnabled).load(std::memory_order_relaxed) != FALSE) [[unlikely]]
        __SaveThreadState(Here.szFunction, Here.szFile, Here.nLine);
}

class Lock {
public:
    Lock(pthread_mutex_t &Mutex, const Position &Here) : m_Mutex(Mutex), m_Here(Here) {
        SaveThreadState(m_Here);
        pthread_mutex_lock(&m_Mutex);
        SaveThreadState(m_Here);
    }
    ~Lock() {
        SaveThreadState(m_Here);
        pthread_mutex_unlock(&m_Mutex);
        SaveThreadState(m_Here);
    }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

private:
    pthread_mutex_t &m_Mutex;
    const Position m_Here;
};

} // namespace timecode
