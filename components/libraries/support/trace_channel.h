// Standard error as the channel of trace messages.
//
// Never blocks the writer. May be used from any thread; errno is not kept.
#ifndef SUPPORT_TRACE_CHANNEL_H
#define SUPPORT_TRACE_CHANNEL_H

#include <cstddef>

// Writes a line at once, with one system call, and returns how many of its bytes were taken. pLine[0] is a newline that
// does not count: it is sent only to end the line of a message that was cut short before. nSize counts it.
size_t WriteTraceLine(const char *pLine, size_t nSize);

// Reads from the environment which stream is the journal.
void FindJournal();

// Whether standard error is the journal's stream.
bool IsJournal();

#endif
