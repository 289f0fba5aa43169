// The headers of metadata AU cells that FFmpeg takes off.
// What is before the first cell may fill more than one packet.
#include "media/cell_headers.h"

#include <algorithm>

namespace encoder {

namespace {

constexpr std::size_t TS_HEADER_SIZE = 4;
constexpr std::array<std::uint8_t, 4> METADATA_BEGIN{0, 0, 1, 0xFC}; // start code, stream
constexpr std::size_t PES_HEADER_SIZE = 9;                           // and so many more as its last byte says

Bytes PayloadOf(Bytes Packet) {
    const bool bHasPayload = (Packet[3] & 0x10) != 0;
    const bool bHasField = (Packet[3] & 0x20) != 0;
    const std::size_t nBegin = TS_HEADER_SIZE + (bHasField ? 1U + Packet[TS_HEADER_SIZE] : 0U);
    return bHasPayload && nBegin < Packet.size() ? Packet.subspan(nBegin) : Bytes{};
}

} // namespace

bool CellHeaders::Begins(Bytes Packet) {
    const Bytes Payload = PayloadOf(Packet);
    return (Packet[1] & 0x40) != 0 && Payload.size() >= METADATA_BEGIN.size() &&
           std::ranges::equal(METADATA_BEGIN, Payload.first(METADATA_BEGIN.size()));
}

void CellHeaders::LookAt(Bytes Packet, std::int64_t llPlace) {
    const bool bBegins = (Packet[1] & 0x40) != 0;
    if (bBegins) {
        m_Begin.clear();
        m_Place = llPlace;
    }
    if (!m_Place)
        return;
    const Bytes Payload = PayloadOf(Packet);
    m_Begin.insert(m_Begin.end(), Payload.begin(), Payload.end());
    if (m_Begin.size() < PES_HEADER_SIZE)
        return;
    const std::size_t nCell = PES_HEADER_SIZE + m_Begin[PES_HEADER_SIZE - 1];
    if (m_Begin.size() < nCell + std::tuple_size_v<CellHeader>)
        return;
    std::copy_n(m_Begin.begin() + static_cast<std::ptrdiff_t>(nCell), std::tuple_size_v<CellHeader>,
                m_Kept[*m_Place].begin());
    m_Place.reset();
    if (m_Kept.size() > MOST_KEPT)
        m_Kept.erase(m_Kept.begin());
}

std::optional<CellHeader> CellHeaders::Pop(std::int64_t llPlace) {
    m_Kept.erase(m_Kept.begin(), m_Kept.lower_bound(llPlace));
    const auto Found = m_Kept.extract(llPlace);
    return Found.empty() ? std::nullopt : std::optional(Found.mapped());
}

} // namespace encoder
