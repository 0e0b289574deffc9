// The bare parser as a program of its own, to be timed from outside next to the `onf` command:
// one read() of the whole file, lines cut in place, integers by hand, reals by std::from_chars,
// values into flat arrays (the parser of bench_model.h, which the benchmarks' baselines use).
//
//   onf_bare_parse FILE
//
// Prints the records it read; exit code 0, or 1 when the file cannot be read or parsed.
#include "bench_model.h"

#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    std::vector<char> text;
    size_t size = 0;
    if (!onf_bench::ReadWholeFile(argv[1], text, size)) {
        std::fprintf(stderr, "cannot read %s\n", argv[1]);
        return 1;
    }
    onf_bench::ModelArrays model;
    std::string error;
    if (!onf_bench::ParseOnfText(text.data(), size, model, error)) {
        std::fprintf(stderr, "%s: %s\n", argv[1], error.c_str());
        return 1;
    }
    std::printf("%s: %zu nodes, %zu elements, %zu group members\n", argv[1],
                model.nodes.id.size(), model.elements.id.size(),
                model.nodeGroups.members.size() + model.elementGroups.members.size());
    return 0;
}
