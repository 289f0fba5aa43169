// Makes decoded pictures fit for the encoder (yuv420p) and, if wanted, reads the VITC lines at their top.
// One FFmpeg filter graph does both, built for the first picture and again when the pixel format changes.
#ifndef ENCODER_MEDIA_PICTURE_FILTER_H
#define ENCODER_MEDIA_PICTURE_FILTER_H

#include <optional>

#include "formats/timecode_label.h"
#include "media/av.h"

namespace encoder {

class PictureFilter {
public:
    explicit PictureFilter(bool bReadVitc) : m_bReadVitc(bReadVitc) {}

    // Throws a Failure (ExitCode::Encoder) when FFmpeg lacks a filter.
    FramePtr Filter(FramePtr Frame);

    // The label of the VITC lines found in a picture that went through a filter.
    static std::optional<TimecodeLabel> VitcOf(const AVFrame &Frame);

private:
    void Build(const AVFrame &Frame);

    bool m_bReadVitc;
    FilterGraphPtr m_Graph;
    AVFilterContext *m_pIn = nullptr;  // owned by the graph
    AVFilterContext *m_pOut = nullptr; // owned by the graph
    int m_nPixelFormat = AV_PIX_FMT_NONE;
    int m_nWidth = 0;
    int m_nHeight = 0;
};

} // namespace encoder

#endif
