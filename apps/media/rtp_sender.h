// Sends a transport stream over RTP (RFC 2250), seven packets a datagram.
// FFmpeg's muxer for the whole way, rtp_mpegts, forgets the programs.
#ifndef ENCODER_MEDIA_RTP_SENDER_H
#define ENCODER_MEDIA_RTP_SENDER_H

#include <cstdint>
#include <string>

#include "media/av.h"

namespace encoder {

class RtpSender {
public:
    // szUrl begins with "rtp:". Throws a Failure (ExitCode::Output).
    RtpSender(const std::string &szUrl, const AVIOInterruptCB &Interrupt);
    ~RtpSender();
    RtpSender(const RtpSender &) = delete;
    RtpSender &operator=(const RtpSender &) = delete;

    // What is written here is sent.
    AVIOContext *Target() { return m_pTarget; }

    // Sends what is left. Gives FFmpeg's error code; again: does nothing.
    int Close();

private:
    int Send(std::uint8_t *pData, int nSize);

    AVFormatContext *m_pContext = nullptr;
    AVIOContext *m_pTarget = nullptr;
};

} // namespace encoder

#endif
