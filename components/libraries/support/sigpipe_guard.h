/* Writing to a pipe whose reader may have gone.
 *
 * While a guard lives, a SIGPIPE that the calling thread raises is taken back before it reaches the process. A
 * SIGPIPE that was pending before, and the thread's signal mask, stay as they were. */
#ifndef SUPPORT_SIGPIPE_GUARD_H
#define SUPPORT_SIGPIPE_GUARD_H

#include <signal.h>
#include <time.h>

class SigpipeGuard {
public:
    SigpipeGuard() {
        sigemptyset(&m_tSigpipe);
        sigaddset(&m_tSigpipe, SIGPIPE);
        m_bWasPending = IsPending();
        pthread_sigmask(SIG_BLOCK, &m_tSigpipe, &m_tMaskBefore);
    }

    ~SigpipeGuard() {
        const timespec tpNoWait{};
        if (!m_bWasPending && IsPending())
            sigtimedwait(&m_tSigpipe, nullptr, &tpNoWait);
        pthread_sigmask(SIG_SETMASK, &m_tMaskBefore, nullptr);
    }

    SigpipeGuard(const SigpipeGuard &) = delete;
    SigpipeGuard &operator=(const SigpipeGuard &) = delete;

private:
    static bool IsPending() {
        sigset_t tPending;
        sigemptyset(&tPending);
        return sigpending(&tPending) == 0 && sigismember(&tPending, SIGPIPE) == 1;
    }

    sigset_t m_tSigpipe;
    sigset_t m_tMaskBefore;
    bool m_bWasPending;
};

#endif
