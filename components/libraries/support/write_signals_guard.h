/* Writing where a signal may be the answer: to a pipe whose reader has gone, to a terminal from the background.
 *
 * While a guard lives, a SIGPIPE that the calling thread raises is taken back before it reaches the process, and the
 * terminal driver, which asks whether SIGTTOU is blocked, lets the thread write instead of stopping the process. A
 * SIGPIPE that was pending before, and the thread's signal mask, stay as they were. */
#ifndef SUPPORT_WRITE_SIGNALS_GUARD_H
#define SUPPORT_WRITE_SIGNALS_GUARD_H

#include <signal.h>
#include <time.h>

class WriteSignalsGuard {
public:
    WriteSignalsGuard() {
        m_bWasPending = IsPending();
        sigset_t tBlocked = Only(SIGPIPE);
        sigaddset(&tBlocked, SIGTTOU);
        pthread_sigmask(SIG_BLOCK, &tBlocked, &m_tMaskBefore);
    }

    ~WriteSignalsGuard() {
        const sigset_t tSigpipe = Only(SIGPIPE);
        const timespec tpNoWait{};
        if (!m_bWasPending && IsPending())
            sigtimedwait(&tSigpipe, nullptr, &tpNoWait);
        pthread_sigmask(SIG_SETMASK, &m_tMaskBefore, nullptr);
    }

    WriteSignalsGuard(const WriteSignalsGuard &) = delete;
    WriteSignalsGuard &operator=(const WriteSignalsGuard &) = delete;

private:
    static sigset_t Only(int nSignal) {
        sigset_t tSet;
        sigemptyset(&tSet);
        sigaddset(&tSet, nSignal);
        return tSet;
    }

    static bool IsPending() {
        sigset_t tPending;
        sigemptyset(&tPending);
        return sigpending(&tPending) == 0 && sigismember(&tPending, SIGPIPE) == 1;
    }

    sigset_t m_tMaskBefore;
    bool m_bWasPending;
};

#endif
