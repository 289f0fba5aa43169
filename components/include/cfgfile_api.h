/** @file
 * Reader of the platform's settings file.
 *
 * Syntax: lines of at most 510 bytes. "[SECTION]" opens a section; "key = value" sets a key in it; blanks around
 * names and values do not count; names are compared byte by byte. A line that begins with '#' or ';' is a comment,
 * and so is what follows a '#' or ';' after a value and a blank. A value is a decimal integer with an optional sign.
 * When a key is given more than once, the last one counts. A longer line is passed over; when it begins with '[', it
 * ends the section before it all the same.
 *
 * A value that is there and cannot be used (no integer, out of range, on a line that is too long, in a file that cannot
 * be read to its end) gives one trace message of level 4 under the module name "SETTINGS": section, key, what was taken
 * instead, line and file. It goes through a handle of its own, so it is written when TIMECODE_TRACE_LEVEL is at least
 * 4 (see dbgtrace.h). A value that a later line of the same key replaces is not reported.
 */
#ifndef CFGFILE_API_H
#define CFGFILE_API_H

#include "xtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Reads the integer value of a key. Any thread; the file is read anew each time, so not from a real-time thread.
 *
 * @param szPath the file; only regular files are read. Null stands for a file that is missing.
 * @param szSection the section's name; null for one that is missing
 * @param szKey the key's name; null for one that is missing
 * @param pnValue receives the value. nDefault is stored when the file, the section or the key is missing, the file
 *        cannot be read to its end, or the last line that gives the key holds no integer within the range of int; where
 *        that line is too long, what the lines before it say. Null gets FALSE.
 * @param nDefault the value for want of another
 * @return TRUE when the value came from the file; FALSE when it is the default or pnValue is null.
 */
XTYPES_EXPORT BOOL CfgFile_GetIntValue(const char *szPath, const char *szSection, const char *szKey, int *pnValue,
                                       int nDefault);

#ifdef __cplusplus
}
#endif

#endif
