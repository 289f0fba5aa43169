// Chooses the timecode that is written into the stream beside each coded picture of one input.
// Label and time are compared as frames of the day.
#include "stream_timecode.h"

#include <cmath>

#include "stamp_intake.h"

namespace encoder {

namespace {

constexpr INT64 USEC_PER_DAY = 86'400'000'000;
constexpr double SECONDS_PER_DAY = 86400;
constexpr int MAX_LABEL_RATE = 60;

double SecondsOfDay(INT64 llUTC) {
    const INT64 llOfDay = llUTC % USEC_PER_DAY;
    return static_cast<double>(llOfDay < 0 ? llOfDay + USEC_PER_DAY : llOfDay) / 1e6;
}

} // namespace

StreamTimecode::StreamTimecode(const PictureRate &Rate, const Options &Settings, Tally &Counts)
    : m_Rate(Rate), m_Hz(Rate.nSkippedLabels > 0 ? av_q2d(Rate.Exact) : Rate.nWhole), m_nResync(Settings.nResync),
      m_First(Settings.FirstTimecode), m_Tally(Counts),
      m_Generator(Rate, Settings.bCopy ? std::nullopt : std::optional(Settings.nBframes)) {}

std::optional<TimecodeLabel> StreamTimecode::Next(UINT64 nPTS, const PictureTime &Time,
                                                  const std::optional<TimecodeLabel> &Own) {
    const int nRate = static_cast<int>(m_Rate.nWhole);
    if (nRate > MAX_LABEL_RATE) {
        m_Tally.Count(Event::RateWithoutLabels);
        return std::nullopt;
    }
    const bool bOwn = Own && Time.Source() == TCSOURCE_SMPTE12M_TIMESTAMP && IsValid(*Own, nRate);
    std::optional<TimecodeLabel> Label = Generated(nPTS);
    if (Time.bTimed && (!m_bSeededByTime || IsApart(*Label, Time))) {
        m_Tally.Count(Event::TimecodeResync, m_bSeededByTime && !bOwn ? 1 : 0);
        m_Generator.Seed(Time.Timecode, nPTS);
        Label = m_Generator.Next(nPTS);
        m_bSeededByTime = true;
        m_SeedOffset = LabelFrames(*Label) - TimeFrames(Time);
    }
    return bOwn ? Own : Label;
}

std::optional<TimecodeLabel> StreamTimecode::Generated(UINT64 nPTS) {
    if (!m_Generator.IsSeeded() && m_First)
        m_Generator.Seed(ToVitc(*m_First), nPTS);
    return m_Generator.IsSeeded() ? std::optional(m_Generator.Next(nPTS)) : std::nullopt;
}

void StreamTimecode::StartAnew() {
    m_Generator.Forget();
    m_bSeededByTime = false;
}

// The label has gone from the time since the generator was seeded.
bool StreamTimecode::IsApart(const TimecodeLabel &Label, const PictureTime &Time) const {
    const double Frames = std::remainder(LabelFrames(Label) - TimeFrames(Time) - m_SeedOffset, SECONDS_PER_DAY * m_Hz);
    return m_nResync > 0 && std::fabs(Frames) > m_nResync;
}

// Drop-frame numbers go ahead of the time of day by up to 1.8 frames and back within each ten minutes: a label is taken
// at the time at which its ten minutes have it.
double StreamTimecode::LabelFrames(const TimecodeLabel &Label) const {
    constexpr int MINUTES = 10;
    TimecodeLabel OfTenMinutes = Label;
    OfTenMinutes.nHours = 0;
    OfTenMinutes.nMinutes = Label.nMinutes % MINUTES;
    OfTenMinutes.bDropFrame = m_Rate.nSkippedLabels > 0;
    const int nTens = Label.nHours * 60 / MINUTES + Label.nMinutes / MINUTES;
    return nTens * MINUTES * 60 * m_Hz +
           static_cast<double>(ToFrameCount(OfTenMinutes, static_cast<int>(m_Rate.nWhole)));
}

// A timecode is a time of day itself, and numbered like the generator's.
double StreamTimecode::TimeFrames(const PictureTime &Time) const {
    if (Time.Source() == TCSOURCE_SMPTE12M_TIMESTAMP)
        return LabelFrames(FromVitc(Time.Timecode, false));
    return SecondsOfDay(Time.Record.MotionImageryTimestamp.KLVTC.llUTCTime) * m_Hz;
}

} // namespace encoder
