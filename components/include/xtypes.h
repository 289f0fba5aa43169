/** @file
 * Basic type names of the timecode library and of the platform services beneath it.
 *
 * All widths are fixed. The library is built for 64-bit Linux (LP64); the headers compile alone, as C11 and as
 * C++17 or later.
 */
#ifndef XTYPES_H
#define XTYPES_H

#ifndef __LP64__
#error "the timecode library is for 64-bit systems (LP64)"
#endif

#include <stddef.h>
#include <stdint.h>

typedef uint8_t BYTE;    /**< unsigned 8-bit */
typedef uint32_t UINT;   /**< unsigned 32-bit */
typedef uint32_t DWORD;  /**< unsigned 32-bit */
typedef uint64_t ULONG;  /**< unsigned 64-bit */
typedef int64_t INT64;   /**< signed 64-bit */
typedef uint64_t UINT64; /**< unsigned 64-bit */

/** Signed 32-bit truth value. Only FALSE and TRUE are ever stored, and flags are tested against TRUE exactly: a
 * caller who passes another non-zero value has not said TRUE. */
typedef int32_t BOOL;

#ifndef FALSE
/** Not so. */
#define FALSE 0
#endif
#ifndef TRUE
/** So: the only value that counts as TRUE. */
#define TRUE 1
#endif

/** Marks what a shared object offers; everything else stays inside it. */
#define XTYPES_EXPORT __attribute__((visibility("default")))

/** Lets the compiler check a message text against its arguments (1-based positions). */
#define XTYPES_PRINTF(nFormat, nFirstArgument) __attribute__((format(printf, nFormat, nFirstArgument)))

#endif
