// Counts what happens on one input, tells the first occurrence of each problem, and sums up at the end.
#include "tally.h"

#include <cmath>
#include <cstdio>
#include <iterator>
#include <utility>

#include "common/utc_text.h"

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
    {Event::StampHighPrecision, "time stamps of source 1 (ST 0604) handed in", nullptr},
    {Event::StampSmpte12M, "time stamps of source 2 (SMPTE 12M) handed in", nullptr},
    {Event::StampLds, "time stamps of source 3 (KLV local sets, moved to their pictures) handed in", nullptr},
    {Event::LocalSet, "KLV local sets read", nullptr},
    {Event::TimecodeResync, "times the timecode was seeded again, having come apart from the time",
     "the timecode has come apart from the picture's time and is seeded again (see --resync)"},
    {Event::PTSStep, "steps of the input's PTS",
     "the PTS step: time starts anew, and the output's PTS are moved to go on"},
    {Event::BrokenStampSei, "broken ST 0604 time stamps", "a broken ST 0604 time stamp is passed over"},
    {Event::BrokenLocalSet, "broken KLV local sets (length or checksum)", "a broken KLV local set is passed over"},
    {Event::LocalSetEg0104, "KLV sets of MISB EG 0104, passed over",
     "KLV sets are of the older standard MISB EG 0104, whose time is not read"},
    {Event::LocalSetOfOther, "local sets of other KLV streams, passed over (see --klv-stream)",
     "local sets of one KLV stream are taken; those of this one are passed over (see --klv-stream)"},
    {Event::DamagedPacket, "packets damaged on their way",
     "a damaged packet: time stamps in it must follow from those before it"},
    {Event::DamagedStamp, "time stamps in damaged packets that were not believed",
     "a time stamp in a damaged packet does not follow from those before it"},
    {Event::UndecodablePacket, "packets that could not be decoded", "a packet cannot be decoded"},
    {Event::PictureWithoutPTS, "pictures without a PTS, counted on at the picture rate",
     "pictures come without a PTS and are counted on at the picture rate (see --rate)"},
    {Event::PictureNotLater, "pictures whose PTS was not later than the one before, put behind it",
     "a picture whose PTS is not later than the one before is put behind it"},
    {Event::LocalSetWithoutPTS, "KLV local sets without a PTS (took that of the picture sent next)",
     "KLV local sets come without a PTS and belong to the picture that is sent next"},
    {Event::LocalSetBehindVideo, "KLV local sets without a PTS and without a picture behind them, passed over",
     "a KLV local set without a PTS and without a picture behind it is passed over"},
    {Event::LocalSetLate, "KLV local sets that came after their picture had left the waiting line (see --hold)",
     "a KLV local set came after its picture had left the waiting line; --hold holds pictures back for longer"},
    {Event::VitcRejected, "VITC readings that were not believed",
     "a VITC reading that follows from no other is not believed"},
    {Event::AbsurdTime, "time stamps outside the years 1990 to 2099, passed on unchanged",
     "a time stamp far from our time is passed on unchanged; its writer may have taken another unit than microseconds"},
    {Event::RateWithoutLabels, "pictures without a timecode, which has no numbers above 60 a second",
     "no timecode is written: SMPTE ST 12-1 has no numbers for more than 60 pictures a second"},
    {Event::FallenSilent, "end by silence (see --end-after-silence)", "it has fallen silent, which ends it"},
    {Event::FieldsTogether, "pictures of two fields coded as one, since the input's headers told of none",
     "a picture of two fields is coded as one, since the input's headers told of none"},
    {Event::NoPlaceForTimecode, "pictures without timecode, for which the stream's headers leave no place",
     "no timecode is written: the stream's headers leave no place for it (pic_struct); the UTC goes in alone"},
    {Event::NotDecoded, "packets that no picture of their own came of (second fields, damage), copied without a time",
     "a packet that no picture of its own comes of (a second field, damage) is copied without a time"},
    {Event::PassedOn, "packets of sound and KLV passed on", nullptr},
    {Event::PassedLater, "packets of sound and KLV not later than the one before, put behind it",
     "a packet of sound or KLV that is not later than the one before is put behind it"},
    {Event::PassedLost, "packets of sound and KLV without a time, left out",
     "a packet of sound or KLV without a time is left out"},
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

