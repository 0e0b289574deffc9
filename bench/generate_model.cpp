// Writes the benchmark model: a structured grid of hexahedra as an ONF model file (nodes and
// elements) and a groups file beside it.
//
//   onf_generate_model NUM_NODES MODEL.onf [GROUPS.onf]
//
// NUM_NODES from 10^4 to 4*10^6 is the intended range; about 10^6 nodes give a model file of
// about 150 MB. The groups file defaults to MODEL with "_groups" before the extension.
#include "bench_model.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string DefaultGroupsPath(const std::string& model) {
    const size_t dot = model.find_last_of('.');
    const size_t slash = model.find_last_of('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) {
        return model + "_groups";
    }
    return model.substr(0, dot) + "_groups" + model.substr(dot);
}

bool WriteFile(const std::string& path, const onf_bench::ModelArrays& model, bool groups) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        std::fprintf(stderr, "cannot create %s: %s\n", path.c_str(), std::strerror(errno));
        return false;
    }
    const bool written =
        groups ? onf_bench::WriteGroupsFile(model, file) : onf_bench::WriteModelFile(model, file);
    const long size = std::ftell(file);
    if (std::fclose(file) != 0 || !written) {
        std::fprintf(stderr, "cannot write %s\n", path.c_str());
        return false;
    }
    std::printf("%s: %ld bytes\n", path.c_str(), size);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4) {
        std::fprintf(stderr, "usage: %s NUM_NODES MODEL.onf [GROUPS.onf]\n", argv[0]);
        return 2;
    }
    char* end = nullptr;
    const unsigned long long numNodes = std::strtoull(argv[1], &end, 10);
    if (*end != '\0' || numNodes < 8 || numNodes > 100000000ull) {
        std::fprintf(stderr, "NUM_NODES must be a number from 8 to 100000000\n");
        return 2;
    }
    onf_bench::ModelArrays model;
    onf_bench::BuildGridModel(static_cast<size_t>(numNodes), model);
    std::printf("%zu nodes, %zu elements\n", model.nodes.id.size(), model.elements.id.size());
    const std::string modelPath = argv[2];
    const std::string groupsPath = argc == 4 ? argv[3] : DefaultGroupsPath(modelPath);
    const bool ok = WriteFile(modelPath, model, false) && WriteFile(groupsPath, model, true);
    return ok ? 0 : 1;
}
