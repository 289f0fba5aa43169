/** @file
 * Thread-state tracing: where each thread last was, for finding the one that is stuck.
 *
 * A library that takes locks records its position just before and just after each lock and unlock. A watchdog (or a
 * debugger) can then read which thread waits for what. The timecode library tells the four apart by the name of the
 * function, here four threads at the same lock:
 *
 *     thread 1234 Timecode_SetUTC: waits for lock ingest.cpp:39
 *     thread 1235 Timecode_SetUTC: holds lock ingest.cpp:39
 *     thread 1236 Timecode_SetUTC: is about to unlock ingest.cpp:39
 *     thread 1237 Timecode_SetUTC: has unlocked ingest.cpp:39
 *
 * A thread that has unlocked one lock while it holds another is shown as holding that one.
 */
#ifndef THREADCHECK_H
#define THREADCHECK_H

#include "xtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Not FALSE while positions are recorded. Owned by the service and set by the application through ThreadState_Enable;
 * libraries only read it. FALSE at load. */
XTYPES_EXPORT extern BOOL g_bThreadStateDebuggingEnabled;

/**
 * Switches the recording on or off. May be called from any thread while others take locks; a plain store to the flag
 * would race with them. Threads show up with their next lock; locks that a thread took before are not known, so that
 * it may be shown as having unlocked while it still holds one of those. What was recorded stays. Defined here, so
 * that it goes with any such service beneath the library.
 *
 * @param bEnabled TRUE for on, FALSE for off
 */
static inline void ThreadState_Enable(BOOL bEnabled) {
    __atomic_store_n(&g_bThreadStateDebuggingEnabled, bEnabled, __ATOMIC_RELAXED);
}

/**
 * Records that the calling thread has reached a position. Any thread, but not in a signal handler.
 *
 * Takes no lock and has no cancellation point. Allocates nothing, with one exception: where the process had created 32
 * keys or more (pthread_key_create) before this library was loaded, the C library may allocate a table of keys with a
 * thread's first record. At most 64 threads are kept at a time; further ones are not recorded. A thread's place becomes
 * free when it ends; a forked child has the place of the thread that forked, and no other.
 *
 * @param szFunction the function's name; the first 79 characters are copied, so it need not live longer than the call.
 *        Null stands for the empty text.
 * @param szFile the source file's name; the first 39 characters behind its folders are copied. Null as above.
 * @param nLine the line
 */
XTYPES_EXPORT void __SaveThreadState(const char *szFunction, const char *szFile, int nLine);

/**
 * Writes one line for each recorded thread ("thread 1234 Function file.cpp:40"), and waits where writing has to. Any
 * thread, also while others record; a line may then show the position before or after.
 *
 * @param nFileDescriptor where to
 * @return the number of threads written, or -1 when writing failed.
 */
XTYPES_EXPORT int ThreadState_Dump(int nFileDescriptor);

#ifdef __cplusplus
}
#endif

#endif
