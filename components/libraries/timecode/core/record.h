// Time-stamp records: access to the payload, to a timecode's digits, and to callers' memory.
// The payload is a union whose views are written and read across each other, so it is accessed as bytes.
#pragma once

#include <cstddef>
#include <cstring>

#include "timecode.h"

namespace timecode {

static_assert(offsetof(MISP_UTC, DNode) == 0, "a record's address is its node's");
static_assert(sizeof(vitc_t) >= sizeof(UTCPayload), "a copy of the vitc view carries the KLVTC view");
static_assert(offsetof(UTCPayload, llUTCTime) == 8 && offsetof(vitc_t, FrameUnits) == 4, "natural alignment");

// Reads and writes a caller's variable; a pointer from outside need not be aligned.
template <class T>
T Fetch(const T *pFrom) {
    T Value;
    std::memcpy(&Value, static_cast<const void *>(pFrom), sizeof Value);
    return Value;
}

template <class T>
void Store(T *pTo, const T &Value) {
    std::memcpy(static_cast<void *>(pTo), &Value, sizeof Value);
}

template <class T>
void StoreField(void *pRecord, size_t nOffset, const T &Value) {
    std::memcpy(static_cast<unsigned char *>(pRecord) + nOffset, &Value, sizeof Value);
}

template <class T>
T PayloadField(const TCPayload &Payload, size_t nOffset) {
    T Value;
    std::memcpy(&Value, reinterpret_cast<const unsigned char *>(&Payload) + nOffset, sizeof Value);
    return Value;
}

template <class T>
void SetPayloadField(TCPayload &Payload, size_t nOffset, const T &Value) {
    StoreField(&Payload, nOffset, Value);
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

inline vitc_t VitcOf(const MISP_UTC &Record) {
    return PayloadField<vitc_t>(Record.MotionImageryTimestamp, 0);
}

inline void SetVitc(MISP_UTC &Record, const vitc_t &Vitc) {
    SetPayloadField(Record.MotionImageryTimestamp, 0, Vitc);
}

// Hours, minutes, seconds and frames of a timecode. Wide and signed, so that sums of any digits fit.
struct Hmsf {
    INT64 nHours;
    INT64 nMinutes;
    INT64 nSeconds;
    INT64 nFrames;
};

Hmsf DigitsOf(const vitc_t &Vitc);
void SetDigits(vitc_t &Vitc, const Hmsf &Time);

// Nanoseconds as seconds and the rest.
timespec _ConvertNsecToTimespec(UINT64 nsec);

} // namespace timecode
