// NAL units of a coded picture, and the SEI messages in them (ISO/IEC 14496-10, 23008-2).
// Sizes are compared with what is left before anything is taken, so no length in the bytes is ever trusted.
#include "formats/nal.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace encoder {
namespace {

constexpr int NAL_H264_SEI = 6;
constexpr int NAL_HEVC_PREFIX_SEI = 39;
constexpr std::size_t START_CODE_SIZE = 3;
constexpr std::uint8_t EMULATION_PREVENTION = 3;
constexpr std::uint8_t TRAILING_BITS = 0x80;
constexpr std::uint8_t NUMBER_CONTINUES = 0xFF;

// Offset of the next 00 00 01, or the end.
std::size_t FindStartCode(Bytes Data) {
    static constexpr std::array<std::uint8_t, START_CODE_SIZE> START_CODE = {0, 0, 1};
    if (Data.empty()) // may have no address
        return 0;
    const void *const pFound = memmem(Data.data(), Data.size(), START_CODE.data(), START_CODE.size());
    return pFound == nullptr ? Data.size()
                             : static_cast<std::size_t>(static_cast<const std::uint8_t *>(pFound) - Data.data());
}

Bytes WithoutTrailingZeros(Bytes Data) {
    const auto Last = std::find_if(Data.rbegin(), Data.rend(), [](std::uint8_t n) { return n != 0; });
    return Data.first(static_cast<std::size_t>(Data.rend() - Last));
}

void AppendNumber(std::vector<std::uint8_t> &Sei, std::size_t nNumber) {
    for (; nNumber >= NUMBER_CONTINUES; nNumber -= NUMBER_CONTINUES)
        Sei.push_back(NUMBER_CONTINUES);
    Sei.push_back(static_cast<std::uint8_t>(nNumber));
}

} // namespace

NalFormat NalFormatOf(bool bHevc, Bytes Extradata) {
    // The length's size minus one stands in the two low bits of this byte of the decoder configuration record.
    const std::size_t nLengthByte = bHevc ? 21 : 4;
    const std::size_t nStart = FindStartCode(Extradata.first(std::min<std::size_t>(Extradata.size(), 4)));
    const bool bStartCodes = nStart + START_CODE_SIZE <= Extradata.size() && nStart <= 1;
    if (bStartCodes || Extradata.size() <= nLengthByte)
        return {bHevc, 0};
    return {bHevc, (Extradata[nLengthByte] & 3) + 1};
}

NalReader::NalReader(Bytes AccessUnit, NalFormat Format) : m_Rest(AccessUnit), m_Format(Format) {
    if (m_Format.nLengthBytes == 0)
        m_Rest = m_Rest.subspan(FindStartCode(m_Rest));
}

std::optional<Bytes> NalReader::Next() {
    while (!m_Rest.empty()) {
        const auto Nal = m_Format.nLengthBytes == 0 ? NextByStartCode() : NextByLength();
        if (!Nal || !Nal->empty())
            return Nal;
    }
    return std::nullopt;
}

// The rest begins with a start code.
std::optional<Bytes> NalReader::NextByStartCode() {
    m_Rest = m_Rest.subspan(START_CODE_SIZE);
    const std::size_t nSize = FindStartCode(m_Rest);
    const Bytes Nal = WithoutTrailingZeros(m_Rest.first(nSize));
    m_Rest = m_Rest.subspan(nSize);
    return Nal;
}

std::optional<Bytes> NalReader::NextByLength() {
    const bool bFormatOk = m_Format.nLengthBytes >= 1 && m_Format.nLengthBytes <= 4;
    const std::size_t nLengthBytes = bFormatOk ? static_cast<std::size_t>(m_Format.nLengthBytes) : 0;
    if (!bFormatOk || m_Rest.size() < nLengthBytes) {
        m_bBroken = true;
        m_Rest = {};
        return std::nullopt;
    }
    std::size_t nSize = 0;
    for (const std::uint8_t n : m_Rest.first(nLengthBytes))
        nSize = nSize << 8 | n;
    m_Rest = m_Rest.subspan(nLengthBytes);
    m_bBroken = nSize > m_Rest.size();
    const Bytes Nal = m_Rest.first(std::min(nSize, m_Rest.size()));
    m_Rest = m_Rest.subspan(Nal.size());
    return WithoutTrailingZeros(Nal);
}

