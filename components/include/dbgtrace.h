/* Debug trace and assertion reports.
 *
 * Messages go to standard error, one write a message and never to standard output. Levels are syslog's severities (3
 * error, 4 warning, 5 notice, 6 informational, 7 debug). When standard error is the journal, a line starts with
 * "<level>" and the text (assertion reports name function, file and line there too); otherwise with time, module,
 * level, thread, function, file and line.
 *
 * The trace never blocks the thread that writes: when standard error cannot take a message at once (a pipe whose reader
 * stalls, a reader that has gone), the message is dropped and counted, and the next one that passes says how many were
 * lost. No SIGPIPE reaches the process, and errno is kept.
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

/* Trace levels; a message is written when the handle's nMaxLevel is at least its level. */
enum {
    DBG_LEVEL_ERROR = 3,   /* errors and refusals */
    DBG_LEVEL_WARNING = 4, /* warnings about the time itself */
    DBG_LEVEL_NOTICE = 5,  /* start-up facts */
    DBG_LEVEL_INFO = 6,    /* normal operation, mostly throttled */
    DBG_LEVEL_DEBUG = 7    /* detail for debugging */
};

/* The trace record behind a handle. */
typedef struct tagHDBG {
    DWORD dwReserved; /* owned by the trace service */
    int nMaxLevel;    /* the highest level that is written; the application may set it at any time */
} DBG_RECORD;

typedef DBG_RECORD *HDBG;

/* Opens a trace handle for a module and stores it in *phDbg. A variable that already holds an open handle keeps it.
 * The name is copied, cut to 31 characters. At most 16 handles are open at a time. Returns TRUE when *phDbg holds a
 * usable handle; FALSE when none is left (then *phDbg is null) or phDbg is null. May be called from any thread, but
 * not for one variable from two threads at once. */
XTYPES_EXPORT BOOL _DoDbgInit(const char *szModule, HDBG *phDbg);

/* Writes one message (at most about 1,000 bytes, longer ones are cut) to a handle. The level is not tested again:
 * callers test nMaxLevel first, so that a message that is not written costs one comparison. A null or closed handle
 * writes nothing. May be called from any thread. */
XTYPES_EXPORT void _DoDbgPrintEx(HDBG hDbg, int nLevel, const char *szFunction, const char *szFile, int nLine,
                                 const char *szFormat, ...) XTYPES_PRINTF(6, 7);

/* Closes the handle in *phDbg and leaves null there. A null variable or a null handle is ignored, so closing twice is
 * safe. The handle's memory stays valid: a message on its way may still be written or be dropped. */
XTYPES_EXPORT void _DoDbgUninitEx(HDBG *phDbg, const char *szFunction, const char *szFile, int nLine);

/* Reports a violated condition as a message of level 3 and returns, or aborts (see TIMECODE_ASSERT_ABORT). Needs no
 * handle. May be called from any thread. */
XTYPES_EXPORT void _DoAssert(const char *szCondition, const char *szFunction, const char *szFile, int nLine);

/* The same with a text of its own. */
XTYPES_EXPORT void _DoTextAssert(const char *szFunction, const char *szFile, int nLine, const char *szFormat, ...)
    XTYPES_PRINTF(4, 5);

#ifdef __cplusplus
}
#endif

#endif
