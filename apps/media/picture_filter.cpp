// Makes decoded pictures fit for the encoder and reads their VITC lines.
// Every filter of the graph gives one picture for each that it takes, at once.
#include "media/picture_filter.h"

#include <cstring>
#include <new>
#include <string>

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

namespace encoder {

namespace {

AVFilterContext *AddFilter(AVFilterGraph *pGraph, const char *szFilter, const std::string &szArguments,
                           AVFilterContext *pBefore) {
    AVFilterContext *pFilter = nullptr;
    const std::string szWhat = std::string("FFmpeg's filter ") + szFilter;
    const AVFilter *const pKind = avfilter_get_by_name(szFilter);
    Check(pKind == nullptr ? AVERROR_FILTER_NOT_FOUND : 0, ExitCode::Encoder, szWhat);
    Check(avfilter_graph_create_filter(&pFilter, pKind, szFilter, szArguments.c_str(), nullptr, pGraph),
          ExitCode::Encoder, szWhat);
    if (pBefore != nullptr)
        Check(avfilter_link(pBefore, 0, pFilter, 0), ExitCode::Encoder, szWhat);
    return pFilter;
}

std::string SourceArguments(const AVFrame &Frame) {
    return "video_size=" + std::to_string(Frame.width) + "x" + std::to_string(Frame.height) +
           ":pix_fmt=" + std::to_string(Frame.format) + ":time_base=1/90000";
}

} // namespace

void PictureFilter::Build(const AVFrame &Frame) {
    m_Graph.reset(avfilter_graph_alloc());
    if (!m_Graph)
        throw std::bad_alloc();
    m_pIn = AddFilter(m_Graph.get(), "buffer", SourceArguments(Frame), nullptr);
    AVFilterContext *const pVitc = m_bReadVitc ? AddFilter(m_Graph.get(), "readvitc", "", m_pIn) : m_pIn;
    AVFilterContext *const pFormat = AddFilter(m_Graph.get(), "format", "pix_fmts=yuv420p", pVitc);
    m_pOut = AddFilter(m_Graph.get(), "buffersink", "", pFormat);
    Check(avfilter_graph_config(m_Graph.get(), nullptr), ExitCode::Encoder, "FFmpeg's filters");
    m_nPixelFormat = Frame.format;
    m_nWidth = Frame.width;
    m_nHeight = Frame.height;
}

FramePtr PictureFilter::Filter(FramePtr Frame) {
    if (Frame->format != m_nPixelFormat || Frame->width != m_nWidth || Frame->height != m_nHeight)
        Build(*Frame);
    Check(av_buffersrc_add_frame(m_pIn, Frame.get()), ExitCode::Encoder, "filtering a picture");
    Check(av_buffersink_get_frame(m_pOut, Frame.get()), ExitCode::Encoder, "filtering a picture");
    return Frame;
}

std::optional<TimecodeLabel> PictureFilter::VitcOf(const AVFrame &Frame) {
    const AVDictionaryEntry *const pFound = av_dict_get(Frame.metadata, "lavfi.readvitc.found", nullptr, 0);
    const AVDictionaryEntry *const pText = av_dict_get(Frame.metadata, "lavfi.readvitc.tc_str", nullptr, 0);
    if (pFound == nullptr || pText == nullptr || std::strcmp(pFound->value, "1") != 0)
        return std::nullopt;
    return FromText(pText->value);
}

} // namespace encoder
