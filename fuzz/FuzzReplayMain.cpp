// Replays inputs through a fuzz target without libFuzzer: every file named on the command line,
// and every file inside a named folder (in name order), is run once. Exits 0 when all ran;
// a finding aborts as under libFuzzer. A folder that does not exist is skipped, so that a target
// without regression inputs needs no empty folder.
#include "FuzzCommon.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

void RunFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    // An exact-size heap copy, so that AddressSanitizer sees a read past the input's end.
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    auto* data = new uint8_t[bytes.size()];
    std::copy(bytes.begin(), bytes.end(), data);
    LLVMFuzzerTestOneInput(data, bytes.size());
    delete[] data;
}

} // namespace

int main(int argc, char** argv) {
    size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path arg(argv[i]);
        std::vector<std::filesystem::path> files;
        if (std::filesystem::is_directory(arg)) {
            for (const auto& entry : std::filesystem::directory_iterator(arg)) {
                if (entry.is_regular_file()) {
                    files.push_back(entry.path());
                }
            }
            std::sort(files.begin(), files.end());
        } else if (std::filesystem::is_regular_file(arg)) {
            files.push_back(arg);
        }
        for (const auto& file : files) {
            RunFile(file);
            ++count;
        }
    }
    std::printf("replayed %zu inputs\n", count);
    return count > 0 ? 0 : 1;
}
