// Reading the system UTC through the clock service, and checking dates.
#include "conversion/system_clock.h"

#include <ctime>

#include "clock_api.h"
#include "core/shared.h"
#include "core/trace.h"

namespace timecode {

BOOL _GetUTCFromSystemClock(long long *pllUTC) {
    if (!TC_IS_GIVEN(pllUTC))
        return FALSE;
    const INT64 UTCTime = ClockGetUtc();
    if (UTCTime == -1) {
        TC_TRACE(DBG_LEVEL_ERROR, "Fail to retreive UTC time from system time. RetCode:%d\n",
                 static_cast<int>(UTCTime));
        return FALSE;
    }
    *pllUTC = UTCTime;
    TC_TRACE(DBG_LEVEL_DEBUG, "Successfully retreived UTC time from system time:%016llu.\n",
             static_cast<unsigned long long>(UTCTime));
    return TRUE;
}

BOOL _VerifyDateFromUTC(const INT64 *pllUTC) {
    static time_t _tOldTime;
    const time_t tNow = time(nullptr);
    if (!TC_IS_GIVEN(pllUTC))
        return FALSE;
    // The calendar beneath converts every UTC; one that a platform puts in its place may not.
    date_time_t DateTime{};
    if (ClockCvtUtc2DateTime(*pllUTC, &DateTime) != CLOCK_OK)
        return TRUE;
    TC_TRACE(DBG_LEVEL_DEBUG, "Sucessfully converted UTC time:: %016llu to date time:: %d-%d-%d-%dh%dm%ds%dus.\n",
             static_cast<unsigned long long>(*pllUTC), DateTime.year, DateTime.month, DateTime.dayOfMonth,
             DateTime.hour, DateTime.min, DateTime.sec, DateTime.microsec);
    if (DateTime.year > 1999)
        return TRUE;
    if (ThrottlePasses(_tOldTime, tNow, SLOW_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_WARNING, "Year:%d is below 2000.\n", DateTime.year);
    return FALSE;
}

} // namespace timecode
