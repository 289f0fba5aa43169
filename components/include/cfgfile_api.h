/* Reader of the platform's settings file.
 *
 * Syntax: lines of at most 510 bytes. "[SECTION]" opens a section; "key = value" sets a key in it; blanks around
 * names and values do not count; names are compared byte by byte. A line that begins with '#' or ';' is a comment,
 * and so is what follows a '#' or ';' after a value and a blank. A value is a decimal integer with an optional sign.
 * When a key is given more than once, the last one counts. A longer line is passed over whole.
 */
#ifndef CFGFILE_API_H
#define CFGFILE_API_H

#include "xtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Stores the integer value of a key, or nDefault when the file, the section or the key is missing, or the value is
 * no integer within the range of int. Only regular files are read. May be called from any thread; it reads the
 * file anew each time, so not from a real-time thread. Returns TRUE when the value came from the file. A null
 * pnValue gets FALSE; a null path or name stores the default. */
XTYPES_EXPORT BOOL CfgFile_GetIntValue(const char *szPath, const char *szSection, const char *szKey, int *pnValue,
                                       int nDefault);

#ifdef __cplusplus
}
#endif

#endif
