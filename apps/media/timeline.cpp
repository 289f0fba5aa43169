// The times of an input as one timeline that only grows.
// A single wrong time makes two steps, there and back, after which all is where it was.
#include "media/timeline.h"

#include <cstdlib>

namespace encoder {

namespace {

constexpr std::int64_t LARGEST_LEAP = 5 * TICKS_PER_SECOND;

// Between times as FFmpeg has them.
std::int64_t Distance(std::int64_t llFrom, std::int64_t llTo) {
    return PTSDistance(StreamPTS(llFrom), StreamPTS(llTo));
}

} // namespace

std::int64_t Timeline::Move(const Place &From, std::int64_t llTime) {
    return llTime == AV_NOPTS_VALUE ? llTime : From.llMoved + Distance(From.llStream, llTime);
}

std::int64_t Timeline::BeginAt(std::int64_t llTime) {
    const auto llStream = static_cast<std::int64_t>(StreamPTS(llTime));
    m_Now = {0, llStream, llStream + PTS_WRAP};
    m_bBegun = true;
    m_llLatest = m_Now.llMoved;
    return m_Now.llMoved;
}

void Timeline::BeginStretch(std::int64_t llStream) {
    m_Before = m_Now;
    m_llBegan = m_llLatest + m_llPeriod;
    m_Now = {m_Now.nStretch + 1, llStream, m_llBegan};
}

// A PTS and a DTS that lie farther apart than pictures are reordered: takes away the one that goes astray.
void Timeline::DropStray(AVPacket &Packet) const {
    if (Packet.dts == AV_NOPTS_VALUE || Packet.pts == AV_NOPTS_VALUE ||
        std::abs(Distance(Packet.dts, Packet.pts)) <= m_llReordering)
        return;
    const bool bDtsStrays = m_bVideo && IsStep(Packet.dts, 0) && !IsStep(Packet.pts, m_llReordering);
    (bDtsStrays ? Packet.dts : Packet.pts) = AV_NOPTS_VALUE;
}

bool Timeline::IsStep(std::int64_t llTime, std::int64_t llReordering) const {
    const std::int64_t llStep = Distance(m_Now.llStream, llTime);
    return llStep < -m_llPeriod - llReordering || llStep > LARGEST_LEAP;
}

void Timeline::MoveVideo(AVPacket &Packet, bool bMarked) {
    const bool bHadDts = Packet.dts != AV_NOPTS_VALUE;
    DropStray(Packet);
    const bool bHasDts = Packet.dts != AV_NOPTS_VALUE;
    const std::int64_t llTime = bHasDts ? Packet.dts : Packet.pts;
    if (llTime == AV_NOPTS_VALUE)
        return;
    if (!m_bVideo)
        m_Now = {0, llTime, m_bBegun ? Move(m_Now, llTime) : llTime + PTS_WRAP};
    else if (bMarked || IsStep(llTime, bHasDts ? 0 : m_llReordering))
        BeginStretch(Packet.pts != AV_NOPTS_VALUE ? Packet.pts : llTime);
    m_bBegun = m_bVideo = true;
    if (bHasDts || !bHadDts)
        m_Now = {m_Now.nStretch, llTime, Move(m_Now, llTime)};
    Packet.pts = Move(m_Now, Packet.pts);
    Packet.dts = Move(m_Now, Packet.dts);
    m_llLatest = std::max({m_llLatest, Packet.dts, Packet.pts});
}

unsigned Timeline::MoveOther(AVPacket &Packet) const {
    const std::int64_t llTime = Packet.dts != AV_NOPTS_VALUE ? Packet.dts : Packet.pts;
    const bool bHasTwo = m_Before && llTime != AV_NOPTS_VALUE && m_Now.llMoved - m_llBegan < LARGEST_LEAP;
    const bool bBefore =
        bHasTwo && std::abs(Distance(m_Before->llStream, llTime)) < std::abs(Distance(m_Now.llStream, llTime));
    const Place &From = bBefore ? *m_Before : m_Now;
    Packet.pts = Move(From, Packet.pts);
    Packet.dts = Move(From, Packet.dts);
    return From.nStretch;
}

// A field is a packet of its own. Where pictures are reordered, a key picture is shown later than it is decoded: some
// writers give the PTS alone, which FFmpeg takes for both, and that time serves only until there is a better one.
DecodingTime DecodingClock::Next(const AVPacket &Packet) {
    const bool bHasDts = Packet.dts != AV_NOPTS_VALUE;
    const bool bKey = (Packet.flags & AV_PKT_FLAG_KEY) != 0;
    const bool bSure = bHasDts && !(bKey && Packet.dts == Packet.pts && m_llReordering > 0);
    if (bSure || (bHasDts && !m_bSure)) {
        m_llCountedFrom = Packet.dts;
        m_nFields = 0;
        m_bSure = bSure;
    }
    const std::int64_t llDecoded = m_llCountedFrom + TicksOf(m_nFields, av_mul_q(m_Rate, {2, 1}));
    const bool bField = Packet.duration > 0 && 4 * Packet.duration < 3 * TicksOf(1, m_Rate);
    m_nFields += bField ? 1 : 2;
    return {llDecoded, m_bSure ? llDecoded : AV_NOPTS_VALUE};
}

// A sound picture leaves the decoder when the packet goes in that is decoded as it is shown; behind a loss, what came
// with it may have been left out.
std::int64_t PictureClock::Next(const Known &Times) {
    const std::int64_t llHalf = TicksOf(1, m_Rate) / 2;
    const std::int64_t llPTS = Times.llPTS;
    if (llPTS != AV_NOPTS_VALUE) {
        const bool bLater = !m_Last || llPTS > *m_Last;
        CountFrom(bLater ? llPTS : *m_Last + std::max(std::int64_t{1}, llHalf));
    } else {
        m_nCounted++;
        if (!m_Last)
            CountFrom(Times.llGuess != AV_NOPTS_VALUE ? Times.llGuess : Times.llLeft);
        else if (Times.llEarliest > Counted() + llHalf)
            CountFrom(std::max(Times.llEarliest, Times.llLeft));
    }
    m_Last = Counted();
    return *m_Last;
}

} // namespace encoder
