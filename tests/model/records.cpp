#include "model/records.h"

namespace model {

Digits DigitsOf(const vitc_t &Vitc) {
    return {Vitc.HourTens * 10 + Vitc.HourUnits, Vitc.MinuteTens * 10 + Vitc.MinuteUnits,
            Vitc.SecondTens * 10 + Vitc.SecondUnits, Vitc.FrameTens * 10 + Vitc.FrameUnits};
}

void SetDigits(vitc_t &Vitc, const Digits &Time) {
    const auto Set = [](INT64 nValue, unsigned char &nTens, unsigned char &nUnits) {
        nTens = static_cast<unsigned char>(nValue / 10);
        nUnits = static_cast<unsigned char>(nValue % 10);
    };
    Set(Time.nHours, Vitc.HourTens, Vitc.HourUnits);
    Set(Time.nMinutes, Vitc.MinuteTens, Vitc.MinuteUnits);
    Set(Time.nSeconds, Vitc.SecondTens, Vitc.SecondUnits);
    Set(Time.nFrames, Vitc.FrameTens, Vitc.FrameUnits);
}

Record RecordOf(const MISP_UTC &Utc) {
    return {Payload(Utc.MotionImageryTimestamp), Utc.nTimestamp64, Utc.enTimecodeSource, NsecOf(Utc.tpInsertionTime)};
}

} // namespace model
