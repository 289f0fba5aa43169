// The names of the sources, for messages and for applications.
#include <array>

#include "strutil.h"
#include "timecode.h"

char *Timecode_GetTimecodeSourceString(int enTimecodeSouce, char *szBuffer, int nSize) {
    static constexpr std::array<const char *, 5> NAMES = {
        "None", "High Precision TimeStamp", "VITC Commercial TimeStamp", "LDS Timestamp", "System TimeStamp"};
    static char szInvalid[] = "Invalid input buffer";
    if (szBuffer == nullptr || nSize <= 0)
        return szInvalid;
    const bool bKnown = enTimecodeSouce >= 0 && enTimecodeSouce < static_cast<int>(NAMES.size());
    CopyString(szBuffer, bKnown ? NAMES[static_cast<size_t>(enTimecodeSouce)] : "(Unknown)",
               static_cast<UINT64>(static_cast<INT64>(nSize)));
    return szBuffer;
}
