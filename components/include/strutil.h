/** @file
 * Bounded string copy. */
#ifndef STRUTIL_H
#define STRUTIL_H

#include "xtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Copies a text, cut so that it and its terminating NUL fit; the result always ends with a NUL. Any thread.
 *
 * @param szDestination receives the text; must not overlap the source. Null writes nothing.
 * @param szSource the text; null stands for the empty one
 * @param nSize size of the destination in bytes: a signed int widened to 64 bits. 0 or below writes nothing.
 * @return TRUE when the whole text fitted; FALSE when it was cut or nothing was written.
 */
XTYPES_EXPORT BOOL CopyString(char *szDestination, const char *szSource, UINT64 nSize);

#ifdef __cplusplus
}
#endif

#endif
