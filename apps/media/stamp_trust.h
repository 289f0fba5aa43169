// Which time stamps of damaged packets are believed. What was lost lies mostly behind the time stamp, in the picture;
// but nothing guards the digits of an ST 0604 message, so it must follow from the last one that came unharmed.
#ifndef ENCODER_MEDIA_STAMP_TRUST_H
#define ENCODER_MEDIA_STAMP_TRUST_H

#include <optional>

#include "common/pts.h"
#include "formats/stamp_sei.h"
#include "pts_api.h"

namespace encoder {

class StampTrust {
public:
    // A time stamp of an unharmed packet.
    void Believe(UINT64 nPTS, const UtcStamp &Stamp) { m_Last = Unharmed{nPTS, Stamp}; }

    // One of a damaged packet says what the last unharmed one and the PTS between them lead to expect.
    bool Follows(UINT64 nPTS, const UtcStamp &Stamp) const {
        if (!m_Last || Stamp.nStatusByte != m_Last->Stamp.nStatusByte)
            return false;
        const INT64 llTicks = CalcPTSDiff(m_Last->nPTS, nPTS);
        if (llTicks > LONGEST_TICKS || llTicks < -LONGEST_TICKS)
            return false;
        const auto nExpected =
            static_cast<std::uint64_t>(m_Last->Stamp.llUTC) + static_cast<std::uint64_t>(llTicks * 100 / 9);
        const std::uint64_t nError = static_cast<std::uint64_t>(Stamp.llUTC) - nExpected;
        return nError + TOLERANCE_USEC <= 2 * TOLERANCE_USEC;
    }

private:
    static constexpr INT64 LONGEST_TICKS = 5 * TICKS_PER_SECOND; // in which clocks stay together
    static constexpr std::uint64_t TOLERANCE_USEC = 5000;

    struct Unharmed {
        UINT64 nPTS;
        UtcStamp Stamp;
    };
    std::optional<Unharmed> m_Last;
};

} // namespace encoder

#endif
