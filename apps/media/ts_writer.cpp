// Writes an MPEG-TS of one or more programs.
// Packets of one stream come from one thread; the mutex keeps those of different streams apart.
#include "media/ts_writer.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace encoder {

namespace {

// How far the program clock runs ahead of the decoding times, so that a receiver can fill its buffer.
constexpr int CLOCK_LEAD_USEC = 700'000;

// Seven packets: the largest whole number of them that an Ethernet frame takes.
constexpr const char *DATAGRAM_BYTES = "1316";

constexpr int FIRST_PID = 0x100;

bool IsDatagrams(const std::string &szPath) {
    return szPath.starts_with("udp:") || szPath.starts_with("rtp:");
}

int IsOver(void *pPatience) {
    return static_cast<const Patience *>(pPatience)->IsOver() ? 1 : 0;
}

} // namespace

TsWriter::TsWriter(std::string szPath, const std::atomic<bool> &bStop)
    : m_szPath(std::move(szPath)), m_Patience(bStop), m_Turns(bStop) {
    const std::string szUrl = m_szPath == "-" ? "pipe:1" : m_szPath;
    Check(avformat_alloc_output_context2(&m_pContext, nullptr, "mpegts", szUrl.c_str()), ExitCode::Output,
          "output '" + m_szPath + "'");
    m_pContext->max_delay = CLOCK_LEAD_USEC;
    // A reader has each picture at once, and the end has nothing left to wait for; but datagrams are filled.
    m_pContext->flush_packets = IsDatagrams(m_szPath) ? 0 : 1;
    m_pContext->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
}

TsWriter::~TsWriter() {
    CloseTarget();
    CutToWholePackets();
    avformat_free_context(m_pContext);
}

// A full disk has taken a part of a picture. What stands in a file behind the standard output is not cut: it may be
// another's.
void TsWriter::CutToWholePackets() const {
    const char *const szProtocol = avio_find_protocol_name(m_pContext->url);
    if (!m_WholeBytes || szProtocol == nullptr || std::string_view(szProtocol) != "file")
        return;
    constexpr std::string_view SCHEME = "file:";
    const char *const szFile = m_szPath.c_str() + (m_szPath.starts_with(SCHEME) ? SCHEME.size() : 0);
    struct stat File {};
    if (stat(szFile, &File) != 0 || !S_ISREG(File.st_mode) || File.st_size <= *m_WholeBytes)
        return;
    // The failure that left the rest behind has been told.
    [[maybe_unused]] const int nIgnored = truncate(szFile, *m_WholeBytes);
}

int TsWriter::AddProgram(const std::string &szName) {
    m_pProgram = av_new_program(m_pContext, static_cast<int>(m_pContext->nb_programs) + 1);
    if (m_pProgram == nullptr)
        throw std::bad_alloc();
    av_dict_set(&m_pProgram->metadata, "service_name", szName.c_str(), 0);
    return m_Turns.Add();
}

AVStream &TsWriter::AddStream() {
    AVStream *const pStream = avformat_new_stream(m_pContext, nullptr);
    if (pStream == nullptr)
        throw std::bad_alloc();
    pStream->time_base = TIME_BASE_90_KHZ;
    pStream->id = FIRST_PID + pStream->index;
    m_Tracks.push_back({DataPes(pStream->id, DataPes::PRIVATE_STREAM)});
    if (m_pProgram != nullptr)
        av_program_add_stream_index(m_pContext, m_pProgram->id, static_cast<unsigned>(pStream->index));
    return *pStream;
}

int TsWriter::AddVideo(const AVCodecContext &Encoder) {
    AVStream &Stream = AddStream();
    Stream.avg_frame_rate = Encoder.framerate;
    Check(avcodec_parameters_from_context(Stream.codecpar, &Encoder), ExitCode::Output, "output '" + m_szPath + "'");
    return Stream.index;
}

int TsWriter::AddVideo(const AVCodecParameters &Parameters, AVRational Rate) {
    AVStream &Stream = AddStream();
    Stream.avg_frame_rate = Rate;
    Check(avcodec_parameters_copy(Stream.codecpar, &Parameters), ExitCode::Output, "output '" + m_szPath + "'");
    Stream.codecpar->codec_tag = 0; // the input's container had its own
    return Stream.index;
}

int TsWriter::AddKlv() {
    AVStream &Stream = AddStream();
    Stream.codecpar->codec_type = AVMEDIA_TYPE_DATA;
    Stream.codecpar->codec_id = AV_CODEC_ID_SMPTE_KLV;
    return Stream.index;
}

bool TsWriter::CanPass(AVCodecID enCodec) {
    constexpr AVCodecID CODECS[] = {AV_CODEC_ID_MP2,      AV_CODEC_ID_MP3,          AV_CODEC_ID_AAC,
                                    AV_CODEC_ID_AAC_LATM, AV_CODEC_ID_AC3,          AV_CODEC_ID_EAC3,
                                    AV_CODEC_ID_DTS,      AV_CODEC_ID_TRUEHD,       AV_CODEC_ID_OPUS,
                                    AV_CODEC_ID_S302M,    AV_CODEC_ID_DVB_SUBTITLE, AV_CODEC_ID_DVB_TELETEXT,
                                    AV_CODEC_ID_SMPTE_KLV};
    return std::ranges::find(CODECS, enCodec) != std::end(CODECS);
}

