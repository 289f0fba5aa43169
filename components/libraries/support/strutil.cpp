// Bounded string copy.
//
// The source is read only as far as the destination can hold it.
#include "strutil.h"
#include "xtypes.h"

#include <cstddef>
#include <cstring>

BOOL CopyString(char *szDestination, const char *szSource, UINT64 nSize) {
    if (szDestination == nullptr || static_cast<INT64>(nSize) <= 0)
        return FALSE;
    const char *const szText = szSource != nullptr ? szSource : "";
    const size_t nLength = strnlen(szText, nSize);
    const bool bFits = nLength < nSize;
    const size_t nCopied = bFits ? nLength : nSize - 1;
    std::memcpy(szDestination, szText, nCopied);
    szDestination[nCopied] = '\0';
    return bFits ? TRUE : FALSE;
}
