// What a call costs: warm, in a loop; and cold, with everything evicted from the caches, as one picture in 33 ms has
// it.
#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "scenarios.h"

namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point Start) {
    return std::chrono::duration<double>(Clock::now() - Start).count();
}

template <class F>
void MeasureWarm(benchmark::State &State, F Call) {
    for ([[maybe_unused]] auto Unused : State)
        Call();
    TimecodeLib_Shutdown();
}

// More than the largest cache holds, and more code than the nearest one does.
void EvictCaches() {
    constexpr size_t CACHE_LINE = 64;
    static std::vector<unsigned char> Bytes(size_t{96} << 20);
    for (size_t nByte = 0; nByte < Bytes.size(); nByte += CACHE_LINE)
        ++Bytes[nByte];
    benchmark::ClobberMemory();
    asm volatile(".rept 262144\n\tnop\n\t.endr");
}

// One call, less what reading the clock takes. The first reading of the clock brings it back into the caches.
template <class F>
void MeasureCold(benchmark::State &State, F Call) {
    for ([[maybe_unused]] auto Unused : State) {
        EvictCaches();
        const auto Empty = Clock::now();
        const double fReading = SecondsSince(Empty);
        const auto Start = Clock::now();
        Call();
        State.SetIterationTime(std::max(SecondsSince(Start) - std::min(fReading, 1e-7), 1e-9));
    }
    TimecodeLib_Shutdown();
}

// A second flush within the second of time() does nothing, so each one has a start-up before it.
void FlushWarm(benchmark::State &State) {
    for ([[maybe_unused]] auto Unused : State) {
        bench::Restart(MISP_PROFILE_2016_2);
        bench::FillPool(TCSOURCE_HIGH_PRECISION_TIMESTAMP);
        const auto Start = Clock::now();
        Timecode_Flush(0);
        State.SetIterationTime(SecondsSince(Start));
    }
    TimecodeLib_Shutdown();
}

} // namespace

int main(int nArguments, char **ppszArguments) {
    bench::ForEachScenario([](const std::string &szName, auto Prepare) {
        benchmark::RegisterBenchmark(("warm/" + szName).c_str(),
                                     [Prepare](benchmark::State &State) { MeasureWarm(State, Prepare()); });
        benchmark::RegisterBenchmark(("cold/" + szName).c_str(),
                                     [Prepare](benchmark::State &State) { MeasureCold(State, Prepare()); })
            ->UseManualTime()
            ->Iterations(1);
    });
    benchmark::RegisterBenchmark("warm/Flush", FlushWarm)->UseManualTime();
    bench::RegisterContention();
    benchmark::Initialize(&nArguments, ppszArguments);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
