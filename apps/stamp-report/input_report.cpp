// What is to be said about one input: its sources, how they agree, and what is suspicious about them.
#include "input_report.h"

#include <algorithm>
#include <cmath>

#include "words.h"

namespace report {

using namespace encoder;

namespace {

constexpr double SUSPICIOUS_PPM = 100; // of drift; a clock of MPEG-2 systems keeps to 30
constexpr double SURE_ERRORS = 2;      // standard errors that a drift must exceed it by
constexpr std::uint8_t STATUS_NOT_LOCKED = 0x80;
constexpr std::uint8_t STATUS_DISCONTINUITY = 0x40;
constexpr std::uint8_t STATUS_REVERSE = 0x20;
constexpr std::uint8_t STATUS_ONES = 0x1F;

struct StatusRow {
    std::uint8_t nMask;
    std::uint8_t nValue;
    const char *szText;
};

constexpr StatusRow STATUS_ROWS[] = {
    {STATUS_NOT_LOCKED, STATUS_NOT_LOCKED, "whose status says: not locked"},
    {STATUS_DISCONTINUITY, STATUS_DISCONTINUITY, "whose status says: discontinuity"},
    {STATUS_DISCONTINUITY | STATUS_REVERSE, STATUS_DISCONTINUITY | STATUS_REVERSE, "whose status says: backwards"},
};

class Suspects {
public:
    Suspects(std::vector<std::string> &Out, std::string szWho) : m_Out(Out), m_szWho(std::move(szWho)) {}

