// The report for programs.
#include <nlohmann/json.hpp>

#include "common/utc_text.h"
#include "timecode.h"
#include "words.h"
#include "writers.h"

namespace report {

using namespace encoder;
using Json = nlohmann::ordered_json;

namespace {

Json JsonOfStamp(const SeriesReport &Series, const Sighting &Stamp) {
    Json Out = {{"pts", Stamp.At.nPTS}, {"seconds", SecondsOf(Stamp.At)}};
    if (HasTimecode(Series.enCarriage)) {
        Out["timecode"] = ToText(Stamp.Label);
    } else {
        Out["utc"] = UtcText(Stamp.llUTC);
        Out["utc_us"] = Stamp.llUTC;
    }
    return Out;
}

Json JsonOfGaps(const SeriesReport &Series) {
    Json Gaps = Json::array();
    for (const Gap &Silence : Series.Gaps)
        Gaps.push_back({{"from", Silence.FromSeconds}, {"to", Silence.ToSeconds}});
    return Gaps;
}

Json JsonOfMalformed(const SeriesReport &Series) {
    Json Reasons = Json::array();
    for (const auto &[szReason, Kind] : Series.Malformed) {
        Json Row = {{"reason", szReason}, {"count", Kind.nTimes}};
        Row["first_seconds"] = static_cast<double>(Kind.FirstTicks.value_or(0)) / static_cast<double>(TICKS_PER_SECOND);
        Row["first_byte"] = Kind.llFirstByte < 0 ? Json() : Json(Kind.llFirstByte);
        Reasons.push_back(Row);
    }
    return Reasons;
}

Json JsonOfStatus(const SeriesReport &Series) {
    Json Times = Json::object();
    for (const auto &[nByte, nTimes] : Series.StatusBytes)
        Times.emplace(Format("0x%02X", nByte), nTimes);
    return Times;
}

Json JsonOfSeries(const InputReport &Report, const SeriesReport &Series) {
    Json Out = {{"input", Report.szPath},
                {"source", SourceWord(Series.enCarriage)},
                {"number", SourceOf(Series.enCarriage)},
                {"carriage", CarriageText(Series.enCarriage)},
                {"stream", Series.nStream},
                {"count", Series.nCount},
                {"without_pts", Series.nWithoutPTS},
                {"without_place", Series.nWithoutPlace}};
    const bool bAny = !Series.Sightings.empty();
    Out["first"] = bAny ? JsonOfStamp(Series, Series.Sightings.front()) : Json();
    Out["last"] = bAny ? JsonOfStamp(Series, Series.Sightings.back()) : Json();
    Out["rate_hz"] = Series.RateHz;
    Out["interval_ms"] = Series.IntervalMs;
    Out["coverage"] = Series.Reach.AtPicture;
    Out["coverage_moved"] = Series.Reach.Moved;
    Out["gaps"] = JsonOfGaps(Series);
    Out["steps_back"] = Series.nStepsBack;
    Out["jumps"] = Series.nJumps;
    Out["repeated"] = Series.nRepeated;
    Out["absurd"] = Series.nAbsurd;
    Out["malformed"] = Series.nMalformed;
    Out["malformed_reasons"] = JsonOfMalformed(Series);
    Out["status_bytes"] = JsonOfStatus(Series);
    Out["drift_ppm"] = Series.Line ? Json(Series.Line->Ppm) : Json();
    Out["drift_error_ppm"] = Series.Line ? Json(Series.Line->ErrorPpm) : Json();
    Out["jitter_rms_us"] = Series.Line ? Json(Series.Line->RmsUsec) : Json();
    Out["jitter_peak_us"] = Series.Line ? Json(Series.Line->PeakUsec) : Json();
    return Out;
}

Json JsonOfInput(const InputReport &Report) {
    Json Out = {{"input", Report.szPath}, {"video", Report.szVideo}, {"pictures", Report.nPictures}};
    Out["pictures_without_pts"] = Report.nPicturesWithoutPTS;
    Out["picture_rate"] = Report.Rate ? Json(av_q2d(Report.Rate->Exact)) : Json();
    Out["seconds"] = Report.Seconds;
    Out["damaged_packets"] = Report.nDamagedPackets;
    Out["eg0104_sets"] = Report.nEg0104;
    Out["pts_steps"] = Report.nPTSSteps;
    Out["failure"] = Report.szFailure.empty() ? Json() : Json(Report.szFailure);
    Out["suspicions"] = Report.Suspicions;
    Out["take"] = Report.szTake.empty() ? Json() : Json(Report.szTake);
    Out["exit_code"] = static_cast<int>(Report.enVerdict);
    return Out;
}

Json JsonOfAgreement(const InputReport &Report, const Agreement &Pair) {
    return {{"input", Report.szPath},
            {"first", NameOf(Report, Pair.nFirst)},
            {"second", NameOf(Report, Pair.nSecond)},
            {"compared", Pair.nCompared},
            {"offset_us", Pair.nCompared > 0 ? Json(Pair.OffsetUsec) : Json()},
            {"peak_us", Pair.nCompared > 0 ? Json(Pair.PeakUsec) : Json()}};
}

} // namespace

std::string JsonOf(const std::vector<InputReport> &Reports, Verdict enVerdict) {
    Json Out = {{"program", "stamp-report"}, {"version", TIMECODE_VERSION_STRING}};
    Out["exit_code"] = static_cast<int>(enVerdict);
    for (const char *const szArray : {"inputs", "sources", "agreements"})
        Out[szArray] = Json::array();
    for (const InputReport &Report : Reports) {
        Out["inputs"].push_back(JsonOfInput(Report));
        for (const SeriesReport &Series : Report.Series)
            Out["sources"].push_back(JsonOfSeries(Report, Series));
        for (const Agreement &Pair : Report.Agreements)
            Out["agreements"].push_back(JsonOfAgreement(Report, Pair));
    }
    // A file's name and FFmpeg's words need not be UTF-8.
    return Out.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace report
