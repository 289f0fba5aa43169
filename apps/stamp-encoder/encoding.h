// An input's encoding thread: codes pictures and gives each coded picture its time.
// This is the place to look at when the timecode library is to be built into another encoder.
#ifndef ENCODER_ENCODING_H
#define ENCODER_ENCODING_H

#include <optional>

#include "csv.h"
#include "formats/stamp_sei.h"
#include "frame_queue.h"
#include "generated_timecode.h"
#include "media/ts_writer.h"
#include "media/video_encoder.h"
#include "options.h"
#include "tally.h"

namespace encoder {

// The library's answer for one coded picture.
struct PictureTime {
    bool bTimed = false;  // Timecode_GetUTC returned TRUE; without it nothing else holds
    bool bHasUTC = false; // the record's KLVTC view is valid, otherwise its vitc view
    MISP_UTC Record{};
    vitc_t Timecode{}; // the picture's SMPTE 12M timecode
    BOOL bSameRecord = FALSE;

    std::optional<UtcStamp> Stamp() const; // for the ST 0604 message
};

class Encoding {
public:
    // How an input is coded.
    struct Coding {
        PictureRate Rate;
        bool bKeepCursor; // hand the library's record cursor from picture to picture
        VideoEncoder &Encoder;
    };

    // Where an input's coded pictures go.
    struct Target {
        TsWriter &Writer;
        int nStream;
        CsvWriter &Table;
    };

    // All references must outlive the object. nInput counts from 0, as the library does.
    Encoding(int nInput, const Options &Settings, const Coding &How, FrameQueue &In, const Target &Out, Tally &Counts);

    // The thread's body. Returns when the producer has ended and every picture is written; throws a Failure when coding
    // or writing fails.
    void Run();

private:
    void TakeCodedPicture(AVPacket &Packet);
    PictureTime AskForTime(UINT64 nPTS);
    BOOL AskLibrary(UINT64 nPTS, PictureTime &Time);
    void KeepOrClearCursor(UINT64 nPTS, const PictureTime &Time);
    TimecodeLabel GenerateTimecode(const PictureTime &Time, UINT64 nPTS);
    void Write(const AVPacket &Packet, const PictureTime &Time, const TimecodeLabel &Generated);
    void Report(const PictureTime &Time, UINT64 nPTS, const TimecodeLabel &Generated);
    vitc_t TimecodeOfUTC(INT64 llUTC) const;

    const int m_nInput;
    const Options &m_Options;
    const Coding m_Coding;
    FrameQueue &m_Queue;
    Target m_Target;
    Tally &m_Tally;

    GeneratedTimecode m_Generator;
    void *m_pRecordCursor = nullptr; // the library's, one for each input
    UINT64 m_nBasePTS = 0;           // the first picture's PTS ...
    INT64 m_llBaseUTC = 0;           // ... and the system time at which it was read
    UINT64 m_nCodingIndex = 0;
    PacketPtr m_Stamped = MakePacket();
};

} // namespace encoder

#endif
