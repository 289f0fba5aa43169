// Writing where a signal may be the answer: to a pipe whose reader has gone, to a terminal from the background.
//
// While a guard lives, a SIGPIPE that the calling thread raises is taken back before it reaches the process, and the
// terminal driver, which asks whether SIGTTOU is blocked, lets the thread write instead of stopping the process. A
// SIGPIPE that was pending before, and the thread's signal mask, stay as they were.
#ifndef SUPPORT_WRITE_SIGNALS_GUARD_H
#define SUPPORT_WRITE_SIGNALS_GUARD_H

#include <csignal>
#include <ctime>
#include <pthread.h>

class WriteSignalsGuard {
public:
    WriteSignalsGuard() {
        m_bWasPending = IsPending();
        sigset_t Blocked = Only(SIGPIPE);
        sigaddset(&Blocked, SIGTTOU);
        pthread_sigmask(SIG_BLOCK, &Blocked, &m_MaskBefore);
    }

    ~WriteSignalsGuard() {
        const sigset_t Sigpipe = Only(SIGPIPE);
        const timespec tpNoWait{};
        if (!m_bWasPending && IsPending())
            sigtimedwait(&Sigpipe, nullptr, &tpNoWait);
        pthread_sigmask(SIG_SETMASK, &m_MaskBefore, nullptr);
    }

    WriteSignalsGuard(const WriteSignalsGuard &) = delete;
    WriteSignalsGuard &operator=(const WriteSignalsGuard &) = delete;

private:
    static sigset_t Only(int nSignal) {
        sigset_t Set;
        sigemptyset(&Set);
        sigaddset(&Set, nSignal);
        return Set;
    }

    static bool IsPending() {
        sigset_t Pending;
        sigemptyset(&Pending);
        return sigpending(&Pending) == 0 && sigismember(&Pending, SIGPIPE) == 1;
    }

    sigset_t m_MaskBefore;
    bool m_bWasPending;
};

#endif
