// What a person sees while the program runs.
#include "common/console.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "common/failure.h"

namespace encoder {

namespace {

constexpr size_t DEFAULT_COLUMNS = 80;
constexpr std::chrono::milliseconds LONGEST_WAIT{1000};

size_t TerminalColumns() {
    winsize Size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &Size) == 0 && Size.ws_col > 0 ? Size.ws_col : DEFAULT_COLUMNS;
}

// Severities of syslog.
constexpr int SEVERITY_ERROR = 3;
constexpr int SEVERITY_NOTICE = 5;
constexpr int SEVERITY_INFO = 6;

// The journal names the stream that it reads from.
bool IsJournal() {
    const char *const szStream = secure_getenv("JOURNAL_STREAM");
    struct stat Target {};
    return szStream != nullptr && fstat(STDERR_FILENO, &Target) == 0 &&
           std::to_string(Target.st_dev) + ":" + std::to_string(Target.st_ino) == szStream;
}

} // namespace

void PrintAll(const char *szText, std::FILE *pTarget) {
    const bool bWritten = std::fputs(szText, pTarget) != EOF && std::fflush(pTarget) != EOF;
    if (!bWritten && pTarget == stdout)
        throw Failure(ExitCode::Output,
                      "cannot write to the standard output: " + std::generic_category().message(errno));
}

Console::Console(bool bStdoutIsData, std::chrono::seconds LogInterval)
    : m_bStdoutIsData(bStdoutIsData), m_bTerminal(isatty(STDERR_FILENO) == 1), m_bJournal(IsJournal()),
      m_LogInterval(LogInterval) {}

Console::~Console() {
    EraseStatus();
}

void Console::EraseStatus() {
    if (m_bStatusShown && IsHeard()) {
        std::fputs("\r\033[K", stderr);
        m_bStatusShown = false;
    }
}

// The pictures must not wait for somebody to read about them: a write to a pipe that is full or to a terminal that is
// stopped would block, and with it the thread that decodes.
bool Console::IsHeard() {
    const Clock::time_point Deadline = Clock::now() + (m_bHeard ? LONGEST_WAIT : std::chrono::milliseconds{0});
    pollfd Target{STDERR_FILENO, POLLOUT, 0};
    int nReady = 0;
    do {
        // A signal ends the wait early; the next one is as much shorter.
        const auto Left = std::chrono::ceil<std::chrono::milliseconds>(Deadline - Clock::now());
        nReady = poll(&Target, 1, std::max(0, static_cast<int>(Left.count())));
    } while (nReady < 0 && errno == EINTR);
    m_bHeard = nReady > 0;
    return m_bHeard;
}

void Console::WriteLine(int nSeverity, const std::string &szText) {
    const std::lock_guard Lock(m_Mutex);
    if (!IsHeard())
        return;
    EraseStatus();
    const std::string szSeverity = m_bJournal ? "<" + std::to_string(nSeverity) + ">" : "";
    std::fprintf(stderr, "%s%s: %s\n", szSeverity.c_str(), program_invocation_short_name, szText.c_str());
}

void Console::Error(const std::string &szText) {
    WriteLine(SEVERITY_ERROR, szText);
}

void Console::Notice(const std::string &szText) {
    WriteLine(SEVERITY_NOTICE, "note: " + szText);
}

void Console::Status(const std::string &szText) {
    if (!m_bTerminal) {
        const bool bDue = m_LogInterval.count() > 0 && Clock::now() - m_LastLogged >= m_LogInterval;
        if (bDue) {
            m_LastLogged = Clock::now();
            WriteLine(SEVERITY_INFO, "status: " + szText);
        }
        return;
    }
    const std::lock_guard Lock(m_Mutex);
    if ((m_bStdoutIsData && isatty(STDOUT_FILENO) == 1) || !IsHeard())
        return;
    EraseStatus();
    // A line that breaks could not be taken back.
    std::fputs(szText.substr(0, TerminalColumns() - 1).c_str(), stderr);
    std::fflush(stderr);
    m_bStatusShown = true;
}

void Console::Summary(const std::string &szText) {
    const std::lock_guard Lock(m_Mutex);
    EraseStatus();
    if (!m_bStdoutIsData || IsHeard())
        PrintAll(szText.c_str(), m_bStdoutIsData ? stderr : stdout);
}

} // namespace encoder
