// Makes an input for a machine that has none: a moving test pattern that carries its time in three ways at once.
// All three say the same: picture n is n picture periods after the first, and its timecode is the UTC time of day.
#include "generate.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>

#include "clock_api.h"
#include "common/file_names.h"
#include "common/pts.h"
#include "common/utc_text.h"
#include "formats/klv.h"
#include "formats/sei_writer.h"
#include "formats/vitc.h"
#include "media/ts_writer.h"
#include "media/video_encoder.h"
#include "options.h"

extern "C" {
#include <libavfilter/buffersink.h>
}

namespace encoder {
namespace {

constexpr int WIDTH = 640;
constexpr int HEIGHT = 360;
constexpr int VITC_ROWS = 8; // as many as a transform block, so that no bit rate can blur them with other rows
constexpr std::uint8_t NEUTRAL_CHROMA = 128;
constexpr std::int64_t USEC_PER_SECOND = 1000000;
constexpr std::int64_t FIRST_PTS = 10 * TICKS_PER_SECOND; // DTS must stay above 0
constexpr int MIN_RATE = 10;
constexpr int MAX_RATE = 60;        // VITC has no numbers for more
constexpr int DROP_FRAME_STEP = 30; // 29.97 and 59.94 Hz come near multiples of it
constexpr double MAX_DURATION_SECONDS = 86400;
constexpr int REPORT_SECONDS = 60; // of media

enum Source { SOURCE_STAMP = 1, SOURCE_VITC = 2, SOURCE_KLV = 3 };

void CheckOptions(const GenerateOptions &Options) {
    const auto Require = [&](bool bHolds, const std::string &szText) {
        if (!bHolds)
            throw Failure(ExitCode::Usage, "cannot generate '" + Options.szFile + "': " + szText);
    };
    Require(Options.nRateDenominator > 0 &&
                Options.nRateNumerator >= std::int64_t{MIN_RATE} * Options.nRateDenominator &&
                Options.nRateNumerator <= std::int64_t{MAX_RATE} * Options.nRateDenominator,
            "the picture rate must lie between 10 and 60 a second, as in 30000/1001");
    Require(Options.DurationSeconds > 0 && Options.DurationSeconds <= MAX_DURATION_SECONDS,
            "the duration must be more than 0 seconds and at most a day");
    for (const DropOut &Drop : Options.DropOuts) {
        Require(Drop.nSource >= SOURCE_STAMP && Drop.nSource <= SOURCE_KLV,
                "source " + std::to_string(Drop.nSource) + " of a drop-out must be 1 (stamp), 2 (VITC) or 3 (KLV)");
        Require(Drop.FromSeconds < Drop.ToSeconds, "a drop-out must end after it begins");
    }
}

std::int64_t WholeSecondNow() {
    const auto Now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::floor<std::chrono::seconds>(Now).count() * USEC_PER_SECOND;
}

// Where a line cannot be written, nobody reads it; the file is what counts.
void Say(std::FILE *pWhere, const std::string &szLine) {
    (void)std::fprintf(pWhere, "%s\n", szLine.c_str());
    (void)std::fflush(pWhere);
}

// The times of each picture, by its number in display order.
class PictureTimes {
public:
    explicit PictureTimes(const GenerateOptions &Options)
        : m_Period{Options.nRateDenominator, Options.nRateNumerator},
          m_nRate(static_cast<int>(av_rescale(1, Options.nRateNumerator, Options.nRateDenominator))),
          m_llStartUTC(Options.llStartUTC.value_or(WholeSecondNow())),
          m_nFirstLabel(ToFrameCount(FirstLabel(), m_nRate)) {}

    int WholeRate() const { return m_nRate; }
    std::int64_t PTS(std::int64_t nPicture) const { return FIRST_PTS + Units(nPicture, TICKS_PER_SECOND); }

    std::int64_t Utc(std::int64_t nPicture) const {
        const auto nElapsed = static_cast<std::uint64_t>(Units(nPicture, USEC_PER_SECOND));
        return static_cast<std::int64_t>(static_cast<std::uint64_t>(m_llStartUTC) + nElapsed);
    }

    // The inverse of PTS.
    std::int64_t PictureAt(std::int64_t nPTS) const {
        return av_rescale(nPTS - FIRST_PTS, m_Period.den, m_Period.num * TICKS_PER_SECOND);
    }

    TimecodeLabel Label(std::int64_t nPicture) const {
        return FromFrameCount(m_nFirstLabel + nPicture, m_nRate, HasDropFrame());
    }

private:
    bool HasDropFrame() const { return m_nRate % DROP_FRAME_STEP == 0 && m_Period.den % m_Period.num != 0; }

    std::int64_t Units(std::int64_t nPicture, std::int64_t nPerSecond) const {
        return av_rescale(nPicture, m_Period.num * nPerSecond, m_Period.den);
    }

