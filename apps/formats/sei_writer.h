// Writes a coded picture's time into it: the MISB ST 0604 time stamp, and the timecode in the message that the codec
// has for it, pic_timing (H.264) or time_code (HEVC). For streams with start codes.
#ifndef ENCODER_FORMATS_SEI_WRITER_H
#define ENCODER_FORMATS_SEI_WRITER_H

#include <optional>
#include <vector>

#include "formats/h264_headers.h"
#include "formats/nal.h"
#include "formats/result.h"
#include "formats/stamp_sei.h"
#include "formats/timecode_label.h"

namespace encoder {

class SeiWriter {
public:
    // nDropped: how many numbers a minute leaves out with drop frame, 2 at 29.97 Hz and 4 at 59.94 Hz.
    explicit SeiWriter(bool bHevc, unsigned nDropped = 2) : m_bHevc(bHevc), m_nDropped(nDropped) {}

    struct Result {
        std::vector<std::uint8_t> AccessUnit;
        bool bTimecode = false; // the label is in it
    };

    // Parameter sets that come outside the access units.
    void ReadHeaders(Bytes Nals);

    // Returns the access unit with an SEI NAL unit more, before the picture's first slice and after all that goes
    // before it. Access units come in the order of the stream, since their headers hold on. Messages of the same kinds
    // are replaced: in H.264 the pic_timing message keeps its delays and its pic_struct, and each of its fields gets
    // the label. All other bytes stay; an access unit without a slice comes back unchanged.
    //
    // A label is left out that the message cannot carry (hours above 23, minutes or seconds above 59, frames above 255
    // in H.264 or 511 in HEVC), and in H.264 where the stream's headers leave no place for it: without pic_struct, or
    // with delays of which the access unit tells none.
    Result Insert(Bytes AccessUnit, const std::optional<UtcStamp> &Stamp, const std::optional<TimecodeLabel> &Label);

private:
    std::vector<std::uint8_t> TimecodeMessage(Bytes Slice, Bytes OldTiming, const TimecodeLabel &Label) const;

    const bool m_bHevc;
    const unsigned m_nDropped;
    H264Headers m_Headers;
};

} // namespace encoder

#endif
