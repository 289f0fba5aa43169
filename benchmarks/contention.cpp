// Producers and retrievers at once: how many calls a second go through, how long one retrieval takes, and whether the
// load of one input is seen in another's.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "scenarios.h"

namespace {

using Clock = std::chrono::steady_clock;
using Inputs = std::vector<int>;

constexpr auto MEASURED = std::chrono::milliseconds(500);
constexpr size_t LONGEST_NSEC = 1'000'000; // longer ones are counted with it

// The state that the threads of a run share.
struct Run {
    std::array<std::atomic<UINT64>, NUM_VIDEO_INPUTS> NewestPTS{};
    std::atomic<bool> bStop{false};
    std::atomic<UINT64> nCalls{0};
};

void Produce(Run &Shared, int nInput) {
    TCPayload Payload = bench::PayloadOf(TCSOURCE_HIGH_PRECISION_TIMESTAMP);
    auto &NewestPTS = Shared.NewestPTS.at(static_cast<size_t>(nInput));
    UINT64 nCalls = 0;
    for (UINT64 nPTS = NewestPTS; !Shared.bStop; ++nCalls) {
        nPTS += bench::TICKS_PER_PICTURE;
        Timecode_SetUTC(nInput, TCSOURCE_HIGH_PRECISION_TIMESTAMP, nPTS, &Payload);
        NewestPTS = nPTS;
    }
    Shared.nCalls += nCalls;
}

using Histogram = std::vector<UINT64>; // number of retrievals by nanoseconds

void RetrieveUntilStopped(Run &Shared, int nInput, Histogram &Counts) {
    const auto &NewestPTS = Shared.NewestPTS.at(static_cast<size_t>(nInput));
    int enSource = TCSOURCE_HIGH_PRECISION_TIMESTAMP;
    MISP_UTC Utc{};
    vitc_t Vitc{};
    BOOL bSame = FALSE;
    UINT64 nCalls = 0;
    for (; !Shared.bStop; ++nCalls) {
        void *pCursor = nullptr;
        const auto Start = Clock::now();
        Timecode_GetUTC(nInput, &enSource, FALSE, 30, 29000, NewestPTS - 5 * bench::TICKS_PER_PICTURE, 0, 0, &Utc,
                        &Vitc, &bSame, &pCursor);
        const auto nNsec = static_cast<size_t>((Clock::now() - Start) / std::chrono::nanoseconds(1));
        ++Counts[std::min(nNsec, LONGEST_NSEC)];
    }
    Shared.nCalls += nCalls;
}

double Percentile(const Histogram &Counts, double fShare) {
    UINT64 nTotal = 0;
    for (const UINT64 nCount : Counts)
        nTotal += nCount;
    double fRest = static_cast<double>(nTotal) * fShare;
    for (size_t nNsec = 0; nNsec < Counts.size(); ++nNsec) {
        fRest -= static_cast<double>(Counts[nNsec]);
        if (fRest <= 0)
            return static_cast<double>(nNsec);
    }
    return static_cast<double>(LONGEST_NSEC);
}

void Report(benchmark::State &State, const Run &Shared, const std::vector<Histogram> &PerThread) {
    Histogram Sum(LONGEST_NSEC + 1);
    for (const Histogram &Counts : PerThread)
        for (size_t nNsec = 0; nNsec < Counts.size(); ++nNsec)
            Sum[nNsec] += Counts[nNsec];
    State.counters["calls_per_second"] =
        static_cast<double>(Shared.nCalls) / std::chrono::duration<double>(MEASURED).count();
    State.counters["p50"] = Percentile(Sum, 0.50);
    State.counters["p99"] = Percentile(Sum, 0.99);
    State.counters["p99_9"] = Percentile(Sum, 0.999);
}

void Contend(benchmark::State &State, const Inputs &Producers, const Inputs &Retrievers) {
    for ([[maybe_unused]] auto Unused : State) {
        bench::Restart(MISP_PROFILE_2016_2);
        Run Shared;
        for (int nInput = 0; nInput < NUM_VIDEO_INPUTS; ++nInput) {
            bench::FillPool(TCSOURCE_HIGH_PRECISION_TIMESTAMP, nInput);
            Shared.NewestPTS.at(static_cast<size_t>(nInput)) =
                (bench::RECORDS_PER_INPUT - 1) * bench::TICKS_PER_PICTURE;
        }
        std::vector<Histogram> PerThread(Retrievers.size(), Histogram(LONGEST_NSEC + 1));
        std::vector<std::thread> Threads;
        for (const int nInput : Producers)
            Threads.emplace_back(Produce, std::ref(Shared), nInput);
        for (size_t nThread = 0; nThread < Retrievers.size(); ++nThread)
            Threads.emplace_back(RetrieveUntilStopped, std::ref(Shared), Retrievers[nThread],
                                 std::ref(PerThread[nThread]));
        std::this_thread::sleep_for(MEASURED);
        Shared.bStop = true;
        for (std::thread &Thread : Threads)
            Thread.join();
        State.SetIterationTime(std::chrono::duration<double>(MEASURED).count());
        Report(State, Shared, PerThread);
    }
    TimecodeLib_Shutdown();
}

} // namespace

namespace bench {

void RegisterContention() {
    const std::tuple<const char *, Inputs, Inputs> Rows[] = {
        {"one retriever alone", {}, {0}},
        {"one retriever, a producer on another input", {1}, {0}},
        {"one retriever, a producer on the same input", {0}, {0}},
        {"four producers and four retrievers, one of each an input", {0, 1, 2, 3}, {0, 1, 2, 3}},
        {"four producers and four retrievers, all on one input", {0, 0, 0, 0}, {0, 0, 0, 0}},
    };
    for (const auto &[szName, Producers, Retrievers] : Rows)
        benchmark::RegisterBenchmark((std::string("contention/") + szName).c_str(), Contend, Producers, Retrievers)
            ->UseManualTime()
            ->Iterations(1);
}

} // namespace bench
