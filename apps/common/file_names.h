// What the names of inputs and outputs stand for.
#ifndef ENCODER_COMMON_FILE_NAMES_H
#define ENCODER_COMMON_FILE_NAMES_H

#include <string>

namespace encoder {

// Names under which FFmpeg or the system reads the standard input, or writes to the standard output.
bool NamesStdin(const std::string &szPath);
bool NamesStdout(const std::string &szPath);

// Whether the files exist or not.
bool IsSameFile(const std::string &szFirst, const std::string &szSecond);

} // namespace encoder

#endif
