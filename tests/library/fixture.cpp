#include "fixture.h"

#include <algorithm>
#include <chrono>
#include <regex>

#include "threadcheck.h"

namespace {

constexpr INT64 DAY_SEC = 86'400;
INT64 g_nNoonSec = 1'700'049'600; // 2023-11-15

} // namespace

INT64 NoonUsec() {
    return g_nNoonSec * 1'000'000;
}

void SetClockMs(INT64 nMs) {
    g_Clock.nSec = g_nNoonSec - DAY_SEC;
    g_Clock.nNsec = (DAY_SEC * 1000 + nMs) * 1'000'000;
}

void StartDay(int enRevision) {
    TimecodeLib_Shutdown();
    interpose::SetZone("UTC0");
    g_nNoonSec += DAY_SEC;
    SetClockMs(0);
    TimecodeLib_Init(enRevision);
    TakeTraces();
    TakeReports();
}

LibraryTest::~LibraryTest() {
    for (auto *pFault :
         {&g_Clock.bFails, &g_Clock.bLocalTimeFails, &g_Services.bHandleStaysNull, &g_Services.bListLosesRecords})
        *pFault = false;
    g_bThreadStateDebuggingEnabled = FALSE;
    TimecodeLib_Shutdown();
}

Texts TakeTraces() {
    const std::chrono::year_month_day Today(std::chrono::sys_days(std::chrono::days(g_nNoonSec / DAY_SEC)));
    const std::string szToday = std::to_string(int(Today.year())) + "-" + std::to_string(unsigned(Today.month())) +
                                "-" + std::to_string(unsigned(Today.day()));
    Texts Traces = interpose::TakeMessages();
    for (auto &szText : Traces)
        for (const auto &[szPattern, szName] : {std::pair(std::to_string(g_nNoonSec), "NOON"),
                                                {std::to_string(g_nNoonSec + 2096), "12:34:56."},
                                                {szToday, "TODAY"},
                                                {":0x[0-9a-f]{9,}", ":ADDRESS"}})
            szText = std::regex_replace(szText, std::regex(szPattern), szName);
    return Traces;
}

vitc_t Timecode(int nHours, int nMinutes, int nSeconds, int nFrames) {
    vitc_t Vitc{};
    model::SetDigits(Vitc, {nHours, nMinutes, nSeconds, nFrames});
    return Vitc;
}

BOOL Queue(const Stamp &Given) {
    TCPayload Payload{};
    if (Given.enSource == TIMECODE)
        Payload.vitc = Given.Label;
    else
        Payload.KLVTC = {Given.nStatus, NoonUsec() + Given.llUsec};
    return Timecode_SetUTC(Given.nInput, Given.enSource, Given.nPTS, &Payload);
}

std::optional<Time> TimeOf(const model::Written &Got) {
    if (!Got.Utc)
        return std::nullopt;
    const model::Record Record = model::RecordOf(*Got.Utc);
    return Time{Record.Payload.Utc() - NoonUsec(), Record.Payload.Status(), Record.nPTS, Record.enSource, Got.Label};
}

std::ostream &operator<<(std::ostream &Out, const Time &Told) {
    Out << "noon plus " << Told.llUsec << " us, status 0x" << std::hex << Told.nStatus << std::dec << ", PTS "
        << Told.nPTS << ", " << model::SourceText(Told.enSource) << ", timecode ";
    return Told.Label ? Out << *Told.Label : Out << "not written";
}

model::Written Ask(const Request &Asked, void *pCursor) {
    return model::GetUtc(Asked, pCursor);
}

model::Statistics Stats(int nInput) {
    TIMECODE_STATS Read{};
    EXPECT_EQ(Timecode_GetStats(nInput, &Read), TRUE);
    return {Read.enTimecodeSource, Read.nTimeSourceSwitches};
}
