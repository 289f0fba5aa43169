// What ends a run early: a text for the user and the exit code of the program.
// Thrown inside the program only; nothing is thrown through FFmpeg or the timecode library.
#ifndef ENCODER_COMMON_FAILURE_H
#define ENCODER_COMMON_FAILURE_H

#include <stdexcept>
#include <string>

namespace encoder {

enum class ExitCode : int {
    Ok = 0,      // also when the user ended the run and the output is whole
    Usage = 1,   // the command line
    Input = 2,   // an input cannot be opened, read or decoded
    Output = 3,  // an output cannot be written
    Encoder = 4, // FFmpeg lacks something, or a picture cannot be coded
};

class Failure : public std::runtime_error {
public:
    Failure(ExitCode enCode, const std::string &szText) : std::runtime_error(szText), m_enCode(enCode) {}
    ExitCode Code() const { return m_enCode; }

private:
    ExitCode m_enCode;
};

} // namespace encoder

#endif
