// Helpers of the modification file tests: record texts of the blocks the engine reads, and a
// file object read from such text through a file in the test's temporary folder.
#pragma once

#include "OnfModifFile.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace onf_test {

template <typename T>
std::string Join(const std::vector<T>& values) {
    std::ostringstream text;
    text.precision(17);
    for (size_t i = 0; i < values.size(); ++i) {
        text << (i == 0 ? "" : ", ") << values[i];
    }
    return text.str();
}

inline std::string Block(int number, const std::vector<std::string>& records) {
    std::string text =
        "   -1\n" + std::to_string(number) + "\n" + std::to_string(records.size()) + "\n";
    for (const std::string& record : records) {
        text += record; // each record ends in a newline
    }
    return text + "   -1\n";
}

// Block 821 (reference 7, text "T<id>", name "M<id>"), 840 and 841 (on nodes 1, 2, 3).
inline std::string Material(int id, int parent, const std::vector<int>& flags,
                            const std::vector<double>& values) {
    return std::to_string(id) + ", 7, " + std::to_string(parent) + ", T" + std::to_string(id) +
           ", M" + std::to_string(id) + "\n" + Join(flags) + "\n" + Join(values) + "\n";
}
inline std::string Element(int id, const std::vector<int>& materials,
                           const std::vector<int>& plies) {
    return std::to_string(id) + ", 3, " + std::to_string(materials.size()) + ", " +
           std::to_string(plies.size()) + "\n" + Join(materials) + "\n" + Join(plies) + "\n";
}
inline std::string Child(int id, int material, int parent) {
    return Join(std::vector<int>{id, 4, 3, 3, material, parent}) + "\n1, 2, 3\n";
}

inline std::wstring TempFile(const std::string& name) {
    const std::string path = ::testing::TempDir() + name;
    return std::wstring(path.begin(), path.end());
}

inline std::string ReadAll(const std::wstring& path) {
    std::ostringstream text;
    text << std::ifstream(std::string(path.begin(), path.end()), std::ios::binary).rdbuf();
    return text.str();
}

// Writes `text` to the temporary file `name` (one per test: tests run in parallel processes) and
// reads it into a new file object.
inline std::unique_ptr<OnfModifFile> ReadModif(const std::string& text, const std::string& name) {
    const std::wstring path = TempFile(name);
    std::ofstream(std::string(path.begin(), path.end()), std::ios::binary) << text;
    auto file = std::make_unique<OnfModifFile>(path);
    file->Read();
    return file;
}

inline const OnfBlock& Blk(const OnfModifFile& file, int number) {
    return file.GetBlock(static_cast<QSV_OnfId>(number));
}
inline size_t Idx(const OnfModifFile& file, int number, int id) {
    return static_cast<size_t>(Blk(file, number).GetRecordIdx(id));
}

} // namespace onf_test
