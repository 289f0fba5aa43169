// What is to be said about one input: its sources, how they agree, and what is suspicious about them.
#ifndef REPORT_INPUT_REPORT_H
#define REPORT_INPUT_REPORT_H

#include <optional>
#include <string>
#include <vector>

#include "agreement.h"

namespace report {

enum class Verdict : int { Sound = 0, Nothing = 1, Unusable = 2, Suspicious = 3 }; // the program's exit code

struct InputReport {
    std::string szPath{};
    std::string szVideo{}; // codec and size; empty when the input could not be opened
    std::optional<encoder::PictureRate> Rate{};
    std::uint64_t nPictures = 0;
    std::uint64_t nPicturesWithoutPTS = 0;
    std::uint64_t nDamagedPackets = 0;
    std::uint64_t nEg0104 = 0; // local sets of MISB EG 0104, which are not read
    std::size_t nPTSSteps = 0;
    double Seconds = 0;
    std::vector<SeriesReport> Series{};
    std::vector<Agreement> Agreements{};
    std::string szFailure{}; // why the input could not be read, or not to its end
    std::vector<std::string> Suspicions{};
    std::string szTake{}; // what to give stamp-encoder; empty when nothing serves
    Verdict enVerdict = Verdict::Nothing;
};

InputReport ReportInput(const std::string &szPath, const AVStream &Video, const encoder::Survey &Seen,
                        const std::optional<encoder::PictureRate> &Rate);

// An input that could not be opened.
InputReport ReportFailure(const std::string &szPath, const std::string &szFailure);

// The input broke off: what was read before is told. Where that holds no time stamp, it is unusable.
void AddFailure(InputReport &Report, const std::string &szFailure);

// "high-precision", or "lds, stream 3" where the input has several of a kind.
std::string NameOf(const InputReport &Report, std::size_t nSeries);

} // namespace report

#endif
