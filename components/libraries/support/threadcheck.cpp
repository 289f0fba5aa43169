/* Thread-state tracing: where each thread last was.
 *
 * Each thread has a slot from its first record to its end. A slot is written by its thread only, and holds two
 * positions: the one recorded last, and the one being written. A thread that is held up while it writes holds up no
 * reader. */
#include "threadcheck.h"

#include "shared_text.h"
#include "source_name.h"
#include "write_signals_guard.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <pthread.h>
#include <stdio.h>
#include <unistd.h>

BOOL g_bThreadStateDebuggingEnabled = FALSE;

namespace {

/* A place in the code. The texts are copies: the library that recorded them may have been unloaded. */
using FUNCTION_TEXT = SharedText<80>;
using FILE_TEXT = SharedText<40>;

struct POSITION {
    bool bRecorded;
    FUNCTION_TEXT::TEXT acFunction;
    FILE_TEXT::TEXT acFile;
    int nLine;
};

struct SHARED_POSITION {
    std::atomic<bool> bRecorded; /* false before the thread's first record */
    FUNCTION_TEXT tFunction;
    FILE_TEXT tFile;
    std::atomic<int> nLine;
};

struct THREAD_SLOT {
    std::atomic<pid_t> nThreadId;   /* 0 while the slot is free */
    std::atomic<unsigned> nChanges; /* its parity says which position was recorded last */
    std::array<SHARED_POSITION, 2> tPositions;
};

constinit std::array<THREAD_SLOT, 64> slots{};

/* The stores release and the loads acquire: whoever sees a part of a position sees the number before it as well. */
void StorePosition(THREAD_SLOT &tSlot, bool bRecorded, const char *szFunction, const char *szFile, int nLine) {
    const unsigned nChanges = tSlot.nChanges.load(std::memory_order_relaxed) + 1;
    SHARED_POSITION &tShared = tSlot.tPositions[nChanges % 2];
    tShared.bRecorded.store(bRecorded, std::memory_order_release);
    tShared.tFunction.Store(szFunction);
    tShared.tFile.Store(BaseName(szFile));
    tShared.nLine.store(nLine, std::memory_order_release);
    tSlot.nChanges.store(nChanges, std::memory_order_release);
}

/* Reads anew when the thread has recorded another position meanwhile, and may be writing over this one. */
POSITION LoadPosition(const THREAD_SLOT &tSlot) {
    for (;;) {
        const unsigned nChanges = tSlot.nChanges.load(std::memory_order_acquire);
        const SHARED_POSITION &tShared = tSlot.tPositions[nChanges % 2];
        const POSITION tPosition = {tShared.bRecorded.load(std::memory_order_acquire), tShared.tFunction.Load(),
                                    tShared.tFile.Load(), tShared.nLine.load(std::memory_order_acquire)};
        if (tSlot.nChanges.load(std::memory_order_relaxed) == nChanges)
            return tPosition;
    }
}

void ReleaseSlot(void *pvSlot) {
    THREAD_SLOT &tSlot = *static_cast<THREAD_SLOT *>(pvSlot);
    StorePosition(tSlot, false, nullptr, nullptr, 0);
    tSlot.nThreadId.store(0, std::memory_order_release);
}

/* Defined below: what a forked child does first. */
void KeepOwnSlot();

/* The calling thread's slot is kept under a key: unlike a thread_local destructor, setting it allocates nothing, unless
 * the process had many keys before this one. */
class SlotKey {
public:
    SlotKey() : m_bCreated(pthread_key_create(&m_nKey, ReleaseSlot) == 0) {
        pthread_atfork(nullptr, nullptr, KeepOwnSlot);
    }
    /* Threads may still be recording while the process exits: they find no key, and not the next owner's. */
    ~SlotKey() {
        if (m_bCreated.exchange(false))
            pthread_key_delete(m_nKey);
    }
    SlotKey(const SlotKey &) = delete;
    SlotKey &operator=(const SlotKey &) = delete;

