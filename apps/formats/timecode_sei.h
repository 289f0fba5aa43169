// The timecode that a coded picture carries in its SEI: pic_timing of H.264 (D.1.3), time_code of HEVC (D.2.27).
// What pic_timing holds depends on the sequence parameter set that came before it.
#ifndef ENCODER_FORMATS_TIMECODE_SEI_H
#define ENCODER_FORMATS_TIMECODE_SEI_H

#include <optional>

#include "formats/h264_headers.h"
#include "formats/nal.h"
#include "formats/timecode_label.h"

namespace encoder {

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
    H264Headers m_Headers; // the latest parameter set counts
};

} // namespace encoder

#endif
