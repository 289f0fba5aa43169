// A timecode has no date: the local calendar gives it, the timecode the time of day.
#include "conversion/smpte12m_to_utc.h"

#include <algorithm>
#include <ctime>
#include <limits>

#include "clock_api.h"
#include "conversion/frame_period.h"
#include "core/clock.h"
#include "core/digits.h"
#include "core/shared.h"
#include "core/trace.h"

namespace timecode {

namespace {

// What the conversion prints when it has no date to give to the clock service.
constexpr int NO_DATE = -1;

// Sets the date fields; without a readable clock or a local calendar there is no date.
bool SetLocalDate(date_time_t &DateTime) {
    timespec tpCurrent{};
    if (!ReadClock(&tpCurrent, "clock_gettime(CLOCK_REALTIME, &tpCurrent) == 0", TC_HERE))
        return false;
    tm TimeInfo{};
    constexpr int TM_YEAR_BASE = 1900;
    if (localtime_r(&tpCurrent.tv_sec, &TimeInfo) == nullptr ||
        TimeInfo.tm_year > std::numeric_limits<int>::max() - TM_YEAR_BASE)
        return false;
    DateTime.year = TimeInfo.tm_year + TM_YEAR_BASE;
    DateTime.month = TimeInfo.tm_mon + 1;
    DateTime.dayOfMonth = TimeInfo.tm_mday;
    TC_TRACE(DBG_LEVEL_DEBUG, "Recovered local time:%d-%d-%d-%dh%dm%ds.\n", DateTime.year, DateTime.month,
             DateTime.dayOfMonth, TimeInfo.tm_hour, TimeInfo.tm_min, TimeInfo.tm_sec);
    return true;
}

void SetTimeOfDay(date_time_t &DateTime, const Hmsf &Time, float fMicroSecPerFrame) {
    // Frames beyond the rate can exceed an int; from a second on the clock service refuses them all alike.
    constexpr float TOO_MANY_USEC = 1e9F;
    DateTime.hour = static_cast<int>(Time.nHours);
    DateTime.min = static_cast<int>(Time.nMinutes);
    DateTime.sec = static_cast<int>(Time.nSeconds);
    DateTime.microsec = static_cast<int>(std::min(static_cast<float>(Time.nFrames) * fMicroSecPerFrame, TOO_MANY_USEC));
}

} // namespace

BOOL _SMPTE12MtoUTC(const vitc_t *pSMPTE12mRecord, int nEncodedPictureRate, ULONG nVUIFramerate, INT64 *pllUTC) {
    static time_t _tCurrentSourceLogTime;
    const time_t tNow = time(nullptr);
    if (!TC_IS_GIVEN(pSMPTE12mRecord) || !TC_IS_GIVEN(pllUTC) || !IsUsableRate(nEncodedPictureRate, TC_HERE))
        return FALSE;
    *pllUTC = 0;
    date_time_t DateTime{};
    const bool bDate = SetLocalDate(DateTime);
    SetTimeOfDay(DateTime, DigitsOf(*pSMPTE12mRecord),
                 MicroSecPerFrame(static_cast<UINT64>(nEncodedPictureRate), nVUIFramerate));
    const int ret = bDate ? ClockCvtDateTime2Utc(&DateTime, pllUTC) : NO_DATE;
    if (ret != CLOCK_OK) {
        TC_TRACE(DBG_LEVEL_ERROR, "Fail to convert date time to UTC time. RetCode:%d\n", ret);
        return FALSE;
    }
    if (ThrottlePasses(_tCurrentSourceLogTime, tNow, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_DEBUG,
                 "Sucessfully converted Date time to UTC. Date:: %d-%d-%d-%02dh%02dm%02ds%06dus --> UTC:: %016llu.\n",
                 DateTime.year, DateTime.month, DateTime.dayOfMonth, DateTime.hour, DateTime.min, DateTime.sec,
                 DateTime.microsec, static_cast<unsigned long long>(*pllUTC));
    return TRUE;
}

} // namespace timecode
