// The one fixture of the library's tests: it owns the clock, the traces and the assertion reports that the library sees.
// Every start is a fake day later than the one before, at noon UTC, since some throttles live as long as the process.
#ifndef FIXTURE_H
#define FIXTURE_H

#include <gmock/gmock.h>

#include <atomic>
#include <string>
#include <vector>

#include "timecode.h"

using Texts = std::vector<std::string>;

// What the services under the library answer and have been asked. The clock is CLOCK_REALTIME in nanoseconds.
struct Services {
    std::atomic<INT64> nClockNsec{0};
    std::atomic<INT64> nClockSec{0}; // added, for times beyond all nanoseconds
    std::atomic<bool> bClockFails{false};
    std::atomic<bool> bLocalTimeFails{false};
    std::atomic<bool> bHandleStaysNull{false};
    std::atomic<bool> bListLosesRecords{false}; // none is linked any more
    std::atomic<bool> bWatchesLinks{false};     // the list service tells whether two threads are in it
    std::atomic<int> nLinking{0};
    std::atomic<bool> bMetInList{false};
    std::atomic<bool> bRecords{true}; // messages are formatted in any case
    std::atomic<int> nThreadStates{0};
    std::atomic<int> nSettingsValue{0};
};
extern Services g_Services;

INT64 StartUsec();                   // noon of the test's day; every UTC in rows counts from it
void StartDay(int enRevision);       // sets the clock to the next day's noon and starts the library at trace level 7
void SetClockMs(INT64 nMs);          // CLOCK_REALTIME and time() to noon plus nMs
Texts TakeTraces(int nMaxLevel = 7); // "6 text" without the line end, since the last call
Texts TakeAsserts();
int CountTraces(const std::string &sStart); // traces since the last call that begin so

vitc_t Timecode(const char *szTimecode); // "12:00:00:10", all else 0
std::string Text(const vitc_t &Vitc);    // and back
std::string Stats(int nInput);           // "source/switches"

// Queues "12:00:00:10" for timecode, "microseconds-from-noon status" otherwise.
BOOL Queue(int enSource, UINT64 nPts, const char *szPayload, int nInput = 0);

struct Request {
    int enSource = TCSOURCE_HIGH_PRECISION_TIMESTAMP;
    UINT64 nPts = 0;
    BOOL bSwitch = FALSE;
    int nRate = 25;
    int nCode = 25000;
    int nInput = 0;
    UINT64 nBasePts = 0;
    INT64 llBaseUsec = 0; // from noon
};

// Outputs are filled with a pattern before the call, so that a write shows.
struct Answer {
    BOOL bResult;
    MISP_UTC Utc;
    vitc_t Vitc;
    BOOL bSame;
    void *pCursor;
};
Answer Ask(const Request &Asked, void *pCursor = nullptr);
Answer AskSystem(const Request &Asked);
std::string
Text(const Answer &Got); // "result microseconds-from-noon status pts source timecode[ same]"; "-" where untouched

// One picture: clock, a time stamp queued just before (source 0: none), the request, the answer and the statistics.
struct Step {
    INT64 nMs;
    int enStamp;
    UINT64 nStampPts;
    const char *szStamp;
    Request Asked;
    const char *szExpected;
    const char *szStats = "57005/0";
};
void Play(const std::vector<Step> &Pictures);

class LibraryTest : public testing::Test {
protected:
    explicit LibraryTest(int enRevision = MISP_PROFILE_62) { StartDay(enRevision); }
    ~LibraryTest() override;
};

#endif
