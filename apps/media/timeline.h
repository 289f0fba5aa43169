// The times of an input as one timeline that only grows, whatever its PTS do: wrap at 33 bits, step back, leap ahead,
// or be missing. Where they step, a new stretch begins; its pictures follow those of the stretch before without a gap.
#ifndef ENCODER_MEDIA_TIMELINE_H
#define ENCODER_MEDIA_TIMELINE_H

#include <algorithm>
#include <optional>

#include "common/pts.h"
#include "media/av.h"

namespace encoder {

// Where the times of an input begin that has none.
constexpr std::int64_t FIRST_COUNTED_PTS = PTS_WRAP + TICKS_PER_SECOND;

// The duration of so many pictures in ticks of 90 kHz.
inline std::int64_t TicksOf(std::int64_t nPictures, AVRational Rate) {
    return av_rescale(nPictures, TICKS_PER_SECOND * Rate.den, Rate.num);
}

// Moves packets' times, which stand in them as the stream carries them, onto the timeline. Without a step they stay
// what they are, modulo 2^33. The timeline starts one wrap up, so that decoding times before the first picture stay
// above 0.
class Timeline {
public:
    explicit Timeline(AVRational Rate)
        : m_llPeriod(TicksOf(1, Rate)), m_llReordering(std::max(TICKS_PER_SECOND, MOST_REORDERED * m_llPeriod)) {}

    // Before any packet: the time at which the input begins, where its first packets do not tell. Gives it as it lies
    // on the timeline.
    std::int64_t BeginAt(std::int64_t llTime);

    // Video packets come in decoding order. A DTS that goes back, or ahead by more than 5 s, is a step; without a DTS a
    // PTS that goes back by more than pictures are reordered. A single time that lies far from the other is taken away.
    // bMarked: the stream says that its clock begins anew, wherever that leaves the times.
    void MoveVideo(AVPacket &Packet, bool bMarked = false);

    // A packet of another stream, which goes to the stretch whose video lies nearer where a new one has just begun.
    // Gives the stretch.
    unsigned MoveOther(AVPacket &Packet) const;

    // Counts from 0.
    unsigned Stretch() const { return m_Now.nStretch; }

private:
    struct Place {
        unsigned nStretch = 0;
        std::int64_t llStream = 0; // the time of the last video packet as the stream carries it
        std::int64_t llMoved = 0;  // the same on the timeline
    };
    static std::int64_t Move(const Place &From, std::int64_t llTime);
    void DropStray(AVPacket &Packet) const;
    bool IsStep(std::int64_t llTime, std::int64_t llReordering) const;
    void BeginStretch(std::int64_t llStream);

    static constexpr std::int64_t MOST_REORDERED = 20; // pictures; and a second at least
    const std::int64_t m_llPeriod;
    const std::int64_t m_llReordering;
    bool m_bBegun = false;
    bool m_bVideo = false; // a video packet had a time
    Place m_Now;
    std::optional<Place> m_Before; // where the stretch before ended
    std::int64_t m_llBegan = 0;    // of this stretch, on the timeline
    std::int64_t m_llLatest = 0;   // PTS on the timeline
};

// Of a video packet, on the timeline.
struct DecodingTime {
    std::int64_t llDecoded = AV_NOPTS_VALUE;
    std::int64_t llEarliest = AV_NOPTS_VALUE; // its picture is not shown before; not always known
};

// Gives each video packet a decoding time: its own, or one counted on at the picture rate.
class DecodingClock {
public:
    // nReordered: pictures between decoding and showing where nothing is reordered.
    DecodingClock(AVRational Rate, int nReordered) : m_Rate(Rate), m_llReordering(TicksOf(nReordered, Rate)) {}

    // Before any packet: when the first picture is shown, if its packet does not tell.
    void BeginAt(std::int64_t llShown) { m_llCountedFrom = llShown - m_llReordering; }

    DecodingTime Next(const AVPacket &Packet);

private:
    const AVRational m_Rate;
    const std::int64_t m_llReordering;
    bool m_bSure = false; // a packet had a decoding time beyond doubt
    std::int64_t m_llCountedFrom = FIRST_COUNTED_PTS;
    std::int64_t m_nFields = 0; // since then
};

// Gives each picture, in display order, a PTS later than the one before: its own, or one counted on at the picture
// rate. A picture whose own is not later is put half a picture behind the one before, so that a stray PTS is made up
// for.
class PictureClock {
public:
    explicit PictureClock(AVRational Rate) : m_Rate(Rate) {}

    // Of a picture; all but the last may be AV_NOPTS_VALUE.
    struct Known {
        std::int64_t llPTS;
        std::int64_t llGuess;    // serves a first picture
        std::int64_t llEarliest; // one that would be shown before tells that others were lost
        std::int64_t llLeft;     // the decoding time of the packet with which it left the decoder
    };
    std::int64_t Next(const Known &Times);

private:
    std::int64_t Counted() const { return m_llCountedFrom + TicksOf(m_nCounted, m_Rate); }
    void CountFrom(std::int64_t llPTS) {
        m_llCountedFrom = llPTS;
        m_nCounted = 0;
    }

    const AVRational m_Rate;
    std::optional<std::int64_t> m_Last;
    std::int64_t m_llCountedFrom = 0;
    std::int64_t m_nCounted = 0;
};

} // namespace encoder

#endif
