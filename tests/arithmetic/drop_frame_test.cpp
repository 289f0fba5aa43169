// Drop-frame numbers against an independent source: libavutil's timecode functions.
#include <gtest/gtest.h>

extern "C" {
#include <libavutil/timecode.h>
}

#include "interpose/clock.h"
#include "model/records.h"

namespace {

struct Rate {
    UINT nWhole, nCode;
    UINT64 nHalfTicks; // a frame's duration in half ticks
    int nFramesPerDay;
} const RATES[] = {{30, 29000, 6006, 2589408}, {60, 59000, 3003, 5178816}};

// Frames since midnight as libavutil numbers them, in the fields of a label.
vitc_t LabelOf(int nFrame, const Rate &At) {
    const int nWhole = static_cast<int>(At.nWhole);
    const int nNumber = av_timecode_adjust_ntsc_framenum2(nFrame % At.nFramesPerDay, nWhole);
    vitc_t Label{};
    model::SetDigits(Label,
                     {nNumber / nWhole / 3600, nNumber / nWhole / 60 % 60, nNumber / nWhole % 60, nNumber % nWhole});
    return Label;
}

// A generator that is told of each picture by its number in display order.
class Generator {
public:
    Generator(const Rate &At, UINT nBframes, int nFirst) : m_Rate(At) {
        m_Context.PTSTicksPerFrame = static_cast<UINT>(At.nHalfTicks / 2);
        m_Context.nEncodedPictureRate = At.nWhole;
        m_Context.nVUIFramerate = At.nCode;
        m_Context.nBframes = nBframes;
        m_Context.OldSystemTC = LabelOf(nFirst, At);
        m_Context.OldTimestamp64 = PTS(nFirst);
    }

    vitc_t Next(int nFrame) {
        // The guard between two skips runs by the clock, which here keeps pace with the video.
        interpose::g_Clock.nSec = 1'700'000'000 + static_cast<time_t>(PTS(nFrame) / 90'000);
        Timecode_MakeSMPTE12M1VITC(&m_Context, 0, PTS(nFrame), &m_Context.OldSystemTC);
        m_Context.OldTimestamp64 = PTS(nFrame);
        return m_Context.OldSystemTC;
    }

private:
    UINT64 PTS(int nFrame) const { return 900'000 + static_cast<UINT64>(nFrame) * m_Rate.nHalfTicks / 2; }

    const Rate &m_Rate;
    SMPTE12M1_CONTEXT m_Context{};
};

TEST(DropFrame, EveryLabelOfADayIsGeneratedAndCounted) {
    for (const Rate &At : RATES) {
        Generator Labels(At, 0, 0);
        const int nNoon = At.nFramesPerDay / 2;
        for (int nFrame = 1; nFrame <= At.nFramesPerDay; ++nFrame) {
            const vitc_t Expected = LabelOf(nFrame, At);
            ASSERT_EQ(Labels.Next(nFrame), Expected) << "frame " << nFrame << " at " << At.nCode;
            int nDiff = 0;
            Timecode_CalcFrameCountDiff(At.nWhole, At.nCode, LabelOf(nNoon, At), Expected, &nDiff);
            ASSERT_EQ(nDiff, nFrame % At.nFramesPerDay - nNoon) << "frame " << nFrame << " at " << At.nCode;
        }
    }
}

// Coded order: each reference picture before the B pictures that it follows in display order.
TEST(DropFrame, PicturesCodedOutOfDisplayOrderGetTheirDisplayOrderNumber) {
    for (const Rate &At : RATES) {
        const int nEnd = 25 * 60 * static_cast<int>(At.nWhole);
        for (const int nBframes : {1, 2, 3})
            for (int nPhase = 0; nPhase <= nBframes; ++nPhase) {
                Generator Labels(At, static_cast<UINT>(nBframes), nPhase);
                const auto Code = [&](int nFrame) {
                    ASSERT_EQ(Labels.Next(nFrame), LabelOf(nFrame, At))
                        << "frame " << nFrame << " at " << At.nCode << ", " << nBframes << " B, phase " << nPhase;
                };
                for (int nBefore = nPhase; nBefore < nEnd && !HasFatalFailure(); nBefore += nBframes + 1) {
                    Code(nBefore + nBframes + 1);
                    for (int nB = 1; nB <= nBframes; ++nB)
                        Code(nBefore + nB);
                }
            }
    }
}

} // namespace
