// The library's answer for one coded picture.
#ifndef ENCODER_PICTURE_TIME_H
#define ENCODER_PICTURE_TIME_H

#include <optional>

#include "formats/stamp_sei.h"
#include "timecode.h"

namespace encoder {

struct PictureTime {
    bool bTimed = false;  // the picture has a time; without it nothing else holds
    bool bHasUTC = false; // the record's KLVTC view is valid, otherwise its vitc view
    MISP_UTC Record{};
    vitc_t Timecode{}; // the picture's SMPTE 12M timecode
    BOOL bSameRecord = FALSE;

    int Source() const { return bTimed ? Record.enTimecodeSource : TCSOURCE_NONE; }

    // For the ST 0604 message.
    std::optional<UtcStamp> Stamp() const {
        if (!bTimed || !bHasUTC)
            return std::nullopt;
        const UTCPayload &Payload = Record.MotionImageryTimestamp.KLVTC;
        return UtcStamp{Payload.MISPStatusByte, Payload.llUTCTime};
    }
};

} // namespace encoder

#endif
