// Moving a timecode and a UTC time forward.
#include "conversion/elapsed_time.h"

#include "conversion/frame_period.h"
#include "core/digits.h"
#include "core/trace.h"
#include "core/units.h"

namespace timecode {

namespace {

// What goes up into the next larger unit, named after the receiver.
struct Overflow {
    INT64 nHours;
    INT64 nMinutes;
    INT64 nSeconds;
};

// Cuts a unit of 60 to its range and returns what goes up.
INT64 CutToUnit(INT64 &nValue) {
    if (nValue <= 59)
        return 0;
    const INT64 nUp = nValue / 60;
    nValue %= 60;
    return nUp;
}

// Adds the whole seconds; a negative count adds nothing.
Overflow AddSeconds(Hmsf &Time, time_t nSeconds) {
    Overflow Up{};
    if (nSeconds < 1)
        return Up;
    nSeconds %= 86400;
    if (nSeconds >= 3600)
        Time.nHours = (Time.nHours + nSeconds / 3600) % 24;
    nSeconds %= 3600;
    if (nSeconds >= 60) {
        Time.nMinutes += nSeconds / 60;
        Up.nHours = CutToUnit(Time.nMinutes);
    }
    nSeconds %= 60;
    if (nSeconds >= 1) {
        Time.nSeconds += nSeconds;
        Up.nMinutes = CutToUnit(Time.nSeconds);
    }
    return Up;
}

// Adds the fraction as frames, at least one, and returns the whole seconds that they make.
INT64 AddFrames(Hmsf &Time, long nNsec, UINT64 nPicRate, ULONG nVUIFramerate) {
    const auto nNsecPerFrame = static_cast<INT64>(NanoSecPerFrame(nPicRate, nVUIFramerate));
    const INT64 nFrames = nNsecPerFrame > 0 && nNsec >= nNsecPerFrame ? nNsec / nNsecPerFrame : 1;
    const UINT64 nValue = static_cast<UINT64>(Time.nFrames) + static_cast<UINT64>(nFrames);
    if (nValue < nPicRate) {
        Time.nFrames = static_cast<INT64>(nValue);
        return 0;
    }
    const UINT64 OvfFrames = nValue / nPicRate;
    TC_TRACE(DBG_LEVEL_DEBUG, "Overflow happened. nValue:%d, nPictrate:%d, OverflowsFrames:%d. Remainder:%d.\n",
             static_cast<int>(nValue), static_cast<int>(nPicRate), static_cast<int>(OvfFrames),
             static_cast<int>(nValue % nPicRate));
    Time.nFrames = static_cast<INT64>(nValue % nPicRate);
    return static_cast<INT64>(OvfFrames);
}

// The frame number is printed as the record holds it: above 100 frames a second its tens digit is cut to a byte.
void TraceOverflow(const Hmsf &Time, const Overflow &Up) {
    if (!TraceEnabled(DBG_LEVEL_DEBUG))
        return;
    vitc_t Record{};
    SetDigits(Record, Time);
    TC_TRACE(DBG_LEVEL_DEBUG, "Beginning to deal with overflow. Current TC H:%dM:%dS:%dF:%d. Overflows H:%dM:%dS:%d\n",
             static_cast<int>(Time.nHours), static_cast<int>(Time.nMinutes), static_cast<int>(Time.nSeconds),
             static_cast<int>(DigitsOf(Record).nFrames), static_cast<int>(Up.nHours), static_cast<int>(Up.nMinutes),
             static_cast<int>(Up.nSeconds));
}

void AddOverflow(Hmsf &Time, Overflow Up) {
    Time.nSeconds += Up.nSeconds;
    Up.nMinutes += CutToUnit(Time.nSeconds);
    Time.nMinutes += Up.nMinutes;
    Up.nHours += CutToUnit(Time.nMinutes);
    Time.nHours = (Time.nHours + Up.nHours) % 24;
}

} // namespace

BOOL _ElapsedNsecToSMPTE12M(const timespec *pElapsedNsec, int nEncodedPictureRate, ULONG nVUIFramerate,
                            vitc_t *pVitcRecord) {
    if (!TC_IS_GIVEN(pElapsedNsec) || !TC_IS_GIVEN(pVitcRecord) || !IsUsableRate(nEncodedPictureRate, TC_HERE))
        return FALSE;
    TC_TRACE(DBG_LEVEL_DEBUG, "ElapsedTime:%lu.%09lus, nPicRate:%d, VUIFramerate:%d.\n",
             static_cast<unsigned long>(pElapsedNsec->tv_sec), static_cast<unsigned long>(pElapsedNsec->tv_nsec),
             nEncodedPictureRate, static_cast<int>(nVUIFramerate));
    Hmsf Time = DigitsOf(*pVitcRecord);
    Overflow Up = AddSeconds(Time, pElapsedNsec->tv_sec);
    Up.nSeconds = AddFrames(Time, pElapsedNsec->tv_nsec, static_cast<UINT64>(nEncodedPictureRate), nVUIFramerate);
    TraceOverflow(Time, Up);
    AddOverflow(Time, Up);
    SetDigits(*pVitcRecord, Time);
    return TRUE;
}

BOOL _ElapsedUsecToUTC(const timespec *pElapsedNsec, INT64 *pllUTC) {
    if (!TC_IS_GIVEN(pElapsedNsec) || !TC_IS_GIVEN(pllUTC))
        return FALSE;
    *pllUTC = WrappingSum(*pllUTC, SpanToUsec(*pElapsedNsec));
    return TRUE;
}

} // namespace timecode
