// stamp-encoder: codes video again and gives every coded picture its time with the timecode library.
// Starts the library, an input's threads for each input, and watches them; everything else has a file of its own.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <exception>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <optional>
#include <pthread.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "common/ffmpeg_log.h"
#include "generate.h"
#include "pipeline.h"
#include "source_choice.h"

namespace {

using namespace encoder;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds STATUS_PERIOD{250};
constexpr std::chrono::milliseconds WATCH_PERIOD{20};

// After a stop, the main thread's own wait for a reader is interrupted once more.
constexpr unsigned LONGEST_BLOCK_SECONDS = 2;

std::atomic<bool> g_bStop{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

void HandleStopSignal(int nSignal) {
    if (g_bStop.exchange(true))
        _exit(128 + nSignal);
    alarm(LONGEST_BLOCK_SECONDS);
}

void Handle(int nSignal, void (*pfnHandler)(int)) {
    struct sigaction Action {};
    Action.sa_handler = pfnHandler; // without SA_RESTART: a wait for data must end
    sigaction(nSignal, &Action, nullptr);
}

void HandleSignals() {
    Handle(SIGINT, HandleStopSignal);
    Handle(SIGTERM, HandleStopSignal);
    Handle(SIGUSR1, [](int) {});
    Handle(SIGALRM, [](int) {});
    // A closed output and a file that grows too large are errors of the write.
    Handle(SIGPIPE, SIG_IGN);
    Handle(SIGXFSZ, SIG_IGN);
}

// A file opened while a standard stream is closed would take its number, and the summary would go into that file. The
// placeholder is read-only, so writing the summary to it fails and is reported.
void FillStandardStreams() {
    int nFile = 0;
    while (nFile >= 0 && nFile <= STDERR_FILENO)
        nFile = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(nFile);
}

// The library's life: started before any thread of an input, stopped when none is left.
class TimecodeLibrary {
public:
    explicit TimecodeLibrary(int enRevision) { TimecodeLib_Init(enRevision); }
    ~TimecodeLibrary() { TimecodeLib_Shutdown(); }
    TimecodeLibrary(const TimecodeLibrary &) = delete;
    TimecodeLibrary &operator=(const TimecodeLibrary &) = delete;
};

class Run {
public:
    Run(const Options &Settings, Console &Out)
        : m_Options(Settings), m_Console(Out), m_Library(Settings.enRevision), m_Outcome(Out) {}

    ExitCode Carry();

private:
    void OpenInputs();
    void OpenOutputs();
    void Watch();
    void Close();
    void Summarise();
    std::string Status() const;
    std::string LibraryShare() const;

    const Options &m_Options;
    Console &m_Console;
    TimecodeLibrary m_Library;
    std::optional<CsvWriter> m_Table;
    Outcome m_Outcome;
    std::vector<std::unique_ptr<TsWriter>> m_Writers;
    std::vector<std::unique_ptr<Pipeline>> m_Pipelines;
};

ExitCode Run::Carry() {
    OpenInputs();
    OpenOutputs();
    for (const auto &Input : m_Pipelines)
        Input->Start(*m_Table, m_Outcome);
    Watch();
    Close();
    return m_Outcome.Code();
}

// Opens the inputs at once, each in a thread of its own, so that none loses its beginning while another is looked into.
// One that fails ends the run: the others need not wait for their inputs.
class Opening {
public:
    Opening(const Options &Settings, Console &Out) : m_Opened(Settings.Inputs.size()) {
        try {
            for (size_t n = 0; n < m_Opened.size(); n++)
                m_Threads.emplace_back([this, n, &Settings, &Out] { Open(n, Settings, Out); });
        } catch (...) {
            g_bStop = true;
            Join();
            throw;
        }
    }
    ~Opening() { Join(); }
    Opening(const Opening &) = delete;
    Opening &operator=(const Opening &) = delete;

    bool IsDone() const { return m_nDone == m_Opened.size(); }
    // Wakes those that wait for data, so that they see the stop flag.
    void Interrupt() {
        for (std::thread &Input : m_Threads)
            pthread_kill(Input.native_handle(), SIGUSR1);
    }
    // When all are done: the inputs, or the first failure.
    std::vector<std::unique_ptr<Pipeline>> Result() {
        if (m_Failed)
            std::rethrow_exception(m_Failed);
        return std::move(m_Opened);
    }

private:
    void Join() {
        for (std::thread &Input : m_Threads)
            Input.join();
    }

    void Open(size_t nInput, const Options &Settings, Console &Out) {
        try {
            m_Opened[nInput] = std::make_unique<Pipeline>(static_cast<int>(nInput), Settings, Out, g_bStop);
        } catch (...) {
            const std::lock_guard Lock(m_Mutex);
            m_Failed = m_Failed ? m_Failed : std::current_exception();
            g_bStop = true;
        }
        m_nDone++;
    }

    std::vector<std::unique_ptr<Pipeline>> m_Opened;
    std::mutex m_Mutex;
    std::exception_ptr m_Failed;
    std::atomic<size_t> m_nDone{0};
    std::vector<std::thread> m_Threads;
};

// All inputs are open before anything is written: a wrong name costs no output.
void Run::OpenInputs() {
    Opening Inputs(m_Options, m_Console);
    while (!Inputs.IsDone()) {
        std::this_thread::sleep_for(WATCH_PERIOD);
        if (g_bStop)
            Inputs.Interrupt();
    }
    m_Pipelines = Inputs.Result();
}

void Run::OpenOutputs() {
    m_Table.emplace(m_Options.szCsv, g_bStop);
    for (size_t n = 0; n < m_Pipelines.size(); n++) {
        if (m_Writers.empty() || m_Options.WritesFilePerInput())
            m_Writers.push_back(std::make_unique<TsWriter>(m_Options.OutputOf(n), g_bStop));
        m_Pipelines[n]->AddTo(*m_Writers.back());
    }
    for (const auto &Writer : m_Writers)
        Writer->Start();
}

// Four inputs fit into 80 columns.
std::string Run::Status() const {
    if (m_Pipelines.size() == 1)
        return m_Pipelines.front()->Counts().Status(m_Pipelines.front()->Progress());
    double Speed = 0;
    std::optional<double> Least;
    std::string szInputs;
    for (const auto &Input : m_Pipelines) {
        Speed += Input->Counts().Speed();
        const std::optional<double> Done = Input->IsRunning() ? Input->Progress() : std::nullopt;
        Least = Done && Least ? std::min(*Done, *Least) : (Done ? Done : Least);
        szInputs += "|" + Input->Counts().ShortStatus();
    }
    const std::string szDone = Least ? " " + std::to_string(std::lround(100 * *Least)) + "%" : "";
    return std::to_string(std::lround(Speed)) + "/s" + szDone + szInputs;
}

void Run::Watch() {
    Clock::time_point NextStatus = Clock::now();
    const auto IsRunning = [](const auto &Input) { return Input->IsRunning(); };
    while (std::any_of(m_Pipelines.begin(), m_Pipelines.end(), IsRunning)) {
        if (Clock::now() >= NextStatus) {
            for (const auto &Input : m_Pipelines)
                if (g_bStop || Input->IsSilent())
                    Input->Interrupt();
            m_Console.Status(Status());
            NextStatus += STATUS_PERIOD;
        }
        std::this_thread::sleep_for(WATCH_PERIOD);
    }
    for (const auto &Input : m_Pipelines)
        Input->Join();
}

void Run::Close() {
    const auto Finish = [this](auto &Written) {
        try {
            Written.Finish();
        } catch (const Failure &Failed) {
            // A full disk has been told about by the thread that met it.
            if (m_Outcome.Code() != ExitCode::Output)
                m_Outcome.Record(Failed);
        }
    };
    for (const auto &Writer : m_Writers)
        Finish(*Writer);
    Finish(*m_Table);
    Summarise();
}

void Run::Summarise() {
    try {
        for (size_t n = 0; n < m_Pipelines.size(); n++) {
            const Tally &Counts = m_Pipelines[n]->Counts();
            if (Counts.Times(Event::PictureCoded) == 0 && m_Outcome.Code() == ExitCode::Ok && !g_bStop) {
                m_Outcome.Record(Failure(ExitCode::Input, "no picture of input '" + m_Options.Inputs[n] +
                                                              "' could be coded; see the counts"));
            }
            m_Console.Summary(Counts.Summary() + WhyUntimed(Counts, m_Pipelines[n]->Source()));
        }
        m_Console.Summary(LibraryShare());
    } catch (const Failure &Failed) {
        m_Outcome.Record(Failed);
    }
}

std::string Run::LibraryShare() const {
    timespec Spent{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &Spent);
    const double Whole = static_cast<double>(Spent.tv_sec) + static_cast<double>(Spent.tv_nsec) / 1e9;
    std::chrono::duration<double> Library{};
    for (const auto &Input : m_Pipelines)
        Library += Input->Counts().LibraryTime();
    char szText[96];
    std::snprintf(szText, sizeof(szText), "the library took %.1f ms of %.1f s of CPU time, %.3f %%\n",
                  Library.count() * 1e3, Whole, 100 * Library.count() / std::max(Whole, 1e-9));
    return szText;
}

ExitCode RunProgram(const Options &Settings, Console &Out) {
    if (Settings.bHelp)
        PrintAll(HELP_TEXT, stdout);
    else if (Settings.bVersion)
        PrintAll("stamp-encoder " TIMECODE_VERSION_STRING "\n", stdout);
    else if (Settings.Generate)
        return static_cast<ExitCode>(GenerateInput(*Settings.Generate, g_bStop));
    else
        return Run(Settings, Out).Carry();
    return ExitCode::Ok;
}

} // namespace

int main(int nArguments, char *pszArguments[]) {
    FillStandardStreams();
    HandleSignals();
    std::unique_ptr<Console> Out = std::make_unique<Console>(false);
    ExitCode enCode = ExitCode::Encoder;
    try {
        const Options Settings = ParseOptions(nArguments, pszArguments);
        Out = std::make_unique<Console>(Settings.UsesStdout(), Settings.LogInterval);
        const FfmpegLog Log(*Out);
        enCode = RunProgram(Settings, *Out);
    } catch (const Failure &Failed) {
        Out->Error(Failed.what());
        enCode = Failed.Code();
    } catch (const std::exception &Failed) {
        Out->Error(Failed.what());
    }
    return static_cast<int>(enCode);
}
