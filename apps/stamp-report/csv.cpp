// The time stamps themselves, a row for each.
#include "words.h"
#include "writers.h"

namespace report {

using namespace encoder;

namespace {

// As RFC 4180 has it.
std::string Quoted(const std::string &szText) {
    std::string szQuoted = "\"";
    for (const char c : szText)
        szQuoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return szQuoted + "\"";
}

std::string Row(const SeriesReport &Series, std::size_t n) {
    const Sighting &Stamp = Series.Sightings[n];
    const bool bTimecode = HasTimecode(Series.enCarriage);
    std::string szRow = Format("%s,%d,%llu,%.6f,", SourceWord(Series.enCarriage), Series.nStream,
                               static_cast<unsigned long long>(Stamp.At.nPTS), SecondsOf(Stamp.At));
    szRow += bTimecode ? ",," + ToText(Stamp.Label) : std::to_string(Stamp.llUTC) + "," + TimeOf(Series, Stamp) + ",";
    szRow += Series.enCarriage == Carriage::Stamp ? Format(",0x%02X", Stamp.nStatusByte) : std::string(",");
    return szRow + Format(",%.1f\n", Series.DeviationUsec[n]);
}

} // namespace

std::string CsvOf(const std::vector<InputReport> &Reports) {
    std::string szTable = "input,source,stream,pts,seconds,utc_us,utc,timecode,status,deviation_us\n";
    for (const InputReport &Report : Reports)
        for (const SeriesReport &Series : Report.Series)
            for (std::size_t n = 0; n < Series.Sightings.size(); n++)
                szTable += Quoted(Report.szPath) + "," + Row(Series, n);
    return szTable;
}

} // namespace report
