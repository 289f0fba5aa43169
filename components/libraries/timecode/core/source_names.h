// The names of the sources, for messages.
#ifndef TIMECODE_CORE_SOURCE_NAMES_H
#define TIMECODE_CORE_SOURCE_NAMES_H

#include "timecode.h"

namespace timecode {

// The name of a source for a message; formed only when the message is written.
class SourceName {
public:
    explicit SourceName(int enTimecodeSource) {
        Timecode_GetTimecodeSourceString(enTimecodeSource, m_szBuffer, sizeof m_szBuffer);
    }
    [[nodiscard]] const char *Text() const { return m_szBuffer; }

private:
    char m_szBuffer[40];
};

} // namespace timecode

#endif
