// One trace message: put together on the writer's stack and sent at once.
//
// Takes no lock and allocates nothing. May be called from any thread; errno is kept, and a thread that is cancelled
// ends after it, not in it.
#ifndef SUPPORT_TRACE_MESSAGE_H
#define SUPPORT_TRACE_MESSAGE_H

#include "xtypes.h"

#include <cstdarg>

// Who writes a message, and how urgent it is.
struct TraceOrigin {
    const char *szModule;
    int nLevel;
    const char *szFunction;
    const char *szFile;
    int nLine;
    bool bPlaceInJournal; // function, file and line also where the journal adds the rest
};

// Writes one line: a prefix, the number of messages lost since the last one that passed, and the text.
void WriteTraceMessage(const TraceOrigin &Origin, const char *szFormat, va_list Arguments) XTYPES_PRINTF(2, 0);

#endif
