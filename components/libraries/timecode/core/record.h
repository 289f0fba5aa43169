// Time-stamp records: access to the payload.
// The payload is a union whose views are written and read across each other, so it is accessed as bytes.
#ifndef TIMECODE_CORE_RECORD_H
#define TIMECODE_CORE_RECORD_H

#include <cstddef>
#include <cstring>

#include "timecode.h"

namespace timecode {

static_assert(offsetof(MISP_UTC, DNode) == 0, "a record's address is its node's");
static_assert(sizeof(vitc_t) >= sizeof(UTCPayload), "a copy of the vitc view covers the KLVTC view");
static_assert(offsetof(UTCPayload, llUTCTime) == 8 && offsetof(vitc_t, FrameUnits) == 4, "natural alignment");

template <class T>
T PayloadField(const TCPayload &Payload, size_t nOffset) {
    T Value;
    std::memcpy(&Value, reinterpret_cast<const unsigned char *>(&Payload) + nOffset, sizeof Value);
    return Value;
}

template <class T>
void SetPayloadField(TCPayload &Payload, size_t nOffset, const T &Value) {
    std::memcpy(reinterpret_cast<unsigned char *>(&Payload) + nOffset, &Value, sizeof Value);
}

inline INT64 UtcOf(const MISP_UTC &Record) {
    return PayloadField<INT64>(Record.MotionImageryTimestamp, offsetof(UTCPayload, llUTCTime));
}

inline void SetUtc(MISP_UTC &Record, INT64 llUTC) {
    SetPayloadField(Record.MotionImageryTimestamp, offsetof(UTCPayload, llUTCTime), llUTC);
}

inline BYTE StatusByteOf(const MISP_UTC &Record) {
    return PayloadField<BYTE>(Record.MotionImageryTimestamp, offsetof(UTCPayload, MISPStatusByte));
}

inline void SetStatusByte(MISP_UTC &Record, BYTE nStatusByte) {
    SetPayloadField(Record.MotionImageryTimestamp, offsetof(UTCPayload, MISPStatusByte), nStatusByte);
}

// The UTC of a record whose UTC is shared, for the accesses of core/shared.h.
inline INT64 &SharedUtcIn(MISP_UTC &Record) {
    return *reinterpret_cast<INT64 *>(reinterpret_cast<unsigned char *>(&Record.MotionImageryTimestamp) +
                                      offsetof(UTCPayload, llUTCTime));
}

inline vitc_t VitcOf(const MISP_UTC &Record) {
    return PayloadField<vitc_t>(Record.MotionImageryTimestamp, 0);
}

inline void SetVitc(MISP_UTC &Record, const vitc_t &Vitc) {
    SetPayloadField(Record.MotionImageryTimestamp, 0, Vitc);
}

// The timecode in a record, where it lies. It may have been written through another view, so it is read as bytes.
inline const vitc_t &VitcIn(const MISP_UTC &Record) {
    return reinterpret_cast<const vitc_t &>(Record.MotionImageryTimestamp);
}

inline void ClearPayload(MISP_UTC &Record) {
    std::memset(&Record.MotionImageryTimestamp, 0, sizeof Record.MotionImageryTimestamp);
}

// The two fields of the KLVTC view; the rest of the payload keeps what was there.
inline void CopyUtcFields(TCPayload &To, const TCPayload &From) {
    SetPayloadField(To, offsetof(UTCPayload, MISPStatusByte),
                    PayloadField<BYTE>(From, offsetof(UTCPayload, MISPStatusByte)));
    SetPayloadField(To, offsetof(UTCPayload, llUTCTime), PayloadField<INT64>(From, offsetof(UTCPayload, llUTCTime)));
}

// The whole vitc view, which covers the other one.
inline void CopyVitcView(TCPayload &To, const TCPayload &From) {
    std::memcpy(&To, &From, sizeof(vitc_t));
}

// Copies a timecode whole, with what lies between its fields.
inline void CopyVitc(vitc_t &To, const vitc_t &From) {
    std::memcpy(&To, &From, sizeof To);
}

} // namespace timecode

#endif
