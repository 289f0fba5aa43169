// What the user asked for on the command line.
// Everything is checked here, so that the rest of the program can take it as it is.
#ifndef ENCODER_OPTIONS_H
#define ENCODER_OPTIONS_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "common/pts.h"
#include "formats/timecode_label.h"
#include "generate.h"
#include "media/picture_rate.h"
#include "timecode.h"

namespace encoder {

enum class TimecodeFrom { Auto, Sei, Vitc, None };

struct Options {
    bool bHelp = false;
    bool bVersion = false;
    std::optional<GenerateOptions> Generate; // make an input instead of coding one

    std::vector<std::string> Inputs; // one for each video input, at most NUM_VIDEO_INPUTS
    TimecodeFrom enTimecodeFrom = TimecodeFrom::Auto;
    BYTE nLdsStatus = 0x1F;
    std::int64_t llLdsReach = TICKS_PER_SECOND; // ticks for which a local set serves the pictures behind it
    std::optional<PictureRate> Rate;            // else what the input says
    bool bRealtime = false;
    std::optional<size_t> nHold;              // pictures held back, see HeldPictures
    std::optional<std::int64_t> llStartAtUTC; // when the first picture is due, with bRealtime; else at once

    std::chrono::milliseconds LongestSilence{0}; // after which an input has ended; 0: it is waited for
    std::chrono::seconds LogInterval{60};        // between status lines that are not on a terminal; 0: none
    std::optional<int> Stream;                   // the input's stream to code, else the best video
    std::optional<int> KlvStream;                // the only one whose local sets are taken, else the first or best
    bool bPass = true;                           // sound and KLV go over into the output

    int enRevision = MISP_PROFILE_2016_2;
    int enSource = TCSOURCE_NONE; // none: what the input's first seconds carry
    BOOL bSwitching = FALSE;
    std::optional<bool> bKeepCursor; // else kept where neither input nor output has B pictures

    int nResync = 2;                            // frames between timecode and time, see StreamTimecode; 0: any
    std::optional<TimecodeLabel> FirstTimecode; // before the first time; else none

    std::string szOutput;
    bool bCopy = false; // hand the coded pictures on as they are
    bool bHevc = false; // code with libx265 instead of libx264
    std::string szCsv;
    int nBframes = 2;
    std::int64_t llBitrate = 4'000'000;
    std::string szPreset = "veryfast";

    bool KeepsCursor(bool bInputHasBframes) const { return bKeepCursor.value_or(nBframes == 0 && !bInputHasBframes); }
    // The library may be asked for this source.
    bool Reaches(int enWanted) const;
    // How many decoded pictures wait for time stamps that come after them.
    size_t HeldPictures() const;
    bool WritesFilePerInput() const { return szOutput.find("%d") != std::string::npos; }
    // The file of an input, which counts from 0.
    std::string OutputOf(size_t nInput) const;
    bool UsesStdout() const;
};

// Throws a Failure (ExitCode::Usage) that says what is wrong and what is expected.
Options ParseOptions(int nArguments, char *const pszArguments[]);

extern const char *const HELP_TEXT;

} // namespace encoder

#endif
