// Precision time stamp in a user-data SEI message (MISB ST 0604): a picture's UTC and status byte.
// H.264 and HEVC carry it under different identifiers; each is accepted in its own codec only.
#ifndef ENCODER_FORMATS_STAMP_SEI_H
#define ENCODER_FORMATS_STAMP_SEI_H

#include <array>
#include <vector>

#include "formats/nal.h"
#include "formats/result.h"

namespace encoder {

struct UtcStamp {
    std::uint8_t nStatusByte = 0;
    std::int64_t llUTC = 0; // microseconds since 1970-01-01 00:00:00 UTC, as the stream carries it
};

constexpr std::size_t STAMP_ID_SIZE = 16;
constexpr std::size_t STAMP_PAYLOAD_SIZE = STAMP_ID_SIZE + 1 + 8 + 3; // identifier, status, time, separators

struct StampReading {
    ReadResult enResult = ReadResult::NotOurs;
    UtcStamp Stamp;
    const char *szReason = nullptr; // why it is broken
};

// Reads the payload of a message of type SEI_USER_DATA_UNREGISTERED. Bytes after the time stamp are passed over.
StampReading ReadStampPayload(Bytes Payload, bool bHevc);

// The payload for a stream of the codec.
std::array<std::uint8_t, STAMP_PAYLOAD_SIZE> BuildStampPayload(const UtcStamp &Stamp, bool bHevc);

struct StampsRead {
    std::vector<UtcStamp> Stamps;     // in the order of the stream
    std::vector<const char *> Broken; // why each time stamp was refused that was there but could not be used
};

// Takes the time stamps out of one access unit of H.264 or HEVC.
StampsRead ReadStamps(Bytes AccessUnit, NalFormat Format);

// Takes the time stamps out of one coded picture of MPEG-2, where each fills a user data field, under the identifier of
// H.264.
StampsRead ReadUserDataStamps(Bytes CodedPicture);

} // namespace encoder

#endif
