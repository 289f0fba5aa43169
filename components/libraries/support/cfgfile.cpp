/* Reader of the platform's settings file.
 *
 * The file passes through one fixed buffer line by line, so its size does not matter and nothing is allocated. */
#include "cfgfile_api.h"

#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr size_t MAX_LINE_BYTES = 510;
constexpr std::string_view BLANKS = " \t";
constexpr std::string_view COMMENT_MARKS = "#;";
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

std::string_view Trim(std::string_view szText) {
    const size_t nFirst = szText.find_first_not_of(BLANKS);
    if (nFirst == std::string_view::npos)
        return {};
    return szText.substr(nFirst, szText.find_last_not_of(BLANKS) - nFirst + 1);
}

bool IsOneOf(char cByte, std::string_view szSet) {
    return szSet.find(cByte) != std::string_view::npos;
}

/* Cuts a comment: a mark at the start or after a blank. */
std::string_view WithoutComment(std::string_view szText) {
    for (size_t nAt = 0; nAt < szText.size(); ++nAt)
        if (IsOneOf(szText[nAt], COMMENT_MARKS) && (nAt == 0 || IsOneOf(szText[nAt - 1], BLANKS)))
            return szText.substr(0, nAt);
    return szText;
}

bool ParseInteger(std::string_view szText, int &nValue) {
    if (szText.starts_with('+') && !szText.starts_with("+-"))
        szText.remove_prefix(1);
    const char *const pEnd = szText.data() + szText.size();
    const auto [pStop, enError] = std::from_chars(szText.data(), pEnd, nValue);
    return enError == std::errc{} && pStop == pEnd;
}

/* The setting that is looked for, and what the lines so far say about it. */
struct SEARCH {
    std::string_view szSection;
    std::string_view szKey;
    bool bInSection = false;
    bool bFound = false;
    int nValue = 0;
};

/* A header that cannot be read ends the section before it: what follows belongs to neither. */
void TakeSection(SEARCH &tSearch, std::string_view szLine) {
    const size_t nEnd = szLine.find(']');
    tSearch.bInSection = nEnd != std::string_view::npos && Trim(szLine.substr(1, nEnd - 1)) == tSearch.szSection &&
                         Trim(WithoutComment(szLine.substr(nEnd + 1))).empty();
}

void TakeLine(SEARCH &tSearch, std::string_view szLine) {
    szLine = Trim(szLine);
    if (szLine.empty() || IsOneOf(szLine.front(), COMMENT_MARKS))
        return;
    if (szLine.front() == '[')
        return TakeSection(tSearch, szLine);
    const size_t nEqual = szLine.find('=');
    if (tSearch.bInSection && nEqual != std::string_view::npos && Trim(szLine.substr(0, nEqual)) == tSearch.szKey)
        tSearch.bFound = ParseInteger(Trim(WithoutComment(szLine.substr(nEqual + 1))), tSearch.nValue);
}

/* Reads as read() does, going on after a signal. */
ssize_t ReadBytes(int nFileDescriptor, char *pBytes, size_t nSize) {
    ssize_t nRead = 0;
    do {
        nRead = read(nFileDescriptor, pBytes, nSize);
    } while (nRead < 0 && errno == EINTR);
    return nRead;
}

/* Collects the bytes of a line and hands it on when it is complete. */
class LineCollector {
public:
    // cppcheck-suppress uninitMemberVar ; only the first m_nUsed bytes of m_acLine are ever read
    explicit LineCollector(SEARCH &tSearch) : m_tSearch(tSearch) {}

    void Take(char cByte) {
        if (cByte == '\n')
            return EndLine();
        if (m_nUsed < sizeof m_acLine)
            m_acLine[m_nUsed] = cByte;
        ++m_nUsed;
    }

    void EndLine() {
        if (m_nUsed <= sizeof m_acLine)
            HandOn({m_acLine, m_nUsed});
        m_nUsed = 0;
        m_bFirstLine = false;
    }

private:
    void HandOn(std::string_view szLine) {
        if (m_bFirstLine && szLine.starts_with(BYTE_ORDER_MARK))
            szLine.remove_prefix(BYTE_ORDER_MARK.size());
        if (szLine.ends_with('\r'))
            szLine.remove_suffix(1);
        if (szLine.size() <= MAX_LINE_BYTES)
            TakeLine(m_tSearch, szLine);
    }

    SEARCH &m_tSearch;
    char m_acLine[BYTE_ORDER_MARK.size() + MAX_LINE_BYTES + 1]; /* with a byte order mark and a carriage return */
    size_t m_nUsed = 0;
    bool m_bFirstLine = true;
};

/* False when the file could not be read to its end: a later line might have changed the value. */
bool SearchFile(int nFileDescriptor, SEARCH &tSearch) {
    LineCollector tCollector(tSearch);
    char acBytes[512];
    ssize_t nRead = 0;
    while ((nRead = ReadBytes(nFileDescriptor, acBytes, sizeof acBytes)) > 0)
        for (const char cByte : std::string_view(acBytes, static_cast<size_t>(nRead)))
            tCollector.Take(cByte);
    tCollector.EndLine();
    return nRead == 0;
}

bool FindSetting(const char *szPath, SEARCH &tSearch) {
    // A FIFO or a device in the file's place must not hold up the caller: neither its opening nor its reading.
    const int nFileDescriptor = open(szPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (nFileDescriptor < 0)
        return false;
    struct stat tStatus {};
    const bool bRead =
        fstat(nFileDescriptor, &tStatus) == 0 && S_ISREG(tStatus.st_mode) && SearchFile(nFileDescriptor, tSearch);
    close(nFileDescriptor);
    return bRead && tSearch.bFound;
}

} // namespace

BOOL CfgFile_GetIntValue(const char *szPath, const char *szSection, const char *szKey, int *pnValue, int nDefault) {
    if (pnValue == nullptr)
        return FALSE;
    *pnValue = nDefault;
    if (szPath == nullptr || szSection == nullptr || szKey == nullptr)
        return FALSE;
    SEARCH tSearch{szSection, szKey};
    if (!FindSetting(szPath, tSearch))
        return FALSE;
    *pnValue = tSearch.nValue;
    return TRUE;
}
