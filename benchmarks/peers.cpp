// The same arithmetic in other libraries: the label of a UTC, the next drop-frame label at 29.97 Hz, and the number of
// frames between two labels. Each does it in its own way and keeps its own kind of label.
#include <benchmark/benchmark.h>
#include <ctime>

#include "timecode.h"

#ifdef PEER_LIBAVUTIL
extern "C" {
#include <libavutil/timecode.h>
}
#endif
#ifdef PEER_GSTREAMER_VIDEO_1_0
#include <gst/video/video.h>
#endif
#ifdef PEER_LTC
#include <ltc.h>
#endif

namespace {

constexpr INT64 SOME_SECOND = 1'767'225'600;
constexpr INT64 USEC_PER_FRAME = 33'367;
constexpr int FRAMES_PER_DAY = 2'589'408; // at 29.97 Hz

// The UTC of consecutive pictures, and its parts.
class Pictures {
public:
    INT64 NextUsec() { return m_nUsec += USEC_PER_FRAME; }
    void Next() {
        NextUsec();
        tSecond = m_nUsec / 1'000'000;
        nFrame = static_cast<int>(m_nUsec % 1'000'000 / USEC_PER_FRAME);
    }
    time_t tSecond = 0;
    int nFrame = 0;

private:
    INT64 m_nUsec = SOME_SECOND * 1'000'000;
};

void OursLabel(benchmark::State &State) {
    Pictures Time;
    vitc_t Vitc{};
    for ([[maybe_unused]] auto Unused : State) {
        INT64 llUTC = Time.NextUsec();
        TimeCode_UTCToSMPTE12M(&llUTC, 30, 29000, &Vitc);
        benchmark::DoNotOptimize(Vitc);
    }
}
BENCHMARK(OursLabel)->Name("this library/UTC to label");

void OursNext(benchmark::State &State) {
    SMPTE12M1_CONTEXT Context{};
    Context.PTSTicksPerFrame = 3003;
    Context.nEncodedPictureRate = 30;
    Context.nVUIFramerate = 29000;
    for ([[maybe_unused]] auto Unused : State) {
        const UINT64 nPTS = Context.OldTimestamp64 + Context.PTSTicksPerFrame;
        Timecode_MakeSMPTE12M1VITC(&Context, 0, nPTS, &Context.OldSystemTC);
        Context.OldTimestamp64 = nPTS;
        benchmark::DoNotOptimize(Context);
    }
}
BENCHMARK(OursNext)->Name("this library/next label");

void OursDifference(benchmark::State &State) {
    vitc_t Old{};
    vitc_t New[2]{};
    New[0].HourUnits = 1;
    New[1].SecondUnits = 1;
    size_t nTurn = 0;
    int nFrames = 0;
    for ([[maybe_unused]] auto Unused : State) {
        nTurn ^= 1;
        Timecode_CalcFrameCountDiff(30, 29000, Old, New[nTurn], &nFrames);
        benchmark::DoNotOptimize(nFrames);
    }
}
BENCHMARK(OursDifference)->Name("this library/difference");

#ifdef PEER_LIBAVUTIL
constexpr AVRational RATE_29_97 = {30000, 1001};

void AvutilLabel(benchmark::State &State) {
    Pictures Time;
    for ([[maybe_unused]] auto Unused : State) {
        Time.Next();
        tm Parts{};
        gmtime_r(&Time.tSecond, &Parts);
        benchmark::DoNotOptimize(
            av_timecode_get_smpte(RATE_29_97, 0, Parts.tm_hour, Parts.tm_min, Parts.tm_sec, Time.nFrame));
    }
}
BENCHMARK(AvutilLabel)->Name("libavutil/UTC to label");

void AvutilNext(benchmark::State &State) {
    AVTimecode Timecode{};
    av_timecode_init(&Timecode, RATE_29_97, AV_TIMECODE_FLAG_DROPFRAME, 0, nullptr);
    int nFrame = 0;
    for ([[maybe_unused]] auto Unused : State) {
        nFrame = (nFrame + 1) % FRAMES_PER_DAY;
        benchmark::DoNotOptimize(av_timecode_get_smpte_from_framenum(&Timecode, nFrame));
    }
}
BENCHMARK(AvutilNext)->Name("libavutil/next label");

void AvutilDifference(benchmark::State &State) {
    AVTimecode Old{};
    AVTimecode New{};
    int nMinute = 0;
    for ([[maybe_unused]] auto Unused : State) {
        nMinute ^= 1;
        av_timecode_init_from_components(&Old, RATE_29_97, AV_TIMECODE_FLAG_DROPFRAME, 0, 0, 0, 0, nullptr);
        av_timecode_init_from_components(&New, RATE_29_97, AV_TIMECODE_FLAG_DROPFRAME, 1, nMinute, 0, 2, nullptr);
        benchmark::DoNotOptimize(New.start - Old.start);
    }
}
BENCHMARK(AvutilDifference)->Name("libavutil/difference");
#endif

#ifdef PEER_GSTREAMER_VIDEO_1_0
GstVideoTimeCode GstreamerLabel(guint nHours, guint nMinutes, guint nFrames) {
    GstVideoTimeCode Label{};
    gst_video_time_code_init(&Label, 30000, 1001, nullptr, GST_VIDEO_TIME_CODE_FLAGS_DROP_FRAME, nHours, nMinutes, 0,
                             nFrames, 0);
    return Label;
}

void GstreamerLabel(benchmark::State &State) {
    Pictures Time;
    for ([[maybe_unused]] auto Unused : State) {
        Time.Next();
        GDateTime *const pSecond = g_date_time_new_from_unix_utc(Time.tSecond);
        GDateTime *const pInstant = g_date_time_add(pSecond, Time.nFrame * USEC_PER_FRAME);
        GstVideoTimeCode Label{};
        gst_video_time_code_init_from_date_time_full(&Label, 30000, 1001, pInstant,
                                                     GST_VIDEO_TIME_CODE_FLAGS_DROP_FRAME, 0);
        benchmark::DoNotOptimize(Label);
        gst_video_time_code_clear(&Label);
        g_date_time_unref(pInstant);
        g_date_time_unref(pSecond);
    }
}
BENCHMARK(GstreamerLabel)->Name("GStreamer/UTC to label");

void GstreamerNext(benchmark::State &State) {
    GstVideoTimeCode Label = GstreamerLabel(0, 0, 0);
    for ([[maybe_unused]] auto Unused : State) {
        gst_video_time_code_increment_frame(&Label);
        benchmark::DoNotOptimize(Label);
    }
}
BENCHMARK(GstreamerNext)->Name("GStreamer/next label");

void GstreamerDifference(benchmark::State &State) {
    const GstVideoTimeCode Old = GstreamerLabel(0, 0, 0);
    GstVideoTimeCode New = GstreamerLabel(1, 0, 2);
    for ([[maybe_unused]] auto Unused : State) {
        New.minutes ^= 1;
        benchmark::DoNotOptimize(gst_video_time_code_frames_since_daily_jam(&New) -
                                 gst_video_time_code_frames_since_daily_jam(&Old));
    }
}
BENCHMARK(GstreamerDifference)->Name("GStreamer/difference");
#endif

#ifdef PEER_LTC
void LtcLabel(benchmark::State &State) {
    Pictures Time;
    LTCFrame Frame{};
    for ([[maybe_unused]] auto Unused : State) {
        Time.Next();
        tm Parts{};
        gmtime_r(&Time.tSecond, &Parts);
        SMPTETimecode Label{};
        Label.hours = static_cast<unsigned char>(Parts.tm_hour);
        Label.mins = static_cast<unsigned char>(Parts.tm_min);
        Label.secs = static_cast<unsigned char>(Parts.tm_sec);
        Label.frame = static_cast<unsigned char>(Time.nFrame);
        ltc_time_to_frame(&Frame, &Label, LTC_TV_525_60, 0);
        benchmark::DoNotOptimize(Frame);
    }
}
BENCHMARK(LtcLabel)->Name("libltc/UTC to label");

void LtcNext(benchmark::State &State) {
    LTCFrame Frame{};
    ltc_frame_reset(&Frame);
    Frame.dfbit = 1;
    for ([[maybe_unused]] auto Unused : State) {
        ltc_frame_increment(&Frame, 30, LTC_TV_525_60, 0);
        benchmark::DoNotOptimize(Frame);
    }
}
BENCHMARK(LtcNext)->Name("libltc/next label");
#endif

} // namespace

BENCHMARK_MAIN();
