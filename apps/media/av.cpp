// Owners of FFmpeg's objects, and FFmpeg's errors as text.
#include "media/av.h"

#include <new>

namespace encoder {

PacketPtr MakePacket() {
    PacketPtr Packet(av_packet_alloc());
    return Packet ? std::move(Packet) : throw std::bad_alloc();
}

FramePtr MakeFrame() {
    FramePtr Frame(av_frame_alloc());
    return Frame ? std::move(Frame) : throw std::bad_alloc();
}

std::string AvErrorText(int nError) {
    char szText[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(nError, szText, sizeof(szText));
    return szText;
}

int Check(int nResult, ExitCode enCode, const std::string &szWhat) {
    if (nResult < 0)
        throw Failure(enCode, szWhat + ": " + AvErrorText(nResult));
    return nResult;
}

} // namespace encoder
