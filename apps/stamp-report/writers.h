// The forms in which a report goes out.
#ifndef REPORT_WRITERS_H
#define REPORT_WRITERS_H

#include <string>
#include <vector>

#include "input_report.h"

namespace report {

// For people: a few lines for each source.
std::string TextOf(const InputReport &Report);

// One object for all inputs, as docs/stamp-report.md describes it.
std::string JsonOf(const std::vector<InputReport> &Reports, Verdict enVerdict);

// A header, then a row for each time stamp.
std::string CsvOf(const std::vector<InputReport> &Reports);

// Has gnuplot draw how far each time stamp lies from a steady clock. The file's ending, .png or .svg, says the form.
// Throws a Failure (ExitCode::Output) when that fails.
void Plot(const std::vector<InputReport> &Reports, const std::string &szFile);

// Writes to a file, or to the standard output for "-". Throws a Failure (ExitCode::Output).
void WriteAll(const std::string &szText, const std::string &szFile);

// The time of one time stamp: UTC in ISO 8601, or a timecode.
std::string TimeOf(const SeriesReport &Series, const encoder::Sighting &Stamp);

} // namespace report

#endif
