// The baselines: the bare work of reading, parsing and formatting the model's bytes, with no
// engine in the way. The engine's benchmarks of the same tasks are measured against these.
#include "bench_common.h"

#include <cstring>

namespace onf_bench {
namespace {

// (a) Scan: read the whole file, count its lines with memchr.
void BaselineScan(benchmark::State& state) {
    const Dataset& d = GetDataset();
    std::vector<char> bytes;
    size_t lines = 0;
    for (auto _ : state) {
        size_t size = 0;
        if (!ReadWholeFile(d.modelPath, bytes, size)) {
            state.SkipWithError("cannot read the model file");
            return;
        }
        lines = 0;
        const char* p = bytes.data();
        const char* end = p + size;
        while ((p = static_cast<const char*>(std::memchr(p, '\n', size_t(end - p)))) != nullptr) {
            ++lines;
            ++p;
        }
        benchmark::DoNotOptimize(lines);
    }
    state.counters["lines"] = static_cast<double>(lines);
    SetThroughput(state, d.modelBytes, d.model.NumRecords());
}

// (b) Load: one read() of the whole file, lines split in place, integers by hand, reals by
// std::from_chars, values into plain arrays; no id maps, no pools.
void BaselineLoad(benchmark::State& state) {
    const Dataset& d = GetDataset();
    const PeakMemoryProbe probe;
    for (auto _ : state) {
        std::vector<char> bytes;
        size_t size = 0;
        ModelArrays model;
        std::string error;
        if (!ReadWholeFile(d.modelPath, bytes, size) ||
            !ParseOnfText(bytes.data(), size, model, error)) {
            state.SkipWithError("cannot parse the model file");
            return;
        }
        benchmark::DoNotOptimize(model.nodes.x.data());
    }
    SetThroughput(state, d.modelBytes, d.model.NumRecords());
    SetPeakMemoryRatio(state, probe, d.modelBytes);
}

// (c) Write: the same arrays formatted with std::to_chars into a 1 MiB buffer, written with
// fwrite.
void BaselineWrite(benchmark::State& state) {
    const Dataset& d = GetDataset();
    const std::string path = d.modelPath + ".baseline_out";
    for (auto _ : state) {
        FILE* file = std::fopen(path.c_str(), "wb");
        const bool ok = file != nullptr && WriteModelFile(d.model, file);
        if (file == nullptr || std::fclose(file) != 0 || !ok) {
            state.SkipWithError("cannot write the output file");
            return;
        }
    }
    std::remove(path.c_str());
    SetThroughput(state, d.modelBytes, d.model.NumRecords());
}

const bool kRegistered = [] {
    for (auto [name, function] : {std::make_pair("Baseline/Scan", &BaselineScan),
                                  std::make_pair("Baseline/Load", &BaselineLoad),
                                  std::make_pair("Baseline/Write", &BaselineWrite)}) {
        benchmark::RegisterBenchmark(name, function)->UseRealTime()->Unit(benchmark::kMillisecond);
    }
    return true;
}();

} // namespace
} // namespace onf_bench
