// An input's encoding thread: codes pictures and gives each coded picture its time.
// This is the place to look at when the timecode library is to be built into another encoder.
#ifndef ENCODER_ENCODING_H
#define ENCODER_ENCODING_H

#include <map>
#include <optional>

#include "csv.h"
#include "formats/sei_writer.h"
#include "frame_queue.h"
#include "media/picture_coder.h"
#include "media/ts_writer.h"
#include "options.h"
#include "passed_streams.h"
#include "picture_time.h"
#include "stream_timecode.h"
#include "system_base.h"
#include "tally.h"

namespace encoder {

class Encoding {
public:
    // How an input is coded.
    struct Coding {
        PictureRate Rate;
        bool bKeepCursor; // hand the library's record cursor from picture to picture
        PictureCoder &Coder;
        bool bHevc;
        Bytes Headers; // parameter sets beside the stream
        bool bLive;    // pictures come at the pace of their PTS
    };

    // Where an input's coded pictures go.
    struct Target {
        TsWriter &Writer;
        int nProgram;
        int nStream;
        PassedStreams &Passed;
        CsvWriter &Table;
    };

    // All references must outlive the object. nInput counts from 0, as the library does.
    Encoding(int nInput, const Options &Settings, const Coding &How, FrameQueue &In, const Target &Out, Tally &Counts);

    // The thread's body. Returns when the producer has ended and every picture is written; throws a Failure when coding
    // or writing fails.
    void Run();

private:
    // A picture that the encoder has taken and not yet given back.
    struct InEncoder {
        unsigned nStretch = 0;
        std::vector<TimeStamp> Stamps;
    };

    void CodePicture(Picture Taken);
    void BeginStretch(unsigned nStretch);
    void HandIn(UINT64 nPTS, const std::vector<TimeStamp> &Stamps);
    void HandleCodedPicture(AVPacket &Packet, std::int64_t llPicture);
    void HandOn(const AVPacket &Packet);
    PictureTime AskForTime(UINT64 nPTS, const InEncoder &Of);
    BOOL AskLibrary(UINT64 nPTS, PictureTime &Time);
    void KeepOrClearCursor(UINT64 nPTS, const PictureTime &Time);
    bool IsKnown(const PictureTime &Time, const InEncoder &Of);
    vitc_t TimecodeOfUTC(INT64 llUTC) const;
    void Write(const AVPacket &Packet, const PictureTime &Time, const std::optional<TimecodeLabel> &Timecode);
    void WriteOut(const AVPacket &Packet, Bytes AccessUnit);
    void Report(const PictureTime &Time, UINT64 nPTS, const std::optional<TimecodeLabel> &Timecode);

    const int m_nInput;
    SeiWriter m_Sei;
    const Options &m_Options;
    const Coding m_Coding;
    FrameQueue &m_Queue;
    Target m_Target;
    Tally &m_Tally;

    std::map<std::int64_t, InEncoder> m_InEncoder; // by PTS
    unsigned m_nStretchTaken = 0;
    unsigned m_nStretchCoded = 0;
    StreamTimecode m_Timecode;
    SystemBase m_Base;
    void *m_pRecordCursor = nullptr; // the library's, one for each input
    bool m_bTimeKnown = false;       // a time stamp of this stretch has served a picture
    UINT64 m_nCodingIndex = 0;
    PacketPtr m_Stamped = MakePacket();
};

} // namespace encoder

#endif
