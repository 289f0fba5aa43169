// Counts what happens on one input, tells the first occurrence of each problem, and sums up at the end.
// Both threads of the input count; any thread may read.
#ifndef ENCODER_REPORT_TALLY_H
#define ENCODER_REPORT_TALLY_H

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

#include "common/console.h"
#include "timecode.h"

namespace encoder {

enum class Event {
    PictureCoded,
    PictureTimed,
    PictureUntimed,
    StampHighPrecision,
    StampSmpte12M,
    StampLds,
    LocalSet,
    TimecodeResync,
    PtsStep,
    BrokenStampSei,
    BrokenLocalSet,
    LocalSetEg0104,
    DamagedPacket,
    UndecodablePacket,
    PictureWithoutPts,
    PictureNotLater,
    LocalSetWithoutPts,
    LocalSetBehindVideo,
    LocalSetLate,
    VitcRejected,
    AbsurdTime,
    RateWithoutLabels,
    NumberOfEvents
};

class Tally {
public:
    // nInput counts from 1; szPath is the input's file.
    Tally(int nInput, std::string szPath, Console &Out);

    void Count(Event enEvent, std::uint64_t nTimes = 1);
    std::uint64_t Times(Event enEvent) const { return m_Times[static_cast<size_t>(enEvent)]; }

    // The first picture has been read: from here on the run's seconds count.
    void Begin();

    void SetSource(int enSource) { m_enSource = enSource; }
    void SetLastUTC(INT64 llUTC) { m_llLastUTC = llUTC; }

    // Pictures a second since the first one.
    double Speed() const;
    // One line: pictures, speed, source in use, last UTC.
    std::string Status() const;
    // The same in 15 columns, for a line that several inputs share: source in use, time of day of the last UTC.
    std::string ShortStatus() const;
    // The whole account, a line for each kind of thing that happened.
    std::string Summary() const;

private:
    using Clock = std::chrono::steady_clock;

    double Seconds() const;

    const int m_nInput; // from 1
    const std::string m_szPath;
    Console &m_Console;
    std::array<std::atomic<std::uint64_t>, static_cast<size_t>(Event::NumberOfEvents)> m_Times{};
    std::atomic<Clock::rep> m_nBegan{0}; // 0: no picture yet
    std::atomic<int> m_enSource{TCSOURCE_NONE};
    std::atomic<INT64> m_llLastUTC{0};
};

} // namespace encoder

#endif
