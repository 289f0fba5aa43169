// What a person sees while the program runs.
#include "common/console.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <sys/ioctl.h>
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

} // namespace

void PrintAll(const char *szText, std::FILE *pTarget) {
    const bool bWritten = std::fputs(szText, pTarget) != EOF && std::fflush(pTarget) != EOF;
    if (!bWritten && pTarget == stdout)
        throw Failure(ExitCode::Output,
                      "cannot write to the standard output: " + std::generic_category().message(errno));
}

Console::Console(bool bStdoutIsData) : m_bStdoutIsData(bStdoutIsData), m_bTerminal(isatty(STDERR_FILENO) == 1) {}

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
    using Clock = std::chrono::steady_clock;
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

void Console::WriteLine(const std::string &szText) {
    const std::lock_guard Lock(m_Mutex);
    if (!IsHeard())
        return;
    EraseStatus();
    std::fprintf(stderr, "stamp-encoder: %s\n", szText.c_str());
}

void Console::Error(const std::string &szText) {
    WriteLine(szText);
}

void Console::Notice(const std::string &szText) {
    if (m_bTerminal)
        WriteLine(szText);
}

void Console::Status(const std::string &szText) {
    if (!m_bTerminal)
        return;
    const std::lock_guard Lock(m_Mutex);
    if (!IsHeard())
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
