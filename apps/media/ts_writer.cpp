// Writes an MPEG-TS of one or more programs.
// Packets of one stream come from one thread; the mutex keeps those of different streams apart.
#include "media/ts_writer.h"

#include <new>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace encoder {

namespace {

// How far the program clock runs ahead of the decoding times, so that a receiver can fill its buffer.
constexpr int CLOCK_LEAD_USEC = 700'000;

int IsOver(void *pPatience) {
    return static_cast<const Patience *>(pPatience)->IsOver() ? 1 : 0;
}

} // namespace

TsWriter::TsWriter(std::string szPath, const std::atomic<bool> &bStop)
    : m_szPath(std::move(szPath)), m_Patience(bStop) {
    const std::string szUrl = m_szPath == "-" ? "pipe:1" : m_szPath;
    Check(avformat_alloc_output_context2(&m_pContext, nullptr, "mpegts", szUrl.c_str()), ExitCode::Output,
          "output '" + m_szPath + "'");
    m_pContext->max_delay = CLOCK_LEAD_USEC;
    m_pContext->flush_packets = 1; // a reader has each picture at once, and the end has nothing left to wait for
    m_pContext->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
}

TsWriter::~TsWriter() {
    avio_closep(&m_pContext->pb);
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

void TsWriter::AddProgram(const std::string &szName) {
    m_pProgram = av_new_program(m_pContext, static_cast<int>(m_pContext->nb_programs) + 1);
    if (m_pProgram == nullptr)
        throw std::bad_alloc();
    av_dict_set(&m_pProgram->metadata, "service_name", szName.c_str(), 0);
}

AVStream &TsWriter::AddStream() {
    AVStream *const pStream = avformat_new_stream(m_pContext, nullptr);
    if (pStream == nullptr)
        throw std::bad_alloc();
    pStream->time_base = k90kHz;
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

int TsWriter::AddKlv() {
    AVStream &Stream = AddStream();
    Stream.codecpar->codec_type = AVMEDIA_TYPE_DATA;
    Stream.codecpar->codec_id = AV_CODEC_ID_SMPTE_KLV;
    return Stream.index;
}

void TsWriter::CheckWritten(int nResult, const char *szWhat) const {
    if (nResult == AVERROR_EXIT)
        throw Failure(ExitCode::Output, "output '" + m_szPath + "' takes no more data; it ends where it was stopped");
    Check(nResult, ExitCode::Output, std::string(szWhat) + " output '" + m_szPath + "'");
}

void TsWriter::Start() {
    const AVIOInterruptCB Interrupt{IsOver, &m_Patience};
    const int nOpened = avio_open2(&m_pContext->pb, m_pContext->url, AVIO_FLAG_WRITE, &Interrupt, nullptr);
    if (nOpened < 0 && m_Patience.IsStopped())
        throw Failure(ExitCode::Ok, "stopped before output '" + m_szPath + "' was open");
    CheckWritten(nOpened, "cannot write");
    m_Patience.Begin();
    AVDictionary *pSettings = nullptr;
    av_dict_set(&pSettings, "mpegts_copyts", "1", 0);
    const int nResult = avformat_write_header(m_pContext, &pSettings);
    av_dict_free(&pSettings);
    CheckWritten(nResult, "cannot write");
    m_WholeBytes = avio_tell(m_pContext->pb);
    m_bStarted = true;
}

void TsWriter::Write(AVPacket &Packet, int nStream) {
    const std::lock_guard Lock(m_Mutex);
    Packet.stream_index = nStream;
    av_packet_rescale_ts(&Packet, k90kHz, m_pContext->streams[nStream]->time_base);
    m_Patience.Begin();
    CheckWritten(av_write_frame(m_pContext, &Packet), "writing");
    m_WholeBytes = avio_tell(m_pContext->pb);
    av_packet_unref(&Packet);
}

void TsWriter::Finish() {
    const std::lock_guard Lock(m_Mutex);
    if (!std::exchange(m_bStarted, false))
        return;
    m_Patience.Begin();
    const int nTrailer = av_write_trailer(m_pContext);
    const int nClose = avio_closep(&m_pContext->pb);
    CheckWritten(nTrailer < 0 ? nTrailer : nClose, "ending");
    m_WholeBytes.reset();
}

} // namespace encoder
