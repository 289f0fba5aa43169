// The timecode that a coded picture carries in its SEI: pic_timing of H.264 (D.1.3), time_code of HEVC (D.2.27).
// What pic_timing holds depends on the sequence parameter set that came before it.
#ifndef ENCODER_FORMATS_TIMECODE_SEI_H
#define ENCODER_FORMATS_TIMECODE_SEI_H

#include <optional>

#include "formats/nal.h"
#include "formats/timecode_label.h"

namespace encoder {

// What an H.264 sequence parameter set says about pic_timing messages (E.1.1, E.1.2).
struct PicTimingLayout {
    int nCpbDelayBits = 0; // 0: no delays
    int nDpbDelayBits = 0;
    int nTimeOffsetBits = 24;
    bool bHasPicStruct = false; // without it there is no room for a timecode

    friend bool operator==(const PicTimingLayout &, const PicTimingLayout &) = default;
};

// Reads a sequence parameter set from its header byte on, with emulation prevention; nothing when it is cut short.
std::optional<PicTimingLayout> ReadSps(Bytes Nal);

class TimecodeSeiReader {
public:
    // The parameter sets of the extradata count until others come.
    TimecodeSeiReader(NalFormat Format, Bytes Extradata);

    // The first timecode of an access unit that has hours, minutes and seconds. Whether its frame number exists at the
    // picture rate is for IsValid to say.
    std::optional<TimecodeLabel> Read(Bytes AccessUnit);

private:
    std::optional<TimecodeLabel> ReadSei(Bytes Nal) const;

    NalFormat m_Format;
    std::optional<PicTimingLayout> m_Layout; // of the latest H.264 parameter set
};

} // namespace encoder

#endif
