// Makes decoded pictures fit for the encoder and reads their VITC lines.
#include "media/picture_filter.h"

#include <cstring>
#include <new>

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/pixdesc.h>
}

namespace encoder {

namespace {

AVFilterContext *FindFilter(AVFilterGraph *pGraph, const char *szName) {
    AVFilterContext *const pFilter = avfilter_graph_get_filter(pGraph, szName);
    Check(pFilter == nullptr ? AVERROR_FILTER_NOT_FOUND : 0, ExitCode::Encoder, szName);
    return pFilter;
}

// The filter reads eight bits. The picture itself keeps what it has, so a deeper one's top is copied.
std::string VitcFilters(const AVFrame &Frame) {
    constexpr int EIGHT_BITS = 8;
    const AVPixFmtDescriptor *const pFormat = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(Frame.format));
    const bool bDeep = pFormat != nullptr && pFormat->comp[0].depth > EIGHT_BITS;
    return bDeep ? "crop=h=min(ih\\,46):y=0,format=yuv420p,readvitc" : "readvitc";
}

} // namespace

void PictureFilter::Chain::Build(const AVFrame &Frame, const std::string &szFilters) {
    m_Graph.reset(avfilter_graph_alloc());
    if (!m_Graph)
        throw std::bad_alloc();
    const std::string szGraph = "buffer@in=video_size=" + std::to_string(Frame.width) + "x" +
                                std::to_string(Frame.height) + ":pix_fmt=" + std::to_string(Frame.format) +
                                ":time_base=1/90000," + szFilters + ",buffersink@out";
    const std::string szWhat = "FFmpeg's filters " + szFilters;
    Check(avfilter_graph_parse_ptr(m_Graph.get(), szGraph.c_str(), nullptr, nullptr, nullptr), ExitCode::Encoder,
          szWhat);
    Check(avfilter_graph_config(m_Graph.get(), nullptr), ExitCode::Encoder, szWhat);
    m_pIn = FindFilter(m_Graph.get(), "buffer@in");
    m_pOut = FindFilter(m_Graph.get(), "buffersink@out");
    m_nPixelFormat = Frame.format;
    m_nWidth = Frame.width;
    m_nHeight = Frame.height;
}

FramePtr PictureFilter::Chain::Run(FramePtr Frame, const std::string &szFilters) {
    if (Frame->format != m_nPixelFormat || Frame->width != m_nWidth || Frame->height != m_nHeight)
        Build(*Frame, szFilters);
    Check(av_buffersrc_add_frame(m_pIn, Frame.get()), ExitCode::Encoder, "filtering a picture");
    Check(av_buffersink_get_frame(m_pOut, Frame.get()), ExitCode::Encoder, "filtering a picture");
    return Frame;
}

FramePtr PictureFilter::Filter(FramePtr Frame) {
    if (m_bReadVitc)
        ReadVitc(*Frame);
    if (Frame->format == m_enPixels || m_enPixels == AV_PIX_FMT_NONE)
        return Frame;
    return m_Conversion.Run(std::move(Frame), std::string("format=") + av_get_pix_fmt_name(m_enPixels));
}

void PictureFilter::ReadVitc(AVFrame &Frame) {
    FramePtr Copy(av_frame_clone(&Frame));
    if (!Copy)
        throw std::bad_alloc();
    const std::string szFilters = VitcFilters(Frame);
    Copy = m_Vitc.Run(std::move(Copy), szFilters);
    Check(av_dict_copy(&Frame.metadata, Copy->metadata, 0), ExitCode::Encoder, "reading VITC");
}

std::optional<TimecodeLabel> PictureFilter::VitcOf(const AVFrame &Frame) {
    const AVDictionaryEntry *const pFound = av_dict_get(Frame.metadata, "lavfi.readvitc.found", nullptr, 0);
    const AVDictionaryEntry *const pText = av_dict_get(Frame.metadata, "lavfi.readvitc.tc_str", nullptr, 0);
    if (pFound == nullptr || pText == nullptr || std::strcmp(pFound->value, "1") != 0)
        return std::nullopt;
    return FromText(pText->value);
}

} // namespace encoder
