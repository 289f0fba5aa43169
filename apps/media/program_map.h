// What the program maps of a transport stream say about its streams (ISO/IEC 13818-1).
// FFmpeg does not tell, and how KLV is carried can be seen nowhere else.
#ifndef ENCODER_MEDIA_PROGRAM_MAP_H
#define ENCODER_MEDIA_PROGRAM_MAP_H

#include <vector>

#include "formats/result.h"

namespace encoder {

constexpr int STREAM_TYPE_METADATA = 0x15; // of KLV in synchronous carriage

struct MapEntry {
    int nPid = 0;
    int nStreamType = 0;
};

// The streams of the whole program map in a packet of 188 bytes; none where the packet holds no such map.
std::vector<MapEntry> ReadProgramMap(Bytes Packet);

} // namespace encoder

#endif
