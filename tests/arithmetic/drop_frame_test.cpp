// Drop-frame numbers against an independent source: libavutil's timecode functions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

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
        Seed(LabelOf(nFirst, At), nFirst);
    }

    const SMPTE12M1_CONTEXT &Context() const { return m_Context; }

    vitc_t Next(int nFrame) {
        // The guard between two skips runs by the clock, which here keeps pace with the video.
        interpose::g_Clock.nSec = 1'700'000'000 + static_cast<time_t>(Pts(nFrame) / 90'000);
        vitc_t Label{};
        Timecode_MakeSMPTE12M1VITC(&m_Context, 0, Pts(nFrame), &Label);
        Seed(Label, nFrame);
        return Label;
    }

    void Seed(const vitc_t &Label, int nFrame) {
        m_Context.OldSystemTC = Label;
        m_Context.OldTimestamp64 = Pts(nFrame);
    }

private:
    UINT64 Pts(int nFrame) const { return 900'000 + static_cast<UINT64>(nFrame) * m_Rate.nHalfTicks / 2; }

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
        for (const int nBframes : {1, 2, 3}) {
            for (int nPhase = 0; nPhase <= nBframes; ++nPhase) {
                Generator Labels(At, static_cast<UINT>(nBframes), nPhase);
                for (int nBefore = nPhase; nBefore < nEnd; nBefore += nBframes + 1) {
                    std::vector<int> Coded = {nBefore + nBframes + 1};
                    for (int nB = 1; nB <= nBframes; ++nB)
                        Coded.push_back(nBefore + nB);
                    for (const int nFrame : Coded)
                        ASSERT_EQ(Labels.Next(nFrame), LabelOf(nFrame, At))
                            << "frame " << nFrame << " at " << At.nCode << ", " << nBframes << " B, phase " << nPhase;
                }
            }
        }
    }
}

// 11 minutes of a real coder's pictures in the order in which it codes them, by their numbers in display order.
std::vector<int> CodedOrder(const std::string &sSettings) {
    const std::string sCommand =
        "ffmpeg -v error -f lavfi -i cellauto=size=32x32:rate=30000/1001:rule=110:random_seed=3 -frames:v "
        "20000 -c:v libx264 -threads 1 "
        "-preset veryfast -bf 3 -x264-params " +
        sSettings + " -f nut - | ffprobe -v error -show_entries packet=pts -of csv=p=0 -i -";
    FILE *const pPackets = popen(sCommand.c_str(), "r"); // NOLINT(cert-env33-c): no word of it comes from outside
    std::vector<int> Coded;
    for (int nPts = 0; pPackets != nullptr && fscanf(pPackets, "%d", &nPts) == 1;)
        Coded.push_back(nPts / 2002); // of 60000 in a second
    EXPECT_TRUE(pPackets != nullptr && pclose(pPackets) == 0) << sCommand;
    const int nFirst = Coded.empty() ? 0 : *std::ranges::min_element(Coded);
    for (int &nFrame : Coded)
        nFrame -= nFirst;
    return Coded;
}

struct Picture {
    SMPTE12M1_CONTEXT StateBefore;
    int nFrame, nBefore; // in display order; the one coded before
    int nAhead;          // by how many frames its number lies ahead
    bool bFromBeforeSkip, bToBeforeSkip;
};

// The rule of the back-fill state that gave a picture another number than the one of its display order.
std::string ReasonOf(const Picture &Seen) {
    const SMPTE12M1_CONTEXT &State = Seen.StateBefore;
    if (State.BackFillStateCount == 0)
        return "none";
    if (Seen.nAhead < 0 && Seen.nFrame < Seen.nBefore && Seen.bFromBeforeSkip && Seen.bToBeforeSkip)
        return "taken back again"; // in the tail of the second, as its predecessor, which was taken back already
    if (Seen.nAhead < 0 && Seen.nFrame > Seen.nBefore && Seen.bFromBeforeSkip && !Seen.bToBeforeSkip)
        return "not moved on"; // it passes over the numbers skipped without touching one
    if (Seen.nAhead > 0 && State.BackFillStateCount == 1 && State.bExtraSkipAllowed == TRUE)
        return "moved on again"; // by the extra skip of the state's last picture, which had come over the skip before
    return "none";
}

// Where the coder keeps to as many B pictures as it was told, all of them disposable, each picture gets the number of
// its display order. Otherwise the back-fill state ends too early or too late for the pictures that there are.
TEST(DropFrame, ARealCodersOrderDiffersByTheRulesOfTheBackFillStateOnly) {
    const std::map<std::string, std::set<std::string>> Rows = {
        {"b-adapt=0:b-pyramid=none:scenecut=0:keyint=252", {}},
        {"b-pyramid=none", {"moved on again", "not moved on"}},
        {"b-pyramid=normal", {"moved on again", "not moved on", "taken back again"}}};
    for (const auto &[sSettings, Expected] : Rows) {
        std::set<std::string> Reasons;
        const std::vector<int> Coded = CodedOrder(sSettings);
        ASSERT_EQ(Coded.size(), 20'000U) << "are ffmpeg and libx264 there?";
        for (const Rate &At : RATES) {
            const auto IsBeforeSkip = [&At](int nFrame) { return LabelOf(nFrame, At).SecondTens == 5; };
            Generator Labels(At, 3, 0);
            int nBefore = 0;
            for (const int nFrame : Coded) {
                Picture Seen{Labels.Context(), nFrame, nBefore, 0, IsBeforeSkip(nBefore), IsBeforeSkip(nFrame)};
                Timecode_CalcFrameCountDiff(At.nWhole, At.nCode, LabelOf(nFrame, At), Labels.Next(nFrame),
                                            &Seen.nAhead);
                if (Seen.nAhead != 0) {
                    Reasons.insert(ReasonOf(Seen));
                    Labels.Seed(LabelOf(nFrame, At), nFrame); // each difference is to be seen for itself
                }
                nBefore = nFrame;
            }
        }
        EXPECT_EQ(Reasons, Expected) << sSettings;
    }
}

} // namespace
