// A picture rate in the forms in which the timecode library wants it.
#include "media/picture_rate.h"

#include <cmath>

#include "common/pts.h"

namespace encoder {

namespace {

constexpr double MIN_RATE = 1;
constexpr double MAX_RATE = 300;
constexpr double TOLERANCE = 0.01;

struct FractionalRate {
    int nWhole;
    UINT nVUIFramerate;
    UINT nSkippedLabels;
};

constexpr FractionalRate FRACTIONAL_RATES[] = {{24, 23000, 0}, {30, 29000, 2}, {60, 59000, 4}};

UINT TicksPerFrame(AVRational Rate) {
    return static_cast<UINT>(av_rescale_rnd(TICKS_PER_SECOND, Rate.den, Rate.num, AV_ROUND_DOWN));
}

} // namespace

std::optional<PictureRate> MakePictureRate(AVRational Rate) {
    const double Hz = Rate.den > 0 ? av_q2d(Rate) : 0;
    if (!(Hz >= MIN_RATE && Hz <= MAX_RATE))
        return std::nullopt;
    for (const FractionalRate &Row : FRACTIONAL_RATES) {
        const AVRational Exact{Row.nWhole * 1000, 1001};
        if (std::fabs(Hz - av_q2d(Exact)) < TOLERANCE) {
            return PictureRate{Exact, static_cast<UINT>(Row.nWhole), Row.nVUIFramerate, TicksPerFrame(Exact),
                               Row.nSkippedLabels};
        }
    }
    const int nWhole = static_cast<int>(std::lround(Hz));
    const AVRational Exact = std::fabs(Hz - nWhole) < TOLERANCE ? AVRational{nWhole, 1} : Rate;
    // Frame numbers must not wrap before the second is over, so a rate between two whole numbers takes the upper one.
    const UINT nWrap = static_cast<UINT>(std::ceil(av_q2d(Exact)));
    return PictureRate{Exact, nWrap, nWrap * 1000, TicksPerFrame(Exact), 0};
}

} // namespace encoder
