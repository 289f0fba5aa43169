/* Debug trace and assertion reports.
 *
 * Handles come from a static pool whose slots are claimed and released atomically: nothing takes a lock or
 * allocates. */
#include "dbgtrace.h"

#include "shared_text.h"
#include "source_name.h"
#include "trace_channel.h"
#include "trace_message.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

namespace {

enum : DWORD { HANDLE_FREE = 0, HANDLE_CLAIMED = 1, HANDLE_OPEN = 0x44424721 };

struct MODULE {
    DBG_RECORD tRecord;
    SharedText<32> tName; /* a late message may read it while the next owner of the handle writes it */
};

constinit std::array<MODULE, 16> modules{};

std::atomic_ref<DWORD> StateOf(MODULE &tModule) {
    return std::atomic_ref<DWORD>(tModule.tRecord.dwReserved);
}

/* The open module behind a handle; null when the handle is null, closed or none of the pool's. */
MODULE *FindOpen(HDBG hDbg) {
    auto *const pFound =
        std::find_if(modules.begin(), modules.end(), [hDbg](const MODULE &t) { return &t.tRecord == hDbg; });
    const bool bOpen = pFound != modules.end() && StateOf(*pFound).load(std::memory_order_acquire) == HANDLE_OPEN;
    return bOpen ? &*pFound : nullptr;
}

bool ChangeState(MODULE &tModule, DWORD dwFrom, DWORD dwTo) {
    return StateOf(tModule).compare_exchange_strong(dwFrom, dwTo, std::memory_order_acq_rel);
}

int StartLevel() {
    const char *const szLevel = secure_getenv("TIMECODE_TRACE_LEVEL");
    const bool bDigit = szLevel != nullptr && szLevel[0] >= '0' && szLevel[0] <= '7' && szLevel[1] == '\0';
    return bDigit ? szLevel[0] - '0' : static_cast<int>(DBG_LEVEL_ERROR);
}

/* The place of a violated condition. */
struct PLACE {
    const char *szFunction;
    const char *szFile;
    int nLine;
};

/* Reports and, when a developer asks for it, aborts. */
void XTYPES_PRINTF(2, 0) ReportList(const PLACE &tPlace, const char *szFormat, va_list tArguments) {
    // No handle need be open, so nobody may have looked for the journal yet.
    TraceChannel_ReadEnvironment();
    TraceMessage_Write({"ASSERT", DBG_LEVEL_ERROR, tPlace.szFunction, tPlace.szFile, tPlace.nLine, true}, szFormat,
                       tArguments);
    const char *const szAbort = secure_getenv("TIMECODE_ASSERT_ABORT");
    if (szAbort != nullptr && strcmp(szAbort, "1") == 0)
        abort();
}

void XTYPES_PRINTF(2, 3) Report(const PLACE &tPlace, const char *szFormat, ...) {
    va_list tArguments;
    va_start(tArguments, szFormat);
    ReportList(tPlace, szFormat, tArguments);
    va_end(tArguments);
}

} // namespace

BOOL _DoDbgInit(const char *szModule, HDBG *phDbg) {
    if (phDbg == nullptr)
        return FALSE;
    if (FindOpen(*phDbg) != nullptr)
        return TRUE;
    *phDbg = nullptr;
    TraceChannel_ReadEnvironment();
    for (MODULE &tModule : modules) {
        if (!ChangeState(tModule, HANDLE_FREE, HANDLE_CLAIMED))
            continue;
        tModule.tName.Store(szModule);
        DbgSetMaxLevel(&tModule.tRecord, StartLevel());
        StateOf(tModule).store(HANDLE_OPEN, std::memory_order_release);
        std::atomic_ref<HDBG>(*phDbg).store(&tModule.tRecord, std::memory_order_release);
        return TRUE;
    }
    return FALSE;
}

void _DoDbgPrintEx(HDBG hDbg, int nLevel, const char *szFunction, const char *szFile, int nLine, const char *szFormat,
                   ...) {
    const MODULE *const pModule = FindOpen(hDbg);
    if (pModule == nullptr)
        return;
    const auto acName = pModule->tName.Load();
    va_list tArguments;
    va_start(tArguments, szFormat);
    TraceMessage_Write({acName.data(), nLevel, szFunction, szFile, nLine, false}, szFormat, tArguments);
    va_end(tArguments);
}

void _DoDbgUninitEx(HDBG *phDbg, const char * /*szFunction*/, const char * /*szFile*/, int /*nLine*/) {
    if (phDbg == nullptr)
        return;
    MODULE *const pModule = FindOpen(std::atomic_ref<HDBG>(*phDbg).exchange(nullptr, std::memory_order_acq_rel));
    if (pModule != nullptr)
        ChangeState(*pModule, HANDLE_OPEN, HANDLE_FREE);
}

void _DoAssert(const char *szCondition, const char *szFunction, const char *szFile, int nLine) {
    Report({szFunction, szFile, nLine}, "violated: %s", OrEmpty(szCondition));
}

void _DoTextAssert(const char *szFunction, const char *szFile, int nLine, const char *szFormat, ...) {
    va_list tArguments;
    va_start(tArguments, szFormat);
    ReportList({szFunction, szFile, nLine}, szFormat, tArguments);
    va_end(tArguments);
}
