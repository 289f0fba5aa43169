// The arithmetic of times and timecodes, each rule in the plainest words; every number in 128 bits until it is done.
#ifndef TESTS_MODEL_ARITHMETIC_H
#define TESTS_MODEL_ARITHMETIC_H

#include <optional>

#include "model/records.h"

namespace model {

// What 64 bits hold of a number; they count on from the other end.
INT64 In64(Wide nValue);

// A division that rounds down, and what it leaves: 0 or more.
Wide FloorDiv(Wide nValue, Wide nUnit);
Wide FloorMod(Wide nValue, Wide nUnit);

// Second minus first. Two 33-bit counts may lie on either side of the wrap: the second later by up to half of it, or
// earlier by up to a minute.
INT64 PTSDistance(UINT64 nFirst, UINT64 nSecond);
UINT64 PTSGap(UINT64 nOne, UINT64 nOther);

// The nanoseconds between two instants, whichever is earlier, as many as a timespec holds.
Wide SpanBetween(Wide nOne, Wide nOther);
INT64 MsBetween(Wide nOne, Wide nOther);
INT64 TicksOf(Wide nSpan);

// A tick of 90 kHz is taken as 11.111111 us.
constexpr UINT64 PSEC_PER_TICK = 11'111'111;

struct PictureRate {
    int nWhole = 0;  // frame numbers wrap at it
    ULONG nCode = 0; // 23000, 29000 and 59000 mark the 1000/1001 rates
};

// The timecode of a UTC's time of day. The rate is positive.
vitc_t TimecodeOfUtc(INT64 llUTC, const PictureRate &Rate);

// The UTC of a timecode on a day, counted from 1970; none where hour, minute, second or fraction do not exist, or where
// 64 bits do not hold it.
std::optional<INT64> UtcOfTimecode(const vitc_t &Vitc, INT64 nDay, const PictureRate &Rate);

// A timecode moved on by a time that has passed, by one frame at least.
struct Advanced {
    vitc_t Vitc;
    bool bBeyondSecond; // frames made a second
};
Advanced Advance(vitc_t Vitc, Wide nSpan, const PictureRate &Rate);

int FrameCountDiff(UINT nRate, UINT nCode, const vitc_t &Old, const vitc_t &New);

// The next coded picture's timecode, put into the eight digits of New. Returns what was said of it, besides the two
// distances and the timecode before drop-frame rules: messages of level 6 and 7.
struct Numbered {
    int nSkips = 0;
    int nDetails = 0;
};
Numbered NumberPicture(SMPTE12M1_CONTEXT &Context, UINT64 nPTS, time_t tNow, vitc_t &New);

} // namespace model

#endif
