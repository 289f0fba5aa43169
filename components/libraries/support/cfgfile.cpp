// Reader of the platform's settings file.
//
// The file passes through one fixed buffer line by line, so its size does not matter and nothing is allocated.
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "cancel_guard.h"
#include "cfgfile_api.h"
#include "dbgtrace.h"

namespace {

constexpr size_t MAX_LINE_BYTES = 510;
constexpr std::string_view BLANKS = " \t";
constexpr std::string_view COMMENT_MARKS = "#;";
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

// Parts that a text is known to have. What substr throws would bring in the C++ run-time library.
std::string_view Part(std::string_view szText, size_t nFirst, size_t nBytes) {
    return {szText.data() + nFirst, nBytes};
}

std::string_view After(std::string_view szText, size_t nAt) {
    return Part(szText, nAt + 1, szText.size() - nAt - 1);
}

std::string_view Trim(std::string_view szText) {
    const size_t nFirst = szText.find_first_not_of(BLANKS);
    if (nFirst == std::string_view::npos)
        return {};
    return Part(szText, nFirst, szText.find_last_not_of(BLANKS) - nFirst + 1);
}

bool IsOneOf(char cByte, std::string_view szSet) {
    return szSet.find(cByte) != std::string_view::npos;
}

// Cuts a comment: a mark at the start or after a blank.
std::string_view WithoutComment(std::string_view szText) {
    for (size_t nAt = 0; nAt < szText.size(); ++nAt)
        if (IsOneOf(szText[nAt], COMMENT_MARKS) && (nAt == 0 || IsOneOf(szText[nAt - 1], BLANKS)))
            return Part(szText, 0, nAt);
    return szText;
}

std::optional<int> ParseInteger(std::string_view szText) {
    int nValue = 0;
    if (szText.starts_with('+') && !szText.starts_with("+-"))
        szText.remove_prefix(1);
    const char *const pEnd = szText.data() + szText.size();
    const auto [pStop, enError] = std::from_chars(szText.data(), pEnd, nValue);
    return enError == std::errc{} && pStop == pEnd ? std::optional(nValue) : std::nullopt;
}

// The setting that is looked for, and what the lines so far say about it.
struct SettingSearch {
    const char *szSection;
    const char *szKey;
    UINT64 nLine = 1;
    bool bInSection = false;
    bool bFound = false;
    int nValue = 0;
    // What is wrong with the last line that gives the key, if anything is.
    const char *szFault = nullptr;
    UINT64 nFaultLine = 0;
};

void SetFault(SettingSearch &Search, const char *szFault) {
    Search.szFault = szFault;
    Search.nFaultLine = Search.nLine;
}

// A header that cannot be read ends the section before it: what follows belongs to neither.
void EnterSection(SettingSearch &Search, std::string_view szLine) {
    const size_t nEnd = szLine.find(']');
    Search.bInSection = nEnd != std::string_view::npos && Trim(Part(szLine, 1, nEnd - 1)) == Search.szSection &&
                        Trim(WithoutComment(After(szLine, nEnd))).empty();
}

// What a line that gives the key sets it to; nothing for other lines.
std::optional<std::string_view> ValueIn(const SettingSearch &Search, std::string_view szLine) {
    const size_t nEqual = szLine.find('=');
    if (!Search.bInSection || nEqual == std::string_view::npos || Trim(Part(szLine, 0, nEqual)) != Search.szKey)
        return std::nullopt;
    return Trim(WithoutComment(After(szLine, nEqual)));
}

void ReadLine(SettingSearch &Search, std::string_view szLine) {
    szLine = Trim(szLine);
    if (szLine.empty() || IsOneOf(szLine.front(), COMMENT_MARKS))
        return;
    if (szLine.front() == '[')
        return EnterSection(Search, szLine);
    const auto szValue = ValueIn(Search, szLine);
    if (!szValue)
        return;
    const auto nValue = ParseInteger(*szValue);
    Search.bFound = nValue.has_value();
    Search.nValue = nValue.value_or(Search.nValue);
    SetFault(Search, Search.bFound ? nullptr : "holds no integer within the range of int");
}

// A line whose end is not known: it gives no value and opens no section, but it ends one.
void ReadLongLine(SettingSearch &Search, char cFirst, std::string_view szStart) {
    if (cFirst == '[')
        Search.bInSection = false;
    else if (!IsOneOf(cFirst, COMMENT_MARKS) && ValueIn(Search, szStart))
        SetFault(Search, "is too long");
}

// Reads as read() does, going on after a signal.
ssize_t ReadBytes(int nFileDescriptor, char *pBytes, size_t nSize) {
    ssize_t nRead = 0;
    do {
        nRead = read(nFileDescriptor, pBytes, nSize);
    } while (nRead < 0 && errno == EINTR);
    return nRead;
}

// Collects the bytes of a line and hands it on when it is complete.
class LineCollector {
public:
    // cppcheck-suppress uninitMemberVar ; only the first m_nUsed bytes of m_acLine are ever read
    explicit LineCollector(SettingSearch &Search) : m_Search(Search) {}

