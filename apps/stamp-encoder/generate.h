// Makes an input for a machine that has none: a moving test pattern that carries its time in three ways at once.
// Each picture has a MISB ST 0604 time stamp (source 1), VITC lines (source 2) and a KLV local set (source 3).
#ifndef ENCODER_GENERATE_H
#define ENCODER_GENERATE_H

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace encoder {

// A stretch of the media, in seconds from its start, in which a source is silent: 1 time stamp, 2 VITC lines, 3 KLV.
struct DropOut {
    int nSource = 0;
    double FromSeconds = 0;
    double ToSeconds = 0; // first instant at which the source speaks again
};

struct GenerateOptions {
    std::string szFile;
    int nRateNumerator = 30000; // 30000/1001, 25/1, 50/1 or 60000/1001
    int nRateDenominator = 1001;
    double DurationSeconds = 20;
    std::vector<DropOut> DropOuts;
    std::optional<std::int64_t> llStartUTC; // UTC of the first picture in microseconds; else now, in whole seconds
    std::uint8_t nStatusByte = 0x1F;
};

// Writes the file and tells about it on stdout; an error goes to stderr with the file's name. A set stop flag ends the
// file early but whole. Returns the exit code of the program.
int GenerateInput(const GenerateOptions &Options, const std::atomic<bool> &bStop);

} // namespace encoder

#endif
