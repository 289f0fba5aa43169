// stamp-report: what time stamps a recording carries, and how good they are.
// Reads each input to its end, then writes what was asked for.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>

#include "common/console.h"
#include "common/ffmpeg_log.h"
#include "options.h"
#include "words.h"
#include "writers.h"

namespace report {

using namespace encoder;

void WriteAll(const std::string &szText, const std::string &szFile) {
    if (szFile == "-") {
        PrintAll(szText.c_str(), stdout);
        return;
    }
    std::FILE *const pFile = std::fopen(szFile.c_str(), "we");
    const bool bWritten = pFile != nullptr && std::fwrite(szText.data(), 1, szText.size(), pFile) == szText.size();
    const bool bClosed = pFile != nullptr && std::fclose(pFile) == 0;
    if (!bWritten || !bClosed)
        throw Failure(ExitCode::Output, "cannot write '" + szFile + "'");
}

namespace {

constexpr std::chrono::milliseconds FOREVER{0}; // an input that falls silent is waited for

std::atomic<bool> g_bStop{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

void HandleSignals() {
    struct sigaction Action {};
    Action.sa_handler = [](int) { g_bStop = true; }; // without SA_RESTART: a wait for data must end
    sigaction(SIGINT, &Action, nullptr);
    sigaction(SIGTERM, &Action, nullptr);
    Action.sa_handler = SIG_IGN; // a closed output and a file that grows too large are errors of the write
    sigaction(SIGPIPE, &Action, nullptr);
    sigaction(SIGXFSZ, &Action, nullptr);
}

class Progress {
public:
    explicit Progress(Console &Out) : m_Out(Out) {}

    void Tell(const std::string &szPath, const Survey &Seen) {
        if (Clock::now() < m_Next)
            return;
        m_Next = Clock::now() + PERIOD;
        m_Out.Status(szPath + ": " + std::to_string(Seen.Pictures.size()) + " pictures");
    }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds PERIOD{250};

    Console &m_Out;
    Clock::time_point m_Next = Clock::now() + PERIOD;
};

// Why the input broke off, or nothing.
std::string ReadAll(Demuxer &In, Surveyor &Seen, const Options &Settings, Console &Out) {
    const PacketPtr Packet = MakePacket();
    Progress Shown(Out);
    const auto IsEnough = [&] {
        return Settings.DurationSeconds > 0 && static_cast<double>(Seen.Result().llDuration) >=
                                                   Settings.DurationSeconds * static_cast<double>(TICKS_PER_SECOND);
    };
    try {
        while (!g_bStop && !IsEnough() && In.Read(*Packet)) {
            Seen.Add(*Packet, In.IsVideo(*Packet) && In.IsMarked(*Packet));
            Shown.Tell(In.Path(), Seen.Result());
        }
        Seen.Finish();
    } catch (const Failure &Failed) {
        Seen.Finish();
        return Failed.what();
    }
    return "";
}

InputReport Examine(const std::string &szPath, const Options &Settings, Console &Out) {
    try {
        Demuxer In(szPath, {Settings.Stream, {}, false}, FOREVER, g_bStop);
        const std::optional<PictureRate> Rate = MakePictureRate(In.Rate());
        using Look = Surveyor::LookForVitc;
        Surveyor Seen(In, Rate, Settings.bVitc ? Look::Everywhere : Look::FirstSeconds);
        const std::string szFailure = ReadAll(In, Seen, Settings, Out);
        InputReport Report = ReportInput(szPath, In.Video(), Seen.Result(), Rate);
        if (!szFailure.empty())
            AddFailure(Report, szFailure);
        return Report;
    } catch (const Failure &Failed) {
        return ReportFailure(szPath, Failed.what());
    }
}

Verdict Worst(const std::vector<InputReport> &Reports) {
    for (const Verdict enVerdict : {Verdict::Unusable, Verdict::Suspicious, Verdict::Nothing})
        if (std::ranges::count(Reports, enVerdict, &InputReport::enVerdict) > 0)
            return enVerdict;
    return Verdict::Sound;
}

Verdict Run(const Options &Settings, Console &Out) {
    std::vector<InputReport> Reports;
    for (const std::string &szInput : Settings.Inputs) {
        if (g_bStop && !Reports.empty())
            break; // the others have not been begun
        Reports.push_back(Examine(szInput, Settings, Out));
        Out.Summary(TextOf(Reports.back()));
    }
    const Verdict enVerdict = Worst(Reports);
    if (!Settings.szJson.empty())
        WriteAll(JsonOf(Reports, enVerdict), Settings.szJson);
    if (!Settings.szCsv.empty())
        WriteAll(CsvOf(Reports), Settings.szCsv);
    if (!Settings.szPlot.empty())
        Plot(Reports, Settings.szPlot);
    return enVerdict;
}

} // namespace

} // namespace report

int main(int nArguments, char *pszArguments[]) {
    using namespace report;
    HandleSignals();
    std::unique_ptr<Console> Out = std::make_unique<Console>(false);
    try {
        const std::optional<Options> Settings = ParseOptions(nArguments, pszArguments);
        if (!Settings)
            return EXIT_SUCCESS;
        Out = std::make_unique<Console>(Settings->UsesStdout());
        const FfmpegLog Log(*Out);
        return static_cast<int>(Run(*Settings, *Out));
    } catch (const std::exception &Failed) {
        Out->Error(Failed.what());
    }
    return static_cast<int>(Verdict::Unusable);
}
