// Reads the packets of one input: a video stream and the streams that belong to it, KLV and sound.
#include "media/demuxer.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

extern "C" {
#include <libavutil/opt.h>
}

#include "media/ts_writer.h"

namespace encoder {

namespace {

constexpr std::int64_t TS_PACKET_SIZE = 188;
constexpr std::uint8_t TS_SYNC_BYTE = 0x47;

// The data streams of another program carry another video's times.
bool SharesProgram(AVFormatContext *pContext, int nVideo, unsigned nStream) {
    const AVProgram *const pProgram = av_find_program_from_stream(pContext, nullptr, nVideo);
    if (pProgram == nullptr)
        return true;
    const unsigned *const pEnd = pProgram->stream_index + pProgram->nb_stream_indexes;
    return std::find<const unsigned *>(pProgram->stream_index, pEnd, nStream) != pEnd;
}

void MakeStreamTime(std::int64_t &llTime) {
    if (llTime != AV_NOPTS_VALUE)
        llTime = static_cast<std::int64_t>(StreamPTS(llTime));
}

} // namespace

Demuxer::Demuxer(std::string szPath, StreamChoice Choice, std::chrono::milliseconds LongestSilence,
                 const std::atomic<bool> &bStop)
    : m_szPath(std::move(szPath)), m_Choice(Choice), m_LongestSilence(LongestSilence), m_bStop(bStop) {
    try {
        Open();
        ChooseStreams();
    } catch (...) {
        avformat_close_input(&m_pContext);
        throw;
    }
}

Demuxer::~Demuxer() {
    avformat_close_input(&m_pContext);
}

void Demuxer::Open() {
    m_pContext = avformat_alloc_context();
    if (m_pContext == nullptr)
        throw std::bad_alloc();
    m_pContext->interrupt_callback = {MustEnd, this};
    // The PTS of a stream that wraps at 33 bits must come out as the stream carries them: this program and the library
    // know the wrap, and a guess at where it lies would move the times of the pictures before it.
    m_pContext->correct_ts_overflow = 0;
    const std::string szUrl = m_szPath == "-" ? "pipe:0" : m_szPath;
    int nOpened = 0;
    // What FFmpeg reads in a way of its own, such as RTSP, has no protocol.
    if (avio_find_protocol_name(szUrl.c_str()) != nullptr)
        m_pContext->pb = m_Source.Open(szUrl.c_str(), m_pContext->interrupt_callback, nOpened);
    if (nOpened >= 0)
        nOpened = avformat_open_input(&m_pContext, szUrl.c_str(), nullptr, nullptr);
    CheckStop();
    Check(nOpened, ExitCode::Input, "cannot open input '" + m_szPath + "'");
    if (m_pContext->pb != nullptr)
        m_llSize = avio_size(m_pContext->pb);
    const int nFound = avformat_find_stream_info(m_pContext, nullptr);
    CheckStop();
    Check(nFound, ExitCode::Input, "input '" + m_szPath + "' is no video that FFmpeg can read");
}

void Demuxer::CheckStop() const {
    if (m_bStop)
        throw Failure(ExitCode::Ok, "stopped before input '" + m_szPath + "' was open");
}

void Demuxer::ChooseStreams() {
    ChooseVideo();
    CheckVideo();
    ChooseNewStreams();
    CheckKlv();
    m_bOpen = true;
}

void Demuxer::CheckKlv() const {
    if (!m_Choice.Klv)
        return;
    std::string szList;
    for (unsigned n = 0; n < m_pContext->nb_streams; n++) {
        const AVStream &Stream = *m_pContext->streams[n];
        if (Stream.codecpar->codec_id != AV_CODEC_ID_SMPTE_KLV || Stream.discard == AVDISCARD_ALL)
            continue;
        if (Stream.index == *m_Choice.Klv)
            return;
        szList += (szList.empty() ? "" : ", ") + std::to_string(n);
    }
    throw Failure(ExitCode::Input, "stream " + std::to_string(*m_Choice.Klv) + " of input '" + m_szPath +
                                       "' is no KLV that goes with the video; its KLV streams are: " +
                                       (szList.empty() ? "none" : szList));
}

bool Demuxer::IsSynchronousKlv(const AVStream &Stream) const {
    return Stream.codecpar->codec_id == AV_CODEC_ID_SMPTE_KLV && m_Source.IsSynchronous(Stream.id);
}

// FFmpeg takes the header off in most cases, but not in all.
void Demuxer::RestoreCellHeader(AVPacket &Packet) {
    const AVStream &Stream = *m_pContext->streams[Packet.stream_index];
    if (Packet.pos < 0 || !IsSynchronousKlv(Stream))
        return;
    const std::optional<CellHeader> Header = m_Source.PopCellHeader(Stream.id, Packet.pos);
    const Bytes Data = BytesOf(Packet);
    if (!Header || (Data.size() >= Header->size() && std::ranges::equal(*Header, Data.first(Header->size()))))
        return;
    const int nSize = Packet.size;
    Check(av_packet_make_writable(&Packet), ExitCode::Encoder, "KLV");
    Check(av_grow_packet(&Packet, static_cast<int>(Header->size())), ExitCode::Encoder, "KLV");
    std::copy_backward(Packet.data, Packet.data + nSize, Packet.data + Packet.size);
    std::ranges::copy(*Header, Packet.data);
}

void Demuxer::ChooseVideo() {
    if (!m_Choice.Video) {
        m_nVideo = av_find_best_stream(m_pContext, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
        if (m_nVideo < 0)
            throw Failure(ExitCode::Input, "input '" + m_szPath + "' has no video stream");
        return;
    }
    m_nVideo = *m_Choice.Video;
    const bool bExists = m_nVideo < static_cast<int>(m_pContext->nb_streams);
    if (!bExists || Video().codecpar->codec_type != AVMEDIA_TYPE_VIDEO) {
        throw Failure(ExitCode::Input, "stream " + std::to_string(m_nVideo) + " of input '" + m_szPath +
                                           "' is no video; its video streams are: " + VideoStreams());
    }
}

std::string Demuxer::VideoStreams() const {
    std::string szList;
    for (unsigned n = 0; n < m_pContext->nb_streams; n++)
        if (m_pContext->streams[n]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
            szList += (szList.empty() ? "" : ", ") + std::to_string(n);
    return szList.empty() ? "none" : szList;
}

// A program map may come late or change: then streams turn up while the input is read, or turn out to be KLV.
void Demuxer::ChooseNewStreams() {
    m_Kinds.resize(m_pContext->nb_streams, AV_CODEC_ID_NONE);
    for (unsigned n = 0; n < m_pContext->nb_streams; n++) {
        AVStream &Stream = *m_pContext->streams[n];
        const bool bNew = n >= m_nMet || Stream.codecpar->codec_id != m_Kinds[n];
        m_Kinds[n] = Stream.codecpar->codec_id;
        if (bNew && static_cast<int>(n) != m_nVideo && std::ranges::count(m_Passed, &Stream) == 0)
            ChooseBeside(Stream);
    }
    m_nMet = m_pContext->nb_streams;
}

// KLV is always read, for the time stamps in it.
void Demuxer::ChooseBeside(AVStream &Stream) {
    const AVCodecParameters &Kind = *Stream.codecpar;
    const bool bVideo = Kind.codec_type == AVMEDIA_TYPE_VIDEO;
    const char *pszWhy = nullptr;
    if (bVideo)
        pszWhy = "one video of an input is coded; --stream chooses another";
    else if (!SharesProgram(m_pContext, m_nVideo, static_cast<unsigned>(Stream.index)))
        pszWhy = "it belongs to another program";
    else if (!TsWriter::CanPass(Kind.codec_id))
        pszWhy = "an MPEG-TS has no place for it";
    const bool bKlv = pszWhy == nullptr && Kind.codec_id == AV_CODEC_ID_SMPTE_KLV;
    if (pszWhy == nullptr && m_bOpen)
        pszWhy = bKlv ? "it began too late for that; its time stamps are read" : "it began too late";
    const bool bPassed = pszWhy == nullptr && m_Choice.bPass;
    Stream.discard = bKlv || bPassed ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    if (bPassed)
        m_Passed.push_back(&Stream);
    else if (pszWhy != nullptr && (bVideo || m_Choice.bPass)) {
        const char *const pszType = av_get_media_type_string(Kind.codec_type);
        m_LeftOut.push_back("stream " + std::to_string(Stream.index) + " (" +
                            (pszType != nullptr ? pszType : "unknown") + ", " + avcodec_get_name(Kind.codec_id) +
                            ") is left out: " + pszWhy);
    }
}

void Demuxer::CheckVideo() const {
    const AVCodecParameters &Parameters = *Video().codecpar;
    const std::string szStream = "input '" + m_szPath + "', stream " + std::to_string(m_nVideo);
    const AVCodecID enCodec = Parameters.codec_id;
    if (enCodec != AV_CODEC_ID_H264 && enCodec != AV_CODEC_ID_HEVC && enCodec != AV_CODEC_ID_MPEG2VIDEO) {
        throw Failure(ExitCode::Input, szStream + ": the video is coded as " + avcodec_get_name(enCodec) +
                                           "; give one that is coded as H.264, HEVC or MPEG-2");
    }
    if (Parameters.width <= 0 || Parameters.height <= 0)
        throw Failure(ExitCode::Input, szStream + ": nothing in the video tells its picture size; is it whole?");
}

int Demuxer::MustEnd(void *pDemuxer) {
    Demuxer &Self = *static_cast<Demuxer *>(pDemuxer);
    if (Self.IsSilent())
        Self.m_bFallenSilent = true;
    return Self.m_bStop || Self.m_bFallenSilent ? 1 : 0;
}

bool Demuxer::IsSilent() const {
    const Clock::rep nSince = m_nWaitsSince;
    return m_LongestSilence.count() > 0 && nSince != 0 &&
           Clock::now().time_since_epoch() - Clock::duration(nSince) >= m_LongestSilence;
}

std::optional<double> Demuxer::Progress() const {
    if (m_llSize <= 0)
        return std::nullopt;
    return std::clamp(static_cast<double>(m_llPosition) / static_cast<double>(m_llSize), 0.0, 1.0);
}

// FFmpeg still hands out what it has of an input that has fallen silent, and ends it then. A protocol's own time-out is
// one that was asked for too.
int Demuxer::ReadFrame(AVPacket &Packet) {
    m_nWaitsSince = Clock::now().time_since_epoch().count();
    const int nResult = av_read_frame(m_pContext, &Packet);
    m_nWaitsSince = 0;
    if (m_LongestSilence.count() > 0 && nResult == AVERROR(ETIMEDOUT))
        m_bFallenSilent = true;
    return nResult < 0 && m_bFallenSilent ? AVERROR_EXIT : nResult;
}

bool Demuxer::Read(AVPacket &Packet) {
    if (!m_PutBack.empty()) {
        av_packet_unref(&Packet);
        av_packet_move_ref(&Packet, m_PutBack.front().get());
        m_PutBack.pop_front();
        return true;
    }
    if (m_Postponed)
        std::rethrow_exception(std::exchange(m_Postponed, nullptr));
    for (;;) {
        av_packet_unref(&Packet);
        const int nResult = ReadFrame(Packet);
        if (nResult == AVERROR_EXIT || m_bStop)
            return false;
        if (nResult == AVERROR_EOF) {
            CheckEnd();
            return false;
        }
        if (nResult < 0)
            throw Failure(ExitCode::Input, BrokeOff() + ": " + AvErrorText(nResult));
        if (Packet.pos >= 0)
            m_llPosition = Packet.pos;
        ChooseNewStreams();
        const AVStream &Stream = *m_pContext->streams[Packet.stream_index];
        const bool bPassed = std::ranges::find(m_Passed, &Stream) != m_Passed.end();
        if (IsVideo(Packet) || bPassed || (IsKlv(Packet) && Stream.discard != AVDISCARD_ALL)) {
            av_packet_rescale_ts(&Packet, Stream.time_base, TIME_BASE_90_KHZ);
            MakeStreamTime(Packet.pts);
            MakeStreamTime(Packet.dts);
            RestoreCellHeader(Packet);
            return true;
        }
    }
}

// The clock's packets tell, which most often are the video's own. Other formats than a transport stream have no such
// mark.
bool Demuxer::IsMarked(const AVPacket &Packet) {
    if (Packet.pos < 0 || std::string_view(m_pContext->iformat->name) != "mpegts")
        return false;
    const AVProgram *const pProgram = av_find_program_from_stream(m_pContext, nullptr, m_nVideo);
    const int nClockPid = pProgram != nullptr && pProgram->pcr_pid > 0 ? pProgram->pcr_pid : Video().id;
    const bool bMarked = m_Source.FindMark(nClockPid, m_llVideoPosition, Packet.pos);
    m_llVideoPosition = Packet.pos;
    return bMarked;
}

std::string Demuxer::BrokeOff() const {
    return "input '" + m_szPath + "' broke off (what was read before is coded)";
}

// FFmpeg takes every end for the end of the video. A recording that was cut before is read to its end; but whatever
// vanishes while it is read has not been read.
void Demuxer::CheckEnd() const {
    AVIOContext *const pSource = m_pContext->pb;
    if (pSource == nullptr)
        return;
    if (avio_size(pSource) < m_llSize)
        throw Failure(ExitCode::Input, BrokeOff() + ": the file has become shorter");
    if ((pSource->seekable & AVIO_SEEKABLE_NORMAL) == 0 && EndsInsidePacket())
        throw Failure(ExitCode::Input, BrokeOff() + ": it ends inside a packet");
}

// Packets of a transport stream follow one another without a gap, so the packet read last tells where the last one of
// the stream begins. Where none begins there, bytes have been lost in between, and all behind them have moved: then the
// stream is whole when a packet begins a packet's size before its end.
bool Demuxer::EndsInsidePacket() const {
    std::int64_t llPacketSize = 0;
    const bool bPlainTs =
        av_opt_get_int(m_pContext->priv_data, "ts_packetsize", 0, &llPacketSize) >= 0 && llPacketSize == TS_PACKET_SIZE;
    const std::int64_t llRest = (avio_tell(m_pContext->pb) - m_llPosition) % TS_PACKET_SIZE;
    return bPlainTs && llRest != 0 && (BeginsPacket(llRest) || !BeginsPacket(TS_PACKET_SIZE));
}

// Only the bytes that came with the last read are still there.
bool Demuxer::BeginsPacket(std::int64_t llBytesBeforeEnd) const {
    const AVIOContext &Source = *m_pContext->pb;
    return llBytesBeforeEnd <= Source.buf_end - Source.buffer && Source.buf_end[-llBytesBeforeEnd] == TS_SYNC_BYTE;
}

// Where only some of the pictures have a PTS, those seem to be all, and the guess is too low by as much.
AVRational Demuxer::Rate() const {
    constexpr AVRational TOO_LOW{1, 3};
    const AVRational Guess = av_guess_frame_rate(m_pContext, m_pContext->streams[m_nVideo], nullptr);
    const AVRational Average = Video().avg_frame_rate;
    return av_cmp_q(Guess, av_mul_q(Average, TOO_LOW)) < 0 ? Average : Guess;
}

std::deque<PacketPtr> ReadAhead(Demuxer &In, const std::function<bool(const AVPacket &)> &IsEnough) {
    using Clock = std::chrono::steady_clock;
    constexpr std::size_t MOST_PACKETS = 20'000;
    constexpr std::int64_t MOST_BYTES = 32 << 20;
    constexpr std::chrono::seconds LONGEST_LOOK{5}; // since the first packet
    std::deque<PacketPtr> Packets;
    try {
        std::int64_t llBytes = 0;
        auto Until = Clock::time_point::max();
        while (Packets.size() < MOST_PACKETS && llBytes < MOST_BYTES && Clock::now() < Until) {
            PacketPtr Packet = MakePacket();
            if (!In.Read(*Packet))
                break;
            if (Packets.empty())
                Until = Clock::now() + LONGEST_LOOK;
            llBytes += Packet->size;
            const bool bEnough = IsEnough(*Packet);
            Packets.push_back(std::move(Packet));
            if (bEnough)
                break;
        }
    } catch (const Failure &) {
        In.Postpone(std::current_exception());
    }
    return Packets;
}

} // namespace encoder
