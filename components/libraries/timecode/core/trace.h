// Trace messages and assertion reports of the library, through the platform's services.
// A message tests the handle and its level first and evaluates nothing when it is not written.
#ifndef TIMECODE_CORE_TRACE_H
#define TIMECODE_CORE_TRACE_H

#include "timecode.h"

namespace timecode {

// A place in the code, as the services want it.
struct Position {
    const char *szFunction;
    const char *szFile;
    int nLine;
};

inline bool TraceEnabled(int nLevel) {
    return DbgIsWritten(g_hTCLibDbg, nLevel) == TRUE;
}

// Reports a condition that does not hold and says whether it held, so that the caller can refuse.
inline bool Verify(bool bHolds, const char *szCondition, const Position &Here) {
    if (!bHolds) [[unlikely]]
        _DoAssert(szCondition, Here.szFunction, Here.szFile, Here.nLine);
    return bHolds;
}

// Traces a null argument by its name. Says whether the argument can be used. Internal operations check theirs too; no
// caller inside the library hands in null, so no test reaches their refusals.
inline bool IsGiven(const void *pArgument, const char *szNullText, const Position &Here) {
    if (pArgument == nullptr && TraceEnabled(DBG_LEVEL_ERROR))
        _DoDbgPrintEx(g_hTCLibDbg, DBG_LEVEL_ERROR, Here.szFunction, Here.szFile, Here.nLine, szNullText, pArgument);
    return pArgument != nullptr;
}

} // namespace timecode

// These are macros because they take the caller's position and, unevaluated, its arguments or its text.
#define TC_PLACE __func__, __FILE_NAME__, __LINE__

#define TC_HERE                                                                                                        \
    ::timecode::Position {                                                                                             \
        TC_PLACE                                                                                                       \
    }

#define TC_TRACE(nLevel, ...)                                                                                          \
    do {                                                                                                               \
        if (::timecode::TraceEnabled(nLevel))                                                                          \
            _DoDbgPrintEx(g_hTCLibDbg, nLevel, TC_PLACE, __VA_ARGS__);                                                 \
    } while (false)

#define TC_IS_GIVEN(pArgument)                                                                                         \
    ::timecode::IsGiven((pArgument), #pArgument ":%p is NULL this should not happen!\n", TC_HERE)

#define TC_ASSERT(bCondition) ::timecode::Verify((bCondition), #bCondition, TC_HERE)

#endif