    THREAD_SLOT *Get() const { return m_bCreated ? static_cast<THREAD_SLOT *>(pthread_getspecific(m_nKey)) : nullptr; }
    bool Set(THREAD_SLOT &tSlot) const { return m_bCreated && pthread_setspecific(m_nKey, &tSlot) == 0; }

private:
    pthread_key_t m_nKey{};
    std::atomic<bool> m_bCreated;
};

SlotKey slotKey;

/* Of the threads only the one that forked is in the child, under another number. */
void KeepOwnSlot() {
    THREAD_SLOT *const pOwn = slotKey.Get();
    const pid_t nBefore = pOwn != nullptr ? pOwn->nThreadId.load(std::memory_order_relaxed) : 0;
    for (THREAD_SLOT &tSlot : slots) {
        const pid_t nThreadId = tSlot.nThreadId.load(std::memory_order_relaxed);
        if (nThreadId != 0 && nThreadId != nBefore)
            ReleaseSlot(&tSlot);
    }
    if (pOwn != nullptr)
        pOwn->nThreadId.store(gettid(), std::memory_order_release);
}

THREAD_SLOT *ClaimSlot() {
    const pid_t nThreadId = gettid();
    for (THREAD_SLOT &tSlot : slots) {
        pid_t nFree = 0;
        // A look first: where all are taken, exchanges would pull every slot away from the thread that uses it.
        if (tSlot.nThreadId.load(std::memory_order_relaxed) != 0 ||
            !tSlot.nThreadId.compare_exchange_strong(nFree, nThreadId, std::memory_order_acq_rel))
            continue;
        // Keeping it may fail for lack of memory.
        if (slotKey.Set(tSlot))
            return &tSlot;
        ReleaseSlot(&tSlot);
        return nullptr;
    }
    return nullptr;
}

bool WriteAll(int nFileDescriptor, const char *pBytes, size_t nSize) {
    const WriteSignalsGuard tGuard;
    while (nSize > 0) {
        const ssize_t nWritten = write(nFileDescriptor, pBytes, nSize);
        if (nWritten <= 0 && !(nWritten < 0 && errno == EINTR))
            return false;
        const size_t nDone = nWritten > 0 ? static_cast<size_t>(nWritten) : 0;
        pBytes += nDone;
        nSize -= nDone;
    }
    return true;
}

bool WritePosition(int nFileDescriptor, pid_t nThreadId, const POSITION &tPosition) {
    char acLine[sizeof tPosition.acFunction + sizeof tPosition.acFile + 40];
    const int nLength = snprintf(acLine, sizeof acLine, "thread %d %s %s:%d\n", static_cast<int>(nThreadId),
                                 tPosition.acFunction.data(), tPosition.acFile.data(), tPosition.nLine);
    return nLength > 0 && WriteAll(nFileDescriptor, acLine, static_cast<size_t>(nLength));
}

} // namespace

void __SaveThreadState(const char *szFunction, const char *szFile, int nLine) {
    THREAD_SLOT *pSlot = slotKey.Get();
    if (pSlot == nullptr)
        pSlot = ClaimSlot();
    if (pSlot != nullptr)
        StorePosition(*pSlot, true, szFunction, szFile, nLine);
}

int ThreadState_Dump(int nFileDescriptor) {
    int nWritten = 0;
    for (const THREAD_SLOT &tSlot : slots) {
        const pid_t nThreadId = tSlot.nThreadId.load(std::memory_order_acquire);
        const POSITION tPosition = LoadPosition(tSlot);
        // A slot that has passed to another thread meanwhile would show one thread's number with the other's position.
        if (nThreadId == 0 || !tPosition.bRecorded || nThreadId != tSlot.nThreadId.load(std::memory_order_acquire))
            continue;
        if (!WritePosition(nFileDescriptor, nThreadId, tPosition))
            return -1;
        ++nWritten;
    }
    return nWritten;
}
