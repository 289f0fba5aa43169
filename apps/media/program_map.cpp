// What the program maps of a transport stream say about its streams.
// Only a map within one packet is read: more than forty streams would be needed to fill it.
#include "media/program_map.h"

#include <cstddef>
#include <optional>

extern "C" {
#include <libavutil/crc.h>
}

namespace encoder {

namespace {

constexpr std::size_t PACKET_SIZE = 188;
constexpr std::size_t HEADER_SIZE = 4;
constexpr std::uint8_t TABLE_PROGRAM_MAP = 2;
constexpr std::size_t MAP_HEADER_SIZE = 12; // up to the descriptors of the program
constexpr std::size_t CRC_SIZE = 4;
constexpr std::size_t ENTRY_SIZE = 5;

std::size_t TwelveBits(Bytes Data, std::size_t nAt) {
    return static_cast<std::size_t>(Data[nAt] & 0xF) << 8 | Data[nAt + 1];
}

// The section that begins in a packet, whole and with the right checksum.
std::optional<Bytes> MapIn(Bytes Packet) {
    const bool bBegins = (Packet[1] & 0x40) != 0;
    const bool bPayloadOnly = (Packet[3] & 0x30) == 0x10;
    if (!bBegins || !bPayloadOnly || HEADER_SIZE + 1U + Packet[HEADER_SIZE] + MAP_HEADER_SIZE > PACKET_SIZE)
        return std::nullopt;
    const Bytes Rest = Packet.subspan(HEADER_SIZE + 1U + Packet[HEADER_SIZE]);
    const std::size_t nSize = TwelveBits(Rest, 1) + 3;
    if (Rest[0] != TABLE_PROGRAM_MAP || nSize > Rest.size() || nSize < MAP_HEADER_SIZE + CRC_SIZE)
        return std::nullopt;
    if (av_crc(av_crc_get_table(AV_CRC_32_IEEE), UINT32_MAX, Rest.data(), nSize) != 0)
        return std::nullopt;
    return Rest.first(nSize - CRC_SIZE);
}

} // namespace

std::vector<MapEntry> ReadProgramMap(Bytes Packet) {
    std::vector<MapEntry> Streams;
    const std::optional<Bytes> Found = MapIn(Packet);
    if (!Found)
        return Streams;
    const Bytes Map = *Found;
    std::size_t nAt = MAP_HEADER_SIZE + TwelveBits(Map, MAP_HEADER_SIZE - 2);
    for (; nAt + ENTRY_SIZE <= Map.size(); nAt += ENTRY_SIZE + TwelveBits(Map, nAt + 3))
        Streams.push_back({(Map[nAt + 1] & 0x1F) << 8 | Map[nAt + 2], Map[nAt]});
    return Streams;
}

} // namespace encoder
