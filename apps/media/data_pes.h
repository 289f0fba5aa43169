// Packets of a transport stream that carry data, with or without a PTS (ISO/IEC 13818-1). FFmpeg's muxer would make a
// PTS up for what has none, as local sets in asynchronous carriage.
#ifndef ENCODER_MEDIA_DATA_PES_H
#define ENCODER_MEDIA_DATA_PES_H

#include <optional>
#include <vector>

#include "formats/result.h"

namespace encoder {

class DataPes {
public:
    static constexpr std::uint8_t PRIVATE_STREAM = 0xBD;  // of data in asynchronous carriage
    static constexpr std::uint8_t METADATA_STREAM = 0xFC; // in synchronous carriage

    DataPes(int nPid, std::uint8_t nStreamId) : m_nPid(static_cast<unsigned>(nPid)), m_nStreamId(nStreamId) {}

    // The muxer has written data of this size with a PTS: its packets are counted.
    void Count(std::size_t nSize);

    // One PES packet as whole packets of 188 bytes. What is too long for the length of a PES packet has none, as FFmpeg
    // writes it.
    std::vector<std::uint8_t> Packetize(Bytes Data, std::optional<std::uint64_t> PTS);

private:
    unsigned m_nPid;
    std::uint8_t m_nStreamId;
    std::size_t m_nContinuity = 0; // of the next packet, modulo 16
};

} // namespace encoder

#endif
