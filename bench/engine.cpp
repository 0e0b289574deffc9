// The engine's benchmarks: the same tasks as the baselines, on the same bytes, through the
// engine's public classes (reader, block set, blocks, writer, id maps), plus the look-ups that
// have no baseline.
#include "bench_common.h"

#include "BrelonOnfIdMap.h"
#include "OnfBlock.h"
#include "OnfBlockSet.h"
#include "OnfBlockTextReader.h"
#include "OnfBlockTextWriter.h"
#include "QSV_Failure.h"

#include <cstdio>
#include <memory>
#include <string>

namespace onf_bench {
namespace {

constexpr QSV_OnfId kNodes = static_cast<QSV_OnfId>(110);
constexpr QSV_OnfId kElements = static_cast<QSV_OnfId>(140);
constexpr QSV_DataRecordItem::DataRecordItem kPosition =
    static_cast<QSV_DataRecordItem::DataRecordItem>(3);

std::wstring Wide(const std::string& path) {
    return std::wstring(path.begin(), path.end()); // the bench folder's paths are ASCII
}

// Runs `body`; an engine failure skips the benchmark with its message. False after a failure.
template <typename Body>
bool Guarded(benchmark::State& state, Body&& body) {
    try {
        body();
        return true;
    } catch (const QSV_Exception& failure) {
        state.SkipWithError(failure.GetMessage().c_str());
    }
    return false;
}

// Fills `set` from the file at `path` as a typed file object's Read does: each block's text
// goes back once the block is loaded.
void LoadInto(OnfBlockSet& set, const std::string& path) {
    OnfBlockTextReader reader(Wide(path).c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_WARN);
    reader.SetReleaseLoadedText(true);
    set.LoadFrom(reader, BrelonOnfTxtDatabase::LOAD_REPLACE_BLOCKS);
}

// The loaded model (or groups file), shared by the write and look-up benchmarks; made on
// first use, outside any timing, and kept to the end of the process.
OnfBlockSet& Loaded(const std::string& path) {
    static std::string loadedPath;
    static std::unique_ptr<OnfBlockSet> set;
    if (set == nullptr || loadedPath != path) {
        set = std::make_unique<OnfBlockSet>();
        LoadInto(*set, path);
        loadedPath = path;
    }
    return *set;
}

// Scan: the reader alone, which reads the file, cuts it into lines and finds the blocks.
void EngineScan(benchmark::State& state) {
    const Dataset& d = GetDataset();
    const std::wstring path = Wide(d.modelPath);
    const UserCpuTimer cpu;
    for (auto _ : state) {
        if (!Guarded(state, [&] {
                OnfBlockTextReader reader(path.c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_WARN);
                benchmark::DoNotOptimize(reader.GetBlocksInfo().data());
            })) {
            return;
        }
    }
    cpu.Report(state);
    SetThroughput(state, d.modelBytes, d.model.NumRecords());
}

// Load: reader, blocks, id maps and lists, into a fresh block set each time.
void LoadBenchmark(benchmark::State& state, const std::string& path, size_t bytes, size_t records) {
    const PeakMemoryProbe probe;
    const UserCpuTimer cpu;
    for (auto _ : state) {
        if (!Guarded(state, [&] {
                OnfBlockSet set;
                LoadInto(set, path);
                benchmark::DoNotOptimize(&set);
            })) {
            return;
        }
    }
    cpu.Report(state);
    SetThroughput(state, bytes, records);
    SetPeakMemoryRatio(state, probe, bytes);
}

void EngineLoad(benchmark::State& state) {
    const Dataset& d = GetDataset();
    LoadBenchmark(state, d.modelPath, d.modelBytes, d.model.NumRecords());
}

// Write: every block of a loaded set through a file writer, file header included.
void WriteBenchmark(benchmark::State& state, const std::string& from, size_t bytes,
                    size_t records) {
    const std::string out = from + ".engine_out";
    if (!Guarded(state, [&] { Loaded(from); })) {
        return;
    }
    const UserCpuTimer cpu;
    for (auto _ : state) {
        if (!Guarded(state, [&] {
                OnfBlockTextWriter writer(Wide(out).c_str(), OnfBlockTextWriter::WRITE_NEW);
                Loaded(from).WriteSet(writer);
                writer.Flush();
            })) {
            return;
        }
    }
    cpu.Report(state);
    std::remove(out.c_str());
    SetThroughput(state, bytes, records);
}

void EngineWrite(benchmark::State& state) {
    const Dataset& d = GetDataset();
    WriteBenchmark(state, d.modelPath, d.modelBytes, d.model.NumRecords());
}

// Lists: the groups file, whose long member lists fold into runs in the text.
void EngineListRead(benchmark::State& state) {
    const Dataset& d = GetDataset();
    LoadBenchmark(state, d.groupsPath, d.groupsBytes, d.NumListValues());
}

void EngineListWrite(benchmark::State& state) {
    const Dataset& d = GetDataset();
    WriteBenchmark(state, d.groupsPath, d.groupsBytes, d.NumListValues());
}

// Memory a loaded model holds, block by block: what the process holds after one block has been
// loaded into a set, minus before, over the block's records. The reader lives through both
// measurements and keeps its text, so only what the set keeps is counted. Beside it, the bare
// arrays' own: a node's id, two systems and three coordinates; a hexahedron's id, kind, property
// and eight node ids. Not a timing: one iteration.
void EngineHeldMemory(benchmark::State& state) {
    const Dataset& d = GetDataset();
    double perNode = 0.0, perElement = 0.0;
    for (auto _ : state) {
        if (!Guarded(state, [&] {
                OnfBlockTextReader reader(Wide(d.modelPath).c_str(),
                                          OnfBlockTextReader::UNKNOWN_BLOCK_WARN);
                OnfBlockSet set;
                // An existing block is left out by LOAD_ADD_MISSING: the elements first stand
                // in as an empty block, so that the first load takes the nodes alone.
                set.AddEmptyBlock(kElements);
                size_t before = HeldBytes();
                set.LoadFrom(reader, BrelonOnfTxtDatabase::LOAD_ADD_MISSING);
                perNode = double(HeldBytes() - before) / double(d.model.nodes.id.size());
                set.RemoveBlock(kElements);
                before = HeldBytes();
                set.LoadFrom(reader, BrelonOnfTxtDatabase::LOAD_ADD_MISSING);
                perElement = double(HeldBytes() - before) / double(d.model.elements.id.size());
            })) {
            return;
        }
    }
    state.counters["held_B/node"] = perNode;
    state.counters["held_B/element"] = perElement;
    state.counters["bare_B/node"] = 3 * sizeof(int) + 3 * sizeof(double);
    state.counters["bare_B/hexahedron"] = 3 * sizeof(int) + 8 * sizeof(int);
}

// Look-ups over all nodes of the loaded model, by id: the record index alone, and the index
// with the position vector behind it.
void EngineLookupIndex(benchmark::State& state) {
    const Dataset& d = GetDataset();
    const OnfBlock& nodes = Loaded(d.modelPath).GetBlock(kNodes);
    for (auto _ : state) {
        long long sum = 0;
        for (int id : d.model.nodes.id) {
            sum += nodes.GetRecordIdx(id);
        }
        benchmark::DoNotOptimize(sum);
    }
    SetThroughput(state, 0, d.model.nodes.id.size());
}

void EngineLookupVector(benchmark::State& state) {
    const Dataset& d = GetDataset();
    const OnfBlock& nodes = Loaded(d.modelPath).GetBlock(kNodes);
    for (auto _ : state) {
        double sum = 0.0;
        for (int id : d.model.nodes.id) {
            const long long index = nodes.GetRecordIdx(id);
            sum += nodes.GetVector(static_cast<size_t>(index), kPosition)(0);
        }
        benchmark::DoNotOptimize(sum);
    }
    SetThroughput(state, 0, d.model.nodes.id.size());
}

// The id map of nodes: filled with every node id, then asked for each id's index.
void EngineIdMapFill(benchmark::State& state) {
    const Dataset& d = GetDataset();
    for (auto _ : state) {
        BrelonOnfIdMap map(ID_NODE);
        for (int id : d.model.nodes.id) {
            benchmark::DoNotOptimize(map.FetchIdx(id));
        }
    }
    SetThroughput(state, 0, d.model.nodes.id.size());
}

void EngineIdMapLookup(benchmark::State& state) {
    const Dataset& d = GetDataset();
    BrelonOnfIdMap map(ID_NODE);
    for (int id : d.model.nodes.id) {
        map.FetchIdx(id);
    }
    for (auto _ : state) {
        size_t sum = 0;
        for (int id : d.model.nodes.id) {
            sum += map.GetIdx(id);
        }
        benchmark::DoNotOptimize(sum);
    }
    SetThroughput(state, 0, d.model.nodes.id.size());
}

const bool kRegistered = [] {
    using Function = void (*)(benchmark::State&);
    const std::pair<const char*, Function> timed[] = {{"Engine/Scan", &EngineScan},
                                                      {"Engine/Load", &EngineLoad},
                                                      {"Engine/Write", &EngineWrite},
                                                      {"Engine/ListRead", &EngineListRead},
                                                      {"Engine/ListWrite", &EngineListWrite},
                                                      {"Engine/LookupIndex", &EngineLookupIndex},
                                                      {"Engine/LookupVector", &EngineLookupVector},
                                                      {"Engine/IdMapFill", &EngineIdMapFill},
                                                      {"Engine/IdMapLookup", &EngineIdMapLookup}};
    for (const auto& [name, function] : timed) {
        benchmark::RegisterBenchmark(name, function)->UseRealTime()->Unit(benchmark::kMillisecond);
    }
    benchmark::RegisterBenchmark("Engine/HeldMemory", &EngineHeldMemory)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    return true;
}();

} // namespace
} // namespace onf_bench
