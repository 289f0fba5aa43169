// Source positions as messages name them.
//
// Callers hand in __func__ and __FILE__; null is taken as the empty text.
#ifndef SUPPORT_SOURCE_NAME_H
#define SUPPORT_SOURCE_NAME_H

#include <cstring>

inline const char *OrEmpty(const char *szText) {
    return szText != nullptr ? szText : "";
}

// The file's name without the folders of the machine that built it.
inline const char *BaseName(const char *szFile) {
    const char *const szSlash = std::strrchr(OrEmpty(szFile), '/');
    return szSlash != nullptr ? szSlash + 1 : OrEmpty(szFile);
}

#endif
