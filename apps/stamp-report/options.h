// What the user asked for on the command line.
#ifndef REPORT_OPTIONS_H
#define REPORT_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

namespace report {

struct Options {
    std::vector<std::string> Inputs;
    std::string szJson; // files to write; empty for none, "-" for the standard output
    std::string szCsv;
    std::string szPlot;
    std::optional<int> Stream;  // the video, else the best one
    bool bVitc = false;         // decode everything for VITC lines
    double DurationSeconds = 0; // of each input; 0: to its end

    bool UsesStdout() const { return szJson == "-" || szCsv == "-"; }
};

// Nothing when the text that was asked for has been printed. Throws a Failure (ExitCode::Usage).
std::optional<Options> ParseOptions(int nArguments, const char *const pszArguments[]);

} // namespace report

#endif
