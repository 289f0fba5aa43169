// What a person sees while the program runs: lines on the standard error and, on a terminal, a status line below them.
// In a file or the journal the status is a line at times; the journal is told how grave each line is.
// Any thread may speak.
#ifndef ENCODER_COMMON_CONSOLE_H
#define ENCODER_COMMON_CONSOLE_H

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>

namespace encoder {

// Writes the text at once. Throws a Failure (ExitCode::Output) when the standard output does not take it; whether the
// standard error does is nothing that could be told.
void PrintAll(const char *szText, std::FILE *pTarget);

class Console {
public:
    // With bStdoutIsData the summary goes to the standard error, since the standard output carries stream or table.
    // LogInterval: between two status lines where there is no terminal; 0 for none.
    explicit Console(bool bStdoutIsData, std::chrono::seconds LogInterval = {});
    ~Console(); // leaves no status line behind

    // A line that must be seen: an error. A reader of the standard error that has stalled gets a second to go on; after
    // that, lines are dropped until it does.
    void Error(const std::string &szText);
    // A line for whoever is watching or reads about it afterwards.
    void Notice(const std::string &szText);
    // Replaces the status line, or writes one more when the last is LogInterval old. On a terminal that shows the table
    // there is none.
    void Status(const std::string &szText);
    // Text for the end of the run, with its line ends. On the standard error it is a line like others; throws a Failure
    // (ExitCode::Output) when the standard output does not take it.
    void Summary(const std::string &szText);

private:
    using Clock = std::chrono::steady_clock;

    void WriteLine(int nSeverity, const std::string &szText);
    void EraseStatus();
    bool IsHeard();

    std::mutex m_Mutex;
    const bool m_bStdoutIsData;
    const bool m_bTerminal;
    const bool m_bJournal;
    const std::chrono::seconds m_LogInterval;
    Clock::time_point m_LastLogged = Clock::now();
    bool m_bStatusShown = false;
    bool m_bHeard = true; // the standard error took what was written last
};

} // namespace encoder

#endif
