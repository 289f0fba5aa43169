// Packets of a transport stream that carry data, with or without a PTS.
// The last packet is filled by stuffing in its adaptation field.
#include "media/data_pes.h"

#include <algorithm>

namespace encoder {

namespace {

constexpr std::size_t TS_PAYLOAD = 184;
constexpr std::size_t HEADER_SIZE = 9;
constexpr std::size_t PTS_SIZE = 5;
constexpr std::size_t MAX_LENGTH = 0xFFFF;

std::uint8_t Low(std::size_t n) {
    return static_cast<std::uint8_t>(n & 0xFF);
}

// Three pieces with a marker bit behind each.
void AppendPTS(std::vector<std::uint8_t> &Out, std::uint64_t n) {
    Out.insert(Out.end(), {Low(0x21 | (n >> 29 & 0x0E)), Low(n >> 22), Low(n >> 14 | 1), Low(n >> 7), Low(n << 1 | 1)});
}

} // namespace

void DataPes::Count(std::size_t nSize) {
    m_nContinuity += (HEADER_SIZE + PTS_SIZE + nSize + TS_PAYLOAD - 1) / TS_PAYLOAD;
}

std::vector<std::uint8_t> DataPes::Packetize(Bytes Data, std::optional<std::uint64_t> PTS) {
    const std::size_t nHeaderData = PTS ? PTS_SIZE : 0;
    const std::size_t nRest = Data.size() + nHeaderData + 3; // what follows the length
    const std::size_t nLength = nRest <= MAX_LENGTH ? nRest : 0;
    // Start code, stream, length; marker bits with data alignment; whether there is a PTS; its size.
    std::vector<std::uint8_t> Pes = {
        0, 0, 1, m_nStreamId, Low(nLength >> 8), Low(nLength), 0x84, Low(PTS ? 0x80U : 0U), Low(nHeaderData)};
    if (PTS)
        AppendPTS(Pes, *PTS);
    Pes.insert(Pes.end(), Data.begin(), Data.end());
    std::vector<std::uint8_t> Out;
    for (std::size_t nDone = 0; nDone < Pes.size();) {
        const std::size_t nUsed = std::min(Pes.size() - nDone, TS_PAYLOAD);
        const std::size_t nFill = TS_PAYLOAD - nUsed;
        Out.insert(Out.end(), {0x47, Low((nDone == 0 ? 0x40U : 0U) | (m_nPid >> 8 & 0x1F)), Low(m_nPid),
                               Low((nFill > 0 ? 0x30U : 0x10U) | (m_nContinuity++ & 0xF))});
        if (nFill > 0)
            Out.push_back(Low(nFill - 1));
        if (nFill > 1)
            Out.push_back(0); // no flags
        if (nFill > 2)
            Out.insert(Out.end(), nFill - 2, 0xFF);
        const auto Begin = Pes.begin() + static_cast<std::ptrdiff_t>(nDone);
        Out.insert(Out.end(), Begin, Begin + static_cast<std::ptrdiff_t>(nUsed));
        nDone += nUsed;
    }
    return Out;
}

} // namespace encoder
