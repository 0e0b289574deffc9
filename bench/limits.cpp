// What files at the engine's limits cost: the id map's bytes an id for the patterns ids come in,
// and the memory of a list that a folded run expands. Each runs once: these are measures of
// memory, not timings.
#include "bench_common.h"

#include "BrelonOnfIdMap.h"
#include "OnfGroupsFile.h"
#include "QSV_Failure.h"

#include <cstdio>
#include <fstream>
#include <random>
#include <string>

namespace onf_bench {
namespace {

constexpr size_t kIds = 1000000;

// Heap bytes an id of an id map of node ids filled with kIds ids of one pattern.
double BytesPerId(int pattern) {
    std::mt19937 random(5);
    const size_t before = HeapInUse();
    BrelonOnfIdMap map(ID_NODE);
    for (size_t i = 0; i < kIds; ++i) {
        const int step = pattern == 0 ? 1 : pattern == 1 ? 10 : 1000;
        const int id = pattern == 3 ? static_cast<int>(random()) : static_cast<int>(i) * step + 1;
        map.FetchIdx(id);
    }
    return static_cast<double>(HeapInUse() - before) / static_cast<double>(kIds);
}

void EngineIdMapMemory(benchmark::State& state) {
    double dense = 0.0, step10 = 0.0, step1000 = 0.0, random = 0.0;
    for (auto _ : state) {
        dense = BytesPerId(0);
        step10 = BytesPerId(1);
        step1000 = BytesPerId(2);
        random = BytesPerId(3);
    }
    state.counters["dense_B/id"] = dense;
    state.counters["step10_B/id"] = step10;
    state.counters["step1000_B/id"] = step1000;
    state.counters["random32_B/id"] = random;
}

// A groups file of 46 bytes whose one group is the run 1-67108864: the list it makes is 256 MiB.
void EngineFoldedRunMemory(benchmark::State& state) {
    const std::string path = std::string(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") +
                             "/onf_bench_folded_run.onf";
    std::ofstream(path, std::ios::binary) << "   -1\n200\n1\n1, 67108864, BIG\n1-67108864\n   -1\n";
    const double listBytes = 67108864.0 * sizeof(int);
    const PeakMemoryProbe probe;
    for (auto _ : state) {
        try {
            OnfGroupsFile groups(std::wstring(path.begin(), path.end()));
            groups.Read();
            benchmark::DoNotOptimize(&groups);
        } catch (const QSV_Exception& failure) {
            state.SkipWithError(failure.GetMessage().c_str());
            return;
        }
    }
    if (probe.Available()) {
        state.counters["peak_MiB"] = static_cast<double>(probe.PeakAboveStart()) / (1 << 20);
        state.counters["peak/list"] = static_cast<double>(probe.PeakAboveStart()) / listBytes;
    }
    std::remove(path.c_str());
}

const bool kRegistered = [] {
    benchmark::RegisterBenchmark("Engine/IdMapMemory", &EngineIdMapMemory)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("Engine/FoldedRunMemory", &EngineFoldedRunMemory)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    return true;
}();

} // namespace
} // namespace onf_bench
