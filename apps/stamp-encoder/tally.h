// Counts what happens on one input, tells the first occurrence of each problem, and sums up at the end.
// Both threads of the input count; any thread may read.
#ifndef ENCODER_TALLY_H
#define ENCODER_TALLY_H

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "common/console.h"
#include "formats/stamp_sei.h"
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
    PTSStep,
    BrokenStampSei,
    BrokenLocalSet,
    LocalSetEg0104,
    LocalSetOfOther,
    DamagedPacket,
    DamagedStamp,
    UndecodablePacket,
    PictureWithoutPTS,
    PictureNotLater,
    LocalSetWithoutPTS,
    LocalSetBehindVideo,
    LocalSetLate,
    VitcRejected,
    AbsurdTime,
    RateWithoutLabels,
    FallenSilent,
    FieldsTogether,
    NoPlaceForTimecode,
    NotDecoded,
    PassedOn,
    PassedLater,
    PassedLost,
    NumberOfEvents
};

class Tally {
public:
    // nInput counts from 1; szPath is the input's file.
    Tally(int nInput, std::string szPath, Console &Out);

    // szWhere goes before what is told of the first occurrence.
    void Count(Event enEvent, std::uint64_t nTimes = 1, const std::string &szWhere = "");
    std::uint64_t Times(Event enEvent) const { return m_Times[static_cast<size_t>(enEvent)]; }

    // A line about the input for whoever is watching.
    void Tell(const std::string &szText);

    // The first picture has been read: from here on the run's seconds count.
    void Begin();

    // What the picture coded last was given.
    void SetLast(int enSource, const std::optional<UtcStamp> &Stamp);

    // CPU time spent in the library's functions.
    void AddLibraryTime(std::chrono::nanoseconds Spent) { m_nLibraryNsec += Spent.count(); }
    std::chrono::nanoseconds LibraryTime() const { return std::chrono::nanoseconds(m_nLibraryNsec); }

    // Pictures a second since the first one.
    double Speed() const;
    // How much of the input is done, 0 to 1, as text with a comma behind: percent, and the time left at this pace.
    // Empty when not known.
    std::string Progress(std::optional<double> Done) const;
    // One line: pictures, speed, progress, pictures without a time; status byte, UTC and source of the last one.
    std::string Status(std::optional<double> Done) const;
    // The last one's source, status byte and time of day in 15 columns, for a line that several inputs share.
    std::string ShortStatus() const;
    // The whole account, a line for each kind of thing that happened.
    std::string Summary() const;

private:
    using Clock = std::chrono::steady_clock;

    double Seconds() const;
    std::string StatusByteText() const;

    const int m_nInput; // from 1
    const std::string m_szPath;
    Console &m_Console;
    std::array<std::atomic<std::uint64_t>, static_cast<size_t>(Event::NumberOfEvents)> m_Times{};
    std::atomic<Clock::rep> m_nBegan{0}; // 0: no picture yet
    std::atomic<std::int64_t> m_nLibraryNsec{0};
    std::atomic<int> m_enSource{TCSOURCE_NONE};
    std::atomic<int> m_nStatusByte{-1}; // none
    std::atomic<INT64> m_llLastUTC{0};
};

} // namespace encoder

#endif
