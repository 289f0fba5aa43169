// Any bytes as a settings file: a value or the default, nothing else.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "cfgfile_api.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pBytes, size_t nSize) {
    static const int nFile = memfd_create("settings", MFD_CLOEXEC);
    static const std::string szPath = "/proc/self/fd/" + std::to_string(nFile);
    if (nFile < 0 || ftruncate(nFile, 0) != 0 || pwrite(nFile, pBytes, nSize, 0) != static_cast<ssize_t>(nSize))
        std::abort();
    constexpr int DEFAULT_VALUE = 20116;
    int nValue = -1;
    if (CfgFile_GetIntValue(szPath.c_str(), "SYSTEM", "MISPRevision", &nValue, DEFAULT_VALUE) == FALSE &&
        nValue != DEFAULT_VALUE) {
        std::fprintf(stderr, "no value found, yet no default: %d\n", nValue);
        std::abort();
    }
    return 0;
}
