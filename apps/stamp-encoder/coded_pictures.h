// Which pictures of an input have been coded lately: a time stamp for one of them comes too late.
// The encoding thread adds, the producer asks. Where either PTS steps back, a new stretch of the stream has begun, in
// which PTS of the one before come again: all before is forgotten.
#ifndef ENCODER_REPORT_CODED_PICTURES_H
#define ENCODER_REPORT_CODED_PICTURES_H

#include <algorithm>
#include <array>
#include <mutex>
#include <optional>
#include <span>

#include "pts_api.h"

namespace encoder {

class CodedPictures {
public:
    void Add(UINT64 nPTS) {
        const std::lock_guard Lock(m_Mutex);
        ForgetOnStepBack(m_LastAdded, nPTS);
        m_PTS[m_nAdded++ % m_PTS.size()] = nPTS;
    }

    // A picture to which the library would have given a time stamp with this PTS.
    bool Has(UINT64 nPTS) {
        const std::lock_guard Lock(m_Mutex);
        ForgetOnStepBack(m_LastAsked, nPTS);
        const std::span Coded(m_PTS.data(), std::min(m_nAdded, m_PTS.size()));
        return std::ranges::any_of(Coded, [nPTS](UINT64 nCoded) {
            const INT64 llDistance = CalcPTSDiff(nPTS, nCoded);
            return llDistance <= MATCH_TICKS && llDistance >= -MATCH_TICKS;
        });
    }

private:
    static constexpr INT64 MATCH_TICKS = 359;       // how far a record may lie from the picture that it serves
    static constexpr INT64 STEP_BACK_TICKS = 90000; // farther than coding order goes back

    void ForgetOnStepBack(std::optional<UINT64> &Last, UINT64 nPTS) {
        if (Last && CalcPTSDiff(*Last, nPTS) < -STEP_BACK_TICKS)
            m_nAdded = 0;
        Last = nPTS;
    }

    std::mutex m_Mutex;
    std::array<UINT64, 600> m_PTS{}; // the last 10 seconds at 60 Hz
    std::size_t m_nAdded = 0;
    std::optional<UINT64> m_LastAdded;
    std::optional<UINT64> m_LastAsked;
};

} // namespace encoder

#endif