    // The UTC time of day at which the first picture is taken, on the next number that exists. UTC, because the library
    // takes the time of day of a timecode as it stands.
    TimecodeLabel FirstLabel() const {
        date_time_t Time{};
        ClockCvtUtc2DateTime(m_llStartUTC, &Time);
        const std::int64_t nFrames = std::int64_t{Time.microsec} * m_nRate / USEC_PER_SECOND;
        TimecodeLabel First = {Time.hour, Time.min, Time.sec, static_cast<int>(nFrames), HasDropFrame()};
        while (!IsValid(First, m_nRate))
            ++First.nFrames;
        return First;
    }

    AVRational m_Period; // of a picture, in seconds
    int m_nRate;         // at which frame numbers wrap
    std::int64_t m_llStartUTC;
    std::int64_t m_nFirstLabel;
};

// FFmpeg's moving test picture.
class Pattern {
public:
    explicit Pattern(AVRational Rate) : m_Graph(avfilter_graph_alloc()) {
        if (!m_Graph)
            throw std::bad_alloc();
        const std::string szGraph = "testsrc2=size=" + std::to_string(WIDTH) + "x" + std::to_string(HEIGHT) +
                                    ":rate=" + std::to_string(Rate.num) + "/" + std::to_string(Rate.den) +
                                    ",format=yuv420p,buffersink@out";
        constexpr const char *WHAT = "FFmpeg's test picture (filters testsrc2, format, buffersink)";
        Check(avfilter_graph_parse_ptr(m_Graph.get(), szGraph.c_str(), nullptr, nullptr, nullptr), ExitCode::Encoder,
              WHAT);
        Check(avfilter_graph_config(m_Graph.get(), nullptr), ExitCode::Encoder, WHAT);
        m_pSink = avfilter_graph_get_filter(m_Graph.get(), "buffersink@out");
        Check(m_pSink == nullptr ? AVERROR_FILTER_NOT_FOUND : 0, ExitCode::Encoder, WHAT);
    }

    // The next picture, to be painted on.
    FramePtr Next() {
        FramePtr Frame = MakeFrame();
        Check(av_buffersink_get_frame(m_pSink, Frame.get()), ExitCode::Encoder, "drawing a picture");
        Check(av_frame_make_writable(Frame.get()), ExitCode::Encoder, "drawing a picture");
        return Frame;
    }

private:
    FilterGraphPtr m_Graph;
    AVFilterContext *m_pSink = nullptr;
};

VideoEncoderOptions EncoderOptions(const std::string &szFile, AVRational Rate) {
    VideoEncoderOptions Options;
    Options.szName = "cannot generate '" + szFile + "'";
    Options.Format.nWidth = WIDTH;
    Options.Format.nHeight = HEIGHT;
    Options.Rate = Rate;
    return Options;
}

PacketPtr PacketOf(Bytes Data) {
    PacketPtr Packet = MakePacket();
    Check(av_new_packet(Packet.get(), static_cast<int>(Data.size())), ExitCode::Encoder, "a packet");
    std::memcpy(Packet->data, Data.data(), Data.size());
    return Packet;
}

class Generator {
public:
    Generator(const GenerateOptions &Options, const std::atomic<bool> &bStop)
        : m_Options(Options), m_Rate{Options.nRateNumerator, Options.nRateDenominator}, m_Times(Options),
          m_Pattern(m_Rate), m_Encoder(EncoderOptions(Options.szFile, m_Rate)), m_Writer(Options.szFile, bStop),
          m_bStop(bStop), m_pReport(NamesStdout(Options.szFile) ? stderr : stdout) {
        m_nVideoStream = m_Writer.AddVideo(m_Encoder.Context());
        m_nKlvStream = m_Writer.AddKlv();
    }

    void Run() {
        const auto nPictures = std::llround(m_Options.DurationSeconds * av_q2d(m_Rate));
        m_Writer.Start();
        Report("first picture " + UtcText(m_Times.Utc(0)) + ", timecode " + ToText(m_Times.Label(0)) + ", PTS " +
               std::to_string(m_Times.PTS(0)));
        for (; m_nPictures < nPictures && !m_bStop; ++m_nPictures) {
            MakePicture(m_nPictures);
            ReportProgress(nPictures);
        }
        m_Encoder.Flush([this](AVPacket &Packet, std::int64_t) { WriteVideo(Packet); });
        m_Writer.Finish();
        Report((m_nPictures < nPictures ? "stopped after " : "complete after ") + std::to_string(m_nPictures) +
               " pictures; " + std::to_string(m_nSpoken[SOURCE_STAMP]) + " with time stamp, " +
               std::to_string(m_nSpoken[SOURCE_VITC]) + " with VITC, " + std::to_string(m_nSpoken[SOURCE_KLV]) +
               " with KLV");
    }

private:
    // The local set goes before its picture, so that a reader has it when it has the picture.
    void MakePicture(std::int64_t nPicture) {
        if (Speaks(SOURCE_KLV, nPicture))
            WriteKlv(nPicture);
        const FramePtr Frame = m_Pattern.Next();
        if (Speaks(SOURCE_VITC, nPicture))
            PaintTimecode(*Frame, m_Times.Label(nPicture));
        Frame->pts = m_Times.PTS(nPicture);
        m_Encoder.Encode(*Frame, false, [this](AVPacket &Packet, std::int64_t) { WriteVideo(Packet); });
    }

