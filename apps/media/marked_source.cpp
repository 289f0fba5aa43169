// The bytes of an input on their way to FFmpeg, in which is looked for what FFmpeg does not tell.
#include "media/marked_source.h"

#include <algorithm>
#include <new>

#include "media/program_map.h"

namespace encoder {

namespace {

constexpr size_t PACKET_SIZE = 188;
constexpr std::uint8_t SYNC_BYTE = 0x47;
constexpr size_t MOST_MARKS = 30'000; // of what nobody asks for
constexpr int BUFFER_SIZE = 32 * static_cast<int>(PACKET_SIZE);

// ISO/IEC 13818-1, 2.4.3.4: the first flag of an adaptation field, where there is one that is not empty.
bool MarksDiscontinuity(Bytes Packet) {
    return (Packet[3] & 0x20) != 0 && Packet[4] > 0 && (Packet[5] & 0x80) != 0;
}

int PidOf(Bytes Packet) {
    return (Packet[1] & 0x1F) << 8 | Packet[2];
}

} // namespace

MarkedSource::~MarkedSource() {
    if (m_pOut != nullptr)
        av_freep(&m_pOut->buffer);
    avio_context_free(&m_pOut);
    avio_closep(&m_pIn);
}

AVIOContext *MarkedSource::Open(const char *szUrl, const AVIOInterruptCB &Interrupt, int &nResult) {
    nResult = avio_open2(&m_pIn, szUrl, AVIO_FLAG_READ, &Interrupt, nullptr);
    if (nResult < 0)
        return nullptr;
    auto *const pBuffer = static_cast<std::uint8_t *>(av_malloc(BUFFER_SIZE));
    if (pBuffer != nullptr)
        m_pOut = avio_alloc_context(pBuffer, BUFFER_SIZE, 0, this, Read, nullptr, Seek);
    if (m_pOut == nullptr) {
        av_free(pBuffer);
        throw std::bad_alloc();
    }
    m_pOut->seekable = m_pIn->seekable;
    return m_pOut;
}

int MarkedSource::Read(void *pSelf, std::uint8_t *pBuffer, int nSize) {
    MarkedSource &Self = *static_cast<MarkedSource *>(pSelf);
    const int nRead = avio_read_partial(Self.m_pIn, pBuffer, nSize);
    try {
        if (nRead > 0)
            Self.LookAt(pBuffer, static_cast<size_t>(nRead));
    } catch (const std::bad_alloc &) {
        return AVERROR(ENOMEM);
    }
    return nRead == 0 ? AVERROR_EOF : nRead;
}

std::int64_t MarkedSource::Seek(void *pSelf, std::int64_t llOffset, int nWhence) {
    MarkedSource &Self = *static_cast<MarkedSource *>(pSelf);
    if ((nWhence & AVSEEK_SIZE) != 0)
        return avio_size(Self.m_pIn);
    const std::int64_t llPlace = avio_seek(Self.m_pIn, llOffset, nWhence);
    // A pipe goes on where it was.
    if (llPlace < 0)
        return llPlace;
    Self.m_Rest.clear();
    Self.m_llRestBegins = llPlace;
    Self.m_bInStep = false;
    return llPlace;
}

// A packet is one where the next begins right behind it, or where it begins right behind the one before: damage may lie
// behind it, and FFmpeg hands out what a packet ends without reading on.
void MarkedSource::LookAt(const std::uint8_t *pBytes, size_t nSize) {
    m_Rest.insert(m_Rest.end(), pBytes, pBytes + nSize);
    size_t nAt = 0;
    while (nAt + PACKET_SIZE <= m_Rest.size()) {
        const std::uint8_t *const pPacket = m_Rest.data() + nAt;
        const bool bLast = nAt + PACKET_SIZE == m_Rest.size();
        if (bLast && pPacket[0] == SYNC_BYTE && !m_bInStep)
            break;
        m_bInStep = pPacket[0] == SYNC_BYTE && (m_bInStep || pPacket[PACKET_SIZE] == SYNC_BYTE);
        if (m_bInStep)
            LookAtPacket({pPacket, PACKET_SIZE}, m_llRestBegins + static_cast<std::int64_t>(nAt));
        nAt += m_bInStep ? PACKET_SIZE : 1;
    }
    m_Rest.erase(m_Rest.begin(), m_Rest.begin() + static_cast<std::ptrdiff_t>(nAt));
    m_llRestBegins += static_cast<std::int64_t>(nAt);
}

void MarkedSource::LookAtPacket(Bytes Packet, std::int64_t llPlace) {
    const int nPid = PidOf(Packet);
    if (MarksDiscontinuity(Packet))
        m_Marks.emplace(llPlace, nPid);
    if (m_Marks.size() > MOST_MARKS)
        m_Marks.erase(m_Marks.begin());
    for (const MapEntry &Stream : ReadProgramMap(Packet))
        if (Stream.nStreamType == STREAM_TYPE_METADATA)
            m_Synchronous.insert(Stream.nPid);
        else
            m_Synchronous.erase(Stream.nPid);
    if (m_Synchronous.contains(nPid) || CellHeaders::Begins(Packet))
        m_Cells.try_emplace(nPid);
    const auto Cells = m_Cells.find(nPid);
    if (Cells != m_Cells.end())
        Cells->second.LookAt(Packet, llPlace);
}

bool MarkedSource::IsSynchronous(int nPid) const {
    return m_Synchronous.contains(nPid);
}

std::optional<CellHeader> MarkedSource::PopCellHeader(int nPid, std::int64_t llPlace) {
    const auto Cells = m_Cells.find(nPid);
    return Cells == m_Cells.end() ? std::nullopt : Cells->second.Pop(llPlace);
}

bool MarkedSource::FindMark(int nPid, std::int64_t llBehind, std::int64_t llUpTo) {
    const auto End = m_Marks.upper_bound({llUpTo, INT32_MAX});
    const bool bFound = std::any_of(m_Marks.begin(), End,
                                    [=](const auto &Mark) { return Mark.first > llBehind && Mark.second == nPid; });
    m_Marks.erase(m_Marks.begin(), End);
    return bFound;
}

} // namespace encoder
