// A slow, obvious model of the timecode library: what it answers, counts and says, in the simplest words.
//
// It sees the same clock as the library and is told of every call. It keeps each input's time stamps in a plain deque
// and looks at all of them each time.
#ifndef TESTS_MODEL_LIBRARY_H
#define TESTS_MODEL_LIBRARY_H

#include <array>
#include <deque>
#include <optional>
#include <vector>

#include "model/arithmetic.h"

namespace model {

constexpr int RECORDS_PER_INPUT = 180;

// The caller's record cursor.
struct Cursor {
    enum class Kind { None, Record, Foreign } enKind = Kind::None; // foreign: an address that is no record of the input
    int nRecord = 0;                                               // which one, 0 to 179, as laid out at start-up
    friend bool operator==(const Cursor &, const Cursor &) = default;
};
std::ostream &operator<<(std::ostream &Out, const Cursor &Told);

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
    model::Cursor Cursor{};
};
std::ostream &operator<<(std::ostream &Out, const Request &Told);

// What a request hands out; nothing where the caller's variable is left as it was.
struct Answer {
    BOOL bResult = FALSE;
    std::optional<Record> Utc{};
    std::optional<vitc_t> Timecode{};
    std::optional<BOOL> bSame{};
    model::Cursor Cursor{};
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
    BOOL Queue(int nInput, int enSource, UINT64 nPTS, const TCPayload *pPayload);
    void Flush(int nInput);
    std::optional<Statistics> ReadStatistics(int nInput, bool bNull);
    BOOL ResetStatistics(int nInput);
    Answer Ask(const Request &Asked);
    Answer AskSystem(const Request &Asked);
    void CheckSwitch(int nInput, BOOL bAllowed, int *penSource);
    std::optional<vitc_t> Convert(const INT64 *pllUTC, const PictureRate &Rate, bool bNull);
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
    struct Sighting {
        bool bPending = false;
        timespec tpFirst{};
    };
    struct Input {
        std::deque<Slot> Queue; // newest first
        Record Local;           // matched last, or carried
        Record LastUtc;         // handed out last
        Record LastTimecode;
        timespec tpLastGood{};
        bool bAlive = false;
        bool bDiscontinuity = true;
        bool bLocked = false;
        int enLastSource = TCSOURCE_NOT_CHOSEN;
        UINT64 nSwitches = 0;
        std::array<Sighting, 4> Seen{}; // by source - 1
        time_t tLastFlush = 0;
        Throttle Entry = 0, Announced = 0, Ok = 0, Failed = 0;
    };
    struct Found {
        Record Stamp;
        bool bSame = false;
    };
    // One request on its way.
    struct Picture {
        const Request &Asked;
        Input &In;
        timespec tpNow;
        time_t tNow;
        int enSource;
        Answer Given{};
        bool bSame = false;
        bool bUtcUsed = false;
        bool bTimecodeUsed = false;
        BYTE nStatusShown = 0;
    };

    Input &At(int nInput) { return m_Inputs.at(static_cast<size_t>(nInput)); }
    void Say(int nLevel);
    void SayAtMost(int nLevel, Throttle &Last, INT64 nSeconds); // not again within so many seconds
    bool Report(bool bFault);                                   // and returns it
    bool ReportInput(int nInput);
    timespec ReadClock();
    bool IsUsable(int nRate);

    std::optional<Found> Match(Input &In, UINT64 nPTS, int enSource, Cursor *pCursor);
    std::optional<Found> MatchNear(Picture &Pic);
    Answer AskCarrying(const Request &Asked);
    Answer AskMatching(const Request &Asked);
    bool UseUtc(Picture &Pic);
    void UseTimecode(Picture &Pic);
    bool UseUtcSource(Picture &Pic);
    void CarryUtc(Picture &Pic, int enSource);
    void UseTimecodeSource(Picture &Pic);
    timespec CarryTimecode(Picture &Pic);
    void UseNoSource(Picture &Pic);
    void FailOver(Picture &Pic);
    static void Remember(const Picture &Pic);
    void Recover(Picture &Pic);
    int RecoveredSource(Picture &Pic);
    bool HasReturned(Picture &Pic, int enCandidate);
    std::optional<vitc_t> FormTimecode(INT64 llUTC, const PictureRate &Rate);
    bool ConvertTimecode(const vitc_t &Vitc, const PictureRate &Rate, INT64 &llUTC);
    std::optional<INT64> LocalDay();
    static void SetNotAlive(Input &In);
    static void CountSwitch(Input &In, const timespec &tpNow);

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
