// Reads the packets of one input: a video stream and the streams that belong to it, KLV and sound.
// One thread reads; opening may take a while, since FFmpeg looks into the streams.
#ifndef ENCODER_MEDIA_DEMUXER_H
#define ENCODER_MEDIA_DEMUXER_H

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <exception>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/av.h"
#include "media/marked_source.h"

namespace encoder {

// Which streams of an input are wanted.
struct StreamChoice {
    std::optional<int> Video; // by its number in the file, else the best one
    std::optional<int> Klv{}; // one that must be there
    bool bPass = true;        // what goes with the video is read too; KLV always is
};

class Demuxer {
public:
    // Throws a Failure (ExitCode::Input) that names file, stream and reason. A set bStop ends a wait for data, and
    // the Failure has ExitCode::Ok.
    // LongestSilence: an input that has sent something and then nothing for that long has ended; 0: it is waited for.
    Demuxer(std::string szPath, StreamChoice Choice, std::chrono::milliseconds LongestSilence,
            const std::atomic<bool> &bStop);
    ~Demuxer();
    Demuxer(const Demuxer &) = delete;
    Demuxer &operator=(const Demuxer &) = delete;

    // Reads the next packet of one of the streams; its times are in 90 kHz, as the stream carries them (33 bits), or
    // AV_NOPTS_VALUE. False at the end and after bStop. Throws when the input breaks off: a read fails, a file has
    // become shorter, or a pipe or connection ends inside a packet of a transport stream. Packets of 192 and 204
    // bytes are not examined. Where bytes were lost behind the beginning of the packet read last, and the last of
    // the input came in less than a packet, a whole end is taken for one inside a packet.
    bool Read(AVPacket &Packet);

    // For each video packet once: the stream marks a discontinuity of its clock between the one before and it.
    bool IsMarked(const AVPacket &Packet);
    // Has Read give these packets again, before any other.
    void PutBack(std::deque<PacketPtr> Packets) {
        std::ranges::move(m_PutBack, std::back_inserter(Packets));
        m_PutBack = std::move(Packets);
    }
    // What went wrong when packets were read ahead, for when those have been read.
    void Postpone(std::exception_ptr Error) { m_Postponed = std::move(Error); }
    bool HasPutBack() const { return !m_PutBack.empty(); }

    bool IsVideo(const AVPacket &Packet) const { return Packet.stream_index == m_nVideo; }
    bool IsKlv(const AVPacket &Packet) const {
        return m_pContext->streams[Packet.stream_index]->codecpar->codec_id == AV_CODEC_ID_SMPTE_KLV;
    }

    // The streams that go with the video and that an MPEG-TS can carry on. None unless they are wanted.
    const std::vector<const AVStream *> &Passed() const { return m_Passed; }
    // KLV in synchronous carriage (stream type 0x15): its packets are metadata AU cells, with their headers.
    bool IsSynchronousKlv(const AVStream &Stream) const;
    // A sentence for each stream that is not passed on, with the reason; once. More may come while packets are read.
    std::vector<std::string> PopLeftOut() { return std::exchange(m_LeftOut, {}); }

    const AVStream &Video() const { return *m_pContext->streams[m_nVideo]; }
    AVRational Rate() const; // as FFmpeg guesses it
    const std::string &Path() const { return m_szPath; }

    // How much of a file has been read, 0 to 1; nothing for what is no file. Any thread.
    std::optional<double> Progress() const;
    // Read waits for an input whose time is over; a signal makes it see that. Any thread.
    bool IsSilent() const;
    // The input ended so.
    bool HasFallenSilent() const { return m_bFallenSilent; }

private:
    using Clock = std::chrono::steady_clock;

    static int MustEnd(void *pDemuxer); // asked by FFmpeg while it waits
    int ReadFrame(AVPacket &Packet);
    void Open();
    void ChooseStreams();
    void ChooseVideo();
    void ChooseNewStreams();
    void ChooseBeside(AVStream &Stream);
    void RestoreCellHeader(AVPacket &Packet);
    std::string VideoStreams() const;
    void CheckStop() const;
    void CheckVideo() const;
    void CheckKlv() const;
    void CheckEnd() const;
    bool EndsInsidePacket() const;
    bool BeginsPacket(std::int64_t llBytesBeforeEnd) const;
    std::string BrokeOff() const;

    std::string m_szPath;
    const StreamChoice m_Choice;
    const std::chrono::milliseconds m_LongestSilence;
    const std::atomic<bool> &m_bStop;
    std::atomic<Clock::rep> m_nWaitsSince{0}; // 0: it does not wait
    std::atomic<bool> m_bFallenSilent{false};
    MarkedSource m_Source;
    AVFormatContext *m_pContext = nullptr;
    int m_nVideo = -1;
    bool m_bOpen = false;           // streams that turn up from now on are late
    std::vector<AVCodecID> m_Kinds; // of the streams, when they were looked at last
    unsigned m_nMet = 0;            // streams
    std::vector<const AVStream *> m_Passed;
    std::vector<std::string> m_LeftOut;
    std::deque<PacketPtr> m_PutBack;
    std::exception_ptr m_Postponed;
    std::int64_t m_llSize = -1;                // of a file, when it was opened
    std::int64_t m_llVideoPosition = -1;       // of the video packet asked for last
    std::atomic<std::int64_t> m_llPosition{0}; // of the packet last read
};

// Reads packets until one is enough, or till the end. The look ends sooner where there are many, or where data go on
// for seconds without what is looked for. What cannot be read is told when it is read again.
std::deque<PacketPtr> ReadAhead(Demuxer &In, const std::function<bool(const AVPacket &)> &IsEnough);

} // namespace encoder

#endif
