// The shared dataset, counters and memory probe, the ratio report and the program's main.
#include "bench_common.h"

#include "QSV_Failure.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <map>
#include <memory>
#include <sys/resource.h>

namespace onf_bench {

namespace {

[[noreturn]] void Die(const std::string& message) {
    std::fprintf(stderr, "benchmark setup failed: %s\n", message.c_str());
    std::exit(1);
}

size_t EnvSize(const char* name, size_t fallback) {
    const char* text = std::getenv(name);
    return text != nullptr && *text != '\0' ? std::strtoull(text, nullptr, 10) : fallback;
}

size_t WriteOne(const std::string& path, const ModelArrays& model, bool groups) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        Die("cannot create " + path);
    }
    const bool ok = groups ? WriteGroupsFile(model, file) : WriteModelFile(model, file);
    const long size = std::ftell(file);
    if (std::fclose(file) != 0 || !ok || size < 0) {
        Die("cannot write " + path);
    }
    return static_cast<size_t>(size);
}

template <typename T>
void Expect(const std::vector<T>& read, const std::vector<T>& built, const char* what) {
    if (read != built) {
        Die(std::string("the parsed text differs from the model in ") + what);
    }
}

// The baseline parser must read back exactly what the baseline writer wrote; otherwise the
// baselines would measure something other than the work the engine does.
void Verify(const Dataset& d) {
    ModelArrays read, part;
    for (const std::string* path : {&d.modelPath, &d.groupsPath}) {
        std::vector<char> bytes;
        size_t size = 0;
        std::string error;
        if (!ReadWholeFile(*path, bytes, size) || !ParseOnfText(bytes.data(), size, part, error)) {
            Die("cannot parse " + *path + ": " + error);
        }
        if (path == &d.modelPath) {
            read.nodes = std::move(part.nodes);
            read.elements = std::move(part.elements);
        } else {
            read.nodeGroups = std::move(part.nodeGroups);
            read.elementGroups = std::move(part.elementGroups);
        }
    }
    const ModelArrays& m = d.model;
    Expect(read.nodes.id, m.nodes.id, "node ids");
    Expect(read.nodes.x, m.nodes.x, "x");
    Expect(read.nodes.y, m.nodes.y, "y");
    Expect(read.nodes.z, m.nodes.z, "z");
    Expect(read.elements.id, m.elements.id, "element ids");
    Expect(read.elements.property, m.elements.property, "properties");
    Expect(read.elements.nodeStart, m.elements.nodeStart, "connectivity sizes");
    Expect(read.elements.nodes, m.elements.nodes, "connectivity");
    for (const auto& g : {std::make_pair(&read.nodeGroups, &m.nodeGroups),
                          std::make_pair(&read.elementGroups, &m.elementGroups)}) {
        Expect(g.first->name, g.second->name, "group names");
        Expect(g.first->memberStart, g.second->memberStart, "group sizes");
        Expect(g.first->members, g.second->members, "group members");
    }
}

Dataset* MakeDataset() {
    auto d = std::make_unique<Dataset>();
    const size_t numNodes = EnvSize("ONF_BENCH_NODES", 1000000);
    const char* dirText = std::getenv("ONF_BENCH_DIR");
    const std::filesystem::path dir = dirText != nullptr && *dirText != '\0'
                                          ? std::filesystem::path(dirText)
                                          : std::filesystem::temp_directory_path();
    const std::string stem = "onf_bench_" + std::to_string(numNodes);
    d->modelPath = (dir / (stem + ".onf")).string();
    d->groupsPath = (dir / (stem + "_groups.onf")).string();
    try {
        BuildGridModel(numNodes, d->model);
        d->modelBytes = WriteOne(d->modelPath, d->model, false);
        d->groupsBytes = WriteOne(d->groupsPath, d->model, true);
        Verify(*d);
    } catch (const QSV_Exception& failure) {
        Die(failure.GetMessage());
    }
    std::fprintf(stderr, "model: %zu nodes, %zu elements, %s (%zu bytes), %s (%zu bytes)\n",
                 d->model.nodes.id.size(), d->model.elements.id.size(), d->modelPath.c_str(),
                 d->modelBytes, d->groupsPath.c_str(), d->groupsBytes);
    return d.release();
}

size_t StatusBytes(const char* key) {
    std::ifstream status("/proc/self/status");
    std::string line;
    const size_t keyLength = std::strlen(key);
    while (std::getline(status, line)) {
        if (line.compare(0, keyLength, key) == 0) {
            return std::strtoull(line.c_str() + keyLength, nullptr, 10) * 1024; // kB
        }
    }
    return 0;
}