int NalType(Bytes Nal, bool bHevc) {
    if (Nal.empty())
        return -1;
    return bHevc ? Nal[0] >> 1 & 0x3F : Nal[0] & 0x1F;
}

bool IsSlice(Bytes Nal, bool bHevc) {
    constexpr int FIRST_NON_VCL_HEVC = 32;
    constexpr int FIRST_H264 = 1;
    constexpr int LAST_H264 = 5;
    const int nType = NalType(Nal, bHevc);
    return bHevc ? nType >= 0 && nType < FIRST_NON_VCL_HEVC : nType >= FIRST_H264 && nType <= LAST_H264;
}

bool IsSei(Bytes Nal, bool bHevc) {
    return NalType(Nal, bHevc) == (bHevc ? NAL_HEVC_PREFIX_SEI : NAL_H264_SEI);
}

std::vector<std::uint8_t> RemoveEmulationPrevention(Bytes Nal) {
    std::vector<std::uint8_t> Body;
    Body.reserve(Nal.size());
    int nZeros = 0;
    for (const std::uint8_t n : Nal) {
        const bool bInserted = nZeros >= 2 && n == EMULATION_PREVENTION;
        nZeros = n == 0 ? nZeros + 1 : 0;
        if (!bInserted)
            Body.push_back(n);
    }
    return Body;
}

std::vector<std::uint8_t> AddEmulationPrevention(Bytes Nal) {
    std::vector<std::uint8_t> Coded;
    Coded.reserve(Nal.size() + Nal.size() / 2);
    int nZeros = 0;
    for (const std::uint8_t n : Nal) {
        if (nZeros == 2 && n <= EMULATION_PREVENTION) {
            Coded.push_back(EMULATION_PREVENTION);
            nZeros = 0;
        }
        nZeros = n == 0 ? nZeros + 1 : 0;
        Coded.push_back(n);
    }
    return Coded;
}

SeiReader::SeiReader(Bytes UnescapedNal, bool bHevc)
    : m_Rest(UnescapedNal.subspan(std::min(NalHeaderSize(bHevc), UnescapedNal.size()))) {}

std::optional<SeiMessage> SeiReader::Next() {
    const Bytes Used = WithoutTrailingZeros(m_Rest);
    if (m_Rest.empty() || (Used.size() == 1 && Used[0] == TRAILING_BITS))
        return std::nullopt;
    SeiMessage Message;
    const auto nType = ReadNumber();
    const auto nSize = nType ? ReadNumber() : std::nullopt;
    Message.nPayloadType = nType.value_or(0);
    Message.bComplete = nSize && *nSize <= m_Rest.size();
    Message.Payload = m_Rest.first(Message.bComplete ? *nSize : m_Rest.size());
    m_Rest = m_Rest.subspan(Message.Payload.size());
    return Message;
}

// A number is the sum of its bytes, of which all but the last are 255.
std::optional<std::size_t> SeiReader::ReadNumber() {
    std::size_t nNumber = 0;
    while (!m_Rest.empty()) {
        const std::uint8_t nByte = m_Rest[0];
        m_Rest = m_Rest.subspan(1);
        nNumber += nByte;
        if (nByte != NUMBER_CONTINUES)
            return nNumber;
    }
    return std::nullopt;
}

void AppendSeiMessage(std::vector<std::uint8_t> &Sei, std::size_t nPayloadType, Bytes Payload) {
    AppendNumber(Sei, nPayloadType);
    AppendNumber(Sei, Payload.size());
    Sei.insert(Sei.end(), Payload.begin(), Payload.end());
}

} // namespace encoder
