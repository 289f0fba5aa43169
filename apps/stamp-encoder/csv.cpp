// The table of coded pictures.
// Rows of one input stand in coding order; those of several inputs are mixed.
#include "csv.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "common/failure.h"
#include "common/utc_text.h"

namespace encoder {

namespace {

constexpr const char *HEADER = "input,coding_index,pts,result,source,source_name,status,status_words,utc,timecode,"
                               "stream_timecode,same_record,utc_us\n";

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
    Timecode_GetTimecodeSourceString(Row.enSource, szSource, sizeof(szSource));
    return std::to_string(Row.nInput) + "," + std::to_string(Row.nCodingIndex) + "," + std::to_string(Row.nPTS) + "," +
           (Row.bTimed ? "TRUE" : "FALSE") + "," + std::to_string(Row.enSource) + "," + szSource + "," +
           StatusColumns(Row.StatusByte) + "," + (Row.UTC ? UtcText(*Row.UTC) : "") + "," + Row.szTimecode + "," +
           Row.szStreamTimecode + "," + (Row.bSameRecord ? "TRUE" : "FALSE") + "," +
           (Row.UTC ? std::to_string(*Row.UTC) : "") + "\n";
}

} // namespace

CsvWriter::CsvWriter(std::string szPath, const std::atomic<bool> &bStop)
    : m_szPath(std::move(szPath)), m_Patience(bStop) {
    if (m_szPath.empty())
        return;
    constexpr mode_t FOR_ALL = 0666; // what the user's mask leaves of it
    constexpr int FLAGS = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC;
    m_nFile = m_szPath == "-" ? STDOUT_FILENO : open(m_szPath.c_str(), FLAGS, FOR_ALL);
    if (m_nFile < 0)
        Fail("cannot write table");
    WriteText(HEADER);
}

CsvWriter::~CsvWriter() {
    if (m_nFile > STDOUT_FILENO)
        close(m_nFile);
}

void CsvWriter::Fail(const std::string &szWhat) const {
    throw Failure(ExitCode::Output, szWhat + " '" + m_szPath + "': " + std::generic_category().message(errno));
}

// A full disk has taken a part of a row. What stands in a file behind the standard output is not cut: it may be
// another's. Nothing but a file can be cut.
void CsvWriter::CutToWholeRows() const {
    if (m_nFile <= STDOUT_FILENO)
        return;
    [[maybe_unused]] const int nIgnored = ftruncate(m_nFile, m_llWholeBytes);
}

// Unbuffered, so that whoever reads along sees each picture at once and nothing is left to be written at the end.
void CsvWriter::WriteText(std::string_view Text) {
    const std::lock_guard Lock(m_Mutex);
    m_Patience.Begin();
    const auto llRow = static_cast<std::int64_t>(Text.size());
    while (!Text.empty()) {
        const ssize_t nWritten = write(m_nFile, Text.data(), Text.size());
        if (nWritten < 0 && errno != EINTR) {
            const int nError = errno;
            CutToWholeRows();
            errno = nError;
            Fail("writing table");
        }
        if (nWritten < 0 && m_Patience.IsOver())
            throw Failure(ExitCode::Output,
                          "table '" + m_szPath + "' takes no more data; it ends where it was stopped");
        Text.remove_prefix(nWritten < 0 ? 0 : static_cast<size_t>(nWritten));
    }
    m_llWholeBytes += llRow;
}

void CsvWriter::Write(const CsvRow &Row) {
    if (m_nFile >= 0)
        WriteText(RowText(Row));
}

void CsvWriter::Finish() {
    const std::lock_guard Lock(m_Mutex);
    const int nFile = std::exchange(m_nFile, -1);
    if (nFile > STDOUT_FILENO && close(nFile) < 0)
        Fail("ending table");
}

} // namespace encoder
