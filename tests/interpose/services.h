// The platform's services beneath a library under test: they count and record what it says, and can be made to fail.
#ifndef TESTS_INTERPOSE_SERVICES_H
#define TESTS_INTERPOSE_SERVICES_H

#include "xtypes.h"

#include <array>
#include <atomic>
#include <string>
#include <vector>

namespace interpose {

using Texts = std::vector<std::string>;

enum class Messages { Counted, Formed, Recorded }; // each includes the one before

struct Services {
    std::atomic<Messages> enMessages{Messages::Recorded};
    std::array<std::atomic<int>, 8> nMessages{}; // of each level
    std::atomic<int> nReports{0};
    std::atomic<bool> bHandleStaysNull{false};
    std::atomic<bool> bListLosesRecords{false}; // none is linked any more
    std::atomic<bool> bWatchesLinks{false};     // tells whether two threads are in the list service
    std::atomic<int> nLinking{0};
    std::atomic<bool> bMetInList{false};
    std::atomic<int> nThreadStates{0};
    std::atomic<int> nSettingsValue{0};
};
extern Services g_Services;

// What has been recorded since the last call: messages as "6 text" without the line end, and reports.
Texts TakeMessages();
Texts TakeReports();

} // namespace interpose

#endif
