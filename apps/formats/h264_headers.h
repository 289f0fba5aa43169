// What the parameter sets of an H.264 stream say about its pic_timing messages (ISO/IEC 14496-10, annexes D and E).
// They tell the size of each of the message's fields, and whether there may be one at all.
#ifndef ENCODER_FORMATS_H264_HEADERS_H
#define ENCODER_FORMATS_H264_HEADERS_H

#include <iterator>
#include <map>
#include <optional>

#include "formats/result.h"

namespace encoder {

struct PicTimingFormat {
    bool bPicStruct = false; // pic_struct and clock time stamps are there
    bool bDelays = false;    // the removal and output delays are there
    unsigned nRemovalBits = 0;
    unsigned nOutputBits = 0;
    unsigned nOffsetBits = 24; // of a clock time stamp's offset
    bool bFramesOnly = true;   // no pictures of one field, no fields in a picture

    friend bool operator==(const PicTimingFormat &, const PicTimingFormat &) = default;
};

// The clock time stamps of a picture with a pic_struct: one for each of its fields, in the order in which they are
// shown, or for a frame and its repetitions. 0 for a pic_struct that is not defined.
constexpr unsigned ClockTimestamps(unsigned nPicStruct) {
    constexpr unsigned COUNTS[] = {1, 1, 1, 2, 2, 3, 3, 2, 3};
    return nPicStruct < std::size(COUNTS) ? COUNTS[nPicStruct] : 0;
}

class H264Headers {
public:
    // Any NAL unit; parameter sets are kept, the last of each number. One that cannot be read to its end is not.
    void Read(Bytes Nal);

    // The format that holds for the picture of a slice; nothing while its parameter sets have not come.
    std::optional<PicTimingFormat> FormatOf(Bytes SliceNal) const;

    // The format of the sequence parameter set that came last.
    const std::optional<PicTimingFormat> &Latest() const { return m_Latest; }

private:
    std::map<std::uint32_t, PicTimingFormat> m_Sequences;
    std::map<std::uint32_t, std::uint32_t> m_Pictures; // number of a picture's set -> of its sequence's
    std::optional<PicTimingFormat> m_Latest;
};

} // namespace encoder

#endif
