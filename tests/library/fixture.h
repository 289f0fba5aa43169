// The fixture of the library's tests. Every test is a fake day later than the one before and starts at noon UTC, since
// some messages are held back for as long as the process lives.
#ifndef TESTS_LIBRARY_FIXTURE_H
#define TESTS_LIBRARY_FIXTURE_H

#include <gmock/gmock.h>
#include <optional>
#include <string>
#include <vector>

#include "interpose/clock.h"
#include "interpose/services.h"
#include "model/calls.h"

using interpose::g_Clock;
using interpose::g_Services;
using interpose::TakeReports;
using interpose::Texts;
using model::GetSystemUtc;
using model::Null;
using model::Request;

constexpr int HIGH_PRECISION = TCSOURCE_HIGH_PRECISION_TIMESTAMP;
constexpr int TIMECODE = TCSOURCE_SMPTE12M_TIMESTAMP;
constexpr int LOCAL_SET = TCSOURCE_LDS_TIMESTAMP;
constexpr int SYSTEM_CLOCK = TCSOURCE_SYSTEM_TIMESTAMP;

INT64 NoonUsec();              // of the test's day
void StartDay(int enRevision); // moves the clock to the next day's noon and starts the library at trace level 7
void SetClockMs(INT64 nMs);    // to noon plus nMs
// "6 text"; the seconds of noon are NOON and those of 12:34:56 "12:34:56.", the day is TODAY, an address is ADDRESS.
Texts TakeTraces();
vitc_t Timecode(int nHours, int nMinutes, int nSeconds, int nFrames);

// A time stamp that a producer hands in.
struct Stamp {
    int enSource = HIGH_PRECISION;
    UINT64 nPTS = 9000;
    INT64 llUsec = 0; // from noon; not of a timecode
    BYTE nStatus = 0x1F;
    vitc_t Label = Timecode(12, 0, 0, 0);
    int nInput = 0;
};
BOOL Queue(const Stamp &Given);

// A picture's time, as far as it was written.
struct Time {
    INT64 llUsec = 0; // from noon
    int nStatus = 0x1F;
    UINT64 nPTS = 0;
    int enSource = HIGH_PRECISION;
    std::optional<vitc_t> Label{};
    friend bool operator==(const Time &, const Time &) = default;
    friend std::ostream &operator<<(std::ostream &Out, const Time &Told);
};

// Nothing where no record was written.
std::optional<Time> TimeOf(const model::Written &Got);

model::Written Ask(const Request &Asked, void *pCursor = nullptr);
model::Statistics Stats(int nInput = 0);

class LibraryTest : public testing::Test {
protected:
    explicit LibraryTest(int enRevision = MISP_PROFILE_62) { StartDay(enRevision); }
    ~LibraryTest() override;
};

#endif
