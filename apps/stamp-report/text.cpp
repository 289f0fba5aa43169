// The report for people.
#include "common/utc_text.h"
#include "words.h"
#include "writers.h"

namespace report {

using namespace encoder;

namespace {

std::string Moment(const SeriesReport &Series, const Sighting &Stamp) {
    return TimeOf(Series, Stamp) +
           Format(" at %.3f s (PTS %llu)", SecondsOf(Stamp.At), static_cast<unsigned long long>(Stamp.At.nPTS));
}

std::string GapText(const SeriesReport &Series) {
    if (Series.Gaps.empty())
        return "no gaps";
    const Gap *pLongest = &Series.Gaps.front();
    for (const Gap &Silence : Series.Gaps)
        pLongest = Silence.Length() > pLongest->Length() ? &Silence : pLongest;
    return Counted(Series.Gaps.size(), "gap", "gaps") +
           Format(" (the longest %.3f s, from %.3f s on)", pLongest->Length(), pLongest->FromSeconds);
}

std::string MalformedText(const SeriesReport &Series) {
    std::string szText;
    for (const auto &[szReason, Kind] : Series.Malformed) {
        szText += "    malformed: " + std::to_string(Kind.nTimes) + " with " + szReason;
        szText += Format(", first at %.3f s", static_cast<double>(Kind.FirstTicks.value_or(0)) / TICKS_PER_SECOND);
        szText += Kind.llFirstByte >= 0 ? Format(" (byte %lld)\n", static_cast<long long>(Kind.llFirstByte)) : "\n";
    }
    return szText;
}

std::string StatusText(const SeriesReport &Series) {
    std::string szText;
    for (const auto &[nByte, nTimes] : Series.StatusBytes)
        szText += Format("%s0x%02X %llu times", szText.empty() ? "    status byte: " : ", ", nByte,
                         static_cast<unsigned long long>(nTimes));
    return szText.empty() ? "" : szText + "\n";
}

std::string MomentsText(const SeriesReport &Series) {
    std::string szText =
        Format(", %.2f a second; at %s of the pictures", Series.RateHz, Percent(Series.Reach.AtPicture).c_str());
    if (Series.enCarriage == Carriage::LocalSet && Series.Reach.Moved > Series.Reach.AtPicture)
        szText += ", moved by up to a second at " + Percent(Series.Reach.Moved);
    return szText + "\n    first " + Moment(Series, Series.Sightings.front()) + "\n    last  " +
           Moment(Series, Series.Sightings.back());
}

std::string SeriesText(const InputReport &Report, std::size_t nSeries) {
    const SeriesReport &Series = Report.Series[nSeries];
    std::string szText = "  " + NameOf(Report, nSeries) + ": " + CarriageText(Series.enCarriage) + "\n";
    szText += "    " + Counted(Series.nCount, "time stamp", "time stamps");
    if (!Series.bLookedAtAll)
        szText += Format(" in the first %.1f s (--vitc looks for all)", Series.SecondsLooked);
    if (!Series.Sightings.empty())
        szText += MomentsText(Series);
    szText += "\n    " + GapText(Series) + ", " + Counted(Series.nStepsBack, "step back, ", "steps back, ") +
              Counted(Series.nJumps, "jump, ", "jumps, ") + Counted(Series.nRepeated, "repeat, ", "repeats, ") +
              Counted(Series.nMalformed, "malformed\n", "malformed\n");
    if (Series.Line)
        szText += Format("    drift %+.2f ppm (give or take %.2f) against the PTS, jitter %s rms, %s at most\n",
                         Series.Line->Ppm, Series.Line->ErrorPpm, Usec(Series.Line->RmsUsec).c_str(),
                         Usec(Series.Line->PeakUsec).c_str());
    if (Series.nWithoutPTS > 0)
        szText += "    " + std::to_string(Series.nWithoutPTS) + " without a PTS, taken as the next picture's\n";
    if (Series.nWithoutPlace > 0)
        szText += "    " + std::to_string(Series.nWithoutPlace) + " beside no picture that has a PTS\n";
    return szText + MalformedText(Series) + StatusText(Series);
}

std::string AgreementText(const InputReport &Report, const Agreement &Pair) {
    const std::string szPair = "  " + NameOf(Report, Pair.nSecond) + " beside " + NameOf(Report, Pair.nFirst) + ": ";
    if (Pair.nCompared == 0)
        return szPair + "nothing to compare\n";
    return szPair + Usec(Pair.OffsetUsec) + " later in the median, " + Usec(Pair.PeakUsec) + " from it at most, " +
           std::to_string(Pair.nCompared) + " compared\n";
}

std::string VerdictText(const InputReport &Report) {
    std::string szText;
    if (Report.Series.empty())
        szText = "  no time stamp was found\n";
    else if (Report.Suspicions.empty())
        szText = "  sound\n";
    else
        szText = "  suspicious:\n";
    for (const std::string &szSuspicion : Report.Suspicions)
        szText += "    " + szSuspicion + "\n";
    if (!Report.szTake.empty())
        szText += "  stamp-encoder takes it with " + Report.szTake + "\n";
    return szText;
}

} // namespace

std::string TimeOf(const SeriesReport &Series, const Sighting &Stamp) {
    return HasTimecode(Series.enCarriage) ? ToText(Stamp.Label) : UtcText(Stamp.llUTC);
}

std::string TextOf(const InputReport &Report) {
    if (Report.szVideo.empty())
        return Report.szPath + ": " + Report.szFailure + "\n";
    std::string szText = Report.szPath + ": " + Report.szVideo;
    if (Report.Rate)
        szText += Format(", %.6g pictures a second", av_q2d(Report.Rate->Exact));
    szText += Format("; %llu pictures in %.3f s", static_cast<unsigned long long>(Report.nPictures), Report.Seconds);
    szText += Report.nPicturesWithoutPTS > 0
                  ? Format(", %llu without a PTS\n", static_cast<unsigned long long>(Report.nPicturesWithoutPTS))
                  : "\n";
    for (std::size_t n = 0; n < Report.Series.size(); n++)
        szText += SeriesText(Report, n);
    for (const Agreement &Pair : Report.Agreements)
        szText += AgreementText(Report, Pair);
    if (Report.nEg0104 > 0)
        szText += "  " + Counted(Report.nEg0104, "local set", "local sets") + " of MISB EG 0104, which are not read\n";
    if (!Report.szFailure.empty())
        szText += "  " + Report.szFailure + "\n";
    return szText + VerdictText(Report);
}

} // namespace report
