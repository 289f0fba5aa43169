// One SMPTE 12M timecode as a label of a picture, with its drop-frame flag, and the frame count behind it.
// Drop-frame numbering leaves out the first two of 30 (four of 60) numbers of each minute that is no multiple of ten.
#include "formats/timecode_label.h"

#include <array>

namespace encoder {
namespace {

constexpr int HOURS = 24;
constexpr int SIXTY = 60;
constexpr int DROP_RATE_STEP = 30; // drop-frame numbering exists at multiples of this rate ...
constexpr int DROPPED_PART = 15;   // ... and leaves out this part of a second's numbers
constexpr int TEN_MINUTES = 10;    // after which the drops repeat
constexpr int DROPS_PER_TEN_MINUTES = 9;
constexpr int MAX_SINGLE_RATE = 30; // above it a 12M word counts pairs of frames
constexpr int MAX_PAIR_RATE = 60;   // above it a pair of frames is no unit of SMPTE ST 12-1
constexpr int RATE_WITH_HOURS_FIELD_BIT = 50;

struct DropCounts {
    std::int64_t nDropped; // numbers left out of a minute
    std::int64_t nPerMinute;
    std::int64_t nPerTenMinutes;
};

DropCounts CountsOf(int nRate, bool bDropFrame) {
    const std::int64_t nDropped = bDropFrame ? nRate / DROPPED_PART : 0;
    const std::int64_t nFullMinute = std::int64_t{SIXTY} * nRate;
    return {nDropped, nFullMinute - nDropped, TEN_MINUTES * nFullMinute - DROPS_PER_TEN_MINUTES * nDropped};
}

bool InRange(int nValue, int nEnd) {
    return nValue >= 0 && nValue < nEnd;
}

bool IsTimeOfDay(const TimecodeLabel &Label) {
    return InRange(Label.nHours, HOURS) && InRange(Label.nMinutes, SIXTY) && InRange(Label.nSeconds, SIXTY);
}

bool IsDropped(const TimecodeLabel &Label, int nRate) {
    return Label.bDropFrame && Label.nSeconds == 0 && Label.nMinutes % TEN_MINUTES != 0 &&
           Label.nFrames < nRate / DROPPED_PART;
}

unsigned char Tens(int nValue) {
    return static_cast<unsigned char>(nValue / 10);
}
unsigned char Units(int nValue) {
    return static_cast<unsigned char>(nValue % 10);
}

// The two-digit BCD number at a bit position, whose tens are cut to nTensMask; -1 for units above 9.
int Bcd(std::uint32_t nValue, int nShift, std::uint32_t nTensMask) {
    const auto nUnits = static_cast<int>(nValue >> nShift & 0xF);
    const auto nTens = static_cast<int>(nValue >> (nShift + 4) & nTensMask);
    return nUnits > 9 ? -1 : nTens * 10 + nUnits;
}

} // namespace

bool IsValid(const TimecodeLabel &Label, int nRate) {
    const bool bRateOk = nRate >= 1 && (!Label.bDropFrame || nRate % DROP_RATE_STEP == 0);
    return bRateOk && IsTimeOfDay(Label) && InRange(Label.nFrames, nRate) && !IsDropped(Label, nRate);
}

vitc_t ToVitc(const TimecodeLabel &Label) {
    vitc_t Vitc = {};
    Vitc.HourTens = Tens(Label.nHours);
    Vitc.HourUnits = Units(Label.nHours);
    Vitc.MinuteTens = Tens(Label.nMinutes);
    Vitc.MinuteUnits = Units(Label.nMinutes);
    Vitc.SecondTens = Tens(Label.nSeconds);
    Vitc.SecondUnits = Units(Label.nSeconds);
    Vitc.FrameTens = Tens(Label.nFrames);
    Vitc.FrameUnits = Units(Label.nFrames);
    return Vitc;
}

TimecodeLabel FromVitc(const vitc_t &Vitc, bool bDropFrame) {
    return {Vitc.HourTens * 10 + Vitc.HourUnits, Vitc.MinuteTens * 10 + Vitc.MinuteUnits,
            Vitc.SecondTens * 10 + Vitc.SecondUnits, Vitc.FrameTens * 10 + Vitc.FrameUnits, bDropFrame};
}

std::string ToText(const TimecodeLabel &Label) {
    const auto TwoDigits = [](int nValue) { return (nValue < 10 ? "0" : "") + std::to_string(nValue); };
    return TwoDigits(Label.nHours) + ':' + TwoDigits(Label.nMinutes) + ':' + TwoDigits(Label.nSeconds) +
           (Label.bDropFrame ? ';' : ':') + TwoDigits(Label.nFrames);
}

std::optional<TimecodeLabel> FromText(std::string_view Text) {
    constexpr std::string_view PATTERN = "00:00:00_00";
    if (Text.size() != PATTERN.size())
        return std::nullopt;
    std::array<int, 4> Numbers = {};
    for (std::size_t n = 0; n < PATTERN.size(); ++n) {
        const char c = Text[n];
        const bool bDigit = c >= '0' && c <= '9';
        const bool bFits = PATTERN[n] == '0' ? bDigit : c == ':' || (c == ';' && PATTERN[n] == '_');
        if (!bFits)
            return std::nullopt;
        if (bDigit)
            Numbers[n / 3] = Numbers[n / 3] * 10 + (c - '0');
    }
    const TimecodeLabel Label = {Numbers[0], Numbers[1], Numbers[2], Numbers[3], Text[PATTERN.find('_')] == ';'};
    return IsTimeOfDay(Label) ? std::optional(Label) : std::nullopt;
}

std::optional<TimecodeLabel> FromSmpte12M(std::uint32_t nValue, int nRate) {
    TimecodeLabel Label = {Bcd(nValue, 0, 3), Bcd(nValue, 8, 7), Bcd(nValue, 16, 7), Bcd(nValue, 24, 3),
                           (nValue >> 30 & 1) != 0};
    if (nRate > MAX_SINGLE_RATE && Label.nFrames >= 0) {
        const int nFieldBit = nRate == RATE_WITH_HOURS_FIELD_BIT ? 7 : 23;
        Label.nFrames = Label.nFrames * 2 + static_cast<int>(nValue >> nFieldBit & 1);
    }
    return nRate <= MAX_PAIR_RATE && IsValid(Label, nRate) ? std::optional(Label) : std::nullopt;
}

std::int64_t ToFrameCount(const TimecodeLabel &Label, int nRate) {
    const std::int64_t nMinutes = std::int64_t{Label.nHours} * SIXTY + Label.nMinutes;
    const std::int64_t nNumbers = (nMinutes * SIXTY + Label.nSeconds) * nRate + Label.nFrames;
    return nNumbers - CountsOf(nRate, Label.bDropFrame).nDropped * (nMinutes - nMinutes / TEN_MINUTES);
}

TimecodeLabel FromFrameCount(std::int64_t nCount, int nRate, bool bDropFrame) {
    const std::int64_t nDay = FramesPerDay(nRate, bDropFrame);
    const std::int64_t nOfDay = (nCount % nDay + nDay) % nDay;
    const DropCounts Counts = CountsOf(nRate, bDropFrame);
    const std::int64_t nTens = nOfDay / Counts.nPerTenMinutes;
    // The first minute of ten is full; the frames that it has more are what the first division takes off.
    const std::int64_t nDrops = (nOfDay % Counts.nPerTenMinutes - Counts.nDropped) / Counts.nPerMinute;
    const std::int64_t nNumbers = nOfDay + Counts.nDropped * (DROPS_PER_TEN_MINUTES * nTens + nDrops);
    const std::int64_t nSeconds = nNumbers / nRate;
    return {static_cast<int>(nSeconds / SIXTY / SIXTY), static_cast<int>(nSeconds / SIXTY % SIXTY),
            static_cast<int>(nSeconds % SIXTY), static_cast<int>(nNumbers % nRate), bDropFrame};
}

std::int64_t FramesPerDay(int nRate, bool bDropFrame) {
    return CountsOf(nRate, bDropFrame).nPerTenMinutes * (SIXTY / TEN_MINUTES) * HOURS;
}

} // namespace encoder
