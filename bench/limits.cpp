// What files at the engine's limits cost: the id map's bytes an id for the patterns ids come in,
// the memory of a list that a folded run expands (each run once: measures of memory, not
// timings), and the time of files of many tiny blocks, whose cost must follow their records.
#include "bench_common.h"

#include "BrelonOnfIdMap.h"
#include "BrelonOnfTxtDatabase.h"
#include "OnfGroupsFile.h"
#include "OnfModelFile.h"
#include "QSV_Failure.h"

#include <cstdio>
#include <fstream>
#include <map>
#include <random>
#include <string>

namespace onf_bench {
namespace {

constexpr size_t kIds = 1000000;

std::string TempPath(const std::string& name) {
    const char* folder = std::getenv("TMPDIR");
    return std::string(folder != nullptr ? folder : "/tmp") + "/" + name;
}

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
    const std::string path = TempPath("onf_bench_folded_run.onf");
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

// A file of `count` blocks of one record each: nodes (block 110), each replacing the last when a
// model reads it, or node groups (block 200), which a groups file merges into one block. Written
// once a size and kind, before the timing.
const std::string& TinyBlocksFile(bool groups, size_t count) {
    static std::map<std::pair<bool, size_t>, std::string> files;
    std::string& path = files[{groups, count}];
    if (path.empty()) {
        path = TempPath("onf_bench_tiny_" + std::string(groups ? "200_" : "110_") +
                        std::to_string(count) + ".onf");
        std::ofstream out(path, std::ios::binary);
        for (size_t i = 1; i <= count; ++i) {
            if (groups) {
                out << "   -1\n200\n1\n" << i << ", 1, G" << i << "\n" << i << "\n   -1\n";
            } else {
                out << "   -1\n110\n1\n" << i << ", 0, 0, 1.0, 2.0, 3.0\n   -1\n";
            }
        }
    }
    return path;
}

template <typename Read>
void TinyBlocksLoad(benchmark::State& state, bool groups, Read read) {
    const size_t count = static_cast<size_t>(state.range(0));
    const std::string& path = TinyBlocksFile(groups, count);
    const std::wstring name(path.begin(), path.end());
    const UserCpuTimer cpu;
    for (auto _ : state) {
        try {
            read(name);
        } catch (const QSV_Exception& failure) {
            state.SkipWithError(failure.GetMessage().c_str());
            return;
        }
    }
    cpu.Report(state);
    SetThroughput(state, 0, count);
}

void EngineTinyBlocksReplaced(benchmark::State& state) {
    TinyBlocksLoad(state, false, [](const std::wstring& name) {
        OnfModelFile model(name, nullptr);
        model.Read();
        benchmark::DoNotOptimize(&model);
    });
}

void EngineTinyBlocksMerged(benchmark::State& state) {
    TinyBlocksLoad(state, true, [](const std::wstring& name) {
        OnfGroupsFile groups(name);
        groups.Read();
        benchmark::DoNotOptimize(&groups);
    });
}

// A file of `count` one-record node blocks, each its own instance under a descriptor of its own
// (LOADCASE=i), as results of many load cases come: a database keeps every one of them, so what
// a block costs beside its record shows in the heap an instance takes.
void EngineTinyBlocksWithDescriptor(benchmark::State& state) {
    const size_t count = static_cast<size_t>(state.range(0));
    const std::string path =
        TempPath("onf_bench_tiny_descriptor_" + std::to_string(count) + ".onf");
    {
        std::ofstream out(path, std::ios::binary);
        for (size_t i = 1; i <= count; ++i) {
            out << "   -1\n   -2\nLOADCASE=" << i << "\n   -2\n110\n1\n"
                << i << ", 0, 0, 1.0, 2.0, 3.0\n   -1\n";
        }
    }
    const std::wstring name(path.begin(), path.end());
    const UserCpuTimer cpu;
    double bytesPerBlock = 0.0;
    for (auto _ : state) {
        const size_t before = HeapInUse();
        BrelonOnfTxtDatabase db(name);
        try {
            db.InitDb(QSV_DatabaseDefs::AccessMode(0), 1024, L"", nullptr);
        } catch (const QSV_Exception& failure) {
            state.SkipWithError(failure.GetMessage().c_str());
            return;
        }
        bytesPerBlock = static_cast<double>(HeapInUse() - before) / static_cast<double>(count);
        benchmark::DoNotOptimize(&db);
    }
    cpu.Report(state);
    SetThroughput(state, 0, count);
    state.counters["heap_B/block"] = bytesPerBlock;
    std::remove(path.c_str());
}

const bool kRegistered = [] {
    for (const char* name : {"Engine/TinyBlocksReplaced", "Engine/TinyBlocksMerged"}) {
        benchmark::RegisterBenchmark(name, name[13] == 'R' ? &EngineTinyBlocksReplaced
                                                           : &EngineTinyBlocksMerged)
            ->Arg(100000)
            ->Arg(1000000)
            ->Iterations(1)
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::RegisterBenchmark("Engine/TinyBlocksWithDescriptor", &EngineTinyBlocksWithDescriptor)
        ->Arg(100000)
        ->Arg(1000000)
        ->Iterations(1)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
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
