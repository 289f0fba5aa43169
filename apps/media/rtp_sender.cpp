// Sends a transport stream over RTP.
#include "media/rtp_sender.h"

#include <chrono>
#include <new>

namespace encoder {

namespace {

constexpr int DATAGRAM_BYTES = 1316;
constexpr int RTP_HEADER_BYTES = 12;

} // namespace

RtpSender::RtpSender(const std::string &szUrl, const AVIOInterruptCB &Interrupt) {
    const std::string szWhat = "cannot write output '" + szUrl + "'";
    Check(avformat_alloc_output_context2(&m_pContext, nullptr, "rtp", szUrl.c_str()), ExitCode::Output, szWhat);
    AVStream *const pStream = avformat_new_stream(m_pContext, nullptr);
    auto *const pBuffer = static_cast<unsigned char *>(av_malloc(DATAGRAM_BYTES));
    const auto pfnSend = [](void *pSelf, std::uint8_t *pData, int nSize) {
        return static_cast<RtpSender *>(pSelf)->Send(pData, nSize);
    };
    m_pTarget = avio_alloc_context(pBuffer, DATAGRAM_BYTES, 1, this, nullptr, pfnSend, nullptr);
    if (pStream == nullptr || pBuffer == nullptr || m_pTarget == nullptr)
        throw std::bad_alloc();
    m_pTarget->max_packet_size = DATAGRAM_BYTES;
    pStream->time_base = TIME_BASE_90_KHZ;
    pStream->codecpar->codec_type = AVMEDIA_TYPE_DATA;
    pStream->codecpar->codec_id = AV_CODEC_ID_MPEG2TS;
    m_pContext->packet_size = DATAGRAM_BYTES + RTP_HEADER_BYTES;
    AVDictionary *pSettings = nullptr;
    av_dict_set_int(&pSettings, "pkt_size", DATAGRAM_BYTES + RTP_HEADER_BYTES, 0);
    const int nOpened = avio_open2(&m_pContext->pb, szUrl.c_str(), AVIO_FLAG_WRITE, &Interrupt, &pSettings);
    av_dict_free(&pSettings);
    Check(nOpened, ExitCode::Output, szWhat);
    Check(avformat_write_header(m_pContext, nullptr), ExitCode::Output, szWhat);
}

RtpSender::~RtpSender() {
    Close();
    if (m_pTarget != nullptr)
        av_freep(&m_pTarget->buffer);
    avio_context_free(&m_pTarget);
    avformat_free_context(m_pContext);
}

// Its time is that of sending, as RFC 2250 has it.
int RtpSender::Send(std::uint8_t *pData, int nSize) {
    const PacketPtr Packet = MakePacket();
    // The muxer sends at once and keeps nothing.
    Packet->data = pData;
    Packet->size = nSize;
    const auto Now = std::chrono::steady_clock::now().time_since_epoch();
    Packet->pts = Packet->dts =
        std::chrono::duration_cast<std::chrono::duration<std::int64_t, std::ratio<1, TICKS_PER_SECOND>>>(Now).count();
    const int nResult = av_write_frame(m_pContext, Packet.get());
    return nResult < 0 ? nResult : nSize;
}

int RtpSender::Close() {
    if (m_pContext == nullptr || m_pContext->pb == nullptr)
        return 0;
    // The muxer sends whole datagrams only: the last one is filled with null packets.
    constexpr std::uint8_t NULL_PACKET[] = {0x47, 0x1F, 0xFF, 0x10};
    constexpr std::size_t PACKET_BYTES = 188;
    while (avio_tell(m_pTarget) % DATAGRAM_BYTES != 0) {
        avio_write(m_pTarget, NULL_PACKET, sizeof(NULL_PACKET));
        for (std::size_t n = sizeof(NULL_PACKET); n < PACKET_BYTES; ++n)
            avio_w8(m_pTarget, 0xFF);
    }
    avio_flush(m_pTarget);
    const int nTrailer = av_write_trailer(m_pContext);
    const int nClose = avio_closep(&m_pContext->pb);
    return nTrailer < 0 ? nTrailer : nClose;
}

} // namespace encoder
