// Numbers the coded pictures of one input with SMPTE 12M-1 timecode.
// The generator's context belongs to its caller: what it holds between two pictures is kept here.
#include "generated_timecode.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "media/pts_clock.h"
#include "pts_api.h"

namespace encoder {

namespace {

constexpr INT64 GUARD_TICKS = 30 * TICKS_PER_SECOND;

bool IsInDropZone(const TimecodeLabel &Label) {
    return Label.nSeconds == 0 && Label.nMinutes % 10 != 0;
}

} // namespace

GeneratedTimecode::GeneratedTimecode(const PictureRate &Rate, std::optional<int> Bframes)
    : m_Rate(Rate), m_bCounts(!Bframes) {
    m_Context.PTSTicksPerFrame = Rate.nTicksPerFrame;
    m_Context.nEncodedPictureRate = Rate.nWhole;
    m_Context.nVUIFramerate = Rate.nVUIFramerate;
    m_Context.nBframes = static_cast<UINT>(Bframes.value_or(0));
}

void GeneratedTimecode::Seed(const vitc_t &FirstPicture, UINT64 nPTS) {
    const bool bDropFrame = m_Rate.nSkippedLabels > 0;
    const int nRate = static_cast<int>(m_Rate.nWhole);
    TimecodeLabel First = FromVitc(FirstPicture, bDropFrame);
    m_Context.BackFillStateCount = 0;
    m_Context.bExtraSkipAllowed = FALSE;
    m_bSkipped = false;
    if (bDropFrame && IsInDropZone(First)) {
        First.nFrames = std::max(First.nFrames, static_cast<int>(m_Rate.nSkippedLabels));
        // This minute's skip lies before the picture. The generator would make it again for a first picture that
        // lies just behind it, so the guard starts closed.
        m_bSkipped = true;
        m_nSkipPTS = nPTS;
    }
    TimecodeLabel Before = First;
    if (First.nFrames > 0)
        Before.nFrames--;
    else
        Before = FromFrameCount(ToFrameCount(First, nRate) - 1, nRate, bDropFrame);
    m_Context.OldSystemTC = ToVitc(Before);
    m_Context.OldTimestamp64 = StreamPTS(static_cast<INT64>(nPTS) - static_cast<INT64>(m_Rate.nTicksPerFrame));
    m_nFirstPTS = nPTS;
    m_nFirstCount = ToFrameCount(First, nRate);
    m_bSeeded = true;
}

// After a drop-frame skip the generator makes no other for 30 seconds, by the wall clock: it is meant to run at the
// pace of the video. A file is coded faster: the next minute comes after a second of wall clock, and its skip would be
// left out. So the guard is kept in media time: the context says "just now" while 30 seconds of video have not passed
// since the skip, and "never" afterwards.
void GeneratedTimecode::SetGuard(UINT64 nPTS) {
    const bool bGuarded = m_bSkipped && std::abs(CalcPTSDiffEx(m_nSkipPTS, nPTS)) <= GUARD_TICKS;
    m_Context.tDropFrameOccurred = bGuarded ? std::time(nullptr) : 0;
}

TimecodeLabel GeneratedTimecode::Counted(UINT64 nPTS) const {
    const std::int64_t nFrames =
        av_rescale(CalcPTSDiffEx(m_nFirstPTS, nPTS), m_Rate.Exact.num, TICKS_PER_SECOND * m_Rate.Exact.den);
    return FromFrameCount(m_nFirstCount + nFrames, static_cast<int>(m_Rate.nWhole), m_Rate.nSkippedLabels > 0);
}

TimecodeLabel GeneratedTimecode::Next(UINT64 nPTS) {
    if (m_bCounts)
        return Counted(nPTS);
    SetGuard(nPTS);
    const bool bGuardOpen = m_Context.tDropFrameOccurred == 0;
    const INT64 llFrames = CalcPTSDiffEx(m_nFirstPTS, nPTS) / static_cast<INT64>(m_Rate.nTicksPerFrame);
    const UINT nPoc = static_cast<UINT>(2 * llFrames);
    vitc_t Timecode{};
    Timecode_MakeSMPTE12M1VITC(&m_Context, nPoc, nPTS, &Timecode);
    if (bGuardOpen && m_Context.tDropFrameOccurred != 0) {
        m_bSkipped = true;
        m_nSkipPTS = nPTS;
    }
    m_Context.OldSystemTC = Timecode;
    m_Context.OldPoc = nPoc;
    m_Context.OldTimestamp64 = nPTS;
    return FromVitc(Timecode, m_Rate.nSkippedLabels > 0);
}

} // namespace encoder
