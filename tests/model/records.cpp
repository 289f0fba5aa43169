#include "model/records.h"

#include <iomanip>

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
    return {Payload(Utc.MotionImageryTimestamp), Utc.nTimestamp64, Utc.enTimecodeSource, Utc.tpInsertionTime};
}

std::string SourceText(int enSource) {
    constexpr std::array NAMES = {"none", "high precision", "timecode", "local set", "system clock"};
    if (enSource == TCSOURCE_NOT_CHOSEN)
        return "not chosen";
    const bool bNamed = enSource >= 0 && enSource < static_cast<int>(NAMES.size());
    return bNamed ? NAMES.at(static_cast<size_t>(enSource)) : "source " + std::to_string(enSource);
}

std::ostream &operator<<(std::ostream &Out, const Record &Told) {
    const vitc_t Vitc = Told.Payload.Timecode();
    Out << SourceText(Told.enSource) << ", PTS " << Told.nPts << ", inserted at " << Told.tpInserted << ", ";
    if (Told.enSource != TCSOURCE_SMPTE12M_TIMESTAMP)
        return Out << "UTC " << Told.Payload.Utc() << ", status 0x" << std::hex << +Told.Payload.Status() << std::dec
                   << " (as timecode: " << Vitc << ')';
    return Out << "timecode " << Vitc << " (as UTC " << Told.Payload.Utc() << ')';
}

} // namespace model

std::ostream &operator<<(std::ostream &Out, const timespec &Time) {
    return Out << Time.tv_sec << '.' << std::setw(9) << std::setfill('0') << Time.tv_nsec << std::setfill(' ') << " s";
}

// The digits; the other fields only where one of them is set.
std::ostream &operator<<(std::ostream &Out, const vitc_t &Vitc) {
    const model::Digits Time = model::DigitsOf(Vitc);
    const auto Two = [&Out](INT64 nValue) -> std::ostream & {
        return Out << std::setw(2) << std::setfill('0') << nValue << std::setfill(' ');
    };
    Two(Time.nHours) << ':', Two(Time.nMinutes) << ':', Two(Time.nSeconds) << ':', Two(Time.nFrames);
    vitc_t OnlyDigits{};
    for (const auto pDigit : {&vitc_t::FrameUnits, &vitc_t::FrameTens, &vitc_t::SecondUnits, &vitc_t::SecondTens,
                              &vitc_t::MinuteUnits, &vitc_t::MinuteTens, &vitc_t::HourUnits, &vitc_t::HourTens})
        OnlyDigits.*pDigit = Vitc.*pDigit;
    if (Vitc == OnlyDigits)
        return Out;
    Out << " of bytes" << std::hex;
    for (size_t nByte = 0; nByte < TIMECODE_BYTES; ++nByte)
        Out << ' ' << +reinterpret_cast<const unsigned char *>(&Vitc)[nByte];
    return Out << std::dec;
}
