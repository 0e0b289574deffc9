// The baselines: the bare work of reading, parsing and formatting the model's bytes, with no
// engine in the way. The engine's benchmarks of the same tasks are measured against these.
#include "bench_common.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

namespace onf_bench {
namespace {

// (a) Scan: read the whole file, count its lines with memchr.
void BaselineScan(benchmark::State& state) {
    const Dataset& d = GetDataset();
    std::vector<char> bytes;
    size_t lines = 0;
    const UserCpuTimer cpu;
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
    cpu.Report(state);
    state.counters["lines"] = static_cast<double>(lines);
    SetThroughput(state, d.modelBytes, d.model.NumRecords());
}

// (b) Load: one read() of the whole file, lines split in place, integers by hand, reals by
// std::from_chars, values into plain arrays; no id maps, no pools.
void ParseBenchmark(benchmark::State& state, const std::string& path, size_t bytes,
                    size_t records) {
    const PeakMemoryProbe probe;
    const UserCpuTimer cpu;
    for (auto _ : state) {
        std::vector<char> text;
        size_t size = 0;
        ModelArrays model;
        std::string error;
        if (!ReadWholeFile(path, text, size) || !ParseOnfText(text.data(), size, model, error)) {
            state.SkipWithError("cannot parse the file");
            return;
        }
        benchmark::DoNotOptimize(model.nodes.x.data());
    }
    cpu.Report(state);
    SetThroughput(state, bytes, records);
    SetPeakMemoryRatio(state, probe, bytes);
}

void BaselineLoad(benchmark::State& state) {
    const Dataset& d = GetDataset();
    ParseBenchmark(state, d.modelPath, d.modelBytes, d.model.NumRecords());
}

void BaselineListRead(benchmark::State& state) {
    const Dataset& d = GetDataset();
    ParseBenchmark(state, d.groupsPath, d.groupsBytes, d.NumListValues());
}

// (c) Write: the same arrays formatted with std::to_chars into a 1 MiB buffer, written with
// fwrite.
void FormatBenchmark(benchmark::State& state, bool groups, const std::string& path, size_t bytes,
                     size_t records) {
    const Dataset& d = GetDataset();
    const std::string out = path + ".baseline_out";
    const UserCpuTimer cpu;
    for (auto _ : state) {
        FILE* file = std::fopen(out.c_str(), "wb");
        const bool ok = file != nullptr &&
                        (groups ? WriteGroupsFile(d.model, file) : WriteModelFile(d.model, file));
        if (file == nullptr || std::fclose(file) != 0 || !ok) {
            state.SkipWithError("cannot write the output file");
            return;
        }
    }
    cpu.Report(state);
    std::remove(out.c_str());
    SetThroughput(state, bytes, records);
}

void BaselineWrite(benchmark::State& state) {
    const Dataset& d = GetDataset();
    FormatBenchmark(state, false, d.modelPath, d.modelBytes, d.model.NumRecords());
}

void BaselineListWrite(benchmark::State& state) {
    const Dataset& d = GetDataset();
    FormatBenchmark(state, true, d.groupsPath, d.groupsBytes, d.NumListValues());
}

const bool kRegistered = [] {
    using Function = void (*)(benchmark::State&);
    const std::pair<const char*, Function> all[] = {{"Baseline/Scan", &BaselineScan},
                                                    {"Baseline/Load", &BaselineLoad},
                                                    {"Baseline/Write", &BaselineWrite},
                                                    {"Baseline/ListRead", &BaselineListRead},
                                                    {"Baseline/ListWrite", &BaselineListWrite}};
    for (const auto& [name, function] : all) {
        benchmark::RegisterBenchmark(name, function)->UseRealTime()->Unit(benchmark::kMillisecond);
    }
    return true;
}();

} // namespace
} // namespace onf_bench
