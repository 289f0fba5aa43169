// A slow, obvious model of the timecode library: what it answers, counts and says, in the simplest words.
//
// It sees the same clock as the library and is told of every call. It keeps each input's time stamps in a plain deque
// and looks at all of them each time.
#ifndef TESTS_MODEL_LIBRARY_H
#define TESTS_MODEL_LIBRARY_H

#include <array>
#include <ctime>
#include <deque>
#include <optional>
#include <vector>

#include "model/arithmetic.h"

namespace model {

constexpr int RECORDS_PER_INPUT = 180;
constexpr UINT64 MATCH_TICKS = 359;
constexpr INT64 RECOVERY_MS = 750;

// The status byte.
constexpr BYTE NOT_LOCKED = 0x80;
constexpr BYTE DISCONTINUITY = 0x40;
constexpr BYTE REVERSE = 0x20;
constexpr BYTE RESERVED = 0x1F;

inline bool IsInput(int nInput) {
    return nInput >= 0 && nInput < NUM_VIDEO_INPUTS;
}

inline bool IsQueued(int enSource) {
    return enSource >= TCSOURCE_HIGH_PRECISION_TIMESTAMP && enSource <= TCSOURCE_LDS_TIMESTAMP;
}

// The clock in microseconds; -1 where it fails or 64 bits do not hold it.
INT64 ClockUsec();

// The caller's record cursor: which record of the input, 0 to 179, as laid out at start-up, or one of these.
enum : int { NO_CURSOR = -1, FOREIGN_CURSOR = -2 }; // foreign: an address that is no record of the input

enum class Null { Nothing, Source, Utc, Timecode, Same, Cursor };

// A picture's request; what it hands in beside the addresses.
struct Request {
    int nInput = 0;
    int enSource = TCSOURCE_HIGH_PRECISION_TIMESTAMP;
    BOOL bSwitch = FALSE;
    int nRate = 25;
    int nCode = 25000;
    UINT64 nPTS = 0;
    UINT64 nBasePTS = 0;
    INT64 llBaseUTC = 0;
    Null enNull = Null::Nothing; // which pointer is
    int nCursor = NO_CURSOR;
    // A rate code is an int in a request; the conversions take it as 64 bits.
    [[nodiscard]] PictureRate Rate() const { return {nRate, static_cast<ULONG>(INT64{nCode})}; }
};
std::ostream &operator<<(std::ostream &Out, const Request &Told);

// What a request hands out; nothing where the caller's variable is left as it was.
struct Answer {
    BOOL bResult = FALSE;
    std::optional<Record> Utc{};
    std::optional<vitc_t> Timecode{};
    std::optional<BOOL> bSame{};
    int nCursor = NO_CURSOR;
    friend bool operator==(const Answer &, const Answer &) = default;
};
std::ostream &operator<<(std::ostream &Out, const Answer &Told);

struct Statistics {
    int enSource = 0;
    UINT64 nSwitches = 0;
    friend bool operator==(const Statistics &, const Statistics &) = default;
};
std::ostream &operator<<(std::ostream &Out, const Statistics &Told);

// How many messages of each level, and how many reports of callers' errors, calls have made.
struct Said {
    std::array<int, 8> nMessages{};
    int nReports = 0;
    friend bool operator==(const Said &, const Said &) = default;
};
std::ostream &operator<<(std::ostream &Out, const Said &Told);

// A time in seconds at which a message last passed.
using Throttle = time_t;

class Library {
public:
    void Start(int enRevision);
    void Stop();
    int Revision();
    BOOL Queue(int nInput, int enSource, UINT64 nPTS, const Payload *pGiven);
    void Flush(int nInput);
    std::optional<Statistics> ReadStatistics(int nInput, bool bNull);
    BOOL ResetStatistics(int nInput);
    Answer Ask(const Request &Asked);
    Answer AskSystem(const Request &Asked);
    void CheckSwitch(int nInput, BOOL bAllowed, int *penSource);
    std::optional<vitc_t> Convert(INT64 llUTC, const PictureRate &Rate, bool bNull = false);
    std::optional<int> CountFrames(UINT nRate, UINT nCode, const vitc_t &Old, const vitc_t &New, bool bNull);
    void Number(SMPTE12M1_CONTEXT *pContext, UINT64 nPTS, vitc_t *pNew);

    [[nodiscard]] std::vector<Record> OldestFirst(int nInput);

    int nMaxLevel = 0; // of the trace handle; set to 7 by a start
    Said TakeSaid();

private:
    struct Slot {
        int nRecord;
        Record Stamp;
    };
    // What is known of an input's time; at first, and when a source is given up, nothing.
    struct Condition {
        bool bAlive = false;
        bool bDiscontinuity = true;
        bool bLocked = false;
    };
    struct Input {
        std::deque<Slot> Queue; // newest first
        Record Local;           // matched last, or carried
        Record LastUtc;         // handed out last
        Record LastTimecode;
        Wide nLastGood = 0;
        Condition Now;
        int enLastSource = TCSOURCE_NOT_CHOSEN;
        UINT64 nSwitches = 0;
        std::array<std::optional<Wide>, 4> SeenSince{}; // by source - 1
        time_t tLastFlush = 0;
        Throttle Entry = 0, Announced = 0, Ok = 0, Failed = 0;
    };
    // One request on its way.
    struct Picture {
        const Request &Asked;
        Input &In;
        Wide nNow;
        int enSource;
        Answer Given;
        bool bSame = false;
    };

    Input &At(int nInput) { return m_Inputs.at(static_cast<size_t>(nInput)); }
    [[nodiscard]] bool Carries() const { return m_enRevision == MISP_PROFILE_62; }
    void Say(int nLevel, int nTimes = 1);
    void SayAtMost(int nLevel, Throttle &Last, INT64 nSeconds); // not again within so many seconds
    bool Report(bool bFault);                                   // and returns it
    Wide ReadClock();
    bool IsUsable(int nRate);

    std::optional<size_t> Nearest(const Input &In, int enSource, UINT64 nPTS);
    std::optional<Record> Match(Picture &Pic);
    bool UseSource(Picture &Pic);
    bool UseUtcSource(Picture &Pic);
    void UseTimecodeSource(Picture &Pic);
    bool UseUtc(Picture &Pic);
    bool UseTimecode(Picture &Pic);
    void CarryUtc(Picture &Pic);
    Wide CarryTimecode(Picture &Pic);
    void Finish(Picture &Pic);
    void FailOver(Input &In, Wide nNow, BOOL bAllowed, int &enSource, int nLevel);
    int RecoveredSource(Picture &Pic);
    bool HasReturned(const Picture &Pic, int enCandidate);
    std::optional<INT64> LocalDay();
    static void CountSwitch(Input &In, Wide nNow);

    bool m_bStarted = false;
    bool m_bHandle = false;
    int m_enRevision = 0;
    std::array<Input, NUM_VIDEO_INPUTS> m_Inputs{};
    Said m_Said;
    // Shared by all inputs, and kept from start to start.
    Throttle m_Queued = 0, m_Recovery = 0, m_Converted = 0, m_Doubtful = 0, m_Dated = 0, m_Year = 0, m_System62 = 0,
             m_System2016 = 0;
};

} // namespace model

#endif
