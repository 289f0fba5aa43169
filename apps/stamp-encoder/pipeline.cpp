// One video input from file to coded pictures.
// Whatever ends one thread also ends the other: the queue between them tells it.
#include "pipeline.h"

#include <csignal>
#include <exception>
#include <pthread.h>

#include "source_choice.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace encoder {

void Outcome::Record(const Failure &Failed) {
    const std::lock_guard Lock(m_Mutex);
    if (m_szTold != Failed.what())
        m_Console.Error(Failed.what());
    m_szTold = Failed.what();
    if (m_enCode == ExitCode::Ok)
        m_enCode = Failed.Code();
}

ExitCode Outcome::Code() const {
    const std::lock_guard Lock(m_Mutex);
    return m_enCode;
}

Pipeline::Pipeline(int nInput, const Options &Settings, Console &Out, const std::atomic<bool> &bStop)
    : m_nInput(nInput), m_Options(Settings), m_Tally(nInput + 1, Settings.Inputs[static_cast<size_t>(nInput)], Out),
      m_Demuxer(Settings.Inputs[static_cast<size_t>(nInput)], {Settings.Stream, Settings.KlvStream, Settings.bPass},
                Settings.LongestSilence, bStop),
      m_Rate(ChooseRate()), m_Passed(m_Demuxer, m_Tally) {
    OpenCoder();
    for (const std::string &szStream : m_Demuxer.PopLeftOut())
        m_Tally.Tell(szStream);
    const auto enPixels = static_cast<AVPixelFormat>(m_Demuxer.Video().codecpar->format);
    const AVPixelFormat enCoded = m_Encoder ? m_Encoder->Context().pix_fmt : AV_PIX_FMT_NONE;
    if (m_Encoder && enPixels != AV_PIX_FMT_NONE && enPixels != enCoded) {
        m_Tally.Tell(std::string("pictures are ") + av_get_pix_fmt_name(enPixels) +
                     ", which the encoder does not take; they are coded as " + av_get_pix_fmt_name(enCoded));
    }
    m_Producer.emplace(WithSource(), m_Rate, enCoded, m_Copy ? &*m_Copy : nullptr, m_Demuxer, m_Queue, m_Passed,
                       m_Tally, bStop);
}

void Pipeline::OpenCoder() {
    if (m_Options.bCopy)
        m_Copy.emplace(m_Demuxer.Video(), m_Rate.Exact, "input '" + m_Demuxer.Path() + "'");
    else
        m_Encoder.emplace(EncoderOptions());
}

Pipeline::~Pipeline() {
    m_Queue.Abandon();
    m_Queue.End();
    Join();
}

PictureRate Pipeline::ChooseRate() const {
    const std::optional<PictureRate> Rate = m_Options.Rate ? m_Options.Rate : MakePictureRate(m_Demuxer.Rate());
    if (!Rate)
        throw Failure(ExitCode::Input, "input '" + m_Demuxer.Path() + "' does not tell its picture rate; give --rate");
    const int nRate = static_cast<int>(Rate->nWhole);
    if (m_Options.FirstTimecode && m_Options.FirstTimecode->nFrames >= nRate) {
        throw Failure(ExitCode::Usage, "--first-timecode " + ToText(*m_Options.FirstTimecode) + ": input '" +
                                           m_Demuxer.Path() + "' has " + std::to_string(nRate) + " pictures a second");
    }
    return *Rate;
}

const Options &Pipeline::WithSource() {
    if (m_Options.enSource == TCSOURCE_NONE) {
        const SourceChoice Choice = ChooseSource(m_Demuxer, m_Rate, m_Options.KlvStream);
        m_Options.enSource = Choice.enSource;
        m_Options.KlvStream = Choice.KlvStream;
        m_Tally.Tell(Choice.szFound);
    }
    return m_Options;
}

