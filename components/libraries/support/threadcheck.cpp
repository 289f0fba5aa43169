// Thread-state tracing: where each thread last was.
//
// Each thread has a slot from its first record to its end. A slot is written by its thread only, and holds two
// positions: the one recorded last, and the one being written. A thread that is held up while it writes holds up no
// reader.
#include "threadcheck.h"
#include "xtypes.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <pthread.h>
#include <unistd.h>

#include "shared_text.h"
#include "source_name.h"
#include "write_signals_guard.h"

BOOL g_bThreadStateDebuggingEnabled = FALSE;

namespace {

// A place in the code. The texts are copies: the library that recorded them may have been unloaded.
using FunctionText = SharedText<80>;
using FileText = SharedText<40>;

struct Position {
    bool bRecorded;
    FunctionText::Text acFunction;
    FileText::Text acFile;
    int nLine;
};

struct SharedPosition {
    std::atomic<bool> bRecorded; // false before the thread's first record
    FunctionText Function;
    FileText File;
    std::atomic<int> nLine;
};

struct ThreadSlot {
    std::atomic<pid_t> nThreadId;   // 0 while the slot is free
    std::atomic<unsigned> nChanges; // its parity says which position was recorded last
    std::array<SharedPosition, 2> Positions;
};

constinit std::array<ThreadSlot, 64> g_Slots{};

// The stores release and the loads acquire: whoever sees a part of a position sees the number before it as well.
void StorePosition(ThreadSlot &Slot, bool bRecorded, const char *szFunction, const char *szFile, int nLine) {
    const unsigned nChanges = Slot.nChanges.load(std::memory_order_relaxed) + 1;
    SharedPosition &Shared = Slot.Positions[nChanges % 2];
    Shared.bRecorded.store(bRecorded, std::memory_order_release);
    Shared.Function.Store(szFunction);
    Shared.File.Store(BaseName(szFile));
    Shared.nLine.store(nLine, std::memory_order_release);
    Slot.nChanges.store(nChanges, std::memory_order_release);
}

// Reads anew when the thread has recorded another position meanwhile, and may be writing over this one.
Position LoadPosition(const ThreadSlot &Slot) {
    for (;;) {
        const unsigned nChanges = Slot.nChanges.load(std::memory_order_acquire);
        const SharedPosition &Shared = Slot.Positions[nChanges % 2];
        const Position Where = {Shared.bRecorded.load(std::memory_order_acquire), Shared.Function.Load(),
                                Shared.File.Load(), Shared.nLine.load(std::memory_order_acquire)};
        if (Slot.nChanges.load(std::memory_order_relaxed) == nChanges)
            return Where;
    }
}

void ReleaseSlot(void *pvSlot) {
    ThreadSlot &Slot = *static_cast<ThreadSlot *>(pvSlot);
    StorePosition(Slot, false, nullptr, nullptr, 0);
    Slot.nThreadId.store(0, std::memory_order_release);
}

// Defined below: what a forked child does first.
void KeepOwnSlot();

// The calling thread's slot is kept under a key: unlike a thread_local destructor, setting it allocates nothing, unless
// the process had many keys before this one.
class SlotKey {
public:
    SlotKey() : m_bCreated(pthread_key_create(&m_nKey, ReleaseSlot) == 0) {
        pthread_atfork(nullptr, nullptr, KeepOwnSlot);
    }
    // Threads may still be recording while the process exits: they find no key, and not the next owner's.
    ~SlotKey() {
        if (m_bCreated.exchange(false))
            pthread_key_delete(m_nKey);
    }
    SlotKey(const SlotKey &) = delete;
    SlotKey &operator=(const SlotKey &) = delete;

    ThreadSlot *Get() const { return m_bCreated ? static_cast<ThreadSlot *>(pthread_getspecific(m_nKey)) : nullptr; }
    bool Set(ThreadSlot &Slot) const { return m_bCreated && pthread_setspecific(m_nKey, &Slot) == 0; }

private:
    pthread_key_t m_nKey{};
    std::atomic<bool> m_bCreated;
};

SlotKey g_SlotKey;

// Of the threads only the one that forked is in the child, under another number.
void KeepOwnSlot() {
    ThreadSlot *const pOwn = g_SlotKey.Get();
    const pid_t nBefore = pOwn != nullptr ? pOwn->nThreadId.load(std::memory_order_relaxed) : 0;
    for (ThreadSlot &Slot : g_Slots) {
        const pid_t nThreadId = Slot.nThreadId.load(std::memory_order_relaxed);
        if (nThreadId != 0 && nThreadId != nBefore)
            ReleaseSlot(&Slot);
    }
    if (pOwn != nullptr)
        pOwn->nThreadId.store(gettid(), std::memory_order_release);
}

ThreadSlot *ClaimSlot() {
    const pid_t nThreadId = gettid();
    for (ThreadSlot &Slot : g_Slots) {
        pid_t nFree = 0;
        // A look first: where all are taken, exchanges would pull every slot away from the thread that uses it.
        if (Slot.nThreadId.load(std::memory_order_relaxed) != 0 ||
            !Slot.nThreadId.compare_exchange_strong(nFree, nThreadId, std::memory_order_acq_rel))
            continue;
        // Keeping it may fail for lack of memory.
        if (g_SlotKey.Set(Slot))
            return &Slot;
        ReleaseSlot(&Slot);
        return nullptr;
    }
    return nullptr;
}

bool WriteAll(int nFileDescriptor, const char *pBytes, size_t nSize) {
    const WriteSignalsGuard Guard;
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

bool WritePosition(int nFileDescriptor, pid_t nThreadId, const Position &Where) {
    char acLine[sizeof Where.acFunction + sizeof Where.acFile + 40];
    const int nLength = std::snprintf(acLine, sizeof acLine, "thread %d %s %s:%d\n", static_cast<int>(nThreadId),
                                      Where.acFunction.data(), Where.acFile.data(), Where.nLine);
    return nLength > 0 && WriteAll(nFileDescriptor, acLine, static_cast<size_t>(nLength));
}

} // namespace

void __SaveThreadState(const char *szFunction, const char *szFile, int nLine) {
    ThreadSlot *pSlot = g_SlotKey.Get();
    if (pSlot == nullptr)
        pSlot = ClaimSlot();
    if (pSlot != nullptr)
        StorePosition(*pSlot, true, szFunction, szFile, nLine);
}

int ThreadState_Dump(int nFileDescriptor) {
    int nWritten = 0;
    for (const ThreadSlot &Slot : g_Slots) {
        const pid_t nThreadId = Slot.nThreadId.load(std::memory_order_acquire);
        const Position Where = LoadPosition(Slot);
        // A slot that has passed to another thread meanwhile would show one thread's number with the other's position.
        if (nThreadId == 0 || !Where.bRecorded || nThreadId != Slot.nThreadId.load(std::memory_order_acquire))
            continue;
        if (!WritePosition(nFileDescriptor, nThreadId, Where))
            return -1;
        ++nWritten;
    }
    return nWritten;
}
