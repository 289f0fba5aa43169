// What the library has said to the interposed services since the last call.
#ifndef TESTS_MODEL_COUNTED_H
#define TESTS_MODEL_COUNTED_H

#include "interpose/services.h"
#include "model/library.h"

namespace model {

inline Said TakeCounted() {
    Said Counted;
    for (size_t nLevel = 0; nLevel < Counted.nMessages.size(); ++nLevel)
        Counted.nMessages.at(nLevel) = interpose::g_Services.nMessages.at(nLevel).exchange(0);
    Counted.nReports = interpose::g_Services.nReports.exchange(0);
    return Counted;
}

} // namespace model

#endif
