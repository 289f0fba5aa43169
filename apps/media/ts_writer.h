// Writes an MPEG-TS of one or more programs, each with a video stream and, if wanted, a KLV data stream.
// Add the streams, Start, Write from any threads, Finish. PTS are kept as they are given (modulo 2^33).
#ifndef ENCODER_MEDIA_TS_WRITER_H
#define ENCODER_MEDIA_TS_WRITER_H

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "common/patience.h"
#include "media/av.h"

namespace encoder {

class TsWriter {
public:
    // Opens nothing yet. The target is a path, a URL of FFmpeg's, or "-" for the standard output.
    // With bStop set, a write that nobody takes is given up when a signal interrupts the writing thread.
    TsWriter(std::string szPath, const std::atomic<bool> &bStop);
    ~TsWriter(); // closes the file; one that could not be finished ends after its last whole picture
    TsWriter(const TsWriter &) = delete;
    TsWriter &operator=(const TsWriter &) = delete;

    // Opens a program; streams added next belong to it.
    void AddProgram(const std::string &szName);
    // Both give the stream's index for Write. The encoder is only read.
    int AddVideo(const AVCodecContext &Encoder);
    int AddKlv();

    // Opens the target and writes the header. Throws a Failure (ExitCode::Output), as do Write and Finish;
    // ExitCode::Ok when bStop was set while it waited for the target.
    void Start();

    // Writes a packet with PTS and DTS in 90 kHz; its content is gone afterwards. DTS must not go back within a
    // stream. One packet at a time is written, whichever thread calls.
    void Write(AVPacket &Packet, int nStream);

    // Writes what is still buffered, ends and closes the file; again or unstarted: does nothing.
    void Finish();

private:
    AVStream &AddStream();
    void CheckWritten(int nResult, const char *szWhat) const;
    void CutToWholePackets() const;

    std::string m_szPath;
    std::mutex m_Mutex;
    Patience m_Patience;
    AVFormatContext *m_pContext = nullptr;
    AVProgram *m_pProgram = nullptr;
    bool m_bStarted = false;
    std::optional<std::int64_t> m_WholeBytes; // up to the end of the last packet, while the file is not finished
};

} // namespace encoder

#endif
