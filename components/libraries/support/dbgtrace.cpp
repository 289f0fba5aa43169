// Debug trace and assertion reports.
//
// Handles come from a static pool whose slots are claimed and released atomically: nothing takes a lock or
// allocates.
#include "dbgtrace.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "shared_text.h"
#include "source_name.h"
#include "trace_channel.h"
#include "trace_message.h"

namespace {

enum : DWORD { HANDLE_FREE = 0, HANDLE_CLAIMED = 1, HANDLE_OPEN = 0x44424721 };

struct TraceModule {
    DBG_RECORD Record;
    SharedText<32> Name; // a late message may read it while the next owner of the handle writes it
};

constinit std::array<TraceModule, 16> g_Modules{};

std::atomic_ref<DWORD> StateOf(TraceModule &Module) {
    return std::atomic_ref<DWORD>(Module.Record.dwReserved);
}

// The open module behind a handle; null when the handle is null, closed or none of the pool's.
TraceModule *FindOpen(HDBG hDbg) {
    auto *const pFound = std::find_if(g_Modules.begin(), g_Modules.end(),
                                      [hDbg](const TraceModule &Each) { return &Each.Record == hDbg; });
    const bool bOpen = pFound != g_Modules.end() && StateOf(*pFound).load(std::memory_order_acquire) == HANDLE_OPEN;
    return bOpen ? &*pFound : nullptr;
}

bool ChangeState(TraceModule &Module, DWORD dwFrom, DWORD dwTo) {
    return StateOf(Module).compare_exchange_strong(dwFrom, dwTo, std::memory_order_acq_rel);
}

int StartLevel() {
    const char *const szLevel = secure_getenv("TIMECODE_TRACE_LEVEL");
    const bool bDigit = szLevel != nullptr && szLevel[0] >= '0' && szLevel[0] <= '7' && szLevel[1] == '\0';
    return bDigit ? szLevel[0] - '0' : static_cast<int>(DBG_LEVEL_ERROR);
}

// The place of a violated condition.
struct Position {
    const char *szFunction;
    const char *szFile;
    int nLine;
};

// Reports and, when a developer asks for it, aborts.
void XTYPES_PRINTF(2, 0) ReportList(const Position &Here, const char *szFormat, va_list Arguments) {
    // No handle need be open, so nobody may have looked for the journal yet.
    FindJournal();
    WriteTraceMessage({"ASSERT", DBG_LEVEL_ERROR, Here.szFunction, Here.szFile, Here.nLine, true}, szFormat, Arguments);
    const char *const szAbort = secure_getenv("TIMECODE_ASSERT_ABORT");
    if (szAbort != nullptr && std::strcmp(szAbort, "1") == 0)
        std::abort();
}

void XTYPES_PRINTF(2, 3) Report(const Position &Here, const char *szFormat, ...) {
    va_list Arguments;
    va_start(Arguments, szFormat);
    ReportList(Here, szFormat, Arguments);
    va_end(Arguments);
}

} // namespace

BOOL _DoDbgInit(const char *szModule, HDBG *phDbg) {
    if (phDbg == nullptr)
        return FALSE;
    if (FindOpen(*phDbg) != nullptr)
        return TRUE;
    *phDbg = nullptr;
    FindJournal();
    for (TraceModule &Module : g_Modules) {
        if (!ChangeState(Module, HANDLE_FREE, HANDLE_CLAIMED))
            continue;
        Module.Name.Store(szModule);
        DbgSetMaxLevel(&Module.Record, StartLevel());
        StateOf(Module).store(HANDLE_OPEN, std::memory_order_release);
        std::atomic_ref<HDBG>(*phDbg).store(&Module.Record, std::memory_order_release);
        return TRUE;
    }
    return FALSE;
}

void _DoDbgPrintEx(HDBG hDbg, int nLevel, const char *szFunction, const char *szFile, int nLine, const char *szFormat,
                   ...) {
    const TraceModule *const pModule = FindOpen(hDbg);
    if (pModule == nullptr)
        return;
    const auto acName = pModule->Name.Load();
    va_list Arguments;
    va_start(Arguments, szFormat);
    WriteTraceMessage({acName.data(), nLevel, szFunction, szFile, nLine, false}, szFormat, Arguments);
    va_end(Arguments);
}

void _DoDbgUninitEx(HDBG *phDbg, const char * /*szFunction*/, const char * /*szFile*/, int /*nLine*/) {
    if (phDbg == nullptr)
        return;
    TraceModule *const pModule = FindOpen(std::atomic_ref<HDBG>(*phDbg).exchange(nullptr, std::memory_order_acq_rel));
    if (pModule != nullptr)
        ChangeState(*pModule, HANDLE_OPEN, HANDLE_FREE);
}

void _DoAssert(const char *szCondition, const char *szFunction, const char *szFile, int nLine) {
    Report({szFunction, szFile, nLine}, "violated: %s", OrEmpty(szCondition));
}

void _DoTextAssert(const char *szFunction, const char *szFile, int nLine, const char *szFormat, ...) {
    va_list Arguments;
    va_start(Arguments, szFormat);
    ReportList({szFunction, szFile, nLine}, szFormat, Arguments);
    va_end(Arguments);
}
