// The table of coded pictures.
// Rows of one input stand in coding order; those of several inputs are mixed.
#include "report/csv.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "media/failure.h"
#include "report/utc_text.h"

namespace encoder {

namespace {

constexpr const char *HEADER = "input,coding_index,pts,result,source,source_name,status,status_words,utc,timecode,"
                               "generated_timecode,same_record\n";

// MISB ST 0603: bit 7 not locked, bit 6 discontinuity, bit 5 backwards.
std::string StatusColumns(std::optional<BYTE> StatusByte) {
    if (!StatusByte)
        return ",";
    char szText[64];
    std::snprintf(
        szText, sizeof(szText), "0x%02X,%s %s %s", *StatusByte, (*StatusByte & 0x80) != 0 ? "FLYWHEEL" : "LOCKED",
        (*StatusByte & 0x40) != 0 ? "DISCONTINUITY" : "NORMAL", (*StatusByte & 0x20) != 0 ? "REVERSE" : "FORWARD");
    return szText;
}

std::string RowText(const CsvRow &Row) {
    char szSource[40] = "";
    Timecode_GetTimecodeSourceString(Row.enSourceInUse, szSource, sizeof(szSource));
    return std::to_string(Row.nInput) + "," + std::to_string(Row.nCodingIndex) + "," + std::to_string(Row.nPTS) + "," +
           (Row.bTimed ? "TRUE" : "FALSE") + "," + std::to_string(Row.enSourceInUse) + "," + szSource + "," +
           StatusColumns(Row.StatusByte) + "," + (Row.UTC ? UtcText(*Row.UTC) : "") + "," + Row.szTimecode + "," +
           Row.szGenerated + "," + (Row.bSameRecord ? "TRUE" : "FALSE") + "\n";
}

} // namespace

CsvWriter::CsvWriter(std::string szPath) : m_szPath(std::move(szPath)) {
    if (m_szPath.empty())
        return;
    m_File.reset(m_szPath == "-" ? stdout : std::fopen(m_szPath.c_str(), "we"));
    if (!m_File) {
        throw Failure(ExitCode::Output,
                      "cannot write table '" + m_szPath + "': " + std::generic_category().message(errno));
    }
    WriteText(HEADER);
}

void CsvWriter::WriteText(const std::string &szText) {
    const std::lock_guard Lock(m_Mutex);
    if (std::fputs(szText.c_str(), m_File.get()) == EOF)
        throw Failure(ExitCode::Output, "writing table '" + m_szPath + "': " + std::generic_category().message(errno));
}

void CsvWriter::Write(const CsvRow &Row) {
    if (m_File)
        WriteText(RowText(Row));
}

void CsvWriter::Finish() {
    const std::lock_guard Lock(m_Mutex);
    if (m_File && std::fflush(m_File.get()) == EOF)
        throw Failure(ExitCode::Output, "writing table '" + m_szPath + "': " + std::generic_category().message(errno));
}

} // namespace encoder
