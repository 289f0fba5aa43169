// An input's encoding thread: codes pictures and gives each coded picture its time. For each picture: hand its time
// stamps in, code it. For each coded picture, in coding order: ask for its time, choose its timecode, write both into
// it, write it out, report.
#include "encoding.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <utility>

#include "common/pts.h"
#include "stamp_intake.h"

namespace encoder {

namespace {

constexpr Event HANDED_IN[] = {Event::NumberOfEvents, Event::StampHighPrecision, Event::StampSmpte12M, Event::StampLds};

// Ticks by which a picture may leave the encoder behind its DTS, with room to spare for a copy, whose DTS are mended.
constexpr std::int64_t LONGEST_IN_ENCODER = 60 * TICKS_PER_SECOND;

// Counts the CPU time of a scope as the library's.
class LibraryTime {
public:
    explicit LibraryTime(Tally &Counts) : m_Tally(Counts) {}
    ~LibraryTime() { m_Tally.AddLibraryTime(Now() - m_Began); }
    LibraryTime(const LibraryTime &) = delete;
    LibraryTime &operator=(const LibraryTime &) = delete;

private:
    static std::chrono::nanoseconds Now() {
        timespec Spent{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &Spent);
        return std::chrono::seconds(Spent.tv_sec) + std::chrono::nanoseconds(Spent.tv_nsec);
    }

