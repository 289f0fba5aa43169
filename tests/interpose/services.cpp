#include "interpose/services.h"

#include <cstdarg>
#include <cstdio>
#include <dlfcn.h>
#include <mutex>
#include <sched.h>
#include <utility>

#include "cfgfile_api.h"
#include "dbgtrace.h"
#include "flist_api.h"
#include "threadcheck.h"

constinit interpose::Services interpose::g_Services;

namespace {

using interpose::g_Services;
using interpose::Messages;
using interpose::Texts;

std::mutex g_RecordMutex;
Texts g_Recorded;
Texts g_Reported;
DBG_RECORD g_Handle;

void Record(Texts &Where, const std::string &szText) {
    const std::lock_guard Lock(g_RecordMutex);
    Where.push_back(szText);
}

Texts Take(Texts &From) {
    const std::lock_guard Lock(g_RecordMutex);
    return std::exchange(From, {});
}

std::string Formed(const char *szFormat, va_list Arguments) {
    char szText[1024];
    vsnprintf(szText, sizeof szText, szFormat, Arguments);
    return szText;
}

// Every message names a function, a source file and a line.
bool IsPlace(const char *szFunction, const char *szFile, int nLine) {
    return szFunction != nullptr && *szFunction != 0 && szFile != nullptr &&
           std::string(szFile).find('.') != std::string::npos && nLine > 0;
}

void RecordMessage(HDBG hDbg, int nLevel, std::string szText, bool bHasPlace) {
    if (szText.ends_with('\n'))
        szText.pop_back();
    else
        szText += " (no line end)";
    Record(g_Recorded, (nLevel > hDbg->nMaxLevel ? "untested level " : "") + std::to_string(nLevel) + " " + szText +
                           (bHasPlace ? "" : " (no place)"));
}

void Report(const std::string &szText, bool bHasPlace) {
    g_Services.nReports.fetch_add(1, std::memory_order_relaxed);
    if (g_Services.enMessages == Messages::Recorded)
        Record(g_Reported, bHasPlace ? szText : "no place");
}

} // namespace

Texts interpose::TakeMessages() {
    return Take(g_Recorded);
}

Texts interpose::TakeReports() {
    return Take(g_Reported);
}

extern "C" {

BOOL _DoDbgInit(const char *, HDBG *phDbg) {
    if (g_Services.bHandleStaysNull)
        return FALSE;
    g_Handle.nMaxLevel = DBG_LEVEL_DEBUG;
    *phDbg = &g_Handle;
    return TRUE;
}

void _DoDbgPrintEx(HDBG hDbg, int nLevel, const char *szFunction, const char *szFile, int nLine, const char *szFormat,
                   ...) {
    // Relaxed, so as not to do the work of the library's locks.
    g_Services.nMessages.at(static_cast<size_t>(nLevel)).fetch_add(1, std::memory_order_relaxed);
    if (g_Services.enMessages == Messages::Counted)
        return;
    va_list Arguments;
    va_start(Arguments, szFormat);
    const std::string szText = Formed(szFormat, Arguments);
    va_end(Arguments);
    if (g_Services.enMessages == Messages::Recorded)
        RecordMessage(hDbg, nLevel, szText, IsPlace(szFunction, szFile, nLine));
}

void _DoDbgUninitEx(HDBG *phDbg, const char *, const char *, int) {
    *phDbg = nullptr;
}

void _DoAssert(const char *szCondition, const char *szFunction, const char *szFile, int nLine) {
    Report(szCondition, IsPlace(szFunction, szFile, nLine));
}

void _DoTextAssert(const char *szFunction, const char *szFile, int nLine, const char *szFormat, ...) {
    va_list Arguments;
    va_start(Arguments, szFormat);
    Report(Formed(szFormat, Arguments), IsPlace(szFunction, szFile, nLine));
    va_end(Arguments);
}

void FastLinkAtStartD(FNODE_D *pNode, void *pvObject, FLIST_D *pList) {
    static const auto pReal = reinterpret_cast<decltype(&FastLinkAtStartD)>(dlsym(RTLD_NEXT, "FastLinkAtStartD"));
    if (g_Services.bWatchesLinks && ++g_Services.nLinking > 1)
        g_Services.bMetInList = true;
    if (!g_Services.bListLosesRecords)
        pReal(pNode, pvObject, pList);
    if (g_Services.bWatchesLinks) {
        sched_yield(); // lets another thread come in, if none keeps it out
        --g_Services.nLinking;
    }
}

void __SaveThreadState(const char *, const char *, int) {
    g_Services.nThreadStates.fetch_add(1, std::memory_order_relaxed);
}

BOOL CfgFile_GetIntValue(const char *szPath, const char *szSection, const char *szKey, int *pnValue, int nDefault) {
    if (g_Services.enMessages == Messages::Recorded)
        Record(g_Reported,
               std::string("settings ") + szPath + " " + szSection + " " + szKey + " " + std::to_string(nDefault));
    *pnValue = g_Services.nSettingsValue;
    return TRUE;
}

} // extern "C"
