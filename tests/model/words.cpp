// The model's records, requests and answers in words.
#include <iomanip>

#include "model/demand.h"
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
    return Out << SourceText(Told.enSource) << ", PTS " << Told.nPTS << ", inserted at "
               << In64(Told.nInserted / NSEC_PER_SEC) << " s " << In64(Told.nInserted % NSEC_PER_SEC) << " ns, UTC "
               << Told.Payload.Utc() << ", status 0x" << std::hex << +Told.Payload.Status() << std::dec
               << ", the same as timecode " << Told.Payload.Timecode();
}

std::ostream &operator<<(std::ostream &Out, const Request &Told) {
    constexpr std::array NULLS = {"nothing", "source", "record", "timecode", "same-record flag", "cursor"};
    return Out << "input " << Told.nInput << ", " << SourceText(Told.enSource) << ", switching " << Told.bSwitch
               << ", rate " << Told.nRate << ", code " << Told.nCode << ", PTS " << Told.nPTS << ", base PTS "
               << Told.nBasePTS << ", base UTC " << Told.llBaseUTC
               << ", null: " << NULLS.at(static_cast<size_t>(Told.enNull)) << ", cursor " << Told.nCursor;
}

std::ostream &operator<<(std::ostream &Out, const Answer &Told) {
    Out << "result " << Told.bResult;
    Tell(Out << "\n    record: ", Told.Utc);
    Tell(Out << "\n    timecode: ", Told.Timecode);
    Tell(Out << "\n    same-record flag: ", Told.bSame);
    return Out << "\n    cursor: " << Told.nCursor << " (-1: none, -2: no record of the input)";
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

// The digits; all bytes only where there is more than digits.
std::ostream &operator<<(std::ostream &Out, const vitc_t &Vitc) {
    const model::Digits Time = model::DigitsOf(Vitc);
    Out << std::setfill('0') << std::setw(2) << Time.nHours << ':' << std::setw(2) << Time.nMinutes << ':'
        << std::setw(2) << Time.nSeconds << ':' << std::setw(2) << Time.nFrames << std::setfill(' ');
    vitc_t OnlyDigits{};
    model::SetDigits(OnlyDigits, Time);
    if (Vitc == OnlyDigits)
        return Out;
    Out << " of bytes" << std::hex;
    for (size_t nByte = 0; nByte < TIMECODE_BYTES; ++nByte)
        Out << ' ' << +reinterpret_cast<const unsigned char *>(&Vitc)[nByte];
    return Out << std::dec;
}