    void Add(char cByte) {
        if (cByte == '\n')
            return EndLine();
        if (m_nUsed < sizeof m_acLine)
            m_acLine[m_nUsed] = cByte;
        ++m_nUsed;
        if (IsOneOf(m_cFirst, BLANKS))
            m_cFirst = cByte;
    }

    void EndLine() {
        HandOn({m_acLine, std::min(m_nUsed, sizeof m_acLine)});
        m_nUsed = 0;
        m_cFirst = BLANKS.front();
        m_bFirstLine = false;
        ++m_Search.nLine;
    }

private:
    void HandOn(std::string_view szLine) {
        if (m_bFirstLine && szLine.starts_with(BYTE_ORDER_MARK))
            szLine.remove_prefix(BYTE_ORDER_MARK.size());
        if (szLine.ends_with('\r'))
            szLine.remove_suffix(1);
        if (m_nUsed <= sizeof m_acLine && szLine.size() <= MAX_LINE_BYTES)
            ReadLine(m_Search, szLine);
        else
            ReadLongLine(m_Search, m_cFirst, szLine);
    }

    SettingSearch &m_Search;
    char m_acLine[BYTE_ORDER_MARK.size() + MAX_LINE_BYTES + 1]; // with a byte order mark and a carriage return
    size_t m_nUsed = 0;
    char m_cFirst = BLANKS.front(); // the first byte that is no blank, once there is one
    bool m_bFirstLine = true;
};

// False when the file could not be read to its end: a later line might have changed the value.
bool SearchFile(int nFileDescriptor, SettingSearch &Search) {
    LineCollector Collector(Search);
    char acBytes[512];
    ssize_t nRead = 0;
    while ((nRead = ReadBytes(nFileDescriptor, acBytes, sizeof acBytes)) > 0)
        for (const char cByte : std::string_view(acBytes, static_cast<size_t>(nRead)))
            Collector.Add(cByte);
    if (nRead == 0)
        Collector.EndLine();
    else if (Search.bFound || Search.szFault != nullptr)
        SetFault(Search, "and what follows it cannot be read");
    return nRead == 0;
}

bool FindSetting(const char *szPath, SettingSearch &Search) {
    // A cancelled thread leaves no descriptor open.
    const CancelGuard Guard;
    // A FIFO or a device in the file's place must not hold up the caller: neither its opening nor its reading.
    const int nFileDescriptor = open(szPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (nFileDescriptor < 0)
        return false;
    struct stat Status {};
    const bool bRead =
        fstat(nFileDescriptor, &Status) == 0 && S_ISREG(Status.st_mode) && SearchFile(nFileDescriptor, Search);
    close(nFileDescriptor);
    return bRead && Search.bFound;
}

// Through a handle of its own, since the setting may be read before anybody has opened one.
void ReportFault(const char *szPath, const SettingSearch &Search, int nTaken) {
    HDBG hDbg = nullptr;
    _DoDbgInit("SETTINGS", &hDbg);
    if (DbgIsWritten(hDbg, DBG_LEVEL_WARNING) == TRUE)
        _DoDbgPrintEx(hDbg, DBG_LEVEL_WARNING, "CfgFile_GetIntValue", __FILE__, __LINE__,
                      "[%s] %s is taken as %d: line %llu of %s %s.\n", Search.szSection, Search.szKey, nTaken,
                      static_cast<unsigned long long>(Search.nFaultLine), szPath, Search.szFault);
    _DoDbgUninitEx(&hDbg, "CfgFile_GetIntValue", __FILE__, __LINE__);
}

} // namespace

BOOL CfgFile_GetIntValue(const char *szPath, const char *szSection, const char *szKey, int *pnValue, int nDefault) {
    if (pnValue == nullptr)
        return FALSE;
    *pnValue = nDefault;
    if (szPath == nullptr || szSection == nullptr || szKey == nullptr)
        return FALSE;
    SettingSearch Search{szSection, szKey};
    const bool bFound = FindSetting(szPath, Search);
    if (bFound)
        *pnValue = Search.nValue;
    if (Search.szFault != nullptr)
        ReportFault(szPath, Search, *pnValue);
    return bFound ? TRUE : FALSE;
}
