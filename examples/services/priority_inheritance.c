/* Preloaded beneath a program (LD_PRELOAD): every mutex of the process that pthread_mutex_init makes without a protocol
 * inherits priority, those of the timecode library among them. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <pthread.h>

/* NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's header names them otherwise. */
int pthread_mutex_init(pthread_mutex_t *pMutex, const pthread_mutexattr_t *pAttributes) {
    int (*fnNext)(pthread_mutex_t *, const pthread_mutexattr_t *);
    int nProtocol = PTHREAD_PRIO_NONE;
    *(void **)&fnNext = dlsym(RTLD_NEXT, "pthread_mutex_init");
    if (pAttributes != NULL)
        pthread_mutexattr_getprotocol(pAttributes, &nProtocol);
    if (nProtocol != PTHREAD_PRIO_NONE)
        return fnNext(pMutex, pAttributes);
    pthread_mutexattr_t Inheriting;
    if (pAttributes != NULL)
        Inheriting = *pAttributes; /* the C library's hold no memory of their own */
    else
        pthread_mutexattr_init(&Inheriting);
    /* A kernel without it refuses the mutex: better one that does not inherit than none. */
    pthread_mutexattr_setprotocol(&Inheriting, PTHREAD_PRIO_INHERIT);
    return fnNext(pMutex, &Inheriting) == 0 ? 0 : fnNext(pMutex, pAttributes);
}
