// One video input from file to coded pictures: its producer thread, its encoding thread, and the queue between.
// Construct (opens the input), AddTo a writer, start the writer, Start, Join.
#ifndef ENCODER_PIPELINE_H
#define ENCODER_PIPELINE_H

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "encoding.h"
#include "media/video_encoder.h"
#include "producer.h"

namespace encoder {

// How the run ends: the first failure decides the exit code, every failure is told at once. Inputs that share what
// fails tell it once.
class Outcome {
public:
    explicit Outcome(Console &Out) : m_Console(Out) {}

    void Record(const Failure &Failed);
    ExitCode Code() const;

private:
    Console &m_Console;
    mutable std::mutex m_Mutex;
    ExitCode m_enCode = ExitCode::Ok;
    std::string m_szTold;
};

class Pipeline {
public:
    // nInput counts from 0. Throws a Failure when the input cannot be opened or coded.
    Pipeline(int nInput, const Options &Settings, Console &Out, const std::atomic<bool> &bStop);
    ~Pipeline();

    // Adds a program with the input's video and what goes with it.
    void AddTo(TsWriter &Writer);

    // Starts both threads; failures go to Result.
    void Start(CsvWriter &Table, Outcome &Result);

    bool IsRunning() const { return m_nRunning > 0; }

    std::optional<double> Progress() const { return m_Demuxer.Progress(); }
    // The producer waits for an input that has ended.
    bool IsSilent() const { return m_Demuxer.IsSilent(); }

    // Wakes both threads where they wait in a system call for data or for a reader, so that they see the stop flag.
    void Interrupt();

    // Waits for both threads.
    void Join();

    const Tally &Counts() const { return m_Tally; }
    int Source() const { return m_Options.enSource; } // TCSOURCE_..., that the library is asked for

private:
    PictureRate ChooseRate() const;
    VideoEncoderOptions EncoderOptions() const;
    void OpenCoder();
    Encoding::Coding HowToCode();
    const Options &WithSource();
    template <typename Body>
    std::thread StartThread(Outcome &Result, Body Run, void (FrameQueue::*pfnLeave)());

    const int m_nInput;
    Options m_Options; // with the source that was chosen for this input
    Tally m_Tally;
    Demuxer m_Demuxer;
    const PictureRate m_Rate;
    std::optional<VideoEncoder> m_Encoder;
    std::optional<CopyCoder> m_Copy; // in its place
    FrameQueue m_Queue;
    PassedStreams m_Passed;
    std::optional<Producer> m_Producer;
    TsWriter *m_pWriter = nullptr;
    int m_nProgram = -1;
    int m_nStream = -1;
    std::optional<Encoding> m_Encoding;
    std::atomic<int> m_nRunning{0};
    std::thread m_ProducerThread;
    std::thread m_EncodingThread;
};

} // namespace encoder

#endif
