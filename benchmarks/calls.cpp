// What a call costs, beside what no implementation can avoid: two clock reads, a recursive lock and unlock, a copied record.
// The floor is measured in the same run; "floors" says how many of them a call takes.
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <chrono>
#include <cstring>
#include <ctime>

#include "timecode.h"

namespace {

constexpr UINT64 TICKS_PER_PICTURE = 3003;
constexpr int RECORDS_PER_INPUT = 180;

pthread_mutex_t MakeRecursiveMutex() {
    pthread_mutexattr_t Attributes;
    pthread_mutexattr_init(&Attributes);
    pthread_mutexattr_settype(&Attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_t Mutex;
    pthread_mutex_init(&Mutex, &Attributes);
    return Mutex;
}

void TouchFloor() {
    static pthread_mutex_t Mutex = MakeRecursiveMutex();
    static MISP_UTC From{};
    static MISP_UTC To{};
    timespec tpNow{};
    benchmark::DoNotOptimize(time(nullptr));
    clock_gettime(CLOCK_REALTIME, &tpNow);
    benchmark::DoNotOptimize(tpNow);
    pthread_mutex_lock(&Mutex);
    std::memcpy(static_cast<void *>(&To), static_cast<const void *>(&From), sizeof To);
    benchmark::DoNotOptimize(To);
    pthread_mutex_unlock(&Mutex);
}

using Clock = std::chrono::steady_clock;

double NsecPer(Clock::duration Elapsed, double nTimes) {
    return std::chrono::duration<double, std::nano>(Elapsed).count() / nTimes;
}

double FloorNsec() {
    constexpr int TIMES = 1'000'000;
    static const double fNsec = [] {
        const auto Start = Clock::now();
        for (int nTime = 0; nTime < TIMES; ++nTime)
            TouchFloor();
        return NsecPer(Clock::now() - Start, TIMES);
    }();
    return fNsec;
}

template <class F>
void Measure(benchmark::State &State, F Call) {
    const auto Start = Clock::now();
    for ([[maybe_unused]] auto Unused : State)
        Call();
    State.counters["floors"] = NsecPer(Clock::now() - Start, static_cast<double>(State.iterations())) / FloorNsec();
}

// A started library with a full pool: one time stamp of the source for each of the last pictures.
void Start(int enRevision, int enSource) {
    TimecodeLib_Init(enRevision);
    TCPayload Payload{};
    Payload.KLVTC = {0x1F, 1'767'225'600'000'000};
    for (UINT64 nPicture = 0; nPicture < RECORDS_PER_INPUT; ++nPicture)
        Timecode_SetUTC(0, enSource, nPicture * TICKS_PER_PICTURE, &Payload);
}

struct Retrieval {
    int enRevision;
    BOOL bSwitching;
    bool bKeepCursor;
    UINT64 nPicture; // 0 is the oldest of the pool
};

void Retrieve(benchmark::State &State, const Retrieval &How) {
    Start(How.enRevision, TCSOURCE_HIGH_PRECISION_TIMESTAMP);
    int enSource = TCSOURCE_HIGH_PRECISION_TIMESTAMP;
    MISP_UTC Utc{};
    vitc_t Vitc{};
    BOOL bSame = FALSE;
    void *pCursor = nullptr;
    Measure(State, [&] {
        if (!How.bKeepCursor)
            pCursor = nullptr;
        benchmark::DoNotOptimize(Timecode_GetUTC(0, &enSource, How.bSwitching, 30, 29000,
                                                 How.nPicture * TICKS_PER_PICTURE, 0, 0, &Utc, &Vitc, &bSame,
                                                 &pCursor));
    });
    TimecodeLib_Shutdown();
}

void Queue(benchmark::State &State) {
    Start(MISP_PROFILE_2016_2, TCSOURCE_LDS_TIMESTAMP);
    TCPayload Payload{};
    UINT64 nPTS = 0;
    Measure(State, [&] { Timecode_SetUTC(0, TCSOURCE_LDS_TIMESTAMP, nPTS += TICKS_PER_PICTURE, &Payload); });
    TimecodeLib_Shutdown();
}

void Floor(benchmark::State &State) {
    Measure(State, TouchFloor);
}

constexpr UINT64 NEWEST = RECORDS_PER_INPUT - 1;
BENCHMARK(Floor);
BENCHMARK(Queue);
BENCHMARK_CAPTURE(Retrieve, 20162_newest, Retrieval{MISP_PROFILE_2016_2, FALSE, false, NEWEST});
BENCHMARK_CAPTURE(Retrieve, 20162_oldest, Retrieval{MISP_PROFILE_2016_2, FALSE, false, 0});
BENCHMARK_CAPTURE(Retrieve, 20162_kept_cursor, Retrieval{MISP_PROFILE_2016_2, FALSE, true, 0});
BENCHMARK_CAPTURE(Retrieve, 62_newest, Retrieval{MISP_PROFILE_62, FALSE, false, NEWEST});
BENCHMARK_CAPTURE(Retrieve, 62_newest_switching, Retrieval{MISP_PROFILE_62, TRUE, false, NEWEST});

} // namespace

BENCHMARK_MAIN();
