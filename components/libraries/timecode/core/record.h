// Time-stamp records: access to the payload and to a timecode's digits.
// The payload is a union whose views are written and read across each other, so it is accessed as bytes.
#ifndef TIMECODE_CORE_RECORD_H
#define TIMECODE_CORE_RECORD_H

#include <cstddef>
#include <cstring>

#include "timecode.h"

namespace timecode {

static_assert(offsetof(MISP_UTC, DNode) == 0, "a record's address is its node's");
static_assert(sizeof(vitc_t) >= sizeof(UTCPayload), "a copy of the vitc view carries the KLVTC view");
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

// Copies a timecode whole, with what lies between its fields.
inline void CopyVitc(vitc_t &To, const vitc_t &From) {
    std::memcpy(&To, &From, sizeof To);
}

// Hours, minutes, seconds and frames of a timecode. Wide and signed, so that sums of any digits fit.
struct Hmsf {
    INT64 nHours;
    INT64 nMinutes;
    INT64 nSeconds;
    INT64 nFrames;
};

inline Hmsf DigitsOf(const vitc_t &Vitc) {
    const auto *const pBytes = reinterpret_cast<const unsigned char *>(&Vitc);
    const auto Value = [pBytes](size_t nTens, size_t nUnits) { return pBytes[nTens] * 10 + pBytes[nUnits]; };
    return {Value(offsetof(vitc_t, HourTens), offsetof(vitc_t, HourUnits)),
            Value(offsetof(vitc_t, MinuteTens), offsetof(vitc_t, MinuteUnits)),
            Value(offsetof(vitc_t, SecondTens), offsetof(vitc_t, SecondUnits)),
            Value(offsetof(vitc_t, FrameTens), offsetof(vitc_t, FrameUnits))};
}

// Writes a value as two digits; the tens of one above 99 are cut to a byte.
inline void SplitInto(unsigned char &nTens, unsigned char &nUnits, INT64 nValue) {
    nTens = static_cast<unsigned char>(nValue / 10);
    nUnits = static_cast<unsigned char>(nValue % 10);
}

// The digits alone; all else of the timecode stays.
inline void SetDigits(vitc_t &Vitc, const Hmsf &Time) {
    SplitInto(Vitc.HourTens, Vitc.HourUnits, Time.nHours);
    SplitInto(Vitc.MinuteTens, Vitc.MinuteUnits, Time.nMinutes);
    SplitInto(Vitc.SecondTens, Vitc.SecondUnits, Time.nSeconds);
    SplitInto(Vitc.FrameTens, Vitc.FrameUnits, Time.nFrames);
}

} // namespace timecode

#endif
