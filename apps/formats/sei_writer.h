// Writes a coded picture's time into it: the MISB ST 0604 time stamp and the timecode of the pic_timing message.
// For H.264 with start codes and without HRD parameters, as libx264 makes it with pic-struct=1.
#ifndef ENCODER_FORMATS_SEI_WRITER_H
#define ENCODER_FORMATS_SEI_WRITER_H

#include <optional>
#include <vector>

#include "formats/result.h"
#include "formats/stamp_sei.h"
#include "formats/timecode_label.h"

namespace encoder {

// Returns the access unit with an SEI NAL unit more, before the picture's first slice and after all that goes before
// it. The label takes the place of the timecode in the encoder's own pic_timing message, whose pic_struct is kept; all
// other messages stay. A label that the message cannot carry (hours above 23, minutes or seconds above 59, frames
// above 255) is left out, and an access unit without a slice comes back unchanged. nDropped: how many numbers a minute
// leaves out with drop frame, 2 at 29.97 Hz and 4 at 59.94 Hz.
std::vector<std::uint8_t> InsertSei(Bytes AccessUnit, const std::optional<UtcStamp> &Stamp,
                                    const std::optional<TimecodeLabel> &Label, unsigned nDropped = 2);

} // namespace encoder

#endif
