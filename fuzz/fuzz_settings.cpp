// Any bytes as a settings file: a value that stands there or the default, and what follows them is read all the same.
// Any bytes as the rest of a section header that is longer than a line may be: it ends the section all the same.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "cfgfile_api.h"
#include "model/demand.h"

static constexpr int DEFAULT_VALUE = 20116;

static BOOL Read(std::string_view szText, int &nValue) {
    static const int nFile = memfd_create("settings", MFD_CLOEXEC);
    static const std::string sPath = "/proc/self/fd/" + std::to_string(nFile);
    if (nFile < 0 || ftruncate(nFile, 0) != 0 ||
        pwrite(nFile, szText.data(), szText.size(), 0) != static_cast<ssize_t>(szText.size()))
        std::abort();
    return CfgFile_GetIntValue(sPath.c_str(), "SYSTEM", "MISPRevision", &nValue, DEFAULT_VALUE);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pBytes, size_t nSize) {
    const std::string sText(reinterpret_cast<const char *>(pBytes), nSize);
    const auto Says = [&sText](const std::string &sPart) { return sText.find(sPart) != std::string::npos; };
    int nValue = -1;
    if (Read(sText, nValue) == TRUE) {
        const std::string sDigits = std::to_string(std::abs(int64_t{nValue}));
        Demand(Says(sDigits) && Says("SYSTEM") && Says("MISPRevision"), "a value that was read stands in the file");
    } else {
        Demand(nValue == DEFAULT_VALUE, "where no value was read, the default is given");
    }
    Demand(Read(sText + "\n[SYSTEM]\nMISPRevision = -4711\n", nValue) == TRUE && nValue == -4711,
           "whatever stands before it, the last value of a key counts");
    const std::string sHeader = "[" + std::string(512, 'x') + sText.substr(0, sText.find('\n'));
    Demand(Read("[SYSTEM]\nMISPRevision = -4711\n" + sHeader + "\nMISPRevision = 1\n", nValue) == TRUE &&
               nValue == -4711,
           "a section header of any length ends the section before it");
    return 0;
}
