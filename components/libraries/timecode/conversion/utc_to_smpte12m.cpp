// UTC to the timecode of its time of day.
#include <cstring>

#include "clock_api.h"
#include "conversion/frame_period.h"
#include "core/digits.h"
#include "core/shared.h"
#include "core/trace.h"
#include "timecode.h"

using namespace timecode;

namespace {

// 2010-01-01 00:00:00 UTC; an earlier date is more likely a clock that was never set.
constexpr INT64 PLAUSIBLE_SINCE_USEC = 1262304000000000;

const char *MonthName(int nMonth) {
    static constexpr const char *szMonths[] = {"0",   "Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    // Only a calendar that a platform has put beneath the library can leave another one.
    const bool bMonth = nMonth >= 1 && nMonth <= 12;
    return szMonths[bMonth ? nMonth : 0];
}

INT64 FrameNumber(int nMicrosec, UINT64 nPicRate, ULONG nVUIFramerate) {
    const float fMicroSecPerFrame = MicroSecPerFrame(nPicRate, nVUIFramerate);
    const auto fMicrosec = static_cast<float>(nMicrosec);
    if (fMicroSecPerFrame <= 0.0F || fMicrosec < fMicroSecPerFrame)
        return 0;
    const auto nValue = static_cast<UINT64>(fMicrosec / fMicroSecPerFrame);
    return static_cast<INT64>(nValue < nPicRate ? nValue : nValue % nPicRate);
}

} // namespace

BOOL TimeCode_UTCToSMPTE12M(INT64 *pllUTC, int nEncodedPictureRate, ULONG nVUIFramerate, vitc_t *pVitcRecord) {
    static time_t _tLastLogTime;
    static time_t _tCurrentSourceLogTime;
    const time_t tCurrentSeconds = time(nullptr);
    if (!TC_IS_GIVEN(pllUTC) || !TC_IS_GIVEN(pVitcRecord) || !IsUsableRate(nEncodedPictureRate, TC_HERE))
        return FALSE;
    const INT64 llUTC = *pllUTC;
    date_time_t DateTime{};
    ClockCvtUtc2DateTime(llUTC, &DateTime);
    if (llUTC < PLAUSIBLE_SINCE_USEC && ThrottlePasses(_tLastLogTime, tCurrentSeconds, CLOCK_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_WARNING,
                 "Date information might be wrong on system! UTC:%016lu (%d-%s-%d-%02dh%02dm%02ds%06dus)\n",
                 static_cast<unsigned long>(llUTC), DateTime.year, MonthName(DateTime.month), DateTime.dayOfMonth,
                 DateTime.hour, DateTime.min, DateTime.sec, DateTime.microsec);
    if (ThrottlePasses(_tCurrentSourceLogTime, tCurrentSeconds, USUAL_THROTTLE_SECONDS))
        TC_TRACE(DBG_LEVEL_DEBUG, "Sucessfully converted UTC:%016lu to (%d-%s-%d-%02dh%02dm%02ds%06dus)\n",
                 static_cast<unsigned long>(llUTC), DateTime.year, MonthName(DateTime.month), DateTime.dayOfMonth,
                 DateTime.hour, DateTime.min, DateTime.sec, DateTime.microsec);
    std::memset(pVitcRecord, 0, sizeof *pVitcRecord);
    SetDigits(*pVitcRecord, {DateTime.hour, DateTime.min, DateTime.sec,
                             FrameNumber(DateTime.microsec, static_cast<UINT64>(nEncodedPictureRate), nVUIFramerate)});
    return TRUE;
}
