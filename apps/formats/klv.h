// KLV local sets (MISB ST 0601): the UTC of tag 2, taken only from a set whose checksum is right.
// The checksum is the only guard of a set on its way, so a set without one is as bad as a set with a wrong one.
#ifndef ENCODER_FORMATS_KLV_H
#define ENCODER_FORMATS_KLV_H

#include <vector>

#include "formats/result.h"

namespace encoder {

struct LocalSetsRead {
    std::vector<std::int64_t> UTCs;   // microseconds since 1970-01-01 00:00:00 UTC, one for each good set, in order
    std::vector<const char *> Broken; // why each set was refused that is cut short or has not the right checksum

    unsigned nEg0104 = 0; // sets of the older standard MISB EG 0104, which are not read

    // Ok when there is a UTC, Broken when there is none because of a broken set, NotOurs for all else.
    ReadResult Result() const;
};

// Reads all local sets of a packet. Sets under other keys and sets without tag 2 are passed over by their length, and
// so is the five-byte header that goes before each key in synchronous carriage (stream type 0x15).
LocalSetsRead ReadLocalSets(Bytes Packet);

// A complete local set with the UTC (tag 2), the version (tag 65) and the checksum (tag 1).
std::vector<std::uint8_t> BuildLocalSet(std::int64_t llUTC);

} // namespace encoder

#endif
