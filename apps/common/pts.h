// The PTS that a stream carries: 33 bits that count 90 kHz and start again at 0 every 26.5 hours.
#ifndef ENCODER_COMMON_PTS_H
#define ENCODER_COMMON_PTS_H

#include <cstdint>

namespace encoder {

constexpr std::int64_t PTS_WRAP = std::int64_t{1} << 33;
constexpr std::int64_t TICKS_PER_SECOND = 90000;

// The PTS as the stream carries it: what the timecode library and the reports are given.
constexpr std::uint64_t StreamPTS(std::int64_t llPTS) {
    return static_cast<std::uint64_t>(llPTS) & static_cast<std::uint64_t>(PTS_WRAP - 1);
}

// From one such time to another, the shorter way round.
constexpr std::int64_t PTSDistance(std::uint64_t nFrom, std::uint64_t nTo) {
    const auto llAhead = static_cast<std::int64_t>((nTo - nFrom) & static_cast<std::uint64_t>(PTS_WRAP - 1));
    return llAhead < PTS_WRAP / 2 ? llAhead : llAhead - PTS_WRAP;
}

} // namespace encoder

#endif
