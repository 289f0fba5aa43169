/* Standard error as the channel of trace messages.
 *
 * Never blocks the writer. May be used from any thread; errno is not kept. */
#ifndef SUPPORT_TRACE_CHANNEL_H
#define SUPPORT_TRACE_CHANNEL_H

#include <stddef.h>

/* What the channel took of a message. */
enum class TAKEN { NOTHING, PART, WHOLE };

/* Writes the bytes at once, with one system call unless the channel takes them in parts. */
TAKEN TraceChannel_Write(const char *pBytes, size_t nSize);

/* Reads from the environment which stream is the journal. */
void TraceChannel_ReadEnvironment();

/* Whether standard error is the journal's stream. */
bool TraceChannel_IsJournal();

#endif
