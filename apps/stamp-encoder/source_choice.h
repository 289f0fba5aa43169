// Which source an input is to be asked for, when the user leaves that to the program.
#ifndef ENCODER_SOURCE_CHOICE_H
#define ENCODER_SOURCE_CHOICE_H

#include <optional>
#include <string>

#include "media/demuxer.h"
#include "media/picture_rate.h"
#include "tally.h"

namespace encoder {

struct SourceChoice {
    int enSource;                 // TCSOURCE_...
    std::optional<int> KlvStream; // whose local sets serve best, where they were taken
    std::string szFound;          // for the user: what was found and what is taken
};

// Looks at the first two seconds of the input, or less where its data are many or its video stalls; they are read again
// afterwards. Where nothing is found there, time stamps of the best source may still come. With KlvStream, local sets
// of that stream only are considered.
SourceChoice ChooseSource(Demuxer &In, const PictureRate &Rate, std::optional<int> KlvStream);

// Why no picture of an input got a time, and what to try, as a line for the summary; empty when one did, or when none
// was coded.
std::string WhyUntimed(const Tally &Counts, int enSource);

} // namespace encoder

#endif
