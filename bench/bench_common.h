// What every benchmark of the program shares: the generated model on disk (made once a run,
// so that all benchmarks read and write the same bytes), throughput counters, a peak-memory
// probe, and the naming rule by which engine results are set against the baselines.
//
// Naming: a baseline registers as "Baseline/<Task>", the engine's benchmark of the same work
// as "Engine/<Task>"; at the end of the run the program prints Engine/<Task> time divided by
// Baseline/<Task> time for every task that has both, with the target where one is set.
#pragma once

#include "bench_model.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>

namespace onf_bench {

struct Dataset {
    std::string modelPath;  // blocks 110 and 140
    std::string groupsPath; // blocks 200 and 210
    size_t modelBytes = 0;
    size_t groupsBytes = 0;
    ModelArrays model; // what the files hold

    // Values of all group member lists, the records of the list benchmarks.
    size_t NumListValues() const {
        return model.nodeGroups.members.size() + model.elementGroups.members.size();
    }
};

// Builds and writes the model on first use: ONF_BENCH_NODES nodes (default 1000000) in the
// folder ONF_BENCH_DIR (default the system's temporary folder). The files are parsed back and
// compared with the arrays before any benchmark runs; a mismatch ends the program.
const Dataset& GetDataset();

// Bytes per second and records per second, from the work of one iteration.
void SetThroughput(benchmark::State& state, size_t bytesPerIteration, size_t recordsPerIteration);

// Peak resident memory while a benchmark runs, above what the process held when it started.
// Linux only; Available() is false where the peak cannot be reset.
class PeakMemoryProbe {
public:
    PeakMemoryProbe(); // resets the peak and notes the current resident size
    bool Available() const { return m_Available; }
    size_t PeakAboveStart() const;

private:
    bool m_Available = false;
    size_t m_StartBytes = 0;
};

// Sets the counter "peak_mem/file": peak memory of the benchmark divided by `fileBytes`.
void SetPeakMemoryRatio(benchmark::State& state, const PeakMemoryProbe& probe, size_t fileBytes);

// User CPU time of the process from construction to Report(), which sets the counter
// "user_ms" to its share per iteration. The ratio report sets these against each other as it
// does wall times: on a loaded machine they wander less.
class UserCpuTimer {
public:
    UserCpuTimer();
    void Report(benchmark::State& state) const;

private:
    double m_StartSeconds;
};

// Bytes of heap in use (allocated and not freed, small and large blocks alike); the engine's
// large buffers, mapped from the system, are not among them.
size_t HeapInUse();
// Bytes the process holds: resident memory once the heap has handed freed memory back. Counts
// the heap in use and the engine's mapped buffers alike.
size_t HeldBytes();

} // namespace onf_bench
