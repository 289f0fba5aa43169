// How long a write may wait for its reader once the run has been stopped.
// Before that it may wait for as long as it likes; afterwards a reader that is slow still gets the rest.
#ifndef ENCODER_COMMON_PATIENCE_H
#define ENCODER_COMMON_PATIENCE_H

#include <atomic>
#include <chrono>

namespace encoder {

class Patience {
public:
    // The flag must outlive the object.
    explicit Patience(const std::atomic<bool> &bStop) : m_bStop(bStop) {}

    // A write begins.
    void Begin() { m_Began = Clock::now(); }

    // The write that began last is not worth waiting for any more. To be asked when a signal interrupts the wait.
    bool IsOver() const { return m_bStop && Clock::now() - m_Began >= LONGEST_WAIT; }
    bool IsStopped() const { return m_bStop; }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds LONGEST_WAIT{1};

    const std::atomic<bool> &m_bStop;
    Clock::time_point m_Began = Clock::now();
};

} // namespace encoder

#endif
