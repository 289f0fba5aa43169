// Reads the command line.
#include "options.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdlib>

#include "common/console.h"
#include "common/failure.h"
#include "common/file_names.h"
#include "timecode.h"

namespace report {

using encoder::ExitCode;
using encoder::Failure;
using encoder::IsSameFile;

namespace {

constexpr double MAX_DURATION_SECONDS = 1e9;
constexpr int MAX_STREAM = 9999;

constexpr const char *DESCRIPTION = "stamp-report: what time stamps a recording carries, and how good they are.\n"
                                    "Reads packets and codes nothing. Tells what to give stamp-encoder's --source.";

constexpr const char *FOOTER =
    "Exit code: 0 sound; 1 no time stamp found; 2 an input cannot be read, an output not written, or the command line "
    "is wrong; 3 time stamps found, but suspicious. Of several inputs the worst counts, in the order 2, 3, 1, 0.\n"
    "Ctrl-C ends the reading, and what was read is reported.";

// What is wrong with a value, if anything: a range lets what is no number pass.
std::string RefuseNoNumber(const std::string &szValue) {
    return std::isnan(std::strtod(szValue.c_str(), nullptr)) ? "'" + szValue + "' is not a number" : "";
}

void Check(const Options &Out) {
    std::vector<std::string> Written;
    for (const std::string &szFile : {Out.szJson, Out.szCsv, Out.szPlot}) {
        if (szFile.empty() || szFile == "/dev/null")
            continue;
        for (const std::string &szInput : Out.Inputs)
            if (szFile != "-" && IsSameFile(szFile, szInput))
                throw Failure(ExitCode::Usage, "'" + szFile + "' is an input; choose another file to write");
        for (const std::string &szOther : Written)
            if (IsSameFile(szFile, szOther))
                throw Failure(ExitCode::Usage, "two outputs cannot both go to '" + szFile + "'");
        Written.push_back(szFile);
    }
    if (!Out.szPlot.empty() && !Out.szPlot.ends_with(".png") && !Out.szPlot.ends_with(".svg"))
        throw Failure(ExitCode::Usage, "--plot '" + Out.szPlot + "': a name that ends in .png or .svg is expected");
}

} // namespace

std::optional<Options> ParseOptions(int nArguments, const char *const pszArguments[]) {
    Options Out;
    CLI::App Line(DESCRIPTION, "stamp-report");
    Line.footer(FOOTER);
    Line.add_option("INPUT", Out.Inputs, "Files or URLs that FFmpeg opens, with H.264, HEVC or MPEG-2 video")
        ->required();
    Line.add_option("--json", Out.szJson, "Write the report as JSON; \"-\" for the standard output");
    Line.add_option("--csv", Out.szCsv, "Write a row for each time stamp; \"-\" for the standard output");
    Line.add_option("--plot", Out.szPlot, "Have gnuplot draw the time stamps against the PTS clock; .png or .svg");
    Line.add_flag("--vitc", Out.bVitc,
                  "Decode all pictures to look for VITC lines, not only the first two seconds of a video without "
                  "timecode in its SEI");
    Line.add_option("--stream", Out.Stream, "Video stream by FFmpeg's number; the best one unless given")
        ->check(CLI::Range(0, MAX_STREAM));
    Line.add_option("--duration", Out.DurationSeconds, "Seconds to read of each input; all with 0 or unless given")
        ->check(CLI::Range(0.0, MAX_DURATION_SECONDS) & CLI::Validator(RefuseNoNumber, ""));
    Line.set_version_flag("--version", "stamp-report " TIMECODE_VERSION_STRING);
    try {
        Line.parse(nArguments, pszArguments);
        Check(Out);
    } catch (const CLI::CallForHelp &) {
        encoder::PrintAll(Line.help().c_str(), stdout);
        return std::nullopt;
    } catch (const CLI::CallForVersion &Version) {
        encoder::PrintAll((std::string(Version.what()) + "\n").c_str(), stdout);
        return std::nullopt;
    } catch (const CLI::ParseError &Wrong) {
        throw Failure(ExitCode::Usage, std::string(Wrong.what()) + "; see --help");
    }
    return Out;
}

} // namespace report
