// Digits of a timecode, spans of time, and the names of the sources.
#include "core/record.h"

#include <array>

#include "strutil.h"

namespace timecode {

static INT64 Value(unsigned char nTens, unsigned char nUnits) {
    return nTens * 10 + nUnits;
}

static void Split(INT64 nValue, unsigned char &nTens, unsigned char &nUnits) {
    nTens = static_cast<unsigned char>(nValue / 10);
    nUnits = static_cast<unsigned char>(nValue % 10);
}

Hmsf DigitsOf(const vitc_t &Vitc) {
    return {Value(Vitc.HourTens, Vitc.HourUnits), Value(Vitc.MinuteTens, Vitc.MinuteUnits),
            Value(Vitc.SecondTens, Vitc.SecondUnits), Value(Vitc.FrameTens, Vitc.FrameUnits)};
}

void SetDigits(vitc_t &Vitc, const Hmsf &Time) {
    Split(Time.nHours, Vitc.HourTens, Vitc.HourUnits);
    Split(Time.nMinutes, Vitc.MinuteTens, Vitc.MinuteUnits);
    Split(Time.nSeconds, Vitc.SecondTens, Vitc.SecondUnits);
    Split(Time.nFrames, Vitc.FrameTens, Vitc.FrameUnits);
}

timespec _ConvertNsecToTimespec(UINT64 nsec) {
    return {static_cast<time_t>(nsec / 1'000'000'000), static_cast<long>(nsec % 1'000'000'000)};
}

} // namespace timecode

char *Timecode_GetTimecodeSourceString(int enTimecodeSouce, char *szBuffer, int nSize) {
    static constexpr std::array<const char *, 5> NAMES = {
        "None", "High Precision TimeStamp", "VITC Commercial TimeStamp", "LDS Timestamp", "System TimeStamp"};
    static char szInvalid[] = "Invalid input buffer";
    if (szBuffer == nullptr || nSize <= 0)
        return szInvalid;
    const bool bKnown = enTimecodeSouce >= 0 && enTimecodeSouce < static_cast<int>(NAMES.size());
    CopyString(szBuffer, bKnown ? NAMES[static_cast<size_t>(enTimecodeSouce)] : "(Unknown)",
               static_cast<UINT64>(static_cast<INT64>(nSize)));
    return szBuffer;
}
