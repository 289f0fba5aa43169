// Reads the command line. One table row for each option: its name, and what to do with its value.
#include "options.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <getopt.h>
#include <string_view>

extern "C" {
#include <libavutil/parseutils.h>
}

#include "clock_api.h"
#include "common/file_names.h"
#include "common/pts.h"
#include "media/coverage.h"
#include "media/pts_clock.h"

namespace encoder {

namespace {

constexpr int MAX_BFRAMES = 6; // the most with which the drop-frame generator counts right at 29.97 Hz
constexpr size_t MAX_HELD_PICTURES = 120;
constexpr double MAX_REACH_SECONDS = 60;
constexpr int MAX_RESYNC_FRAMES = 10'000'000; // more than a day has at 60 Hz
constexpr int MAX_LOG_INTERVAL_SECONDS = 86400;
constexpr int MAX_STREAM = 9999;
constexpr double MAX_DURATION_SECONDS = 86400;

[[noreturn]] void Refuse(const std::string &szText) {
    throw Failure(ExitCode::Usage, szText);
}

template <typename Number>
Number ParseNumber(std::string_view Text, Number Lowest, Number Highest, const char *szWhat) {
    const bool bHex = std::is_integral_v<Number> && (Text.starts_with("0x") || Text.starts_with("0X"));
    const char *const pBegin = Text.data() + (bHex ? 2 : 0);
    const char *const pEnd = Text.data() + Text.size();
    Number Value{};
    std::from_chars_result Result{};
    if constexpr (std::is_integral_v<Number>)
        Result = std::from_chars(pBegin, pEnd, Value, bHex ? 16 : 10);
    else
        Result = std::from_chars(pBegin, pEnd, Value);
    if (Result.ec != std::errc() || Result.ptr != pEnd || !(Value >= Lowest && Value <= Highest)) {
        Refuse(std::string(szWhat) + " '" + std::string(Text) + "': a number from " + std::to_string(Lowest) + " to " +
               std::to_string(Highest) + " is expected");
    }
    return Value;
}

struct Word {
    std::string_view Text;
    int nValue;
};

template <size_t N>
int ParseWord(const char *szText, const Word (&Words)[N], const char *szWhat) {
    std::string szExpected;
    for (const Word &Candidate : Words) {
        if (Candidate.Text == szText)
            return Candidate.nValue;
        szExpected += (szExpected.empty() ? "" : ", ") + std::string(Candidate.Text);
    }
    Refuse(std::string(szWhat) + " '" + szText + "': one of " + szExpected + " is expected");
}

constexpr Word SOURCES[] = {{"auto", TCSOURCE_NONE},
                            {"1", 1},
                            {"2", 2},
                            {"3", 3},
                            {"4", 4},
                            {WORD_HIGH_PRECISION, 1},
                            {"klv", 1},
                            {WORD_VITC, 2},
                            {WORD_SMPTE12M, 2},
                            {WORD_LDS, 3},
                            {"system", 4}};
constexpr Word TIMECODES[] = {{"auto", static_cast<int>(TimecodeFrom::Auto)},
                              {"sei", static_cast<int>(TimecodeFrom::Sei)},
                              {"vitc", static_cast<int>(TimecodeFrom::Vitc)},
                              {"none", static_cast<int>(TimecodeFrom::None)}};
constexpr Word CODECS[] = {{"h264", 0}, {"hevc", 1}};
constexpr Word CURSORS[] = {{"keep", 1}, {"clear", 0}};
constexpr Word PRESETS[] = {{"ultrafast", 0}, {"superfast", 1}, {"veryfast", 2}, {"faster", 3},   {"fast", 4},
                            {"medium", 5},    {"slow", 6},      {"slower", 7},   {"veryslow", 8}, {"placebo", 9}};
constexpr Word REVISIONS[] = {{"20116", MISP_PROFILE_62}, {"20162", MISP_PROFILE_2016_2}, {"settings", 0}};

int ParseRevision(const char *szText) {
    int enRevision = ParseWord(szText, REVISIONS, "--revision");
    if (enRevision == 0)
        Timecode_GetMISPRevisionFromSystemSettings(&enRevision);
    if (enRevision != MISP_PROFILE_62 && enRevision != MISP_PROFILE_2016_2) {
        Refuse("the settings file asks for MISP revision " + std::to_string(enRevision) +
               "; 20116 or 20162 is expected");
    }
    return enRevision;
}

PictureRate ParseRate(const char *szText) {
    AVRational Rate{};
    std::optional<PictureRate> Parsed;
    if (av_parse_video_rate(&Rate, szText) >= 0)
        Parsed = MakePictureRate(Rate);
    if (!Parsed) {
        Refuse(std::string("--rate '") + szText +
               "': pictures a second, such as 25, 29.97 or 30000/1001, are expected");
    }
    return *Parsed;
}

TimecodeLabel ParseTimecode(const char *szText) {
    const std::optional<TimecodeLabel> Label = FromText(szText);
    if (!Label)
        Refuse(std::string("--first-timecode '") + szText + "': a timecode such as 10:00:00:00 is expected");
    return *Label;
}

INT64 ParseUTC(const char *szText, const char *szOption) {
    date_time_t Time{};
    int nLength = 0;
    INT64 llUTC = 0;
    // NOLINTNEXTLINE(cert-err34-c): the widths bound each number, and the clock service checks the fields.
    if (std::sscanf(szText, "%4d-%2d-%2dT%2d:%2d:%2dZ%n", &Time.year, &Time.month, &Time.dayOfMonth, &Time.hour,
                    &Time.min, &Time.sec, &nLength) == 6 &&
        nLength > 0 && szText[nLength] == '\0' && ClockCvtDateTime2Utc(&Time, &llUTC) == CLOCK_OK)
        return llUTC;
    Refuse(std::string(szOption) + " '" + szText + "': a time such as 2024-05-01T23:59:50Z is expected");
}

// A start farther away than a day is a slip: nobody lets a program wait for that long.
INT64 ParseStartAt(const char *szText) {
    const INT64 llStart = ParseUTC(szText, "--start-at");
    const INT64 llDistance = llStart - ClockGetUtc();
    if (llDistance > MAX_START_DISTANCE_USEC || llDistance < -MAX_START_DISTANCE_USEC)
        Refuse(std::string("--start-at '") + szText + "' is more than a day away; a start within a day is expected");
    return llStart;
}

DropOut ParseDropOut(std::string_view Text) {
    const size_t nColon = Text.find(':');
    const size_t nDash = Text.find('-', nColon == std::string_view::npos ? 0 : nColon);
    if (nColon == std::string_view::npos || nDash == std::string_view::npos) {
        Refuse("--drop '" + std::string(Text) +
               "': SOURCE:FROM-TO is expected, such as 1:5-12.5 for seconds 5 to 12.5");
    }
    DropOut Silence;
    Silence.nSource = ParseNumber(Text.substr(0, nColon), 1, 3, "--drop, source");
    Silence.FromSeconds =
        ParseNumber(Text.substr(nColon + 1, nDash - nColon - 1), 0.0, MAX_DURATION_SECONDS, "--drop, first second");
    Silence.ToSeconds =
        ParseNumber(Text.substr(nDash + 1), Silence.FromSeconds, MAX_DURATION_SECONDS, "--drop, last second");
    return Silence;
}

// What the table's actions fill: the options, and what must be put together once all have been read.
struct Reading {
    Options Result;
    GenerateOptions Generate;
    int nInputs = 0;
    bool bCodingSetting = false;
    bool bGenerateSetting = false;
};

struct OptionRow {
    const char *szName;
    int nArgument; // required_argument or no_argument
    void (*pfnRead)(Reading &Out, const char *szValue);
};

GenerateOptions &GenerateSetting(Reading &Out) {
    Out.bGenerateSetting = true;
    return Out.Generate;
}

constexpr OptionRow OPTION_ROWS[] = {
    {"help", no_argument, [](Reading &Out, const char *) { Out.Result.bHelp = true; }},
    {"version", no_argument, [](Reading &Out, const char *) { Out.Result.bVersion = true; }},
    {"output", required_argument, [](Reading &Out, const char *sz) { Out.Result.szOutput = sz; }},
    {"inputs", required_argument,
     [](Reading &Out, const char *sz) { Out.nInputs = ParseNumber(sz, 1, NUM_VIDEO_INPUTS, "--inputs"); }},
    {"timecode", required_argument,
     [](Reading &Out, const char *sz) {
         Out.Result.enTimecodeFrom = static_cast<TimecodeFrom>(ParseWord(sz, TIMECODES, "--timecode"));
     }},
    {"lds-status", required_argument,
     [](Reading &Out, const char *sz) {
         Out.Result.nLdsStatus = static_cast<BYTE>(ParseNumber(sz, 0, 0xFF, "--lds-status"));
     }},
    {"lds-reach", required_argument,
     [](Reading &Out, const char *sz) {
         Out.Result.llLdsReach =
             std::llround(ParseNumber(sz, 0.0, MAX_REACH_SECONDS, "--lds-reach (seconds)") * TICKS_PER_SECOND);
     }},
    {"resync", required_argument,
     [](Reading &Out, const char *sz) { Out.Result.nResync = ParseNumber(sz, 0, MAX_RESYNC_FRAMES, "--resync"); }},
    {"first-timecode", required_argument,
     [](Reading &Out, const char *sz) { Out.Result.FirstTimecode = ParseTimecode(sz); }},
    {"stream", required_argument,
     [](Reading &Out, const char *sz) { Out.Result.Stream = ParseNumber(sz, 0, MAX_STREAM, "--stream"); }},
    {"klv-stream", required_argument,
     [](Reading &Out, const char *sz) { Out.Result.KlvStream = ParseNumber(sz, 0, MAX_STREAM, "--klv-stream"); }},
    {"no-pass", no_argument, [](Reading &Out, const char *) { Out.Result.bPass = false; }},
    {"realtime", no_argument, [](Reading &Out, const char *) { Out.Result.bRealtime = true; }},
    {"start-at", required_argument,
     [](Reading &Out, const char *sz) {
         Out.Result.bRealtime = true;
         Out.Result.llStartAtUTC = ParseStartAt(sz);
     }},
    {"hold", required_argument,
     [](Reading &Out, const char *sz) { Out.Result.nHold = ParseNumber<size_t>(sz, 0, MAX_HELD_PICTURES, "--hold"); }},
    {"end-after-silence", required_argument,
     [](Reading &Out, const char *sz) {
         const double Seconds = ParseNumber(sz, 0.1, MAX_DURATION_SECONDS, "--end-after-silence (seconds)");
         Out.Result.LongestSilence = std::chrono::milliseconds(std::llround(Seconds * 1000));
     }},
    {"log-interval", required_argument,
     [](Reading &Out, const char *sz) {
         Out.Result.LogInterval =
             std::chrono::seconds(ParseNumber(sz, 0, MAX_LOG_INTERVAL_SECONDS, "--log-interval (seconds)"));
     }},
    {"revision", required_argument, [](Reading &Out, const char *sz) { Out.Result.enRevision = ParseRevision(sz); }},
    {"source", required_argument,
     [](Reading &Out, const char *sz) { Out.Result.enSource = ParseWord(sz, SOURCES, "--source"); }},
    {"switching", no_argument, [](Reading &Out, const char *) { Out.Result.bSwitching = TRUE; }},
    {"cursor", required_argument,
     [](Reading &Out, const char *sz) { Out.Result.bKeepCursor = ParseWord(sz, CURSORS, "--cursor") == 1; }},
    {"csv", required_argument, [](Reading &Out, const char *sz) { Out.Result.szCsv = sz; }},
    {"bframes", required_argument,
     [](Reading &Out, const char *sz) {
         Out.bCodingSetting = true;
         Out.Result.nBframes = ParseNumber(sz, 0, MAX_BFRAMES, "--bframes");
     }},
    {"bitrate", required_argument,
     [](Reading &Out, const char *sz) {
         Out.bCodingSetting = true;
         Out.Result.llBitrate = 1000 * ParseNumber<std::int64_t>(sz, 1, 500'000, "--bitrate (kbit/s)");
     }},
    {"copy", no_argument, [](Reading &Out, const char *) { Out.Result.bCopy = true; }},
    {"codec", required_argument,
     [](Reading &Out, const char *sz) {
         Out.bCodingSetting = true;
         Out.Result.bHevc = ParseWord(sz, CODECS, "--codec") == 1;
     }},
    {"preset", required_argument,
     [](Reading &Out, const char *sz) {
         Out.bCodingSetting = true;
         ParseWord(sz, PRESETS, "--preset");
         Out.Result.szPreset = sz;
     }},
    {"rate", required_argument,
     [](Reading &Out, const char *sz) {
         Out.Result.Rate = ParseRate(sz);
         Out.Generate.nRateNumerator = Out.Result.Rate->Exact.num;
         Out.Generate.nRateDenominator = Out.Result.Rate->Exact.den;
     }},
    {"generate", required_argument,
     [](Reading &Out, const char *sz) {
         Out.Generate.szFile = sz;
         Out.Result.Generate.emplace();
     }},
    {"duration", required_argument,
     [](Reading &Out, const char *sz) {
         GenerateSetting(Out).DurationSeconds = ParseNumber(sz, 0.1, MAX_DURATION_SECONDS, "--duration (seconds)");
     }},
    {"drop", required_argument,
     [](Reading &Out, const char *sz) { GenerateSetting(Out).DropOuts.push_back(ParseDropOut(sz)); }},
    {"start-utc", required_argument,
     [](Reading &Out, const char *sz) { GenerateSetting(Out).llStartUTC = ParseUTC(sz, "--start-utc"); }},
};

void RefuseInput(const Options &Out, const std::string &szWritten) {
    const auto IsWritten = [&](const std::string &szInput) { return IsSameFile(szInput, szWritten); };
    if (szWritten != "-" && std::ranges::any_of(Out.Inputs, IsWritten))
        Refuse("'" + szWritten + "' is an input; choose another file to write");
}

void CheckCoding(const Options &Out) {
    if (Out.Inputs.empty())
        Refuse("no input is given; name a video file, or make one with --generate FILE");
    if (Out.szOutput.empty())
        Refuse("no output is given; add -o FILE.ts");
    if (std::ranges::count_if(Out.Inputs, NamesStdin) > 1)
        Refuse("the standard input can be read by one input only");
    RefuseInput(Out, Out.szCsv);
    for (size_t n = 0; n < Out.Inputs.size(); n++) {
        const std::string szStream = Out.OutputOf(n);
        RefuseInput(Out, szStream);
        if (IsSameFile(szStream, Out.szCsv) || (NamesStdout(szStream) && NamesStdout(Out.szCsv)))
            Refuse("stream and table cannot both go to '" + Out.szCsv + "'");
    }
}

// Fewer files than inputs: the last file serves the rest.
void SpreadInputs(std::vector<std::string> &Inputs, int nInputs) {
    const size_t nWanted = nInputs > 0 ? static_cast<size_t>(nInputs) : Inputs.size();
    if (Inputs.size() > nWanted || nWanted > NUM_VIDEO_INPUTS) {
        Refuse(std::to_string(Inputs.size()) + " files for " +
               std::to_string(nInputs > 0 ? nInputs : NUM_VIDEO_INPUTS) + " inputs; name at most one for each");
    }
    if (!Inputs.empty())
        Inputs.resize(nWanted, std::string(Inputs.back()));
}

Options Finish(Reading &Read) {
    Options &Out = Read.Result;
    if (Out.bHelp || Out.bVersion)
        return Out;
    if (Out.Generate) {
        if (!Out.Inputs.empty() || !Out.szOutput.empty())
            Refuse("--generate makes an input and codes nothing; run the program again with the file that it made");
        Out.Generate = Read.Generate;
        return Out;
    }
    if (Read.bGenerateSetting)
        Refuse("--duration, --drop and --start-utc belong to --generate FILE");
    if (Out.bCopy && Read.bCodingSetting)
        Refuse("--codec, --preset, --bframes and --bitrate are for coding; --copy codes nothing");
    SpreadInputs(Out.Inputs, Read.nInputs);
    CheckCoding(Out);
    return Out;
}

} // namespace

std::string Options::OutputOf(size_t nInput) const {
    std::string szPath = szOutput;
    if (WritesFilePerInput())
        szPath.replace(szPath.find("%d"), 2, std::to_string(nInput + 1));
    return szPath;
}

bool Options::Reaches(int enWanted) const {
    return enSource == enWanted || (bSwitching == TRUE && enRevision == MISP_PROFILE_62);
}

// A VITC reading may wait for the next to confirm it, and a local set may be multiplexed after its picture: video is
// sent ahead of its PTS, often by half a second, and data is not.
size_t Options::HeldPictures() const {
    constexpr size_t FOR_LOCAL_SETS = 20;
    constexpr size_t FOR_VITC = 3;
    constexpr size_t FOR_VITC_LIVE = 2;
    if (nHold || Reaches(TCSOURCE_LDS_TIMESTAMP))
        return nHold.value_or(FOR_LOCAL_SETS);
    return bRealtime ? FOR_VITC_LIVE : FOR_VITC;
}

bool Options::UsesStdout() const {
    return NamesStdout(szOutput) || NamesStdout(szCsv);
}

Options ParseOptions(int nArguments, char *const pszArguments[]) {
    std::vector<option> Table;
    for (const OptionRow &Row : OPTION_ROWS)
        Table.push_back({Row.szName, Row.nArgument, nullptr, 0});
    Table.push_back({});
    Reading Read;
    int nRow = 0;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no thread has been started yet.
    for (int nFound = 0; (nFound = getopt_long(nArguments, pszArguments, "ho:", Table.data(), &nRow)) != -1;)
        if (nFound == '?')
            Refuse("see --help"); // getopt has said what is wrong
        else if (nFound == 'h')
            Read.Result.bHelp = true;
        else if (nFound == 'o')
            Read.Result.szOutput = optarg;
        else
            OPTION_ROWS[nRow].pfnRead(Read, optarg);
    Read.Result.Inputs.assign(pszArguments + optind, pszArguments + nArguments);
    return Finish(Read);
}

} // namespace encoder
