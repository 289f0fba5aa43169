// Writes an MPEG-TS of one or more programs, each with a video stream and streams beside it: sound, KLV.
// Add the streams, Start, Write from any threads, Finish. PTS are kept as they are given (modulo 2^33).
#ifndef ENCODER_MEDIA_TS_WRITER_H
#define ENCODER_MEDIA_TS_WRITER_H

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "common/patience.h"
#include "media/av.h"
#include "media/data_pes.h"
#include "media/rtp_sender.h"
#include "media/turns.h"

namespace encoder {

class TsWriter {
public:
    // Opens nothing yet. The target is a path, a URL of FFmpeg's, or "-" for the standard output.
    // With bStop set, a write that nobody takes is given up when a signal interrupts the writing thread.
    TsWriter(std::string szPath, const std::atomic<bool> &bStop);
    ~TsWriter(); // closes the file; one that could not be finished ends after its last whole picture
    TsWriter(const TsWriter &) = delete;
    TsWriter &operator=(const TsWriter &) = delete;

    // Opens a program; streams added next belong to it. Gives its number.
    int AddProgram(const std::string &szName);
    // All give the stream's index for Write.
    int AddVideo(const AVCodecContext &Encoder);
    int AddVideo(const AVCodecParameters &Parameters, AVRational Rate);
    int AddKlv();
    // A stream that goes over from an input as it is. Packets of synchronous KLV are metadata AU cells.
    int AddPassed(const AVStream &Input, bool bSynchronousKlv);
    // Whether an MPEG-TS has a place for such a stream, in which readers find it again.
    static bool CanPass(AVCodecID enCodec);

    // Opens the target and writes the header. Throws a Failure (ExitCode::Output), as do Write and Finish;
    // ExitCode::Ok when bStop was set while it waited for the target.
    void Start();

    // Writes a packet with PTS and DTS in 90 kHz; its content is gone afterwards. DTS must not go back within a
    // stream. One packet at a time is written, whichever thread calls. A data packet may have no PTS: its DTS then only
    // tells when it is sent.
    void Write(AVPacket &Packet, int nStream);

    // Waits until no other program is behind: programs that are coded at different speed lie side by side in the
    // stream. To be called before a program's video packet with its DTS in 90 kHz is written.
    void WaitForTurn(int nProgram, std::int64_t llDTS) { m_Turns.Wait(nProgram, llDTS); }
    // The program has ended; the others need not wait for it.
    void LeaveTurns(int nProgram) { m_Turns.Leave(nProgram); }

    // Writes what is still buffered, ends and closes the file; again or unstarted: does nothing.
    void Finish();

private:
    struct Track {
        DataPes Pes;
        bool bOwnPackets = false; // since a packet without a PTS has come
    };

    AVStream &AddStream();
    void OpenTarget();
    int CloseTarget();
    void Mux(AVPacket &Packet, Track &To, int nStream);
    void WriteOwnPackets(const AVPacket &Packet, Track &To);
    void CheckWritten(int nResult, const char *szWhat) const;
    void CutToWholePackets() const;

    std::string m_szPath;
    std::mutex m_Mutex;
    Patience m_Patience;
    Turns m_Turns;
    std::vector<Track> m_Tracks; // one for each stream
    std::optional<RtpSender> m_Rtp;
    AVFormatContext *m_pContext = nullptr;
    AVProgram *m_pProgram = nullptr;
    bool m_bStarted = false;
    std::optional<std::int64_t> m_WholeBytes; // up to the end of the last packet, while the file is not finished
};

} // namespace encoder

#endif