    // Asked once for each picture and source, so it can count.
    bool Speaks(Source enSource, std::int64_t nPicture) {
        const double Seconds = static_cast<double>(nPicture) / av_q2d(m_Rate);
        const bool bSilent = std::ranges::any_of(m_Options.DropOuts, [&](const DropOut &Drop) {
            return Drop.nSource == enSource && Seconds >= Drop.FromSeconds && Seconds < Drop.ToSeconds;
        });
        m_nSpoken[enSource] += bSilent ? 0 : 1;
        return !bSilent;
    }

    void PaintTimecode(AVFrame &Frame, const TimecodeLabel &Label) const {
        PaintVitc({Frame.data[0], Frame.linesize[0], Frame.width, VITC_ROWS}, Label, m_Times.WholeRate());
        for (const int nPlane : {1, 2}) {
            for (std::ptrdiff_t nRow = 0; nRow < VITC_ROWS / 2; ++nRow)
                std::memset(Frame.data[nPlane] + nRow * Frame.linesize[nPlane], NEUTRAL_CHROMA,
                            static_cast<std::size_t>(Frame.width / 2));
        }
    }

    void WriteKlv(std::int64_t nPicture) {
        const PacketPtr Packet = PacketOf(BuildLocalSet(m_Times.Utc(nPicture)));
        Packet->pts = m_Times.PTS(nPicture);
        Packet->dts = Packet->pts;
        m_Writer.Write(*Packet, m_nKlvStream);
    }

    void WriteVideo(AVPacket &Coded) {
        const std::int64_t nPicture = m_Times.PictureAt(Coded.pts);
        std::optional<UtcStamp> Stamp;
        if (Speaks(SOURCE_STAMP, nPicture))
            Stamp = {m_Options.nStatusByte, m_Times.Utc(nPicture)};
        const PacketPtr Packet =
            PacketOf(m_Sei.Insert({Coded.data, static_cast<std::size_t>(Coded.size)}, Stamp, {}).AccessUnit);
        Check(av_packet_copy_props(Packet.get(), &Coded), ExitCode::Encoder, "a packet");
        m_Writer.Write(*Packet, m_nVideoStream);
    }

    void ReportProgress(std::int64_t nPictures) const {
        const std::int64_t nStep = std::int64_t{REPORT_SECONDS} * m_Times.WholeRate();
        const std::int64_t nDone = m_nPictures + 1;
        if (nDone % nStep == 0 && nDone != nPictures)
            Report(std::to_string(nDone) + " of " + std::to_string(nPictures) + " pictures");
    }

    void Report(const std::string &szText) const { Say(m_pReport, m_Options.szFile + ": " + szText); }

    const GenerateOptions &m_Options;
    AVRational m_Rate;
    PictureTimes m_Times;
    Pattern m_Pattern;
    VideoEncoder m_Encoder;
    SeiWriter m_Sei{false};
    TsWriter m_Writer;
    const std::atomic<bool> &m_bStop;
    std::FILE *m_pReport; // where the stream itself does not go
    int m_nVideoStream = 0;
    int m_nKlvStream = 0;
    std::int64_t m_nPictures = 0;
    std::array<std::int64_t, SOURCE_KLV + 1> m_nSpoken = {}; // pictures that carry each source
};

} // namespace

int GenerateInput(const GenerateOptions &Options, const std::atomic<bool> &bStop) {
    try {
        CheckOptions(Options);
        Generator(Options, bStop).Run();
        return static_cast<int>(ExitCode::Ok);
    } catch (const Failure &Error) {
        const bool bOutput = Error.Code() == ExitCode::Output;
        const char *const szAdvice = bOutput ? "; check the path, the rights and the space on its disk" : "";
        Say(stderr, std::string("stamp-encoder: ") + Error.what() + szAdvice);
        return static_cast<int>(Error.Code());
    } catch (const std::bad_alloc &) {
        Say(stderr, "stamp-encoder: out of memory while generating '" + Options.szFile + "'");
        return static_cast<int>(ExitCode::Encoder);
    }
}

} // namespace encoder