// Prints, after the usual console table, the Engine/Baseline ratios on wall time and on user
// CPU time, each the best per-iteration time over the repetitions, and for every benchmark the
// best wall time per record (the figure that the scaling runs compare across model sizes).
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.iterations == 0 || run.error_occurred) {
                continue;
            }
            Best& best = m_Best[run.run_name.function_name];
            const double seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
            best.wall = best.wall > 0.0 ? std::min(best.wall, seconds) : seconds;
            const auto user = run.counters.find("user_ms");
            if (user != run.counters.end()) {
                const double ms = user->second.value;
                best.userMs = best.userMs > 0.0 ? std::min(best.userMs, ms) : ms;
            }
            const auto records = run.counters.find("records/s");
            if (records != run.counters.end() && records->second.value > 0.0) {
                const double ns = 1e9 / records->second.value;
                best.nsPerRecord = best.nsPerRecord > 0.0 ? std::min(best.nsPerRecord, ns) : ns;
                if (user != run.counters.end()) { // user CPU over the records of one iteration
                    const double userNs = 1e6 * user->second.value / (seconds / ns * 1e9);
                    best.userNsPerRecord = best.userNsPerRecord > 0.0
                                               ? std::min(best.userNsPerRecord, userNs)
                                               : userNs;
                }
            }
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        PrintRatios();
        std::printf("\n%-28s %14s %14s\n", "Benchmark", "ns/record", "user ns/rec");
        for (const auto& [name, best] : m_Best) {
            if (best.nsPerRecord > 0.0) {
                std::printf("%-28s %14.1f %14.1f\n", name.c_str(), best.nsPerRecord,
                            best.userNsPerRecord);
            }
        }
    }

private:
    struct Best {
        double wall = 0.0;            // seconds per iteration
        double userMs = 0.0;          // user CPU milliseconds per iteration, 0 if not measured
        double nsPerRecord = 0.0;     // wall nanoseconds per record, 0 without a record count
        double userNsPerRecord = 0.0; // user CPU nanoseconds per record, 0 if not measured
    };

    void PrintRatios() const {
        static const std::map<std::string, double> targets = {
            {"Scan", 1.5}, {"Load", 2.0}, {"Write", 1.5}};
        bool header = false;
        for (const auto& [name, best] : m_Best) {
            const auto base = name.rfind("Engine/", 0) == 0
                                  ? m_Best.find("Baseline/" + name.substr(7))
                                  : m_Best.end();
            if (base == m_Best.end()) {
                continue;
            }
            if (!header) {
                std::printf("\n%-28s %10s %10s %8s\n", "Engine / Baseline", "wall", "user CPU",
                            "target");
                header = true;
            }
            const std::string task = name.substr(7);
            const double wall = best.wall / base->second.wall;
            const double user = base->second.userMs > 0.0 ? best.userMs / base->second.userMs : 0.0;
            std::printf("%-28s %10.2f %10.2f", task.c_str(), wall, user);
            const auto target = targets.find(task);
            if (target != targets.end()) {
                const bool missed = wall > target->second || user > target->second;
                std::printf(" %8.2f%s", target->second, missed ? "  MISSED" : "");
            }
            std::printf("\n");
        }
    }

    std::map<std::string, Best> m_Best;
};

} // namespace

const Dataset& GetDataset() {
    static const Dataset* dataset = MakeDataset(); // lives to the end of the process
    return *dataset;
}

void SetThroughput(benchmark::State& state, size_t bytesPerIteration, size_t recordsPerIteration) {
    const auto iterations = static_cast<double>(state.iterations());
    state.SetBytesProcessed(
        static_cast<int64_t>(iterations * static_cast<double>(bytesPerIteration)));
    state.counters["records/s"] = benchmark::Counter(
        iterations * static_cast<double>(recordsPerIteration), benchmark::Counter::kIsRate);
}

PeakMemoryProbe::PeakMemoryProbe() {
    // Memory that earlier benchmarks freed goes back to the system first, so that the peak
    // counts what this benchmark takes and the start is not inflated by what it may reuse.
    malloc_trim(0);
    // Writing 5 to clear_refs resets the peak resident size (VmHWM) to the current one.
    std::ofstream clear("/proc/self/clear_refs");
    clear << "5";
    clear.flush();
    m_Available = static_cast<bool>(clear);
    m_StartBytes = StatusBytes("VmRSS:");
    m_Available = m_Available && m_StartBytes > 0;
}

size_t PeakMemoryProbe::PeakAboveStart() const {
    const size_t peak = StatusBytes("VmHWM:");
    return peak > m_StartBytes ? peak - m_StartBytes : 0;
}

void SetPeakMemoryRatio(benchmark::State& state, const PeakMemoryProbe& probe, size_t fileBytes) {
    if (probe.Available() && fileBytes > 0) {
        state.counters["peak_mem/file"] =
            static_cast<double>(probe.PeakAboveStart()) / static_cast<double>(fileBytes);
    }
}

namespace {
double UserSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec) +
           1e-6 * static_cast<double>(usage.ru_utime.tv_usec);
}
} // namespace

UserCpuTimer::UserCpuTimer() : m_StartSeconds(UserSeconds()) {}

void UserCpuTimer::Report(benchmark::State& state) const {
    state.counters["user_ms"] = benchmark::Counter(1e3 * (UserSeconds() - m_StartSeconds),
                                                   benchmark::Counter::kAvgIterations);
}

size_t HeapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

size_t HeldBytes() {
    // Freed heap memory goes back first, so that what stays resident is what is held: heap in
    // use and the mapped buffers of texts, records and lists (which the heap's counts miss).
    malloc_trim(0);
    return StatusBytes("VmRSS:");
}

} // namespace onf_bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    onf_bench::GetDataset(); // before the first timing, and once for all
    onf_bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