VideoEncoderOptions Pipeline::EncoderOptions() const {
    VideoEncoderOptions Coding;
    Coding.szName = "input '" + m_Demuxer.Path() + "'";
    Coding.bHevc = m_Options.bHevc;
    Coding.Format = FormatOf(*m_Demuxer.Video().codecpar);
    Coding.Format.enPixels = VideoEncoder::NearestFormat(Coding.bHevc, Coding.Format.enPixels);
    Coding.Rate = m_Rate.Exact;
    Coding.nBframes = m_Options.nBframes;
    Coding.llBitrate = m_Options.llBitrate;
    Coding.szPreset = m_Options.szPreset;
    return Coding;
}

void Pipeline::AddTo(TsWriter &Writer) {
    m_nProgram = Writer.AddProgram("Input " + std::to_string(m_nInput + 1));
    m_nStream = m_Copy ? Writer.AddVideo(m_Copy->Parameters(), m_Rate.Exact) : Writer.AddVideo(m_Encoder->Context());
    m_Passed.AddTo(Writer);
    m_pWriter = &Writer;
}

namespace {

// However the thread ends, the other programs of the stream do not wait for it.
class TurnsLeft {
public:
    TurnsLeft(TsWriter &Writer, int nProgram) : m_Writer(Writer), m_nProgram(nProgram) {}
    ~TurnsLeft() { m_Writer.LeaveTurns(m_nProgram); }
    TurnsLeft(const TurnsLeft &) = delete;
    TurnsLeft &operator=(const TurnsLeft &) = delete;

private:
    TsWriter &m_Writer;
    int m_nProgram;
};

} // namespace

template <typename Body>
std::thread Pipeline::StartThread(Outcome &Result, Body Run, void (FrameQueue::*pfnLeave)()) {
    m_nRunning++;
    return std::thread([this, &Result, Run, pfnLeave] {
        try {
            Run();
        } catch (const Failure &Failed) {
            Result.Record(Failed);
        } catch (const std::exception &Failed) {
            Result.Record(Failure(ExitCode::Encoder, Failed.what()));
        }
        (m_Queue.*pfnLeave)();
        m_nRunning--;
    });
}

Encoding::Coding Pipeline::HowToCode() {
    const bool bInputHasBframes = m_Demuxer.Video().codecpar->video_delay > 0;
    const bool bKeepCursor = m_Options.KeepsCursor(bInputHasBframes);
    const bool bLive = m_Options.bRealtime || !m_Demuxer.Progress();
    if (!m_Copy)
        return {m_Rate, bKeepCursor, *m_Encoder, m_Options.bHevc, {}, bLive};
    const AVCodecParameters &Copied = m_Copy->Parameters();
    return {m_Rate, bKeepCursor, *m_Copy, Copied.codec_id == AV_CODEC_ID_HEVC, HeadersOf(Copied), bLive};
}

void Pipeline::Start(CsvWriter &Table, Outcome &Result) {
    m_Encoding.emplace(m_nInput, m_Options, HowToCode(), m_Queue,
                       Encoding::Target{*m_pWriter, m_nProgram, m_nStream, m_Passed, Table}, m_Tally);
    const auto Encode = [this] {
        const TurnsLeft Leaving(*m_pWriter, m_nProgram);
        m_Encoding->Run();
    };
    m_EncodingThread = StartThread(Result, Encode, &FrameQueue::Abandon);
    m_ProducerThread = StartThread(
        Result, [this] { m_Producer->Run(); }, &FrameQueue::End);
}

void Pipeline::Interrupt() {
    for (std::thread *const pThread : {&m_ProducerThread, &m_EncodingThread})
        if (pThread->joinable())
            pthread_kill(pThread->native_handle(), SIGUSR1);
}

void Pipeline::Join() {
    for (std::thread *const pThread : {&m_ProducerThread, &m_EncodingThread})
        if (pThread->joinable())
            pThread->join();
}

} // namespace encoder
