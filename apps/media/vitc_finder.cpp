// Looks for VITC lines in coded video: decodes it and gives the timecodes that can be believed.
#include "media/vitc_finder.h"

#include <utility>

namespace encoder {

VitcFinder::VitcFinder(const AVStream &Video, const std::string &szName, const std::optional<PictureRate> &Rate,
                       Sink Found)
    : m_Decoder(Video, szName), m_Believed(Rate ? Rate->Exact.num : 0, Rate ? Rate->Exact.den : 1),
      m_Found(std::move(Found)) {}

void VitcFinder::Add(AVPacket &Packet) {
    m_Decoder.Decode(
        Packet, 0, [this](FramePtr Frame, std::int64_t) { ReadPicture(std::move(Frame)); });
}

void VitcFinder::Finish() {
    m_Decoder.Flush([this](FramePtr Frame, std::int64_t) { ReadPicture(std::move(Frame)); });
}

void VitcFinder::ReadPicture(FramePtr Frame) {
    if (Frame->pts == AV_NOPTS_VALUE)
        return;
    const auto nPTS = static_cast<std::uint64_t>(Frame->pts);
    Frame = m_Filter.Filter(std::move(Frame));
    const std::optional<TimecodeLabel> Label = PictureFilter::VitcOf(*Frame);
    if (!Label)
        return;
    for (const TimecodeReading &Reading : m_Believed.Offer(*Label, nPTS))
        m_Found(Reading);
}

} // namespace encoder
