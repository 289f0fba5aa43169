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
    static constexpr std::size_t MAX_SIZE = 65'527;

    explicit DataPes(int nPid) : m_nPid(static_cast<unsigned>(nPid)) {}

    // The muxer has written data of this size with a PTS: its packets are counted.
    void Count(std::size_t nSize);

    // One PES packet of private stream 1, as whole packets of 188 bytes. The data has at most MAX_SIZE bytes.
    std::vector<std::uint8_t> Packetize(Bytes Data, std::optional<std::uint64_t> PTS);

private:
    unsigned m_nPid;
    std::size_t m_nContinuity = 0; // of the next packet, modulo 16
};

} // namespace encoder

#endif
