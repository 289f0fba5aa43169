// Makes decoded pictures fit for the encoder and, if wanted, reads the VITC lines at their top.
// FFmpeg's filter graphs do both. A picture that has the encoder's pixel format already goes through untouched.
#ifndef ENCODER_MEDIA_PICTURE_FILTER_H
#define ENCODER_MEDIA_PICTURE_FILTER_H

#include <optional>
#include <string>

#include "formats/timecode_label.h"
#include "media/av.h"

namespace encoder {

class PictureFilter {
public:
    // Gives pictures of the pixel format, or with AV_PIX_FMT_NONE as they are.
    PictureFilter(bool bReadVitc, AVPixelFormat enPixels) : m_bReadVitc(bReadVitc), m_enPixels(enPixels) {}

    // Throws a Failure (ExitCode::Encoder) when FFmpeg lacks a filter.
    FramePtr Filter(FramePtr Frame);

    // The label of the VITC lines found in a picture that went through a filter.
    static std::optional<TimecodeLabel> VitcOf(const AVFrame &Frame);

private:
    // A chain of filters that gives one picture for each that it takes, at once. It is built for the first picture, and
    // again when the pixel format or the size changes.
    class Chain {
    public:
        // Filters in FFmpeg's words, separated by commas.
        FramePtr Run(FramePtr Frame, const std::string &szFilters);

    private:
        void Build(const AVFrame &Frame, const std::string &szFilters);

        FilterGraphPtr m_Graph;
        AVFilterContext *m_pIn = nullptr;  // owned by the graph
        AVFilterContext *m_pOut = nullptr; // owned by the graph
        int m_nPixelFormat = AV_PIX_FMT_NONE;
        int m_nWidth = 0;
        int m_nHeight = 0;
    };

    void ReadVitc(AVFrame &Frame);

    const bool m_bReadVitc;
    const AVPixelFormat m_enPixels;
    Chain m_Vitc;
    Chain m_Conversion;
};

} // namespace encoder

#endif
