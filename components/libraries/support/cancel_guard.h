// Work that a cancelled thread must finish.
//
// While a guard lives, the calling thread does not take up a pthread_cancel(): its caller may hold a mutex, which a
// thread that ends in the middle would leave locked. The request stays pending.
#ifndef SUPPORT_CANCEL_GUARD_H
#define SUPPORT_CANCEL_GUARD_H

#include <pthread.h>

class CancelGuard {
public:
    CancelGuard() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_nBefore); }
    ~CancelGuard() { pthread_setcancelstate(m_nBefore, nullptr); }
    CancelGuard(const CancelGuard &) = delete;
    CancelGuard &operator=(const CancelGuard &) = delete;

private:
    int m_nBefore = PTHREAD_CANCEL_ENABLE;
};

#endif
