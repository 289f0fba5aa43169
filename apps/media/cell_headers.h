// KLV in synchronous carriage lies in metadata AU cells (ISO/IEC 13818-1, 2.12.4). FFmpeg takes the header of the first
// cell of a PES packet off; here it is kept, for one PID.
#ifndef ENCODER_MEDIA_CELL_HEADERS_H
#define ENCODER_MEDIA_CELL_HEADERS_H

#include <array>
#include <map>
#include <optional>
#include <vector>

#include "formats/result.h"

namespace encoder {

using CellHeader = std::array<std::uint8_t, 5>;

class CellHeaders {
public:
    // A PES packet that says of itself that it carries metadata begins in this packet of 188 bytes.
    static bool Begins(Bytes Packet);

    // The next packet of 188 bytes with the PID, and its place in the input.
    void LookAt(Bytes Packet, std::int64_t llPlace);

    // The header that the PES packet which begins at a place has before its data. Asked in the order of the input.
    std::optional<CellHeader> Pop(std::int64_t llPlace);

private:
    static constexpr std::size_t MOST_KEPT = 30'000; // of what nobody asks for

    std::vector<std::uint8_t> m_Begin; // of a PES packet, up to its first cell
    std::optional<std::int64_t> m_Place;
    std::map<std::int64_t, CellHeader> m_Kept;
};

} // namespace encoder

#endif