    Tally &m_Tally;
    const std::chrono::nanoseconds m_Began = Now();
};

// The label that the picture itself shows.
std::optional<TimecodeLabel> OwnLabel(const std::vector<TimeStamp> &Stamps) {
    for (const TimeStamp &Stamp : Stamps)
        if (Stamp.enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
            return FromVitc(Stamp.Payload.vitc, HasDropFrameFlag(Stamp.Payload.vitc));
    return std::nullopt;
}

} // namespace

Encoding::Encoding(int nInput, const Options &Settings, const Coding &How, FrameQueue &In, const Target &Out,
                   Tally &Counts)
    : m_nInput(nInput), m_Sei(How.bHevc, How.Rate.nSkippedLabels), m_Options(Settings), m_Coding(How), m_Queue(In),
      m_Target(Out), m_Tally(Counts), m_Timecode(How.Rate, Settings, Counts), m_Base(How.bLive) {}

void Encoding::Run() {
    while (std::optional<Picture> Next = m_Queue.Pop())
        CodePicture(std::move(*Next));
    m_Coding.Coder.Flush([this](AVPacket &Packet, std::int64_t llPicture) { HandleCodedPicture(Packet, llPicture); });
    m_Target.Passed.WriteRest();
}

void Encoding::CodePicture(Picture Taken) {
    const auto TakeCoded = [this](AVPacket &Packet, std::int64_t llPicture) { HandleCodedPicture(Packet, llPicture); };
    if (!Taken.Frame) {
        m_Coding.Coder.HandOnUpTo(Taken.nUndecodedUpTo, TakeCoded);
        m_Target.Passed.WriteExcess();
        return;
    }
    const bool bNewStretch = Taken.nStretch != m_nStretchTaken;
    if (bNewStretch)
        BeginStretch(Taken.nStretch);
    // The encoder counts on where the stream's PTS wraps; the library is given the PTS that the stream carries.
    const UINT64 nPTS = StreamPTS(Taken.Frame->pts);
    m_Base.Renew(nPTS, Taken.llReadUTC);
    HandIn(nPTS, Taken.Stamps);
    for (const TimeStamp &Stamp : Taken.Stamps)
        m_Tally.Count(HANDED_IN[Stamp.enSource]);
    m_InEncoder[Taken.Frame->pts] = {Taken.nStretch, std::move(Taken.Stamps)};
    if (Taken.Frame->interlaced_frame != 0 && !m_Coding.Coder.KeepsFields())
        m_Tally.Count(Event::FieldsTogether);
    m_Coding.Coder.Encode(*Taken.Frame, bNewStretch, TakeCoded);
}

// Where the input's PTS step, nothing that was known before holds. The flush takes the time stamps of the pictures in
// the encoder too: they are handed in again. More than one flush a second is refused, and not needed, since the
// output's PTS never step: no old time stamp lies where a new picture does.
void Encoding::BeginStretch(unsigned nStretch) {
    m_nStretchTaken = nStretch;
    m_Tally.Count(Event::PTSStep);
    m_Base.StartAnew();
    m_pRecordCursor = nullptr;
    Timecode_Flush(m_nInput);
    for (const auto &[llPTS, Waiting] : m_InEncoder)
        HandIn(StreamPTS(llPTS), Waiting.Stamps);
}

void Encoding::HandIn(UINT64 nPTS, const std::vector<TimeStamp> &Stamps) {
    const LibraryTime Measured(m_Tally);
    for (const TimeStamp &Stamp : Stamps) {
        TCPayload Payload = Stamp.Payload;
        Timecode_SetUTC(m_nInput, Stamp.enSource, nPTS, &Payload);
    }
}

void Encoding::HandleCodedPicture(AVPacket &Packet, std::int64_t llPicture) {
    const UINT64 nPTS = StreamPTS(Packet.pts); // a copied packet's may have been moved away from its picture's
    const auto Found = m_InEncoder.extract(llPicture);
    // What the encoder has left out does not stay for good.
    m_InEncoder.erase(m_InEncoder.begin(), m_InEncoder.lower_bound(Packet.dts - LONGEST_IN_ENCODER));
    if (Found.empty()) {
        HandOn(Packet);
        return;
    }
    const InEncoder Of = std::move(Found.mapped());
    if (std::exchange(m_nStretchCoded, Of.nStretch) != Of.nStretch) {
        m_Timecode.StartAnew();
        m_bTimeKnown = false;
    }
    PictureTime Time;
    std::optional<TimecodeLabel> Timecode;
    {
        const LibraryTime Measured(m_Tally);
        Time = AskForTime(StreamPTS(llPicture), Of);
        Timecode = m_Timecode.Next(nPTS, Time, OwnLabel(Of.Stamps));
    }
    Write(Packet, Time, Timecode);
    Report(Time, nPTS, Timecode);
    m_nCodingIndex++;
}

PictureTime Encoding::AskForTime(UINT64 nPTS, const InEncoder &Of) {
    PictureTime Time;
    Time.bTimed = AskLibrary(nPTS, Time) == TRUE && IsKnown(Time, Of);
    // Revision 20116 turns timecode into UTC; revision 20162 hands the timecode record back as it was queued, and
    // leaves the timecode of a UTC to the caller.
    const bool bConverts = m_Options.enRevision == MISP_PROFILE_62;
    Time.bHasUTC = bConverts || Time.Record.enTimecodeSource != TCSOURCE_SMPTE12M_TIMESTAMP;
    if (Time.bTimed && !bConverts && Time.bHasUTC)
        Time.Timecode = TimecodeOfUTC(Time.Record.MotionImageryTimestamp.KLVTC.llUTCTime);
    return Time;
}

// Before the first time stamp revision 20116 carries forward what it has not got, and behind a step what belongs to
// another recording. A time is known when a time stamp of the picture's own stands behind it, and from then on; the
// system clock's always is.
bool Encoding::IsKnown(const PictureTime &Time, const InEncoder &Of) {
    const int enSource = Time.Record.enTimecodeSource;
    m_bTimeKnown = m_bTimeKnown || std::ranges::count(Of.Stamps, enSource, &TimeStamp::enSource) > 0;
    return m_bTimeKnown || enSource == TCSOURCE_SYSTEM_TIMESTAMP;
}

BOOL Encoding::AskLibrary(UINT64 nPTS, PictureTime &Time) {
    const int nRate = static_cast<int>(m_Coding.Rate.nWhole);
    const int nRateCode = static_cast<int>(m_Coding.Rate.nVUIFramerate);
    if (m_Options.enRevision == MISP_PROFILE_2016_2 && m_Options.enSource == TCSOURCE_SYSTEM_TIMESTAMP) {
        // Under this revision Timecode_GetUTC knows queued time stamps only; the system clock is asked for by name.
        return Timecode_GetSystemUTC(nRate, nRateCode, nPTS, m_Base.PTS(), m_Base.UTC(), &Time.Record, &Time.Timecode);
    }
    // What was carried forward before is no time from which the first one could jump.
    if (!m_bTimeKnown && m_nStretchCoded == 0)
        Timecode_ResetStats(m_nInput);
    int enSource = m_Options.enSource;
    const BOOL bTimed =
        Timecode_GetUTC(m_nInput, &enSource, m_Options.bSwitching, nRate, nRateCode, nPTS, m_Base.PTS(), m_Base.UTC(),
                        &Time.Record, &Time.Timecode, &Time.bSameRecord, &m_pRecordCursor);
    KeepOrClearCursor(nPTS, Time);
    return bTimed;
}

// With the cursor of the last picture, the library hands out the time stamp queued next, whatever picture asks. That is
// right only where pictures are coded in the order in which their time stamps came, which B pictures upset, in the
// input as well as here. With the cursor cleared, the library looks for the time stamp that lies at the picture's PTS.
// A kept cursor that has lost its picture (one was damaged on the way) would stay behind for good: it is cleared too.
void Encoding::KeepOrClearCursor(UINT64 nPTS, const PictureTime &Time) {
    const bool bMissed = Time.Record.nTimestamp64 != nPTS;
    if (!m_Coding.bKeepCursor || bMissed)
        m_pRecordCursor = nullptr;
}

vitc_t Encoding::TimecodeOfUTC(INT64 llUTC) const {
    vitc_t Timecode{};
    TimeCode_UTCToSMPTE12M(&llUTC, static_cast<int>(m_Coding.Rate.nWhole), m_Coding.Rate.nVUIFramerate, &Timecode);
    return Timecode;
}

void Encoding::Write(const AVPacket &Packet, const PictureTime &Time, const std::optional<TimecodeLabel> &Timecode) {
    const SeiWriter::Result Stamped = m_Sei.Insert(BytesOf(Packet), Time.Stamp(), Timecode);
    m_Tally.Count(Event::NoPlaceForTimecode, Timecode && !Stamped.bTimecode ? 1 : 0);
    WriteOut(Packet, Stamped.AccessUnit);
}

// A coded picture that was not decoded. It may bring the headers of those behind it.
void Encoding::HandOn(const AVPacket &Packet) {
    m_Tally.Count(Event::NotDecoded);
    WriteOut(Packet, m_Sei.Insert(BytesOf(Packet), {}, {}).AccessUnit);
}

void Encoding::WriteOut(const AVPacket &Packet, Bytes AccessUnit) {
    Check(av_new_packet(m_Stamped.get(), static_cast<int>(AccessUnit.size())), ExitCode::Encoder, "stamping a picture");
    std::copy(AccessUnit.begin(), AccessUnit.end(), m_Stamped->data);
    Check(av_packet_copy_props(m_Stamped.get(), &Packet), ExitCode::Encoder, "stamping a picture");
    m_Target.Writer.WaitForTurn(m_Target.nProgram, Packet.dts);
    m_Target.Passed.WriteBefore(Packet.pts, Packet.dts);
    m_Target.Writer.Write(*m_Stamped, m_Target.nStream);
}

void Encoding::Report(const PictureTime &Time, UINT64 nPTS, const std::optional<TimecodeLabel> &Timecode) {
    const std::optional<UtcStamp> Stamp = Time.Stamp();
    CsvRow Row;
    Row.nInput = m_nInput + 1;
    Row.nCodingIndex = m_nCodingIndex;
    Row.nPTS = nPTS;
    Row.bTimed = Time.bTimed;
    Row.enSource = Time.Source();
    Row.szTimecode = Time.bTimed ? ToText(FromVitc(Time.Timecode, HasDropFrameFlag(Time.Timecode))) : "";
    Row.szStreamTimecode = Timecode ? ToText(*Timecode) : "";
    Row.bSameRecord = Time.bSameRecord == TRUE;
    if (Stamp) {
        Row.StatusByte = Stamp->nStatusByte;
        Row.UTC = Stamp->llUTC;
    }
    m_Tally.SetLast(Row.enSource, Stamp);
    // The stream has the picture, whether the table takes its row or not.
    m_Tally.Count(Event::PictureCoded);
    m_Tally.Count(Time.bTimed ? Event::PictureTimed : Event::PictureUntimed);
    m_Target.Table.Write(Row);
}

} // namespace encoder
