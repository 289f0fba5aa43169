/* Bounded string copy. */
#ifndef STRUTIL_H
#define STRUTIL_H

#include "xtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Copies the source text, cut so that it and its terminating NUL fit nSize bytes; the result always ends with a NUL.
 * The buffers must not overlap. A null source copies the empty text. Returns TRUE when the whole text fitted. A null
 * destination or a size of 0 or below (the size is a signed int widened to 64 bits) writes nothing and returns
 * FALSE. May be called from any thread. */
XTYPES_EXPORT BOOL CopyString(char *szDestination, const char *szSource, UINT64 nSize);

#ifdef __cplusplus
}
#endif

#endif
