// Records as the model keeps them, compared field by field and told in words.
#ifndef TESTS_MODEL_RECORDS_H
#define TESTS_MODEL_RECORDS_H

#include <array>
#include <cstddef>
#include <cstring>
#include <ostream>
#include <string>

#include "timecode.h"

// All fields of a timecode, without the bytes behind the last.
constexpr size_t TIMECODE_BYTES = offsetof(vitc_t, BinaryGroups) + sizeof(vitc_bg_t);

inline bool operator==(const vitc_t &Left, const vitc_t &Right) {
    return std::memcmp(static_cast<const void *>(&Left), static_cast<const void *>(&Right), TIMECODE_BYTES) == 0;
}
std::ostream &operator<<(std::ostream &Out, const vitc_t &Vitc);

namespace model {

__extension__ typedef __int128 Wide;

// The model counts instants, since 1970, and spans of time in nanoseconds.
constexpr Wide NSEC_PER_SEC = 1'000'000'000;
inline Wide NsecOf(const timespec &Time) {
    return Wide{Time.tv_sec} * NSEC_PER_SEC + Time.tv_nsec;
}

// The eight digits of a timecode as four numbers. Each digit is a byte: greater numbers lose what does not fit.
struct Digits {
    INT64 nHours = 0;
    INT64 nMinutes = 0;
    INT64 nSeconds = 0;
    INT64 nFrames = 0;
};
Digits DigitsOf(const vitc_t &Vitc);
void SetDigits(vitc_t &Vitc, const Digits &Time);

// The storage that a UTC with its status byte shares with a timecode.
class Payload {
public:
    Payload() = default;
    explicit Payload(const TCPayload &Given) { std::memcpy(m_Bytes.data(), &Given, m_Bytes.size()); }

    [[nodiscard]] BYTE Status() const { return m_Bytes[offsetof(UTCPayload, MISPStatusByte)]; }
    [[nodiscard]] INT64 Utc() const { return Read<INT64>(offsetof(UTCPayload, llUTCTime)); }
    [[nodiscard]] vitc_t Timecode() const { return Read<vitc_t>(0); }
    [[nodiscard]] TCPayload Whole() const { return Read<TCPayload>(0); }
    void SetStatus(BYTE nStatus) { m_Bytes[offsetof(UTCPayload, MISPStatusByte)] = nStatus; }
    void SetUtc(INT64 llUTC) { std::memcpy(&m_Bytes[offsetof(UTCPayload, llUTCTime)], &llUTC, sizeof llUTC); }
    void SetTimecode(const vitc_t &Vitc) { std::memcpy(m_Bytes.data(), &Vitc, TIMECODE_BYTES); }

    friend bool operator==(const Payload &Left, const Payload &Right) { return Left.Timecode() == Right.Timecode(); }

private:
    template <class T>
    [[nodiscard]] T Read(size_t nOffset) const {
        T Value;
        std::memcpy(static_cast<void *>(&Value), m_Bytes.data() + nOffset, sizeof Value);
        return Value;
    }

    std::array<BYTE, sizeof(TCPayload)> m_Bytes{};
};

// A time-stamp record without its link.
struct Record {
    model::Payload Payload{};
    UINT64 nPTS = 0;
    int enSource = TCSOURCE_NONE;
    Wide nInserted = 0;
    friend bool operator==(const Record &, const Record &) = default;
};
Record RecordOf(const MISP_UTC &Utc);
std::ostream &operator<<(std::ostream &Out, const Record &Told);

// A name for a source: "high precision", "timecode", "local set", "system clock", "none", or the number.
std::string SourceText(int enSource);

} // namespace model

#endif
