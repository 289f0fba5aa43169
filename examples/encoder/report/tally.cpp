// Counts what happens on one input, tells the first occurrence of each problem, and sums up at the end.
#include "report/tally.h"

#include <cstdio>
#include <utility>

#include "report/utc_text.h"

namespace encoder {

namespace {

struct EventRow {
    Event enEvent;
    const char *szSummary;
    const char *szFirst; // told at the first occurrence; null for what is no problem
};

constexpr EventRow EVENT_ROWS[] = {
    {Event::PictureCoded, "pictures coded", nullptr},
    {Event::PictureTimed, "with their time", nullptr},
    {Event::PictureUntimed, "without a time", nullptr},
    {Event::StampHighPrecision, "time stamps of source 1 (ST 0604 SEI) handed in", nullptr},
    {Event::StampSmpte12M, "time stamps of source 2 (SMPTE 12M) handed in", nullptr},
    {Event::StampLds, "time stamps of source 3 (KLV local set) handed in", nullptr},
    {Event::BrokenStampSei, "broken ST 0604 SEI messages", "a broken ST 0604 SEI message is passed over"},
    {Event::BrokenLocalSet, "broken KLV local sets (length or checksum)", "a broken KLV local set is passed over"},
    {Event::DamagedPacket, "packets damaged on their way", "a damaged packet: time stamps in it are passed over"},
    {Event::UndecodablePacket, "packets that could not be decoded", "a packet cannot be decoded"},
    {Event::PictureWithoutPts, "pictures without a PTS, left out", "a picture without a PTS is left out"},
    {Event::PictureNotLater, "pictures not later than the one before, left out",
     "a picture whose PTS is not later than the one before is left out"},
    {Event::StampWithoutPts, "time stamps in packets without a PTS, passed over",
     "a time stamp in a packet without a PTS is passed over"},
    {Event::LocalSetWithoutPts, "KLV local sets without a PTS (took that of the picture last read)",
     "KLV local sets come without a PTS and take that of the picture last read"},
    {Event::VitcRejected, "VITC readings that were not believed",
     "a VITC reading that follows from no other is not believed"},
    {Event::AbsurdTime, "time stamps outside the years 1990 to 2100, passed on unchanged",
     "a time stamp far from our time is passed on unchanged; its writer may have taken another unit than microseconds"},
};

const EventRow &RowOf(Event enEvent) {
    return EVENT_ROWS[static_cast<size_t>(enEvent)];
}

constexpr bool RowsAreInOrder() {
    size_t n = 0;
    for (const EventRow &Row : EVENT_ROWS)
        if (static_cast<size_t>(Row.enEvent) != n++)
            return false;
    return n == static_cast<size_t>(Event::NumberOfEvents);
}
static_assert(RowsAreInOrder());

} // namespace

Tally::Tally(int nInput, std::string szPath, Console &Out)
    : m_nInput(nInput), m_szPath(std::move(szPath)), m_Console(Out) {}

void Tally::Count(Event enEvent, std::uint64_t nTimes) {
    const std::uint64_t nBefore = m_Times[static_cast<size_t>(enEvent)].fetch_add(nTimes);
    if (nTimes > 0 && nBefore == 0 && RowOf(enEvent).szFirst != nullptr)
        m_Console.Notice("input " + std::to_string(m_nInput) + " '" + m_szPath + "': " + RowOf(enEvent).szFirst);
}

std::string Tally::Status(double Seconds) const {
    char szSource[40] = "";
    Timecode_GetTimecodeSourceString(m_enSource, szSource, sizeof(szSource));
    const std::uint64_t nCoded = Times(Event::PictureCoded);
    const INT64 llLastUTC = m_llLastUTC;
    char szText[160];
    std::snprintf(szText, sizeof(szText), "%d: %llu pictures %.0f/s, %s, %s", m_nInput,
                  static_cast<unsigned long long>(nCoded), Seconds > 0 ? static_cast<double>(nCoded) / Seconds : 0.0,
                  szSource, llLastUTC == 0 ? "no UTC yet" : UtcText(llLastUTC).c_str());
    return szText;
}

std::string Tally::Summary(double Seconds) const {
    char szSpeed[32];
    std::snprintf(szSpeed, sizeof(szSpeed), "%.1f s", Seconds);
    std::string szText = "input " + std::to_string(m_nInput) + " '" + m_szPath + "' (" + szSpeed + "):\n";
    for (const EventRow &Row : EVENT_ROWS) {
        // What a run is about is told even when it did not happen; problems only when they did.
        if (Row.szFirst == nullptr || Times(Row.enEvent) > 0) {
            char szCount[24];
            std::snprintf(szCount, sizeof(szCount), "%10llu  ", static_cast<unsigned long long>(Times(Row.enEvent)));
            szText += szCount + std::string(Row.szSummary) + "\n";
        }
    }
    return szText;
}

} // namespace encoder