    void Say(bool bSuspicious, const std::string &szText) const {
        if (bSuspicious)
            m_Out.push_back(m_szWho + ": " + szText);
    }
    void Count(std::uint64_t nTimes, const std::string &szOne, const std::string &szMany) const {
        Say(nTimes > 0, Counted(nTimes, szOne.c_str(), szMany.c_str()));
    }
    void Count(std::uint64_t nTimes, const std::string &szText) const { Count(nTimes, szText, szText); }

private:
    std::vector<std::string> &m_Out;
    std::string m_szWho;
};

void SuspectStatus(const Suspects &Out, const SeriesReport &Series) {
    std::uint64_t nOdd = 0;
    for (const auto &[nByte, nTimes] : Series.StatusBytes)
        nOdd += (nByte & STATUS_ONES) != STATUS_ONES ? nTimes : 0;
    for (const StatusRow &Row : STATUS_ROWS) {
        std::uint64_t nTotal = 0;
        for (const auto &[nByte, nTimes] : Series.StatusBytes)
            nTotal += (nByte & Row.nMask) == Row.nValue ? nTimes : 0;
        Out.Count(nTotal, Row.szText);
    }
    Out.Count(nOdd, "whose status byte does not end in five ones");
}

void SuspectSeries(const Suspects &Out, const SeriesReport &Series, double PeriodUsec) {
    for (const auto &[szReason, Kind] : Series.Malformed)
        Out.Count(Kind.nTimes, "malformed: " + szReason);
    Out.Count(Series.enCarriage == Carriage::LocalSet ? Series.nWithoutPlace : 0, "far from all pictures");
    Out.Count(Series.nAbsurd, "outside the years 1990 to 2099");
    Out.Count(Series.nStepsBack, "step back", "steps back");
    Out.Count(Series.nJumps, "jump by more than half a second", "jumps by more than half a second");
    Out.Count(Series.nRepeated, "time told again", "times told again");
    Out.Count(Series.Gaps.size(), "gap", "gaps");
    SuspectStatus(Out, Series);
    if (Series.Line) {
        const double Sure = std::fabs(Series.Line->Ppm) - SURE_ERRORS * Series.Line->ErrorPpm;
        Out.Say(Sure > SUSPICIOUS_PPM, "drifts by " + Signed(Series.Line->Ppm) + " ppm");
        Out.Say(PeriodUsec > 0 && Series.Line->PeakUsec > PeriodUsec,
                "up to " + Usec(Series.Line->PeakUsec) + " off a steady clock, more than a picture");
    }
}

void SuspectAgreement(const Suspects &Out, const InputReport &Report, const Agreement &Pair, double PeriodUsec) {
    const bool bTimecode =
        HasTimecode(Report.Series[Pair.nFirst].enCarriage) || HasTimecode(Report.Series[Pair.nSecond].enCarriage);
    // Timecode may count local time, or from 0, or drift by nature.
    if (bTimecode || Pair.nCompared == 0)
        return;
    Out.Say(std::fabs(Pair.OffsetUsec) > PeriodUsec / 2, Usec(Pair.OffsetUsec) + " apart in the median");
    Out.Say(Pair.PeakUsec > std::max(PeriodUsec, 1.0), "up to " + Usec(Pair.PeakUsec) + " from their usual distance");
}

void FindSuspicions(InputReport &Report, double PeriodUsec) {
    const Suspects Out(Report.Suspicions, "input");
    Out.Count(Report.nDamagedPackets, "packet damaged on its way", "packets damaged on their way");
    Out.Say(Report.nPictures > 0 && Report.nPicturesWithoutPTS == Report.nPictures, "not measured: no PTS");
    Out.Count(Report.nPTSSteps, "step of the PTS", "steps of the PTS");
    for (std::size_t n = 0; n < Report.Series.size(); n++)
        SuspectSeries({Report.Suspicions, NameOf(Report, n)}, Report.Series[n], PeriodUsec);
    for (const Agreement &Pair : Report.Agreements) {
        const std::string szPair = NameOf(Report, Pair.nFirst) + " and " + NameOf(Report, Pair.nSecond);
        SuspectAgreement({Report.Suspicions, szPair}, Report, Pair, PeriodUsec);
    }
}

Verdict Judge(const InputReport &Report) {
    if (Report.Series.empty())
        return Verdict::Nothing;
    return Report.Suspicions.empty() ? Verdict::Sound : Verdict::Suspicious;
}

std::string WhatToTake(const Survey &Seen) {
    const StampSeries *const pBest = BestSeries(Seen);
    if (pBest == nullptr)
        return "";
    const std::string szSource = std::string("--source ") + SourceWord(pBest->enCarriage);
    if (pBest->enCarriage == Carriage::TimecodeSei)
        return szSource + " --timecode sei";
    const auto nAlike = std::ranges::count(Seen.Series, pBest->enCarriage, &StampSeries::enCarriage);
    if (pBest->enCarriage == Carriage::LocalSet && nAlike > 1)
        return szSource + " --klv-stream " + std::to_string(pBest->nStream);
    return szSource + (pBest->enCarriage == Carriage::Vitc ? " --timecode vitc" : "");
}

} // namespace

InputReport ReportInput(const std::string &szPath, const AVStream &Video, const Survey &Seen,
                        const std::optional<PictureRate> &Rate) {
    const AVCodecParameters &Coded = *Video.codecpar;
    InputReport Report{.szPath = szPath,
                       .szVideo = std::string(avcodec_get_name(Coded.codec_id)) + " " + std::to_string(Coded.width) +
                                  "x" + std::to_string(Coded.height),
                       .Rate = Rate,
                       .nPictures = Seen.Pictures.size() + Seen.nPicturesWithoutPTS,
                       .nPicturesWithoutPTS = Seen.nPicturesWithoutPTS,
                       .nDamagedPackets = Seen.nDamagedPackets,
                       .nEg0104 = Seen.nEg0104,
                       .nPTSSteps = Seen.Steps(),
                       .Seconds = static_cast<double>(Seen.llDuration) / static_cast<double>(TICKS_PER_SECOND)};
    for (const StampSeries &Series : Seen.Series)
        Report.Series.push_back(ReportSeries(Seen, Series, Rate));
    for (std::size_t nSecond = 1; nSecond < Report.Series.size(); nSecond++)
        for (std::size_t nFirst = 0; nFirst < nSecond; nFirst++) {
            Agreement Pair = Compare(Report.Series[nFirst], Report.Series[nSecond], Rate.value_or(PictureRate{}));
            Pair.nFirst = nFirst;
            Pair.nSecond = nSecond;
            Report.Agreements.push_back(Pair);
        }
    FindSuspicions(Report, static_cast<double>(PicturePeriod(Seen)) * 100 / 9);
    Report.szTake = WhatToTake(Seen);
    Report.enVerdict = Judge(Report);
    return Report;
}

InputReport ReportFailure(const std::string &szPath, const std::string &szFailure) {
    return {.szPath = szPath, .szFailure = szFailure, .enVerdict = Verdict::Unusable};
}

void AddFailure(InputReport &Report, const std::string &szFailure) {
    Report.szFailure = szFailure;
    Report.Suspicions.push_back("input: it broke off");
    Report.enVerdict = Report.Series.empty() ? Verdict::Unusable : Verdict::Suspicious;
}

std::string NameOf(const InputReport &Report, std::size_t nSeries) {
    const SeriesReport &Series = Report.Series[nSeries];
    const auto nAlike = std::ranges::count(Report.Series, Series.enCarriage, &SeriesReport::enCarriage);
    return SourceWord(Series.enCarriage) + (nAlike > 1 ? ", stream " + std::to_string(Series.nStream) : "");
}

} // namespace report
