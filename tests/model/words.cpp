// The model's records, requests and answers in words.
#include <iomanip>

#include "model/library.h"

namespace model {

std::string SourceText(int enSource) {
    constexpr std::array NAMES = {"none", "high precision", "timecode", "local set", "system clock"};
    if (enSource == TCSOURCE_NOT_CHOSEN)
        return "not chosen";
    const bool bNamed = enSource >= 0 && enSource < static_cast<int>(NAMES.size());
    return bNamed ? NAMES.at(static_cast<size_t>(enSource)) : "source " + std::to_string(enSource);
}

std::ostream &operator<<(std::ostream &Out, const Record &Told) {
    const vitc_t Vitc = Told.Payload.Timecode();
    Out << SourceText(Told.enSource) << ", PTS " << Told.nPTS << ", inserted at " << Told.tpInserted << ", ";
    if (Told.enSource != TCSOURCE_SMPTE12M_TIMESTAMP)
        return Out << "UTC " << Told.Payload.Utc() << ", status 0x" << std::hex << +Told.Payload.Status() << std::dec
                   << " (as timecode: " << Vitc << ')';
    return Out << "timecode " << Vitc << " (as UTC " << Told.Payload.Utc() << ')';
}

std::ostream &operator<<(std::ostream &Out, const Cursor &Told) {
    if (Told.enKind == Cursor::Kind::Record)
        return Out << "at record " << Told.nRecord;
    return Out << (Told.enKind == Cursor::Kind::None ? "none" : "foreign");
}

std::ostream &operator<<(std::ostream &Out, const Request &Told) {
    constexpr std::array NULLS = {"nothing", "source", "record", "timecode", "same-record flag", "cursor"};
    return Out << "input " << Told.nInput << ", " << SourceText(Told.enSource) << ", switching " << Told.bSwitch
               << ", rate " << Told.nRate << ", code " << Told.nCode << ", PTS " << Told.nPTS << ", base PTS "
               << Told.nBasePTS << ", base UTC " << Told.llBaseUTC
               << ", null: " << NULLS.at(static_cast<size_t>(Told.enNull)) << ", cursor " << Told.Cursor;
}

std::ostream &operator<<(std::ostream &Out, const Answer &Told) {
    Out << (Told.bResult == TRUE ? "TRUE" : Told.bResult == FALSE ? "FALSE" : "neither TRUE nor FALSE");
    Out << "\n    record: ";
    Told.Utc ? Out << *Told.Utc : Out << "untouched";
    Out << "\n    timecode: ";
    Told.Timecode ? Out << *Told.Timecode : Out << "untouched";
    Out << "\n    same-record flag: ";
    Told.bSame ? Out << *Told.bSame : Out << "untouched";
    return Out << "\n    cursor: " << Told.Cursor;
}

std::ostream &operator<<(std::ostream &Out, const Statistics &Told) {
    return Out << SourceText(Told.enSource) << " in use, " << Told.nSwitches << " switches";
}

std::ostream &operator<<(std::ostream &Out, const Said &Told) {
    for (size_t nLevel = 0; nLevel < Told.nMessages.size(); ++nLevel)
        if (Told.nMessages.at(nLevel) != 0)
            Out << Told.nMessages.at(nLevel) << " of level " << nLevel << ", ";
    return Out << Told.nReports << " reports";
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
