// Codes pictures with libx264 or libx265 in one fixed picture structure: every reference picture after the first is
// followed, in coding order, by the same number of B pictures that are shown before it; the last one by those that are
// left.
#ifndef ENCODER_MEDIA_VIDEO_ENCODER_H
#define ENCODER_MEDIA_VIDEO_ENCODER_H

#include <string>

#include "media/picture_coder.h"

namespace encoder {

// What a picture looks like. All of it goes into the stream's headers.
struct PictureFormat {
    int nWidth = 0;
    int nHeight = 0;
    AVRational SampleAspect{1, 1};
    AVPixelFormat enPixels = AV_PIX_FMT_YUV420P;
    AVFieldOrder enFields = AV_FIELD_PROGRESSIVE;
    AVColorRange enRange = AVCOL_RANGE_UNSPECIFIED;
    AVColorPrimaries enPrimaries = AVCOL_PRI_UNSPECIFIED;
    AVColorTransferCharacteristic enTransfer = AVCOL_TRC_UNSPECIFIED;
    AVColorSpace enMatrix = AVCOL_SPC_UNSPECIFIED;
    AVChromaLocation enChromaPlace = AVCHROMA_LOC_UNSPECIFIED;
};

// As a stream's headers tell it.
PictureFormat FormatOf(const AVCodecParameters &Video);

struct VideoEncoderOptions {
    std::string szName; // what is coded; messages begin with it
    bool bHevc = false;
    PictureFormat Format;
    AVRational Rate{30, 1}; // pictures a second
    int nBframes = 2;
    std::int64_t llBitrate = 4'000'000; // bits a second
    std::string szPreset = "veryfast";
};

// H.264 comes out with a pic_timing message that holds no timecode yet.
class VideoEncoder final : public PictureCoder {
public:
    // Throws a Failure (ExitCode::Encoder) when the encoder is missing or refuses the settings, which libx265 does with
    // fields.
    explicit VideoEncoder(const VideoEncoderOptions &Options);

    // The pixel format of those that the encoder takes which keeps the most of the given one.
    static AVPixelFormat NearestFormat(bool bHevc, AVPixelFormat enPixels);

    // Codes one picture of the options' pixel format. DTS lie up to nBframes pictures below the first PTS. The
    // picture's pict_type is set here. A new start is coded so that it and all pictures behind it can be decoded alone.
    void Encode(AVFrame &Frame, bool bNewStart, const PacketSink &Sink) override;
    void Flush(const PacketSink &Sink) override;
    bool KeepsFields() const override { return m_Context->field_order > AV_FIELD_PROGRESSIVE; }

    // For the muxer: codec parameters are taken from it.
    const AVCodecContext &Context() const { return *m_Context; }

private:
    void Send(const AVFrame *pFrame, const PacketSink &Sink);

    const std::string m_szName;
    CodecContextPtr m_Context;
    PacketPtr m_Packet;
};

} // namespace encoder

#endif
