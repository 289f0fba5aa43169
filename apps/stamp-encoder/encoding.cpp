// An input's encoding thread: codes pictures and gives each coded picture its time.
// For each coded picture, in coding order: ask for its time, number it, write both into it, write it out, report.
#include "encoding.h"

#include <algorithm>
#include <utility>

#include "formats/sei_writer.h"
#include "media/pts_clock.h"
#include "stamp_intake.h"

namespace encoder {

std::optional<UtcStamp> PictureTime::Stamp() const {
    if (!bTimed || !bHasUTC)
        return std::nullopt;
    const UTCPayload &Payload = Record.MotionImageryTimestamp.KLVTC;
    return UtcStamp{Payload.MISPStatusByte, Payload.llUTCTime};
}

Encoding::Encoding(int nInput, const Options &Settings, const Coding &How, FrameQueue &In, const Target &Out,
                   Tally &Counts)
    : m_nInput(nInput), m_Options(Settings), m_Coding(How), m_Queue(In), m_Target(Out), m_Tally(Counts),
      m_Generator(How.Rate, Settings.nBframes) {}

void Encoding::Run() {
    const auto TakeCoded = [this](AVPacket &Packet) { TakeCodedPicture(Packet); };
    bool bFirst = true;
    while (const std::optional<Picture> Next = m_Queue.Pop()) {
        if (std::exchange(bFirst, false)) {
            m_nBasePTS = StreamPTS(Next->Frame->pts);
            m_llBaseUTC = Next->llReadUTC;
        }
        m_Coding.Encoder.Encode(*Next->Frame, TakeCoded);
    }
    m_Coding.Encoder.Flush(TakeCoded);
}

void Encoding::TakeCodedPicture(AVPacket &Packet) {
    // The encoder counts on where the stream's PTS wraps; the library is given the PTS that the stream carries, the
    // same that the time stamps were handed in with.
    const UINT64 nPTS = StreamPTS(Packet.pts);
    // Before the question: a time stamp that comes after it must find its picture here.
    m_Tally.Coded().Add(nPTS);
    const PictureTime Time = AskForTime(nPTS);
    const TimecodeLabel Generated = GenerateTimecode(Time, nPTS);
    Write(Packet, Time, Generated);
    Report(Time, nPTS, Generated);
    m_nCodingIndex++;
}

PictureTime Encoding::AskForTime(UINT64 nPTS) {
    PictureTime Time;
    Time.bTimed = AskLibrary(nPTS, Time) == TRUE;
    // Revision 20116 turns timecode into UTC; revision 20162 hands the timecode record back as it was queued, and
    // leaves the timecode of a UTC to the caller.
    const bool bConverts = m_Options.enRevision == MISP_PROFILE_62;
    Time.bHasUTC = bConverts || Time.Record.enTimecodeSource != TCSOURCE_SMPTE12M_TIMESTAMP;
    if (Time.bTimed && !bConverts && Time.bHasUTC)
        Time.Timecode = TimecodeOfUTC(Time.Record.MotionImageryTimestamp.KLVTC.llUTCTime);
    return Time;
}

BOOL Encoding::AskLibrary(UINT64 nPTS, PictureTime &Time) {
    const int nRate = static_cast<int>(m_Coding.Rate.nWhole);
    const int nRateCode = static_cast<int>(m_Coding.Rate.nVUIFramerate);
    if (m_Options.enRevision == MISP_PROFILE_2016_2 && m_Options.enSource == TCSOURCE_SYSTEM_TIMESTAMP) {
        // Under this revision Timecode_GetUTC knows queued time stamps only; the system clock is asked for by name.
        return Timecode_GetSystemUTC(nRate, nRateCode, nPTS, m_nBasePTS, m_llBaseUTC, &Time.Record, &Time.Timecode);
    }
    int enSource = m_Options.enSource;
    const BOOL bTimed = Timecode_GetUTC(m_nInput, &enSource, m_Options.bSwitching, nRate, nRateCode, nPTS, m_nBasePTS,
                                        m_llBaseUTC, &Time.Record, &Time.Timecode, &Time.bSameRecord, &m_pRecordCursor);
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

TimecodeLabel Encoding::GenerateTimecode(const PictureTime &Time, UINT64 nPTS) {
    if (!m_Generator.IsSeeded())
        m_Generator.Seed(Time.bTimed ? Time.Timecode : TimecodeOfUTC(m_llBaseUTC), nPTS);
    return m_Generator.Next(nPTS);
}

vitc_t Encoding::TimecodeOfUTC(INT64 llUTC) const {
    vitc_t Timecode{};
    TimeCode_UTCToSMPTE12M(&llUTC, static_cast<int>(m_Coding.Rate.nWhole), m_Coding.Rate.nVUIFramerate, &Timecode);
    return Timecode;
}

void Encoding::Write(const AVPacket &Packet, const PictureTime &Time, const TimecodeLabel &Generated) {
    const std::vector<uint8_t> Stamped =
        InsertSei({Packet.data, static_cast<size_t>(Packet.size)}, Time.Stamp(), Generated);
    Check(av_new_packet(m_Stamped.get(), static_cast<int>(Stamped.size())), ExitCode::Encoder, "stamping a picture");
    std::copy(Stamped.begin(), Stamped.end(), m_Stamped->data);
    Check(av_packet_copy_props(m_Stamped.get(), &Packet), ExitCode::Encoder, "stamping a picture");
    m_Target.Writer.Write(*m_Stamped, m_Target.nStream);
}

void Encoding::Report(const PictureTime &Time, UINT64 nPTS, const TimecodeLabel &Generated) {
    const std::optional<UtcStamp> Stamp = Time.Stamp();
    TIMECODE_STATS Stats{};
    Timecode_GetStats(m_nInput, &Stats);
    // System time asked for by name is no source of the input.
    const bool bUnchosen = Stats.enTimecodeSource == TCSOURCE_NOT_CHOSEN && Time.bTimed;
    CsvRow Row;
    Row.nInput = m_nInput + 1;
    Row.nCodingIndex = m_nCodingIndex;
    Row.nPTS = nPTS;
    Row.bTimed = Time.bTimed;
    Row.enSourceInUse = bUnchosen ? Time.Record.enTimecodeSource : Stats.enTimecodeSource;
    Row.szTimecode = Time.bTimed ? ToText(FromVitc(Time.Timecode, HasDropFrameFlag(Time.Timecode))) : "";
    Row.szGenerated = ToText(Generated);
    Row.bSameRecord = Time.bSameRecord == TRUE;
    if (Stamp) {
        Row.StatusByte = Stamp->nStatusByte;
        Row.UTC = Stamp->llUTC;
        m_Tally.SetLastUTC(Stamp->llUTC);
    }
    m_Tally.SetSource(Row.enSourceInUse);
    // The stream has the picture, whether the table takes its row or not.
    m_Tally.Count(Event::PictureCoded);
    m_Tally.Count(Time.bTimed ? Event::PictureTimed : Event::PictureUntimed);
    m_Target.Table.Write(Row);
}

} // namespace encoder
