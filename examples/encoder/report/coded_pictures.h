// Which pictures of an input have been coded lately: a time stamp for one of them comes too late.
// The encoding thread adds, the producer asks.
#ifndef ENCODER_REPORT_CODED_PICTURES_H
#define ENCODER_REPORT_CODED_PICTURES_H

#include <algorithm>
#include <array>
#include <mutex>

#include "pts_api.h"

namespace encoder {

class CodedPictures {
public:
    void Add(UINT64 nPTS) {
        const std::lock_guard Lock(m_Mutex);
        m_PTS[m_nAdded++ % m_PTS.size()] = nPTS;
    }

    // A picture to which the library would have given a time stamp with this PTS.
    bool Has(UINT64 nPTS) const {
        const std::lock_guard Lock(m_Mutex);
        const auto *const pEnd = m_PTS.begin() + std::min(m_nAdded, m_PTS.size());
        return std::any_of(m_PTS.begin(), pEnd, [nPTS](UINT64 nCoded) {
            const INT64 llDistance = CalcPTSDiff(nPTS, nCoded);
            return llDistance <= MATCH_TICKS && llDistance >= -MATCH_TICKS;
        });
    }

private:
    static constexpr INT64 MATCH_TICKS = 359; // how far a record may lie from the picture that it serves

    mutable std::mutex m_Mutex;
    std::array<UINT64, 600> m_PTS{}; // the last 10 seconds at 60 Hz
    std::size_t m_nAdded = 0;
};

} // namespace encoder

#endif