int TsWriter::AddPassed(const AVStream &Input, bool bSynchronousKlv) {
    AVStream &Stream = AddStream();
    Check(avcodec_parameters_copy(Stream.codecpar, Input.codecpar), ExitCode::Output, "output '" + m_szPath + "'");
    Stream.codecpar->codec_tag = 0; // the input's container had its own
    if (bSynchronousKlv) {
        Stream.codecpar->profile = FF_PROFILE_KLVA_SYNC;
        m_Tracks.back().Pes = DataPes(Stream.id, DataPes::METADATA_STREAM);
    }
    Stream.disposition = Input.disposition;
    av_dict_copy(&Stream.metadata, Input.metadata, 0); // the language
    return Stream.index;
}

void TsWriter::CheckWritten(int nResult, const char *szWhat) const {
    if (nResult == AVERROR_EXIT)
        throw Failure(ExitCode::Output, "output '" + m_szPath + "' takes no more data; it ends where it was stopped");
    Check(nResult, ExitCode::Output, std::string(szWhat) + " output '" + m_szPath + "'");
}

void TsWriter::OpenTarget() {
    const AVIOInterruptCB Interrupt{IsOver, &m_Patience};
    if (m_szPath.starts_with("rtp:")) {
        m_Rtp.emplace(m_szPath, Interrupt);
        m_pContext->pb = m_Rtp->Target();
        return;
    }
    AVDictionary *pSettings = nullptr;
    if (IsDatagrams(m_szPath))
        av_dict_set(&pSettings, "pkt_size", DATAGRAM_BYTES, 0);
    const int nOpened = avio_open2(&m_pContext->pb, m_pContext->url, AVIO_FLAG_WRITE, &Interrupt, &pSettings);
    av_dict_free(&pSettings);
    if (nOpened < 0 && m_Patience.IsStopped())
        throw Failure(ExitCode::Ok, "stopped before output '" + m_szPath + "' was open");
    CheckWritten(nOpened, "cannot write");
}

int TsWriter::CloseTarget() {
    if (!m_Rtp)
        return avio_closep(&m_pContext->pb);
    m_pContext->pb = nullptr;
    return m_Rtp->Close();
}

void TsWriter::Start() {
    OpenTarget();
    m_Patience.Begin();
    AVDictionary *pSettings = nullptr;
    av_dict_set(&pSettings, "mpegts_copyts", "1", 0);
    // Each sound packet in a PES packet of its own, which keeps its PTS to the tick.
    av_dict_set(&pSettings, "pes_payload_size", "0", 0);
    const int nResult = avformat_write_header(m_pContext, &pSettings);
    av_dict_free(&pSettings);
    CheckWritten(nResult, "cannot write");
    m_WholeBytes = avio_tell(m_pContext->pb);
    m_bStarted = true;
}

void TsWriter::Write(AVPacket &Packet, int nStream) {
    const std::lock_guard Lock(m_Mutex);
    m_Patience.Begin();
    Track &To = m_Tracks[static_cast<size_t>(nStream)];
    // Nobody could read what comes before the program tables. The muxer writes them with its first packet, so what
    // comes first gets its DTS for a PTS.
    const bool bTablesWritten = avio_tell(m_pContext->pb) > 0;
    To.bOwnPackets = To.bOwnPackets || (Packet.pts == AV_NOPTS_VALUE && bTablesWritten);
    if (To.bOwnPackets)
        WriteOwnPackets(Packet, To);
    else
        Mux(Packet, To, nStream);
    m_WholeBytes = avio_tell(m_pContext->pb);
    av_packet_unref(&Packet);
}

void TsWriter::Mux(AVPacket &Packet, Track &To, int nStream) {
    if (Packet.pts == AV_NOPTS_VALUE)
        Packet.pts = Packet.dts;
    To.Pes.Count(static_cast<size_t>(Packet.size));
    Packet.stream_index = nStream;
    av_packet_rescale_ts(&Packet, TIME_BASE_90_KHZ, m_pContext->streams[nStream]->time_base);
    CheckWritten(av_write_frame(m_pContext, &Packet), "writing");
}

void TsWriter::WriteOwnPackets(const AVPacket &Packet, Track &To) {
    std::optional<std::uint64_t> PTS;
    if (Packet.pts != AV_NOPTS_VALUE)
        PTS = StreamPTS(Packet.pts);
    const auto Packets = To.Pes.Packetize(BytesOf(Packet), PTS);
    avio_write(m_pContext->pb, Packets.data(), static_cast<int>(Packets.size()));
    if (m_pContext->flush_packets == 1)
        avio_flush(m_pContext->pb);
    CheckWritten(m_pContext->pb->error, "writing");
}

void TsWriter::Finish() {
    const std::lock_guard Lock(m_Mutex);
    if (!std::exchange(m_bStarted, false))
        return;
    m_Patience.Begin();
    const int nTrailer = av_write_trailer(m_pContext);
    const int nClose = CloseTarget();
    CheckWritten(nTrailer < 0 ? nTrailer : nClose, "ending");
    m_WholeBytes.reset();
}

} // namespace encoder
