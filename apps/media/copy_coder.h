// Hands on the coded pictures of an input instead of coding them again, each when its decoded picture would have gone
// to the encoder: so that all time stamps that belong to it are known. The producer puts packets in, the encoding
// thread takes them out.
#ifndef ENCODER_MEDIA_COPY_CODER_H
#define ENCODER_MEDIA_COPY_CODER_H

#include <deque>
#include <mutex>
#include <optional>

extern "C" {
#include <libavcodec/bsf.h>
}

#include "media/picture_coder.h"
#include "media/timeline.h"

namespace encoder {

class CopyCoder final : public PictureCoder {
public:
    // Throws a Failure (ExitCode::Input) that begins with szName for video that is neither H.264 nor HEVC. The rate is
    // for packets without times.
    CopyCoder(const AVStream &Video, AVRational Rate, const std::string &szName);

    // Producer: a video packet, in coding order, with times on the output's timeline, and when it is decoded if it has
    // none; and later the PTS of its picture, in display order. A packet may have no picture of its own: a second
    // field, or one that cannot be decoded.
    void Add(const AVPacket &Packet, std::int64_t nPacket, std::int64_t llDecoded);
    void Place(std::int64_t nPacket, std::int64_t llPTS);

    void Encode(AVFrame &Frame, bool bNewStart, const PacketSink &Sink) override;
    void HandOnUpTo(std::int64_t nPacket, const PacketSink &Sink) override;
    void Flush(const PacketSink &Sink) override;
    bool KeepsFields() const override { return true; }

    // For the muxer: the stream with start codes, its parameter sets beside it.
    const AVCodecParameters &Parameters() const { return *m_Filter->par_out; }

private:
    struct FreeFilter {
        void operator()(AVBSFContext *pFilter) const { av_bsf_free(&pFilter); }
    };
    struct Waiting {
        PacketPtr Packet;
        std::int64_t nPacket = 0;
        std::int64_t llDecoded = 0;
        std::optional<std::int64_t> PTS; // of its picture
    };

    bool IsDue(const Waiting &Item, std::int64_t llPTS) const;
    template <typename Condition>
    std::optional<Waiting> PopFirst(Condition IsWanted);
    template <typename Condition>
    void HandOnWhile(Condition IsWanted, const PacketSink &Sink);
    void HandOn(const Waiting &Item, const PacketSink &Sink);

    std::unique_ptr<AVBSFContext, FreeFilter> m_Filter;
    const std::int64_t m_llPeriod;
    const std::int64_t m_llReordering; // from DTS to PTS where nothing is reordered
    std::mutex m_Mutex;
    std::deque<Waiting> m_Waiting;
    std::int64_t m_nLatestPlaced = 0;
    std::optional<std::int64_t> m_LastDTS;
    std::int64_t m_llLastPTS = 0; // the timeline lies far above
};

} // namespace encoder

#endif
