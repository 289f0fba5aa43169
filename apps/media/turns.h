// Keeps the programs of one stream side by side in time, however fast each is coded: whoever is ahead waits.
// Each program counts from its own first time, since the clocks of different inputs have nothing to do with each other.
#ifndef ENCODER_MEDIA_TURNS_H
#define ENCODER_MEDIA_TURNS_H

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "common/pts.h"

namespace encoder {

class Turns {
public:
    // A set bStop ends every wait; it must outlive the object.
    explicit Turns(const std::atomic<bool> &bStop) : m_bStop(bStop) {}

    // Before any thread waits. Gives the program's number, from 0.
    int Add() {
        m_Programs.emplace_back();
        return static_cast<int>(m_Programs.size()) - 1;
    }

    // Returns when no other program is behind this one's time (90 kHz), or when those behind have been silent for too
    // long: a live input that has stalled costs no more than itself.
    void Wait(int nProgram, std::int64_t llTime) {
        std::unique_lock Lock(m_Mutex);
        Program &Own = m_Programs[static_cast<std::size_t>(nProgram)];
        Advance(Own, llTime);
        m_Changed.notify_all();
        const auto Deadline = Clock::now() + LONGEST_WAIT;
        const auto IsBehind = [&Own](const Program &Other) { return !Other.bAbsent && Other.llNow < Own.llNow; };
        while (!m_bStop && std::ranges::any_of(m_Programs, IsBehind)) {
            if (Clock::now() >= Deadline)
                for (Program &Other : m_Programs)
                    Other.bAbsent = Other.bAbsent || IsBehind(Other);
            else
                m_Changed.wait_for(Lock, STOP_CHECK);
        }
    }

    // The program has ended.
    void Leave(int nProgram) {
        const std::lock_guard Lock(m_Mutex);
        m_Programs[static_cast<std::size_t>(nProgram)].bAbsent = true;
        m_Changed.notify_all();
    }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds LONGEST_WAIT{2};
    static constexpr std::chrono::milliseconds STOP_CHECK{50};
    static constexpr std::int64_t TICKS_LATE = TICKS_PER_SECOND; // a program that returns later than that starts anew

    struct Program {
        std::optional<std::int64_t> Begin;
        std::int64_t llNow = 0; // since the begin
        bool bAbsent = false;   // nobody waits for it
    };

    // One that was absent and has fallen behind, as a stalled input does, is counted as if it were where the others
    // are.
    void Advance(Program &Own, std::int64_t llTime) const {
        const auto Latest =
            std::ranges::max(m_Programs, {}, [](const Program &Other) { return Other.bAbsent ? 0 : Other.llNow; });
        const std::int64_t llAhead = Latest.bAbsent ? 0 : Latest.llNow;
        if (!Own.Begin)
            Own.Begin = llTime;
        if (Own.bAbsent && llTime - *Own.Begin < llAhead - TICKS_LATE)
            Own.Begin = llTime - llAhead;
        Own.bAbsent = false;
        Own.llNow = llTime - *Own.Begin;
    }

    const std::atomic<bool> &m_bStop;
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    std::vector<Program> m_Programs;
};

} // namespace encoder

#endif
