/* Preloaded beneath a program (LD_PRELOAD): every mutex of the process that is made by pthread_mutex_init inherits
 * priority, those of the timecode library among them. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <pthread.h>

int pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *mutexattr) {
    int (*next)(pthread_mutex_t *, const pthread_mutexattr_t *);
    pthread_mutexattr_t inheriting;
    *(void **)&next = dlsym(RTLD_NEXT, "pthread_mutex_init");
    if (mutexattr != NULL)
        inheriting = *mutexattr;
    else
        pthread_mutexattr_init(&inheriting);
    /* A kernel without it refuses the mutex: better one that does not inherit than none. */
    pthread_mutexattr_setprotocol(&inheriting, PTHREAD_PRIO_INHERIT);
    return next(mutex, &inheriting) == 0 ? 0 : next(mutex, mutexattr);
}
