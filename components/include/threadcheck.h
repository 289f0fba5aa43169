/* Thread-state tracing: where each thread last was, for finding the one that is stuck.
 *
 * A library that takes locks records its position just before and just after each lock and unlock. A
 * watchdog (or a debugger) can then read which thread waits for what.
 */
#ifndef THREADCHECK_H
#define THREADCHECK_H

#include "xtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Non-zero switches the recording on. Owned by the service and set by the application, at any time; libraries only
 * read it. FALSE at load. */
XTYPES_EXPORT extern BOOL g_bThreadStateDebuggingEnabled;

/* Records that the calling thread has reached this position. The texts must live as long as the process (__func__
 * and __FILE__ do). Takes no lock and allocates nothing. At most 64 threads are kept at a time; further threads
 * are not recorded. A thread's place becomes free when it ends. */
XTYPES_EXPORT void __SaveThreadState(const char *szFunction, const char *szFile, int nLine);

/* Writes one line for each recorded thread ("thread 1234 Timecode_SetUTC ingest.cpp:40") to a file descriptor. May
 * be called from any thread, also while others record; a line may then show the position before or after. Returns
 * the number of threads written, or -1 when writing failed. */
XTYPES_EXPORT int ThreadState_Dump(int nFileDescriptor);

#ifdef __cplusplus
}
#endif

#endif
