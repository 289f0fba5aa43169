/** @file
 * Debug trace and assertion reports.
 *
 * Messages go to standard error, one write a message and never to standard output. Levels are syslog's severities (3
 * error, 4 warning, 5 notice, 6 informational, 7 debug). When standard error is the journal, a line starts with
 * "<level>" and the text (assertion reports name function, file and line there too); otherwise with time, module,
 * level, thread, function, file and line.
 *
 * The trace never blocks the thread that writes: when standard error cannot take a message at once (a pipe whose
 * reader stalls, a stopped terminal, a reader that has gone), the message is dropped and counted, and the next one
 * that passes says how many were lost. A message that is cut short on its way counts as lost, and the next one begins
 * on a line of its own, unless another thread writes at the same moment. No SIGPIPE reaches the process, a terminal
 * does not stop it in the background (SIGTTOU), and errno is kept.
 *
 * What standard error may be: a file or block device (as fast as its file system); a socket or a pipe, whoever owns it;
 * a terminal or other character device that the process may open anew (through /proc), or its controlling terminal. To
 * any other device, such as a console that was inherited before privileges were dropped, nothing can be written without
 * the danger of waiting: all messages to it count as lost.
 *
 * The services may be called with a mutex held: a thread that is cancelled (pthread_cancel) while it writes ends at its
 * next cancellation point after the call, not in it. They are not for signal handlers.
 *
 * Environment (not read by programs that run with raised privileges):
 *   TIMECODE_TRACE_LEVEL=0..7   the level that a handle starts with, instead of 3
 *   TIMECODE_ASSERT_ABORT=1     assertion reports end the process with abort(), for development
 */
#ifndef DBGTRACE_H
#define DBGTRACE_H

#include "xtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Trace levels; a message is written when the handle's level is at least its own. */
enum {
    DBG_LEVEL_ERROR = 3,   /**< errors and refusals */
    DBG_LEVEL_WARNING = 4, /**< warnings about the time itself, and settings that cannot be used */
    DBG_LEVEL_NOTICE = 5,  /**< start-up facts */
    DBG_LEVEL_INFO = 6,    /**< normal operation, mostly throttled */
    DBG_LEVEL_DEBUG = 7    /**< detail for debugging */
};

/** The trace record behind a handle. */
typedef struct tagHDBG {
    DWORD dwReserved; /**< owned by the trace service */
    int nMaxLevel;    /**< the highest level that is written; go through DbgSetMaxLevel and DbgIsWritten */
} DBG_RECORD;

typedef DBG_RECORD *HDBG; /**< a trace handle */

/**
 * Sets the highest level that is written. May be called from any thread while others trace; a plain store to nMaxLevel
 * would race with them. Defined here, so that it goes with any trace service beneath the library.
 *
 * @param hDbg a handle from _DoDbgInit; null is ignored
 * @param nLevel 0 for no message, DBG_LEVEL_DEBUG for all
 */
static inline void DbgSetMaxLevel(HDBG hDbg, int nLevel) {
    if (hDbg != NULL)
        __atomic_store_n(&hDbg->nMaxLevel, nLevel, __ATOMIC_RELAXED);
}

/**
 * Whether messages of a level are written, at the cost of one comparison. May be called from any thread while another
 * sets the level.
 *
 * @param hDbg a handle from _DoDbgInit, or null
 * @param nLevel the level of the message
 * @return TRUE when such a message is to be written; FALSE when it is not, or hDbg is null.
 */
static inline BOOL DbgIsWritten(HDBG hDbg, int nLevel) {
    return hDbg != NULL && __atomic_load_n(&hDbg->nMaxLevel, __ATOMIC_RELAXED) >= nLevel ? TRUE : FALSE;
}

/**
 * Opens a trace handle for a module. At most 16 are open at a time. Any thread, but not for one variable from two
 * threads at once.
 *
 * @param szModule the module's name; copied, cut to 31 characters
 * @param phDbg receives the handle; a variable that already holds an open one keeps it. Null is refused.
 * @return TRUE when *phDbg holds a usable handle; FALSE when none is left (then *phDbg is null) or phDbg is null.
 */
XTYPES_EXPORT BOOL _DoDbgInit(const char *szModule, HDBG *phDbg);

/**
 * Writes one message, of at most about 1,000 bytes; longer ones are cut. The level is not tested again: callers ask
 * DbgIsWritten first, before they put the arguments together. Any thread.
 *
 * @param hDbg the handle; a null or closed one writes nothing
 * @param nLevel the message's level; others than 0 to 7 are named like the nearest of them
 * @param szFunction the function that writes; null stands for the empty text, as for the next
 * @param szFile its source file; folders are left out
 * @param nLine its line
 * @param szFormat the text, as printf takes it; one newline at its end is written in any case
 */
XTYPES_EXPORT void _DoDbgPrintEx(HDBG hDbg, int nLevel, const char *szFunction, const char *szFile, int nLine,
                                 const char *szFormat, ...) XTYPES_PRINTF(6, 7);

/**
 * Closes a handle. Its memory stays valid: a message on its way may still be written or be dropped. Any thread.
 *
 * @param phDbg the variable that holds the handle, set to null; null, or a variable that holds null, is ignored, so
 *        closing twice is safe
 * @param szFunction the function that closes it; not used
 * @param szFile its source file; not used
 * @param nLine its line; not used
 */
XTYPES_EXPORT void _DoDbgUninitEx(HDBG *phDbg, const char *szFunction, const char *szFile, int nLine);

/**
 * Reports a violated condition as a message of level 3 and returns, or aborts (see TIMECODE_ASSERT_ABORT). Needs no
 * handle. Any thread.
 *
 * @param szCondition the text of the condition; null stands for the empty text, as for the next two
 * @param szFunction the function that found it violated
 * @param szFile its source file; folders are left out
 * @param nLine its line
 */
XTYPES_EXPORT void _DoAssert(const char *szCondition, const char *szFunction, const char *szFile, int nLine);

/**
 * The same with a text of its own.
 *
 * @param szFunction the function that reports; null stands for the empty text, as for the next
 * @param szFile its source file; folders are left out
 * @param nLine its line
 * @param szFormat the text, as printf takes it
 */
XTYPES_EXPORT void _DoTextAssert(const char *szFunction, const char *szFile, int nLine, const char *szFormat, ...)
    XTYPES_PRINTF(4, 5);

#ifdef __cplusplus
}
#endif

#endif
