// Any bytes as a settings file: a value that stands there or the default, and what follows them is read all the same.
// Any bytes as the rest of a section header that is longer than a line may be: it ends the section all the same.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

#include "cfgfile_api.h"
#include "model/demand.h"

namespace {

constexpr int DEFAULT_VALUE = 20116;

BOOL Read(std::string_view szText, int &nValue) {
    static const int nFile = memfd_create("settings", MFD_CLOEXEC);
    static const std::string szPath = "/proc/self/fd/" + std::to_string(nFile);
    if (nFile < 0 || ftruncate(nFile, 0) != 0 ||
        pwrite(nFile, szText.data(), szText.size(), 0) != static_cast<ssize_t>(szText.size()))
        std::abort();
    return CfgFile_GetIntValue(szPath.c_str(), "SYSTEM", "MISPRevision", &nValue, DEFAULT_VALUE);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *pBytes, size_t nSize) {
    const std::string szText(reinterpret_cast<const char *>(pBytes), nSize);
    const auto Says = [&szText](const std::string &szPart) { return szText.find(szPart) != std::string::npos; };
    int nValue = -1;
    if (Read(szText, nValue) == TRUE) {
        const std::string szDigits = std::to_string(std::abs(std::int64_t{nValue}));
        Demand(Says(szDigits) && Says("SYSTEM") && Says("MISPRevision"), "a value that was read stands in the file");
    } else {
        Demand(nValue == DEFAULT_VALUE, "where no value was read, the default is given");
    }
    Demand(Read(szText + "\n[SYSTEM]\nMISPRevision = -4711\n", nValue) == TRUE && nValue == -4711,
           "whatever stands before it, the last value of a key counts");
    const std::string szHeader = "[" + std::string(512, 'x') + szText.substr(0, szText.find('\n'));
    Demand(Read("[SYSTEM]\nMISPRevision = -4711\n" + szHeader + "\nMISPRevision = 1\n", nValue) == TRUE &&
               nValue == -4711,
           "a section header of any length ends the section before it");
    return 0;
}
