// What the program map of a transport stream says about one of its streams (ISO/IEC 13818-1).
// FFmpeg does not tell, and how KLV is carried can be seen nowhere else.
#ifndef ENCODER_MEDIA_PROGRAM_MAP_H
#define ENCODER_MEDIA_PROGRAM_MAP_H

#include <optional>

#include "formats/result.h"

namespace encoder {

constexpr int STREAM_TYPE_METADATA = 0x15; // of KLV in synchronous carriage

// The stream type of a PID by the first whole program map that has it, in any bytes of a stream of 188-byte packets.
std::optional<int> StreamTypeOf(Bytes Stream, int nPid);

} // namespace encoder

#endif