void Tally::Count(Event enEvent, std::uint64_t nTimes, const std::string &szWhere) {
    const std::uint64_t nBefore = m_Times[static_cast<size_t>(enEvent)].fetch_add(nTimes);
    if (nTimes > 0 && nBefore == 0 && RowOf(enEvent).szFirst != nullptr)
        Tell(szWhere + RowOf(enEvent).szFirst);
}

void Tally::Tell(const std::string &szText) {
    m_Console.Notice("input " + std::to_string(m_nInput) + " '" + m_szPath + "': " + szText);
}

void Tally::Begin() {
    Clock::rep nNotYet = 0;
    m_nBegan.compare_exchange_strong(nNotYet, Clock::now().time_since_epoch().count());
}

double Tally::Seconds() const {
    const Clock::rep nBegan = m_nBegan;
    return nBegan == 0
               ? 0
               : std::chrono::duration<double>(Clock::now().time_since_epoch() - Clock::duration(nBegan)).count();
}

double Tally::Speed() const {
    const double Elapsed = Seconds();
    return Elapsed > 0 ? static_cast<double>(Times(Event::PictureCoded)) / Elapsed : 0;
}

void Tally::SetLast(int enSource, const std::optional<UtcStamp> &Stamp) {
    m_enSource = enSource;
    m_nStatusByte = Stamp ? Stamp->nStatusByte : -1;
    if (Stamp)
        m_llLastUTC = Stamp->llUTC;
}

std::string Tally::ShortStatus() const {
    constexpr const char *SHORT_NAMES[] = {"--", "HP", "TC", "LDS", "SYS"};
    const auto nSource = static_cast<size_t>(m_enSource);
    const INT64 llLastUTC = m_llLastUTC;
    char szText[40];
    std::snprintf(szText, sizeof(szText), "%s %s %s", nSource < std::size(SHORT_NAMES) ? SHORT_NAMES[nSource] : "--",
                  StatusByteText().c_str(), llLastUTC == 0 ? "--:--:--" : TimeOfDayText(llLastUTC).c_str());
    return szText;
}

std::string Tally::StatusByteText() const {
    char szText[8];
    std::snprintf(szText, sizeof(szText), m_nStatusByte < 0 ? "--" : "%02X", static_cast<unsigned>(m_nStatusByte));
    return szText;
}

std::string Tally::Progress(std::optional<double> Done) const {
    constexpr double ENOUGH_TO_TELL = 0.01;
    if (!Done)
        return "";
    char szText[48];
    const int nWritten = std::snprintf(szText, sizeof(szText), " %.0f %%,", std::floor(100 * *Done));
    if (*Done >= ENOUGH_TO_TELL && nWritten > 0) {
        const long nLeft = std::lround(Seconds() * (1 - *Done) / *Done);
        std::snprintf(szText + nWritten, sizeof(szText) - static_cast<size_t>(nWritten), " %ld:%02ld left,", nLeft / 60,
                      nLeft % 60);
    }
    return szText;
}

std::string Tally::Status(std::optional<double> Done) const {
    char szSource[40] = "";
    Timecode_GetTimecodeSourceString(m_enSource, szSource, sizeof(szSource));
    const INT64 llLastUTC = m_llLastUTC;
    char szText[200];
    std::snprintf(szText, sizeof(szText), "%d: %llu pictures %.0f/s,%s %llu untimed, status %s, %s, %s", m_nInput,
                  static_cast<unsigned long long>(Times(Event::PictureCoded)), Speed(), Progress(Done).c_str(),
                  static_cast<unsigned long long>(Times(Event::PictureUntimed)), StatusByteText().c_str(),
                  llLastUTC == 0 ? "no UTC yet" : UtcText(llLastUTC).c_str(), szSource);
    return szText;
}

std::string Tally::Summary() const {
    char szSpeed[64];
    std::snprintf(szSpeed, sizeof(szSpeed), "%.1f s, %.1f pictures/s", Seconds(), Speed());
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
